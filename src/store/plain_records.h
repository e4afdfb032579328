// Rows as plain mappings from column name to value.
#pragma once

#include <Python.h>

#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/object.h"
#include "python/values.h"

namespace store {

// dict(row): a new dict of the row's columns, nothing decoded.
python::Object plain_record(PyObject* row);

// [dict(row) for row in rows]
python::Object plain_records(const python::Object& rows);

// [convert(row) for row in rows]
template <typename Convert>
python::Object converted_rows(const python::Object& rows, Convert convert) {
  python::Object result = python::list();
  python::GilSlice::Records pace;
  const python::Object each = python::iterator(rows.get());
  while (const python::Object row = python::next(each.get())) {
    python::append(result, convert(row.get()));
    pace.step();
  }
  return result;
}

}  // namespace store
