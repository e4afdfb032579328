// Makes SQLite's file operations and allocations fail or dawdle on
// demand, for the whole process: the store's own connections and Python's
// meet the same faults. Loaded with ctypes; knows nothing of the store.

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <sqlite3.h>

namespace {

// Counts events and says which of them fail: the n-th from when it was armed, and some behind it.
class Fault {
 public:
  void arm(long nth, int code, int count) {
    seen_ = 0;
    code_ = code;
    count_ = count;
    nth_ = nth;
  }
  // The result code that this event is to fail with, or SQLITE_OK.
  int next() {
    const long number = ++seen_;
    const long nth = nth_;
    if (nth == 0 || number < nth) return SQLITE_OK;
    const int count = count_;
    return count < 0 || number < nth + count ? code_.load() : SQLITE_OK;
  }
  long seen() const { return seen_; }

 private:
  std::atomic<long> seen_ = 0;
  std::atomic<long> nth_ = 0;
  std::atomic<int> code_ = SQLITE_OK;
  std::atomic<int> count_ = 0;
};

Fault file_fault;
Fault memory_fault;

struct Delays {
  std::atomic<int> read = 0;
  std::atomic<int> write = 0;
  std::atomic<int> sync = 0;
};

Delays delays_ms;

void dawdle(int milliseconds) {
  if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// The file system.

struct File {
  sqlite3_file head;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_vfs* base = nullptr;
sqlite3_vfs layer;
sqlite3_io_methods file_methods;

sqlite3_file* real(sqlite3_file* file) { return reinterpret_cast<File*>(file)->real(); }

// Forwards a call to the real file unless it is this call's turn to fail.
template <typename Method, typename... Arguments>
int forward(sqlite3_file* file, Method method, Arguments... arguments) {
  const int failure = file_fault.next();
  if (failure != SQLITE_OK) return failure;
  return (real(file)->pMethods->*method)(real(file), arguments...);
}

int close_file(sqlite3_file* file) { return real(file)->pMethods->xClose(real(file)); }

int read_file(sqlite3_file* file, void* into, int amount, sqlite3_int64 offset) {
  dawdle(delays_ms.read);
  return forward(file, &sqlite3_io_methods::xRead, into, amount, offset);
}

int write_file(sqlite3_file* file, const void* from, int amount, sqlite3_int64 offset) {
  dawdle(delays_ms.write);
  return forward(file, &sqlite3_io_methods::xWrite, from, amount, offset);
}

int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
  return forward(file, &sqlite3_io_methods::xTruncate, size);
}

int sync_file(sqlite3_file* file, int flags) {
  dawdle(delays_ms.sync);
  return forward(file, &sqlite3_io_methods::xSync, flags);
}

int file_size(sqlite3_file* file, sqlite3_int64* size) {
  return forward(file, &sqlite3_io_methods::xFileSize, size);
}

int lock_file(sqlite3_file* file, int level) {
  return forward(file, &sqlite3_io_methods::xLock, level);
}

// Letting a lock go does not fail in practice, and SQLite has no way to tell it.
int unlock_file(sqlite3_file* file, int level) {
  return real(file)->pMethods->xUnlock(real(file), level);
}

int check_reserved_lock(sqlite3_file* file, int* held) {
  return forward(file, &sqlite3_io_methods::xCheckReservedLock, held);
}

int file_control(sqlite3_file* file, int operation, void* argument) {
  return real(file)->pMethods->xFileControl(real(file), operation, argument);
}

int sector_size(sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); }

int device_characteristics(sqlite3_file* file) {
  return real(file)->pMethods->xDeviceCharacteristics(real(file));
}

int shm_map(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  return forward(file, &sqlite3_io_methods::xShmMap, region, size, extend, memory);
}

int shm_lock(sqlite3_file* file, int offset, int count, int flags) {
  return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
}

void shm_barrier(sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); }

int shm_unmap(sqlite3_file* file, int delete_flag) {
  return real(file)->pMethods->xShmUnmap(real(file), delete_flag);
}

int open_file(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  file->pMethods = nullptr;
  const int failure = file_fault.next();
  if (failure != SQLITE_OK) return failure;
  const int code = base->xOpen(base, name, real(file), flags, out_flags);
  if (real(file)->pMethods != nullptr) file->pMethods = &file_methods;
  return code;
}

int delete_file(sqlite3_vfs*, const char* name, int sync_directory) {
  const int failure = file_fault.next();
  return failure != SQLITE_OK ? failure : base->xDelete(base, name, sync_directory);
}

int access_file(sqlite3_vfs*, const char* name, int flags, int* result) {
  const int failure = file_fault.next();
  return failure != SQLITE_OK ? failure : base->xAccess(base, name, flags, result);
}

// Memory.

sqlite3_mem_methods base_memory;

void* allocate(int size) {
  return memory_fault.next() != SQLITE_OK ? nullptr : base_memory.xMalloc(size);
}

void* reallocate(void* block, int size) {
  return memory_fault.next() != SQLITE_OK ? nullptr : base_memory.xRealloc(block, size);
}

}  // namespace

extern "C" {

// Registers the layer over the present default VFS and makes it the default.
int fault_layer_install() {
  base = sqlite3_vfs_find(nullptr);
  layer = *base;
  layer.zName = "fault-layer";
  layer.szOsFile = static_cast<int>(sizeof(File)) + base->szOsFile;
  layer.xOpen = open_file;
  layer.xDelete = delete_file;
  layer.xAccess = access_file;
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

// The nth file operation from now on fails with `code`, and
// the count - 1 behind it (all of them for -1); 0 disarms.
void fault_layer_fail_at(long nth, int code, int count) { file_fault.arm(nth, code, count); }
long fault_layer_calls() { return file_fault.seen(); }

// Makes "read", "write" or "sync" take that long.
void fault_layer_slow(const char* operation, int milliseconds) {
  if (std::strcmp(operation, "read") == 0) delays_ms.read = milliseconds;
  if (std::strcmp(operation, "write") == 0) delays_ms.write = milliseconds;
  if (std::strcmp(operation, "sync") == 0) delays_ms.sync = milliseconds;
}

// Before SQLite is used for the first time: its allocations go through here.
int fault_memory_install() {
  int code = sqlite3_config(SQLITE_CONFIG_GETMALLOC, &base_memory);
  if (code != SQLITE_OK) return code;
  sqlite3_mem_methods methods = base_memory;
  methods.xMalloc = allocate;
  methods.xRealloc = reallocate;
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
}

void fault_memory_fail_at(long nth, int count) { memory_fault.arm(nth, SQLITE_NOMEM, count); }
long fault_memory_calls() { return memory_fault.seen(); }

}  // extern "C"
