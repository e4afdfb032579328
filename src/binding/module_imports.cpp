#include "binding/module_imports.h"

#include <initializer_list>

#include "json/standard_json.h"
#include "python/calls.h"
#include "python/values.h"
#include "store/standard_sqlite3.h"

namespace binding {

namespace {

using python::Object;

constinit python::Name kImport{"__import__"};

// What an import statement calls.
Object imported(PyObject* globals, const char* module, const Object& names) {
  const Object builtins = Object::share(PyImport_AddModule("builtins"));
  const Object import = python::attribute(builtins.get(), kImport);
  return python::call(import.get(), python::text(module), globals, globals, names,
                      python::integer(0));
}

void bind(PyObject* globals, const char* name, const Object& value) {
  python::check(PyDict_SetItemString(globals, name, value.get()));
}

Object import_module(PyObject* globals, const char* module) {
  Object found = imported(globals, module, python::none());
  bind(globals, module, found);
  return found;
}

void import_from(PyObject* globals, const char* module, std::initializer_list<const char*> names) {
  const Object wanted = python::list();
  for (const char* const name : names) python::append(wanted, python::text(name));
  const Object source = imported(globals, module, wanted);
  for (const char* const name : names) {
    const Object key = python::text(name);
    const Object value = python::attribute_if_any(source.get(), key.get());
    if (!value) python::raise_formatted(PyExc_ImportError, "cannot import name %S", key.get());
    bind(globals, name, value);
  }
}

}  // namespace

void import_names(PyObject* globals) {
  import_module(globals, "sqlite3");
  const Object json_module = import_module(globals, "json");
  import_from(globals, "datetime", {"datetime", "timedelta"});
  import_from(globals, "typing", {"List", "Optional", "Dict"});
  import_from(globals, "pathlib", {"Path"});
  store::remember_standard_sqlite3();
  json::remember_standard_json(json_module.get());
}

}  // namespace binding
