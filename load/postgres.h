// The PostgreSQL target through libpq, and the column types it creates: a
// type for each kind of value that holds every value of the column exactly.
#pragma once

#include <memory>
#include <string>

#include "load/target.h"

// How an existing table is met: refused, dropped and created anew in the
// load's transaction, or appended to when its columns are the dictionary's.
enum class PgExisting { refuse, replace, append };

// The column type for CREATE TABLE, spelled as format_type() spells it, so
// that an --append can compare it with the catalogue's.
std::string pg_column_type(const ColumnSpec &column);

// Connects with a connection string or URI (PG* variables and the password
// file fill in the rest); null with libpq's message in error when the
// server refuses the connection or the login.
std::unique_ptr<Target> open_postgres_target(const std::string &conninfo, PgExisting existing,
                                             std::string &error);
