// The scan behind check_table(): the core's scan of a result file (core/table_scan.hpp), run
// without the interpreter lock, and what the interpreter does when it stops; the reads of a
// stream, a descriptor or bytes into it. idea_rcs_table_pieces.cpp reads one file on several
// threads with it, idea_rcs_check_table.cpp is check_table() itself.
#pragma once

#include <cerrno>
#include <climits>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_results_expat.hpp"
#include "bindings/idea_rcs_stream_use.hpp"
#include "core/check_table.hpp"
#include "core/error.hpp"
#include "core/table_scan.hpp"

namespace marlox::py::results::table_scan {

using marlox::results::CheckTableBuilder;
using marlox::results::NumberError;
using marlox::results::TableScan;
using marlox::results::Units;
using marlox::table::Table;
using Status = marlox::results::TableScan::Status;

// The read size of a scan, as a buffered stream's read() gives it.
constexpr Py_ssize_t kReadSize = 1 << 18;

// A section id as a Python int, and whether it fits the table's 64-bit "section" column
// (`value`): the streaming parser reads any integer, the table holds what fits.
struct SectionIdValue {
    nb::object id;
    std::int64_t value = 0;
    bool fits = false;
};

SectionIdValue section_id_value(nb::object id);
// int(section.find("SectionId").text), as the streaming parser reads it.
SectionIdValue section_id(const Dom &d, NodeId section);
bool same_int(const nb::object &a, const nb::object &b);
std::string shown(const nb::object &o);
// float(text), for the texts the core leaves to the interpreter (it takes the lock).
bool host_number(std::string_view text, double &out);
[[noreturn]] void raise_number_error(const NumberError &e);

// A check table's scan: the core's scan, which runs without the interpreter lock, and what only
// the interpreter can do when it stops (section ids it does not read, the requested ids beyond
// 64 bits, the errors).
struct Scan {
    explicit Scan(TableScan &&s) : core(std::move(s)) {}

    TableScan core;
    std::vector<SectionIdValue> wanted;  // the requested sections, in the caller's order
    // The tables and findings of pieces read side by side, when they were (`joined`).
    bool joined = false;
    // The tables taken and the parser let go on the read's last release of the lock (`finished`):
    // a small file then gives the lock back and takes it again once less.
    bool finished = false;
    Table checks, overall;
    marlox::results::ModelMismatch mismatch;
    // Called with the builder once a section's rows are in it (it may take them); the core
    // then stops after each section it adds.
    std::function<void(CheckTableBuilder &)> after_section;

    // Without the lock, once the whole document is in: the tables taken, the tree let go.
    void finish_unlocked() {
        checks = core.builder().take_checks();
        overall = core.builder().take_overall();
        mismatch = core.builder().mismatch();
        core.drop_scanner();
        finished = true;
    }

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
                case Status::Added:
                    if (after_section) after_section(core.builder());
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
            if (after_section) after_section(core.builder());
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
    // The same, made without the interpreter lock (the scanners of many small files are made
    // side by side); MemoryError when expat could not make its parser.
    TableScan make_unlocked() const {
        const auto &host = expat_host();
        std::unique_ptr<marlox::results::Scanner> scanner;
        std::optional<TableScan> made;
        {
            nb::gil_scoped_release release;
            scanner = std::make_unique<marlox::results::Scanner>(host, false);
            if (scanner->created()) {
                made.emplace(std::move(scanner),
                             CheckTableBuilder(units, families, &host_number, model), filter);
            }
        }
        if (!made) {
            PyErr_NoMemory();
            throw_python();
        }
        return std::move(*made);
    }
};

void report(const nb::object &progress, Py_ssize_t bytes);

// Read `stream` to its end into the scan; a stream of the caller's is `used` by this scan only
// (null: a stream of the scan's own). The first `reported` bytes were reported before (by
// pieces read side by side).
void scan_stream(Scan &scan, const nb::object &stream, const nb::object &progress,
                 StreamUse *used = nullptr, std::uint64_t reported = 0);

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
        // One buffer a thread, kept: a buffer made and freed per file is memory the system
        // maps and unmaps per file, which threads reading many small files queue for.
        thread_local std::vector<char> buffer_;
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
    const char *data_ = nullptr;
    std::size_t size_ = 0, done_ = 0;
};

// Read `source` to its end into the scan with the interpreter lock released (see scan_raw in
// idea_rcs_table_scan.cpp); the first `reported` bytes were reported before.
void scan_raw(Scan &scan, RawSource source, const nb::object &progress, std::uint64_t reported = 0);

// A path's file, a File's, the caller's stream, or bytes: on several threads when large
// (idea_rcs_table_pieces.cpp), else in one pass.
void scan_opened(Scan &scan, const ScanSetup &setup, const nb::object &f, int threads,
                 const nb::object &progress);
void scan_caller_stream(Scan &scan, const ScanSetup &setup, const nb::object &stream, int threads,
                        const nb::object &progress);
void scan_memory(Scan &scan, const ScanSetup &setup, const char *data, std::size_t size,
                 int threads, const nb::object &progress);

}  // namespace marlox::py::results::table_scan
