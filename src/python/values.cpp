#include "python/values.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace python {

namespace {

bool is_ascii(std::string_view bytes) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  for (; end - at >= 8; at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, sizeof word);
    if ((word & kHighBits) != 0) return false;
  }
  return std::none_of(at, end, [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

}  // namespace

Object text(std::string_view utf8) {
  // The shortest texts are shared; the others need no decoder where they are ASCII, as most are.
  if (utf8.size() < 2 || !is_ascii(utf8)) {
    return Object::take(
        PyUnicode_FromStringAndSize(utf8.data(), static_cast<Py_ssize_t>(utf8.size())));
  }
  Object made = Object::take(PyUnicode_New(static_cast<Py_ssize_t>(utf8.size()), 127));
  std::copy(utf8.begin(), utf8.end(), static_cast<char*>(PyUnicode_DATA(made.get())));
  return made;
}

}  // namespace python
