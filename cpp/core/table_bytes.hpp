// A table as bytes and back, so that tables cross process boundaries (pickling, a Dask worker's
// result): a small self-describing format of its own, since the Arrow IPC format would need a
// library that the core does not carry.
#pragma once

#include <string>
#include <string_view>

#include "core/table.hpp"

namespace marlox::table {

// The columns (name, type, unit, nullability) and every value, missing ones marked.
std::string to_bytes(const Table &t);

// The table that to_bytes() wrote. Throws marlox::Error (Value) for bytes it did not write.
Table from_bytes(std::string_view bytes);

}  // namespace marlox::table
