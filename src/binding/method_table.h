// The store's external interface: every method of the class, in the order in which the class
// defines them.
#pragma once

#include <span>

#include "binding/method.h"

namespace binding {

std::span<const Method> method_table() noexcept;

}  // namespace binding
