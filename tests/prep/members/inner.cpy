      * lower-case name, found as written
           05  XX-NOTE  pic x(10).
