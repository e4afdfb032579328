#include "sqlite/prepared.h"

#include <unistd.h>

#include "sqlite/database.h"
#include "sqlite/error.h"

namespace sqlite {

void Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  if (is_this_process(prepared_in)) sqlite3_finalize(statement);
}

Prepared prepare(sqlite3* database, const char*& sql) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(database, sql, -1, &prepared, &sql);
  if (code != SQLITE_OK) throw Error::latest(database);
  return {prepared, Finalize{getpid()}};
}

}  // namespace sqlite
