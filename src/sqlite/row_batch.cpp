#include "sqlite/row_batch.h"

#include "sqlite/mapped_memory.h"

namespace sqlite {

namespace {

// Text of a row with all its columns filled.
constexpr std::size_t kUsualRowBytes = 512;

}  // namespace

RowBatch::RowBatch(OfLongResult) : cells_(mapped_memory()), bytes_(mapped_memory()) {
  cells_.reserve(kUsualBytes / sizeof(Cell));
  bytes_.reserve(kUsualBytes);
}

void RowBatch::append(const Statement& statement) {
  const std::size_t cells = cells_.size();
  const std::size_t bytes = bytes_.size();
  try {
    copy_row(statement.handle());
    starts_.push_back(bytes);
  } catch (...) {
    // Out of memory: no half row stays.
    cells_.resize(cells);
    bytes_.resize(bytes);
    throw;
  }
}

// Asks for a column once and for the rest of the value that it gave: nobody else uses the
// connection meanwhile, which is what such a value needs.
void RowBatch::copy_row(sqlite3_stmt* row) {
  columns_ = static_cast<std::size_t>(sqlite3_data_count(row));
  if (cells_.size() + columns_ > cells_.capacity()) cells_.reserve(2 * cells_.size() + columns_);
  if (bytes_.capacity() == 0) bytes_.reserve(kUsualRowBytes);
  const auto keep = [&](Cell& cell, const void* start, sqlite3_value* found) {
    if (start == nullptr && sqlite3_errcode(sqlite3_db_handle(row)) == SQLITE_NOMEM) {
      throw Error(SQLITE_NOMEM, sqlite3_errstr(SQLITE_NOMEM));
    }
    cell.offset = bytes_.size();
    if (start == nullptr) return;
    cell.size = sqlite3_value_bytes(found);
    const char* const first = static_cast<const char*>(start);
    bytes_.insert(bytes_.end(), first, first + cell.size);
  };
  for (int column = 0; column < static_cast<int>(columns_); ++column) {
    sqlite3_value* const found = sqlite3_column_value(row, column);
    Cell cell{sqlite3_value_type(found), 0, {0}};
    switch (cell.type) {
      case SQLITE_INTEGER:
        cell.integer = sqlite3_value_int64(found);
        break;
      case SQLITE_FLOAT:
        cell.real = sqlite3_value_double(found);
        break;
      case SQLITE_TEXT:
        keep(cell, sqlite3_value_text(found), found);
        break;
      case SQLITE_BLOB:
        keep(cell, sqlite3_value_blob(found), found);
        break;
      default:
        break;
    }
    cells_.push_back(cell);
  }
}

bool RowBatch::is_ascii(std::size_t row) const noexcept {
  const std::size_t end = row + 1 < starts_.size() ? starts_[row + 1] : bytes_.size();
  unsigned char bits = 0;
  for (std::size_t i = starts_[row]; i < end; ++i) bits |= static_cast<unsigned char>(bytes_[i]);
  return bits < 0x80;
}

Value RowBatch::value(std::size_t row, std::size_t column) const noexcept {
  const Cell& cell = cells_[row * columns_ + column];
  Value value{cell.type, 0, 0.0, {}};
  if (cell.type == SQLITE_INTEGER) value.integer = cell.integer;
  if (cell.type == SQLITE_FLOAT) value.real = cell.real;
  if (cell.type == SQLITE_TEXT || cell.type == SQLITE_BLOB) {
    value.bytes = {bytes_.data() + cell.offset, static_cast<std::size_t>(cell.size)};
  }
  return value;
}

void RowBatch::clear() noexcept {
  starts_.clear();
  cells_.clear();
  bytes_.clear();
}

}  // namespace sqlite
