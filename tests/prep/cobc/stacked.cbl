       IDENTIFICATION DIVISION.
       PROGRAM-ID. STACKED.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
      * REPLACE ALSO stacks its pairs on those in force, REPLACE LAST OFF
      * takes them back, REPLACE OFF ends all.
       REPLACE ==AAA== BY ==BBB==.
       01  AAA-REC.
           05  AAA   PIC X.
       REPLACE ALSO ==CCC== BY ==DDD==.
           05  AAA   PIC X.
           05  CCC   PIC X.
       REPLACE LAST OFF.
           05  AAA   PIC X.
           05  CCC   PIC X.
       REPLACE OFF.
           05  AAA   PIC X.
       PROCEDURE DIVISION.
           STOP RUN.
