// One result file read in pieces side by side (core/result_split.hpp), for check_table() and
// OutputFileParser: the pieces run on threads of their own without the interpreter lock while
// the calling thread reports progress and lets signals through.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "bindings/helpers.hpp"
#include "core/result_split.hpp"

namespace marlox::py::results::table_scan {

// Feeds piece `k`'s bytes (final: its end) to its consumer; false to stop.
using PieceFeed = std::function<bool(std::size_t k, const char *data, std::size_t len, bool final)>;

// Runs every piece of `plan`, `reported` bytes reported to `progress` as they go. True when
// every piece was fed whole; false when one stopped or failed (the document is then read as one
// by the caller); raises RuntimeError when the file changed under the pieces.
bool run_pieces(const marlox::results::SplitPlan &plan, const marlox::results::ReadAt &read,
                const PieceFeed &feed, const nb::object &progress, std::uint64_t &reported);

// The same for a document held in memory, fed where it lies; `check_leave`: see feed_piece.
bool run_pieces(const marlox::results::SplitPlan &plan, std::string_view document, bool check_leave,
                const PieceFeed &feed, const nb::object &progress, std::uint64_t &reported);

// The smallest piece (two of them make the smallest document that is cut).
std::uint64_t min_piece();

// The threads= argument: None for the processors this process may run on; TypeError or
// ValueError for anything but an int of at least 1.
int threads_argument(nb::handle threads);

}  // namespace marlox::py::results::table_scan
