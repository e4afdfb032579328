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

// Enough for a hundred rows, and small enough that the copies stay in the processor's cache and in
// memory that the allocator has at hand.
constexpr std::size_t kBatchBytes = 1 << 16;

bool rows_need_python_code(const Cursor& cursor) {
  const Object& factory = cursor.row_factory;
  return factory && !factory.is(Py_None) && !factory.is(standard_sqlite3().row);
}

// Copies up to `wanted` rows into the empty batch and leaves the statement on the row behind them.
void fill_batch(Cursor& cursor, std::size_t wanted) {
  const ConnectionCall call(cursor.connected());
  Statement& statement = *cursor.statement;
  try {
    while (cursor.on_row && cursor.batch.rows() < wanted && cursor.batch.size() < kBatchBytes) {
      cursor.batch.append(statement);
      cursor.on_row = statement.step() == Statement::Step::kRow;
    }
  } catch (const sqlite::Error& error) {
    cursor.on_row = false;
    // Raised in the place of the row before it, as if each row were stepped by itself.
    if (cursor.batch.rows() == 0) throw;
    cursor.failure = error;
  }
  if (!cursor.on_row && !cursor.failure && statement.changes_rows()) {
    cursor.rowcount = cursor.connected().database->changes();
  }
}

void fill_or_forget(Cursor& cursor, std::size_t wanted) {
  try {
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
    const Object name = Object::share(PyTuple_GET_ITEM(names, static_cast<Py_ssize_t>(column)));
    raise_not_utf8(PyUnicode_AsUTF8(name.get()), std::string(utf8).c_str());
  }
}

Object value(const Cursor& cursor, std::size_t column) {
  const sqlite::Value found = cursor.batch.value(cursor.next_in_batch, column);
  switch (found.type) {
    case SQLITE_INTEGER:
      return python::integer(found.integer);
    case SQLITE_FLOAT:
      return Object::take(PyFloat_FromDouble(found.real));
    case SQLITE_TEXT:
      return text_value(cursor, column, found.bytes);
    case SQLITE_BLOB:
      return Object::take(PyBytes_FromStringAndSize(found.bytes.data(),
                                                    static_cast<Py_ssize_t>(found.bytes.size())));
    default:
      return python::none();
  }
}

// Whether a text stands in the row before as well: then both rows share it. Labels, paths and
// vehicles come in runs, and a text costs more to make than to compare.
bool repeats_text(const Cursor& cursor, std::size_t column) {
  if (!cursor.latest) return false;
  const sqlite::Value text = cursor.batch.value(cursor.next_in_batch, column);
  if (text.type != SQLITE_TEXT) return false;
  const sqlite::Value before = cursor.batch.value(cursor.next_in_batch - 1, column);
  return before.type == SQLITE_TEXT && before.bytes == text.bytes;
}

// The batch's next row as a tuple. If it cannot be made, it stays the next one.
Object take_values(Cursor& cursor) {
  const std::size_t columns = cursor.batch.columns();
  Object values = Object::take(PyTuple_New(static_cast<Py_ssize_t>(columns)));
  for (std::size_t column = 0; column < columns; ++column) {
    const auto position = static_cast<Py_ssize_t>(column);
    PyObject* const made = repeats_text(cursor, column)
                               ? Py_NewRef(PyTuple_GET_ITEM(cursor.latest.get(), position))
                               : value(cursor, column).release();
    PyTuple_SET_ITEM(values.get(), position, made);
  }
  // Texts, numbers and bytes only: no cycle goes through it.
  PyObject_GC_UnTrack(values.get());
  ++cursor.next_in_batch;
  cursor.latest = values;
  return values;
}

void end_batch(Cursor& cursor) {
  forget_batch(cursor);
  if (cursor.on_row) return;
  const std::optional<sqlite::Error> failure = std::move(cursor.failure);
  forget_rows(cursor);
  if (failure) throw sqlite::Error(*failure);
}

Object made_row(Cursor& cursor, Object values) {
  const Object factory = cursor.row_factory;
  if (!factory || factory.is(Py_None)) return values;
  if (factory.is(standard_sqlite3().row)) return make_row(cursor.shape, std::move(values));
  return python::call(factory.get(), cursor.object(), values);
}

}  // namespace

python::Object next_row(Cursor& cursor, std::size_t wanted) {
  check_usable(cursor);
  if (cursor.next_in_batch == cursor.batch.rows()) {
    if (!cursor.on_row) return {};
    fill_or_forget(cursor, rows_need_python_code(cursor) ? 1 : wanted);
  }
  Object values = take_values(cursor);
  if (cursor.next_in_batch == cursor.batch.rows()) end_batch(cursor);
  return made_row(cursor, std::move(values));
}

python::Object fetch(Cursor& cursor, std::size_t most) {
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
