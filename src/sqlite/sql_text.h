// Looking at an SQL text without preparing it.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace sqlite {

// The text from its first statement on, past white space and comments; empty if there is none.
constexpr std::string_view from_first_statement(std::string_view sql) noexcept {
  constexpr std::string_view kWhiteSpace = " \t\f\n\r";
  while (true) {
    sql.remove_prefix(std::min(sql.find_first_not_of(kWhiteSpace), sql.size()));
    std::string_view comment_end;
    if (sql.starts_with("--")) {
      comment_end = "\n";
    } else if (sql.starts_with("/*")) {
      sql.remove_prefix(2);
      comment_end = "*/";
    } else {
      return sql;
    }
    // A comment that is not closed reaches to the end.
    const std::size_t end = sql.find(comment_end);
    if (end == std::string_view::npos) return {};
    sql.remove_prefix(end + comment_end.size());
  }
}

// True for a statement that changes rows: INSERT, UPDATE, DELETE or REPLACE, in any case.
constexpr bool changes_rows(std::string_view sql) noexcept {
  constexpr std::array<std::string_view, 4> kVerbs = {"insert", "update", "delete", "replace"};
  const auto is_letter = [](char lower, char c) { return c == lower || c == lower - 'a' + 'A'; };
  const std::string_view statement = from_first_statement(sql);
  return std::any_of(kVerbs.begin(), kVerbs.end(), [&](std::string_view verb) {
    return statement.size() >= verb.size() &&
           std::equal(verb.begin(), verb.end(), statement.begin(), is_letter);
  });
}

}  // namespace sqlite
