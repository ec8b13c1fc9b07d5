      * Records of every storage type GnuCOBOL writes, for the loader's
      * oracle test: text, zoned numbers with and without a sign and
      * scale, packed and binary numbers of every size (31 digits
      * too, beyond any machine integer), floating point, tables of
      * groups, nested tables, views under REDEFINES, FILLER, a table
      * that a count sizes, and separate signs.
       01  ORACLE-DISPLAY.
           05  OD-NAME                 PIC X(12).
           05  OD-LETTERS              PIC A(6).
           05  OD-CODE                 PIC X.
           05  OD-COUNT                PIC 9(4).
           05  OD-BALANCE              PIC S9(7)V99.
           05  OD-RATE                 PIC SV9(5).
           05  OD-BIG                  PIC S9(18).
           05  OD-WHOLE                PIC 9(18).
           05  FILLER                  PIC X(3).
           05  OD-DIGIT                PIC S9.
           05  FILLER                  PIC 9(2).
           05  OD-LEAD                 PIC S9(5) SIGN LEADING.
           05  OD-TRAIL                PIC S9(3)V9 SIGN TRAILING.
           05  OD-ADDRESS.
               10  OD-STREET           PIC X(20).
               10  OD-CITY.
                   15  OD-TOWN         PIC X(10).
                   15  OD-ZIP          PIC 9(5).
           05  OD-DATE                 PIC 9(8).
           05  OD-DATE-PARTS REDEFINES OD-DATE.
               10  OD-YEAR             PIC 9(4).
               10  OD-MONTH            PIC 9(2).
               10  OD-DAY              PIC 9(2).
           05  OD-LINE OCCURS 3 TIMES.
               10  OD-ITEM             PIC X(4).
               10  OD-QTY              PIC S9(3).
               10  OD-PART OCCURS 2 TIMES.
                   15  OD-PART-NO      PIC 9(2).
                   15  OD-PART-TAG     PIC X(2).
           05  OD-HUGE                 PIC S9(25)V9(6).
           05  OD-TAIL                 PIC X(5).
       01  ORACLE-PACKED.
           05  OP-KEY                  PIC X(4).
           05  OP-ONE                  PIC S9 COMP-3.
           05  OP-SMALL                PIC S9(3) COMP-3.
           05  OP-EVEN                 PIC S9(4) COMP-3.
           05  OP-AMOUNT               PIC S9(9)V99 COMP-3.
           05  OP-UNSIGNED             PIC 9(5) COMP-3.
           05  OP-U-SCALED             PIC 9(3)V9(4) PACKED-DECIMAL.
           05  OP-FRACTION             PIC SV9(3) COMP-3.
           05  OP-MAX                  PIC S9(18) COMP-3.
           05  OP-U-MAX                PIC 9(18) COMPUTATIONAL-3.
           05  OP-TOTALS OCCURS 4 TIMES.
               10  OP-TOTAL            PIC S9(5)V9 COMP-3.
           05  FILLER                  PIC S9(3) COMP-3.
           05  OP-HUGE                 PIC S9(29)V99 COMP-3.
           05  OP-END                  PIC X(2).
       01  ORACLE-BINARY.
           05  OB-KEY                  PIC X(4).
           05  OB-S2                   PIC S9(4) COMP.
           05  OB-U2                   PIC 9(4) BINARY.
           05  OB-S2-SCALED            PIC S9(2)V99 COMP.
           05  OB-S4                   PIC S9(9) COMP.
           05  OB-U4                   PIC 9(9) COMP-4.
           05  OB-S4-SCALED            PIC S9(5)V9(4) BINARY.
           05  OB-S8                   PIC S9(18) COMP.
           05  OB-U8                   PIC 9(18) COMP.
           05  OB-S8-SCALED            PIC S9(12)V9(6) COMP.
           05  OB-TINY                 PIC S9(2) COMP.
           05  OB-U-TINY               PIC 9(2) COMP.
           05  OB-S3                   PIC S9(6) COMP.
           05  OB-S5                   PIC S9(11) COMP.
           05  OB-U6                   PIC 9(14) COMP.
           05  OB-S7                   PIC S9(16)V9 COMP.
           05  OB-NATIVE               PIC S9(9) COMP-5.
           05  OB-FLOAT                COMP-2.
           05  OB-COUNTS OCCURS 3 TIMES PIC S9(4) COMP.
           05  OB-REDEF                PIC S9(9) COMP.
           05  OB-REDEF-X REDEFINES OB-REDEF PIC X(4).
           05  OB-END                  PIC X(2).
       01  ORACLE-VARIABLE.
           05  OV-KEY                  PIC X(6).
           05  OV-COUNT                PIC 9(2).
           05  OV-ENTRY OCCURS 0 TO 5 TIMES DEPENDING ON OV-COUNT.
               10  OV-CODE             PIC X(3).
               10  OV-VALUE            PIC S9(5)V99 COMP-3.
       01  ORACLE-SIGNS.
           05  OS-KEY                  PIC X(4).
           05  OS-TRAIL-SEP            PIC S9(5)V99
                                       SIGN TRAILING SEPARATE.
           05  OS-LEAD-SEP             PIC S9(3)
                                       SIGN IS LEADING SEPARATE.
