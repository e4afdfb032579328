// From a row of `detections` to the record that callers get.
#pragma once

#include <Python.h>

#include "python/arguments.h"
#include "python/object.h"

namespace store {

// _row_to_dict(row): a new dict of the row's columns in their order, with the five JSON columns
// decoded. What is no JSON stays as it is stored; any other failure of the reader is thrown.
python::Object row_to_dict(PyObject* self, const python::Arguments& given);

// [self._row_to_dict(row) for row in rows]
python::Object records(PyObject* self, const python::Object& rows);

// self._row_to_dict(row)
python::Object record(PyObject* self, PyObject* row);

// dict(row): a new dict of the row's columns, nothing decoded.
python::Object plain_record(PyObject* row);

// [dict(row) for row in rows]
python::Object plain_records(const python::Object& rows);

}  // namespace store
