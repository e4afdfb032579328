// From a row of `detections` to the record that callers get.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace detections {

// _row_to_dict(row): a new dict of the row's columns in their order, with the five JSON columns
// decoded. What is no JSON stays as it is stored; any other failure of the reader is thrown.
python::Object row_to_dict(PyObject* row);

// self._row_to_dict(row)
python::Object record(PyObject* self, PyObject* row);

// [self._row_to_dict(row) for row in rows]
python::Object records(PyObject* self, python::Object rows);

}  // namespace detections
