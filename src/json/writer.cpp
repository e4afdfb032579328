#include "json/writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "json/number_text.h"
#include "python/calls.h"

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

// Writes without recursion: containers that are being written lie on the heap, so that the deepest
// value that the interpreter's recursion limit lets pass fits the smallest stack.
class Writer {
 public:
  Writer() = default;
  ~Writer() {
    for (std::size_t level = 0; level < levels_; ++level) Py_LeaveRecursiveCall();
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void write(PyObject* value);
  Object text() const {
    Object result = Object::take(PyUnicode_New(static_cast<Py_ssize_t>(out_.size()), 127));
    std::copy(out_.begin(), out_.end(), static_cast<char*>(PyUnicode_DATA(result.get())));
    return result;
  }

 private:
  // A container that is being written.
  struct Open {
    Object container;
    Object items;  // of a list or tuple; the pairs of a mapping with methods of its own; else none
    Object key;    // of the entry that is being written
    Py_ssize_t next = 0;  // among the items, or what PyDict_Next counts with
    bool is_list = false;
    bool is_first = true;
  };

  // Writes a value; of a container that is not empty, its beginning.
  void begin(PyObject* value);
  // Writes the next item of the innermost container, or its end.
  void go_on();
  void enter_level();
  void leave_level();
  void begin_list(PyObject* list);
  void begin_mapping(PyObject* mapping);
  void open(Open container, char bracket);
  void close(char bracket);
  // The next entry of a mapping: its value, the key in `entry.key`; nothing at the end.
  static Object next_entry(Open& entry);
  void go_on_in_list(Open& list);
  void go_on_in_mapping(Open& mapping);

  void append(std::string_view text) { out_.insert(out_.end(), text.begin(), text.end()); }
  void write_string(PyObject* text);
  template <typename Char>
  void write_characters(const Char* begin, const Char* end);
  void write_integer(PyObject* value);
  void write_float(PyObject* value);
  void write_key(PyObject* key);

  std::vector<char> out_;
  std::vector<Open> open_;              // outermost first: one that comes again holds itself
  std::unordered_set<PyObject*> deep_;  // those beyond the first few
  std::size_t levels_ = 0;
};

// Up to this depth a container is searched for among those around it.
constexpr std::size_t kSearchedDepth = 16;

[[noreturn]] void raise_not_serializable(PyObject* value) {
  const Object type = python::attribute(value, kClass);
  const Object name = python::attribute(type.get(), kName);
  const Object shown = python::formatted(name.get());
  python::raise_formatted(PyExc_TypeError, "Object of type %U is not JSON serializable",
                          shown.get());
}

void Writer::write(PyObject* value) {
  begin(value);
  while (!open_.empty()) go_on();
}

void Writer::begin(PyObject* value) {
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
    begin_list(value);
  } else if (PyDict_Check(value)) {
    begin_mapping(value);
  } else {
    raise_not_serializable(value);
  }
}

void Writer::enter_level() {
  python::check(Py_EnterRecursiveCall(kTooDeep) == 0 ? 0 : -1);
  ++levels_;
}

void Writer::leave_level() {
  Py_LeaveRecursiveCall();
  --levels_;
}

void Writer::begin_list(PyObject* list) {
  enter_level();
  Open opened;
  opened.items = Object::take(python::in_interpreter(
      [&] { return PySequence_Fast(list, "_iterencode_list needs a sequence"); }));
  if (PySequence_Fast_GET_SIZE(opened.items.get()) == 0) {
    append("[]");
    return leave_level();
  }
  opened.container = Object::share(list);
  opened.is_list = true;
  open(std::move(opened), '[');
}

void Writer::begin_mapping(PyObject* mapping) {
  enter_level();
  if (PyDict_GET_SIZE(mapping) == 0) {
    append("{}");
    return leave_level();
  }
  Open opened;
  opened.container = Object::share(mapping);
  open(std::move(opened), '{');
  if (PyDict_CheckExact(mapping)) return;
  Object items = Object::take(python::in_interpreter([&] { return PyMapping_Items(mapping); }));
  open_.back().items = std::move(items);
}

void Writer::open(Open container, char bracket) {
  PyObject* const opened = container.container.get();
  const auto searched_end =
      open_.begin() + static_cast<std::ptrdiff_t>(std::min(open_.size(), kSearchedDepth));
  const bool is_open = std::any_of(open_.begin(), searched_end,
                                   [&](const Open& outer) { return outer.container.is(opened); }) ||
                       deep_.contains(opened);
  if (is_open) python::raise(PyExc_ValueError, "Circular reference detected");
  if (open_.size() >= kSearchedDepth) deep_.insert(opened);
  open_.push_back(std::move(container));
  out_.push_back(bracket);
}

void Writer::close(char bracket) {
  out_.push_back(bracket);
  if (open_.size() > kSearchedDepth) deep_.erase(open_.back().container.get());
  // Dropped once it is off the stack: that may run Python code.
  const Open closed = std::move(open_.back());
  open_.pop_back();
  leave_level();
}

void Writer::go_on() {
  Open& innermost = open_.back();
  if (innermost.is_list) {
    go_on_in_list(innermost);
  } else {
    go_on_in_mapping(innermost);
  }
}

// Writing an item may run Python code that changes the
// list, so its length and items are asked for anew.
void Writer::go_on_in_list(Open& list) {
  PyObject* const items = list.items.get();
  if (list.next >= PySequence_Fast_GET_SIZE(items)) return close(']');
  if (list.next > 0) append(", ");
  const Object item = Object::share(PySequence_Fast_GET_ITEM(items, list.next++));
  begin(item.get());
}

void Writer::go_on_in_mapping(Open& mapping) {
  const Object value = next_entry(mapping);
  if (!value) return close('}');
  if (!std::exchange(mapping.is_first, false)) append(", ");
  write_key(mapping.key.get());
  append(": ");
  begin(value.get());
}

python::Object Writer::next_entry(Open& entry) {
  if (!entry.items) {
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    if (PyDict_Next(entry.container.get(), &entry.next, &key, &value) == 0) return {};
    Object kept_value = Object::share(value);
    entry.key = Object::share(key);
    return kept_value;
  }
  if (entry.next >= PyList_GET_SIZE(entry.items.get())) return {};
  const Object item = Object::share(PyList_GET_ITEM(entry.items.get(), entry.next++));
  if (!PyTuple_Check(item.get()) || PyTuple_GET_SIZE(item.get()) != 2) {
    python::raise(PyExc_ValueError, "items must return 2-tuples");
  }
  entry.key = Object::share(PyTuple_GET_ITEM(item.get(), 0));
  return Object::share(PyTuple_GET_ITEM(item.get(), 1));
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

// How a character that does not stand for itself is written.
// Its length, and behind `out` if that is not null the text.
std::size_t write_escaped(Py_UCS4 character, char* out) noexcept {
  const auto letter = [out](char second) -> std::size_t {
    if (out != nullptr) {
      out[0] = '\\';
      out[1] = second;
    }
    return 2;
  };
  const auto code_unit = [out](Py_UCS4 unit, std::size_t at) {
    if (out == nullptr) return;
    out[at] = '\\';
    out[at + 1] = 'u';
    for (std::size_t i = 0; i < 4; ++i) out[at + 2 + i] = kHexDigits[(unit >> (12 - 4 * i)) & 0xf];
  };
  switch (character) {
    case '"':
    case '\\':
      return letter(static_cast<char>(character));
    case '\b':
      return letter('b');
    case '\f':
      return letter('f');
    case '\n':
      return letter('n');
    case '\r':
      return letter('r');
    case '\t':
      return letter('t');
    default:
      break;
  }
  if (character <= 0xffff) {
    code_unit(character, 0);
    return 6;
  }
  code_unit(Py_UNICODE_HIGH_SURROGATE(character), 0);
  code_unit(Py_UNICODE_LOW_SURROGATE(character), 6);
  return 12;
}

// Counts what the rest takes when a character needs an escape, so that it is written into its room.
template <typename Char>
void Writer::write_characters(const Char* begin, const Char* end) {
  const auto is_plain = [](Char c) { return c < kPlain.size() && kPlain[c]; };
  const Char* const special = std::find_if_not(begin, end, is_plain);
  out_.insert(out_.end(), begin, special);
  if (special == end) return;
  std::size_t size = 0;
  for (const Char* at = special; at != end; ++at) {
    size += is_plain(*at) ? 1 : write_escaped(*at, nullptr);
  }
  const std::size_t before = out_.size();
  out_.resize(before + size);
  char* out = out_.data() + before;
  for (const Char* at = special; at != end; ++at) {
    if (is_plain(*at)) {
      *out++ = static_cast<char>(*at);
    } else {
      out += write_escaped(*at, out);
    }
  }
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

void Writer::write_key(PyObject* key) {
  if (PyUnicode_Check(key)) return write_string(key);
  const bool has_text = PyFloat_Check(key) || key == Py_None || PyLong_Check(key);
  if (!has_text) {
    python::raise_formatted(PyExc_TypeError,
                            "keys must be str, int, float, bool or None, not %.100s",
                            Py_TYPE(key)->tp_name);
  }
  out_.push_back('"');
  begin(key);
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
