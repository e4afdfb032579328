// Numbers as JSON text and back.
#pragma once

#include <Python.h>

#include <cstddef>
#include <string_view>

#include "python/object.h"

namespace json {

// Room for any text that float_text writes.
inline constexpr std::size_t kFloatTextSize = 32;

// Writes the shortest text that reads back as `value`, as Python's repr lays it out; NaN, Infinity
// or -Infinity for what is no finite number. Returns the length.
std::size_t float_text(double value, char* out) noexcept;

// The number that `digits` spells, which follow JSON's grammar: an optional minus sign and decimal
// digits. ValueError if there are more digits than the interpreter converts.
python::Object read_integer(std::string_view digits);

// The same for a number with a fraction or an exponent;
// beyond the range of a double, an infinity or zero.
python::Object read_real(std::string_view digits);

}  // namespace json
