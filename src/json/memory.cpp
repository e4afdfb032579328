#include "json/memory.h"

#include <algorithm>
#include <array>

#include "python/values.h"

namespace json {

namespace {

using python::Object;

// A mapping of more keys is read key by key.
constexpr Py_ssize_t kMostKeys = 24;
// Making the pattern of like dicts costs as much as reading some tens of mappings.
constexpr unsigned kOftenEnough = 32;
// Room for items that stays; a long list's is given back.
constexpr std::size_t kItemsKept = 1024;

// Never destroyed: what it holds must not be dropped after the interpreter's end.
constinit Memory* idle = nullptr;

}  // namespace

python::Object ExpectedKeys::make(std::span<python::Object> values) {
  if (like_dicts_) return like_dicts_.make(values);
  if (++seen_ == kOftenEnough) make_pattern();
  Object mapping = python::dict();
  for (std::size_t i = 0; i < values.size(); ++i) {
    python::set_item(mapping, keys_[i].get(), values[i]);
    values[i] = Object();
  }
  return mapping;
}

// It takes levels of recursion that reading does not have to spare, and is for speed only.
void ExpectedKeys::make_pattern() {
  try {
    like_dicts_ = python::LikeDicts(keys_);
  } catch (const python::PythonError&) {
    python::clear_error();
  }
}

void ExpectedKeys::learn(PyObject* mapping) {
  ++version_;
  keys_.clear();
  like_dicts_ = python::LikeDicts();
  seen_ = 0;
  if (PyDict_GET_SIZE(mapping) > kMostKeys) return;
  Py_ssize_t position = 0;
  PyObject* key = nullptr;
  while (PyDict_Next(mapping, &position, &key, nullptr) != 0) {
    const bool short_ascii =
        PyUnicode_IS_ASCII(key) &&
        static_cast<std::size_t>(PyUnicode_GET_LENGTH(key)) <= TextCache::kLongest;
    if (!short_ascii) {
      keys_.clear();
      return;
    }
    keys_.push_back(Object::share(key));
  }
}

BorrowedMemory::BorrowedMemory() : memory_(std::exchange(idle, nullptr)) {
  if (memory_ == nullptr) memory_ = new Memory;
  ++memory_->documents;
}

BorrowedMemory::~BorrowedMemory() {
  memory_->items.clear();
  if (memory_->items.capacity() > kItemsKept) std::vector<Object>().swap(memory_->items);
  if (idle == nullptr) {
    idle = memory_;
  } else {
    delete memory_;
  }
}

}  // namespace json
