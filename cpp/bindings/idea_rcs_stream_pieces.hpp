// The streaming scan of one seekable result file with its pieces (core/result_split.hpp) parsed
// on threads of their own, each into a tree of its own, handed to the scan in document order
// through a bounded window (core/ordered_pieces.hpp). The scan hands out each piece's sections
// as it hands out its own; a piece that does not parse as a document of its own sends it back
// to the one-pass parse of the whole file, which decides what is raised.
#pragma once

#include <memory>

#include "bindings/idea_rcs_results_expat.hpp"

namespace marlox::py::results {

class PieceStream {
  public:
    // Null when `source` (positioned at its start) is not read in pieces: not a file of its own
    // (a descriptor read by offset) or a BytesIO, too small, or not cut.
    static std::unique_ptr<PieceStream> open(const nb::object &source, int threads);
    // Stops the workers and joins them with the interpreter lock released.
    ~PieceStream();
    PieceStream(const PieceStream &) = delete;
    PieceStream &operator=(const PieceStream &) = delete;

    enum class Next {
        Piece,   // the next piece's tree, every section of it ended
        End,     // every piece has been handed over
        Failed,  // the next piece did not parse as a document of its own
    };
    // The next piece, waited for with the interpreter lock released (signals are let through,
    // and stop the workers). RuntimeError when the file changed while it was read.
    Next next(std::unique_ptr<Scanner> &tree);

    // The workers stopped and joined, the interpreter lock released meanwhile.
    void stop() noexcept;

    struct Impl;

  private:
    explicit PieceStream(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace marlox::py::results
