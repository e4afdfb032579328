// Rows copied out of the engine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "sqlite/statement.h"

namespace sqlite {

// One column's value. Text and bytes live in the batch that it was taken from.
struct Value {
  int type;  // SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL
  std::int64_t integer;
  double real;
  std::string_view bytes;
};

// A run of rows, copied so that objects can be made
// of them after the engine call that stepped them.
class RowBatch {
 public:
  // Copies the row that the statement stands on. Every
  // row of a batch has the same number of columns.
  void append(const Statement& statement);

  std::size_t rows() const noexcept { return columns_ == 0 ? 0 : cells_.size() / columns_; }
  std::size_t columns() const noexcept { return columns_; }
  // Memory that the copied rows take.
  std::size_t size() const noexcept { return cells_.size() * sizeof(Cell) + bytes_.size(); }
  Value value(std::size_t row, std::size_t column) const noexcept;

  void clear() noexcept;

 private:
  struct Cell {
    int type;
    int size;  // of text or bytes
    union {
      std::int64_t integer;
      double real;
      std::size_t offset;  // where text or bytes begin in bytes_
    };
  };

  void copy_row(sqlite3_stmt* row);

  std::size_t columns_ = 0;
  std::vector<Cell> cells_;  // row after row
  std::vector<char> bytes_;
};

}  // namespace sqlite
