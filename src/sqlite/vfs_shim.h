// A VFS shim: stands over SQLite's own VFS, forwards everything, and tells the thread's CallWatch
// before the engine sleeps, syncs, reads or writes.
#pragma once

namespace sqlite {

// The name of a VFS that forwards everything to the one that is SQLite's
// default now. Made at the first use and kept for the life of the process;
// it never becomes the default itself. Throws Error if it cannot be made.
const char* vfs_shim_over_default();

}  // namespace sqlite
