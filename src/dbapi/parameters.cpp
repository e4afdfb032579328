#include "dbapi/parameters.h"

#include <climits>
#include <cstdint>

#include "dbapi/adapters.h"
#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/positional.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;
using sqlite::Statement;

std::int64_t engine_integer(PyObject* value) {
  int overflow = 0;
  const long long converted = PyLong_AsLongLongAndOverflow(value, &overflow);
  if (overflow != 0)
    python::raise(PyExc_OverflowError, "Python int too large to convert to SQLite INTEGER");
  if (converted == -1 && PyErr_Occurred() != nullptr) throw python::PythonError{};
  return converted;
}

void bind_text(Statement& statement, int position, PyObject* value) {
  const python::Utf8 utf8 = python::utf8_of(value);
  if (utf8.size > INT_MAX) python::raise(PyExc_OverflowError, "string longer than INT_MAX bytes");
  statement.bind_text(position, utf8.view());
}

// The bytes of an object with the buffer protocol, held until the end of the scope.
class Buffer {
 public:
  explicit Buffer(PyObject* owner) {
    python::check(
        python::in_interpreter([&] { return PyObject_GetBuffer(owner, &view_, PyBUF_SIMPLE); }));
  }
  ~Buffer() {
    python::in_interpreter([&] { PyBuffer_Release(&view_); });
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  const Py_buffer& view() const noexcept { return view_; }

 private:
  Py_buffer view_{};
};

void bind_blob(Statement& statement, int position, PyObject* value) {
  const Buffer buffer(value);
  if (buffer.view().len > INT_MAX)
    python::raise(PyExc_OverflowError, "BLOB longer than INT_MAX bytes");
  statement.bind_blob(position, buffer.view().buf, static_cast<std::size_t>(buffer.view().len));
}

void bind_value(Statement& statement, int position, PyObject* given) {
  const Object value = adapted(given);
  PyObject* const object = value.get();
  if (object == Py_None) {
    statement.bind_null(position);
  } else if (PyLong_Check(object)) {
    statement.bind_integer(position, engine_integer(object));
  } else if (PyFloat_Check(object)) {
    statement.bind_real(position, PyFloat_AS_DOUBLE(object));
  } else if (PyUnicode_Check(object)) {
    bind_text(statement, position, object);
  } else if (PyObject_CheckBuffer(object)) {
    bind_blob(statement, position, object);
  } else {
    python::raise_formatted(standard_sqlite3().programming_error,
                            "Error binding parameter %d: type '%s' is not supported", position,
                            Py_TYPE(object)->tp_name);
  }
}

void warn_of_named_placeholder(int position, const char* name) {
  constexpr char kFormat[] =
      "Binding %d ('%s') is a named parameter, but you supplied a sequence which requires nameless "
      "(qmark) placeholders. Starting with Python 3.14 an sqlite3.ProgrammingError will be raised.";
  python::check(python::in_interpreter(
      [&] { return PyErr_WarnFormat(PyExc_DeprecationWarning, 1, kFormat, position, name); }));
}

Object item_at(PyObject* sequence, Py_ssize_t index) {
  if (PyTuple_CheckExact(sequence)) return Object::share(PyTuple_GET_ITEM(sequence, index));
  // Adapters of earlier items may have made the list shorter.
  if (PyList_CheckExact(sequence)) return Object::share(PyList_GetItem(sequence, index));
  return Object::take(python::in_interpreter([&] { return PySequence_GetItem(sequence, index); }));
}

void bind_sequence(Statement& statement, PyObject* values) {
  const int needed = statement.parameter_count();
  const Py_ssize_t given = python::length(values);
  if (given != needed) {
    python::raise_formatted(
        standard_sqlite3().programming_error,
        "Incorrect number of bindings supplied. The current statement uses %d, and there "
        "are %zd supplied.",
        needed, given);
  }
  for (int position = 1; position <= needed; ++position) {
    const char* const name = statement.parameter_name(position);
    if (name != nullptr && name[0] != '?') warn_of_named_placeholder(position, name);
    bind_value(statement, position, item_at(values, position - 1).get());
  }
}

[[noreturn]] void raise_missing_value(const char* name) {
  python::raise_formatted(standard_sqlite3().programming_error,
                          "You did not supply a value for binding parameter :%s.", name);
}

Object item_named(PyObject* values, const char* name) {
  const Object key = python::text(name);
  try {
    if (!PyDict_CheckExact(values)) return python::item(values, key.get());
    if (Object found = python::item_if_any(values, key.get())) return found;
  } catch (const python::PythonError&) {
    if (!python::pending_is(PyExc_LookupError)) throw;
  }
  raise_missing_value(name);
}

void bind_mapping(Statement& statement, PyObject* values) {
  const int needed = statement.parameter_count();
  for (int position = 1; position <= needed; ++position) {
    const char* const name = statement.parameter_name(position);
    if (name == nullptr) {
      python::raise_formatted(
          standard_sqlite3().programming_error,
          "Binding %d has no name, but you supplied a dictionary (which has only names).",
          position);
    }
    // Past the prefix: a colon, a dollar sign, an at sign or a question mark.
    bind_value(statement, position, item_named(values, name + 1).get());
  }
}

}  // namespace

void bind_parameters(sqlite::Statement& statement, PyObject* parameters) {
  statement.begin_binding();
  if (PyDict_Check(parameters)) return bind_mapping(statement, parameters);
  if (PySequence_Check(parameters) != 0) return bind_sequence(statement, parameters);
  python::raise(standard_sqlite3().programming_error, "parameters are of unsupported type");
}

}  // namespace dbapi
