// What the reader remembers from one document to the next.
#pragma once

#include <Python.h>

#include <cstdint>
#include <span>
#include <vector>

#include "json/text_cache.h"
#include "python/like_dicts.h"
#include "python/object.h"

namespace json {

// The keys of the mapping that was read last, which the next one is expected to have again.
class ExpectedKeys {
 public:
  std::span<const python::Object> keys() const noexcept { return keys_; }
  // Changes with the keys.
  std::uint64_t version() const noexcept { return version_; }

  // A dict of the keys and their values, which it takes over.
  python::Object make(std::span<python::Object> values);

  // A mapping with other keys was read.
  void learn(PyObject* mapping);

 private:
  void make_pattern();

  std::vector<python::Object> keys_;
  python::LikeDicts like_dicts_;  // made when the keys have come often enough
  unsigned seen_ = 0;
  std::uint64_t version_ = 0;
};

// One reader at a time uses it. It holds texts and room, no more than a bounded amount of either.
struct Memory {
  TextCache keys;
  TextCache values;
  ExpectedKeys expected;
  std::vector<python::Object> items;  // of the lists and mappings being read, outermost first
  std::uint64_t documents = 0;
};

// Lends the process's memory; a fresh one while another reader
// has that, which happens where reading runs Python code.
class BorrowedMemory {
 public:
  BorrowedMemory();
  ~BorrowedMemory();
  BorrowedMemory(const BorrowedMemory&) = delete;
  BorrowedMemory& operator=(const BorrowedMemory&) = delete;

  Memory& operator*() const noexcept { return *memory_; }

 private:
  Memory* memory_;
};

}  // namespace json
