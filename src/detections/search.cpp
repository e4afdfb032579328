#include "detections/search.h"

#include <string_view>

#include "detections/query.h"
#include "python/calls.h"
#include "python/lock_turn.h"
#include "python/values.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;

constinit python::Name kGet{"get"};
constinit python::Name kConfidences{"confidences"};

// The vehicle attributes in the order of their conditions: the key in the JSON text, and the
// parameter that filters on it.
struct Attribute {
  const char* key;
  std::string_view parameter;
};

constexpr Attribute kAttributes[] = {
    {"mmc_make", "mmc_make"}, {"mmc_model", "mmc_model"},         {"mmc_color", "mmc_color"},
    {"mmc_type", "mmc_type"}, {"mmc_plate_nation", "mmc_nation"}, {"mmc_vehicle_side", "mmc_side"},
};

// The text anywhere in the JSON list of plates. Wildcards in it act as wildcards.
Object plate_pattern(PyObject* query) {
  return Object::take(PyUnicode_FromFormat("%%%U%%", python::formatted(query).get()));
}

// The quoted key anywhere in the JSON text and the value anywhere behind it, be it that key's own
// value or another's.
Object attribute_pattern(const char* key, PyObject* value) {
  return Object::take(PyUnicode_FromFormat("%%\"%s\"%%%U%%", key, python::formatted(value).get()));
}

bool filters_by_confidence(PyObject* min_confidence) {
  return python::compare(min_confidence, python::integer(0).get(), Py_GT);
}

PageQuery search_query(const python::Arguments& given) {
  PageQuery query;
  if (python::truth(given["query"])) {
    query.require("plates LIKE ?", plate_pattern(given["query"]).get());
  }
  query.require_dates(given["date_from"], given["date_to"]);
  // The threshold itself is applied to the page's records; this only keeps detections without
  // plates out of it.
  if (filters_by_confidence(given["min_confidence"])) query.require("num_plates > 0");
  for (const Attribute& attribute : kAttributes) {
    PyObject* const value = given[attribute.parameter];
    if (!python::truth(value)) continue;
    query.require("mmc_data LIKE ?", attribute_pattern(attribute.key, value).get());
  }
  query.page(given["limit"], given["offset"]);
  return query;
}

// any(confidence >= min_confidence for confidence in record.get("confidences") or [])
bool has_confidence(PyObject* record, PyObject* min_confidence) {
  const Object confidences = python::call_method(record, kGet, kConfidences.get());
  if (!python::truth(confidences.get())) return false;
  const Object each = python::iterator(confidences.get());
  while (const Object confidence = python::next(each.get())) {
    if (python::compare(confidence.get(), min_confidence, Py_GE)) return true;
  }
  return false;
}

Object with_confidence(const Object& records, PyObject* min_confidence) {
  Object kept = python::list();
  const Object each = python::iterator(records.get());
  while (const Object record = python::next(each.get())) {
    if (has_confidence(record.get(), min_confidence)) python::append(kept, record);
    python::LockTurn::offer();
  }
  return kept;
}

}  // namespace

python::Object search_plates(PyObject* self, const python::Arguments& given) {
  const PageQuery query = search_query(given);
  store::Scope scope(self);
  Object records = fetch_records(scope, self, query);
  // After the page was cut: it may hold fewer records than `limit`.
  PyObject* const min_confidence = given["min_confidence"];
  if (filters_by_confidence(min_confidence)) return with_confidence(records, min_confidence);
  return records;
}

}  // namespace detections
