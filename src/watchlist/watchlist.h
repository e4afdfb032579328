// The list of watched plates, and matching recognised plates against it.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace watchlist {

// The operations of the class with these names; binding/ says what each takes and gives.
python::Object get_watchlist(PyObject* self);
python::Object add_watchlist(PyObject* self, PyObject* plate, PyObject* label);
python::Object remove_watchlist(PyObject* self, PyObject* watchlist_id);
python::Object check_watchlist(PyObject* self, PyObject* plates);

}  // namespace watchlist
