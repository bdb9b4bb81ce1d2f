#include "core/result_dom.hpp"

#include <cstring>

namespace marlox::results {

namespace {

const char *const kNameTexts[] = {
#define MARLOX_RESULT_NAME(id) #id,
#include "core/result_names.inc"
#undef MARLOX_RESULT_NAME
};

}  // namespace

const char *name_text(Name name) noexcept { return kNameTexts[name]; }

Dom::Dom() {
    for (std::uint32_t i = 0; i < kNameCount; ++i) intern(kNameTexts[i]);
}

std::uint64_t Dom::hash(std::string_view s) noexcept {
    std::uint64_t h = 1469598103934665603ull;  // FNV-1a
    for (unsigned char c : s) h = (h ^ c) * 1099511628211ull;
    return h;
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
    if ((names_.size() + 1) * 2 > slots_.size()) grow_slots();
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = hash(universal_name) & mask;
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

NodeId Dom::child(NodeId id, std::uint32_t tag) const noexcept {
    for (NodeId c = node(id).first_child; c != kNoNode; c = node(c).next_sibling) {
        if (node(c).tag == tag) return c;
    }
    return kNoNode;
}

NodeId Dom::next_in_subtree(NodeId top, NodeId at) const noexcept {
    const Node &n = node(at);
    if (n.first_child != kNoNode) return n.first_child;
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
    auto feed = [&](Slice s) {
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

void DomBuilder::flush() {
    if (pending_ == kNoPending) return;
    std::string &arena = dom_.arena_;
    Slice fresh{pending_, arena.size() - pending_};
    pending_ = kNoPending;
    Node &n = dom_.nodes_[(std::size_t)last_];
    Slice &dest = for_tail_ ? n.tail : n.text;
    if (dest.absent()) {
        dest = fresh;
        return;
    }
    // Text already there (only after something set it before): concatenate, as TreeBuilder does.
    const Slice old = dest;
    arena.reserve(arena.size() + old.len + fresh.len);
    const std::uint64_t off = arena.size();
    arena.append(arena.data() + old.off, old.len);
    arena.append(arena.data() + fresh.off, fresh.len);
    dest = Slice{off, old.len + fresh.len};
}

void DomBuilder::start(const char *name, const char **atts) {
    flush();
    const bool parent_kept = !kept_stack_.empty();
    if (!keep_all_ && !parent_kept && std::strcmp(name, "SectionConcreteCheckResult") != 0) {
        ++unkept_depth_;
        last_ = kLastUnkept;
        for_tail_ = false;
        return;
    }
    if (!parent_kept) {
        region_attr_ = dom_.attrs_.size();
        region_arena_ = dom_.arena_.size();
    }
    // The tag is interned first: its text lives outside the arena.
    const std::size_t name_len = std::strlen(name);
    Node n;
    if (std::memchr(name, '}', name_len) != nullptr) {
        std::string universal = "{";
        universal.append(name, name_len);
        n.tag = dom_.intern(universal);
    } else {
        n.tag = dom_.intern(std::string_view(name, name_len));
    }
    const bool is_section = n.tag == kSectionConcreteCheckResult;
    n.parent = parent_kept ? kept_stack_.back() : kNoNode;
    if (is_section) n.flags |= Node::kSection;
    n.attr_begin = dom_.attrs_.size();
    for (const char **a = atts; a[0] != nullptr && a[1] != nullptr; a += 2) {
        Attr attr;
        attr.name = store_universal(a[0]);
        attr.value = store(std::string_view(a[1]));
        dom_.attrs_.push_back(attr);
        ++n.attr_count;
    }
    if (dom_.nodes_.size() >= (std::size_t)INT32_MAX) throw std::bad_alloc();
    const auto id = (NodeId)dom_.nodes_.size();
    dom_.nodes_.push_back(n);
    if (parent_kept) {
        Node &p = dom_.nodes_[(std::size_t)n.parent];
        if (p.last_child == kNoNode) {
            p.first_child = id;
        } else {
            dom_.nodes_[(std::size_t)p.last_child].next_sibling = id;
        }
        p.last_child = id;
        ++p.child_count;
        if (is_section) {
            for (NodeId up = n.parent; up != kNoNode; up = dom_.nodes_[(std::size_t)up].parent) {
                dom_.nodes_[(std::size_t)up].flags |= Node::kContainsSection;
            }
        }
    } else if (keep_all_ && root_ == kNoNode) {
        root_ = id;
    }
    kept_stack_.push_back(id);
    last_ = id;
    for_tail_ = false;
}

void DomBuilder::end() {
    flush();
    if (kept_stack_.empty()) {
        if (unkept_depth_ > 0) --unkept_depth_;
        last_ = kLastUnkept;
        for_tail_ = true;
        return;
    }
    const NodeId id = kept_stack_.back();
    kept_stack_.pop_back();
    last_ = id;
    for_tail_ = true;
    if (!keep_all_ && (dom_.nodes_[(std::size_t)id].flags & Node::kSection) != 0) {
        ended_.push_back(id);
    }
}

void DomBuilder::data(const char *s, int len) {
    if (last_ < 0) return;  // before the first element, or text of an element not kept
    if (pending_ == kNoPending) pending_ = dom_.arena_.size();
    dom_.arena_.append(s, (std::size_t)len);
}

void DomBuilder::clear(NodeId id) noexcept {
    Node &n = dom_.nodes_[(std::size_t)id];
    n.first_child = n.last_child = kNoNode;
    n.child_count = 0;
    n.attr_count = 0;
    n.text = Slice{};
    n.tail = Slice{};
}

NodeId DomBuilder::collect() noexcept {
    if (keep_all_) return 0;
    std::vector<Node> &nodes = dom_.nodes_;
    if (kept_stack_.empty()) {
        const auto dropped = (NodeId)nodes.size();
        nodes.clear();
        dom_.attrs_.clear();
        dom_.arena_.clear();
        pending_ = kNoPending;
        if (last_ >= 0) last_ = kLastUnkept;
        region_attr_ = region_arena_ = 0;
        return dropped;
    }
    const NodeId r = kept_stack_.front();
    const std::uint64_t live_bytes = dom_.arena_.size() - region_arena_;
    const std::uint64_t live_nodes = nodes.size() - (std::size_t)r;
    const bool worth = (region_arena_ >= (1u << 18) && region_arena_ >= live_bytes) ||
                       ((std::uint64_t)r >= 4096 && (std::uint64_t)r >= live_nodes);
    if (r == 0 || !worth) return 0;
    const std::uint64_t a0 = region_attr_;
    const std::uint64_t s0 = region_arena_;
    nodes.erase(nodes.begin(), nodes.begin() + r);
    auto move_id = [r](NodeId &id) {
        if (id != kNoNode) id -= r;
    };
    auto move_slice = [s0](Slice &s) {
        if (!s.absent()) s.off -= s0;
    };
    for (Node &n : nodes) {
        move_id(n.parent);
        move_id(n.first_child);
        move_id(n.last_child);
        move_id(n.next_sibling);
        n.attr_begin -= a0;
        move_slice(n.text);
        move_slice(n.tail);
    }
    dom_.attrs_.erase(dom_.attrs_.begin(), dom_.attrs_.begin() + (std::ptrdiff_t)a0);
    for (Attr &a : dom_.attrs_) {
        move_slice(a.name);
        move_slice(a.value);
    }
    dom_.arena_.erase(0, s0);
    for (NodeId &id : kept_stack_) id -= r;
    if (last_ >= r) {
        last_ -= r;
    } else if (last_ >= 0) {
        last_ = kLastUnkept;
    }
    if (pending_ != kNoPending) pending_ -= s0;
    for (NodeId &id : ended_) id -= r;
    region_attr_ = region_arena_ = 0;
    return r;
}

}  // namespace marlox::results
