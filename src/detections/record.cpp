#include "detections/record.h"

#include <algorithm>
#include <array>

#include "dbapi/row.h"
#include "store/json_by_name.h"
#include "store/plain_records.h"

namespace detections {

namespace {

using python::Object;

constinit python::Name kRowToDict{"_row_to_dict"};

// In the order in which they are decoded.
constinit std::array<python::Name, 5> kJsonColumns = {
    python::Name{"plates"},   python::Name{"confidences"},           python::Name{"bboxes"},
    python::Name{"mmc_data"}, python::Name{"detection_confidences"},
};

// Decodes the JSON columns of one row.
class ColumnDecoder {
 public:
  // What the record holds for a stored value: the value that its JSON text spells; itself if it is
  // false as a truth value, or is no JSON.
  Object operator()(const Object& stored) {
    if (!python::truth(stored.get())) return stored;
    try {
      return loads_(stored.get());
    } catch (const python::PythonError&) {
      if (!store::is_json_decode_error()) throw;
      python::clear_error();
      return stored;
    }
  }

 private:
  store::JsonLoads loads_;
};

Object record_of_own_row(dbapi::RowShape& shape, PyObject* values) {
  Object record = shape.blank_mapping();
  std::array<Py_ssize_t, kJsonColumns.size()> decoded{};
  ColumnDecoder decode;
  for (std::size_t i = 0; i < kJsonColumns.size(); ++i) {
    decoded[i] = shape.column_named(kJsonColumns[i].get());
    if (decoded[i] < 0) continue;
    const Object value = decode(Object::share(PyTuple_GET_ITEM(values, decoded[i])));
    python::set_item(record, shape.name(decoded[i]), value);
  }
  for (Py_ssize_t column = 0; column < shape.columns(); ++column) {
    const bool is_set = std::find(decoded.begin(), decoded.end(), column) != decoded.end();
    if (!is_set) python::set_item(record, shape.name(column), PyTuple_GET_ITEM(values, column));
  }
  return record;
}

Object record_of_foreign_row(PyObject* row) {
  Object record = python::call(reinterpret_cast<PyObject*>(&PyDict_Type), row);
  ColumnDecoder decode;
  for (const python::Name& column : kJsonColumns) {
    const Object stored = python::item_if_any(record.get(), column.get());
    if (stored) python::set_item(record, column, decode(stored));
  }
  return record;
}

}  // namespace

python::Object row_to_dict(PyObject* row) {
  dbapi::RowShape* const shape = dbapi::columns_of(row);
  return shape == nullptr ? record_of_foreign_row(row)
                          : record_of_own_row(*shape, dbapi::Row::of(row).values.get());
}

python::Object record(PyObject* self, PyObject* row) {
  return python::call_method(self, kRowToDict, row);
}

python::Object records(PyObject* self, const python::Object& rows) {
  return store::converted_rows(rows, [self](PyObject* row) { return record(self, row); });
}

}  // namespace detections
