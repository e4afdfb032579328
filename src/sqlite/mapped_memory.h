// Memory that goes back to the system when it is given back.
#pragma once

#include <memory_resource>

namespace sqlite {

// For large blocks that come and go in the middle of others' memory: the usual allocator would keep
// their pages, and a long result would lie in memory twice, as rows and as what is made of them.
std::pmr::memory_resource* mapped_memory();

}  // namespace sqlite
