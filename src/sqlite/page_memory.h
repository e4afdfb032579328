// Memory for the pages that a connection caches.
#pragma once

namespace sqlite {

// Each call opens a connection of its own and drops its cache, up to 2 MB of pages, at the end. By
// glibc's first setting memory of that size goes back to the system at once, and comes again page
// by page in the next call. The allocator raises that setting by itself once a program has freed
// one large block; this takes and frees one. Where the program has set the allocator's thresholds,
// or has freed larger blocks before, nothing changes.
void keep_freed_pages_at_hand() noexcept;

}  // namespace sqlite
