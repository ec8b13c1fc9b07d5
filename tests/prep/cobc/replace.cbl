       IDENTIFICATION DIVISION.
       PROGRAM-ID. REPLACED.
      * REPLACE up to REPLACE OFF, across a COPY; continued literals
      * and words; a COPY statement over three lines.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       REPLACE ==PIC X(8)== BY ==PIC X(10)==
               ==TOWN-OLD== BY ==CITY==.
       01  R-REC.
           05  R-A               PIC X(8).
           COPY
               addr
               .
       REPLACE OFF.
       01  S-REC.
           05  S-A               PIC X(8).
           05  S-TEXT            PIC X(90) VALUE 'A LITERAL THAT GOES ON
      -    'AND ON OVER TWO LINES AND THEN'
           .
           05  S-MORE  PIC X(70) VALUE "DOUBLE QUOTES AND BLANKS    
      -    " INSIDE".
           05  S-LONG-NA
      -        ME                PIC 9(4).
       PROCEDURE DIVISION.
           STOP RUN.
