#include "store/json_by_name.h"

#include "json/reader.h"
#include "json/standard_json.h"
#include "json/writer.h"
#include "python/calls.h"
#include "python/namespace.h"
#include "python/recursion.h"

namespace store {

namespace {

using python::Object;

constinit python::Name kJson{"json"};
constinit python::Name kDumps{"dumps"};
constinit python::Name kLoads{"loads"};
constinit python::Name kJsonDecodeError{"JSONDecodeError"};

constexpr char kTooDeepToReadBack[] = " while encoding a JSON object";

}  // namespace

python::Object json_dumps(PyObject* value) {
  const Object dumps = python::attribute(python::global(kJson).get(), kDumps);
  if (!dumps.is(json::standard_json().dumps)) return python::call(dumps.get(), value);
  // It is read back one call deeper, in `_row_to_dict`: what that could not read is refused.
  const python::RecursionLevel level(kTooDeepToReadBack);
  return json::dumps(value);
}

python::Object JsonLoads::operator()(PyObject* text) {
  if (!found_ && PyUnicode_CheckExact(text) && serves_texts()) return json::loads(text);
  const Object loads = found_ ? std::move(found_) : looked_up(nullptr);
  return loads.is(json::standard_json().loads) ? json::loads(text)
                                               : python::call(loads.get(), text);
}

bool JsonLoads::serves_texts() {
  if (standard_) return true;
  bool in_module = false;
  Object loads = looked_up(&in_module);
  standard_ = in_module && loads.is(json::standard_json().loads);
  if (!standard_) found_ = std::move(loads);
  return standard_;
}

python::Object JsonLoads::looked_up(bool* in_module) {
  const Object module = python::global(kJson);
  if (in_module != nullptr) *in_module = PyModule_CheckExact(module.get());
  return python::attribute(module.get(), kLoads);
}

bool is_json_decode_error() { return python::caught_by(kJson, kJsonDecodeError); }

}  // namespace store
