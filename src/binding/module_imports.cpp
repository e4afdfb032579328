#include "binding/module_imports.h"

#include <initializer_list>

#include "dbapi/standard_sqlite3.h"
#include "json/standard_json.h"
#include "python/calls.h"
#include "python/values.h"

namespace binding {

namespace {

using python::Object;

constinit python::Name kImport{"__import__"};

// What an import statement calls, with the same words where it is missing.
Object imported(PyObject* globals, const char* module, const Object& names) {
  const Object builtins = Object::share(PyImport_AddModule("builtins"));
  const Object import = python::attribute_if_any(builtins.get(), kImport.get());
  if (!import) python::raise(PyExc_ImportError, "__import__ not found");
  return python::call(import.get(), python::text(module), globals, globals, names,
                      python::integer(0));
}

Object import_module(PyObject* globals, const char* module) {
  Object found = imported(globals, module, python::none());
  python::set_item(globals, module, found);
  return found;
}

void import_from(PyObject* globals, const char* module, std::initializer_list<const char*> names) {
  const Object wanted = python::list();
  for (const char* const name : names) python::append(wanted, python::text(name));
  const Object source = imported(globals, module, Object::take(PyList_AsTuple(wanted.get())));
  for (const char* const name : names) {
    const Object key = python::text(name);
    const Object value = python::attribute_if_any(source.get(), key.get());
    if (!value) python::raise_formatted(PyExc_ImportError, "cannot import name %S", key.get());
    python::set_item(globals, key.get(), value);
  }
}

}  // namespace

void import_names(PyObject* globals) {
  import_module(globals, "sqlite3");
  const Object json_module = import_module(globals, "json");
  import_from(globals, "datetime", {"datetime", "timedelta"});
  import_from(globals, "typing", {"List", "Optional", "Dict"});
  import_from(globals, "pathlib", {"Path"});
  dbapi::remember_standard_sqlite3();
  json::remember_standard_json(json_module.get());
}

}  // namespace binding
