// Scans that share one stream object take turns with it, or fail. A result scan seeks and reads
// the caller's stream as if it were its own: two scans of one stream at once (two threads, or a
// scan run inside another's loop, through one parser, two parsers or check_table()) would read
// each other's bytes. Every operation of a scan on the stream is marked, with the interpreter
// lock held; a scan that finds that another scan has used the stream since its own last
// operation, or is using it right now, raises RuntimeError instead of going on.
#pragma once

#include <nanobind/nanobind.h>

#include <cstdint>
#include <unordered_map>

#include "bindings/helpers.hpp"

namespace marlox::py::results {

class StreamUse {
  public:
    StreamUse() = default;
    // A copy (of an object that holds one, made before its scan begins) takes no part in the
    // original's scan.
    StreamUse(const StreamUse &) noexcept {}
    StreamUse &operator=(const StreamUse &other) noexcept {
        if (this != &other) release();
        return *this;
    }
    StreamUse(StreamUse &&other) noexcept
        : stream_(other.stream_), scan_(other.scan_), used_(other.used_) {
        other.stream_ = nullptr;
    }
    StreamUse &operator=(StreamUse &&other) noexcept {
        if (this != &other) {
            release();
            stream_ = other.stream_;
            scan_ = other.scan_;
            used_ = other.used_;
            other.stream_ = nullptr;
        }
        return *this;
    }
    ~StreamUse() { release(); }

    // This scan reads `stream` (kept alive by the scan itself) from now on.
    void begin(nb::handle stream) {
        release();
        stream_ = stream.ptr();
        scan_ = ++next_scan();
        used_ = false;
        ++streams()[stream_].scans;
    }

    // The scan is over: the stream is no longer its concern.
    void release() noexcept {
        if (stream_ == nullptr) return;
        auto found = streams().find(stream_);
        if (found != streams().end() && --found->second.scans == 0) streams().erase(found);
        stream_ = nullptr;
    }

    // `op()`, an operation of this scan on its stream. The first one takes the stream over: a
    // scan that had it before fails at its next operation.
    template <class Op>
    auto use(Op &&op) {
        if (stream_ == nullptr) return op();
        State &s = streams()[stream_];
        if (s.busy || (used_ && s.owner != scan_)) raise_concurrent();
        s.owner = scan_;
        s.busy = true;
        used_ = true;
        struct Done {
            PyObject *stream;
            ~Done() {
                auto found = streams().find(stream);
                if (found != streams().end()) found->second.busy = false;
            }
        } done{stream_};
        return op();
    }

  private:
    struct State {
        std::uint64_t owner = 0;  // the scan that used the stream last
        bool busy = false;        // an operation is under way (it may release the lock)
        int scans = 0;            // the scans that read the stream
    };

    static std::unordered_map<PyObject *, State> &streams() {
        static auto *table = new std::unordered_map<PyObject *, State>();
        return *table;
    }
    static std::uint64_t &next_scan() {
        static std::uint64_t n = 0;
        return n;
    }

    [[noreturn]] static void raise_concurrent() {
        raise_builtin(PyExc_RuntimeError,
                      "another scan used this stream while this scan was reading it: a result "
                      "file's stream serves one scan at a time (give each thread a stream of "
                      "its own)");
    }

    PyObject *stream_ = nullptr;
    std::uint64_t scan_ = 0;
    bool used_ = false;
};

}  // namespace marlox::py::results
