#include "memory_disk.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

namespace memory_disk {

namespace {

// The unit in which a disk writes: a torn write leaves each piece old, new or as garbage.
constexpr std::int64_t kPiece = 512;

void grow(Bytes& bytes, std::int64_t size) {
  if (std::cmp_less(bytes.size(), size)) bytes.resize(static_cast<std::size_t>(size));
}

void write_bytes(Bytes& bytes, std::int64_t offset, const unsigned char* from, std::int64_t size) {
  if (size == 0) return;
  grow(bytes, offset + size);
  std::memcpy(bytes.data() + offset, from, static_cast<std::size_t>(size));
}

void apply(Bytes& bytes, const Step& step) {
  if (step.kind == Step::Kind::kTruncate) {
    bytes.resize(static_cast<std::size_t>(step.offset));
  } else {
    write_bytes(bytes, step.offset, step.bytes.data(), std::ssize(step.bytes));
  }
}

void apply(std::map<std::string, std::int64_t>& entries, const Step& step) {
  if (step.kind == Step::Kind::kUnlink) {
    entries.erase(step.name);
  } else {
    entries[step.name] = step.file;
  }
}

// What becomes of the steps that no sync has made safe.
class Loss {
 public:
  explicit Loss(std::uint64_t seed) : random_(seed), way_(static_cast<Way>(below(4))) {}

  void lose(Image& image, const std::vector<const Step*>& writes) {
    const std::size_t kept = below(writes.size() + 1);
    for (std::size_t i = 0; i < writes.size(); ++i) {
      Bytes& bytes = image.files[writes[i]->file];
      switch (fate(i, kept)) {
        case Fate::kWhole:
          apply(bytes, *writes[i]);
          break;
        case Fate::kTorn:
          tear(bytes, *writes[i]);
          break;
        case Fate::kLost:
          break;
      }
    }
  }

  // A directory is not torn: each name is as it was at some moment since the last sync, either all
  // of the same moment or each of its own.
  void lose_entries(Image& image, const std::vector<const Step*>& changes) {
    const bool in_order = below(2) == 0;
    const std::size_t moment = below(changes.size() + 1);
    std::map<std::string, std::size_t> moments;
    for (std::size_t i = 0; i < changes.size(); ++i) {
      const auto found = moments.try_emplace(changes[i]->name, 0).first;
      if (found->second == 0) found->second = 1 + (in_order ? moment : below(changes.size() + 1));
      if (i + 1 < found->second) apply(image.entries, *changes[i]);
    }
  }

 private:
  enum class Way { kAllLost, kAllKept, kInOrder, kEachByItself };
  enum class Fate { kWhole, kTorn, kLost };

  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }

  Fate fate(std::size_t i, std::size_t kept) {
    switch (way_) {
      case Way::kAllLost:
        return Fate::kLost;
      case Way::kAllKept:
        return Fate::kWhole;
      case Way::kInOrder:
        if (i == kept) return Fate::kTorn;
        return i < kept ? Fate::kWhole : Fate::kLost;
      case Way::kEachByItself:
        break;
    }
    return static_cast<Fate>(below(3));
  }

  // Only the bytes of the write itself may change: that much SQLite takes for granted, too
  // (SQLITE_IOCAP_POWERSAFE_OVERWRITE).
  void tear(Bytes& bytes, const Step& step) {
    if (step.kind == Step::Kind::kTruncate) {
      if (below(2) == 0) apply(bytes, step);
      return;
    }
    const std::int64_t end = step.offset + std::ssize(step.bytes);
    for (std::int64_t from = step.offset; from < end;) {
      const std::int64_t to = std::min(end, (from / kPiece + 1) * kPiece);
      const std::size_t choice = below(3);
      if (choice == 0) {
        write_bytes(bytes, from, step.bytes.data() + (from - step.offset), to - from);
      } else if (choice == 1) {
        grow(bytes, to);
        for (std::int64_t i = from; i < to; ++i) {
          bytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>(random_());
        }
      }
      from = to;
    }
  }

  std::mt19937_64 random_;
  Way way_;
};

}  // namespace

Image after_power_loss(const Tape& tape, std::size_t count, std::uint64_t seed,
                       bool entries_may_vanish) {
  Image image = tape.start;
  std::vector<const Step*> writes;
  std::vector<const Step*> entries;
  for (std::size_t i = 0; i < std::min(count, tape.steps.size()); ++i) {
    const Step& step = tape.steps[i];
    switch (step.kind) {
      case Step::Kind::kCreate:
      case Step::Kind::kUnlink:
        entries.push_back(&step);
        break;
      case Step::Kind::kWrite:
      case Step::Kind::kTruncate:
        writes.push_back(&step);
        break;
      case Step::Kind::kSync:
        std::erase_if(writes, [&](const Step* write) {
          if (write->file != step.file) return false;
          apply(image.files[write->file], *write);
          return true;
        });
        break;
      case Step::Kind::kSyncDirectory:
        for (const Step* entry : entries) apply(image.entries, *entry);
        entries.clear();
        break;
    }
  }
  Loss loss(seed);
  loss.lose(image, writes);
  if (entries_may_vanish) {
    loss.lose_entries(image, entries);
  } else {
    for (const Step* entry : entries) apply(image.entries, *entry);
  }
  return image;
}

FilePointer Disk::find(const std::string& name) const {
  const auto found = files_.find(name);
  return found == files_.end() ? nullptr : found->second;
}

FilePointer Disk::create(const std::string& name) {
  FilePointer file = create_nameless();
  files_[name] = file;
  note({.kind = Step::Kind::kCreate, .file = file->id, .name = name, .bytes = {}});
  return file;
}

FilePointer Disk::create_nameless() { return std::make_shared<File>(++last_id_); }

void Disk::unlink(const std::string& name) {
  files_.erase(name);
  note({.kind = Step::Kind::kUnlink, .name = name, .bytes = {}});
}

void Disk::write(File& file, std::int64_t offset, const void* from, int amount) {
  const auto* const bytes = static_cast<const unsigned char*>(from);
  write_bytes(file.bytes, offset, bytes, amount);
  if (tape_ == nullptr) return;
  note({.kind = Step::Kind::kWrite,
        .file = file.id,
        .name = {},
        .offset = offset,
        .bytes = Bytes(bytes, bytes + amount)});
}

void Disk::truncate(File& file, std::int64_t size) {
  file.bytes.resize(static_cast<std::size_t>(size));
  note({.kind = Step::Kind::kTruncate, .file = file.id, .name = {}, .offset = size, .bytes = {}});
}

void Disk::sync(const File& file) {
  note({.kind = Step::Kind::kSync, .file = file.id, .name = {}, .bytes = {}});
}

void Disk::sync_directory() { note({.kind = Step::Kind::kSyncDirectory, .name = {}, .bytes = {}}); }

void Disk::record(Tape* tape) {
  tape_ = tape;
  if (tape == nullptr) return;
  *tape = {};
  for (const auto& [name, file] : files_) {
    tape->start.entries[name] = file->id;
    tape->start.files[file->id] = file->bytes;
  }
}

void Disk::replace(const Image& image) {
  tape_ = nullptr;
  files_.clear();
  for (const auto& [name, id] : image.entries) {
    const FilePointer file = create_nameless();
    const auto found = image.files.find(id);
    if (found != image.files.end()) file->bytes = found->second;
    files_[name] = file;
  }
}

void Disk::note(Step step) {
  if (tape_ != nullptr) tape_->steps.push_back(std::move(step));
}

}  // namespace memory_disk
