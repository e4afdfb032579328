// Looking at an SQL text without preparing it.
#pragma once

namespace sqlite {

// Where the first statement begins: past white space and comments; null if there is none.
const char* first_statement(const char* sql) noexcept;

// True for a statement that changes rows: INSERT, UPDATE, DELETE or REPLACE, in any case.
bool changes_rows(const char* sql) noexcept;

}  // namespace sqlite
