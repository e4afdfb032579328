// Watched plates as matching needs them.
#pragma once

#include <Python.h>

#include <vector>

#include "python/object.h"

namespace watchlist {

// Three values of a row of the watchlist, as stored. One is null where the row has no such column,
// which is an error only when it is asked for.
struct WatchedPlate {
  python::Object plate;
  python::Object label;
  python::Object id;
};

// Of each row, as dict(row) would hold them.
std::vector<WatchedPlate> watched_plates(const python::Object& rows);

}  // namespace watchlist
