// The streaming scan's pieces on threads of their own (see idea_rcs_stream_pieces.hpp).
#include "bindings/idea_rcs_stream_pieces.hpp"

#include <algorithm>
#include <mutex>

#include "bindings/idea_rcs_pieces.hpp"
#include "core/ordered_pieces.hpp"
#include "core/result_split.hpp"

namespace marlox::py::results {

namespace {

using marlox::results::OrderedPieces;
using marlox::results::PieceEnd;
using marlox::results::ReadAt;
using marlox::results::SplitPlan;

// A piece reads this much at a time, as a buffered stream's read() gives it.
constexpr std::size_t kRead = 1 << 18;

// The bytes of a BytesIO (shared with it, not copied, while it is not written to), or empty.
nb::object bytesio_value(const nb::object &f) {
    nb::object io = steal_or_throw(PyImport_ImportModule("io"));
    nb::object type = steal_or_throw(PyObject_GetAttrString(io.ptr(), "BytesIO"));
    if ((PyObject *)Py_TYPE(f.ptr()) != type.ptr()) return nb::object();
    nb::object value = steal_or_throw(PyObject_CallMethod(f.ptr(), "getvalue", nullptr));
    if (!PyBytes_CheckExact(value.ptr())) return nb::object();
    return value;
}

}  // namespace

struct PieceStream::Impl {
    nb::object bytes;  // the BytesIO's bytes, which the reads below point into
    const expat::Host *host = nullptr;
    int fd = -1;
    table_scan::FileStamp stamp;
    ReadAt read;
    SplitPlan plan;  // the head; the cuts are found as the pieces begin
    std::uint64_t min_piece = 0, piece_bytes = 0;
    // Written by piece k's worker before it ends, taken by the scan after.
    std::vector<std::unique_ptr<Scanner>> trees;
    std::vector<PieceEnd> ends;
    std::unique_ptr<OrderedPieces> runner;
    std::size_t next = 0;

    // Where each piece begins, found in order by the workers as they begin the pieces: a scan
    // stopped early has not searched the rest of the file.
    std::mutex cut_mutex;
    std::vector<std::uint64_t> cuts;
    bool all_cut = false;

    bool unchanged() const {
        if (fd < 0) return true;
        table_scan::FileStamp now;
        return table_scan::file_stamp(fd, now) && now == stamp;
    }

    // The plan of piece k alone (as piece 0 of its own), or false when there is no piece k.
    bool piece_plan(std::size_t k, SplitPlan &out) {
        std::lock_guard<std::mutex> lock(cut_mutex);
        while (!all_cut && cuts.size() < k + 2) {
            // The first piece is the smallest: the scan waits for it before its first section.
            const std::uint64_t bytes = cuts.size() == 1 ? min_piece : piece_bytes;
            const std::uint64_t cut =
                marlox::results::next_cut(read, plan, cuts.back() + bytes, min_piece);
            if (cut >= plan.size) {
                all_cut = true;
            } else {
                cuts.push_back(cut);
            }
        }
        if (k >= cuts.size()) return false;
        out = plan;
        out.cuts.assign(1, cuts[k]);
        if (k + 1 < cuts.size()) out.cuts.push_back(cuts[k + 1]);
        return true;
    }

    // Piece k parsed into a tree of its own (only the sections are kept).
    bool parse(std::size_t k, const std::atomic<bool> &cancel) {
        SplitPlan piece;
        if (!piece_plan(k, piece)) {
            runner->set_count(k);
            return true;
        }
        auto tree = std::make_unique<Scanner>(*host, false);
        if (!tree->created()) return false;
        std::atomic<std::uint64_t> done{0};
        const PieceEnd end = marlox::results::feed_piece(
            piece, 0, read, kRead,
            [&](const char *data, std::size_t len, bool final) {
                return tree->feed(data, (int)len, final);
            },
            cancel, done);
        tree->close();
        ends[k] = end;
        if (end != PieceEnd::Done) return false;
        trees[k] = std::move(tree);
        return true;
    }
};

PieceStream::PieceStream(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

PieceStream::~PieceStream() { stop(); }

void PieceStream::stop() noexcept {
    if (!impl_->runner) return;
    nb::gil_scoped_release release;
    impl_->runner->stop();
}

std::unique_ptr<PieceStream> PieceStream::open(const nb::object &source, int threads) {
    if (threads < 2) return nullptr;
    auto impl = std::make_unique<Impl>();
    std::uint64_t size = 0;
    const int fd = table_scan::descriptor_of(source, true);
    if (fd >= 0) {
        if (!table_scan::file_stamp(fd, impl->stamp)) return nullptr;
        impl->fd = fd;
        size = impl->stamp.size;
        impl->read = table_scan::descriptor_reads(fd);
    } else {
        impl->bytes = bytesio_value(source);
        if (!impl->bytes.is_valid()) return nullptr;
        const char *data = PyBytes_AS_STRING(impl->bytes.ptr());
        size = (std::uint64_t)PyBytes_GET_SIZE(impl->bytes.ptr());
        impl->read = table_scan::memory_reads(data, size);
    }
    // Pieces of about twice the smallest piece each (a few MB), so that a few in flight keep
    // every thread busy while the scan holds only those.
    const std::uint64_t min_piece = table_scan::min_piece();
    if (size < 2 * min_piece) return nullptr;
    impl->min_piece = min_piece;
    impl->piece_bytes = 2 * min_piece;
    impl->host = &expat_host();  // set up once, with the interpreter lock
    bool planned;
    {
        // The head, and that the document is cut at all (a cut near its middle); the cuts
        // themselves are found as the pieces begin.
        nb::gil_scoped_release release;
        planned = marlox::results::plan_split(impl->read, size, 2, min_piece, impl->plan);
    }
    if (!planned) return nullptr;
    impl->cuts.assign(1, impl->plan.cuts[0]);
    // Every piece but the last holds at least the smallest piece, and a section start tag.
    const std::uint64_t least = std::max<std::uint64_t>(min_piece, impl->plan.section.size());
    const std::size_t most = (std::size_t)(size / least) + 1;
    impl->trees.resize(most);
    impl->ends.assign(most, PieceEnd::Failed);
    Impl *self = impl.get();
    impl->runner = std::make_unique<OrderedPieces>(
        most, 2 * (std::size_t)threads,
        [self](std::size_t k, const std::atomic<bool> &cancel) { return self->parse(k, cancel); });
    try {
        impl->runner->start((unsigned)threads);
    } catch (const std::system_error &) {
        return nullptr;  // no threads to be had: the file is read in one pass
    }
    return std::unique_ptr<PieceStream>(new PieceStream(std::move(impl)));
}

PieceStream::Next PieceStream::next(std::unique_ptr<Scanner> &tree) {
    Impl &s = *impl_;
    const std::size_t k = s.next;
    for (;;) {
        bool ended;
        {
            nb::gil_scoped_release release;
            ended = s.runner->wait(k, std::chrono::milliseconds(50));
        }
        if (ended) break;
        if (PyErr_CheckSignals() != 0) {
            stop();
            throw_python();
        }
    }
    const OrderedPieces::End end = s.runner->take(k);
    ++s.next;
    if (end == OrderedPieces::End::None) {
        if (!s.unchanged()) table_scan::raise_changed("its sections");
        return Next::End;
    }
    if (s.ends[k] == PieceEnd::Changed || !s.unchanged()) {
        stop();
        table_scan::raise_changed("its sections");
    }
    if (end != OrderedPieces::End::Done) {
        stop();
        return Next::Failed;
    }
    tree = std::move(s.trees[k]);
    return Next::Piece;
}

}  // namespace marlox::py::results
