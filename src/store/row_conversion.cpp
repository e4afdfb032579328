#include "store/row_conversion.h"

#include <algorithm>
#include <array>

#include "python/calls.h"
#include "python/lock_turn.h"
#include "python/values.h"
#include "store/json_by_name.h"
#include "store/row.h"

namespace store {

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
      if (!is_json_decode_error()) throw;
      python::clear_error();
      return stored;
    }
  }

 private:
  JsonLoads loads_;
};

void set_column(const Object& record, const RowShape& shape, Py_ssize_t column, PyObject* value) {
  python::check(PyDict_SetItem(record.get(), PyTuple_GET_ITEM(shape.names.get(), column), value));
}

Object dict_of(PyObject* row) {
  return python::call(reinterpret_cast<PyObject*>(&PyDict_Type), row);
}

Object record_of_own_row(RowShape& shape, PyObject* values) {
  Object record = shape.blank_mapping();
  std::array<Py_ssize_t, kJsonColumns.size()> decoded{};
  ColumnDecoder decode;
  for (std::size_t i = 0; i < kJsonColumns.size(); ++i) {
    decoded[i] = shape.column_named(kJsonColumns[i].get());
    if (decoded[i] < 0) continue;
    const Object value = decode(Object::share(PyTuple_GET_ITEM(values, decoded[i])));
    set_column(record, shape, decoded[i], value.get());
  }
  for (Py_ssize_t column = 0; column < shape.columns(); ++column) {
    const bool is_set = std::find(decoded.begin(), decoded.end(), column) != decoded.end();
    if (!is_set) set_column(record, shape, column, PyTuple_GET_ITEM(values, column));
  }
  return record;
}

Object record_of_any_row(PyObject* row) {
  Object record = dict_of(row);
  ColumnDecoder decode;
  for (const python::Name& column : kJsonColumns) {
    const Object stored = python::item_if_any(record.get(), column.get());
    if (!stored) continue;
    const Object value = decode(stored);
    python::check(PyDict_SetItem(record.get(), column.get(), value.get()));
  }
  return record;
}

// [convert(row) for row in rows]
template <typename Convert>
Object list_of(const Object& rows, Convert convert) {
  Object result = python::list();
  python::LockTurn::Pace<8> pace;
  const Object each = python::iterator(rows.get());
  while (const Object row = python::next(each.get())) {
    python::append(result, convert(row.get()));
    pace.step();
  }
  return result;
}

}  // namespace

python::Object plain_record(PyObject* row) {
  RowShape* const shape = columns_of(row);
  if (shape == nullptr) return dict_of(row);
  Object record = shape->blank_mapping();
  for (Py_ssize_t column = 0; column < shape->columns(); ++column) {
    set_column(record, *shape, column, PyTuple_GET_ITEM(Row::of(row).values.get(), column));
  }
  return record;
}

python::Object row_to_dict(PyObject*, const python::Arguments& given) {
  PyObject* const row = given["row"];
  RowShape* const shape = columns_of(row);
  return shape == nullptr ? record_of_any_row(row)
                          : record_of_own_row(*shape, Row::of(row).values.get());
}

python::Object record(PyObject* self, PyObject* row) {
  return python::call_method(self, kRowToDict, row);
}

python::Object records(PyObject* self, const python::Object& rows) {
  return list_of(rows, [self](PyObject* row) { return record(self, row); });
}

python::Object plain_records(const python::Object& rows) { return list_of(rows, plain_record); }

}  // namespace store
