#include "python/like_dicts.h"

#include <algorithm>

#include "python/calls.h"
#include "python/compat.h"
#include "python/values.h"

namespace python {

namespace {

// A class's objects start out with room for more attributes than
// they have, which the interpreter takes back object by object.
constexpr int kObjectsUntilNoRoomIsLeft = 32;

// The dict of an object of a class made for it: copies of it share its table of keys.
Object dict_with_shared_keys(std::span<const Object> keys) {
  const Object type = Object::take(
      PyObject_CallFunction(reinterpret_cast<PyObject*>(&PyType_Type), "s(){}", "LikeDicts"));
  Object dict;
  for (int i = 0; i < kObjectsUntilNoRoomIsLeft; ++i) {
    const Object object = call(type.get());
    dict = Object::take(PyObject_GenericGetDict(object.get(), nullptr));
    if (i > 0 && i < kObjectsUntilNoRoomIsLeft - 1) continue;
    for (const Object& key : keys) set_item(dict, key.get(), key);
  }
  return dict;
}

// Whether the dict's values lie in the order of its keys, as they are where each is its own key.
bool values_lie_in_order(const Object& dict, std::span<const Object> keys) {
  PyObject** const values = compat::values_beside_shared_keys(dict.get());
  return values != nullptr &&
         std::equal(keys.begin(), keys.end(), values,
                    [](const Object& key, PyObject* value) { return key.is(value); });
}

}  // namespace

LikeDicts::LikeDicts(std::span<const Object> keys)
    : keys_(Object::take(PyTuple_New(static_cast<Py_ssize_t>(keys.size())))) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    PyTuple_SET_ITEM(keys_.get(), static_cast<Py_ssize_t>(i), Py_NewRef(keys[i].get()));
  }
  const Object dict = dict_with_shared_keys(keys);
  for (const Object& key : keys) set_item(dict, key.get(), key);
  Object pattern = Object::take(PyDict_Copy(dict.get()));
  shares_keys_ = values_lie_in_order(pattern, keys);
  for (const Object& key : keys) set_item(pattern, key.get(), Py_None);
  pattern_ = std::move(pattern);
}

bool LikeDicts::has_keys(std::span<PyObject* const> keys) const noexcept {
  if (!pattern_ || keys.size() != static_cast<std::size_t>(PyTuple_GET_SIZE(keys_.get()))) {
    return false;
  }
  return std::equal(keys.begin(), keys.end(), &PyTuple_GET_ITEM(keys_.get(), 0));
}

Object LikeDicts::make(std::span<Object> values) const {
  Object dict = Object::take(PyDict_Copy(pattern_.get()));
  PyObject** const places = shares_keys_ ? compat::values_beside_shared_keys(dict.get()) : nullptr;
  if (places == nullptr) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      set_item(dict, PyTuple_GET_ITEM(keys_.get(), static_cast<Py_ssize_t>(i)), values[i]);
      values[i] = Object();
    }
    return dict;
  }
  bool can_be_in_cycle = false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    can_be_in_cycle = can_be_in_cycle || PyObject_IS_GC(values[i].get());
    // What stood there is None, the pattern's.
    const Object before = Object::take(std::exchange(places[i], values[i].release()));
  }
  if (can_be_in_cycle && PyObject_GC_IsTracked(dict.get()) == 0) PyObject_GC_Track(dict.get());
  return dict;
}

}  // namespace python
