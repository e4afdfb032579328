// The layout of the database file, made and brought up to date in place.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace store {

// _init_schema(): creates the tables and indexes that are missing and adds the columns that earlier
// layouts lack. Each step stands by itself: a failure leaves those before it, and the next
// construction completes the rest.
python::Object init_schema(PyObject* self);

}  // namespace store
