#include "json/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

namespace json {

namespace {

std::size_t write(char* out, std::string_view text) noexcept {
  std::copy(text.begin(), text.end(), out);
  return text.size();
}

// The shortest digits d1 d2 ... dn of a positive finite number, and the power of ten of d1.
struct Shortest {
  std::array<char, 20> digits;
  int count;
  int exponent;
};

Shortest shortest_digits(double value) noexcept {
  std::array<char, kFloatTextSize> text;  // d.ddde+XX
  const char* const end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific)
          .ptr;
  const char* const e = std::find(static_cast<const char*>(text.data()), end, 'e');
  Shortest result{};
  for (const char* at = text.data(); at != e; ++at) {
    if (*at != '.') result.digits[static_cast<std::size_t>(result.count++)] = *at;
  }
  const bool negative = e[1] == '-';
  std::from_chars(e + 2, end, result.exponent);
  if (negative) result.exponent = -result.exponent;
  return result;
}

// Python's repr changes to an exponent below 1e-4 and from 1e16 up.
constexpr int kLeastFixedExponent = -4;
constexpr int kLeastLargeExponent = 16;

char* append(char* out, const char* from, int count) noexcept {
  return std::copy_n(from, count, out);
}

char* write_fixed(const Shortest& number, char* out) noexcept {
  const char* const digits = number.digits.data();
  if (number.exponent < 0) {
    *out++ = '0';
    *out++ = '.';
    out = std::fill_n(out, -number.exponent - 1, '0');
    return append(out, digits, number.count);
  }
  const int whole = number.exponent + 1;
  if (number.count > whole) {
    out = append(out, digits, whole);
    *out++ = '.';
    return append(out, digits + whole, number.count - whole);
  }
  out = append(out, digits, number.count);
  out = std::fill_n(out, whole - number.count, '0');
  *out++ = '.';
  *out++ = '0';
  return out;
}

char* write_with_exponent(const Shortest& number, char* out) noexcept {
  *out++ = number.digits[0];
  if (number.count > 1) {
    *out++ = '.';
    out = append(out, number.digits.data() + 1, number.count - 1);
  }
  *out++ = 'e';
  *out++ = number.exponent < 0 ? '-' : '+';
  const int size = std::abs(number.exponent);
  if (size < 10) *out++ = '0';
  return std::to_chars(out, out + 3, size).ptr;
}

// Up to this many digits an integer fits into 64 bits whatever they are.
constexpr std::size_t kShortIntegerDigits = 18;

}  // namespace

std::size_t float_text(double value, char* out) noexcept {
  if (std::isnan(value)) return write(out, "NaN");
  if (std::isinf(value)) return write(out, value > 0 ? "Infinity" : "-Infinity");
  char* end = out;
  if (std::signbit(value)) *end++ = '-';
  const Shortest number = shortest_digits(std::fabs(value));
  const bool fixed =
      number.exponent >= kLeastFixedExponent && number.exponent < kLeastLargeExponent;
  end = fixed ? write_fixed(number, end) : write_with_exponent(number, end);
  return static_cast<std::size_t>(end - out);
}

python::Object read_integer(std::string_view digits) {
  if (digits.size() <= kShortIntegerDigits) {
    long long value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return python::Object::take(PyLong_FromLongLong(value));
  }
  const std::string terminated(digits);
  // For very many digits this is Python code.
  return python::Object::take(
      python::in_interpreter([&] { return PyLong_FromString(terminated.c_str(), nullptr, 10); }));
}

python::Object read_real(std::string_view digits) {
  double value = 0.0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec == std::errc()) return python::Object::take(PyFloat_FromDouble(value));
  // Out of range, where from_chars gives no value.
  const std::string terminated(digits);
  value = PyOS_string_to_double(terminated.c_str(), nullptr, nullptr);
  if (value == -1.0 && PyErr_Occurred() != nullptr) throw python::PythonError{};
  return python::Object::take(PyFloat_FromDouble(value));
}

}  // namespace json
