#include "binding/method_functions.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "binding/argument_binding.h"
#include "binding/method_table.h"
#include "dbapi/exception_translation.h"
#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/namespace.h"
#include "python/recursion.h"
#include "python/traceback.h"
#include "python/values.h"

namespace binding {

namespace {

using python::Object;

constinit python::Name kReplace{"replace"};
constinit python::Name kArgcount{"co_argcount"};
constinit python::Name kNlocals{"co_nlocals"};
constinit python::Name kVarnames{"co_varnames"};
constinit python::Name kFlags{"co_flags"};
constinit python::Name kCodeQualname{"co_qualname"};
constinit python::Name kDoc{"__doc__"};
constinit python::Name kModule{"__module__"};
constinit python::Name kDefaults{"__defaults__"};
constinit python::Name kAnnotations{"__annotations__"};

// What a call needs to know of its method.
struct Callee {
  explicit Callee(const Method& described)
      : method(described), names(described), full_name(store::full_name(described.name).data()) {}

  const Method& method;
  ParameterNames names;
  std::string full_name;  // in tracebacks
};

// In the table's order; made at the first import, never destroyed,
// since functions may be called until the process ends.
constinit const std::vector<Callee>* callees = nullptr;

const std::vector<Callee>& make_callees() {
  if (callees == nullptr)
    callees = new std::vector<Callee>(method_table().begin(), method_table().end());
  return *callees;
}

// Functions outlive an import that failed, where somebody has kept them; what they would work with
// belongs to the next import, if there is one.
void check_imported(PyObject* function) {
  if (PyFunction_GetGlobals(function) == python::module_namespace()) return;
  python::raise(PyExc_RuntimeError,
                "this method was made by an import of zentrope_anpr.zentrope_anpr_server_db that "
                "failed");
}

PyObject* run(const Callee& callee, PyObject* function, PyObject* const* arguments,
              std::size_t count, PyObject* keywords) noexcept {
  return dbapi::translate_exceptions<PyObject*>(nullptr, [&] {
    const python::RecursionLevel level(python::kWhileCalling);
    check_imported(function);
    // Kept for the call: somebody may set others meanwhile.
    const Object defaults = Object::share_if_any(PyFunction_GetDefaults(function));
    const Arguments given =
        bind(callee.method.name, callee.names, arguments, count, keywords, defaults.get());
    const python::GilSlice::Entry entry;
    try {
      return callee.method.run(given).release();
    } catch (...) {
      dbapi::set_error_from_exception();
      python::add_traceback_entry_once(callee.full_name.c_str(), python::module_namespace());
      throw python::PythonError{};
    }
  });
}

// A vectorcall function has no room for what it calls, so each method has one of its own.
template <std::size_t Index>
PyObject* call(PyObject* function, PyObject* const* arguments, std::size_t flagged_count,
               PyObject* keywords) {
  return run((*callees)[Index], function, arguments,
             static_cast<std::size_t>(PyVectorcall_NARGS(flagged_count)), keywords);
}

template <std::size_t... Indexes>
constexpr std::array<vectorcallfunc, sizeof...(Indexes)> make_entries(
    std::index_sequence<Indexes...>) {
  return {call<Indexes>...};
}

constexpr auto kEntries = make_entries(std::make_index_sequence<kMethodCount>{});

// A code object that describes the parameters; its body is never run.
Object code_of(const Callee& callee) {
  const Object empty = Object::take(
      reinterpret_cast<PyObject*>(PyCode_NewEmpty(python::kNativeFile, callee.method.name, 1)));
  const Object count = python::integer(static_cast<long long>(callee.names.count));
  Object names = Object::take(PyTuple_New(static_cast<Py_ssize_t>(callee.names.count)));
  for (std::size_t i = 0; i < callee.names.count; ++i) {
    PyTuple_SET_ITEM(names.get(), static_cast<Py_ssize_t>(i), Py_NewRef(callee.names.interned[i]));
  }
  const Object changes = python::dict();
  const auto change = [&](const python::Name& field, const Object& value) {
    python::set_item(changes, field, value);
  };
  change(kArgcount, count);
  change(kNlocals, count);
  change(kVarnames, names);
  // Without CO_OPTIMIZED no interpreter enters the code past
  // the function's vectorcall: 3.13 would, for __init__.
  change(kFlags, python::integer(CO_NEWLOCALS));
  change(kCodeQualname, python::text(std::string(kClassName) + "." + callee.method.name));
  const Object replace = python::attribute(empty.get(), kReplace);
  return python::call_with_keywords(replace.get(), python::tuple().get(), changes.get());
}

Object default_object(const Default& otherwise) {
  switch (otherwise.kind) {
    case Default::Kind::kTrue:
      return python::boolean(true);
    case Default::Kind::kInteger:
      return python::integer(otherwise.integer);
    case Default::Kind::kEmptyText:
      return python::text("");
    default:
      return python::none();
  }
}

// A tuple of the trailing parameters' defaults; None if there are none.
Object defaults_of(const Method& method) {
  const Object defaults = python::list();
  for (const Parameter& parameter : method.parameters) {
    if (parameter.otherwise.kind != Default::Kind::kRequired) {
      python::append(defaults, default_object(parameter.otherwise));
    }
  }
  if (PyList_GET_SIZE(defaults.get()) == 0) return python::none();
  return Object::take(PyList_AsTuple(defaults.get()));
}

Object annotations_of(const Method& method) {
  const Object annotations = python::dict();
  const auto annotate = [&](const char* name, const char* annotation) {
    if (annotation == nullptr) return;
    python::set_item(annotations, name, python::text(annotation));
  };
  for (const Parameter& parameter : method.parameters)
    annotate(parameter.name, parameter.annotation);
  annotate("return", method.returns);
  return annotations;
}

Object function_of(const Callee& callee, vectorcallfunc entry, PyObject* globals) {
  const Object qualname = python::text(std::string(kClassName) + "." + callee.method.name);
  Object function =
      Object::take(PyFunction_NewWithQualName(code_of(callee).get(), globals, qualname.get()));
  python::set_attribute(function.get(), kModule, python::text(kModuleName).get());
  python::set_attribute(function.get(), kDoc, python::text(callee.method.doc).get());
  python::set_attribute(function.get(), kDefaults, defaults_of(callee.method).get());
  python::set_attribute(function.get(), kAnnotations, annotations_of(callee.method).get());
  PyFunction_SetVectorcall(reinterpret_cast<PyFunctionObject*>(function.get()), entry);
  return function;
}

}  // namespace

void add_method_functions(const python::Object& class_namespace, PyObject* globals,
                          PyObject* staticmethod) {
  const std::vector<Callee>& all = make_callees();
  for (std::size_t i = 0; i < all.size(); ++i) {
    Object function = function_of(all[i], kEntries.at(i), globals);
    if (all[i].method.is_static) function = python::call(staticmethod, function);
    python::set_item(class_namespace, all[i].method.name, function);
  }
}

}  // namespace binding
