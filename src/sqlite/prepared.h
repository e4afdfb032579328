// A statement as the engine has it, owned.
#pragma once

#include <memory>
#include <sys/types.h>

#include <sqlite3.h>

namespace sqlite {

// Finalises the statement, except in a child made by fork(), which
// leaves its parent's alone. Ignores what sqlite3_finalize returns: it
// repeats the code of a failed step, which has been thrown already.
struct Finalize {
  pid_t prepared_in;
  void operator()(sqlite3_stmt* statement) const noexcept;
};

using Prepared = std::unique_ptr<sqlite3_stmt, Finalize>;

// Prepares the first statement of `sql`, null if there
// is none, and moves `sql` behind it. Throws Error.
Prepared prepare(sqlite3* database, const char*& sql);

}  // namespace sqlite
