// The banner written first on every run; the golden test runner checks it too.
#pragma once

#define TARNMAP_BANNER                                                   \
    "\nTarnwick Layout Mapper Version " TARNMAP_VERSION                  \
    "\nConverts COBOL record descriptions into a CSV data dictionary."   \
    "\nFree software, distributed WITHOUT ANY WARRANTY."                 \
    "\n\n"
