// A compact element tree for result XML: one node array, one attribute array and one string
// arena. The builder reproduces ElementTree's TreeBuilder exactly (text, tail and attributes of
// every node it keeps, in the same places and at the same moments), but keeps only what a
// reader can reach: everything (whole-document mode) or the subtrees of the
// "SectionConcreteCheckResult" elements (streaming mode), which it can drop again once the
// consumer has moved past them.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace marlox::results {

using NodeId = std::int32_t;
inline constexpr NodeId kNoNode = -1;

// A piece of the arena; `len == kAbsent` stands for Python's None.
struct Slice {
    static constexpr std::uint64_t kAbsent = ~std::uint64_t{0};
    std::uint64_t off = 0;
    std::uint64_t len = kAbsent;
    bool absent() const noexcept { return len == kAbsent; }
};

// The tag names that the readers look for; interned first, so that their ids are these values.
enum Name : std::uint32_t {
#define MARLOX_RESULT_NAME(id) k##id,
#include "core/result_names.inc"
#undef MARLOX_RESULT_NAME
    kNameCount
};

const char *name_text(Name name) noexcept;

struct Node {
    static constexpr std::uint32_t kSection = 1;          // tag is SectionConcreteCheckResult
    static constexpr std::uint32_t kContainsSection = 2;  // has such an element below it
    std::uint32_t tag = 0;
    std::uint32_t flags = 0;
    NodeId parent = kNoNode;
    NodeId first_child = kNoNode;
    NodeId last_child = kNoNode;
    NodeId next_sibling = kNoNode;
    std::uint32_t child_count = 0;
    std::uint32_t attr_count = 0;
    std::uint64_t attr_begin = 0;
    Slice text;
    Slice tail;
};

struct Attr {
    Slice name;  // in ElementTree's universal form: "{uri}local" or "local"
    Slice value;
};

class Dom {
  public:
    Dom();

    const Node &node(NodeId id) const noexcept { return nodes_[(std::size_t)id]; }
    std::size_t size() const noexcept { return nodes_.size(); }
    std::string_view str(Slice s) const noexcept {
        return s.absent() ? std::string_view{} : std::string_view(arena_.data() + s.off, s.len);
    }
    std::string_view tag_name(std::uint32_t tag) const noexcept { return names_[tag]; }
    std::size_t tag_count() const noexcept { return names_.size(); }
    const Attr &attr(std::uint64_t index) const noexcept { return attrs_[index]; }

    // The first child with the given tag, or kNoNode.
    NodeId child(NodeId id, std::uint32_t tag) const noexcept;
    // Whether ElementTree's "".join(e.itertext()) of `id` equals `value`.
    bool itertext_equals(NodeId id, std::string_view value) const noexcept;
    // The next node after `at` in pre-order within the subtree of `top` (excluding `top`), or
    // kNoNode at the end; `at == top` starts the walk.
    NodeId next_in_subtree(NodeId top, NodeId at) const noexcept;

    std::size_t memory_bytes() const noexcept {
        return nodes_.capacity() * sizeof(Node) + attrs_.capacity() * sizeof(Attr) +
               arena_.capacity();
    }

  private:
    friend class DomBuilder;
    std::uint32_t intern(std::string_view universal_name);
    static std::uint64_t hash(std::string_view s) noexcept;
    void grow_slots();

    std::vector<Node> nodes_;
    std::vector<Attr> attrs_;
    std::string arena_;
    // Interned tag names: open addressing over `names_` (slot = id + 1, 0 = free).
    std::vector<std::string> names_;
    std::vector<std::uint32_t> slots_;
};

// The tree builder. Fed by the scanner's expat callbacks; every method may throw
// std::bad_alloc (the scanner turns that into a parse failure).
class DomBuilder {
  public:
    DomBuilder(Dom &dom, bool keep_all) : dom_(dom), keep_all_(keep_all) {}

    void start(const char *name, const char **atts);
    void end();
    void data(const char *s, int len);
    // Move pending character data into its element (TreeBuilder does so at every event).
    void flush();

    // Sections whose end tag has been seen, oldest first (streaming mode only).
    std::deque<NodeId> &ended_sections() noexcept { return ended_; }
    // The first element of the document (whole-document mode), or kNoNode.
    NodeId root() const noexcept { return root_; }

    // ElementTree's Element.clear() on a kept node.
    void clear(NodeId id) noexcept;

    // Drop every node that no reader can reach any more: all of them when no section is open,
    // else what lies before the open section, when that is worth the copy. Call only when no
    // ended section is waiting and all sections handed out before are stale. Returns the
    // number of node slots dropped from the front (node ids above it move down by as much).
    NodeId collect() noexcept;

  private:
    static constexpr std::uint64_t kNoPending = ~std::uint64_t{0};
    static constexpr NodeId kLastNone = -2;    // before the first element
    static constexpr NodeId kLastUnkept = -3;  // an element that is not kept

    Slice store(std::string_view text);
    Slice store_universal(const char *name);

    Dom &dom_;
    bool keep_all_;
    NodeId root_ = kNoNode;
    std::size_t unkept_depth_ = 0;
    std::vector<NodeId> kept_stack_;
    NodeId last_ = kLastNone;
    bool for_tail_ = false;
    std::uint64_t pending_ = kNoPending;
    std::deque<NodeId> ended_;
    // Where the outermost open kept element begins in the attribute array and the arena.
    std::uint64_t region_attr_ = 0;
    std::uint64_t region_arena_ = 0;
};

}  // namespace marlox::results
