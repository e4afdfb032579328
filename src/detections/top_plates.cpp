#include "detections/top_plates.h"

#include <algorithm>
#include <vector>

#include "python/builtins.h"
#include "python/calls.h"
#include "python/gil_slice.h"
#include "python/values.h"
#include "store/json_by_name.h"
#include "store/scope.h"

namespace detections {

namespace {

using python::Object;

constinit python::Name kSelectLatestPlates{
    "SELECT plates FROM detections WHERE num_plates > 0 ORDER BY timestamp DESC LIMIT 500"};

constinit python::Name kPlates{"plates"};
constinit python::Name kPlate{"plate"};
constinit python::Name kCount{"count"};

// How often each plate was counted, in the order in which
// they came first. Plates are one if Python finds them equal.
class Tally {
 public:
  Tally() : positions_(python::dict()) {}

  // TypeError for what cannot be a key.
  void add(const Object& plate) {
    if (const Object known = python::item_if_any(positions_.get(), plate.get())) {
      ++entries_[PyLong_AsSize_t(known.get())].count;
      return;
    }
    const Object position = python::integer(static_cast<long long>(entries_.size()));
    python::set_item(positions_, plate.get(), position);
    entries_.push_back({plate, 1, entries_.size()});
  }

  struct Entry {
    Object plate;
    long long count;
    std::size_t position;
  };

  // The most frequent first; equal ones as they came.
  std::vector<Entry> ranking() const {
    std::vector<Entry> ranked = entries_;
    std::sort(ranked.begin(), ranked.end(), [](const Entry& one, const Entry& other) {
      return one.count != other.count ? one.count > other.count : one.position < other.position;
    });
    return ranked;
  }

 private:
  Object positions_;  // of each plate in entries_
  std::vector<Entry> entries_;
};

// Counts the plates of one row. What was counted before an error stays.
void count_plates(PyObject* row, Tally& tally) {
  const Object stored = python::item(row, kPlates.get());
  const Object plates = store::JsonLoads()(stored.get());
  const Object each = python::iterator(plates.get());
  python::GilSlice::Items pace;
  while (const Object plate = python::next(each.get())) {
    tally.add(plate);
    pace.step();
  }
}

Tally count_all(const Object& rows) {
  Tally tally;
  python::GilSlice::LongSteps pace;
  const Object each = python::iterator(rows.get());
  while (const Object row = python::next(each.get())) {
    try {
      count_plates(row.get(), tally);
    } catch (const python::PythonError&) {
      // The rest of a row that is no JSON, no list or holds no plates is passed over.
      if (!store::is_json_decode_error() && !python::pending_is(python::builtins().type_error))
        throw;
      python::clear_error();
    }
    pace.step();
  }
  return tally;
}

// How many entries ranking[:limit] has.
std::size_t sliced_size(std::size_t size, PyObject* limit) {
  const Object slice = Object::take(PySlice_New(Py_None, limit, Py_None));
  Py_ssize_t start = 0;
  Py_ssize_t stop = 0;
  Py_ssize_t step = 0;
  python::check(
      python::in_interpreter([&] { return PySlice_Unpack(slice.get(), &start, &stop, &step); }));
  return static_cast<std::size_t>(
      PySlice_AdjustIndices(static_cast<Py_ssize_t>(size), &start, &stop, step));
}

}  // namespace

python::Object get_top_plates(PyObject* self, PyObject* limit) {
  store::Scope scope(self);
  const Object rows = scope.run([](const store::ScopeConnection& connection) {
    return store::fetchall(connection.execute(kSelectLatestPlates));
  });
  const std::vector<Tally::Entry> ranking = count_all(rows).ranking();
  const std::size_t size = sliced_size(ranking.size(), limit);
  Object top = python::list();
  for (std::size_t i = 0; i < size; ++i) {
    const Object entry = python::dict();
    python::set_item(entry, kPlate, ranking[i].plate);
    python::set_item(entry, kCount, python::integer(ranking[i].count));
    python::append(top, entry);
  }
  return top;
}

}  // namespace detections
