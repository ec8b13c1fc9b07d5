      * A monthly account summary in packed decimal with a few binary
      * counters: the packed-heavy file of the loader's benchmark
      * (200 bytes).
       01  BENCH-PACKED.
           05  BP-ID                   PIC 9(11) COMP-3.
           05  BP-BRANCH               PIC X(4).
           05  BP-MONTH OCCURS 12 TIMES.
               10  BP-DEBIT            PIC S9(9)V99 COMP-3.
               10  BP-CREDIT           PIC S9(7)V99 COMP-3.
           05  BP-TOTAL                PIC S9(15)V99 COMP-3.
           05  BP-RATE                 PIC SV9(5) COMP-3.
           05  BP-COUNTS OCCURS 4 TIMES PIC S9(9) COMP.
           05  BP-FLAGS                PIC X(30).
