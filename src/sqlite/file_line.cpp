#include "sqlite/file_line.h"

#include <atomic>
#include <mutex>
#include <new>
#include <pthread.h>

namespace sqlite {

// All lines of the process. Few files are written at a time, so they are a list.
struct Lines {
  std::mutex mutex;
  FileLine* first = nullptr;
  // Counted up by each child of a fork, so that a place of the parent's is known as such.
  unsigned fork = 0;
  // Read without the mutex by those who have nobody to call or to wait for.
  std::atomic<int> writers{0};
  std::atomic<int> committers{0};
  std::atomic<int> places{0};

  FileLine* find(const FileId& file) noexcept {
    FileLine* line = first;
    while (line != nullptr && line->file_ != file) line = line->next_;
    return line;
  }

  FileLine* find_or_make(const FileId& file) noexcept {
    FileLine* line = find(file);
    if (line != nullptr) return line;
    line = new (std::nothrow) FileLine(file);
    if (line == nullptr) return nullptr;
    line->next_ = first;
    first = line;
    return line;
  }

  void drop_if_empty(FileLine* line) noexcept {
    if (!line->empty()) return;
    FileLine** link = &first;
    while (*link != line) link = &(*link)->next_;
    *link = line->next_;
    delete line;
  }

  std::atomic<int>* count_of(FileLine::Role role) noexcept {
    if (role == FileLine::Role::kWriter) return &writers;
    if (role == FileLine::Role::kCommitter) return &committers;
    return nullptr;
  }

  void count(FileLine::Role role, int change) noexcept {
    places += change;
    if (std::atomic<int>* const counter = count_of(role)) *counter += change;
  }
};

namespace {

// In memory that no destructor touches at exit: other threads may still be waiting.
alignas(Lines) constinit unsigned char memory[sizeof(Lines)] = {};
constinit Lines* all = nullptr;
constinit std::atomic<bool> made{false};
constinit std::atomic_flag making;

// The parent's waiters do not exist in the child, and one of its threads may have held the mutex.
void start_anew_in_child() noexcept {
  const unsigned fork = all->fork + 1;
  all = new (memory) Lines();
  all->fork = fork;
}

Lines& lines_of_process() noexcept {
  if (!made.load(std::memory_order_acquire)) {
    while (making.test_and_set(std::memory_order_acquire)) {
    }
    if (!made.load(std::memory_order_relaxed)) {
      all = new (memory) Lines();
      pthread_atfork(nullptr, nullptr, start_anew_in_child);
      made.store(true, std::memory_order_release);
    }
    making.clear(std::memory_order_release);
  }
  return *all;
}

// An address that no other living thread has.
const void* this_thread() noexcept {
  static thread_local const char mark = 0;
  return &mark;
}

}  // namespace

bool FileLine::empty() const noexcept {
  return holder_ == nullptr && queues_[0] == nullptr && queues_[1] == nullptr &&
         queues_[2] == nullptr;
}

void FileLine::call_all(Role role) noexcept {
  for (Place* place = queue(role); place != nullptr; place = place->next_) place->bell_.ring();
}

void FileLine::call_first_writer() noexcept {
  if (Place* const place = queue(Role::kWriter)) place->bell_.ring();
}

bool FileLine::Place::stands() const noexcept {
  return line_ != nullptr && fork_ == lines_of_process().fork;
}

void FileLine::Place::stand(const FileId& file, Role role) noexcept {
  if (stands() && role_ == role && line_->file_ == file) return;
  leave();
  Lines& lines = lines_of_process();
  const std::lock_guard<std::mutex> guard(lines.mutex);
  FileLine* const line = lines.find_or_make(file);
  if (line == nullptr) return;
  thread_ = this_thread();
  Place** link = &line->queue(role);
  while (*link != nullptr && (*link)->thread_ != thread_) link = &(*link)->next_;
  next_ = *link;
  *link = this;
  line_ = line;
  role_ = role;
  fork_ = lines.fork;
  lines.count(role, 1);
}

void FileLine::Place::leave() noexcept {
  if (line_ == nullptr) return;
  Lines& lines = lines_of_process();
  FileLine* const line = line_;
  line_ = nullptr;
  if (fork_ != lines.fork) return;
  const std::lock_guard<std::mutex> guard(lines.mutex);
  Place** link = &line->queue(role_);
  const bool was_first = *link == this;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
  lines.count(role_, -1);
  if (was_first && role_ == Role::kWriter && line->holder_ == nullptr) line->call_first_writer();
  lines.drop_if_empty(line);
}

bool FileLine::Place::is_first() const noexcept {
  if (!stands()) return true;
  const std::lock_guard<std::mutex> guard(lines_of_process().mutex);
  return line_->queue(role_) == this;
}

bool FileLine::Place::will_be_called() const noexcept {
  if (!stands()) return false;
  const std::lock_guard<std::mutex> guard(lines_of_process().mutex);
  if (role_ == Role::kCommitter) return false;
  return line_->holder_ != nullptr || (role_ == Role::kWriter && line_->queue(role_) != this);
}

bool FileLine::may_write(const FileId& file, const Place* place) noexcept {
  Lines& lines = lines_of_process();
  const std::lock_guard<std::mutex> guard(lines.mutex);
  FileLine* const line = lines.find(file);
  if (line == nullptr) return true;
  const Place* const first = line->queue(Role::kWriter);
  return first == nullptr || first == place || first->thread_ == this_thread();
}

void FileLine::write_locked(const FileId& file, const void* holder) noexcept {
  Lines& lines = lines_of_process();
  const std::lock_guard<std::mutex> guard(lines.mutex);
  if (FileLine* const line = lines.find_or_make(file)) line->holder_ = holder;
}

void FileLine::write_unlocked(const FileId& file, const void* holder) noexcept {
  Lines& lines = lines_of_process();
  const std::lock_guard<std::mutex> guard(lines.mutex);
  FileLine* const line = lines.find(file);
  if (line == nullptr || line->holder_ != holder) return;
  line->holder_ = nullptr;
  line->call_first_writer();
  line->call_all(Role::kReader);
  lines.drop_if_empty(line);
}

void FileLine::reader_left(const FileId& file) noexcept {
  Lines& lines = lines_of_process();
  const std::lock_guard<std::mutex> guard(lines.mutex);
  if (FileLine* const line = lines.find(file)) line->call_all(Role::kCommitter);
}

bool FileLine::anybody_writes_next() noexcept { return lines_of_process().writers > 0; }

bool FileLine::anybody_commits_next() noexcept { return lines_of_process().committers > 0; }

int FileLine::lines() noexcept {
  Lines& lines = lines_of_process();
  const std::lock_guard<std::mutex> guard(lines.mutex);
  int count = 0;
  for (const FileLine* line = lines.first; line != nullptr; line = line->next_) ++count;
  return count;
}

int FileLine::waiters() noexcept { return lines_of_process().places; }

}  // namespace sqlite
