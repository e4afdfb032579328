#include "python/name.h"

#include <utility>

#include "python/errors.h"

namespace python {

namespace {

constinit const Name* made = nullptr;

}  // namespace

void Name::make() const {
  object_ = PyUnicode_InternFromString(text_);
  if (object_ == nullptr) throw PythonError{};
  next_made_ = std::exchange(made, this);
}

void Name::forget_all() noexcept {
  while (made != nullptr) {
    made->object_ = nullptr;
    made = std::exchange(made->next_made_, nullptr);
  }
}

}  // namespace python
