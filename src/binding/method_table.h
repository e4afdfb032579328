// The store's external interface: every method of the
// class, in the order in which the class defines them.
#pragma once

#include <cstddef>
#include <span>

#include "binding/method.h"

namespace binding {

inline constexpr std::size_t kMethodCount = 25;

std::span<const Method, kMethodCount> method_table() noexcept;

}  // namespace binding
