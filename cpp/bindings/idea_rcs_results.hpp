// Result parsing: shared state of a parsed document, the two node kinds that the readers run on
// (the native tree and ElementTree elements) and the readers themselves, written once over both.
#pragma once

#include <Python.h>
#include <nanobind/nanobind.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/result_dom.hpp"
#include "core/result_paths.hpp"
#include "core/result_scan.hpp"

namespace marlox::py::results {

namespace nb = nanobind;
using marlox::results::Dom;
using marlox::results::kNoNode;
using marlox::results::Name;
using marlox::results::NodeId;
using marlox::results::Slice;

// The interpreter's expat, set up as ElementTree sets up its own (also used by the input reader).
const expat::Host &expat_host();

// ---------------------------------------------------------------------------------------------
// Python helpers

[[noreturn]] inline void throw_python() { throw nb::python_error(); }

inline nb::object steal_or_throw(PyObject *o) {
    if (o == nullptr) throw_python();
    return nb::steal(o);
}

// The interpreter's own error for `None.<name>` (AttributeError with name and obj set).
[[noreturn]] inline void raise_none_attribute(const char *name) {
    PyObject *r = PyObject_GetAttrString(Py_None, name);
    Py_XDECREF(r);
    throw_python();
}

// The interpreter's own error for iterating over None.
[[noreturn]] inline void raise_none_iteration() {
    PyObject *r = PyObject_GetIter(Py_None);
    Py_XDECREF(r);
    throw_python();
}

// An interned str that lives as long as the interpreter.
PyObject *interned(const char *text);
PyObject *name_key(Name name);
// A path string for ElementTree's find/findall/findtext (interned, kept).
PyObject *path_string(const std::string &path);

inline void dict_set(PyObject *dict, PyObject *key, PyObject *value) {
    if (PyDict_SetItem(dict, key, value) != 0) throw_python();
}

inline nb::object new_dict() { return steal_or_throw(PyDict_New()); }
inline nb::object new_list() { return steal_or_throw(PyList_New(0)); }
inline void list_append(PyObject *list, PyObject *value) {
    if (PyList_Append(list, value) != 0) throw_python();
}

inline nb::object str_from(std::string_view s) {
    return steal_or_throw(PyUnicode_DecodeUTF8(s.data(), (Py_ssize_t)s.size(), "strict"));
}

// float(text) for text taken from the tree: exactly the interpreter's float() of that str.
nb::object float_from_text(std::string_view text);

// xml.etree.ElementTree and the names used from it.
struct Et {
    PyObject *module;
    PyObject *element;      // Element
    PyObject *sub_element;  // SubElement
    PyObject *parse_error;  // ParseError
};
const Et &et();

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

template <class F>
void for_each_child(const NativeNode &n, F &&f) {
    const Dom &d = n.dom();
    for (NodeId c = d.node(n.id).first_child; c != kNoNode; c = d.node(c).next_sibling) {
        f(NativeNode{n.doc, c, nullptr});
    }
}

inline nb::object text_of(const NativeNode &n) { return n.doc->text_object(n.dom().text(n.id)); }

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

inline nb::object tag_of(const EtNode &n) {
    return steal_or_throw(PyObject_GetAttr(n.o.ptr(), interned("tag")));
}

inline nb::object float_of(const EtNode &n) {
    nb::object text = text_of(n);
    return steal_or_throw(PyNumber_Float(text.ptr()));
}

inline bool is_truthy(PyObject *o) {
    const int t = PyObject_IsTrue(o);
    if (t < 0) throw_python();
    return t == 1;
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
    return is_truthy(eq.ptr());
}

inline nb::object stress_or_nan(const EtNode &n) {
    nb::object text = text_of(n);
    if (!is_truthy(text.ptr())) text = nb::borrow(interned("nan"));
    return steal_or_throw(PyNumber_Float(text.ptr()));
}

inline nb::object stress_or_none(const EtNode &n) {
    nb::object text = text_of(n);
    if (!is_truthy(text.ptr())) text = nb::borrow(interned(""));
    nb::object lowered = steal_or_throw(PyObject_CallMethod(text.ptr(), "lower", nullptr));
    const int eq = PyObject_RichCompareBool(lowered.ptr(), interned("nan"), Py_EQ);
    if (eq < 0) throw_python();
    if (eq == 1) return nb::none();
    return steal_or_throw(PyNumber_Float(text.ptr()));
}

// ---------------------------------------------------------------------------------------------
// The readers, one per family, over either kind of node. `extremes` are the children of the
// section's "ExtremeResults", in document order.

template <class N>
nb::object leaf_text(const N &n) {
    if (n.null()) raise_none_attribute("text");
    return text_of(n);
}

template <class N>
nb::object leaf_float(const N &n) {
    if (n.null()) raise_none_attribute("text");
    return float_of(n);
}

template <class N>
nb::object read_capacity(const std::vector<N> &extremes) {
    nb::object results = new_list();
    for (const N &extreme : extremes) {
        N element = find_family(extreme, Family::Capacity);
        nb::object entry = nb::none();
        if (!element.null() && has_children(element)) {
            entry = new_dict();
            for (Name set : {marlox::results::kFu, marlox::results::kFu1, marlox::results::kFu2}) {
                N forces_element = find_child(element, set);
                if (forces_element.null()) raise_none_iteration();
                nb::object forces = new_dict();
                for_each_child(forces_element, [&](const N &child) {
                    nb::object value = float_of(child);
                    nb::object tag = tag_of(child);
                    dict_set(forces.ptr(), tag.ptr(), value.ptr());
                });
                dict_set(entry.ptr(), name_key(set),
                         PyDict_GET_SIZE(forces.ptr()) > 0 ? forces.ptr() : Py_None);
            }
            dict_set(entry.ptr(), name_key(marlox::results::kCheckValue),
                     leaf_float(find_child(element, marlox::results::kCheckValue)).ptr());
            dict_set(entry.ptr(), name_key(marlox::results::kResult),
                     leaf_text(find_child(element, marlox::results::kResult)).ptr());
        }
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

template <class N>
nb::object read_fixed_keys(const std::vector<N> &extremes, Family family,
                           std::initializer_list<Name> keys) {
    nb::object results = new_list();
    for (const N &extreme : extremes) {
        N element = find_family(extreme, family);
        nb::object entry = nb::none();
        if (!element.null() && has_children(element)) {
            entry = new_dict();
            for (Name key : keys) {
                dict_set(entry.ptr(), name_key(key), leaf_float(find_child(element, key)).ptr());
            }
            dict_set(entry.ptr(), name_key(marlox::results::kResult),
                     leaf_text(find_child(element, marlox::results::kResult)).ptr());
        }
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

#define MARLOX_N(x) marlox::results::k##x

template <class N>
nb::object read_shear(const std::vector<N> &extremes) {
    return read_fixed_keys(extremes, Family::Shear,
                           {MARLOX_N(Ved), MARLOX_N(Vrd), MARLOX_N(Vrdc), MARLOX_N(Vrdmax),
                            MARLOX_N(Vrdr), MARLOX_N(Vrds), MARLOX_N(CheckValue)});
}

template <class N>
nb::object read_torsion(const std::vector<N> &extremes) {
    return read_fixed_keys(extremes, Family::Torsion,
                           {MARLOX_N(Ted), MARLOX_N(Trdc), MARLOX_N(Trdmax), MARLOX_N(Trds),
                            MARLOX_N(Trd), MARLOX_N(CheckValue)});
}

template <class N>
nb::object read_interaction(const std::vector<N> &extremes) {
    return read_fixed_keys(
        extremes, Family::Interaction,
        {MARLOX_N(Ned), MARLOX_N(Medy), MARLOX_N(Medz), MARLOX_N(Ved), MARLOX_N(Ted),
         MARLOX_N(CheckValue), MARLOX_N(CheckValueShearAndTorsion),
         MARLOX_N(CheckValueShearTorsionAndBending)});
}

template <class N>
nb::object crack_term(const N &element) {
    nb::object term = new_dict();
    for (Name key : {MARLOX_N(N), MARLOX_N(My), MARLOX_N(Mz), MARLOX_N(W), MARLOX_N(Wlim),
                     MARLOX_N(CheckValue)}) {
        dict_set(term.ptr(), name_key(key), leaf_float(find_child(element, key)).ptr());
    }
    return term;
}

template <class N>
nb::object read_crack_width(const std::vector<N> &extremes) {
    nb::object results = new_list();
    PyObject *k_short = interned("short");
    PyObject *k_long = interned("long");
    for (const N &extreme : extremes) {
        N check_results = find_family(extreme, Family::CrackWidth);
        if (check_results.null() || !has_children(check_results)) {
            list_append(results.ptr(), Py_None);
            continue;
        }
        N short_el = find_item(check_results, MARLOX_N(Check), "CrackWidthShort");
        N long_el = find_item(check_results, MARLOX_N(Check), "CrackWidthLong");
        nb::object entry = new_dict();
        nb::object short_term = short_el.null() ? nb::none() : crack_term(short_el);
        nb::object long_term = long_el.null() ? nb::none() : crack_term(long_el);
        dict_set(entry.ptr(), k_short, short_term.ptr());
        dict_set(entry.ptr(), k_long, long_term.ptr());
        if (!short_term.is_none()) {
            dict_set(short_term.ptr(), name_key(MARLOX_N(Result)),
                     leaf_text(find_child(short_el, MARLOX_N(Result))).ptr());
        }
        if (!long_term.is_none()) {
            dict_set(long_term.ptr(), name_key(MARLOX_N(Result)),
                     leaf_text(find_child(long_el, MARLOX_N(Result))).ptr());
        }
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

template <class N>
nb::object read_detailing(const std::vector<N> &extremes) {
    nb::object results = new_list();
    for (const N &extreme : extremes) {
        N element = find_family(extreme, Family::Detailing);
        if (element.null() || !has_children(element)) {
            list_append(results.ptr(), Py_None);
            continue;
        }
        N long_reinf = find_child(element, MARLOX_N(CheckValueLongReinf));
        N shear_reinf = find_child(element, MARLOX_N(CheckValueShearReinf));
        auto optional_float = [](const N &n) { return n.null() ? nb::none() : float_of(n); };
        nb::object entry = new_dict();
        dict_set(entry.ptr(), interned("longitudinal"), optional_float(long_reinf).ptr());
        dict_set(entry.ptr(), interned("shear"), optional_float(shear_reinf).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(CheckValue)),
                 leaf_float(find_child(element, MARLOX_N(CheckValue))).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(CheckValueLongReinf)),
                 optional_float(long_reinf).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(CheckValueShearReinf)),
                 optional_float(shear_reinf).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(Result)),
                 leaf_text(find_child(element, MARLOX_N(Result))).ptr());
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

inline constexpr const char *kStressChecks[] = {
    "Check_7_2_2_Concrete_fck",          "Check_7_2_3_Concrete_fck", "Check_7_2_5_Tendons_fpk",
    "Check_7_2_5_ReinforcementBars_fyk", "Check_5_10_3_2_Tendons",   "Check_5_10_2_1_1_Tendons",
};

template <class N>
nb::object read_stress_limitation(const std::vector<N> &extremes) {
    nb::object results = new_list();
    for (const N &extreme : extremes) {
        N check_results = find_family(extreme, Family::StressLimitation);
        if (check_results.null() || !has_children(check_results)) {
            list_append(results.ptr(), Py_None);
            continue;
        }
        nb::object entry = new_dict();
        std::vector<N> shorts, longs;
        findall_items(check_results, MARLOX_N(Check), "StressLimitationShort",
                      [&](const N &e) { shorts.push_back(e); });
        findall_items(check_results, MARLOX_N(Check), "StressLimitationLong",
                      [&](const N &e) { longs.push_back(e); });
        const std::pair<const char *, std::vector<N> *> terms[] = {{"short", &shorts},
                                                                   {"long", &longs}};
        for (const auto &[term, elements] : terms) {
            nb::object stresses = new_dict();
            for (const N &element : *elements) {
                N type_check = find_child(element, MARLOX_N(TypeCheck));
                N stress = find_child(element, MARLOX_N(Stress));
                if (type_check.null() || stress.null()) continue;
                nb::object value = stress_or_nan(stress);
                const double v = PyFloat_AsDouble(value.ptr());
                if (v == -1.0 && PyErr_Occurred()) throw_python();
                nb::object key = text_of(type_check);
                dict_set(stresses.ptr(), key.ptr(), v != v ? Py_None : value.ptr());
            }
            dict_set(entry.ptr(), interned(term),
                     PyDict_GET_SIZE(stresses.ptr()) > 0 ? stresses.ptr() : Py_None);
        }
        for (const char *name : kStressChecks) {
            PyObject *check_key = interned(name);
            dict_set(entry.ptr(), check_key, Py_None);
            nb::object check = nb::none();
            findall_items(check_results, MARLOX_N(TypeCheck), name, [&](const N &element) {
                PyObject *term;
                N check_el = find_child(element, MARLOX_N(Check));
                if (check_el.null()) raise_none_attribute("text");
                if (text_equals(check_el, "StressLimitationShort")) {
                    term = interned("short");
                } else {
                    check_el = find_child(element, MARLOX_N(Check));
                    if (check_el.null()) raise_none_attribute("text");
                    if (!text_equals(check_el, "StressLimitationLong")) {
                        PyErr_SetNone(PyExc_NotImplementedError);
                        throw_python();
                    }
                    term = interned("long");
                }
                if (check.is_none()) {
                    check = new_dict();
                    dict_set(entry.ptr(), check_key, check.ptr());
                }
                N stress = find_child(element, MARLOX_N(Stress));
                if (stress.null()) raise_none_attribute("text");
                nb::object values = new_dict();
                nb::object stress_value = stress_or_none(stress);
                dict_set(values.ptr(), name_key(MARLOX_N(Stress)), stress_value.ptr());
                dict_set(values.ptr(), name_key(MARLOX_N(CheckValue)),
                         leaf_float(find_child(element, MARLOX_N(CheckValue))).ptr());
                dict_set(values.ptr(), name_key(MARLOX_N(Result)),
                         leaf_text(find_child(element, MARLOX_N(Result))).ptr());
                dict_set(check.ptr(), term, values.ptr());
            });
        }
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

template <class N>
nb::object shear_values(const N &shear_result) {
    nb::object values = new_dict();
    for (Name key : {MARLOX_N(Ved), MARLOX_N(Vrd), MARLOX_N(Vrdc), MARLOX_N(Vrdmax), MARLOX_N(Vrdr),
                     MARLOX_N(Vrds), MARLOX_N(CheckValue)}) {
        dict_set(values.ptr(), name_key(key), leaf_float(find_child(shear_result, key)).ptr());
    }
    dict_set(values.ptr(), name_key(MARLOX_N(Result)),
             leaf_text(find_child(shear_result, MARLOX_N(Result))).ptr());
    return values;
}

// all(shear.findtext(".//k") == forces.findtext(".//k") for k in N, Qy, Qz, Mx, My, Mz)
template <class N>
bool same_internal_forces(const N &shear_result, const N &forces) {
    for (Name key :
         {MARLOX_N(N), MARLOX_N(Qy), MARLOX_N(Qz), MARLOX_N(Mx), MARLOX_N(My), MARLOX_N(Mz)}) {
        if (forces.null()) raise_none_attribute("findtext");
        if (!findtext_equal(shear_result, forces, key)) return false;
    }
    return true;
}

template <class N>
nb::object read_fatigue(const std::vector<N> &extremes) {
    nb::object results = new_list();
    for (const N &extreme : extremes) {
        N check_results = find_family(extreme, Family::Fatigue);
        if (check_results.null() || !has_children(check_results)) {
            list_append(results.ptr(), Py_None);
            continue;
        }
        nb::object entry = new_dict();
        nb::object shear = new_dict();
        {
            nb::object empty = new_dict();
            dict_set(entry.ptr(), interned("fatigue"), empty.ptr());
            dict_set(entry.ptr(), interned("shear"), shear.ptr());
        }
        N max_forces =
            find_item_child(check_results, MARLOX_N(Check), "Fatigue", MARLOX_N(InternalForceMax));
        N min_forces =
            find_item_child(check_results, MARLOX_N(Check), "Fatigue", MARLOX_N(InternalForceMin));
        nb::object fatigue = new_dict();
        dict_set(fatigue.ptr(), name_key(MARLOX_N(CheckValue)),
                 leaf_float(find_item_child(check_results, MARLOX_N(Check), "Fatigue",
                                            MARLOX_N(CheckValue)))
                     .ptr());
        dict_set(fatigue.ptr(), interned("DecisionMethod"),
                 leaf_text(find_item_child(check_results, MARLOX_N(Check), "Fatigue",
                                           MARLOX_N(DecissionMethod)))
                     .ptr());
        dict_set(
            fatigue.ptr(), name_key(MARLOX_N(Result)),
            leaf_text(find_item_child(check_results, MARLOX_N(Check), "Fatigue", MARLOX_N(Result)))
                .ptr());
        dict_set(entry.ptr(), interned("fatigue"), fatigue.ptr());
        findall_items(check_results, MARLOX_N(Check), "Shear", [&](const N &shear_result) {
            if (same_internal_forces(shear_result, max_forces)) {
                dict_set(shear.ptr(), interned("max"), shear_values(shear_result).ptr());
            }
            if (same_internal_forces(shear_result, min_forces)) {
                dict_set(shear.ptr(), interned("min"), shear_values(shear_result).ptr());
            }
        });
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

template <class N>
nb::object read_extremes(const std::vector<N> &extremes) {
    nb::object lists[8] = {read_capacity(extremes),          read_shear(extremes),
                           read_torsion(extremes),           read_interaction(extremes),
                           read_crack_width(extremes),       read_detailing(extremes),
                           read_stress_limitation(extremes), read_fatigue(extremes)};
    static const char *const keys[8] = {"capacity",          "shear",       "torsion",
                                        "interaction",       "crack_width", "detailing",
                                        "stress_limitation", "fatigue"};
    Py_ssize_t count = PY_SSIZE_T_MAX;
    for (const nb::object &l : lists) count = std::min(count, PyList_GET_SIZE(l.ptr()));
    nb::object results = new_list();
    for (Py_ssize_t i = 0; i < count; ++i) {
        nb::object combined = new_dict();
        for (int k = 0; k < 8; ++k) {
            dict_set(combined.ptr(), interned(keys[k]), PyList_GET_ITEM(lists[k].ptr(), i));
        }
        list_append(results.ptr(), combined.ptr());
    }
    return results;
}

#undef MARLOX_N

}  // namespace marlox::py::results
