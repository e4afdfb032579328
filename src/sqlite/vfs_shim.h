// A VFS shim: stands over SQLite's own VFS, forwards everything, and tells the thread's CallWatch
// before the engine sleeps, syncs, reads or writes.
#pragma once

#include <chrono>

#include <sqlite3.h>

namespace sqlite {

// The name of a VFS that forwards everything to the one that is SQLite's
// default now. Made at the first use and kept for the life of the process;
// it never becomes the default itself. Throws Error if it cannot be made.
const char* vfs_shim_over_default();

// How long the connection, opened through the shim, waits for a lock at most. The engine does not
// tell what it was set to; what a PRAGMA sets later the shim sees by itself.
void tell_busy_timeout(sqlite3* database, std::chrono::milliseconds timeout) noexcept;

}  // namespace sqlite
