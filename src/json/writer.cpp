#include "json/writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <vector>

#include "json/number_text.h"
#include "python/calls.h"
#include "python/recursion.h"

namespace json {

namespace {

using python::Object;

constexpr char kTooDeep[] = " while encoding a JSON object";

constinit python::Name kClass{"__class__"};
constinit python::Name kName{"__name__"};

// Characters that stand for themselves in a JSON string.
constexpr std::array<bool, 128> kPlain = [] {
  std::array<bool, 128> plain{};
  for (std::size_t c = 0x20; c < 0x7f; ++c) plain[c] = c != '"' && c != '\\';
  return plain;
}();

constexpr char kHexDigits[] = "0123456789abcdef";

class Writer {
 public:
  void write(PyObject* value);
  Object text() const {
    Object result = Object::take(PyUnicode_New(static_cast<Py_ssize_t>(out_.size()), 127));
    std::copy(out_.begin(), out_.end(), static_cast<char*>(PyUnicode_DATA(result.get())));
    return result;
  }

 private:
  void append(std::string_view text) { out_.insert(out_.end(), text.begin(), text.end()); }
  void write_string(PyObject* text);
  template <typename Char>
  void write_characters(const Char* begin, const Char* end);
  void write_escaped(Py_UCS4 character);
  void write_code_unit(unsigned unit);
  void write_integer(PyObject* value);
  void write_float(PyObject* value);
  void write_list(PyObject* list);
  void write_mapping(PyObject* mapping);
  void write_key(PyObject* key);

  // Containers that are being written, outermost first: one that comes again holds itself.
  class Open {
   public:
    Open(Writer& writer, PyObject* container) : open_(writer.open_) {
      if (std::find(open_.begin(), open_.end(), container) != open_.end()) {
        python::raise(PyExc_ValueError, "Circular reference detected");
      }
      open_.push_back(container);
    }
    ~Open() { open_.pop_back(); }
    Open(const Open&) = delete;
    Open& operator=(const Open&) = delete;

   private:
    std::vector<PyObject*>& open_;
  };

  std::vector<char> out_;
  std::vector<PyObject*> open_;
};

[[noreturn]] void raise_not_serializable(PyObject* value) {
  const Object type = python::attribute(value, kClass);
  const Object name = python::attribute(type.get(), kName);
  const Object shown = python::formatted(name.get());
  python::raise_formatted(PyExc_TypeError, "Object of type %U is not JSON serializable",
                          shown.get());
}

void Writer::write(PyObject* value) {
  if (value == Py_None) {
    append("null");
  } else if (value == Py_True) {
    append("true");
  } else if (value == Py_False) {
    append("false");
  } else if (PyUnicode_Check(value)) {
    write_string(value);
  } else if (PyLong_Check(value)) {
    write_integer(value);
  } else if (PyFloat_Check(value)) {
    write_float(value);
  } else if (PyList_Check(value) || PyTuple_Check(value)) {
    const python::RecursionLevel level(kTooDeep);
    write_list(value);
  } else if (PyDict_Check(value)) {
    const python::RecursionLevel level(kTooDeep);
    write_mapping(value);
  } else {
    raise_not_serializable(value);
  }
}

void Writer::write_string(PyObject* text) {
  const void* const start = PyUnicode_DATA(text);
  const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
  out_.push_back('"');
  switch (PyUnicode_KIND(text)) {
    case PyUnicode_1BYTE_KIND:
      write_characters(static_cast<const Py_UCS1*>(start),
                       static_cast<const Py_UCS1*>(start) + length);
      break;
    case PyUnicode_2BYTE_KIND:
      write_characters(static_cast<const Py_UCS2*>(start),
                       static_cast<const Py_UCS2*>(start) + length);
      break;
    default:
      write_characters(static_cast<const Py_UCS4*>(start),
                       static_cast<const Py_UCS4*>(start) + length);
      break;
  }
  out_.push_back('"');
}

template <typename Char>
void Writer::write_characters(const Char* begin, const Char* end) {
  const auto is_plain = [](Char c) { return c < kPlain.size() && kPlain[c]; };
  while (begin != end) {
    const Char* const special = std::find_if_not(begin, end, is_plain);
    out_.insert(out_.end(), begin, special);
    if (special == end) return;
    write_escaped(*special);
    begin = special + 1;
  }
}

void Writer::write_escaped(Py_UCS4 character) {
  switch (character) {
    case '"':
      return append("\\\"");
    case '\\':
      return append("\\\\");
    case '\b':
      return append("\\b");
    case '\f':
      return append("\\f");
    case '\n':
      return append("\\n");
    case '\r':
      return append("\\r");
    case '\t':
      return append("\\t");
    default:
      break;
  }
  if (character > 0xffff) {
    write_code_unit(Py_UNICODE_HIGH_SURROGATE(character));
    write_code_unit(Py_UNICODE_LOW_SURROGATE(character));
  } else {
    write_code_unit(character);
  }
}

void Writer::write_code_unit(unsigned unit) {
  append("\\u");
  for (int shift = 12; shift >= 0; shift -= 4) out_.push_back(kHexDigits[(unit >> shift) & 0xf]);
}

// The digits are int's own, also where a subclass (an enum, say) prints itself otherwise.
void Writer::write_integer(PyObject* value) {
  int overflow = 0;
  const long long small = PyLong_AsLongLongAndOverflow(value, &overflow);
  if (overflow == 0) {
    std::array<char, 24> digits;
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), small).ptr;
    append({digits.data(), static_cast<std::size_t>(end - digits.data())});
    return;
  }
  const Object digits =
      Object::take(python::in_interpreter([&] { return PyLong_Type.tp_repr(value); }));
  append({static_cast<const char*>(PyUnicode_DATA(digits.get())),
          static_cast<std::size_t>(PyUnicode_GET_LENGTH(digits.get()))});
}

void Writer::write_float(PyObject* value) {
  std::array<char, kFloatTextSize> text;
  append({text.data(), float_text(PyFloat_AS_DOUBLE(value), text.data())});
}

void Writer::write_list(PyObject* list) {
  const Object items = Object::take(python::in_interpreter(
      [&] { return PySequence_Fast(list, "_iterencode_list needs a sequence"); }));
  if (PySequence_Fast_GET_SIZE(items.get()) == 0) return append("[]");
  const Open open(*this, list);
  out_.push_back('[');
  // Writing an item may run Python code that changes the
  // list, so its length and items are asked for anew.
  for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(items.get()); ++i) {
    if (i > 0) append(", ");
    const Object item = Object::share(PySequence_Fast_GET_ITEM(items.get(), i));
    write(item.get());
  }
  out_.push_back(']');
}

void Writer::write_mapping(PyObject* mapping) {
  if (PyDict_GET_SIZE(mapping) == 0) return append("{}");
  const Open open(*this, mapping);
  out_.push_back('{');
  bool first = true;
  const auto write_entry = [&](PyObject* key, PyObject* value) {
    if (!first) append(", ");
    first = false;
    write_key(key);
    append(": ");
    write(value);
  };
  if (PyDict_CheckExact(mapping)) {
    Py_ssize_t position = 0;
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    while (PyDict_Next(mapping, &position, &key, &value) != 0) {
      const Object kept_key = Object::share(key);
      const Object kept_value = Object::share(value);
      write_entry(key, value);
    }
  } else {
    const Object items =
        Object::take(python::in_interpreter([&] { return PyMapping_Items(mapping); }));
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(items.get()); ++i) {
      const Object item = Object::share(PyList_GET_ITEM(items.get(), i));
      if (!PyTuple_Check(item.get()) || PyTuple_GET_SIZE(item.get()) != 2) {
        python::raise(PyExc_ValueError, "items must return 2-tuples");
      }
      write_entry(PyTuple_GET_ITEM(item.get(), 0), PyTuple_GET_ITEM(item.get(), 1));
    }
  }
  out_.push_back('}');
}

void Writer::write_key(PyObject* key) {
  if (PyUnicode_Check(key)) return write_string(key);
  const bool has_text = PyFloat_Check(key) || key == Py_None || PyLong_Check(key);
  if (!has_text) {
    python::raise_formatted(PyExc_TypeError,
                            "keys must be str, int, float, bool or None, not %.100s",
                            Py_TYPE(key)->tp_name);
  }
  out_.push_back('"');
  write(key);
  out_.push_back('"');
}

// json.dumps asks with isinstance whether the whole value
// is a text, which an object may claim without being one.
void refuse_false_text(PyObject* value) {
  const bool built_in = value == Py_None || PyUnicode_Check(value) || PyList_CheckExact(value) ||
                        PyDict_CheckExact(value) || PyTuple_CheckExact(value) ||
                        PyLong_CheckExact(value) || PyFloat_CheckExact(value);
  if (built_in || !python::is_instance(value, reinterpret_cast<PyObject*>(&PyUnicode_Type))) return;
  python::raise_formatted(PyExc_TypeError, "first argument must be a string, not %.80s",
                          Py_TYPE(value)->tp_name);
}

}  // namespace

python::Object dumps(PyObject* value) {
  refuse_false_text(value);
  Writer writer;
  writer.write(value);
  return writer.text();
}

}  // namespace json
