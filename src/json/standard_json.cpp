#include "json/standard_json.h"

#include "python/calls.h"
#include "python/kept.h"

namespace json {

namespace {

constinit StandardJson standard;

using python::Object;

constinit python::Name kModuleName{"__name__"};
constinit python::Name kDumps{"dumps"};
constinit python::Name kLoads{"loads"};
constinit python::Name kDecoder{"decoder"};
constinit python::Name kJsonDecodeError{"JSONDecodeError"};
constinit python::Name kNan{"NaN"};
constinit python::Name kPosInf{"PosInf"};
constinit python::Name kNegInf{"NegInf"};

void remember(PyObject*& place, PyObject* owner, const python::Name& name) {
  python::keep(place, python::attribute(owner, name));
}

// The module's function of that name, if it is the one that Python's own json defines.
Object own_function(PyObject* module, const python::Name& name) {
  Object function = python::attribute_if_any(module, name.get());
  if (!function || !PyFunction_Check(function.get())) return {};
  PyObject* const globals = PyFunction_GetGlobals(function.get());
  const Object defined_in = python::item_if_any(globals, kModuleName.get());
  const bool own = defined_in && PyUnicode_CheckExact(defined_in.get()) &&
                   PyUnicode_CompareWithASCIIString(defined_in.get(), "json") == 0;
  return own ? function : Object();
}

}  // namespace

const StandardJson& standard_json() noexcept { return standard; }

void remember_standard_json(PyObject* module) {
  python::keep(standard.dumps, own_function(module, kDumps));
  python::keep(standard.loads, own_function(module, kLoads));
  if (standard.loads == nullptr) return;
  const Object decoder = python::attribute(module, kDecoder);
  remember(standard.decode_error, decoder.get(), kJsonDecodeError);
  remember(standard.nan, decoder.get(), kNan);
  remember(standard.infinity, decoder.get(), kPosInf);
  remember(standard.minus_infinity, decoder.get(), kNegInf);
}

}  // namespace json
