#include "store/plain_records.h"

#include <vector>

#include "dbapi/row.h"

namespace store {

python::Object plain_record(PyObject* row) {
  dbapi::RowShape* const shape = dbapi::columns_of(row);
  if (shape == nullptr) return python::call(reinterpret_cast<PyObject*>(&PyDict_Type), row);
  dbapi::Row& stands = dbapi::Row::of(row);
  std::vector<python::Object> values(static_cast<std::size_t>(shape->columns()));
  for (std::size_t column = 0; column < values.size(); ++column) {
    values[column] = stands.value(static_cast<Py_ssize_t>(column));
  }
  return shape->mapping(values);
}

python::Object plain_records(python::Object rows) {
  return converted_rows(std::move(rows), plain_record);
}

}  // namespace store
