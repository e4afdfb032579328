// The list of watched plates, and matching recognised plates against it.
#pragma once

#include <Python.h>

#include "python/arguments.h"
#include "python/object.h"

namespace watchlist {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object get_watchlist(PyObject* self, const python::Arguments& given);
python::Object add_watchlist(PyObject* self, const python::Arguments& given);
python::Object remove_watchlist(PyObject* self, const python::Arguments& given);
python::Object check_watchlist(PyObject* self, const python::Arguments& given);

}  // namespace watchlist
