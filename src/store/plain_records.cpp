#include "store/plain_records.h"

#include "dbapi/row.h"

namespace store {

python::Object plain_record(PyObject* row) {
  dbapi::RowShape* const shape = dbapi::columns_of(row);
  if (shape == nullptr) return python::call(reinterpret_cast<PyObject*>(&PyDict_Type), row);
  python::Object record = shape->blank_mapping();
  PyObject* const values = dbapi::Row::of(row).values.get();
  for (Py_ssize_t column = 0; column < shape->columns(); ++column) {
    python::set_item(record, shape->name(column), PyTuple_GET_ITEM(values, column));
  }
  return record;
}

python::Object plain_records(const python::Object& rows) {
  return converted_rows(rows, plain_record);
}

}  // namespace store
