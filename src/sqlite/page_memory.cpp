#include "sqlite/page_memory.h"

#include <cstdlib>

namespace sqlite {

namespace {

// Afterwards up to twice as much stays with each of the allocator's arenas.
constexpr std::size_t kBlockBytes = 4 << 20;

}  // namespace

void keep_freed_pages_at_hand() noexcept {
  // Through a volatile pointer, or the compiler would leave both calls out.
  void* volatile block = std::malloc(kBlockBytes);
  std::free(block);
}

}  // namespace sqlite
