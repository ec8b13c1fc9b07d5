           05  XX-ADDR.
               10  XX-STREET     PIC X(8).
               10  TOWN-OLD      PIC X(8).
