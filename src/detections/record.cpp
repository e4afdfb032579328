#include "detections/record.h"

#include <array>
#include <optional>
#include <vector>

#include "dbapi/row.h"
#include "json/reader.h"
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
  Object operator()(dbapi::Row& row, Py_ssize_t column) {
    // Looking `json.loads` up and reading can run Python
    // code, which may make the row leave its batch.
    const sqlite::SharedBatch held = row.batch;
    const std::optional<sqlite::Value> stored = row.stored(column);
    const bool is_text = stored && stored->type == SQLITE_TEXT && !stored->bytes.empty();
    if (!is_text) return (*this)(row.value(column));
    try {
      if (loads_.serves_texts()) return json::loads_ascii(stored->bytes);
    } catch (const python::PythonError&) {
      keep_other_errors();
      return row.value(column);
    }
    return (*this)(row.value(column));
  }

  Object operator()(const Object& stored) {
    if (!python::truth(stored.get())) return stored;
    try {
      return loads_(stored.get());
    } catch (const python::PythonError&) {
      keep_other_errors();
      return stored;
    }
  }

 private:
  // Within a handler: passes over the pending error if it says that a text is no JSON.
  static void keep_other_errors() {
    if (!store::is_json_decode_error()) throw;
    python::clear_error();
  }

  store::JsonLoads loads_;
};

Object record_of_own_row(dbapi::RowShape& shape, dbapi::Row& row) {
  std::vector<Object> values(static_cast<std::size_t>(shape.columns()));
  ColumnDecoder decode;
  for (const python::Name& name : kJsonColumns) {
    const Py_ssize_t column = shape.column_named(name.get());
    if (column < 0) continue;
    values[static_cast<std::size_t>(column)] = decode(row, column);
  }
  for (Py_ssize_t column = 0; column < shape.columns(); ++column) {
    Object& value = values[static_cast<std::size_t>(column)];
    if (!value) value = row.value(column);
  }
  return shape.mapping(values);
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
                          : record_of_own_row(*shape, dbapi::Row::of(row));
}

python::Object record(PyObject* self, PyObject* row) {
  return python::call_method(self, kRowToDict, row);
}

python::Object records(PyObject* self, python::Object rows) {
  return store::converted_rows(std::move(rows),
                               [self](PyObject* row) { return record(self, row); });
}

}  // namespace detections
