// The local clock, through the module's namespace.
#pragma once

#include <Python.h>

#include "python/object.h"

namespace store {

// datetime.now().isoformat(): local time as text without zone, such as 2024-05-01T14:03:27.512034.
python::Object local_timestamp();

// (datetime.now() - timedelta(hours=hours)).isoformat()
python::Object local_timestamp_hours_ago(PyObject* hours);

}  // namespace store
