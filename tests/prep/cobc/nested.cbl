       IDENTIFICATION DIVISION.
       PROGRAM-ID. NESTED.
      * COPY with REPLACING: pseudo-text, a :TAG: inside words,
      * LEADING and TRAILING (the first pair that matches wins),
      * words and literals; the outer REPLACING reaches nested members.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       COPY custrec REPLACING ==:PFX:== BY ==CUST==
                              LEADING ==XX== BY ==YY==
                              TRAILING ==-OLD== BY ==-NEW==
                              ==PIC X(8)== BY ==PIC X(12)==
                              'DRAFT' BY 'FINAL'
                              AMOUNT BY BALANCE.
       COPY "custrec.cpy" REPLACING ==:PFX:== BY ==PREV==.
       01  PLAIN-REC.
           COPY addr.
       PROCEDURE DIVISION.
           STOP RUN.
