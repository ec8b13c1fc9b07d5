      * The customer record, with tags for its prefix.
       01  :PFX:-REC.
           05  :PFX:-ID          PIC 9(6).
           05  XX-NAME-OLD       PIC X(8).
           05  :PFX:-STATE       PIC X(5) VALUE 'DRAFT'.
           05  AMOUNT            PIC S9(7)V99 COMP-3.
           05  XXAMOUNT          PIC S9(7)V99 COMP-3.
           05  CODE-OLD          PIC X(2).
           COPY addr.
