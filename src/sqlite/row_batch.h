// Rows copied out of the engine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <utility>
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
  // Enough for a hundred rows, and small enough that the copies stay in the processor's cache.
  static constexpr std::size_t kUsualBytes = 1 << 16;

  RowBatch() = default;
  // Of a long result: with room for a usual batch, which goes back to the system with it.
  struct OfLongResult {};
  explicit RowBatch(OfLongResult);
  RowBatch(const RowBatch&) = delete;
  RowBatch& operator=(const RowBatch&) = delete;

  // Copies the row that the statement stands on. Every
  // row of a batch has the same number of columns.
  void append(const Statement& statement);

  std::size_t rows() const noexcept { return starts_.size(); }
  std::size_t columns() const noexcept { return columns_; }
  // Memory that the copied rows take.
  std::size_t size() const noexcept { return cells_.size() * sizeof(Cell) + bytes_.size(); }
  Value value(std::size_t row, std::size_t column) const noexcept;
  // Whether all of the row's texts and bytes are ASCII.
  bool is_ascii(std::size_t row) const noexcept;

  void clear() noexcept;

 private:
  friend class SharedBatch;

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
  std::vector<std::size_t> starts_;  // where each row's texts and bytes begin in bytes_
  std::pmr::vector<Cell> cells_;     // row after row
  std::pmr::vector<char> bytes_;
  std::size_t holders_ = 0;
};

// The static analyser cannot count the holders. NOLINTBEGIN(clang-analyzer-cplusplus.NewDelete)

// Holds a batch together with all who stand on its rows; the last one ends it. They take and drop
// it under one lock of theirs: the count of holders is a plain number.
class SharedBatch {
 public:
  SharedBatch() = default;
  static SharedBatch make() { return SharedBatch(new RowBatch); }
  static SharedBatch make_of_long_result() {
    return SharedBatch(new RowBatch(RowBatch::OfLongResult{}));
  }

  SharedBatch(SharedBatch&& other) noexcept : batch_(std::exchange(other.batch_, nullptr)) {}
  SharedBatch(const SharedBatch& other) noexcept : SharedBatch(other.batch_) {}
  SharedBatch& operator=(SharedBatch other) noexcept {
    std::swap(batch_, other.batch_);
    return *this;
  }
  ~SharedBatch() {
    if (batch_ != nullptr && --batch_->holders_ == 0) delete batch_;
  }

  explicit operator bool() const noexcept { return batch_ != nullptr; }
  RowBatch* operator->() const noexcept { return batch_; }
  bool has_one_holder() const noexcept { return batch_->holders_ == 1; }

 private:
  explicit SharedBatch(RowBatch* batch) noexcept : batch_(batch) {
    if (batch_ != nullptr) ++batch_->holders_;
  }

  RowBatch* batch_ = nullptr;
};

// NOLINTEND(clang-analyzer-cplusplus.NewDelete)

}  // namespace sqlite
