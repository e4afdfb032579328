// Rows as plain mappings from column name to value.
#pragma once

#include <Python.h>

#include <utility>

#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/object.h"
#include "python/values.h"

namespace store {

// dict(row): a new dict of the row's columns, nothing decoded.
python::Object plain_record(PyObject* row);

// [dict(row) for row in rows]
python::Object plain_records(python::Object rows);

// [convert(row) for row in rows]. Rows of a list that nobody else has are dropped one by one, since
// they would else stay as long as the last record is made.
template <typename Convert>
python::Object converted_rows(python::Object&& rows, Convert convert) {
  python::Object result = python::list();
  python::GilSlice::Records pace;
  if (PyList_CheckExact(rows.get())) {
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(rows.get()); ++i) {
      python::Object row = python::Object::share(PyList_GET_ITEM(rows.get(), i));
      if (Py_REFCNT(rows.get()) == 1) {
        const python::Object held = python::Object::take(
            std::exchange(*(PySequence_Fast_ITEMS(rows.get()) + i), Py_NewRef(Py_None)));
      }
      python::append(result, convert(row.get()));
      row = python::Object();
      pace.step();
    }
    return result;
  }
  const python::Object each = python::iterator(rows.get());
  while (const python::Object row = python::next(each.get())) {
    python::append(result, convert(row.get()));
    pace.step();
  }
  return result;
}

}  // namespace store
