// The result readers, one per family, written once over both node kinds.
#pragma once

#include <optional>
#include <type_traits>
#include <utility>

#include "bindings/idea_rcs_results_nodes.hpp"

namespace marlox::py::results {

// ---------------------------------------------------------------------------------------------
// The readers, one per family, over either kind of node. `extremes` are the children of the
// section's "ExtremeResults", in document order.

template <class N>
nb::object leaf_text(const N &n) {
    if (n.null()) raise_none_attribute("text");
    return leaf_text_of(n);
}

template <class N>
nb::object leaf_float(const N &n) {
    if (n.null()) raise_none_attribute("text");
    return float_of(n);
}

// One entry per extreme: None where the family is missing or has no children, else what
// `read` makes of the family's element.
template <class N, class F>
nb::object per_extreme(const std::vector<N> &extremes, Family family, F &&read) {
    nb::object results = new_list();
    for (const N &extreme : extremes) {
        N element = find_family(extreme, family);
        if (element.null() || !has_children(element)) {
            list_append(results.ptr(), Py_None);
            continue;
        }
        nb::object entry = read(element);
        list_append(results.ptr(), entry.ptr());
    }
    return results;
}

template <class N>
nb::object read_capacity(const std::vector<N> &extremes) {
    return per_extreme(extremes, Family::Capacity, [&](const N &element) {
        nb::object entry = new_dict();
        const auto c = children_of(element);
        for (Name set : {marlox::results::kFu, marlox::results::kFu1, marlox::results::kFu2}) {
            N forces_element = c[set];
            if (forces_element.null()) raise_none_iteration();
            Py_ssize_t count = 0;
            for_each_child(forces_element, [&](const N &) { ++count; });
            nb::object forces = new_dict(count);
            for_each_child(forces_element, [&](const N &child) {
                nb::object value = float_of(child);
                nb::object tag = tag_of(child);
                dict_set(forces.ptr(), tag.ptr(), value.ptr());
            });
            dict_set(entry.ptr(), name_key(set),
                     PyDict_GET_SIZE(forces.ptr()) > 0 ? forces.ptr() : Py_None);
        }
        dict_set(entry.ptr(), name_key(marlox::results::kCheckValue),
                 leaf_float(c[marlox::results::kCheckValue]).ptr());
        dict_set(entry.ptr(), name_key(marlox::results::kResult),
                 leaf_text(c[marlox::results::kResult]).ptr());
        return entry;
    });
}

template <class N>
nb::object read_fixed_keys(const std::vector<N> &extremes, Family family,
                           std::initializer_list<Name> keys) {
    return per_extreme(extremes, family, [&](const N &element) {
        nb::object entry = new_dict((Py_ssize_t)keys.size() + 1);
        const auto c = children_of(element);
        for (Name key : keys) {
            dict_set(entry.ptr(), name_key(key), leaf_float(c[key]).ptr());
        }
        dict_set(entry.ptr(), name_key(marlox::results::kResult),
                 leaf_text(c[marlox::results::kResult]).ptr());
        return entry;
    });
}

#define MARLOX_N(x) marlox::results::k##x
// The interned str of a string literal, looked up once per place it is used.
#define MARLOX_KEY(text)                                    \
    ([]() -> PyObject * {                                   \
        static PyObject *const key_object = interned(text); \
        return key_object;                                  \
    }())

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

template <class C>
nb::object crack_term(const C &children) {
    nb::object term = new_dict(7);
    for (Name key : {MARLOX_N(N), MARLOX_N(My), MARLOX_N(Mz), MARLOX_N(W), MARLOX_N(Wlim),
                     MARLOX_N(CheckValue)}) {
        dict_set(term.ptr(), name_key(key), leaf_float(children[key]).ptr());
    }
    return term;
}

template <class N>
nb::object read_crack_width(const std::vector<N> &extremes) {
    PyObject *k_short = MARLOX_KEY("short");
    PyObject *k_long = MARLOX_KEY("long");
    return per_extreme(extremes, Family::CrackWidth, [&](const N &check_results) {
        N short_el = find_item(check_results, MARLOX_N(Check), "CrackWidthShort");
        N long_el = find_item(check_results, MARLOX_N(Check), "CrackWidthLong");
        nb::object entry = new_dict();
        nb::object short_term = nb::none();
        nb::object long_term = nb::none();
        using Children = decltype(children_of(short_el));
        std::optional<Children> short_children, long_children;
        if (!short_el.null()) {
            short_children.emplace(children_of(short_el));
            short_term = crack_term(*short_children);
        }
        if (!long_el.null()) {
            long_children.emplace(children_of(long_el));
            long_term = crack_term(*long_children);
        }
        dict_set(entry.ptr(), k_short, short_term.ptr());
        dict_set(entry.ptr(), k_long, long_term.ptr());
        if (short_children) {
            dict_set(short_term.ptr(), name_key(MARLOX_N(Result)),
                     leaf_text((*short_children)[MARLOX_N(Result)]).ptr());
        }
        if (long_children) {
            dict_set(long_term.ptr(), name_key(MARLOX_N(Result)),
                     leaf_text((*long_children)[MARLOX_N(Result)]).ptr());
        }
        return entry;
    });
}

template <class N>
nb::object read_detailing(const std::vector<N> &extremes) {
    return per_extreme(extremes, Family::Detailing, [&](const N &element) {
        const auto c = children_of(element);
        N long_reinf = c[MARLOX_N(CheckValueLongReinf)];
        N shear_reinf = c[MARLOX_N(CheckValueShearReinf)];
        auto optional_float = [](const N &n) { return n.null() ? nb::none() : float_of(n); };
        nb::object entry = new_dict(6);
        dict_set(entry.ptr(), MARLOX_KEY("longitudinal"), optional_float(long_reinf).ptr());
        dict_set(entry.ptr(), MARLOX_KEY("shear"), optional_float(shear_reinf).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(CheckValue)),
                 leaf_float(c[MARLOX_N(CheckValue)]).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(CheckValueLongReinf)),
                 optional_float(long_reinf).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(CheckValueShearReinf)),
                 optional_float(shear_reinf).ptr());
        dict_set(entry.ptr(), name_key(MARLOX_N(Result)), leaf_text(c[MARLOX_N(Result)]).ptr());
        return entry;
    });
}

inline constexpr std::string_view kStressChecks[] = {
    "Check_7_2_2_Concrete_fck",          "Check_7_2_3_Concrete_fck", "Check_7_2_5_Tendons_fpk",
    "Check_7_2_5_ReinforcementBars_fyk", "Check_5_10_3_2_Tendons",   "Check_5_10_2_1_1_Tendons",
};

template <class N>
nb::object read_stress_limitation(const std::vector<N> &extremes) {
    PyObject *k_short = MARLOX_KEY("short");
    PyObject *k_long = MARLOX_KEY("long");
    PyObject *check_keys[std::size(kStressChecks)];
    for (std::size_t k = 0; k < std::size(kStressChecks); ++k) {
        check_keys[k] = interned(kStressChecks[k].data());
    }
    static constexpr std::string_view kTerms[] = {"StressLimitationShort", "StressLimitationLong"};
    // Natively the items are sorted in two passes over them, by term and by check, instead of
    // one findall each; the items of the checks as (check, item), in document order.
    std::vector<N> shorts, longs;
    std::vector<std::pair<std::size_t, N>> checked;
    return per_extreme(extremes, Family::StressLimitation, [&](const N &check_results) {
        nb::object entry = new_dict(2 + std::size(kStressChecks));
        shorts.clear();
        longs.clear();
        checked.clear();
        if constexpr (std::is_same_v<N, NativeNode>) {
            findall_items_of(
                check_results, MARLOX_N(Check), kTerms, std::size(kTerms),
                [&](const N &e, std::size_t v) { (v == 0 ? shorts : longs).push_back(e); });
            findall_items_of(check_results, MARLOX_N(TypeCheck), kStressChecks,
                             std::size(kStressChecks),
                             [&](const N &e, std::size_t v) { checked.emplace_back(v, e); });
        } else {
            findall_items(check_results, MARLOX_N(Check), kTerms[0],
                          [&](const N &e) { shorts.push_back(e); });
            findall_items(check_results, MARLOX_N(Check), kTerms[1],
                          [&](const N &e) { longs.push_back(e); });
        }
        const std::pair<PyObject *, std::vector<N> *> terms[] = {{k_short, &shorts},
                                                                 {k_long, &longs}};
        for (const auto &[term, elements] : terms) {
            nb::object stresses = new_dict();
            for (const N &element : *elements) {
                const auto c = children_of(element);
                N type_check = c[MARLOX_N(TypeCheck)];
                N stress = c[MARLOX_N(Stress)];
                if (type_check.null() || stress.null()) continue;
                nb::object value = stress_or_nan(stress);
                const double v = PyFloat_AsDouble(value.ptr());
                if (v == -1.0 && PyErr_Occurred()) throw_python();
                nb::object key = leaf_text_of(type_check);
                dict_set(stresses.ptr(), key.ptr(), v != v ? Py_None : value.ptr());
            }
            dict_set(entry.ptr(), term,
                     PyDict_GET_SIZE(stresses.ptr()) > 0 ? stresses.ptr() : Py_None);
        }
        for (std::size_t k = 0; k < std::size(kStressChecks); ++k) {
            const std::string_view name = kStressChecks[k];
            PyObject *check_key = check_keys[k];
            dict_set(entry.ptr(), check_key, Py_None);
            nb::object check = nb::none();
            const auto read_check = [&](const N &element) {
                PyObject *term;
                const auto c = children_of(element);
                N check_el = c[MARLOX_N(Check)];
                if (check_el.null()) raise_none_attribute("text");
                if (text_equals(check_el, "StressLimitationShort")) {
                    term = k_short;
                } else {
                    check_el = c[MARLOX_N(Check)];
                    if (check_el.null()) raise_none_attribute("text");
                    if (!text_equals(check_el, "StressLimitationLong")) {
                        PyErr_SetNone(PyExc_NotImplementedError);
                        throw_python();
                    }
                    term = k_long;
                }
                if (check.is_none()) {
                    check = new_dict();
                    dict_set(entry.ptr(), check_key, check.ptr());
                }
                N stress = c[MARLOX_N(Stress)];
                if (stress.null()) raise_none_attribute("text");
                nb::object values = new_dict();
                nb::object stress_value = stress_or_none(stress);
                dict_set(values.ptr(), name_key(MARLOX_N(Stress)), stress_value.ptr());
                dict_set(values.ptr(), name_key(MARLOX_N(CheckValue)),
                         leaf_float(c[MARLOX_N(CheckValue)]).ptr());
                dict_set(values.ptr(), name_key(MARLOX_N(Result)),
                         leaf_text(c[MARLOX_N(Result)]).ptr());
                dict_set(check.ptr(), term, values.ptr());
            };
            if constexpr (std::is_same_v<N, NativeNode>) {
                for (const auto &[of, element] : checked) {
                    if (of == k) read_check(element);
                }
            } else {
                findall_items(check_results, MARLOX_N(TypeCheck), name, read_check);
            }
        }
        return entry;
    });
}

template <class N>
nb::object shear_values(const N &shear_result) {
    nb::object values = new_dict(8);
    const auto c = children_of(shear_result);
    for (Name key : {MARLOX_N(Ved), MARLOX_N(Vrd), MARLOX_N(Vrdc), MARLOX_N(Vrdmax), MARLOX_N(Vrdr),
                     MARLOX_N(Vrds), MARLOX_N(CheckValue)}) {
        dict_set(values.ptr(), name_key(key), leaf_float(c[key]).ptr());
    }
    dict_set(values.ptr(), name_key(MARLOX_N(Result)), leaf_text(c[MARLOX_N(Result)]).ptr());
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
    constexpr bool kNative = std::is_same_v<N, NativeNode>;
    static constexpr std::string_view kChecks[] = {"Fatigue", "Shear"};
    // Natively the items are sorted by check in one pass, and the forces that decide which
    // shear result is which are each found once.
    std::vector<N> fatigue_items, shear_items;
    return per_extreme(extremes, Family::Fatigue, [&](const N &check_results) {
        nb::object entry = new_dict();
        nb::object shear = new_dict();
        {
            nb::object empty = new_dict();
            dict_set(entry.ptr(), MARLOX_KEY("fatigue"), empty.ptr());
            dict_set(entry.ptr(), MARLOX_KEY("shear"), shear.ptr());
        }
        if constexpr (kNative) {
            fatigue_items.clear();
            shear_items.clear();
            findall_items_of(check_results, MARLOX_N(Check), kChecks, std::size(kChecks),
                             [&](const N &e, std::size_t v) {
                                 (v == 0 ? fatigue_items : shear_items).push_back(e);
                             });
        }
        // find("ConcreteCheckResultBase[Check="Fatigue"]/<leaf>")
        const auto fatigue_child = [&](Name leaf) {
            if constexpr (kNative) {
                for (const N &item : fatigue_items) {
                    N c = find_child(item, leaf);
                    if (!c.null()) return c;
                }
                return check_results.at(kNoNode);
            } else {
                return find_item_child(check_results, MARLOX_N(Check), kChecks[0], leaf);
            }
        };
        N max_forces = fatigue_child(MARLOX_N(InternalForceMax));
        N min_forces = fatigue_child(MARLOX_N(InternalForceMin));
        nb::object fatigue = new_dict();
        dict_set(fatigue.ptr(), name_key(MARLOX_N(CheckValue)),
                 leaf_float(fatigue_child(MARLOX_N(CheckValue))).ptr());
        dict_set(fatigue.ptr(), MARLOX_KEY("DecisionMethod"),
                 leaf_text(fatigue_child(MARLOX_N(DecissionMethod))).ptr());
        dict_set(fatigue.ptr(), name_key(MARLOX_N(Result)),
                 leaf_text(fatigue_child(MARLOX_N(Result))).ptr());
        dict_set(entry.ptr(), MARLOX_KEY("fatigue"), fatigue.ptr());
        if constexpr (kNative) {
            const Dom &d = check_results.dom();
            NativeForces max_at{}, min_at{};
            if (!max_forces.null()) max_at = forces_of(max_forces);
            if (!min_forces.null()) min_at = forces_of(min_forces);
            for (const N &shear_result : shear_items) {
                const NativeForces at = forces_of(shear_result);
                if (max_forces.null()) raise_none_attribute("findtext");
                if (same_forces(d, at, max_at)) {
                    dict_set(shear.ptr(), MARLOX_KEY("max"), shear_values(shear_result).ptr());
                }
                if (min_forces.null()) raise_none_attribute("findtext");
                if (same_forces(d, at, min_at)) {
                    dict_set(shear.ptr(), MARLOX_KEY("min"), shear_values(shear_result).ptr());
                }
            }
        } else {
            findall_items(check_results, MARLOX_N(Check), kChecks[1], [&](const N &shear_result) {
                if (same_internal_forces(shear_result, max_forces)) {
                    dict_set(shear.ptr(), MARLOX_KEY("max"), shear_values(shear_result).ptr());
                }
                if (same_internal_forces(shear_result, min_forces)) {
                    dict_set(shear.ptr(), MARLOX_KEY("min"), shear_values(shear_result).ptr());
                }
            });
        }
        return entry;
    });
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
    PyObject *key_objects[8];
    for (int k = 0; k < 8; ++k) key_objects[k] = interned(keys[k]);
    nb::object results = new_list();
    for (Py_ssize_t i = 0; i < count; ++i) {
        nb::object combined = new_dict(8);
        for (int k = 0; k < 8; ++k) {
            dict_set(combined.ptr(), key_objects[k], PyList_GET_ITEM(lists[k].ptr(), i));
        }
        list_append(results.ptr(), combined.ptr());
    }
    return results;
}

#undef MARLOX_N
#undef MARLOX_KEY

}  // namespace marlox::py::results
