// A connection's prepared statements, the latest used first.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite/statement.h"

namespace dbapi {

// Shares its statements with the cursors that run them. Most connections see two or three texts in
// their life, so a search from the latest one back is faster than hashing.
class StatementCache {
 public:
  // The statement kept for this text, or null.
  std::shared_ptr<sqlite::Statement> find(std::string_view sql);

  // Keeps a statement; hands back the one that had to go for
  // it, or null, since dropping a statement is an engine call.
  std::shared_ptr<sqlite::Statement> keep(std::string_view sql,
                                          std::shared_ptr<sqlite::Statement> statement);

  void clear() noexcept { entries_.clear(); }

 private:
  struct Entry {
    std::string sql;
    std::shared_ptr<sqlite::Statement> statement;
  };

  std::vector<Entry> entries_;  // the latest used last
};

}  // namespace dbapi
