           05  LOOP-A  PIC X.
           COPY LOOPB.
