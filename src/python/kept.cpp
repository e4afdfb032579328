#include "python/kept.h"

#include <array>
#include <cassert>
#include <utility>

#include "python/name.h"

namespace python {

namespace {

// The places that were ever used; there are some twenty in the code.
template <typename Pointer>
class Places {
 public:
  void add(Pointer*& place) noexcept {
    for (std::size_t i = 0; i < count_; ++i) {
      if (places_[i] == &place) return;
    }
    assert(count_ < places_.size());
    places_[count_++] = &place;
  }
  void empty() noexcept {
    for (std::size_t i = 0; i < count_; ++i) *places_[i] = nullptr;
  }

 private:
  std::array<Pointer**, 48> places_{};
  std::size_t count_ = 0;
};

constinit Places<PyObject> objects;
constinit Places<PyTypeObject> types;

}  // namespace

void keep(PyObject*& place, Object object) noexcept {
  objects.add(place);
  const Object old = Object::take_if_any(std::exchange(place, object.release()));
}

void keep(PyTypeObject*& place, Object type) noexcept {
  types.add(place);
  PyObject* const old = reinterpret_cast<PyObject*>(
      std::exchange(place, reinterpret_cast<PyTypeObject*>(type.release())));
  const Object dropped = Object::take_if_any(old);
}

void forget_everything_kept() noexcept {
  objects.empty();
  types.empty();
  Name::forget_all();
}

}  // namespace python
