#include "core/result_dom.hpp"

#include <algorithm>
#include <cstring>
#include <new>

namespace marlox::results {

namespace {

const char *const kNameTexts[] = {
#define MARLOX_RESULT_NAME(id) #id,
#include "core/result_names.inc"
#undef MARLOX_RESULT_NAME
};

// Storage that a large section grew is given back once the scan has moved past it: capacity
// above this, and above four times what is still held, is released. Ordinary sections stay
// far below, so their storage is reused from one section to the next.
constexpr std::size_t kKeptCapacityBytes = std::size_t{1} << 20;

template <class C>
void release_excess(C &c) {
    const std::size_t element = sizeof(*c.data());
    if (c.capacity() * element > kKeptCapacityBytes && c.capacity() > 4 * c.size()) {
        C(c.begin(), c.end()).swap(c);
    }
}

}  // namespace

const char *name_text(Name name) noexcept { return kNameTexts[name]; }

Dom::Dom() {
    for (std::uint32_t i = 0; i < kNameCount; ++i) intern(kNameTexts[i]);
}

void Dom::grow_slots() {
    std::vector<std::uint32_t> slots(slots_.empty() ? 256 : slots_.size() * 2, 0);
    const std::size_t mask = slots.size() - 1;
    for (std::uint32_t id = 0; id < names_.size(); ++id) {
        std::size_t i = hash(names_[id]) & mask;
        while (slots[i] != 0) i = (i + 1) & mask;
        slots[i] = id + 1;
    }
    slots_.swap(slots);
}

std::uint32_t Dom::intern(std::string_view universal_name) {
    return intern(universal_name, hash(universal_name));
}

std::uint32_t Dom::intern(std::string_view universal_name, std::uint64_t h) {
    if ((names_.size() + 1) * 2 > slots_.size()) grow_slots();
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = h & mask;
    for (;; i = (i + 1) & mask) {
        const std::uint32_t slot = slots_[i];
        if (slot == 0) break;
        if (names_[slot - 1] == universal_name) return slot - 1;
    }
    const auto id = (std::uint32_t)names_.size();
    names_.emplace_back(universal_name);
    slots_[i] = id + 1;
    return id;
}

std::uint64_t Dom::long_ref(Slice s) {
    long_lengths_[s.off] = s.len;
    return (s.off << kLengthBits) | kLongLength;
}

const AttrRange *Dom::attr_range(NodeId id) const noexcept {
    auto it = std::lower_bound(attr_index_.begin(), attr_index_.end(), id,
                               [](const AttrRange &r, NodeId n) { return r.node < n; });
    if (it == attr_index_.end() || it->node != id || it->count == 0) return nullptr;
    return &*it;
}

NodeId Dom::child(NodeId id, std::uint32_t tag) const noexcept {
    for (NodeId c = node(id).first_child; c != kNoNode; c = node(c).next_sibling) {
        if (node(c).tag() == tag) return c;
    }
    return kNoNode;
}

NodeId Dom::next_in_subtree(NodeId top, NodeId at) const noexcept {
    const Node &n = node(at);
    if (n.first_child != kNoNode) return n.first_child;
    return next_after_subtree(top, at);
}

NodeId Dom::next_after_subtree(NodeId top, NodeId at) const noexcept {
    while (at != top) {
        const Node &m = node(at);
        if (m.next_sibling != kNoNode) return m.next_sibling;
        at = m.parent;
    }
    return kNoNode;
}

bool Dom::itertext_equals(NodeId id, std::string_view value) const noexcept {
    std::size_t matched = 0;
    bool ok = true;
    auto feed = [&](std::uint64_t ref) {
        const Slice s = slice(ref);
        if (s.absent() || s.len == 0) return;
        if (s.len > value.size() - matched ||
            std::memcmp(arena_.data() + s.off, value.data() + matched, s.len) != 0) {
            ok = false;
            return;
        }
        matched += s.len;
    };
    feed(node(id).text);
    // Pre-order walk: a node's text on the way down, its tail once its subtree is done.
    NodeId at = node(id).first_child;
    while (ok && at != kNoNode) {
        feed(node(at).text);
        if (node(at).first_child != kNoNode) {
            at = node(at).first_child;
            continue;
        }
        while (ok) {
            feed(node(at).tail);
            if (node(at).next_sibling != kNoNode) {
                at = node(at).next_sibling;
                break;
            }
            at = node(at).parent;
            if (at == id) {
                at = kNoNode;
                break;
            }
        }
    }
    return ok && matched == value.size();
}

Slice DomBuilder::store(std::string_view text) {
    Slice s{dom_.arena_.size(), text.size()};
    dom_.arena_.append(text.data(), text.size());
    return s;
}

// ElementTree's universal name: expat reports "uri}local" for a namespaced name (the
// separator is "}"), which becomes "{uri}local".
Slice DomBuilder::store_universal(const char *name) {
    const std::size_t len = std::strlen(name);
    Slice s{dom_.arena_.size(), len};
    if (std::memchr(name, '}', len) != nullptr) {
        dom_.arena_.push_back('{');
        s.len += 1;
    }
    dom_.arena_.append(name, len);
    return s;
}

void DomBuilder::spill_indent() {
    std::string &arena = dom_.arena_;
    const std::uint64_t off = arena.size();
    if (indent_kind_ == 0) {
        arena.push_back('\n');
        arena.append(indent_len_ - 1, ' ');
    } else {
        arena.append(indent_len_, ' ');
    }
    pending_ = off;
    indent_len_ = 0;
}

void DomBuilder::flush_pending() {
    if (indent_len_ > 0) {
        Node &n = dom_.nodes_[(std::size_t)last_];
        std::uint64_t &dest = for_tail_ ? n.tail : n.text;
        if (dest == Node::kNoText) {
            // Indentation repeats all through a pretty-printed file: one copy of each length.
            const int kind = indent_kind_;
            const std::size_t len = indent_len_;
            if (!indent_valid_[kind][len]) {
                spill_indent();
                const std::uint64_t r = dom_.ref(Slice{pending_, len});
                pending_ = kNoPending;
                indent_[kind][len] = r;
                indent_valid_[kind][len] = true;
            }
            dest = indent_[kind][len];
            indent_len_ = 0;
            return;
        }
        spill_indent();
    }
    std::string &arena = dom_.arena_;
    const Slice fresh{pending_, arena.size() - pending_};
    pending_ = kNoPending;
    Node &n = dom_.nodes_[(std::size_t)last_];
    std::uint64_t &dest = for_tail_ ? n.tail : n.text;
    if (dest == Node::kNoText) {
        dest = dom_.ref(fresh);
        return;
    }
    // Text already there (only after something set it before): concatenate, as TreeBuilder does.
    const Slice old = dom_.slice(dest);
    arena.reserve(arena.size() + old.len + fresh.len);
    const std::uint64_t off = arena.size();
    arena.append(arena.data() + old.off, old.len);
    arena.append(arena.data() + fresh.off, fresh.len);
    dest = dom_.ref(Slice{off, old.len + fresh.len});
}

// Whether expat's `name` is `known`, byte by byte: expat has just written the name a byte at
// a time, and a wider read of it (strcmp's) waits until those writes are done.
bool DomBuilder::same_name(const std::string &known, const char *name) noexcept {
    const char *k = known.data();
    const std::size_t n = known.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (name[i] != k[i]) return false;
    }
    return name[n] == '\0';
}

std::uint32_t DomBuilder::intern_name(const char *name, std::uint32_t *hint) {
    const std::size_t name_len = std::strlen(name);
    if (std::memchr(name, '}', name_len) != nullptr) {
        std::string universal = "{";
        universal.append(name, name_len);
        return dom_.intern(universal);
    }
    const std::string_view plain(name, name_len);
    const std::uint32_t tag = dom_.intern(plain, Dom::hash(plain));
    // Only names without a namespace are hinted, so equal text means the same tag.
    if (hint != nullptr) *hint = tag;
    return tag;
}

void DomBuilder::start(const char *name, const char **atts) {
    flush();
    const bool parent_kept = !open_.empty();
    if (!parent_kept && !root_started_) {
        root_name_ = name;
        root_started_ = true;
    }
    if (!parent_kept && !keep_all_ && std::strcmp(name, "SectionConcreteCheckResult") != 0) {
        ++unkept_depth_;
        last_ = kLastUnkept;
        for_tail_ = false;
        return;
    }
    // The tag is interned first: its text lives outside the arena. Result files repeat the
    // same sequence of tags over and over, so the tag that followed the same previous sibling
    // (or opened the same parent) last time is tried before the name is hashed.
    std::uint32_t tag = kNoHint;
    std::uint32_t *hint = nullptr;
    if (parent_kept) {
        const Open &top = open_.back();
        const bool first = top.last_child == kNoNode;
        std::vector<std::uint32_t> &table = first ? first_hint_ : next_hint_;
        const std::uint32_t key = dom_.tag(first ? top.id : top.last_child);
        if (key >= table.size()) table.resize(dom_.names_.size(), kNoHint);
        hint = &table[key];
        if (*hint != kNoHint && same_name(dom_.names_[*hint], name)) tag = *hint;
    }
    if (tag == kNoHint) tag = intern_name(name, hint);
    if (tag > Node::kTagMask) throw std::bad_alloc();
    if (dom_.nodes_.size() >= (std::size_t)INT32_MAX) throw std::bad_alloc();
    const auto id = (NodeId)dom_.nodes_.size();
    const bool is_section = tag == kSectionConcreteCheckResult;
    const NodeId parent = parent_kept ? open_.back().id : kNoNode;
    Region region{};
    if (!parent_kept) {
        region = Region{id, dom_.attrs_.size(), dom_.attr_index_.size(), dom_.arena_.size()};
        // Stored indentation before this point goes with the earlier region.
        if (!keep_all_) std::memset(indent_valid_, 0, sizeof indent_valid_);
    }
    if (atts[0] != nullptr) add_attributes(id, atts);
    // Room first, so that a failure leaves the stack, the regions and the nodes consistent.
    // The stack grows geometrically: a document may nest millions deep.
    if (open_.size() == open_.capacity()) open_.reserve(open_.size() * 2 + 64);
    if (regions_.size() == regions_.capacity()) regions_.reserve(regions_.size() * 2 + 4);
    // Written in place, field by field: a node put together on the stack and copied whole is
    // read back before its pieces are stored, which stalls the copy at every start tag.
    Node &n = dom_.nodes_.emplace_back();
    n.tag_flags = tag | (is_section ? Node::kSection << Node::kTagBits : 0);
    n.parent = parent;
    if (!parent_kept) regions_.push_back(region);
    if (parent_kept) {
        NodeId &prev = open_.back().last_child;
        if (prev == kNoNode) {
            dom_.nodes_[(std::size_t)parent].first_child = id;
        } else {
            dom_.nodes_[(std::size_t)prev].next_sibling = id;
        }
        prev = id;
        if (is_section) {
            flag_ancestors(parent, Node::kContainsSection);
        } else if (tag == kResultType) {
            flag_ancestors(parent, Node::kContainsResultType);
        }
    } else if (keep_all_ && root_ == kNoNode) {
        root_ = id;
    }
    Open &open = open_.emplace_back();
    open.id = id;
    open.last_child = kNoNode;
    last_ = id;
    for_tail_ = false;
}

// An ancestor that already has the flag has it on all of its own ancestors too, so the walk
// stops there: every node is flagged once, whatever the nesting.
void DomBuilder::flag_ancestors(NodeId from, std::uint32_t flag) noexcept {
    const std::uint32_t bit = flag << Node::kTagBits;
    for (NodeId up = from; up != kNoNode; up = dom_.nodes_[(std::size_t)up].parent) {
        std::uint32_t &flags = dom_.nodes_[(std::size_t)up].tag_flags;
        if ((flags & bit) != 0) break;
        flags |= bit;
    }
}

void DomBuilder::add_attributes(NodeId id, const char **atts) {
    AttrRange range{id, 0, dom_.attrs_.size()};
    for (const char **a = atts; a[0] != nullptr && a[1] != nullptr; a += 2) {
        Attr attr;
        attr.name = store_universal(a[0]);
        attr.value = store(std::string_view(a[1]));
        dom_.attrs_.push_back(attr);
        ++range.count;
    }
    dom_.attr_index_.push_back(range);
}

void DomBuilder::end() {
    flush();
    if (open_.empty()) {
        if (unkept_depth_ > 0) --unkept_depth_;
        last_ = kLastUnkept;
        for_tail_ = true;
        return;
    }
    const NodeId id = open_.back().id;
    open_.pop_back();
    last_ = id;
    for_tail_ = true;
    if (!keep_all_ && (dom_.nodes_[(std::size_t)id].flags() & Node::kSection) != 0) {
        ended_.push_back(id);
    }
}

void DomBuilder::clear(NodeId id) noexcept {
    Node &n = dom_.nodes_[(std::size_t)id];
    n.first_child = kNoNode;
    n.text = n.tail = Node::kNoText;
    auto &index = dom_.attr_index_;
    auto it = std::lower_bound(index.begin(), index.end(), id,
                               [](const AttrRange &r, NodeId x) { return r.node < x; });
    if (it != index.end() && it->node == id) it->count = 0;
    if (regions_done_ < regions_.size() && regions_[regions_done_].node == id) ++regions_done_;
}

NodeId DomBuilder::collect() noexcept {
    if (keep_all_) return 0;
    std::vector<Node> &nodes = dom_.nodes_;
    if (open_.empty() && ended_.empty()) {
        const auto dropped = (NodeId)nodes.size();
        nodes.clear();
        dom_.attrs_.clear();
        dom_.attr_index_.clear();
        dom_.arena_.clear();
        dom_.long_lengths_.clear();
        pending_ = kNoPending;
        indent_len_ = 0;
        if (last_ >= 0) last_ = kLastUnkept;
        regions_.clear();
        regions_done_ = 0;
        std::memset(indent_valid_, 0, sizeof indent_valid_);
        release_storage();
        return dropped;
    }
    // The oldest node still needed is the outermost section not yet handed out (a section
    // inside another is handed out before it).
    if (regions_done_ >= regions_.size()) return 0;  // not expected
    const Region keep = regions_[regions_done_];
    const NodeId r = keep.node;
    if (2 * regions_done_ > regions_.size()) {
        regions_.erase(regions_.begin(), regions_.begin() + (std::ptrdiff_t)regions_done_);
        regions_done_ = 0;
    }
    const std::uint64_t live_bytes = dom_.arena_.size() - keep.arena;
    const std::uint64_t live_nodes = nodes.size() - (std::size_t)r;
    const bool worth = (keep.arena >= (1u << 18) && keep.arena >= live_bytes) ||
                       ((std::uint64_t)r >= 4096 && (std::uint64_t)r >= live_nodes);
    if (r == 0 || !worth) return 0;
    const std::uint64_t a0 = keep.attr;
    const std::uint64_t s0 = keep.arena;
    nodes.erase(nodes.begin(), nodes.begin() + r);
    auto move_id = [r](NodeId &id) {
        if (id != kNoNode) id -= r;
    };
    auto move_slice = [s0](Slice &s) {
        if (!s.absent()) s.off -= s0;
    };
    auto move_ref = [s0](std::uint64_t &ref) {
        if (ref != Node::kNoText) ref -= s0 << Dom::kLengthBits;
    };
    for (Node &n : nodes) {
        move_id(n.parent);
        move_id(n.first_child);
        move_id(n.next_sibling);
        move_ref(n.text);
        move_ref(n.tail);
    }
    dom_.attrs_.erase(dom_.attrs_.begin(), dom_.attrs_.begin() + (std::ptrdiff_t)a0);
    for (Attr &a : dom_.attrs_) {
        move_slice(a.name);
        move_slice(a.value);
    }
    auto &index = dom_.attr_index_;
    index.erase(index.begin(), index.begin() + (std::ptrdiff_t)keep.attr_index);
    for (AttrRange &range : index) {
        range.node -= r;
        range.begin -= a0;
    }
    if (!dom_.long_lengths_.empty()) {
        std::unordered_map<std::uint64_t, std::uint64_t> kept;
        for (const auto &[off, len] : dom_.long_lengths_) {
            if (off >= s0) kept.emplace(off - s0, len);
        }
        dom_.long_lengths_.swap(kept);
    }
    dom_.arena_.erase(0, s0);
    for (Open &o : open_) {
        o.id -= r;
        move_id(o.last_child);
    }
    if (last_ >= r) {
        last_ -= r;
    } else if (last_ >= 0) {
        last_ = kLastUnkept;
    }
    if (pending_ != kNoPending) pending_ -= s0;
    for (NodeId &id : ended_) id -= r;
    // Stored indentation now lies at other offsets.
    for (int kind = 0; kind < 2; ++kind) {
        for (std::size_t len = 0; len < kIndentCache; ++len) {
            if (indent_valid_[kind][len]) move_ref(indent_[kind][len]);
        }
    }
    regions_.erase(regions_.begin(), regions_.begin() + (std::ptrdiff_t)regions_done_);
    regions_done_ = 0;
    for (Region &g : regions_) {
        g.node -= r;
        g.attr -= a0;
        g.attr_index -= keep.attr_index;
        g.arena -= s0;
    }
    release_storage();
    return r;
}

void DomBuilder::release_storage() noexcept {
    // A copy that cannot be made leaves the storage as it is.
    try {
        release_excess(dom_.nodes_);
        release_excess(dom_.attrs_);
        release_excess(dom_.attr_index_);
        release_excess(dom_.arena_);
        release_excess(open_);
    } catch (...) {
    }
}

}  // namespace marlox::results
