#include "dbapi/cursor_rows.h"

#include <array>
#include <cstring>
#include <string>

#include "dbapi/connection_call.h"
#include "dbapi/exception_translation.h"
#include "dbapi/row.h"
#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;
using sqlite::Statement;

// Of a longer result the batches give their memory back to the system.
constexpr std::size_t kBatchesOfShortResult = 4;

bool rows_need_python_code(const Cursor& cursor) {
  const Object& factory = cursor.row_factory;
  return factory && !factory.is(Py_None) && !factory.is(standard_sqlite3().row);
}

// Copies up to `wanted` rows into the empty batch and leaves the statement on the row behind them.
void fill_batch(Cursor& cursor, std::size_t wanted) {
  Statement& statement = *cursor.statement;
  if (!cursor.batch) {
    cursor.batch = cursor.batches++ < kBatchesOfShortResult
                       ? sqlite::SharedBatch::make()
                       : sqlite::SharedBatch::make_of_long_result();
  }
  const sqlite::SharedBatch& batch = cursor.batch;
  std::optional<ConnectionCall> call(std::in_place, cursor.connected());
  if (statement.may_step_long()) call->about_to_work_long();
  try {
    while (cursor.on_row && batch->rows() < wanted &&
           batch->size() < sqlite::RowBatch::kUsualBytes) {
      batch->append(statement);
      cursor.on_row = statement.step() == Statement::Step::kRow;
    }
  } catch (const sqlite::Error& error) {
    cursor.on_row = false;
    // Raised in the place of the row before it, as if each row were stepped by itself.
    if (batch->rows() == 0) throw;
    cursor.failure = error;
  }
  if (cursor.on_row || cursor.failure || !statement.changes_rows()) return;
  const int changes = cursor.connected().database->changes();
  // With the GIL back: other threads may read it.
  call.reset();
  cursor.rowcount = changes;
}

void fill_or_forget(Cursor& cursor, std::size_t wanted) {
  try {
    const Locked locked(cursor);
    fill_batch(cursor, wanted);
    throw_what_ended_a_wait();
  } catch (...) {
    forget_rows(cursor);
    rethrow_as_python_error();
  }
}

[[noreturn]] void raise_not_utf8(const char* column, const char* text) {
  std::array<char, 200> message;
  PyOS_snprintf(message.data(), message.size() - 1,
                "Could not decode to UTF-8 column '%s' with text '%s'", column, text);
  const Object shown = Object::take(PyUnicode_DecodeASCII(
      message.data(), static_cast<Py_ssize_t>(std::strlen(message.data())), "replace"));
  PyErr_SetObject(standard_sqlite3().operational_error, shown.get());
  throw python::PythonError{};
}

Object text_value(const Cursor& cursor, std::size_t column, std::string_view utf8) {
  try {
    return python::text(utf8);
  } catch (const python::PythonError&) {
    if (!python::pending_is(PyExc_UnicodeDecodeError)) throw;
    python::clear_error();
    PyObject* const names = RowShape::of(cursor.shape.get()).names.get();
    const auto position = static_cast<Py_ssize_t>(column);
    // More columns than were described: see RowShape::text.
    const bool described = position < PyTuple_GET_SIZE(names);
    raise_not_utf8(described ? PyUnicode_AsUTF8(PyTuple_GET_ITEM(names, position)) : "",
                   std::string(utf8).c_str());
  }
}

// The batch's next row as a tuple.
Object values_of_next(const Cursor& cursor) {
  const std::size_t columns = cursor.batch->columns();
  const bool is_ascii = cursor.batch->is_ascii(cursor.next_in_batch);
  Object values = Object::take(PyTuple_New(static_cast<Py_ssize_t>(columns)));
  for (std::size_t column = 0; column < columns; ++column) {
    const sqlite::Value stored = cursor.batch->value(cursor.next_in_batch, column);
    Object made = stored.type == SQLITE_TEXT && !is_ascii
                      ? text_value(cursor, column, stored.bytes)
                      : python_value(RowShape::of(cursor.shape.get()), column, stored);
    PyTuple_SET_ITEM(values.get(), static_cast<Py_ssize_t>(column), made.release());
  }
  // Texts, numbers and bytes only: no cycle goes through it.
  PyObject_GC_UnTrack(values.get());
  return values;
}

// The batch's next row. If it cannot be made, it stays the next one.
Object take_row(Cursor& cursor) {
  const bool own = cursor.row_factory && cursor.row_factory.is(standard_sqlite3().row);
  const bool waits = own && cursor.batch->is_ascii(cursor.next_in_batch);
  Object row =
      waits ? make_row(cursor.shape, cursor.batch, cursor.next_in_batch) : values_of_next(cursor);
  if (own && !waits) row = make_row(cursor.shape, std::move(row));
  ++cursor.next_in_batch;
  return row;
}

void end_batch(Cursor& cursor) {
  forget_batch(cursor);
  if (cursor.on_row) return;
  const std::optional<sqlite::Error> failure = std::move(cursor.failure);
  forget_rows(cursor);
  if (failure) throw sqlite::Error(*failure);
}

}  // namespace

python::Object next_row(Cursor& cursor, std::size_t wanted) {
  check_usable(cursor);
  // The row_factory may drop what the caller had of the cursor.
  const Object kept = Object::share(cursor.object());
  if (!cursor.batch || cursor.next_in_batch == cursor.batch->rows()) {
    if (!cursor.on_row) return {};
    fill_or_forget(cursor, rows_need_python_code(cursor) ? 1 : wanted);
  }
  Object row = take_row(cursor);
  if (cursor.next_in_batch == cursor.batch->rows()) end_batch(cursor);
  if (!rows_need_python_code(cursor)) return row;
  const Object factory = cursor.row_factory;
  return python::call(factory.get(), cursor.object(), row);
}

python::Object fetch(Cursor& cursor, std::size_t most) {
  const Object kept = Object::share(cursor.object());
  Object rows = python::list();
  python::GilSlice::Rows pace;
  for (std::size_t count = 0; count < most; ++count) {
    const Object row = next_row(cursor, most - count);
    if (!row) break;
    python::append(rows, row);
    pace.step();
  }
  return rows;
}

}  // namespace dbapi
