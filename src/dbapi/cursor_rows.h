// The rows that a cursor hands out.
#pragma once

#include <cstddef>

#include "dbapi/cursor.h"
#include "python/object.h"

namespace dbapi {

// How many rows the caller is going to take; SIZE_MAX for all.
inline constexpr std::size_t kAllRows = static_cast<std::size_t>(-1);

// The next row as the cursor's row_factory makes it; nothing behind the last one. Up to `wanted`
// rows are copied out of the engine in one call, no more than 64 KB or one row, and one only where
// Python code makes the rows: it must find the statement where it stands.
python::Object next_row(Cursor& cursor, std::size_t wanted);

// A list of up to `most` rows.
python::Object fetch(Cursor& cursor, std::size_t most);

}  // namespace dbapi
