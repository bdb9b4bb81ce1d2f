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

// The size and modification time of an open file, to tell whether it changed while read.
struct FileStamp {
    std::uint64_t size = 0;
    long long mtime_s = 0, mtime_ns = 0;
    bool operator==(const FileStamp &o) const {
        return size == o.size && mtime_s == o.mtime_s && mtime_ns == o.mtime_ns;
    }
};

// False for anything but a regular file (and on Windows, where a file is read in one pass: it
// has no positioned read that leaves the descriptor's position alone).
bool file_stamp(int fd, FileStamp &out);

// The descriptor of a file object that reads a file of its own (a buffered reader as open()
// makes it, or with `raw_too` also an unbuffered one), or -1.
int descriptor_of(const nb::object &f, bool raw_too);

// Reads of a descriptor at an offset (its position left alone), and of bytes in memory.
marlox::results::ReadAt descriptor_reads(int fd);
marlox::results::ReadAt memory_reads(const char *data, std::uint64_t size);

// RuntimeError: the file changed while it was read in pieces, so that `what` (its table, its
// sections) would mix two versions of it.
[[noreturn]] void raise_changed(const char *what);

// The threads= argument: None for the processors this process may run on; TypeError or
// ValueError for anything but an int of at least 1.
int threads_argument(nb::handle threads);

}  // namespace marlox::py::results::table_scan
