#include "sqlite/fork_guard.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <new>
#include <pthread.h>
#include <sys/stat.h>
#include <thread>

namespace sqlite {

namespace {

using Clock = std::chrono::steady_clock;

// As long as a call waits for another connection's lock.
constexpr auto kLongestWait = std::chrono::seconds(5);
// Engine calls are some microseconds to milliseconds long, and a fork costs more than this.
constexpr auto kBetweenLooks = std::chrono::microseconds(100);

constexpr char kLockedAtFork[] =
    "unable to open database file: this process was forked while a transaction was open on it, "
    "whose "
    "locks a child does not have; fork while the store is idle, or use spawn or forkserver";
constexpr char kBusyAtFork[] =
    "unable to open database file: this process was forked while another thread was at work in the "
    "database engine; fork while the store is idle, or use spawn or forkserver";

// Only atomic numbers, which a child can use as it finds them, and looked at again and again: what
// a condition variable's waiters leave in it is nobody's business in a child.
constinit std::atomic<int> inside{0};  // threads in the engine
constinit std::atomic<int> forks{0};   // about to happen
constinit std::atomic<bool> forked_amid_call{false};
constinit std::atomic<unsigned> generation{0};

constinit thread_local int depth = 0;  // of this thread's calls

// Both sides announce themselves before they look at the
// other: at least one of them sees the other and waits.
void enter() noexcept {
  while (true) {
    inside.fetch_add(1);
    if (forks.load() == 0) return;
    inside.fetch_sub(1);
    while (forks.load() != 0) std::this_thread::sleep_for(kBetweenLooks);
  }
}

void leave() noexcept { inside.fetch_sub(1); }

// A thread that forks in the middle of a call of its own does not wait for itself.
int other_threads_inside() noexcept { return inside.load() - (depth > 0 ? 1 : 0); }

void before_fork() noexcept {
  forks.fetch_add(1);
  const Clock::time_point end = Clock::now() + kLongestWait;
  while (other_threads_inside() > 0 && Clock::now() < end) {
    std::this_thread::sleep_for(kBetweenLooks);
  }
}

void after_fork_in_parent() noexcept { forks.fetch_sub(1); }

// No destructor runs at exit: other threads may still be at work.
constinit std::mutex files_mutex;
constinit OpenFile* files = nullptr;

}  // namespace

class OpenFiles {
 public:
  static void add(OpenFile& file) noexcept {
    const std::lock_guard<std::mutex> guard(files_mutex);
    file.next_ = files;
    if (files != nullptr) files->previous_ = &file;
    files = &file;
  }

  static void remove(OpenFile& file) noexcept {
    const std::lock_guard<std::mutex> guard(files_mutex);
    (file.previous_ == nullptr ? files : file.previous_->next_) = file.next_;
    if (file.next_ != nullptr) file.next_->previous_ = file.previous_;
  }

  // In a child, which is the only thread.
  static void note_lost_locks() noexcept {
    for (OpenFile* file = files; file != nullptr; file = file->next_) {
      if (!file->lost_ && is_locked(*file)) identify(*file);
    }
  }

  static bool has_lost_lock_of(const char* path) noexcept {
    struct stat found = {};
    bool known = false;
    const std::lock_guard<std::mutex> guard(files_mutex);
    for (const OpenFile* file = files; file != nullptr; file = file->next_) {
      if (!file->lost_) continue;
      if (!known && stat(path, &found) != 0) return false;
      known = true;
      if (file->device_ == found.st_dev && file->inode_ == found.st_ino) return true;
    }
    return false;
  }

 private:
  static bool is_locked(const OpenFile& file) noexcept {
    int level = SQLITE_LOCK_NONE;
    const int code = file.file_->pMethods->xFileControl(file.file_, SQLITE_FCNTL_LOCKSTATE, &level);
    return code != SQLITE_OK || level != SQLITE_LOCK_NONE;
  }

  // One that has no name any more cannot be opened again.
  static void identify(OpenFile& file) noexcept {
    struct stat found = {};
    if (stat(file.name_, &found) != 0) return;
    file.lost_ = true;
    file.device_ = found.st_dev;
    file.inode_ = found.st_ino;
  }
};

namespace {

void after_fork_in_child() noexcept {
  if (other_threads_inside() > 0) forked_amid_call = true;
  inside = depth > 0 ? 1 : 0;
  forks = 0;
  ++generation;
  if (!forked_amid_call) OpenFiles::note_lost_locks();
}

}  // namespace

InsideEngine::InsideEngine() noexcept {
  if (depth++ == 0) enter();
}

void InsideEngine::leave() noexcept {
  if (!inside_) return;
  inside_ = false;
  if (--depth == 0) sqlite::leave();
}

AsleepInEngine::AsleepInEngine() noexcept {
  if (depth > 0) leave();
}

AsleepInEngine::~AsleepInEngine() {
  if (depth > 0) enter();
}

void OpenFile::opened(const char* name, sqlite3_file* file) noexcept {
  name_ = name;
  file_ = file;
  OpenFiles::add(*this);
}

void OpenFile::closed() noexcept {
  if (name_ != nullptr) OpenFiles::remove(*this);
  name_ = nullptr;
}

void watch_forks() {
  static const int failure = pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
  if (failure != 0) throw std::bad_alloc();
}

const char* refusal_after_fork(const char* path) noexcept {
  if (forked_amid_call) return kBusyAtFork;
  return OpenFiles::has_lost_lock_of(path) ? kLockedAtFork : nullptr;
}

unsigned forks_before_this_process() noexcept { return generation.load(std::memory_order_relaxed); }

}  // namespace sqlite
