// One result file's check table on several threads: the file cut into pieces that parse on
// their own (core/result_split.hpp), each piece's scan on a thread of its own without the
// interpreter lock, the tables joined in document order; the whole file read in one pass
// instead when any piece did not read as a document of its own.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "bindings/idea_rcs_pieces.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "bindings/idea_rcs_table_scan.hpp"
#include "core/result_split.hpp"

namespace marlox::py::results::table_scan {

namespace {

using marlox::results::PieceEnd;
using marlox::results::ReadAt;
using marlox::results::SplitPlan;

// A piece is at least this large: below twice as much a document is read as one. (Tests set it
// lower, to cut small documents.)
std::atomic<std::uint64_t> g_min_piece{2u << 20};

// Feeds piece `k` to its consumer: PieceEnd as feed_piece gives it.
using PieceRun = std::function<PieceEnd(std::size_t k, const std::atomic<bool> &cancel,
                                        std::atomic<std::uint64_t> &done)>;

bool run_each(const SplitPlan &plan, const PieceRun &run, const nb::object &progress,
              std::uint64_t &reported) {
    const std::size_t n = plan.cuts.size();
    std::vector<PieceEnd> ends(n, PieceEnd::Failed);
    std::atomic<bool> cancel{false};
    std::atomic<std::uint64_t> done{0};
    std::mutex mutex;
    std::condition_variable finished_cv;
    std::size_t finished = 0;
    std::vector<std::thread> threads;
    const auto work = [&](std::size_t k) {
        PieceEnd end = PieceEnd::Failed;
        try {
            end = run(k, cancel, done);
        } catch (...) {
            end = PieceEnd::Failed;
        }
        // A piece that failed settles it: the others need not go on.
        if (end != PieceEnd::Done) cancel = true;
        std::lock_guard<std::mutex> lock(mutex);
        ends[k] = end;
        ++finished;
        finished_cv.notify_all();
    };
    const auto join = [&] {
        nb::gil_scoped_release release;
        for (std::thread &t : threads) t.join();
    };
    try {
        nb::gil_scoped_release release;
        for (std::size_t k = 0; k < n; ++k) threads.emplace_back(work, k);
    } catch (...) {
        cancel = true;
        join();
        throw;
    }
    for (;;) {
        bool all = false;
        {
            nb::gil_scoped_release release;
            std::unique_lock<std::mutex> lock(mutex);
            all = finished_cv.wait_for(lock, std::chrono::milliseconds(50),
                                       [&] { return finished == n; });
        }
        if (PyErr_CheckSignals() != 0) {
            cancel = true;
            join();
            throw_python();
        }
        const std::uint64_t now = done.load();
        if (now > reported && !progress.is_none()) {
            try {
                report(progress, (Py_ssize_t)(now - reported));
            } catch (...) {
                cancel = true;
                join();
                throw;
            }
        }
        reported = std::max(reported, now);
        if (all) break;
    }
    join();
    for (std::size_t k = 0; k < n; ++k) {
        if (ends[k] == PieceEnd::Changed) raise_changed("its table");
    }
    for (std::size_t k = 0; k < n; ++k) {
        if (ends[k] != PieceEnd::Done) return false;
    }
    return true;
}

}  // namespace

bool run_pieces(const SplitPlan &plan, const ReadAt &read, const PieceFeed &feed,
                const nb::object &progress, std::uint64_t &reported) {
    return run_each(
        plan,
        [&](std::size_t k, const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done) {
            return marlox::results::feed_piece(
                plan, k, read, (std::size_t)kReadSize,
                [&](const char *data, std::size_t len, bool final) {
                    return feed(k, data, len, final);
                },
                cancel, done);
        },
        progress, reported);
}

bool run_pieces(const SplitPlan &plan, std::string_view document, bool check_leave,
                const PieceFeed &feed, const nb::object &progress, std::uint64_t &reported) {
    return run_each(
        plan,
        [&](std::size_t k, const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done) {
            return marlox::results::feed_piece(
                plan, k, document, (std::size_t)kReadSize,
                [&](const char *data, std::size_t len, bool final) {
                    return feed(k, data, len, final);
                },
                cancel, done, check_leave);
        },
        progress, reported);
}

std::uint64_t min_piece() { return g_min_piece.load(); }

// The descriptor of a file object that reads a file of its own, or -1.
int descriptor_of(const nb::object &f, bool raw_too) {
    // The types, looked up once (they live as long as the interpreter's io module).
    static PyObject *buffered = nullptr, *raw = nullptr;
    if (buffered == nullptr) {
        nb::object io = steal_or_throw(PyImport_ImportModule("io"));
        nb::object b = steal_or_throw(PyObject_GetAttrString(io.ptr(), "BufferedReader"));
        nb::object r = steal_or_throw(PyObject_GetAttrString(io.ptr(), "FileIO"));
        buffered = b.release().ptr();
        raw = r.release().ptr();
    }
    PyObject *type = (PyObject *)Py_TYPE(f.ptr());
    if (type != buffered && !(raw_too && type == raw)) return -1;
    nb::object fd = steal_or_throw(PyObject_CallMethod(f.ptr(), "fileno", nullptr));
    const long v = PyLong_AsLong(fd.ptr());
    if (v == -1 && PyErr_Occurred()) throw_python();
    return (int)v;
}

bool file_stamp(int fd, FileStamp &out) {
#ifdef _WIN32
    (void)fd, (void)out;
    return false;
#else
    struct stat st{};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return false;
    out.size = (std::uint64_t)st.st_size;
    out.mtime_s = (long long)st.st_mtime;
#if defined(__linux__)
    out.mtime_ns = (long long)st.st_mtim.tv_nsec;
#endif
    return true;
#endif
}

void raise_changed(const char *what) {
    std::string message = "the result file changed while it was read in pieces: ";
    message += what;
    message += " would mix two versions of it (read it again once it is written)";
    raise_builtin(PyExc_RuntimeError, message.c_str());
}

ReadAt descriptor_reads(int fd) {
    return [fd](std::uint64_t offset, char *into, std::size_t n) -> long long {
#ifdef _WIN32
        (void)fd, (void)offset, (void)into, (void)n;
        errno = ENOSYS;
        return -1;
#else
        for (;;) {
            const ssize_t r = ::pread(fd, into, n, (off_t)offset);
            if (r < 0 && errno == EINTR) continue;
            return (long long)r;
        }
#endif
    };
}

ReadAt memory_reads(const char *data, std::uint64_t size) {
    return [data, size](std::uint64_t offset, char *into, std::size_t n) -> long long {
        if (offset >= size) return 0;
        const std::size_t m = (std::size_t)std::min<std::uint64_t>(n, size - offset);
        std::memcpy(into, data + offset, m);
        return (long long)m;
    };
}

namespace {

// The pieces of a planned document, each scanned on a thread of its own without the interpreter
// lock. True with the pieces' scans when every piece read as a document of its own; false when
// the document must be read as one (the whole document's read then decides what is raised).
bool scan_pieces(const SplitPlan &plan, const ReadAt &read, const ScanSetup &setup,
                 const nb::object &progress, std::vector<TableScan> &scans,
                 std::uint64_t &reported) {
    scans.clear();
    for (std::size_t k = 0; k < plan.cuts.size(); ++k) scans.push_back(setup.make());
    return run_pieces(
        plan, read,
        [&](std::size_t k, const char *data, std::size_t len, bool final) {
            return scans[k].feed(data, len, final) == Status::Ok;
        },
        progress, reported);
}

// The pieces' tables and findings as one scan's: rows in document order.
void join_pieces(Scan &scan, std::vector<TableScan> &pieces) {
    auto &filter = scan.core.filter();
    std::vector<Table> checks, overall;
    for (TableScan &piece : pieces) {
        const auto &seen = piece.filter().seen;
        for (std::size_t i = 0; i < seen.size(); ++i) {
            if (seen[i]) filter.seen[i] = true;
        }
        checks.push_back(piece.builder().take_checks());
        overall.push_back(piece.builder().take_overall());
    }
    nb::gil_scoped_release release;
    scan.joined = true;
    const unsigned threads = (unsigned)pieces.size();
    scan.checks = marlox::table::concatenate(std::move(checks), threads);
    scan.overall = marlox::table::concatenate(std::move(overall), threads);
    for (TableScan &piece : pieces) {
        const auto &m = piece.builder().mismatch();
        auto &into = scan.mismatch;
        into.missing_sections.insert(into.missing_sections.end(), m.missing_sections.begin(),
                                     m.missing_sections.end());
        into.extra_extremes.insert(into.extra_extremes.end(), m.extra_extremes.begin(),
                                   m.extra_extremes.end());
    }
}

// Read a document of `size` bytes through `read` on several threads when it is large enough;
// else, or when a piece did not read as a document of its own, `one_pass(reported)` reads it
// (the first `reported` bytes reported already). True when the pieces made the table.
bool scan_document(Scan &scan, const ScanSetup &setup, const ReadAt &read, std::uint64_t size,
                   int threads, const nb::object &progress, const std::function<bool()> &unchanged,
                   const std::function<void(std::uint64_t)> &one_pass) {
    SplitPlan plan;
    bool planned = false;
    if (threads > 1 && size >= 2 * g_min_piece.load()) {
        nb::gil_scoped_release release;
        planned = marlox::results::plan_split(read, size, threads, g_min_piece.load(), plan);
    }
    std::uint64_t reported = 0;
    if (planned) {
        std::vector<TableScan> pieces;
        const bool whole = scan_pieces(plan, read, setup, progress, pieces, reported);
        if (!unchanged()) raise_changed("its table");
        if (whole) {
            join_pieces(scan, pieces);
            return true;
        }
    }
    one_pass(reported);
    return false;
}

}  // namespace

void scan_opened(Scan &scan, const ScanSetup &setup, const nb::object &f, int threads,
                 const nb::object &progress) {
    const int fd = descriptor_of(f, false);
    if (fd < 0) return scan_stream(scan, f, progress);
    FileStamp before;
    if (threads < 2 || !file_stamp(fd, before)) {
        return scan_raw(scan, RawSource::descriptor(fd), progress);
    }
    scan_document(
        scan, setup, descriptor_reads(fd), before.size, threads, progress,
        [&] {
            FileStamp after;
            return file_stamp(fd, after) && after == before;
        },
        [&](std::uint64_t reported) {
            scan_raw(scan, RawSource::descriptor(fd), progress, reported);
        });
}

// The caller's stream, read from where it stands: a file's on several threads (and left at its
// end, as a read to the end leaves it), anything else through its read().
void scan_caller_stream(Scan &scan, const ScanSetup &setup, const nb::object &stream, int threads,
                        const nb::object &progress) {
    StreamUse use;
    use.begin(stream);
    const int fd = threads > 1 ? descriptor_of(stream, true) : -1;
    FileStamp before;
    if (fd >= 0 && file_stamp(fd, before)) {
        nb::object at = use.use(
            [&] { return steal_or_throw(PyObject_CallMethod(stream.ptr(), "tell", nullptr)); });
        const unsigned long long start = PyLong_AsUnsignedLongLong(at.ptr());
        if (start == (unsigned long long)-1 && PyErr_Occurred()) throw_python();
        if (start < before.size) {
            const ReadAt whole = descriptor_reads(fd);
            const ReadAt from_start = [whole, start](std::uint64_t offset, char *into,
                                                     std::size_t n) {
                return whole(start + offset, into, n);
            };
            const bool pieces = scan_document(
                scan, setup, from_start, before.size - start, threads, progress,
                [&] {
                    FileStamp after;
                    return file_stamp(fd, after) && after == before;
                },
                [&](std::uint64_t reported) {
                    scan_stream(scan, stream, progress, &use, reported);
                });
            if (pieces) {
                use.use([&] {
                    return steal_or_throw(PyObject_CallMethod(stream.ptr(), "seek", "ii", 0, 2));
                });
            }
            return;
        }
    }
    scan_stream(scan, stream, progress, &use);
}

void scan_memory(Scan &scan, const ScanSetup &setup, const char *data, std::size_t size,
                 int threads, const nb::object &progress) {
    scan_document(
        scan, setup, memory_reads(data, size), size, threads, progress, [] { return true; },
        [&](std::uint64_t reported) {
            scan_raw(scan, RawSource::memory(data, size), progress, reported);
        });
}

}  // namespace marlox::py::results::table_scan

namespace marlox::py::results {

std::uint64_t set_min_piece(std::uint64_t bytes) {
    return table_scan::g_min_piece.exchange(std::max<std::uint64_t>(bytes, 1));
}

}  // namespace marlox::py::results
