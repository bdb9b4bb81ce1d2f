// check_table() for Python: the scan of a result file into its check table, run by the core
// without the interpreter lock (core/table_scan.hpp), on one thread or, for a large file, on
// several at once (core/result_split.hpp), with the interpreter doing only what the core leaves
// to it.
#include <nanobind/stl/string.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_results_expat.hpp"
#include "bindings/idea_rcs_stream_use.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "core/check_table.hpp"
#include "core/error.hpp"
#include "core/model_context.hpp"
#include "core/result_split.hpp"
#include "core/table_scan.hpp"

namespace marlox::py::results {

using marlox::results::CheckTableBuilder;
using marlox::results::kKnownFamilies;
using marlox::results::NumberError;
using marlox::results::Units;
using marlox::table::Table;

namespace {

constexpr Py_ssize_t kReadSize = 1 << 18;

// ---------------------------------------------------------------------------------------------
// Arguments

Units units_argument(nb::handle units) {
    if (PyUnicode_Check(units.ptr())) {
        std::string u = nb::cast<std::string>(units);
        std::transform(u.begin(), u.end(), u.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        if (u == "si") return Units::SI;
        if (u == "engineering") return Units::Engineering;
    }
    nb::object shown = steal_or_throw(PyObject_Repr(units.ptr()));
    throw marlox::Error(ErrorKind::Value,
                        "units must be 'SI' or 'engineering', not " + nb::cast<std::string>(shown));
}

// A family by its "ResultType" text, in any case, with or without underscores ("crack_width").
std::string family_argument(nb::handle name) {
    std::string wanted;
    if (PyUnicode_Check(name.ptr())) {
        for (char c : nb::cast<std::string>(name)) {
            if (c != '_') wanted.push_back((char)std::tolower((unsigned char)c));
        }
        for (const char *known : kKnownFamilies) {
            std::string k(known);
            std::transform(k.begin(), k.end(), k.begin(),
                           [](unsigned char c) { return std::tolower(c); });
            if (k == wanted) return known;
        }
    }
    std::string list;
    for (const char *known : kKnownFamilies)
        list += (list.empty() ? "" : ", ") + std::string(known);
    nb::object shown = steal_or_throw(PyObject_Repr(name.ptr()));
    throw marlox::Error(ErrorKind::Value, "unknown check family " + nb::cast<std::string>(shown) +
                                              "; known families: " + list);
}

// The items of `arg` (None: none; one str or int: itself).
std::vector<nb::object> items_of(nb::handle arg) {
    std::vector<nb::object> out;
    if (arg.is_none()) return out;
    if (PyUnicode_Check(arg.ptr()) || PyLong_Check(arg.ptr())) {
        out.push_back(nb::borrow(arg));
        return out;
    }
    nb::object it = steal_or_throw(PyObject_GetIter(arg.ptr()));
    while (PyObject *item = PyIter_Next(it.ptr())) out.push_back(nb::steal(item));
    if (PyErr_Occurred()) throw_python();
    return out;
}

// ---------------------------------------------------------------------------------------------
// The scan

// A section id as a Python int, and whether it fits the table's 64-bit "section" column
// (`value`): the streaming parser reads any integer, the table holds what fits.
struct SectionIdValue {
    nb::object id;
    std::int64_t value = 0;
    bool fits = false;
};

SectionIdValue section_id_value(nb::object id) {
    SectionIdValue out;
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(id.ptr(), &overflow);
    if (v == -1 && PyErr_Occurred()) throw_python();
    out.id = std::move(id);
    out.value = v;
    out.fits = overflow == 0;
    return out;
}

// int(section.find("SectionId").text), as the streaming parser reads it.
SectionIdValue section_id(const Dom &d, NodeId section) {
    const NodeId id = d.child(section, marlox::results::kSectionId);
    if (id == kNoNode) raise_none_attribute("text");
    const Slice t = d.text(id);
    nb::object text = t.absent() ? nb::none() : str_from(d.str(t));
    return section_id_value(steal_or_throw(PyNumber_Long(text.ptr())));
}

bool same_int(const nb::object &a, const nb::object &b) {
    const int r = PyObject_RichCompareBool(a.ptr(), b.ptr(), Py_EQ);
    if (r < 0) throw_python();
    return r == 1;
}

std::string shown(const nb::object &o) {
    return nb::cast<std::string>(steal_or_throw(PyObject_Str(o.ptr())));
}

// float(text), for the texts the core leaves to the interpreter. The table builder runs without
// the interpreter lock: this takes it.
bool host_number(std::string_view text, double &out) {
    nb::gil_scoped_acquire acquire;
    nb::object s = nb::steal(PyUnicode_DecodeUTF8(text.data(), (Py_ssize_t)text.size(), "strict"));
    PyObject *f = s.is_valid() ? PyFloat_FromString(s.ptr()) : nullptr;
    if (f == nullptr) {
        PyErr_Clear();
        return false;
    }
    out = PyFloat_AS_DOUBLE(f);
    Py_DECREF(f);
    return true;
}

[[noreturn]] void raise_number_error(const NumberError &e) {
    nb::object text =
        steal_or_throw(PyUnicode_DecodeUTF8(e.text.data(), (Py_ssize_t)e.text.size(), "replace"));
    nb::object shown = steal_or_throw(PyObject_Repr(text.ptr()));
    throw marlox::Error(ErrorKind::Value, "section " + std::to_string(e.section) + ", extreme " +
                                              std::to_string(e.extreme) + ", " + e.family +
                                              " check: " + e.field +
                                              " is not a number: " + nb::cast<std::string>(shown));
}

using marlox::results::TableScan;
using Status = marlox::results::TableScan::Status;

// A check table's scan: the core's scan, which runs without the interpreter lock, and what only
// the interpreter can do when it stops (section ids it does not read, the requested ids beyond
// 64 bits, the errors).
struct Scan {
    explicit Scan(TableScan &&s) : core(std::move(s)) {}

    TableScan core;
    std::vector<SectionIdValue> wanted;  // the requested sections, in the caller's order
    // The tables and findings of pieces read side by side, when they were (`joined`).
    bool joined = false;
    Table checks, overall;
    marlox::results::ModelMismatch mismatch;

    // Go on from where the core stopped; raises what stopped it for good.
    void settle(Status s) {
        for (;;) {
            switch (s) {
                case Status::Ok:
                    return;
                case Status::Host:
                    host_section();
                    s = core.take_sections();
                    continue;
                case Status::Failed:
                    core.scanner().close();
                    raise_error(parse_error_object(core.scanner().failure()));
                case Status::InputXml:
                    throw marlox::Error(
                        ErrorKind::Value,
                        "the document is IDEA StatiCa RCS input XML (<" +
                            std::string(core.input_xml_root()) +
                            ">), not a result file: check_table() reads the results of a run");
                case Status::NumberFailed:
                    raise_number_error(core.number_error());
                case Status::Memory:
                    PyErr_NoMemory();
                    throw_python();
            }
        }
    }

    // The section first in line, whose id the core leaves to the interpreter: read as the
    // streaming parser reads it, kept or not, then let go.
    void host_section() {
        const NodeId node = core.front();
        const SectionIdValue id = section_id(core.scanner().dom(), node);
        bool keep = core.filter().all;
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const SectionIdValue &w = wanted[i];
            if (w.fits && id.fits ? w.value == id.value
                                  : w.fits == id.fits && same_int(w.id, id.id)) {
                keep = true;
                core.filter().seen[i] = true;
            }
        }
        if (keep) {
            if (!id.fits) {
                throw marlox::Error(ErrorKind::Value,
                                    "section " + shown(id.id) +
                                        ": the id does not fit the check table's 64-bit "
                                        "section column");
            }
            bool bad_number = false;
            NumberError error;
            {
                nb::gil_scoped_release release;
                try {
                    core.builder().add_section(core.scanner().dom(), node, id.value);
                } catch (const NumberError &e) {
                    bad_number = true;
                    error = e;
                }
            }
            if (bad_number) raise_number_error(error);
        }
        core.pop_front();
    }

    // Feed one piece that a stream gave (null: the end), as ElementTree's XMLParser.feed takes
    // it: str as UTF-8 text, anything else through the buffer protocol.
    void feed(PyObject *data, bool final) {
        Status s;
        if (data == nullptr) {
            nb::gil_scoped_release release;
            s = core.feed("", 0, final);
        } else if (PyUnicode_Check(data)) {
            Py_ssize_t len = 0;
            const char *ptr = PyUnicode_AsUTF8AndSize(data, &len);
            if (ptr == nullptr) throw_python();
            if (len > INT_MAX) raise_builtin(PyExc_OverflowError, "size does not fit in an int");
            core.scanner().set_encoding_utf8();
            nb::gil_scoped_release release;  // the str is kept alive by the caller
            s = core.feed(ptr, (std::size_t)len, final);
        } else {
            Py_buffer view{};
            if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) != 0) throw_python();
            std::string copy;
            const char *ptr = static_cast<const char *>(view.buf);
            const Py_ssize_t len = view.len;
            if (len > INT_MAX) {
                PyBuffer_Release(&view);
                raise_builtin(PyExc_OverflowError, "size does not fit in an int");
            }
            if (!PyBytes_CheckExact(data)) {
                // A mutable buffer could change while the lock is released: parse a copy.
                try {
                    copy.assign(ptr, (std::size_t)len);
                } catch (...) {
                    PyBuffer_Release(&view);
                    throw;
                }
                ptr = copy.data();
            }
            {
                nb::gil_scoped_release release;
                s = core.feed(ptr, (std::size_t)len, final);
            }
            // The exception of the host's unknown-encoding handler waits while the view goes.
            PyObject *type, *value, *tb;
            PyErr_Fetch(&type, &value, &tb);
            PyBuffer_Release(&view);
            PyErr_Restore(type, value, tb);
        }
        if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
        settle(s);
    }
};

void report(const nb::object &progress, Py_ssize_t bytes) {
    if (progress.is_none() || bytes == 0) return;
    nb::object n = steal_or_throw(PyLong_FromSsize_t(bytes));
    nb::object r = steal_or_throw(PyObject_CallOneArg(progress.ptr(), n.ptr()));
}

// Read `stream` to its end into the scan; a stream of the caller's is `used` by this scan only
// (null: a stream of the scan's own). The first `reported` bytes were reported before (by
// pieces read side by side).
void scan_stream(Scan &scan, const nb::object &stream, const nb::object &progress,
                 StreamUse *used = nullptr, std::uint64_t reported = 0) {
    nb::object size = steal_or_throw(PyLong_FromSsize_t(kReadSize));
    StreamUse own;
    StreamUse &use = used != nullptr ? *used : own;
    std::uint64_t read = 0;
    for (;;) {
        nb::object data = use.use([&] {
            return steal_or_throw(
                PyObject_CallMethodOneArg(stream.ptr(), interned("read"), size.ptr()));
        });
        const Py_ssize_t len = PyObject_Length(data.ptr());
        if (len < 0) throw_python();
        if (len == 0) break;
        scan.feed(data.ptr(), false);
        read += (std::uint64_t)len;
        if (read > reported) {
            report(progress,
                   (Py_ssize_t)std::min<std::uint64_t>((std::uint64_t)len, read - reported));
        }
    }
    scan.feed(nullptr, true);
}

// The pieces of a source that the scan reads without the interpreter lock: a file descriptor
// read to its end from where it stands, or bytes in memory.
class RawSource {
  public:
    static RawSource descriptor(int fd) {
        RawSource r;
        r.fd_ = fd;
        return r;
    }
    static RawSource memory(const char *data, std::size_t size) {
        RawSource r;
        r.data_ = data;
        r.size_ = size;
        return r;
    }
    // The next piece (empty at the end); false with errno set for a read error.
    bool next(const char *&ptr, std::size_t &len) noexcept {
        if (fd_ < 0) {
            ptr = data_ + done_;
            len = std::min<std::size_t>((std::size_t)kReadSize, size_ - done_);
            done_ += len;
            return true;
        }
        if (buffer_.empty()) {
            try {
                buffer_.resize((std::size_t)kReadSize);
            } catch (...) {
                errno = ENOMEM;
                return false;
            }
        }
        // A piece of kReadSize, as a buffered stream's read(kReadSize) gives it.
        std::size_t got = 0;
        while (got < buffer_.size()) {
            const auto n = read_fd(buffer_.data() + got, buffer_.size() - got);
            if (n < 0) {
                if (errno == EINTR) continue;
                return false;
            }
            if (n == 0) break;
            got += (std::size_t)n;
        }
        ptr = buffer_.data();
        len = got;
        return true;
    }

  private:
    long long read_fd(char *into, std::size_t n) noexcept {
#ifdef _WIN32
        return _read(fd_, into, (unsigned)std::min<std::size_t>(n, INT_MAX));
#else
        return ::read(fd_, into, n);
#endif
    }

    int fd_ = -1;
    std::vector<char> buffer_;
    const char *data_ = nullptr;
    std::size_t size_ = 0, done_ = 0;
};

// Read `source` to its end into the scan with the interpreter lock released, taking it only to
// report progress (after each piece, as for a stream), to settle what the core leaves to the
// interpreter, and now and then to let a signal through.
// The first `reported` bytes were reported before (by pieces read side by side).
void scan_raw(Scan &scan, RawSource source, const nb::object &progress,
              std::uint64_t reported = 0) {
    const bool reports = !progress.is_none();
    std::uint64_t read = 0;
    for (;;) {
        Status s = Status::Ok;
        std::size_t len = 0;
        bool read_ok = true;
        int error = 0;
        {
            nb::gil_scoped_release release;
            for (int pieces = 0; pieces < 64; ++pieces) {
                const char *ptr = nullptr;
                if (!source.next(ptr, len)) {
                    read_ok = false;
                    error = errno;
                    break;
                }
                s = scan.core.feed(ptr, len, len == 0);
                if (s != Status::Ok || len == 0 || reports) break;
            }
        }
        if (!read_ok) {
            errno = error;
            PyErr_SetFromErrno(PyExc_OSError);
            throw_python();
        }
        if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
        scan.settle(s);
        if (len == 0) return;
        read += len;
        if (read > reported)
            report(progress, (Py_ssize_t)std::min<std::uint64_t>(len, read - reported));
        if (PyErr_CheckSignals() != 0) throw_python();
    }
}

// The descriptor of a file object that reads a file of its own (a buffered reader as open()
// makes it, or with `raw_too` also an unbuffered one), or -1.
int descriptor_of(const nb::object &f, bool raw_too) {
    nb::object io = steal_or_throw(PyImport_ImportModule("io"));
    nb::object buffered = steal_or_throw(PyObject_GetAttrString(io.ptr(), "BufferedReader"));
    nb::object raw = steal_or_throw(PyObject_GetAttrString(io.ptr(), "FileIO"));
    PyObject *type = (PyObject *)Py_TYPE(f.ptr());
    if (type != buffered.ptr() && !(raw_too && type == raw.ptr())) return -1;
    nb::object fd = steal_or_throw(PyObject_CallMethod(f.ptr(), "fileno", nullptr));
    const long v = PyLong_AsLong(fd.ptr());
    if (v == -1 && PyErr_Occurred()) throw_python();
    return (int)v;
}

// ---------------------------------------------------------------------------------------------
// One document on several threads

using marlox::results::PieceEnd;
using marlox::results::ReadAt;
using marlox::results::SplitPlan;

// A piece is at least this large: below twice as much a document is read as one. (Tests set it
// lower, to cut small documents.)
std::atomic<std::uint64_t> g_min_piece{2u << 20};

// What the check table needs to make a scan of its own for each piece.
struct ScanSetup {
    Units units;
    std::vector<std::string> families;
    const marlox::results::ModelContext *model;
    marlox::results::SectionFilter filter;

    TableScan make() const {
        return TableScan(new_scanner(false),
                         CheckTableBuilder(units, families, &host_number, model), filter);
    }
};

// The size and modification time of an open file, to tell whether it changed while read.
struct FileStamp {
    std::uint64_t size = 0;
    long long mtime_s = 0, mtime_ns = 0;
    bool operator==(const FileStamp &o) const {
        return size == o.size && mtime_s == o.mtime_s && mtime_ns == o.mtime_ns;
    }
};

bool file_stamp(int fd, FileStamp &out) {
    struct stat st{};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return false;
    out.size = (std::uint64_t)st.st_size;
    out.mtime_s = (long long)st.st_mtime;
#if defined(__linux__)
    out.mtime_ns = (long long)st.st_mtim.tv_nsec;
#endif
    return true;
}

[[noreturn]] void raise_changed() {
    raise_builtin(PyExc_RuntimeError,
                  "the result file changed while it was read in pieces: its table would mix "
                  "two versions of it (read it again once it is written)");
}

// The pieces of a planned document, each scanned on a thread of its own without the interpreter
// lock; the calling thread reports progress and lets signals through meanwhile. True with the
// pieces' scans when every piece read as a document of its own; false when the document must
// be read as one (the whole document's read then decides what is raised).
bool scan_pieces(const SplitPlan &plan, const ReadAt &read, const ScanSetup &setup,
                 const nb::object &progress, std::vector<TableScan> &scans,
                 std::uint64_t &reported) {
    const std::size_t n = plan.cuts.size();
    scans.clear();
    for (std::size_t k = 0; k < n; ++k) scans.push_back(setup.make());
    std::vector<PieceEnd> ends(n, PieceEnd::Failed);
    std::vector<Status> statuses(n, Status::Ok);
    std::atomic<bool> cancel{false};
    std::atomic<std::uint64_t> done{0};
    std::mutex mutex;
    std::condition_variable finished_cv;
    std::size_t finished = 0;
    std::vector<std::thread> threads;
    const auto work = [&](std::size_t k) {
        PieceEnd end = PieceEnd::Failed;
        try {
            TableScan &scan = scans[k];
            Status &status = statuses[k];
            end = marlox::results::feed_piece(
                plan, k, read, (std::size_t)kReadSize,
                [&](const char *data, std::size_t len, bool final) {
                    status = scan.feed(data, len, final);
                    return status == Status::Ok;
                },
                cancel, done);
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
        if (ends[k] == PieceEnd::Changed) raise_changed();
    }
    for (std::size_t k = 0; k < n; ++k) {
        if (ends[k] != PieceEnd::Done || statuses[k] != Status::Ok) return false;
    }
    return true;
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
        if (!unchanged()) raise_changed();
        if (whole) {
            join_pieces(scan, pieces);
            return true;
        }
    }
    one_pass(reported);
    return false;
}

// Reads of a descriptor at an offset, and of bytes in memory.
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

// The threads to read one document on: None for the processors this process may run on.
int threads_argument(nb::handle threads) {
    if (threads.is_none()) {
        nb::object os = steal_or_throw(PyImport_ImportModule("os"));
        if (PyObject_HasAttrString(os.ptr(), "sched_getaffinity")) {
            nb::object cpus =
                steal_or_throw(PyObject_CallMethod(os.ptr(), "sched_getaffinity", "i", 0));
            const Py_ssize_t n = PyObject_Length(cpus.ptr());
            if (n < 0) throw_python();
            return (int)std::max<Py_ssize_t>(1, std::min<Py_ssize_t>(n, 256));
        }
        nb::object n = steal_or_throw(PyObject_CallMethod(os.ptr(), "cpu_count", nullptr));
        return n.is_none() ? 1 : (int)std::clamp<long>(PyLong_AsLong(n.ptr()), 1, 256);
    }
    if (PyBool_Check(threads.ptr()) || !PyLong_Check(threads.ptr())) {
        raise_formatted(PyExc_TypeError, "threads must be an int, not %s",
                        Py_TYPE(threads.ptr())->tp_name);
    }
    const long n = PyLong_AsLong(threads.ptr());
    if (n == -1 && PyErr_Occurred()) throw_python();
    if (n < 1) {
        nb::object shown = steal_or_throw(PyObject_Repr(threads.ptr()));
        const std::string message =
            "threads must be at least 1, not " + nb::cast<std::string>(shown);
        raise_builtin(PyExc_ValueError, message.c_str());
    }
    return (int)std::min<long>(n, 256);
}

marlox::results::ModelContext model_context(nb::handle model) {
    return marlox::results::model_context(model_document(model));
}

std::string id_list(std::vector<std::int64_t> ids, std::size_t most = 10) {
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    std::string out;
    for (std::size_t i = 0; i < ids.size() && i < most; ++i) {
        out += (i == 0 ? "" : ", ") + std::to_string(ids[i]);
    }
    if (ids.size() > most) out += " and " + std::to_string(ids.size() - most) + " more";
    return out;
}

// A result file that was not run from the model: one message naming the ids.
void check_mismatch(const marlox::results::ModelMismatch &m,
                    const marlox::results::ModelContext &model) {
    if (!m.missing_sections.empty()) {
        const bool one = m.missing_sections.size() == 1;
        throw marlox::Error(ErrorKind::Value,
                            std::string("the result file does not belong to the model: the "
                                        "model has no check section") +
                                (one ? " with id " : "s with ids ") + id_list(m.missing_sections) +
                                " (its check sections: " +
                                (model.order.empty() ? "none" : id_list(model.order)) + ")");
    }
    if (!m.extra_extremes.empty()) {
        throw marlox::Error(ErrorKind::Value,
                            "the result file does not belong to the model: check section " +
                                id_list(m.extra_extremes) +
                                " has more extremes in the result file than in the model");
    }
}

}  // namespace

std::uint64_t set_min_piece(std::uint64_t bytes) {
    return g_min_piece.exchange(std::max<std::uint64_t>(bytes, 1));
}

nb::object check_table(nb::handle source, nb::handle model_arg, nb::handle sections,
                       nb::handle families, nb::handle units, nb::handle progress_arg,
                       nb::handle threads_arg) {
    const Units u = units_argument(units);
    const int threads = threads_argument(threads_arg);
    std::unique_ptr<marlox::results::ModelContext> model;
    if (!model_arg.is_none()) {
        model = std::make_unique<marlox::results::ModelContext>(model_context(model_arg));
    }
    ScanSetup setup{u, {}, model.get(), {}};
    for (const nb::object &f : items_of(families)) setup.families.push_back(family_argument(f));
    if (!families.is_none() && setup.families.empty()) {
        throw marlox::Error(ErrorKind::Value, "families is empty: give None for all families");
    }
    std::vector<SectionIdValue> wanted;
    if (!sections.is_none()) {
        setup.filter.all = false;
        for (const nb::object &s : items_of(sections)) {
            wanted.push_back(section_id_value(steal_or_throw(PyNumber_Index(s.ptr()))));
            setup.filter.ids.push_back(wanted.back().value);
            setup.filter.fits.push_back(wanted.back().fits);
        }
        setup.filter.seen.assign(wanted.size(), false);
    }
    Scan scan{setup.make()};
    scan.wanted = std::move(wanted);
    nb::object progress = nb::borrow(progress_arg);

    PyObject *src = source.ptr();
    if (PyObject_HasAttrString(src, "read")) {
        scan_caller_stream(scan, setup, nb::borrow(source), threads, progress);
    } else if (PyObject_HasAttrString(src, "open_binary")) {
        Closer closer{steal_or_throw(PyObject_CallMethod(src, "open_binary", nullptr))};
        scan_opened(scan, setup, closer.f, threads, progress);
    } else if (PyObject_CheckBuffer(src) && !PyUnicode_Check(src)) {
        // Bytes do not change: parsed in place, in pieces like a file; other buffers copied.
        nb::object data =
            PyBytes_CheckExact(src) ? nb::borrow(source) : steal_or_throw(PyBytes_FromObject(src));
        scan_memory(scan, setup, PyBytes_AS_STRING(data.ptr()),
                    (std::size_t)PyBytes_GET_SIZE(data.ptr()), threads, progress);
    } else {
        nb::object path = nb::steal(PyOS_FSPath(src));
        if (!path.is_valid()) {
            PyErr_Clear();
            raise_formatted(PyExc_TypeError,
                            "check_table() takes a path, bytes or a binary stream, not %s",
                            Py_TYPE(src)->tp_name);
        }
        nb::object io = steal_or_throw(PyImport_ImportModule("io"));
        Closer closer{
            steal_or_throw(PyObject_CallMethod(io.ptr(), "open", "Os", path.ptr(), "rb"))};
        scan_opened(scan, setup, closer.f, threads, progress);
    }

    std::string missing;
    std::size_t missing_count = 0;
    for (std::size_t i = 0; i < scan.wanted.size(); ++i) {
        if (scan.core.filter().seen[i]) continue;
        missing += (missing.empty() ? "'" : ", '") + shown(scan.wanted[i].id) + "'";
        ++missing_count;
    }
    if (missing_count == 1) {
        throw marlox::Error(ErrorKind::SdkParsing,
                            "section with id " + missing + " is not available in the result file.");
    }
    if (missing_count > 1) {
        throw marlox::Error(ErrorKind::SdkParsing, "sections with ids " + missing +
                                                       " are not available in the result file.");
    }
    if (!scan.joined) {
        scan.checks = scan.core.builder().take_checks();
        scan.overall = scan.core.builder().take_overall();
        scan.mismatch = scan.core.builder().mismatch();
    }
    if (model) check_mismatch(scan.mismatch, *model);
    CheckTable t;
    t.table = std::make_shared<const Table>(std::move(scan.checks));
    t.overall = std::make_shared<const Table>(std::move(scan.overall));
    t.unit_system = u == Units::SI ? "SI" : "engineering";
    return nb::cast(std::move(t));
}

}  // namespace marlox::py::results
