// The extension module: its create and execute steps.
// One module object a process, in one interpreter.

#include <Python.h>

#include "binding/docstrings.h"
#include "binding/method_functions.h"
#include "binding/module_imports.h"
#include "dbapi/connection_type.h"
#include "dbapi/cursor_type.h"
#include "dbapi/exception_translation.h"
#include "dbapi/row.h"
#include "dbapi/row_shape.h"
#include "python/builtins.h"
#include "python/calls.h"
#include "python/compat.h"
#include "python/gil_slice.h"
#include "python/kept.h"
#include "python/namespace.h"
#include "python/traceback.h"
#include "python/values.h"
#include "sqlite/page_memory.h"

namespace binding {

namespace {

using python::Object;

constexpr char kInitEntry[] = "init zentrope_anpr.zentrope_anpr_server_db";

constinit python::Name kModuleAttribute{"__module__"};
constinit python::Name kQualname{"__qualname__"};
constinit python::Name kDoc{"__doc__"};
constinit python::Name kBuiltins{"__builtins__"};
constinit python::Name kTest{"__test__"};
constinit python::Name kClass{kClassName};
constinit python::Name kFullName{kModuleName};
constinit python::Name kName{"name"};

// What the process keeps about the module. It stands here, and not in the module object's own state
// block, which CPython clears when the create step hands out the same module again.
struct Process {
  std::int64_t interpreter = -1;  // the one that loaded the module, or the last that failed to
  PyObject* module = nullptr;     // the one that was made, or executed
  bool executed = false;
};

constinit Process process;

void refuse_second_interpreter() {
  const std::int64_t current = PyInterpreterState_GetID(PyInterpreterState_Get());
  if (current == -1) throw python::PythonError{};
  if (process.interpreter != current && process.module == nullptr) {
    // None has loaded it, or one has failed to; whose
    // objects are still here, it may be gone itself.
    if (process.interpreter != -1) {
      python::forget_everything_kept();
      forget_method_functions();
    }
    process.interpreter = current;
  }
  if (process.interpreter == current) return;
  python::raise(PyExc_ImportError,
                "Interpreter change detected - this module can only be loaded into one interpreter "
                "per process.");
}

// Copies an attribute of the import's module spec onto the module, if the spec has it.
void copy_attribute(PyObject* spec, const char* from, const Object& module, const char* to,
                    bool also_none) {
  const Object value = python::attribute_if_any(spec, python::text(from).get());
  if (!value || (!also_none && value.is(Py_None))) return;
  python::set_item(PyModule_GetDict(module.get()), to, value);
}

PyObject* create(PyObject* spec, PyModuleDef*) {
  return dbapi::translate_exceptions<PyObject*>(nullptr, [&] {
    refuse_second_interpreter();
    if (process.module != nullptr) return Py_NewRef(process.module);
    Object module = Object::take(PyModule_NewObject(python::attribute(spec, kName).get()));
    copy_attribute(spec, "loader", module, "__loader__", true);
    copy_attribute(spec, "origin", module, "__file__", true);
    copy_attribute(spec, "parent", module, "__package__", true);
    copy_attribute(spec, "submodule_search_locations", module, "__path__", false);
    process.module = Object(module).release();
    return module.release();
  });
}

// The module table holds the module under its full
// name, also when it was imported under another one.
void record(PyObject* module) {
  python::keep(process.module, Object::share(module));
  process.executed = true;
  python::set_module_namespace(PyModule_GetDict(module));
  python::set_item(PyImport_GetModuleDict(), kFullName, module);
}

void forget(PyObject* module) noexcept {
  PyObject* const pending = PyErr_GetRaisedException();
  PyObject* const modules = PyImport_GetModuleDict();
  if (PyDict_GetItemString(modules, kModuleName) == module)
    PyDict_DelItemString(modules, kModuleName);
  PyErr_Clear();
  process.executed = false;
  python::keep(process.module, {});
  python::set_module_namespace(nullptr);
  PyErr_SetRaisedException(pending);
}

void warn_of_other_python() {
  using python::compat::kPythonMajor, python::compat::kPythonMinor;
  const int major = python::compat::running_major();
  const int minor = python::compat::running_minor();
  if (major == kPythonMajor && minor == kPythonMinor) return;
  char text[200];
  PyOS_snprintf(text, sizeof text,
                "compile time Python version %d.%d of module '%.100s' %s runtime version %d.%d",
                kPythonMajor, kPythonMinor, kModuleName, "does not match", major, minor);
  python::check(
      python::in_interpreter([&] { return PyErr_WarnEx(PyExc_RuntimeWarning, text, 1); }));
}

void make_class(PyObject* globals) {
  const Object names = python::dict();
  python::set_item(names, kModuleAttribute, python::text(kModuleName));
  python::set_item(names, kQualname, python::text(kClassName));
  python::set_item(names, kDoc, python::text(kClassDoc));
  add_method_functions(names, globals, python::builtins().staticmethod);
  const Object made =
      python::call(reinterpret_cast<PyObject*>(&PyType_Type), kClass.get(), python::tuple(), names);
  python::set_item(globals, kClass, made);
}

void execute_new(PyObject* module) {
  record(module);
  PyObject* const globals = PyModule_GetDict(module);
  const Object builtins_module = Object::share(PyImport_AddModule("builtins"));
  python::set_item(globals, kBuiltins, builtins_module);
  warn_of_other_python();
  python::remember_builtins(builtins_module.get());
  import_names(globals);
  python::GilSlice::read_interval_from_sys();
  sqlite::keep_freed_pages_at_hand();
  dbapi::make_connection_type();
  dbapi::make_cursor_type();
  dbapi::make_row_shape_type();
  dbapi::make_row_type();
  make_class(globals);
  python::set_item(globals, kTest, python::dict());
}

void report_failure(PyObject* module) noexcept {
  if (PyErr_Occurred() == nullptr) PyErr_SetString(PyExc_ImportError, kInitEntry);
  python::add_traceback_entry(kInitEntry, PyModule_GetDict(module));
}

int execute(PyObject* module) {
  if (process.executed) {
    if (module == process.module) return 0;
    PyErr_SetString(PyExc_RuntimeError,
                    "Module 'zentrope_anpr_server_db' has already been imported. Re-initialisation "
                    "is not supported.");
    return -1;
  }
  const bool done = dbapi::translate_exceptions(false, [&] {
    execute_new(module);
    return true;
  });
  if (done) return 0;
  report_failure(module);
  forget(module);
  return -1;
}

PyModuleDef_Slot slots[] = {
    {Py_mod_create, reinterpret_cast<void*>(create)},
    {Py_mod_exec, reinterpret_cast<void*>(execute)},
    // A second interpreter is refused by the create step,
    // in our words, whether or not it has a GIL of its own.
    {Py_mod_multiple_interpreters, Py_MOD_PER_INTERPRETER_GIL_SUPPORTED},
    {0, nullptr},
};

PyModuleDef definition = {
    .m_base = PyModuleDef_HEAD_INIT,
    .m_name = "zentrope_anpr_server_db",
    .m_doc = kModuleDoc,
    .m_size = 0,
    .m_methods = nullptr,
    .m_slots = slots,
    .m_traverse = nullptr,
    .m_clear = nullptr,
    .m_free = nullptr,
};

}  // namespace

}  // namespace binding

PyMODINIT_FUNC PyInit_zentrope_anpr_server_db() { return PyModuleDef_Init(&binding::definition); }
