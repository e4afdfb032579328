// Upper case as Python's str.upper has it, character by character.
#pragma once

#include <Python.h>

#include <array>
#include <cstdint>

namespace watchlist {

// What one character becomes in upper case. Upper case does not depend on the characters around it.
struct UpperCase {
  static constexpr std::size_t kMost = 3;

  std::array<char32_t, kMost> characters{};
  std::uint8_t count = 0;
};

// Asks str.upper once for each block of characters that ever
// occurs; throws if there is no memory for the answers.
const UpperCase& upper_case(char32_t character);

}  // namespace watchlist
