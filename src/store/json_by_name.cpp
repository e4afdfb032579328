#include "store/json_by_name.h"

#include "json/reader.h"
#include "json/standard_json.h"
#include "json/writer.h"
#include "python/calls.h"
#include "python/namespace.h"

namespace store {

namespace {

using python::Object;

constinit python::Name kJson{"json"};
constinit python::Name kDumps{"dumps"};
constinit python::Name kLoads{"loads"};
constinit python::Name kJsonDecodeError{"JSONDecodeError"};

}  // namespace

python::Object json_dumps(PyObject* value) {
  const Object dumps = python::attribute(python::global(kJson).get(), kDumps);
  return dumps.is(json::standard_json().dumps) ? json::dumps(value)
                                               : python::call(dumps.get(), value);
}

python::Object JsonLoads::operator()(PyObject* text) {
  if (!standard_) {
    const Object module = python::global(kJson);
    const Object loads = python::attribute(module.get(), kLoads);
    if (!loads.is(json::standard_json().loads)) return python::call(loads.get(), text);
    standard_ = PyModule_CheckExact(module.get()) && PyUnicode_CheckExact(text);
  }
  return json::loads(text);
}

bool is_json_decode_error() { return python::caught_by(kJson, kJsonDecodeError); }

}  // namespace store
