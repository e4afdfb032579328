#include "json/standard_json.h"

#include "python/calls.h"

namespace json {

namespace {

constinit StandardJson standard;

constinit python::Name kDumps{"dumps"};
constinit python::Name kLoads{"loads"};
constinit python::Name kDecoder{"decoder"};
constinit python::Name kJsonDecodeError{"JSONDecodeError"};
constinit python::Name kNan{"NaN"};
constinit python::Name kPosInf{"PosInf"};
constinit python::Name kNegInf{"NegInf"};

void remember(PyObject*& place, PyObject* owner, const python::Name& name) {
  Py_XSETREF(place, python::attribute(owner, name).release());
}

}  // namespace

const StandardJson& standard_json() noexcept { return standard; }

void remember_standard_json(PyObject* module) {
  const python::Object decoder = python::attribute(module, kDecoder);
  remember(standard.dumps, module, kDumps);
  remember(standard.loads, module, kLoads);
  remember(standard.decode_error, decoder.get(), kJsonDecodeError);
  remember(standard.nan, decoder.get(), kNan);
  remember(standard.infinity, decoder.get(), kPosInf);
  remember(standard.minus_infinity, decoder.get(), kNegInf);
}

}  // namespace json
