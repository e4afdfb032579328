#include "sqlite/vfs_shim.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

#include <sqlite3.h>

#include "sqlite/call_watch.h"
#include "sqlite/error.h"
#include "sqlite/file_lock.h"
#include "sqlite/fork_guard.h"
#include "sqlite/sync_times.h"

namespace sqlite {

namespace {

// A file control of our own, told to our files only. SQLite keeps the numbers below 100 for itself.
constexpr int kSetBusyTimeout = 0x5a417201;

// The VFS below, and our table of methods over it. Lives
// for ever: connections may outlast everything else.
struct Shim {
  sqlite3_vfs methods;
  sqlite3_vfs* base;
  char name[40];
  Shim* next;
};

// One open file: ours in front, the file of the VFS below right behind
// it in the same allocation. The table of methods is the file's own,
// since it must offer just the methods that the file below has.
struct alignas(sqlite3_int64) File {
  sqlite3_file head;
  sqlite3_io_methods methods;
  OpenFile open_file;
  FileLock locks;
};

sqlite3_vfs* base(sqlite3_vfs* shim) { return static_cast<Shim*>(shim->pAppData)->base; }
sqlite3_file* base(sqlite3_file* file) {
  return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
}
FileLock& locks(sqlite3_file* file) { return reinterpret_cast<File*>(file)->locks; }
const sqlite3_io_methods& below(sqlite3_file* file) { return *base(file)->pMethods; }

void tick() noexcept {
  if (CallWatch* const watch = CallWatch::current()) watch->tick();
}

void about_to_wait() noexcept {
  if (CallWatch* const watch = CallWatch::current()) watch->about_to_wait();
}

// Methods of an open file.

int close(sqlite3_file* file) noexcept {
  reinterpret_cast<File*>(file)->open_file.closed();
  const int code = below(file).xClose(base(file));
  locks(file).closed();
  return code;
}

int read(sqlite3_file* file, void* into, int amount, sqlite3_int64 offset) noexcept {
  tick();
  return below(file).xRead(base(file), into, amount, offset);
}

int write(sqlite3_file* file, const void* from, int amount, sqlite3_int64 offset) noexcept {
  tick();
  return below(file).xWrite(base(file), from, amount, offset);
}

int truncate(sqlite3_file* file, sqlite3_int64 size) noexcept {
  return below(file).xTruncate(base(file), size);
}

int sync(sqlite3_file* file, int flags) noexcept {
  CallWatch* const watch = CallWatch::current();
  if (watch == nullptr) return below(file).xSync(base(file), flags);
  // Journals and WALs lie beside the database file that the call holds a lock of.
  FileLock* const database = watch->lock_wait.held_file();
  const FileId* const id = database == nullptr ? nullptr : database->id();
  SyncTimes* const times = id == nullptr ? nullptr : &SyncTimes::of(id->device);
  if (times == nullptr) {
    watch->about_to_wait();
    return below(file).xSync(base(file), flags);
  }
  watch->about_to_sync(times->usual());
  const auto began = WaitClock::now();
  const int code = below(file).xSync(base(file), flags);
  times->add(WaitClock::now() - began);
  return code;
}

int file_size(sqlite3_file* file, sqlite3_int64* size) noexcept {
  return below(file).xFileSize(base(file), size);
}

int lock(sqlite3_file* file, int level) noexcept { return locks(file).lock(level); }

int unlock(sqlite3_file* file, int level) noexcept { return locks(file).unlock(level); }

int check_reserved_lock(sqlite3_file* file, int* held) noexcept {
  return below(file).xCheckReservedLock(base(file), held);
}

int file_control(sqlite3_file* file, int operation, void* argument) noexcept {
  // Builds with this option wait inside the file lock,
  // out of our sight; without it they sleep in xSleep.
  if (operation == SQLITE_FCNTL_LOCK_TIMEOUT) return SQLITE_NOTFOUND;
  if (operation == kSetBusyTimeout) {
    locks(file).set_busy_timeout(*static_cast<std::chrono::milliseconds*>(argument));
    return SQLITE_OK;
  }
  if (operation == SQLITE_FCNTL_PRAGMA) {
    const auto* const pragma = static_cast<char**>(argument);
    locks(file).pragma(pragma[1], pragma[2]);
  }
  return below(file).xFileControl(base(file), operation, argument);
}

int sector_size(sqlite3_file* file) noexcept { return below(file).xSectorSize(base(file)); }

int device_characteristics(sqlite3_file* file) noexcept {
  return below(file).xDeviceCharacteristics(base(file));
}

int shm_map(sqlite3_file* file, int region, int size, int extend, void volatile** memory) noexcept {
  return below(file).xShmMap(base(file), region, size, extend, memory);
}

int shm_lock(sqlite3_file* file, int offset, int count, int flags) noexcept {
  return locks(file).shm_lock(offset, count, flags);
}

void shm_barrier(sqlite3_file* file) noexcept { below(file).xShmBarrier(base(file)); }

int shm_unmap(sqlite3_file* file, int delete_flag) noexcept {
  return below(file).xShmUnmap(base(file), delete_flag);
}

int fetch(sqlite3_file* file, sqlite3_int64 offset, int amount, void** page) noexcept {
  tick();
  return below(file).xFetch(base(file), offset, amount, page);
}

int unfetch(sqlite3_file* file, sqlite3_int64 offset, void* page) noexcept {
  return below(file).xUnfetch(base(file), offset, page);
}

constexpr sqlite3_io_methods kFileMethods = {
    .iVersion = 3,
    .xClose = close,
    .xRead = read,
    .xWrite = write,
    .xTruncate = truncate,
    .xSync = sync,
    .xFileSize = file_size,
    .xLock = lock,
    .xUnlock = unlock,
    .xCheckReservedLock = check_reserved_lock,
    .xFileControl = file_control,
    .xSectorSize = sector_size,
    .xDeviceCharacteristics = device_characteristics,
    .xShmMap = shm_map,
    .xShmLock = shm_lock,
    .xShmBarrier = shm_barrier,
    .xShmUnmap = shm_unmap,
    .xFetch = fetch,
    .xUnfetch = unfetch,
};

// Ours where the file below has the method, null where it has
// none; the fields past its version are not there to look at.
sqlite3_io_methods methods_over(const sqlite3_io_methods& real) {
  sqlite3_io_methods methods = kFileMethods;
  methods.iVersion = real.iVersion < 3 ? real.iVersion : 3;
  const auto keep_if = [](auto& ours, const auto& theirs) {
    if (theirs == nullptr) ours = nullptr;
  };
  keep_if(methods.xSectorSize, real.xSectorSize);
  keep_if(methods.xDeviceCharacteristics, real.xDeviceCharacteristics);
  if (methods.iVersion >= 2) {
    keep_if(methods.xShmMap, real.xShmMap);
    keep_if(methods.xShmLock, real.xShmLock);
    keep_if(methods.xShmBarrier, real.xShmBarrier);
    keep_if(methods.xShmUnmap, real.xShmUnmap);
  }
  if (methods.iVersion >= 3) {
    keep_if(methods.xFetch, real.xFetch);
    keep_if(methods.xUnfetch, real.xUnfetch);
  }
  return methods;
}

// Methods of the file system.

int open(sqlite3_vfs* shim, const char* name, sqlite3_file* file, int flags,
         int* out_flags) noexcept {
  base(file)->pMethods = nullptr;
  file->pMethods = nullptr;
  const bool database = name != nullptr && (flags & SQLITE_OPEN_MAIN_DB) != 0;
  if (database && refusal_after_fork(name) != nullptr) return SQLITE_CANTOPEN;
  const int code = base(shim)->xOpen(base(shim), name, base(file), flags, out_flags);
  // A file with methods is closed by SQLite even when opening it failed.
  if (base(file)->pMethods == nullptr) return code;
  auto* const ours = reinterpret_cast<File*>(file);
  ours->methods = methods_over(*base(file)->pMethods);
  new (&ours->open_file) OpenFile();
  if (database) ours->open_file.opened(name, base(file));
  new (&ours->locks) FileLock(base(file), database ? name : nullptr);
  file->pMethods = &ours->methods;
  return code;
}

int delete_file(sqlite3_vfs* shim, const char* name, int sync_directory) noexcept {
  if (sync_directory != 0) about_to_wait();
  return base(shim)->xDelete(base(shim), name, sync_directory);
}

int access(sqlite3_vfs* shim, const char* name, int flags, int* result) noexcept {
  return base(shim)->xAccess(base(shim), name, flags, result);
}

int full_pathname(sqlite3_vfs* shim, const char* name, int size, char* out) noexcept {
  return base(shim)->xFullPathname(base(shim), name, size, out);
}

void* dl_open(sqlite3_vfs* shim, const char* name) noexcept {
  return base(shim)->xDlOpen(base(shim), name);
}

void dl_error(sqlite3_vfs* shim, int size, char* message) noexcept {
  base(shim)->xDlError(base(shim), size, message);
}

void (*dl_sym(sqlite3_vfs* shim, void* library, const char* symbol) noexcept)() {
  return base(shim)->xDlSym(base(shim), library, symbol);
}

void dl_close(sqlite3_vfs* shim, void* library) noexcept {
  base(shim)->xDlClose(base(shim), library);
}

int randomness(sqlite3_vfs* shim, int size, char* out) noexcept {
  return base(shim)->xRandomness(base(shim), size, out);
}

int sleep(sqlite3_vfs* shim, int microseconds) noexcept {
  CallWatch* const watch = CallWatch::current();
  if (watch == nullptr) return base(shim)->xSleep(base(shim), microseconds);
  watch->lock_wait.sleep(*watch, microseconds);
  return microseconds;
}

int current_time(sqlite3_vfs* shim, double* days) noexcept {
  return base(shim)->xCurrentTime(base(shim), days);
}

int get_last_error(sqlite3_vfs* shim, int size, char* message) noexcept {
  return base(shim)->xGetLastError(base(shim), size, message);
}

int current_time_int64(sqlite3_vfs* shim, sqlite3_int64* milliseconds) noexcept {
  return base(shim)->xCurrentTimeInt64(base(shim), milliseconds);
}

int size_over(const sqlite3_vfs& real) noexcept {
  return static_cast<int>(sizeof(File)) + real.szOsFile;
}

// System calls (version 3) are set on the VFS that makes them, never through a shim.
int version_over(const sqlite3_vfs& real) noexcept { return real.iVersion < 2 ? real.iVersion : 2; }

Shim* make_shim(sqlite3_vfs* real) {
  auto* const shim = new Shim{};
  shim->base = real;
  std::snprintf(shim->name, sizeof shim->name, "zentrope-anpr-%p", static_cast<void*>(shim));
  sqlite3_vfs& methods = shim->methods;
  methods.iVersion = version_over(*real);
  methods.szOsFile = size_over(*real);
  methods.mxPathname = real->mxPathname;
  methods.zName = shim->name;
  methods.pAppData = shim;
  methods.xOpen = open;
  methods.xDelete = delete_file;
  methods.xAccess = access;
  methods.xFullPathname = full_pathname;
  methods.xDlOpen = real->xDlOpen == nullptr ? nullptr : dl_open;
  methods.xDlError = real->xDlError == nullptr ? nullptr : dl_error;
  methods.xDlSym = real->xDlSym == nullptr ? nullptr : dl_sym;
  methods.xDlClose = real->xDlClose == nullptr ? nullptr : dl_close;
  methods.xRandomness = randomness;
  methods.xSleep = sleep;
  methods.xCurrentTime = real->xCurrentTime == nullptr ? nullptr : current_time;
  methods.xGetLastError = real->xGetLastError == nullptr ? nullptr : get_last_error;
  if (methods.iVersion >= 2) {
    methods.xCurrentTimeInt64 = real->xCurrentTimeInt64 == nullptr ? nullptr : current_time_int64;
  }
  const int code = sqlite3_vfs_register(&methods, /*makeDflt=*/0);
  if (code != SQLITE_OK) {
    delete shim;
    throw Error(code, sqlite3_errstr(code));
  }
  return shim;
}

// The address alone may be that of a VFS that is gone.
bool is_over(const Shim& shim, const sqlite3_vfs& real) noexcept {
  return shim.base == &real && shim.methods.szOsFile == size_over(real) &&
         shim.methods.mxPathname == real.mxPathname && shim.methods.iVersion == version_over(real);
}

// No destructor runs at exit: other threads may still be inside a file.
constinit std::mutex shims_mutex;
constinit Shim* shims = nullptr;

}  // namespace

void tell_busy_timeout(sqlite3* database, std::chrono::milliseconds timeout) noexcept {
  sqlite3_file_control(database, nullptr, kSetBusyTimeout, &timeout);
}

const char* vfs_shim_over_default() {
  sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
  if (real == nullptr) throw Error(SQLITE_ERROR, "no such vfs: (default)");
  const std::lock_guard<std::mutex> guard(shims_mutex);
  for (const Shim* shim = shims; shim != nullptr; shim = shim->next) {
    if (is_over(*shim, *real)) return shim->name;
  }
  Shim* const shim = make_shim(real);
  shim->next = shims;
  shims = shim;
  return shim->name;
}

}  // namespace sqlite
