// A parsed result document: its state, the guard of native reads, and the ElementTree elements
// made from its nodes.
#pragma once

#include "bindings/idea_rcs_results.hpp"

namespace marlox::py::results {

// ---------------------------------------------------------------------------------------------
// A parsed document (or the part of it that a streaming scan still holds)

struct DocState {
    explicit DocState(std::unique_ptr<marlox::results::Scanner> s, bool streaming_)
        : scanner(std::move(s)), streaming(streaming_) {}
    ~DocState();
    DocState(const DocState &) = delete;
    DocState &operator=(const DocState &) = delete;

    const Dom &dom() const { return scanner->dom(); }

    std::unique_ptr<marlox::results::Scanner> scanner;
    bool streaming;
    // Streaming: sections handed out with an older generation are stale (their element has
    // been cleared). Bumped whenever the consumer moves on.
    std::uint64_t generation = 1;
    // Native reads in progress (under the interpreter lock); the scan waits for none.
    int active_reads = 0;
    // ElementTree elements already made from nodes: the same object every time, and the one
    // that readers use from then on (the caller may have changed it).
    std::unordered_map<NodeId, nb::object> materialized;
    // str objects of interned tag ids.
    std::vector<PyObject *> tags;

    PyObject *tag_object(std::uint32_t tag);
    nb::object text_object(Slice s) const {
        if (s.absent()) return nb::none();
        return str_from(dom().str(s));
    }
    // Drop `shift` node slots from the front (after DomBuilder::collect).
    void shift_nodes(NodeId shift);
};

// Guards a native read: the scan does not touch the tree while one is running.
class ReadGuard {
  public:
    explicit ReadGuard(DocState &doc);
    ~ReadGuard();
    ReadGuard(const ReadGuard &) = delete;
    ReadGuard &operator=(const ReadGuard &) = delete;

  private:
    DocState &doc_;
};

// The ElementTree element of a node and its subtree, made once.
nb::object materialize(DocState &doc, NodeId id);

// Wait until no other thread reads the tree natively (they hold the interpreter lock while
// they do, so this gives it up while it waits).
void wait_for_readers(DocState &doc);

}  // namespace marlox::py::results
