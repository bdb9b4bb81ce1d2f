// The two node kinds that the result readers run on: the native tree and ElementTree elements.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>

#include "bindings/idea_rcs_results_doc.hpp"

namespace marlox::py::results {

// ---------------------------------------------------------------------------------------------
// Native nodes: the paths are evaluated by the core (core/result_paths.hpp)

using marlox::results::Family;
using marlox::results::family_path_text;
using marlox::results::item_path_text;
using marlox::results::kFamilyCount;

struct NativeNode {
    DocState *doc = nullptr;
    NodeId id = kNoNode;
    // For an extreme: the eight family locations found in one walk (see locate_families).
    const NodeId *located = nullptr;
    bool null() const { return id == kNoNode; }
    const Dom &dom() const { return doc->dom(); }
    NativeNode at(NodeId other) const { return {doc, other, nullptr}; }
};

inline NativeNode find_child(const NativeNode &n, Name tag) {
    return n.at(n.dom().child(n.id, tag));
}

inline NativeNode find_family(const NativeNode &extreme, Family f) {
    if (extreme.located != nullptr) return extreme.at(extreme.located[(int)f]);
    return extreme.at(marlox::results::find_family(extreme.dom(), extreme.id, f));
}

inline NativeNode find_item(const NativeNode &n, Name pred, std::string_view value) {
    return n.at(marlox::results::find_item(n.dom(), n.id, pred, value));
}

template <class F>
void findall_items(const NativeNode &n, Name pred, std::string_view value, F &&f) {
    marlox::results::for_each_item(n.dom(), n.id, pred, value, [&](NodeId e) { f(n.at(e)); });
}

// findall_items for several values in one pass: `f(item, v)`, items in document order (see
// marlox::results::for_each_item_of).
template <class F>
void findall_items_of(const NativeNode &n, Name pred, const std::string_view *values,
                      std::size_t count, F &&f) {
    marlox::results::for_each_item_of(n.dom(), n.id, pred, values, count,
                                      [&](NodeId e, std::size_t v) { f(n.at(e), v); });
}

// The internal forces below a present element, found in one walk, for comparing with others:
// the elements that findtext(".//<k>") reads for k in N, Qy, Qz, Mx, My, Mz.
struct NativeForces {
    static constexpr std::uint32_t kTags[] = {marlox::results::kN,  marlox::results::kQy,
                                              marlox::results::kQz, marlox::results::kMx,
                                              marlox::results::kMy, marlox::results::kMz};
    NodeId at[std::size(kTags)];
};

inline NativeForces forces_of(const NativeNode &n) {
    NativeForces f;
    marlox::results::find_descendants(n.dom(), n.id, NativeForces::kTags,
                                      std::size(NativeForces::kTags), f.at);
    return f;
}

// Whether findtext(".//<k>") is the same below both, for every k of the internal forces.
inline bool same_forces(const Dom &d, const NativeForces &a, const NativeForces &b) {
    for (std::size_t i = 0; i < std::size(NativeForces::kTags); ++i) {
        const NodeId x = a.at[i];
        const NodeId y = b.at[i];
        if (x == kNoNode || y == kNoNode) {
            if (x != y) return false;
        } else if (d.str(d.text(x)) != d.str(d.text(y))) {
            return false;
        }
    }
    return true;
}

inline NativeNode find_item_child(const NativeNode &n, Name pred, std::string_view value,
                                  Name leaf) {
    return n.at(marlox::results::find_item_child(n.dom(), n.id, pred, value, leaf));
}

// findtext(".//<tag>"): None when absent, "" for an element without text.
inline nb::object findtext_descendant(const NativeNode &n, Name tag) {
    const NodeId e = marlox::results::find_descendant(n.dom(), n.id, tag);
    if (e == kNoNode) return nb::none();
    const Slice t = n.dom().text(e);
    if (t.absent()) return nb::borrow(interned(""));
    return str_from(n.dom().str(t));
}

inline bool has_children(const NativeNode &n) { return n.dom().has_children(n.id); }

// The first child of each tag that the readers look for, as find(tag) gives it, found in one
// pass over the children of a present element.
struct NativeChildren {
    NativeNode parent;
    NodeId first[marlox::results::kNameCount];
    NativeNode operator[](Name tag) const { return parent.at(first[tag]); }
};

inline NativeChildren children_of(const NativeNode &n) {
    NativeChildren c{n, {}};
    std::fill(std::begin(c.first), std::end(c.first), kNoNode);
    const Dom &d = n.dom();
    for (NodeId k = d.node(n.id).first_child; k != kNoNode; k = d.node(k).next_sibling) {
        const std::uint32_t tag = d.tag(k);
        if (tag < marlox::results::kNameCount && c.first[tag] == kNoNode) c.first[tag] = k;
    }
    return c;
}

template <class F>
void for_each_child(const NativeNode &n, F &&f) {
    const Dom &d = n.dom();
    for (NodeId c = d.node(n.id).first_child; c != kNoNode; c = d.node(c).next_sibling) {
        f(NativeNode{n.doc, c, nullptr});
    }
}

inline nb::object text_of(const NativeNode &n) { return n.doc->text_object(n.dom().text(n.id)); }

// The text of a leaf that the readers hand out: the words that repeat all through a result
// file ("Passed", the names of the checks) are made into str objects once and shared (a str
// cannot be changed), through a small table that a new word takes over.
inline nb::object leaf_text_of(const NativeNode &n) {
    const Slice t = n.dom().text(n.id);
    if (t.absent()) return nb::none();
    const std::string_view text = n.dom().str(t);
    struct Word {
        std::size_t len = 0;
        char bytes[32];
        nb::object str;
    };
    static Word *const words = new Word[64];  // never freed: it may outlive the interpreter
    if (text.empty() || text.size() > sizeof(Word::bytes)) return str_from(text);
    const std::size_t slot =
        (text.size() * 131 + (unsigned char)text.front() * 31 +
         (unsigned char)text[text.size() / 2] * 7 + (unsigned char)text.back()) &
        63;
    Word &w = words[slot];
    if (w.str.is_valid() && w.len == text.size() &&
        std::memcmp(w.bytes, text.data(), text.size()) == 0) {
        return w.str;
    }
    nb::object made = str_from(text);
    w.str = made;
    w.len = text.size();
    std::memcpy(w.bytes, text.data(), text.size());
    return made;
}

inline nb::object tag_of(const NativeNode &n) {
    return nb::borrow(n.doc->tag_object(n.dom().tag(n.id)));
}

inline nb::object float_of(const NativeNode &n) {
    const Slice t = n.dom().text(n.id);
    if (t.absent()) return steal_or_throw(PyNumber_Float(Py_None));
    return float_from_text(n.dom().str(t));
}

// element.text == value, for a present element.
inline bool text_equals(const NativeNode &n, const char *value) {
    const Slice t = n.dom().text(n.id);
    return !t.absent() && n.dom().str(t) == value;
}

// a.findtext(path) == b.findtext(path) for ".//<tag>", on two present elements.
inline bool findtext_equal(const NativeNode &a, const NativeNode &b, Name tag) {
    return marlox::results::same_descendant_text(a.dom(), a.id, b.dom(), b.id, tag);
}

// float(stress.text or "nan"), for a present element.
inline nb::object stress_or_nan(const NativeNode &n) {
    const Slice t = n.dom().text(n.id);
    if (t.absent() || t.len == 0) return float_from_text("nan");
    return float_from_text(n.dom().str(t));
}

// None if (text or "").lower() == "nan" else float(text or ""), for a present element. Only
// the ASCII spellings of "nan" lower to it.
inline nb::object stress_or_none(const NativeNode &n) {
    const Slice t = n.dom().text(n.id);
    const std::string_view text = t.absent() ? std::string_view() : n.dom().str(t);
    if (marlox::results::lowers_to_nan(text)) return nb::none();
    return float_from_text(text);
}

// ---------------------------------------------------------------------------------------------
// ElementTree elements (or whatever the caller put in their place): every step is the
// element's own method or attribute, called exactly as the plain Python readers call it.

struct EtNode {
    nb::object o;
    bool null() const { return !o.is_valid() || o.is_none(); }
};

inline EtNode et_call(const EtNode &n, const char *method, PyObject *path) {
    PyObject *name = interned(method);
    return EtNode{steal_or_throw(PyObject_CallMethodOneArg(n.o.ptr(), name, path))};
}

inline EtNode find_child(const EtNode &n, Name tag) { return et_call(n, "find", name_key(tag)); }

inline EtNode find_family(const EtNode &extreme, Family f) {
    static PyObject *paths[8] = {};
    PyObject *&p = paths[(int)f];
    if (p == nullptr) p = path_string(family_path_text(f));
    return et_call(extreme, "find", p);
}

inline EtNode find_item(const EtNode &n, Name pred, std::string_view value) {
    return et_call(n, "find", path_string(item_path_text(pred, value)));
}

template <class F>
void findall_items(const EtNode &n, Name pred, std::string_view value, F &&f) {
    EtNode all = et_call(n, "findall", path_string(item_path_text(pred, value)));
    nb::object it = steal_or_throw(PyObject_GetIter(all.o.ptr()));
    while (PyObject *item = PyIter_Next(it.ptr())) f(EtNode{nb::steal(item)});
    if (PyErr_Occurred()) throw_python();
}

inline EtNode find_item_child(const EtNode &n, Name pred, std::string_view value, Name leaf) {
    std::string path = item_path_text(pred, value);
    path += "/";
    path += marlox::results::name_text(leaf);
    return et_call(n, "find", path_string(path));
}

inline nb::object findtext_descendant(const EtNode &n, Name tag) {
    std::string path = ".//";
    path += marlox::results::name_text(tag);
    return et_call(n, "findtext", path_string(path)).o;
}

// On ElementTree elements, each look-up is the element's own find(tag), made when asked.
struct EtChildren {
    EtNode parent;
    EtNode operator[](Name tag) const { return find_child(parent, tag); }
};

inline EtChildren children_of(const EtNode &n) { return EtChildren{n}; }

inline bool has_children(const EtNode &n) {
    const Py_ssize_t len = PyObject_Length(n.o.ptr());
    if (len < 0) throw_python();
    return len > 0;
}

template <class F>
void for_each_child(const EtNode &n, F &&f) {
    nb::object it = steal_or_throw(PyObject_GetIter(n.o.ptr()));
    while (PyObject *item = PyIter_Next(it.ptr())) f(EtNode{nb::steal(item)});
    if (PyErr_Occurred()) throw_python();
}

inline nb::object text_of(const EtNode &n) {
    return steal_or_throw(PyObject_GetAttr(n.o.ptr(), interned("text")));
}

inline nb::object leaf_text_of(const EtNode &n) { return text_of(n); }

inline nb::object tag_of(const EtNode &n) {
    return steal_or_throw(PyObject_GetAttr(n.o.ptr(), interned("tag")));
}

inline nb::object float_of(const EtNode &n) {
    nb::object text = text_of(n);
    return steal_or_throw(PyNumber_Float(text.ptr()));
}

inline bool text_equals(const EtNode &n, const char *value) {
    nb::object text = text_of(n);
    const int eq = PyObject_RichCompareBool(text.ptr(), interned(value), Py_EQ);
    if (eq < 0) throw_python();
    return eq == 1;
}

inline bool findtext_equal(const EtNode &a, const EtNode &b, Name tag) {
    nb::object left = findtext_descendant(a, tag);
    nb::object right = findtext_descendant(b, tag);
    nb::object eq = steal_or_throw(PyObject_RichCompare(left.ptr(), right.ptr(), Py_EQ));
    return truthy(eq.ptr());
}

inline nb::object stress_or_nan(const EtNode &n) {
    nb::object text = text_of(n);
    if (!truthy(text.ptr())) text = nb::borrow(interned("nan"));
    return steal_or_throw(PyNumber_Float(text.ptr()));
}

inline nb::object stress_or_none(const EtNode &n) {
    nb::object text = text_of(n);
    if (!truthy(text.ptr())) text = nb::borrow(interned(""));
    nb::object lowered = steal_or_throw(PyObject_CallMethod(text.ptr(), "lower", nullptr));
    const int eq = PyObject_RichCompareBool(lowered.ptr(), interned("nan"), Py_EQ);
    if (eq < 0) throw_python();
    if (eq == 1) return nb::none();
    return steal_or_throw(PyNumber_Float(text.ptr()));
}

}  // namespace marlox::py::results
