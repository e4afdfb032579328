#include "sqlite/mapped_memory.h"

#include <new>
#include <sys/mman.h>

namespace sqlite {

namespace {

class MappedMemory final : public std::pmr::memory_resource {
  void* do_allocate(std::size_t bytes, std::size_t) override {
    void* const block =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::bad_alloc();
    return block;
  }
  void do_deallocate(void* block, std::size_t bytes, std::size_t) override { munmap(block, bytes); }
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
    return this == &other;
  }
};

}  // namespace

// Never destroyed: rows may give memory back at the very end of the process.
std::pmr::memory_resource* mapped_memory() {
  static auto* const memory = new MappedMemory;
  return memory;
}

}  // namespace sqlite
