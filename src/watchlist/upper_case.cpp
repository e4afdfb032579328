#include "watchlist/upper_case.h"

#include <algorithm>
#include <memory>

#include "python/calls.h"

namespace watchlist {

namespace {

using python::Object;

constexpr std::size_t kBlockSize = 256;
constexpr std::size_t kBlocks = 0x110000 / kBlockSize;

using Block = std::array<UpperCase, kBlockSize>;

// What Unicode says, so it may be kept for the life of the process. Used with the GIL held.
constinit std::array<const Block*, kBlocks> blocks{};

constinit python::Name kUpper{"upper"};

UpperCase asked(char32_t character) {
  const Object text = Object::take(PyUnicode_FromOrdinal(static_cast<int>(character)));
  const Object upper = python::call_method(text.get(), kUpper);
  UpperCase result;
  result.count = static_cast<std::uint8_t>(PyUnicode_GET_LENGTH(upper.get()));
  for (Py_ssize_t i = 0; i < result.count; ++i) {
    result.characters.at(static_cast<std::size_t>(i)) = PyUnicode_READ_CHAR(upper.get(), i);
  }
  return result;
}

const Block* make_block(std::size_t index) {
  auto block = std::make_unique<Block>();
  auto character = static_cast<char32_t>(index * kBlockSize);
  for (UpperCase& upper : *block) upper = asked(character++);
  return block.release();
}

}  // namespace

const UpperCase& upper_case(char32_t character) {
  const std::size_t index = character / kBlockSize;
  if (blocks[index] == nullptr) blocks[index] = make_block(index);
  return (*blocks[index])[character % kBlockSize];
}

}  // namespace watchlist
