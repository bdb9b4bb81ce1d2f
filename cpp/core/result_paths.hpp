// The ElementPath expressions that the result readers evaluate, on the native tree. Each
// function gives what ElementTree's find/findall gives for the same expression on the same
// element (first match in ElementPath's own order), without the interpreter.
#pragma once

#include <string>
#include <string_view>

#include "core/result_dom.hpp"

namespace marlox::results {

// The eight result families, each located below an extreme by
// ".//*[ResultType="<type>"]/CheckResults" and, for most, "/ConcreteCheckResultBase".
enum class Family {
    Capacity,
    Shear,
    Torsion,
    Interaction,
    CrackWidth,
    Detailing,
    StressLimitation,
    Fatigue
};
inline constexpr int kFamilyCount = 8;

struct FamilyPath {
    std::string_view result_type;  // the ResultType text
    bool base;  // ".../CheckResults/ConcreteCheckResultBase" (else ".../CheckResults")
};

inline FamilyPath family_path(Family f) {
    switch (f) {
        case Family::Capacity:
            return {"Capacity", true};
        case Family::Shear:
            return {"Shear", true};
        case Family::Torsion:
            return {"Torsion", true};
        case Family::Interaction:
            return {"Interaction", true};
        case Family::CrackWidth:
            return {"CrackWidth", false};
        case Family::Detailing:
            return {"Detailing", true};
        case Family::StressLimitation:
            return {"StressLimitation", false};
        case Family::Fatigue:
            return {"Fatigue", false};
    }
    return {"", false};
}

// The expression as ElementTree takes it.
inline std::string family_path_text(Family f) {
    const FamilyPath p = family_path(f);
    std::string s = ".//*[ResultType=\"";
    s += p.result_type;
    s += "\"]/CheckResults";
    if (p.base) s += "/ConcreteCheckResultBase";
    return s;
}

// "ConcreteCheckResultBase[<pred>="<value>"]"
inline std::string item_path_text(Name pred, std::string_view value) {
    std::string s = "ConcreteCheckResultBase[";
    s += name_text(pred);
    s += "=\"";
    s += value;
    s += "\"]";
    return s;
}

// The chain below a candidate whose ResultType matched: "CheckResults" and, for most families,
// its first "ConcreteCheckResultBase".
inline NodeId family_chain(const Dom &d, NodeId e, bool base) {
    for (NodeId cr = d.node(e).first_child; cr != kNoNode; cr = d.node(cr).next_sibling) {
        if (d.tag(cr) != kCheckResults) continue;
        if (!base) return cr;
        for (NodeId b = d.node(cr).first_child; b != kNoNode; b = d.node(b).next_sibling) {
            if (d.tag(b) == kConcreteCheckResultBase) return b;
        }
    }
    return kNoNode;
}

// The next element after `e` in pre-order below `top` that can be a candidate for a family
// path or hold one: only an element with a "ResultType" below it can, so the walk passes over
// every other subtree (the builder flags the ancestors of each "ResultType").
inline NodeId next_candidate(const Dom &d, NodeId top, NodeId e) {
    return (d.flags(e) & Node::kContainsResultType) != 0 ? d.next_in_subtree(top, e)
                                                         : d.next_after_subtree(top, e);
}

// extreme.find(family_path_text(f)): candidates in pre-order below the extreme; the first one
// with a ResultType child whose whole text matches and with the chain below it.
inline NodeId find_family(const Dom &d, NodeId extreme, Family f) {
    const FamilyPath p = family_path(f);
    const std::string_view value = p.result_type;
    for (NodeId e = d.next_in_subtree(extreme, extreme); e != kNoNode;
         e = next_candidate(d, extreme, e)) {
        if ((d.flags(e) & Node::kContainsResultType) == 0) continue;
        bool hit = false;
        for (NodeId c = d.node(e).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            if (d.tag(c) == kResultType && d.itertext_equals(c, value)) {
                hit = true;
                break;
            }
        }
        if (!hit) continue;
        const NodeId found = family_chain(d, e, p.base);
        if (found != kNoNode) return found;
    }
    return kNoNode;
}

// find_family for all eight families, in one pre-order walk.
inline void locate_families(const Dom &d, NodeId extreme, NodeId out[kFamilyCount]) {
    FamilyPath paths[kFamilyCount];
    for (int f = 0; f < kFamilyCount; ++f) {
        out[f] = kNoNode;
        paths[f] = family_path((Family)f);
    }
    int missing = kFamilyCount;
    for (NodeId e = d.next_in_subtree(extreme, extreme); e != kNoNode && missing > 0;
         e = next_candidate(d, extreme, e)) {
        if ((d.flags(e) & Node::kContainsResultType) == 0) continue;
        bool matched[kFamilyCount] = {};
        bool any = false;
        for (NodeId c = d.node(e).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            if (d.tag(c) != kResultType) continue;
            for (int f = 0; f < kFamilyCount; ++f) {
                if (out[f] == kNoNode && !matched[f] &&
                    d.itertext_equals(c, paths[f].result_type)) {
                    matched[f] = any = true;
                }
            }
        }
        if (!any) continue;
        for (int f = 0; f < kFamilyCount; ++f) {
            if (!matched[f]) continue;
            const NodeId found = family_chain(d, e, paths[f].base);
            if (found != kNoNode) {
                out[f] = found;
                --missing;
            }
        }
    }
}

// Whether `e` is matched by "ConcreteCheckResultBase[<pred>="<value>"]".
inline bool item_matches(const Dom &d, NodeId e, Name pred, std::string_view value) {
    if (d.tag(e) != kConcreteCheckResultBase) return false;
    for (NodeId p = d.node(e).first_child; p != kNoNode; p = d.node(p).next_sibling) {
        if (d.tag(p) == pred && d.itertext_equals(p, value)) return true;
    }
    return false;
}

// n.find("ConcreteCheckResultBase[<pred>="<value>"]")
inline NodeId find_item(const Dom &d, NodeId n, Name pred, std::string_view value) {
    for (NodeId e = d.node(n).first_child; e != kNoNode; e = d.node(e).next_sibling) {
        if (item_matches(d, e, pred, value)) return e;
    }
    return kNoNode;
}

// n.findall("ConcreteCheckResultBase[<pred>="<value>"]"), one call of `f` per match.
template <class F>
void for_each_item(const Dom &d, NodeId n, Name pred, std::string_view value, F &&f) {
    for (NodeId e = d.node(n).first_child; e != kNoNode; e = d.node(e).next_sibling) {
        if (item_matches(d, e, pred, value)) f(e);
    }
}

// n.findall("ConcreteCheckResultBase[<pred>="<value>"]") for each of `count` values (at most
// 32), in one pass over the items: `f(e, v)` for each item `e` in document order and, within
// it, each index `v` in ascending order of a value that it matches. The items that one value
// gets are those, and in that order, that its own findall gives.
template <class F>
void for_each_item_of(const Dom &d, NodeId n, Name pred, const std::string_view *values,
                      std::size_t count, F &&f) {
    for (NodeId e = d.node(n).first_child; e != kNoNode; e = d.node(e).next_sibling) {
        if (d.tag(e) != kConcreteCheckResultBase) continue;
        std::uint32_t matched = 0;
        for (NodeId p = d.node(e).first_child; p != kNoNode; p = d.node(p).next_sibling) {
            if (d.tag(p) != pred) continue;
            for (std::size_t v = 0; v < count; ++v) {
                if ((matched >> v & 1u) == 0 && d.itertext_equals(p, values[v])) {
                    matched |= 1u << v;
                }
            }
        }
        for (std::size_t v = 0; matched != 0; ++v, matched >>= 1) {
            if ((matched & 1u) != 0) f(e, v);
        }
    }
}

// n.find(".//<tag>") for each of `count` tags, in one pre-order walk: `out[i]` the first
// descendant with `tags[i]`, or kNoNode.
inline void find_descendants(const Dom &d, NodeId n, const std::uint32_t *tags, std::size_t count,
                             NodeId *out) {
    std::size_t missing = count;
    for (std::size_t i = 0; i < count; ++i) out[i] = kNoNode;
    for (NodeId e = d.next_in_subtree(n, n); e != kNoNode && missing > 0;
         e = d.next_in_subtree(n, e)) {
        const std::uint32_t tag = d.tag(e);
        for (std::size_t i = 0; i < count; ++i) {
            if (out[i] == kNoNode && tags[i] == tag) {
                out[i] = e;
                --missing;
            }
        }
    }
}

// n.find("ConcreteCheckResultBase[<pred>="<value>"]/<leaf>")
inline NodeId find_item_child(const Dom &d, NodeId n, Name pred, std::string_view value,
                              Name leaf) {
    for (NodeId e = d.node(n).first_child; e != kNoNode; e = d.node(e).next_sibling) {
        if (!item_matches(d, e, pred, value)) continue;
        const NodeId c = d.child(e, leaf);
        if (c != kNoNode) return c;
    }
    return kNoNode;
}

// n.find(".//<tag>")
inline NodeId find_descendant(const Dom &d, NodeId n, std::uint32_t tag) {
    for (NodeId e = d.next_in_subtree(n, n); e != kNoNode; e = d.next_in_subtree(n, e)) {
        if (d.tag(e) == tag) return e;
    }
    return kNoNode;
}

// a.findtext(".//<tag>") == b.findtext(".//<tag>"): None, "" for no text, or the text.
inline bool same_descendant_text(const Dom &da, NodeId a, const Dom &db, NodeId b,
                                 std::uint32_t tag) {
    const NodeId x = find_descendant(da, a, tag);
    const NodeId y = find_descendant(db, b, tag);
    if (x == kNoNode || y == kNoNode) return x == y;
    return da.str(da.text(x)) == db.str(db.text(y));
}

// int(section.find("SectionId").text) when the text is plain: ASCII white space around an
// optional sign and up to 18 decimal digits. False for anything else (no such child, no text, any
// other spelling), which only the interpreter's int() reads as it does.
inline bool plain_section_id(const Dom &d, NodeId section, long long &value) {
    const NodeId id_el = d.child(section, kSectionId);
    if (id_el == kNoNode) return false;
    const Slice t = d.text(id_el);
    if (t.absent()) return false;
    std::string_view text = d.str(t);
    const auto space = [](char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    };
    while (!text.empty() && space(text.front())) text.remove_prefix(1);
    while (!text.empty() && space(text.back())) text.remove_suffix(1);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
    if (text.empty() || text.size() >= 19) return false;
    long long v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    value = negative ? -v : v;
    return true;
}

// Whether a str with these UTF-8 bytes gives "nan" when lower-cased: only the ASCII spellings
// of it do.
inline bool lowers_to_nan(std::string_view text) {
    return text.size() == 3 && (text[0] | 0x20) == 'n' && (text[1] | 0x20) == 'a' &&
           (text[2] | 0x20) == 'n';
}

}  // namespace marlox::results
