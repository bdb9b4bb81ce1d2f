// Whole-document trees of one result file read in pieces (core/result_split.hpp), made one
// tree: the pieces' nodes copied into the first piece's, in document order.
#include <algorithm>
#include <cstdint>
#include <exception>
#include <vector>

#include "core/result_dom.hpp"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace marlox::results {

namespace {

// Ask for the room of a large tree in pages of 2 MiB where the system gives them on request: a
// tree of 100 MB of input is 20 MB of nodes and texts, written once, and each 4 KiB page of it
// costs a fault of its own.
void huge_pages([[maybe_unused]] void *data, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t kHuge = std::uintptr_t{1} << 21;
    const std::uintptr_t begin = ((std::uintptr_t)data + kHuge - 1) & ~(kHuge - 1);
    const std::uintptr_t end = ((std::uintptr_t)data + bytes) & ~(kHuge - 1);
    if (end > begin) madvise((void *)begin, end - begin, MADV_HUGEPAGE);  // a hint: may fail
#endif
}

}  // namespace

bool Dom::graft(NodeId parent, const Dom &from, NodeId first) {
    if (first == kNoNode) return true;
    std::vector<std::uint32_t> tags(from.names_.size());
    for (std::size_t i = 0; i < tags.size(); ++i) tags[i] = intern(from.names_[i]);
    // The other's texts go along whole: its references move by as much.
    const std::uint64_t shift = arena_.size();
    arena_ += from.arena_;
    for (const auto &[off, len] : from.long_lengths_) long_lengths_[off + shift] = len;
    const auto moved = [&](std::uint64_t ref) {
        if (ref == Node::kNoText) return ref;
        return ((ref >> kLengthBits) + shift) << kLengthBits | (ref & kLongLength);
    };
    // The builder numbers nodes in document order, so the chain and its subtrees are the nodes
    // from `first` to the last descendant of the chain's last node: copied as they lie, each
    // moved by as much.
    NodeId last = first;
    while (from.node(last).next_sibling != kNoNode) last = from.node(last).next_sibling;
    while (from.node(last).first_child != kNoNode) {
        NodeId child = from.node(last).first_child;
        while (from.node(child).next_sibling != kNoNode) child = from.node(child).next_sibling;
        last = child;
    }
    const NodeId base = (NodeId)nodes_.size();
    const NodeId delta = base - first;
    const NodeId outer = from.node(first).parent;
    const auto mapped = [&](NodeId id) { return id == kNoNode ? kNoNode : id + delta; };
    nodes_.reserve(nodes_.size() + (std::size_t)(last - first + 1));
    for (NodeId at = first; at <= last; ++at) {
        const Node &n = from.node(at);
        if (n.parent != outer && (n.parent < first || n.parent >= at)) {
            nodes_.resize((std::size_t)base);  // not the order the builder makes
            return false;
        }
        Node c;
        c.tag_flags = (n.tag_flags & ~Node::kTagMask) | tags[n.tag()];
        c.parent = n.parent == outer ? parent : mapped(n.parent);
        c.first_child = mapped(n.first_child);
        c.next_sibling = mapped(n.next_sibling);
        c.text = moved(n.text);
        c.tail = moved(n.tail);
        nodes_.push_back(c);
    }
    // Their attributes, in the same order (the index stays ordered by node).
    auto r = std::lower_bound(from.attr_index_.begin(), from.attr_index_.end(), first,
                              [](const AttrRange &a, NodeId n) { return a.node < n; });
    for (; r != from.attr_index_.end() && r->node <= last; ++r) {
        attr_index_.push_back(AttrRange{r->node + delta, r->count, attrs_.size()});
        for (std::uint32_t i = 0; i < r->count; ++i) {
            Attr a = from.attrs_[r->begin + i];
            a.name.off += shift;
            a.value.off += shift;
            attrs_.push_back(a);
        }
    }
    // The chain after the parent's last child.
    Node &p = nodes_[(std::size_t)parent];
    if (p.first_child == kNoNode) {
        p.first_child = base;
    } else {
        NodeId last = p.first_child;
        while (nodes_[(std::size_t)last].next_sibling != kNoNode) {
            last = nodes_[(std::size_t)last].next_sibling;
        }
        nodes_[(std::size_t)last].next_sibling = base;
    }
    return true;
}

void Dom::reserve_for(std::uint64_t fed, std::uint64_t total) noexcept {
    if (fed == 0 || total <= fed) return;
    // A quarter more than the part read so far promises, for documents less even than that.
    const double scale = (double)total / (double)fed * 1.25;
    try {
        nodes_.reserve((std::size_t)((double)nodes_.size() * scale));
        arena_.reserve((std::size_t)((double)arena_.size() * scale));
    } catch (const std::exception &) {
        // No room to spare: the tree grows step by step.
        return;
    }
    huge_pages(nodes_.data(), nodes_.capacity() * sizeof(Node));
    huge_pages(arena_.data(), arena_.capacity());
}

void Dom::adopt(NodeId to, const Dom &from, NodeId of, bool tail_too) {
    Node &n = nodes_[(std::size_t)to];
    n.tag_flags |= from.node(of).tag_flags & ~Node::kTagMask;
    if (!tail_too) return;
    const Slice tail = from.tail(of);
    if (tail.absent()) {
        n.tail = Node::kNoText;
    } else {
        const std::uint64_t off = arena_.size();
        arena_.append(from.str(tail));
        n.tail = ref(Slice{off, tail.len});
    }
}

}  // namespace marlox::results
