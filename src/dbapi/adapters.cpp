#include "dbapi/adapters.h"

#include "dbapi/standard_sqlite3.h"
#include "python/calls.h"
#include "python/values.h"

namespace dbapi {

namespace {

using python::Object;

constinit python::Name kAdapt{"__adapt__"};
constinit python::Name kConform{"__conform__"};

// Types that have neither method, so that only the registry can know them.
bool is_plain_value(PyObject* value) {
  return value == Py_None || PyUnicode_CheckExact(value) || PyLong_CheckExact(value) ||
         PyFloat_CheckExact(value) || PyBool_Check(value) || PyBytes_CheckExact(value) ||
         PyByteArray_CheckExact(value);
}

Object registered_adapter(PyObject* value) {
  const StandardSqlite3& standard = standard_sqlite3();
  const Object key =
      python::tuple(reinterpret_cast<PyObject*>(Py_TYPE(value)), standard.prepare_protocol);
  return python::item_if_any(standard.adapters, key.get());
}

// What `method` makes of `argument`; nothing if it says
// None, or is not meant for it and says so with a TypeError.
Object asked(const Object& method, PyObject* argument) {
  try {
    Object answer = python::call(method.get(), argument);
    return answer.is(Py_None) ? Object() : answer;
  } catch (const python::PythonError&) {
    if (!python::pending_is(PyExc_TypeError)) throw;
    python::clear_error();
    return {};
  }
}

}  // namespace

Object adapted(PyObject* value) {
  if (const Object adapter = registered_adapter(value)) return python::call(adapter.get(), value);
  if (!is_plain_value(value)) {
    PyObject* const protocol = standard_sqlite3().prepare_protocol;
    if (const Object method = python::attribute_if_any(protocol, kAdapt.get())) {
      if (Object answer = asked(method, value)) return answer;
    }
    if (const Object method = python::attribute_if_any(value, kConform.get())) {
      if (Object answer = asked(method, protocol)) return answer;
    }
  }
  return Object::share(value);
}

}  // namespace dbapi
