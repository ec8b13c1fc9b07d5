      * A payment record as a batch program writes it: the amount with a
      * separate leading sign, binary counters under a group USAGE, a
      * binary field aligned for speed, and at the end a table of up to
      * 12 instalments that the count in front of it sizes.
       01  PAYMENT-RECORD.
           05  PAY-ID                  PIC X(10).
           05  PAY-AMOUNT              PIC S9(9)V99
                                       SIGN LEADING SEPARATE.
           05  PAY-CURRENCY            PIC X(3).
           05  PAY-COUNTERS            USAGE COMP-5.
               10  PAY-RETRIES         PIC S9(4).
               10  PAY-BATCH-NO        PIC S9(9).
           05  PAY-POSTED-DATE         PIC S9(9) SYNC LEFT COMP.
           05  PAY-NOTE                PIC X(20).
           05  PAY-INSTALMENT-COUNT    PIC 9(2).
           05  PAY-INSTALMENT      OCCURS 1 TO 12 TIMES
                                   DEPENDING ON PAY-INSTALMENT-COUNT.
               10  PAY-DUE-DATE        PIC 9(8).
               10  PAY-DUE-AMOUNT      PIC S9(7)V99 COMP-3.
