#include "sqlite/sql_text.h"

#include <array>
#include <cstring>
#include <string_view>

#include <sqlite3.h>

namespace sqlite {

namespace {

constexpr std::array<std::string_view, 4> kRowChangingVerbs = {"insert", "update", "delete",
                                                               "replace"};

}  // namespace

const char* first_statement(const char* sql) noexcept {
  const char* at = sql;
  while (true) {
    at += std::strspn(at, " \t\f\n\r");
    if (at[0] == '-' && at[1] == '-') {
      at = std::strchr(at, '\n');
    } else if (at[0] == '/' && at[1] == '*') {
      at = std::strstr(at + 2, "*/");
      if (at != nullptr) at += 2;
    } else {
      return at[0] == '\0' ? nullptr : at;
    }
    // A comment that is not closed reaches to the end.
    if (at == nullptr) return nullptr;
  }
}

bool changes_rows(const char* sql) noexcept {
  const char* const statement = first_statement(sql);
  if (statement == nullptr) return false;
  for (const std::string_view verb : kRowChangingVerbs) {
    if (sqlite3_strnicmp(statement, verb.data(), static_cast<int>(verb.size())) == 0) return true;
  }
  return false;
}

}  // namespace sqlite
