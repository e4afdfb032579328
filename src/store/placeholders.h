// The list of placeholders in `IN (...)`.
#pragma once

#include <cstddef>
#include <string>

namespace store {

// "?,?,?" for three.
inline std::string placeholders(std::size_t count) {
  std::string list;
  list.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) list += i == 0 ? "?" : ",?";
  return list;
}

}  // namespace store
