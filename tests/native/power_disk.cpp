// A VFS for tests: SQLite's files on a disk in memory whose power can fail at
// any step, and which writes down the calls that reach it. It asks for directory
// syncs where SQLite's own VFS for Unix makes them, and promises of its device
// just what that one promises. Loaded with ctypes; knows nothing of the store.

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "memory_disk.h"

namespace {

using memory_disk::Disk;
using memory_disk::File;
using memory_disk::FilePointer;
using memory_disk::Locks;
using memory_disk::Tape;

constexpr int kTapes = 2;
constexpr int kSectorSize = 4096;

sqlite3_vfs* base = nullptr;
sqlite3_vfs layer;
sqlite3_io_methods file_methods;

std::mutex mutex;  // over all that follows, and each file's contents
Disk disk;
Tape tapes[kTapes];
bool listening = false;
std::string calls;

// One open file.
struct Handle {
  sqlite3_file head;
  FilePointer file;
  std::string name;
  std::string_view kind;
  bool delete_on_close;
  bool sync_directory;  // with the first sync: the entry is new
  int lock_level = SQLITE_LOCK_NONE;
  bool mapped = false;
  unsigned memory_shared = 0;
  unsigned memory_exclusive = 0;
};

Handle& handle(sqlite3_file* file) { return *reinterpret_cast<Handle*>(file); }

std::string_view kind_of(int flags) {
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0) return "database";
  if ((flags & SQLITE_OPEN_MAIN_JOURNAL) != 0) return "journal";
  if ((flags & SQLITE_OPEN_WAL) != 0) return "log";
  if ((flags & SQLITE_OPEN_SUBJOURNAL) != 0) return "statement journal";
  if ((flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) return "super journal";
  return "temporary file";
}

std::string_view kind_of(std::string_view name) {
  if (name.ends_with("-journal")) return "journal";
  if (name.ends_with("-wal")) return "log";
  return "database";
}

void listen(std::string_view call, std::string_view kind, const std::string& details = {}) {
  if (!listening) return;
  calls.append(call).append(" ").append(kind);
  if (!details.empty()) calls.append(" ").append(details);
  calls.append("\n");
}

// Methods of an open file.

int read_file(sqlite3_file* file, void* into, int amount, sqlite3_int64 offset) {
  const std::scoped_lock guard(mutex);
  const auto& bytes = handle(file).file->bytes;
  const sqlite3_int64 there = std::ssize(bytes) - offset;
  const int size =
      static_cast<int>(std::max<sqlite3_int64>(0, std::min<sqlite3_int64>(there, amount)));
  if (size > 0) std::memcpy(into, bytes.data() + offset, static_cast<std::size_t>(size));
  if (size == amount) return SQLITE_OK;
  std::memset(static_cast<char*>(into) + size, 0, static_cast<std::size_t>(amount - size));
  return SQLITE_IOERR_SHORT_READ;
}

int write_file(sqlite3_file* file, const void* from, int amount, sqlite3_int64 offset) {
  const std::scoped_lock guard(mutex);
  listen("write", handle(file).kind, std::to_string(offset) + "+" + std::to_string(amount));
  disk.write(*handle(file).file, offset, from, amount);
  return SQLITE_OK;
}

int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
  const std::scoped_lock guard(mutex);
  listen("truncate", handle(file).kind, std::to_string(size));
  disk.truncate(*handle(file).file, size);
  return SQLITE_OK;
}

int sync_file(sqlite3_file* file, int flags) {
  const std::scoped_lock guard(mutex);
  listen("sync", handle(file).kind, std::to_string(flags));
  disk.sync(*handle(file).file);
  if (handle(file).sync_directory) {
    disk.sync_directory();
    handle(file).sync_directory = false;
  }
  return SQLITE_OK;
}

int file_size(sqlite3_file* file, sqlite3_int64* size) {
  const std::scoped_lock guard(mutex);
  *size = std::ssize(handle(file).file->bytes);
  return SQLITE_OK;
}

int lock_file(sqlite3_file* file, int level) {
  const std::scoped_lock guard(mutex);
  Handle& self = handle(file);
  if (self.lock_level >= level) return SQLITE_OK;
  listen("lock", self.kind, std::to_string(level));
  Locks& locks = self.file->locks;
  const auto of_another = [&](const void* holder) { return holder != nullptr && holder != &self; };
  if (of_another(locks.pending)) return SQLITE_BUSY;
  if (level == SQLITE_LOCK_SHARED) {
    ++locks.shared;
  } else {
    if (of_another(locks.reserved)) return SQLITE_BUSY;
    locks.reserved = &self;
  }
  if (level == SQLITE_LOCK_EXCLUSIVE) {
    locks.pending = &self;
    if (locks.shared > 1) {
      self.lock_level = SQLITE_LOCK_PENDING;
      return SQLITE_BUSY;
    }
  }
  self.lock_level = level;
  return SQLITE_OK;
}

void release(Handle& self, int level) {
  Locks& locks = self.file->locks;
  if (self.lock_level > SQLITE_LOCK_SHARED) {
    if (locks.reserved == &self) locks.reserved = nullptr;
    if (locks.pending == &self) locks.pending = nullptr;
  }
  if (level == SQLITE_LOCK_NONE && self.lock_level >= SQLITE_LOCK_SHARED) --locks.shared;
  self.lock_level = level;
}

int unlock_file(sqlite3_file* file, int level) {
  const std::scoped_lock guard(mutex);
  if (handle(file).lock_level <= level) return SQLITE_OK;
  listen("unlock", handle(file).kind, std::to_string(level));
  release(handle(file), level);
  return SQLITE_OK;
}

int check_reserved_lock(sqlite3_file* file, int* held) {
  const std::scoped_lock guard(mutex);
  *held = handle(file).file->locks.reserved != nullptr ? 1 : 0;
  return SQLITE_OK;
}

int file_control(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }

int sector_size(sqlite3_file*) { return kSectorSize; }

int device_characteristics(sqlite3_file*) { return SQLITE_IOCAP_POWERSAFE_OVERWRITE; }

int shm_map(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  const std::scoped_lock guard(mutex);
  Handle& self = handle(file);
  if (!self.mapped) ++self.file->mapped;
  self.mapped = true;
  auto& regions = self.file->shared_memory;
  while (std::ssize(regions) <= region) {
    if (extend == 0) {
      *memory = nullptr;
      return SQLITE_OK;
    }
    regions.push_back(std::make_unique<unsigned char[]>(static_cast<std::size_t>(size)));
  }
  *memory = regions[static_cast<std::size_t>(region)].get();
  return SQLITE_OK;
}

bool may_lock(const Handle& self, std::size_t slot, bool exclusively) {
  const Locks& locks = self.file->locks;
  const void* const holder = locks.memory_exclusive[slot];
  if (holder != nullptr && holder != &self) return false;
  const int own = (self.memory_shared >> slot & 1U) != 0 ? 1 : 0;
  return !exclusively || locks.memory_shared[slot] == own;
}

void release_memory_lock(Handle& self, std::size_t slot) {
  const unsigned bit = 1U << slot;
  if ((self.memory_shared & bit) != 0) --self.file->locks.memory_shared[slot];
  if ((self.memory_exclusive & bit) != 0) self.file->locks.memory_exclusive[slot] = nullptr;
  self.memory_shared &= ~bit;
  self.memory_exclusive &= ~bit;
}

int shm_lock(sqlite3_file* file, int offset, int count, int flags) {
  const std::scoped_lock guard(mutex);
  Handle& self = handle(file);
  const auto first = static_cast<std::size_t>(offset);
  const auto end = first + static_cast<std::size_t>(count);
  if ((flags & SQLITE_SHM_UNLOCK) != 0) {
    for (std::size_t slot = first; slot < end; ++slot) release_memory_lock(self, slot);
    return SQLITE_OK;
  }
  const bool exclusively = (flags & SQLITE_SHM_EXCLUSIVE) != 0;
  for (std::size_t slot = first; slot < end; ++slot) {
    if (!may_lock(self, slot, exclusively)) return SQLITE_BUSY;
  }
  for (std::size_t slot = first; slot < end; ++slot) {
    const unsigned bit = 1U << slot;
    if (exclusively) {
      self.file->locks.memory_exclusive[slot] = &self;
      self.memory_exclusive |= bit;
    } else if ((self.memory_shared & bit) == 0) {
      ++self.file->locks.memory_shared[slot];
      self.memory_shared |= bit;
    }
  }
  return SQLITE_OK;
}

void shm_barrier(sqlite3_file*) { const std::scoped_lock guard(mutex); }

void unmap(Handle& self) {
  if (!self.mapped) return;
  self.mapped = false;
  for (std::size_t slot = 0; slot < memory_disk::kSharedMemoryLocks; ++slot) {
    release_memory_lock(self, slot);
  }
  // The next one to come finds nothing, as after a process's end, and reads the log anew.
  if (--self.file->mapped == 0) self.file->shared_memory.clear();
}

int shm_unmap(sqlite3_file* file, int) {
  const std::scoped_lock guard(mutex);
  unmap(handle(file));
  return SQLITE_OK;
}

int close_file(sqlite3_file* file) {
  const std::scoped_lock guard(mutex);
  Handle& self = handle(file);
  listen("close", self.kind);
  unmap(self);
  release(self, SQLITE_LOCK_NONE);
  if (self.delete_on_close && !self.name.empty()) disk.unlink(self.name);
  self.~Handle();
  return SQLITE_OK;
}

// Methods of the file system.

int open_file(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  const std::scoped_lock guard(mutex);
  file->pMethods = nullptr;
  listen("open", kind_of(flags), std::to_string(flags));
  FilePointer found = name == nullptr ? disk.create_nameless() : disk.find(name);
  const bool made = found == nullptr;
  if (made) {
    if ((flags & SQLITE_OPEN_CREATE) == 0) return SQLITE_CANTOPEN;
    found = disk.create(name);
  }
  constexpr int kJournals = SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_SUPER_JOURNAL | SQLITE_OPEN_WAL;
  new (file) Handle{.head = {.pMethods = &file_methods},
                    .file = std::move(found),
                    .name = name == nullptr ? "" : name,
                    .kind = kind_of(flags),
                    .delete_on_close = (flags & SQLITE_OPEN_DELETEONCLOSE) != 0,
                    .sync_directory = made && (flags & kJournals) != 0};
  if (out_flags != nullptr) *out_flags = flags;
  return SQLITE_OK;
}

int delete_file(sqlite3_vfs*, const char* name, int sync_directory) {
  const std::scoped_lock guard(mutex);
  listen("delete", kind_of(std::string_view(name)), std::to_string(sync_directory));
  if (disk.find(name) == nullptr) return SQLITE_IOERR_DELETE_NOENT;
  disk.unlink(name);
  if (sync_directory != 0) disk.sync_directory();
  return SQLITE_OK;
}

// As on Unix: an empty file does not count as one.
int access_file(sqlite3_vfs*, const char* name, int flags, int* result) {
  const std::scoped_lock guard(mutex);
  const FilePointer found = disk.find(name);
  *result = found != nullptr && (flags != SQLITE_ACCESS_EXISTS || !found->bytes.empty()) ? 1 : 0;
  return SQLITE_OK;
}

int full_pathname(sqlite3_vfs*, const char* name, int size, char* out) {
  return base->xFullPathname(base, name, size, out);
}

}  // namespace

extern "C" {

// Registers the VFS and makes it the default one; once a process.
int power_disk_install() {
  base = sqlite3_vfs_find(nullptr);
  layer = *base;
  layer.zName = "power-disk";
  layer.szOsFile = static_cast<int>(sizeof(Handle));
  layer.xOpen = open_file;
  layer.xDelete = delete_file;
  layer.xAccess = access_file;
  layer.xFullPathname = full_pathname;
  file_methods = {};
  file_methods.iVersion = 2;
  file_methods.xClose = close_file;
  file_methods.xRead = read_file;
  file_methods.xWrite = write_file;
  file_methods.xTruncate = truncate_file;
  file_methods.xSync = sync_file;
  file_methods.xFileSize = file_size;
  file_methods.xLock = lock_file;
  file_methods.xUnlock = unlock_file;
  file_methods.xCheckReservedLock = check_reserved_lock;
  file_methods.xFileControl = file_control;
  file_methods.xSectorSize = sector_size;
  file_methods.xDeviceCharacteristics = device_characteristics;
  file_methods.xShmMap = shm_map;
  file_methods.xShmLock = shm_lock;
  file_methods.xShmBarrier = shm_barrier;
  file_methods.xShmUnmap = shm_unmap;
  return sqlite3_vfs_register(&layer, 1);
}

// Takes everything off the disk.
void power_disk_clear() {
  const std::scoped_lock guard(mutex);
  disk.replace({});
}

// Takes what is on the disk now as safe and notes every step from here; below 0: stops noting.
void power_disk_record(int tape) {
  const std::scoped_lock guard(mutex);
  disk.record(tape < 0 ? nullptr : &tapes[tape]);
}

long power_disk_steps(int tape) {
  const std::scoped_lock guard(mutex);
  return static_cast<long>(tapes[tape].steps.size());
}

// The power fails after the first `steps` of the tape: the disk holds what that left, and nothing
// is noted any more. The tape stays as it is, for the next time.
void power_disk_fail(int tape, long steps, unsigned long long seed, int entries_may_vanish) {
  const std::scoped_lock guard(mutex);
  disk.replace(memory_disk::after_power_loss(tapes[tape], static_cast<std::size_t>(steps), seed,
                                             entries_may_vanish != 0));
}

// How many names the disk holds for that name, its journal and its log; which, as bits 1, 2, 4.
int power_disk_files(const char* name) {
  const std::scoped_lock guard(mutex);
  int found = 0;
  int bit = 1;
  for (const char* suffix : {"", "-journal", "-wal"}) {
    if (disk.find(std::string(name) + suffix) != nullptr) found |= bit;
    bit <<= 1;
  }
  return found;
}

// Forgets the calls heard so far, and writes them down from now on, or no longer.
void power_disk_listen(int on) {
  const std::scoped_lock guard(mutex);
  listening = on != 0;
  calls.clear();
}

// The calls heard, a line each; valid until the next call of this library.
const char* power_disk_calls() {
  const std::scoped_lock guard(mutex);
  return calls.c_str();
}

}  // extern "C"
