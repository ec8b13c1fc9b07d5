           05  IN-LIB  PIC 9(2).
