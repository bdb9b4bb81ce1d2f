// Whole-document trees of one result file read in pieces (core/result_split.hpp), made one
// tree: the pieces' nodes copied into the first piece's, in document order.
#include <algorithm>
#include <vector>

#include "core/result_dom.hpp"

namespace marlox::results {

void Dom::graft(NodeId parent, const Dom &from, NodeId first) {
    if (first == kNoNode) return;
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
    // The copies, in pre-order (so in document order, after every node there is now).
    std::vector<NodeId> copy(from.size(), kNoNode);
    std::vector<NodeId> order;
    std::vector<NodeId> stack;
    for (NodeId top = first; top != kNoNode; top = from.node(top).next_sibling) {
        stack.push_back(top);
        while (!stack.empty()) {
            const NodeId at = stack.back();
            stack.pop_back();
            copy[(std::size_t)at] = (NodeId)(nodes_.size() + order.size());
            order.push_back(at);
            // Children pushed last first, so that the first is copied first.
            const std::size_t mark = stack.size();
            for (NodeId c = from.node(at).first_child; c != kNoNode; c = from.node(c).next_sibling)
                stack.push_back(c);
            std::reverse(stack.begin() + (std::ptrdiff_t)mark, stack.end());
        }
    }
    const auto mapped = [&](NodeId id) { return id == kNoNode ? kNoNode : copy[(std::size_t)id]; };
    nodes_.reserve(nodes_.size() + order.size());
    for (const NodeId at : order) {
        const Node &n = from.node(at);
        Node c;
        c.tag_flags = (n.tag_flags & ~Node::kTagMask) | tags[n.tag()];
        const NodeId up = mapped(n.parent);  // none for the chain itself
        c.parent = up == kNoNode ? parent : up;
        c.first_child = mapped(n.first_child);
        c.next_sibling = mapped(n.next_sibling);
        c.text = moved(n.text);
        c.tail = moved(n.tail);
        nodes_.push_back(c);
        if (const AttrRange *r = from.attr_range(at)) {
            attr_index_.push_back(AttrRange{copy[(std::size_t)at], r->count, attrs_.size()});
            for (std::uint32_t i = 0; i < r->count; ++i) {
                Attr a = from.attrs_[r->begin + i];
                a.name.off += shift;
                a.value.off += shift;
                attrs_.push_back(a);
            }
        }
    }
    // The chain after the parent's last child.
    Node &p = nodes_[(std::size_t)parent];
    if (p.first_child == kNoNode) {
        p.first_child = copy[(std::size_t)first];
    } else {
        NodeId last = p.first_child;
        while (nodes_[(std::size_t)last].next_sibling != kNoNode) {
            last = nodes_[(std::size_t)last].next_sibling;
        }
        nodes_[(std::size_t)last].next_sibling = copy[(std::size_t)first];
    }
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
