#include "detections/search.h"

#include "detections/query.h"
#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/values.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;

constinit python::Name kGet{"get"};
constinit python::Name kConfidences{"confidences"};

// A filter on a vehicle attribute: its key in the JSON text, and the value looked for.
struct AttributeFilter {
  const char* key;
  PyObject* value;
};

// What of a value goes into a pattern. A text of any class goes in with its own characters, as it
// is stored: a class may show itself in other words, as an enumeration of texts does.
Object searched_text(PyObject* value) {
  return PyUnicode_Check(value) ? Object::share(value) : python::formatted(value);
}

// The text anywhere in the JSON list of plates. Wildcards in it act as wildcards.
Object plate_pattern(PyObject* query) {
  return Object::take(PyUnicode_FromFormat("%%%U%%", searched_text(query).get()));
}

// The quoted key anywhere in the JSON text and the value
// anywhere behind it, be it that key's own value or another's.
Object attribute_pattern(const char* key, PyObject* value) {
  return Object::take(PyUnicode_FromFormat("%%\"%s\"%%%U%%", key, searched_text(value).get()));
}

bool filters_by_confidence(PyObject* min_confidence) {
  return python::compare(min_confidence, python::integer(0).get(), Py_GT);
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
  python::GilSlice::LongSteps pace;
  const Object each = python::iterator(records.get());
  while (const Object record = python::next(each.get())) {
    if (has_confidence(record.get(), min_confidence)) python::append(kept, record);
    pace.step();
  }
  return kept;
}

}  // namespace

python::Object search_plates(PyObject* self, PyObject* query, PyObject* date_from,
                             PyObject* date_to, PyObject* min_confidence, PyObject* mmc_make,
                             PyObject* mmc_model, PyObject* mmc_color, PyObject* mmc_type,
                             PyObject* mmc_nation, PyObject* mmc_side, PyObject* limit,
                             PyObject* offset) {
  PageQuery page;
  if (python::truth(query)) page.require("plates LIKE ?", plate_pattern(query).get());
  page.require_dates(date_from, date_to);
  // The threshold itself is applied to the page's records;
  // this only keeps detections without plates out of it.
  if (filters_by_confidence(min_confidence)) page.require("num_plates > 0");
  const AttributeFilter filters[] = {
      {"mmc_make", mmc_make}, {"mmc_model", mmc_model},         {"mmc_color", mmc_color},
      {"mmc_type", mmc_type}, {"mmc_plate_nation", mmc_nation}, {"mmc_vehicle_side", mmc_side},
  };
  for (const AttributeFilter& filter : filters) {
    if (!python::truth(filter.value)) continue;
    page.require("mmc_data LIKE ?", attribute_pattern(filter.key, filter.value).get());
  }
  page.end(limit, offset);

  store::Scope scope(self);
  Object records = fetch_records(scope, self, page);
  // After the page was cut: it may hold fewer records than `limit`.
  if (filters_by_confidence(min_confidence)) return with_confidence(records, min_confidence);
  return records;
}

}  // namespace detections
