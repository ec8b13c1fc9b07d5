      * A customer master record as text and zoned numbers: the
      * display-heavy file of the loader's benchmark (200 bytes).
       01  BENCH-DISPLAY.
           05  BD-ID                   PIC 9(10).
           05  BD-NAME                 PIC X(30).
           05  BD-STREET               PIC X(40).
           05  BD-CITY                 PIC X(20).
           05  BD-STATE                PIC X(2).
           05  BD-ZIP                  PIC 9(5).
           05  BD-PHONE                PIC X(15).
           05  BD-BALANCE              PIC S9(9)V99.
           05  BD-LIMIT                PIC S9(7)V99.
           05  BD-OPENED               PIC 9(8).
           05  BD-STATUS               PIC X.
           05  BD-NOTE                 PIC X(35).
           05  BD-COUNT                PIC 9(4).
           05  BD-RATE                 PIC SV9(5).
           05  BD-SCORE                PIC S9(5).
