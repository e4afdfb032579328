#include "dbapi/cursor.h"

#include "dbapi/connection_call.h"
#include "dbapi/cursor_type.h"
#include "dbapi/exception_translation.h"
#include "dbapi/parameters.h"
#include "dbapi/row_shape.h"
#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/native_type.h"
#include "python/positional.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;
using sqlite::Statement;

// Lets go of what the cursor ran before and prepares the new statement.
Statement& change_statement(Cursor& cursor, PyObject* sql) {
  cursor.description = python::none();
  cursor.shape = Object();
  forget_rows(cursor);
  throw_what_ended_a_wait();
  cursor.statement = prepare(cursor.connected(), sql);
  cursor.rowcount = cursor.statement->changes_rows() ? 0 : -1;
  return *cursor.statement;
}

Statement::Step step(Cursor& cursor) {
  Statement::Step result{};
  int changes = 0;
  {
    ConnectionCall call(cursor.connected());
    if (cursor.statement->may_step_long()) call.about_to_work_long();
    result = cursor.statement->step();
    if (result == Statement::Step::kDone && cursor.statement->changes_rows()) {
      changes = cursor.connected().database->changes();
    }
  }
  throw_what_ended_a_wait();
  // With the GIL back: other threads may read it.
  cursor.rowcount += changes;
  return result;
}

void describe(Cursor& cursor) {
  if (cursor.shape || cursor.statement->column_count() == 0) return;
  cursor.shape = shape_of_rows(*cursor.statement);
  cursor.description = RowShape::of(cursor.shape.get()).description;
}

// Runs the statement once. Returns false if there was nothing to run.
bool run(Cursor& cursor, PyObject* parameters) {
  bind_parameters(*cursor.statement, parameters);
  // Python code that binding ran may have closed the connection.
  check_open(cursor.connected());
  const Statement::Step result = step(cursor);
  if (result == Statement::Step::kNothingToRun) return false;
  describe(cursor);
  cursor.on_row = result == Statement::Step::kRow;
  return true;
}

// Nothing of a cursor is written by another thread
// than its own, not even by a call that is refused.
void check_same_thread(const Cursor& cursor) {
  if (cursor.connection && !cursor.closed) check_thread(cursor.connected());
}

// Runs `body`, and if it throws leaves the cursor without statement and count.
template <typename Body>
void executing(Cursor& cursor, Body body) {
  check_same_thread(cursor);
  try {
    check_usable(cursor);
  } catch (const python::PythonError&) {
    cursor.rowcount = -1;
    throw;
  }
  const python::GilSlice::Entry entry;
  const Locked locked(cursor);
  try {
    body();
  } catch (...) {
    forget_rows(cursor);
    cursor.rowcount = -1;
    throw;
  }
  if (!cursor.on_row) forget_rows(cursor);
}

}  // namespace

void check_not_locked(const Cursor& cursor) {
  if (!cursor.locked) return;
  python::raise(standard_sqlite3().programming_error, "Recursive use of cursors not allowed.");
}

void check_usable(const Cursor& cursor) {
  if (!cursor.connection) {
    python::raise(standard_sqlite3().programming_error, "Base Cursor.__init__ not called.");
  }
  if (cursor.closed)
    python::raise(standard_sqlite3().programming_error, "Cannot operate on a closed cursor.");
  check_thread(cursor.connected());
  check_open(cursor.connected());
  check_process(cursor.connected());
  check_not_locked(cursor);
}

python::Object make_cursor(Connection& connection) {
  Object object = Object::take(python::make_instance<Cursor>(cursor_type()).object());
  connect(Cursor::of(object.get()), Object::share(connection.object()));
  return object;
}

void connect(Cursor& cursor, python::Object connection) {
  if (cursor.connection) forget_rows(cursor);
  throw_what_ended_a_wait();
  cursor.connection = std::move(connection);
  cursor.description = python::none();
  cursor.shape = Object();
  cursor.lastrowid = python::none();
  cursor.row_factory = python::none();
  cursor.arraysize = 1;
  cursor.rowcount = -1;
  cursor.closed = false;
}

void forget_batch(Cursor& cursor) noexcept {
  // The memory is used again, unless rows stand on it.
  if (cursor.batch && cursor.batch.has_one_holder()) {
    cursor.batch->clear();
  } else {
    cursor.batch = sqlite::SharedBatch();
  }
  cursor.next_in_batch = 0;
}

void forget_rows(Cursor& cursor) noexcept {
  forget_batch(cursor);
  cursor.batches = 0;
  cursor.on_row = false;
  cursor.failure.reset();
  discard(cursor.connected(), std::move(cursor.statement));
}

void execute(Cursor& cursor, const python::Object& sql, const python::Object& parameters) {
  executing(cursor, [&] {
    const Object given = parameters ? parameters : python::tuple();
    change_statement(cursor, sql.get());
    begin_if_needed(cursor.connected(), *cursor.statement);
    if (!run(cursor, given.get())) return;
    cursor.lastrowid = python::integer(cursor.connected().database->last_insert_rowid());
  });
}

void executemany(Cursor& cursor, const python::Object& sql, const python::Object& parameters) {
  executing(cursor, [&] {
    const Object sets =
        PyIter_Check(parameters.get()) != 0 ? parameters : python::iterator(parameters.get());
    if (change_statement(cursor, sql.get()).read_only()) {
      python::raise(standard_sqlite3().programming_error,
                    "executemany() can only execute DML statements.");
    }
    begin_if_needed(cursor.connected(), *cursor.statement);
    python::GilSlice::LongSteps pace;
    while (const Object set = python::next(sets.get())) {
      run(cursor, set.get());
      pace.step();
    }
  });
}

void executescript(Cursor& cursor, const python::Object& script) {
  python::check_text("executescript", "argument", script.get());
  const python::Utf8 text = python::utf8_of(script.get());
  if (text.holds_nul()) python::raise(PyExc_ValueError, "embedded null character");
  check_usable(cursor);
  Connection& connection = cursor.connected();
  if (text.size > static_cast<std::size_t>(connection.database->longest_sql())) {
    python::raise(standard_sqlite3().data_error, "query string is too large");
  }
  commit(connection);
  python::GilSlice::LongSteps pace;
  for (const char* rest = text.bytes; *rest != '\0';) {
    pace.step();
    // The handler of a signal may have closed it.
    check_open(connection);
    {
      const ConnectionCall call(connection);
      rest = connection.database->run_first(rest);
    }
    throw_what_ended_a_wait();
  }
}

}  // namespace dbapi
