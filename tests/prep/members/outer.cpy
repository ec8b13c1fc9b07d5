       01  :P:-REC.
           05  XX-KEY      PIC X(4).
           05  XX-AMT-OLD  PIC S9(5)V99 COMP-3.
           COPY inner.
