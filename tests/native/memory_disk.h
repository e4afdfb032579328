// A disk in memory that keeps what was written apart from what a sync has made safe, and can say
// what a power loss at any moment could leave. Knows nothing of SQLite. Not for several threads at
// once: its caller takes a lock.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace memory_disk {

using Bytes = std::vector<unsigned char>;

constexpr int kSharedMemoryLocks = 8;

// Who holds which lock on a file; the VFS keeps it, the disk only stores it.
struct Locks {
  int shared = 0;
  const void* reserved = nullptr;
  const void* pending = nullptr;  // asked for, or has, the file for itself
  std::array<int, kSharedMemoryLocks> memory_shared = {};
  std::array<const void*, kSharedMemoryLocks> memory_exclusive = {};
};

// A file without its name: as on Unix it lives on while somebody has it open.
struct File {
  explicit File(std::int64_t number) : id(number) {}

  const std::int64_t id;
  Bytes bytes;
  Locks locks;
  std::vector<std::unique_ptr<unsigned char[]>> shared_memory;
  int mapped = 0;  // how many have the shared memory mapped
};

using FilePointer = std::shared_ptr<File>;

// One thing that a disk may have done, or not, when the power went.
struct Step {
  enum class Kind { kCreate, kUnlink, kWrite, kTruncate, kSync, kSyncDirectory };

  Kind kind;
  std::int64_t file = 0;
  std::string name;         // of kCreate and kUnlink
  std::int64_t offset = 0;  // of kWrite; the new size of kTruncate
  Bytes bytes;              // of kWrite
};

// All that is safe on a disk.
struct Image {
  std::map<std::int64_t, Bytes> files;
  std::map<std::string, std::int64_t> entries;
};

// What was safe when the recording began, and every step since.
struct Tape {
  Image start;
  std::vector<Step> steps;
};

// What the disk may hold when the power goes after the first `count` steps. `seed` says which
// unsynced writes survive whole, in pieces, as garbage, or not at all. Names that were made or
// removed are safe at once, or, with `entries_may_vanish`, only once the directory was synced.
Image after_power_loss(const Tape& tape, std::size_t count, std::uint64_t seed,
                       bool entries_may_vanish);

class Disk {
 public:
  // Null if there is none of that name.
  FilePointer find(const std::string& name) const;
  FilePointer create(const std::string& name);
  FilePointer create_nameless();
  void unlink(const std::string& name);
  void write(File& file, std::int64_t offset, const void* from, int amount);
  void truncate(File& file, std::int64_t size);
  void sync(const File& file);
  void sync_directory();

  // Takes everything on the disk as safe and notes what happens from now on; null: stops noting.
  void record(Tape* tape);
  // Holds just this from now on. Files that are still open go on without a name.
  void replace(const Image& image);

 private:
  void note(Step step);

  std::map<std::string, FilePointer> files_;
  Tape* tape_ = nullptr;
  std::int64_t last_id_ = 0;
};

}  // namespace memory_disk
