// One SQLite in the process.
#pragma once

namespace dbapi {

// Issues a RuntimeWarning, once a process, if Python's sqlite3 calls another copy of SQLite than we
// do. POSIX drops all of a process's locks on a file when any descriptor of it is closed, and each
// copy guards only its own against that: with two of them on one file, transactions are lost and
// the file is damaged in the end.
//
// Called before each connection is opened; after the first time it costs one look at a flag. Throws
// if a warning filter makes the warning an error.
void warn_of_second_engine();

}  // namespace dbapi
