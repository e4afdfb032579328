#include "dbapi/connection.h"

#include <string>

#include "dbapi/connection_call.h"
#include "dbapi/connection_type.h"
#include "dbapi/one_engine.h"
#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/native_type.h"
#include "python/positional.h"

namespace dbapi {

namespace {

using python::Object;

constexpr int kBusyTimeoutMs = 5000;

void audit(const char* event, PyObject* subject) {
  python::check(python::in_interpreter([&] { return PySys_Audit(event, "O", subject); }));
}

// The path in the file system's encoding.
Object encoded_path(PyObject* path) {
  PyObject* encoded = nullptr;
  if (python::in_interpreter([&] { return PyUnicode_FSConverter(path, &encoded); }) == 0) {
    throw python::PythonError{};
  }
  return Object::take(encoded);
}

std::unique_ptr<sqlite::Database> open_database(const Object& encoded) {
  const char* const name = PyBytes_AS_STRING(encoded.get());
  const EngineCall opening;
  return std::make_unique<sqlite::Database>(name, kBusyTimeoutMs);
}

void run(Connection& connection, const char* sql) {
  {
    const ConnectionCall call(connection);
    connection.database->run(sql);
  }
  throw_what_ended_a_wait();
}

}  // namespace

Object open_connection(PyObject* path) {
  audit("sqlite3.connect", path);
  const Object encoded = encoded_path(path);
  warn_of_second_engine();
  std::unique_ptr<sqlite::Database> database = open_database(encoded);
  auto& connection = python::make_instance<Connection>(connection_type());
  Object object = Object::take(connection.object());
  connection.row_factory = Object::share(Py_None);
  connection.thread = PyThread_get_thread_ident();
  connection.database = std::move(database);
  audit("sqlite3.connect/handle", object.get());
  return object;
}

void check_thread(const Connection& connection) {
  const unsigned long thread = PyThread_get_thread_ident();
  if (thread == connection.thread) return;
  const std::string text =
      "SQLite objects created in a thread can only be used in that same thread. The object was "
      "created in "
      "thread id " +
      std::to_string(connection.thread) + " and this is thread id " + std::to_string(thread) + ".";
  python::raise(standard_sqlite3().programming_error, text.c_str());
}

void check_open(const Connection& connection) {
  if (connection.database) return;
  python::raise(standard_sqlite3().programming_error, "Cannot operate on a closed database.");
}

void check_process(const Connection& connection) {
  if (!connection.database || connection.database->is_own()) return;
  python::raise(standard_sqlite3().programming_error,
                "SQLite objects created in a process can only be used in that same process, not in "
                "its forks.");
}

void commit(Connection& connection) {
  if (!connection.database->autocommit()) run(connection, "COMMIT");
}

void rollback(Connection& connection) {
  if (!connection.database->autocommit()) run(connection, "ROLLBACK");
}

void begin_if_needed(Connection& connection, const sqlite::Statement& statement) {
  const bool needed = connection.isolation_level != nullptr && statement.changes_rows() &&
                      connection.database->autocommit();
  if (needed) run(connection, (std::string("BEGIN ") + connection.isolation_level).c_str());
}

std::shared_ptr<sqlite::Statement> prepare(Connection& connection, PyObject* sql) {
  check_open(connection);
  connection.leftovers.reserve(connection.leftovers.size() + connection.shares + 1);
  const python::Utf8 text = python::utf8_of(sql);
  std::shared_ptr<sqlite::Statement> kept = connection.statements.find(text.view());
  // Shared by the cache and this function alone: no cursor runs it, or is binding values to it.
  if (kept && kept.use_count() == 2) {
    ++connection.shares;
    return kept;
  }
  if (text.size > static_cast<std::size_t>(connection.database->longest_sql())) {
    python::raise(standard_sqlite3().data_error, "query string is too large");
  }
  if (text.holds_nul()) {
    python::raise(standard_sqlite3().programming_error, "the query contains a null character");
  }
  std::shared_ptr<sqlite::Statement> fresh;
  std::shared_ptr<sqlite::Statement> displaced;
  {
    const ConnectionCall call(connection);
    fresh = std::make_shared<sqlite::Statement>(*connection.database, text.bytes);
  }
  if (fresh->more_follows()) {
    python::raise(standard_sqlite3().programming_error,
                  "You can only execute one statement at a time.");
  }
  ++connection.shares;
  if (!kept) displaced = connection.statements.keep(text.view(), fresh);
  if (displaced) {
    const ConnectionCall call(connection);
    displaced.reset();
  }
  return fresh;
}

void discard(Connection& connection, std::shared_ptr<sqlite::Statement> statement) noexcept {
  if (!statement) return;
  --connection.shares;
  const bool kept_elsewhere = statement.use_count() > 1;
  if (kept_elsewhere && !statement->busy()) return;
  // The engine may be at work on this connection: by this
  // thread, below us, or by the thread that owns it.
  if (connection.in_call || PyThread_get_thread_ident() != connection.thread) {
    connection.leftovers.push_back(std::move(statement));
    return;
  }
  const ConnectionCall call(connection);
  statement->reset_if_own();
  statement.reset();
}

}  // namespace dbapi
