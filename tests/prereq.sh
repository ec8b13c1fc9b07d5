# Sourced by tests/run and examples/run: makes sure the build tools are here.
# As root it installs what is missing; otherwise it prints the install line
# and stops. With need_gtest=1 set before, what the tests need is needed as
# well: GoogleTest, groff and GnuCOBOL.
missing=""
command -v cmake >/dev/null 2>&1 || missing="$missing cmake"
command -v g++ >/dev/null 2>&1 || missing="$missing g++"
command -v make >/dev/null 2>&1 || missing="$missing make"
command -v flex >/dev/null 2>&1 || missing="$missing flex"
command -v bison >/dev/null 2>&1 || missing="$missing bison"
[ -f /usr/include/sqlite3.h ] || missing="$missing libsqlite3-dev"  # tarnmap-load
command -v sqlite3 >/dev/null 2>&1 || missing="$missing sqlite3"  # the example queries what it loaded
if [ "${need_gtest:-0}" = 1 ] && [ ! -f /usr/include/gtest/gtest.h ]; then
    missing="$missing libgtest-dev"
fi
if [ "${need_gtest:-0}" = 1 ] && ! command -v groff >/dev/null 2>&1; then
    missing="$missing groff-base"  # the manual page's test renders it
fi
if [ "${need_gtest:-0}" = 1 ] && ! command -v cobc >/dev/null 2>&1; then
    missing="$missing gnucobol"  # tarnmap-check is compared with GnuCOBOL
fi
if [ ! -f /usr/include/postgresql/libpq-fe.h ]; then
    missing="$missing libpq-dev"  # tarnmap-load's PostgreSQL target
fi
if [ "${need_gtest:-0}" = 1 ] && ! ls /usr/lib/postgresql/*/bin/initdb >/dev/null 2>&1; then
    missing="$missing postgresql"  # a throwaway server for the loader's tests
fi
if [ -n "$missing" ]; then
    if [ "$(id -u)" = 0 ]; then
        echo "Installing:$missing"
        apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing >/dev/null || exit 1
    else
        echo "apt-get install -y$missing"
        exit 1
    fi
fi
