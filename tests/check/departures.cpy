      * Every place where tarnmap's layout departs from a compiler's that
      * GnuCOBOL can write: separate and leading signs, SYNC slack, a
      * group's USAGE, COMP-5 of 1 to 18 digits, COMP-6, COMP-1 and COMP-2,
      * OCCURS m TO n; a level 77 item is a record of its own.
       77  D-COUNT                 PIC 9(4).
       01  D-REC.
           05  D-ID                PIC X(3).
           05  D-LEAD-SEP          PIC S9(5) SIGN LEADING SEPARATE.
           05  D-TRAIL-SEP         PIC S9(3)V99 SIGN TRAILING SEPARATE.
           05  D-LEAD              PIC S9(4) SIGN LEADING.
           05  D-SYNC              PIC S9(9) SYNC LEFT COMP.
           05  D-HALF              PIC S9(4) SYNC RIGHT COMP.
           05  D-PACKED-GROUP      USAGE COMP-3.
               10  D-P1            PIC S9(5)V99.
               10  D-P2            PIC 9(3).
           05  D-NATIVE            USAGE COMP-5.
               10  D-C5-1           PIC S9(1).
               10  D-C5-2           PIC 9(2).
               10  D-C5-3           PIC S9(3).
               10  D-C5-4           PIC 9(4).
               10  D-C5-5           PIC S9(5).
               10  D-C5-6           PIC 9(6).
               10  D-C5-7           PIC S9(7).
               10  D-C5-8           PIC 9(8).
               10  D-C5-9           PIC S9(9).
               10  D-C5-10          PIC 9(10).
               10  D-C5-11          PIC S9(11).
               10  D-C5-12          PIC 9(12).
               10  D-C5-13          PIC S9(13).
               10  D-C5-14          PIC 9(14).
               10  D-C5-15          PIC S9(15).
               10  D-C5-16          PIC 9(16).
               10  D-C5-17          PIC S9(17).
               10  D-C5-18          PIC 9(18).
           05  D-C6                PIC 9(5) COMP-6.
           05  D-C6-EVEN           PIC 9(4) COMP-6.
           05  D-C6-SIGNED         PIC S9(3) COMP-6.
           05  D-F1                COMP-1.
           05  D-F2                COMP-2.
           05  D-N                 PIC 99.
           05  D-TABLE             OCCURS 2 TO 4 DEPENDING ON D-N.
               10  D-T-CODE        PIC X(2).
               10  D-T-AMT         PIC S9(3) COMP-5.
