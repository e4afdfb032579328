#include "json/reader.h"

#include <string_view>

#include "json/encoding.h"
#include "json/parser.h"
#include "json/standard_json.h"
#include "python/calls.h"
#include "python/values.h"

namespace json {

namespace {

using python::Object;

constexpr Py_UCS4 kByteOrderMark = 0xfeff;

[[noreturn]] void raise_unexpected_mark(PyObject* document) {
  const Object error = python::call(standard_json().decode_error,
                                    python::text("Unexpected UTF-8 BOM (decode using utf-8-sig)"),
                                    Object::share(document), python::integer(0));
  PyErr_SetObject(standard_json().decode_error, error.get());
  throw python::PythonError{};
}

Object read_text(PyObject* document) {
  switch (PyUnicode_KIND(document)) {
    case PyUnicode_1BYTE_KIND:
      return Parser<Py_UCS1>(document).read_document();
    case PyUnicode_2BYTE_KIND:
      return Parser<Py_UCS2>(document).read_document();
    default:
      return Parser<Py_UCS4>(document).read_document();
  }
}

Object decode(std::string_view bytes) {
  const char* const encoding = encoding_of(bytes);
  return Object::take(python::in_interpreter([&] {
    return PyUnicode_Decode(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), encoding,
                            "surrogatepass");
  }));
}

}  // namespace

python::Object loads(PyObject* document) {
  if (PyUnicode_CheckExact(document)) {
    const bool marked =
        PyUnicode_GET_LENGTH(document) > 0 && PyUnicode_READ_CHAR(document, 0) == kByteOrderMark;
    if (marked) raise_unexpected_mark(document);
    return read_text(document);
  }
  if (PyBytes_CheckExact(document)) {
    const Object text =
        decode({PyBytes_AS_STRING(document), static_cast<std::size_t>(PyBytes_GET_SIZE(document))});
    return read_text(text.get());
  }
  // The rest is refused, or has methods of its own that Python's reader would call.
  return python::call(standard_json().loads, document);
}

python::Object loads_ascii(std::string_view document) {
  return Parser<Py_UCS1>(document).read_document();
}

}  // namespace json
