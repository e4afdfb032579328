#include "dbapi/statement_cache.h"

#include <algorithm>

namespace dbapi {

namespace {

constexpr std::size_t kMostStatements = 128;

}  // namespace

std::shared_ptr<sqlite::Statement> StatementCache::find(std::string_view sql) {
  const auto found = std::find_if(entries_.rbegin(), entries_.rend(),
                                  [sql](const Entry& entry) { return entry.sql == sql; });
  if (found == entries_.rend()) return nullptr;
  std::rotate(found.base() - 1, found.base(), entries_.end());
  return entries_.back().statement;
}

std::shared_ptr<sqlite::Statement> StatementCache::keep(
    std::string_view sql, std::shared_ptr<sqlite::Statement> statement) {
  std::shared_ptr<sqlite::Statement> displaced;
  if (entries_.size() == kMostStatements) {
    displaced = std::move(entries_.front().statement);
    entries_.erase(entries_.begin());
  }
  entries_.push_back({std::string(sql), std::move(statement)});
  return displaced;
}

}  // namespace dbapi
