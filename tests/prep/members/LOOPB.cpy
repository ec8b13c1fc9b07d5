           05  LOOP-B  PIC X.
           COPY LOOPA.
