// A compact element tree for result XML: one node array, one attribute array and one string
// arena. The builder reproduces ElementTree's TreeBuilder exactly (text, tail and attributes of
// every node it keeps, in the same places and at the same moments), but keeps only what a
// reader can reach: everything (whole-document mode) or the subtrees of the
// "SectionConcreteCheckResult" elements (streaming mode), which it can drop again once the
// consumer has moved past them.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
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

// A node: 32 bytes. Flags live in the three top bits of the tag id; attributes, rare in result
// files, in a side index; texts as packed references into the arena.
struct Node {
    static constexpr std::uint32_t kSection = 1;             // tag is SectionConcreteCheckResult
    static constexpr std::uint32_t kContainsSection = 2;     // has such an element below it
    static constexpr std::uint32_t kContainsResultType = 4;  // has a "ResultType" below it
    static constexpr std::uint32_t kTagBits = 29;
    static constexpr std::uint32_t kTagMask = (1u << kTagBits) - 1;
    static constexpr std::uint64_t kNoText = ~std::uint64_t{0};

    std::uint32_t tag_flags = 0;
    NodeId parent = kNoNode;
    NodeId first_child = kNoNode;
    NodeId next_sibling = kNoNode;
    std::uint64_t text = kNoText;  // offset << 24 | length (see Dom::slice), or kNoText
    std::uint64_t tail = kNoText;

    std::uint32_t tag() const noexcept { return tag_flags & kTagMask; }
    std::uint32_t flags() const noexcept { return tag_flags >> kTagBits; }
};

static_assert(sizeof(Node) == 32, "a node stays at 32 bytes");

struct Attr {
    Slice name;  // in ElementTree's universal form: "{uri}local" or "local"
    Slice value;
};

// The attributes of one node: attrs_[begin, begin + count).
struct AttrRange {
    NodeId node;
    std::uint32_t count;
    std::uint64_t begin;
};

class Dom {
  public:
    Dom();

    const Node &node(NodeId id) const noexcept { return nodes_[(std::size_t)id]; }
    std::uint32_t tag(NodeId id) const noexcept { return node(id).tag(); }
    std::uint32_t flags(NodeId id) const noexcept { return node(id).flags(); }
    bool has_children(NodeId id) const noexcept { return node(id).first_child != kNoNode; }
    Slice text(NodeId id) const noexcept { return slice(node(id).text); }
    Slice tail(NodeId id) const noexcept { return slice(node(id).tail); }
    std::size_t size() const noexcept { return nodes_.size(); }
    std::string_view str(Slice s) const noexcept {
        return s.absent() ? std::string_view{} : std::string_view(arena_.data() + s.off, s.len);
    }
    std::string_view tag_name(std::uint32_t tag) const noexcept { return names_[tag]; }
    std::size_t tag_count() const noexcept { return names_.size(); }
    // The attributes of a node, in document order.
    template <class F>
    void for_each_attr(NodeId id, F &&f) const {
        const AttrRange *r = attr_range(id);
        if (r == nullptr) return;
        for (std::uint32_t i = 0; i < r->count; ++i) f(attrs_[r->begin + i]);
    }

    // The first child with the given tag, or kNoNode.
    NodeId child(NodeId id, std::uint32_t tag) const noexcept;
    // Whether ElementTree's "".join(e.itertext()) of `id` equals `value`.
    bool itertext_equals(NodeId id, std::string_view value) const noexcept;
    // The next node after `at` in pre-order within the subtree of `top` (excluding `top`), or
    // kNoNode at the end; `at == top` starts the walk.
    NodeId next_in_subtree(NodeId top, NodeId at) const noexcept;
    // The same, passing over the subtree of `at`.
    NodeId next_after_subtree(NodeId top, NodeId at) const noexcept;

    // Trees of one document read in pieces made one (core/result_graft.cpp): the sibling chain
    // from `first` in `from`, each with its subtree, appended to the children of `parent`; the
    // flags of `of` in `from` added to those of `to` (`tail_too`: and its tail made that of `to`).
    // False (nothing grafted) when `from` does not number its nodes in document order.
    bool graft(NodeId parent, const Dom &from, NodeId first);
    void adopt(NodeId to, const Dom &from, NodeId of, bool tail_too);
    // Room for the tree of a document of `total` bytes, judged from the tree of the `fed` bytes
    // read so far, so that it grows without being moved (the first piece's tree, into which the
    // others are grafted, is given room for the whole document). Only what is written is ever
    // touched; when the room cannot be had, the tree grows as it would have.
    void reserve_for(std::uint64_t fed, std::uint64_t total) noexcept;

  private:
    friend class DomBuilder;
    static constexpr std::uint64_t kLengthBits = 24;
    static constexpr std::uint64_t kLongLength = (std::uint64_t{1} << kLengthBits) - 1;

    Slice slice(std::uint64_t ref) const noexcept {
        if (ref == Node::kNoText) return Slice{};
        const std::uint64_t off = ref >> kLengthBits;
        std::uint64_t len = ref & kLongLength;
        if (len == kLongLength) len = long_lengths_.find(off)->second;
        return Slice{off, len};
    }
    // May throw std::bad_alloc.
    std::uint64_t ref(Slice s) {
        if (s.off >= (std::uint64_t{1} << (64 - kLengthBits))) throw std::bad_alloc();
        if (s.len >= kLongLength) return long_ref(s);
        return (s.off << kLengthBits) | s.len;
    }
    std::uint64_t long_ref(Slice s);
    const AttrRange *attr_range(NodeId id) const noexcept;
    std::uint32_t intern(std::string_view universal_name);
    std::uint32_t intern(std::string_view universal_name, std::uint64_t hash);
    // A word at a time: tag names are hashed at every start tag.
    static std::uint64_t hash(std::string_view s) noexcept {
        constexpr std::uint64_t kMul = 0xff51afd7ed558ccdull;
        const char *p = s.data();
        std::size_t n = s.size();
        std::uint64_t h = (std::uint64_t)n * 0x9e3779b97f4a7c15ull;
        std::uint64_t w;
        for (; n >= 8; p += 8, n -= 8) {
            std::memcpy(&w, p, 8);
            h = (h ^ w) * kMul;
            h ^= h >> 32;
        }
        if (n > 0) {
            w = 0;
            for (std::size_t i = 0; i < n; ++i) w |= (std::uint64_t)(unsigned char)p[i] << (8 * i);
            h = (h ^ w) * kMul;
            h ^= h >> 32;
        }
        return h ^ (h >> 29);
    }
    void grow_slots();

    std::vector<Node> nodes_;
    std::vector<Attr> attrs_;
    std::vector<AttrRange> attr_index_;  // ordered by node
    std::string arena_;
    // Lengths of texts too long for a packed reference, by arena offset.
    std::unordered_map<std::uint64_t, std::uint64_t> long_lengths_;
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
    void data(const char *s, int len) {
        if (last_ < 0) return;  // before the first element, or text of an element not kept
        if (pending_ == kNoPending) {
            // Indentation is only counted while it lasts: most of it never reaches the arena.
            if (indent_len_ == 0 && len > 0 && len < (int)kIndentCache) {
                const int kind = s[0] == '\n' ? 0 : 1;
                if (all_spaces(s + (1 - kind), (std::size_t)len - (std::size_t)(1 - kind))) {
                    indent_kind_ = kind;
                    indent_len_ = (std::size_t)len;
                    return;
                }
            } else if (indent_len_ > 0) {
                if (indent_len_ + (std::size_t)len < kIndentCache &&
                    all_spaces(s, (std::size_t)len)) {
                    indent_len_ += (std::size_t)len;
                    return;
                }
                spill_indent();
            }
            if (pending_ == kNoPending) pending_ = dom_.arena_.size();
        }
        dom_.arena_.append(s, (std::size_t)len);
    }
    // Move pending character data into its element (TreeBuilder does so at every event).
    void flush() {
        if (pending_ != kNoPending) {
            flush_pending();
        } else if (indent_len_ > 0) {
            // The common case of a pretty-printed file: indentation of a length stored before,
            // for an element that has no text or tail yet.
            Node &n = dom_.nodes_[(std::size_t)last_];
            std::uint64_t &dest = for_tail_ ? n.tail : n.text;
            if (dest == Node::kNoText && indent_valid_[indent_kind_][indent_len_]) {
                dest = indent_[indent_kind_][indent_len_];
                indent_len_ = 0;
                return;
            }
            flush_pending();
        }
    }

    // Sections whose end tag has been seen, oldest first (streaming mode only).
    std::deque<NodeId> &ended_sections() noexcept { return ended_; }
    // The first element of the document (whole-document mode), or kNoNode.
    NodeId root() const noexcept { return root_; }
    // The name of the document's first element as expat gives it ("" before it starts), in
    // either mode.
    const std::string &root_name() const noexcept { return root_name_; }

    // ElementTree's Element.clear() on a kept node; for a section that the consumer has moved
    // past, which collect() may then drop.
    void clear(NodeId id) noexcept;

    // Drop every node that no reader can reach any more: all of them when no section is open
    // or waiting, else what lies before the oldest such section, when that is worth the copy.
    // Call only when all sections handed out before are stale. Returns the number of node
    // slots dropped from the front (node ids above it, those of waiting sections included,
    // move down by as much).
    NodeId collect() noexcept;

  private:
    static constexpr std::uint64_t kNoPending = ~std::uint64_t{0};
    static constexpr NodeId kLastNone = -2;    // before the first element
    static constexpr NodeId kLastUnkept = -3;  // an element that is not kept
    static constexpr std::size_t kIndentCache = 128;

    // Whether `s` holds spaces only: whole words, the last one overlapping the one before.
    static bool all_spaces(const char *s, std::size_t len) noexcept {
        constexpr std::uint64_t kSpaces = 0x2020202020202020ull;
        std::uint64_t w;
        if (len >= 8) {
            for (std::size_t i = 0; i + 8 < len; i += 8) {
                std::memcpy(&w, s + i, 8);
                if (w != kSpaces) return false;
            }
            std::memcpy(&w, s + len - 8, 8);
            return w == kSpaces;
        }
        for (std::size_t i = 0; i < len; ++i) {
            if (s[i] != ' ') return false;
        }
        return true;
    }
    Slice store(std::string_view text);
    Slice store_universal(const char *name);
    void flush_pending();
    static bool same_name(const std::string &known, const char *name) noexcept;
    // The tag id of an element name that its hint did not give.
    std::uint32_t intern_name(const char *name, std::uint32_t *hint);
    void add_attributes(NodeId id, const char **atts);
    void flag_ancestors(NodeId from, std::uint32_t flag) noexcept;
    // Give back capacity far above what the tree still holds (see collect).
    void release_storage() noexcept;
    // Write the pending indentation into the arena: it becomes ordinary pending text.
    void spill_indent();

    Dom &dom_;
    bool keep_all_;
    NodeId root_ = kNoNode;
    std::string root_name_;
    bool root_started_ = false;
    std::size_t unkept_depth_ = 0;
    // The open kept elements, innermost last, each with its last child so far.
    struct Open {
        NodeId id;
        NodeId last_child;
    };
    std::vector<Open> open_;
    // Tag hints, by tag id: the tag of the element that last opened inside an element with
    // that tag as its first child, or that last followed an element with that tag.
    static constexpr std::uint32_t kNoHint = ~std::uint32_t{0};
    std::vector<std::uint32_t> first_hint_;
    std::vector<std::uint32_t> next_hint_;
    NodeId last_ = kLastNone;
    bool for_tail_ = false;
    // Pending character data: an arena offset, or indentation not yet stored (indent_len_ > 0:
    // "\n" and spaces when indent_kind_ is 0, spaces only when it is 1). Never both.
    std::uint64_t pending_ = kNoPending;
    std::size_t indent_len_ = 0;
    int indent_kind_ = 0;
    std::deque<NodeId> ended_;
    // Where each outermost kept element begins in the attribute arrays and the arena, in
    // document order; the first `regions_done_` of them have been handed out and cleared.
    struct Region {
        NodeId node;
        std::uint64_t attr;
        std::uint64_t attr_index;
        std::uint64_t arena;
    };
    std::vector<Region> regions_;
    std::size_t regions_done_ = 0;
    // Indentation already stored, by length: [0] "\n" + spaces, [1] spaces only.
    std::uint64_t indent_[2][kIndentCache] = {};
    bool indent_valid_[2][kIndentCache] = {};
};

}  // namespace marlox::results
