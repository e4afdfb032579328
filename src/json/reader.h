// The JSON reader: what Python's json.loads gives with its
// settings at their defaults, values and errors alike.
#pragma once

#include <Python.h>

#include <string_view>

#include "python/object.h"

namespace json {

// The value that `document` spells: a text, or bytes in UTF-8, UTF-16 or UTF-32.
// Throws what json.loads raises: json.JSONDecodeError for a syntax error,
// UnicodeDecodeError, TypeError for what is neither text nor bytes, ValueError for
// an integer with too many digits, RecursionError for a value nested too deep.
python::Object loads(PyObject* document);

// The same for the text of these ASCII characters, without making it.
python::Object loads_ascii(std::string_view document);

}  // namespace json
