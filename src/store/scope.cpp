#include "store/scope.h"

#include <array>

#include "dbapi/exception_translation.h"
#include "python/compat.h"
#include "python/namespace.h"
#include "python/traceback.h"
#include "store/anpr_database.h"

namespace store {

namespace {

using python::Object;

constinit python::Name kGetConn{"_get_conn"};
constinit python::Name kEnter{"__enter__"};
constinit python::Name kExit{"__exit__"};
constinit python::Name kExecute{"execute"};
constinit python::Name kCommit{"commit"};
constinit python::Name kFetchone{"fetchone"};
constinit python::Name kFetchall{"fetchall"};
constinit python::Name kLastrowid{"lastrowid"};
constinit python::Name kRowcount{"rowcount"};

// Signals are looked at before and after each call, as the interpreter does
// between calls: any of them may have waited for a lock. So what a handler
// raises ends the operation before it goes on, and before its commit.
template <typename... Arguments>
Object between_signals(const Object& owner, const python::Name& method,
                       const Arguments&... arguments) {
  python::check_signals();
  Object answer = python::call_method(owner.get(), method, arguments...);
  python::check_signals();
  return answer;
}

// Entering comes first, as in Python: a manager that lacks both is refused for that.
Object entry_method(const Object& manager) {
  Object method = python::special_method(manager.get(), kEnter);
  if (!method) {
    python::raise_formatted(PyExc_TypeError,
                            "'%.200s' object does not support the context manager protocol",
                            Py_TYPE(manager.get())->tp_name);
  }
  return method;
}

Object exit_method(const Object& manager) {
  Object method = python::special_method(manager.get(), kExit);
  if (!method) {
    python::raise_formatted(
        PyExc_TypeError,
        "'%.200s' object does not support the context manager protocol (missed __exit__ method)",
        Py_TYPE(manager.get())->tp_name);
  }
  return method;
}

// The error that sys.exc_info() tells while __exit__
// runs, so that errors raised there are chained to it.
class HandledError {
 public:
  // The slot that is set here is the caller's own, a generator's say; asking for the handled error
  // could answer one further out.
  explicit HandledError(const Object& error)
      : outer_(Object::share_if_any(python::compat::innermost_handled_exception())) {
    PyErr_SetHandledException(error.get());
  }
  ~HandledError() { PyErr_SetHandledException(outer_.get()); }
  HandledError(const HandledError&) = delete;
  HandledError& operator=(const HandledError&) = delete;

 private:
  Object outer_;
};

}  // namespace

python::Object ScopeConnection::execute(const python::Name& sql) const {
  return between_signals(connection_, kExecute, sql.get());
}

python::Object ScopeConnection::execute(const python::Name& sql,
                                        const python::Object& parameters) const {
  return between_signals(connection_, kExecute, sql.get(), parameters);
}

python::Object ScopeConnection::execute(const python::Object& sql,
                                        const python::Object& parameters) const {
  return between_signals(connection_, kExecute, sql, parameters);
}

bool ScopeConnection::try_execute(const python::Name& sql) const {
  PyObject* const method = kExecute.get();
  const std::array<PyObject*, 2> arguments = {connection_.get(), sql.get()};
  python::check_signals();
  return static_cast<bool>(Object::take_if_any(python::in_interpreter([&] {
    return PyObject_VectorcallMethod(method, arguments.data(),
                                     arguments.size() | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr);
  })));
}

// Not after it: what is committed stays, so a signal
// that comes meanwhile is left to the interpreter.
void ScopeConnection::commit() const {
  python::check_signals();
  python::call_method(connection_.get(), kCommit);
}

python::Object fetchone(const python::Object& cursor) { return between_signals(cursor, kFetchone); }
python::Object fetchall(const python::Object& cursor) { return between_signals(cursor, kFetchall); }
python::Object lastrowid(const python::Object& cursor) {
  return python::attribute(cursor.get(), kLastrowid);
}
python::Object rowcount(const python::Object& cursor) {
  return python::attribute(cursor.get(), kRowcount);
}

bool changed_rows(const python::Object& cursor) {
  return python::compare(rowcount(cursor).get(), python::integer(0).get(), Py_GT);
}

Scope::Scope(PyObject* self, const char* operation)
    : Scope(python::call_method(self, kGetConn), operation) {}

Scope::Scope(const python::Object& manager, const char* operation)
    : operation_(operation), connection_(Object()) {
  python::check_signals();
  const Object enter = entry_method(manager);
  exit_ = exit_method(manager);
  connection_ = ScopeConnection(python::call(enter.get()));
}

void Scope::leave() const { python::call(exit_.get(), Py_None, Py_None, Py_None); }

void Scope::leave_with_error() const {
  dbapi::set_error_from_exception();
  python::add_traceback_entry_once(full_name(operation_).data(), python::module_namespace());
  Object error = Object::take(PyErr_GetRaisedException());
  const Object traceback = Object::take_if_any(PyException_GetTraceback(error.get()));
  {
    const HandledError handled(error);
    PyObject* const type = reinterpret_cast<PyObject*>(Py_TYPE(error.get()));
    python::call(exit_.get(), type, error, traceback ? traceback.get() : Py_None);
  }
  PyErr_SetRaisedException(error.release());
  throw python::PythonError{};
}

}  // namespace store
