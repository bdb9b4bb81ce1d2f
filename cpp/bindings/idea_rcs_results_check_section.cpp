// RcsOutputFileParser.SectionResult: the readers on one check section, natively while the section
// is an untouched part of the native tree, else through its ElementTree element.
#include "bindings/idea_rcs_results_check_section.hpp"

#include <algorithm>

#include "bindings/translate.hpp"
#include "core/error.hpp"

namespace marlox::py::results {

// ---------------------------------------------------------------------------------------------
// SectionResult

PyObject *section_tag() { return name_key(marlox::results::kSectionConcreteCheckResult); }

namespace {

nb::handle g_section_result_type;

nb::object section_element(SectionResult &s) {
    if (!s.element.is_valid() && s.native()) {
        if (s.stale()) {
            // The element of a section the scan has moved past: emptied, as clear() leaves it.
            s.element = steal_or_throw(PyObject_CallOneArg(et().element, section_tag()));
        } else {
            s.element = materialize(*s.doc, s.node);
        }
    }
    if (!s.element.is_valid()) return nb::none();
    return s.element;
}

}  // namespace

std::vector<EtNode> et_extremes(const nb::object &element) {
    std::vector<EtNode> extremes;
    EtNode er = et_call(EtNode{element}, "find", name_key(marlox::results::kExtremeResults));
    if (er.null()) return extremes;
    for_each_child(er, [&](const EtNode &n) { extremes.push_back(n); });
    return extremes;
}

// Whether the type of `self` (a subclass) replaces the method `name` of `base`.
bool overrides(nb::handle self, nb::handle base, const char *name) {
    if ((PyObject *)Py_TYPE(self.ptr()) == base.ptr()) return false;
    nb::object mine = steal_or_throw(PyObject_GetAttrString((PyObject *)Py_TYPE(self.ptr()), name));
    nb::object original = steal_or_throw(PyObject_GetAttrString(base.ptr(), name));
    return !mine.is(original);
}

namespace {

// A reader on a section: over the subclass's own _iter_extreme_results() if it has one, as
// the plain readers take their extremes from it.
template <class R>
nb::object read_section_of(nb::handle self, R &&reader, bool all_families = false) {
    if (overrides(self, g_section_result_type, "_iter_extreme_results")) {
        nb::object extremes =
            steal_or_throw(PyObject_CallMethod(self.ptr(), "_iter_extreme_results", nullptr));
        std::vector<EtNode> nodes;
        for_each_child(EtNode{extremes}, [&](const EtNode &n) { nodes.push_back(n); });
        return reader(nodes);
    }
    return read_section(nb::cast<SectionResult &>(self), reader, all_families);
}

const char *const kReaderNames[8] = {"capacity",    "shear",     "torsion",           "interaction",
                                     "crack_width", "detailing", "stress_limitation", "fatigue"};

// extremes() of a subclass that replaces readers: its own readers, zipped.
nb::object extremes_of(nb::handle self) {
    bool replaced = overrides(self, g_section_result_type, "_iter_extreme_results");
    for (const char *name : kReaderNames) {
        replaced = replaced || overrides(self, g_section_result_type, name);
    }
    if (!replaced) {
        return read_section_of(self, [](const auto &ex) { return read_extremes(ex); }, true);
    }
    nb::object lists[8];
    for (int k = 0; k < 8; ++k) {
        lists[k] = steal_or_throw(PyObject_CallMethod(self.ptr(), kReaderNames[k], nullptr));
    }
    nb::object iterators[8];
    for (int k = 0; k < 8; ++k) iterators[k] = steal_or_throw(PyObject_GetIter(lists[k].ptr()));
    nb::object results = new_list();
    for (;;) {
        nb::object values[8];
        for (int k = 0; k < 8; ++k) {
            PyObject *item = PyIter_Next(iterators[k].ptr());
            if (item == nullptr) {
                if (PyErr_Occurred()) throw_python();
                return results;
            }
            values[k] = nb::steal(item);
        }
        nb::object combined = new_dict();
        for (int k = 0; k < 8; ++k) {
            dict_set(combined.ptr(), interned(kReaderNames[k]), values[k].ptr());
        }
        list_append(results.ptr(), combined.ptr());
    }
}

#define MARLOX_READER(fn) \
    [](nb::handle self) { return read_section_of(self, [](const auto &ex) { return fn(ex); }); }

}  // namespace

nb::object make_section(nb::handle cls, nb::object id, const SectionHandle &handle) {
    if (cls.is(g_section_result_type)) {
        SectionResult s;
        s.id = std::move(id);
        s.doc = handle.doc;
        s.node = handle.node;
        s.generation = handle.generation;
        return nb::cast(std::move(s));
    }
    int sub = PyObject_IsSubclass(cls.ptr(), g_section_result_type.ptr());
    if (sub < 0) PyErr_Clear();
    if (sub == 1) {
        nb::object h = nb::cast(handle);
        return steal_or_throw(PyObject_CallFunctionObjArgs(cls.ptr(), id.ptr(), h.ptr(), nullptr));
    }
    nb::object element = materialize(*handle.doc, handle.node);
    return steal_or_throw(
        PyObject_CallFunctionObjArgs(cls.ptr(), id.ptr(), element.ptr(), nullptr));
}

// int(section.find("SectionId").text) on a native section.
nb::object native_section_id(DocState &doc, NodeId node) {
    NativeNode id_el = find_child(NativeNode{&doc, node, nullptr}, marlox::results::kSectionId);
    if (id_el.null()) raise_none_attribute("text");
    nb::object text = text_of(id_el);
    return steal_or_throw(PyNumber_Long(text.ptr()));
}

bool equals(PyObject *a, PyObject *b) {
    nb::object r = steal_or_throw(PyObject_RichCompare(a, b, Py_EQ));
    return truthy(r.ptr());
}

// int(section.find("SectionId").text) == wanted on a native section. When `wanted` is an
// exact int and the text is plain (ASCII white space around an optional sign and decimal
// digits), the two are compared directly; otherwise through int() and ==, with their errors.
bool native_section_id_equals(DocState &doc, NodeId node, PyObject *wanted) {
    if (PyLong_CheckExact(wanted)) {
        int overflow = 0;
        const long long w = PyLong_AsLongLongAndOverflow(wanted, &overflow);
        if (w == -1 && PyErr_Occurred()) throw_python();
        long long value = 0;
        if (overflow == 0 && marlox::results::plain_section_id(doc.dom(), node, value)) {
            return value == w;
        }
    }
    nb::object id = native_section_id(doc, node);
    return equals(id.ptr(), wanted);
}

// int(section.find("SectionId").text) on any element.
nb::object et_section_id(const nb::object &section) {
    EtNode id_el = et_call(EtNode{section}, "find", name_key(marlox::results::kSectionId));
    if (id_el.null()) raise_none_attribute("text");
    nb::object text = text_of(id_el);
    return steal_or_throw(PyNumber_Long(text.ptr()));
}

[[noreturn]] void raise_not_available(PyObject *id) {
    nb::object formatted = steal_or_throw(PyObject_Format(id, nullptr));
    nb::object message = steal_or_throw(PyUnicode_FromFormat(
        "section with id '%U' is not available in the result file.", formatted.ptr()));
    raise_error(sdk_error("ParsingError", message));
}

// The extremes of a section as a generator gives them: nothing happens before the first item,
// then the children of "ExtremeResults" are iterated as the element holds them.
struct ExtremeIterator {
    nb::object section;
    nb::object children;  // iterator over "ExtremeResults", once started
    bool done = false;

    nb::object next() {
        if (done) return nb::object();
        if (!children.is_valid()) {
            done = true;  // an error on the way ends it, as it ends a generator
            nb::object element = steal_or_throw(PyObject_GetAttrString(section.ptr(), "_element"));
            EtNode er =
                et_call(EtNode{element}, "find", name_key(marlox::results::kExtremeResults));
            if (er.null()) return nb::object();
            children = steal_or_throw(PyObject_GetIter(er.o.ptr()));
            done = false;
        }
        PyObject *item = PyIter_Next(children.ptr());
        if (item == nullptr) {
            done = true;
            if (PyErr_Occurred()) throw_python();
            return nb::object();
        }
        return nb::steal(item);
    }
};

void bind_section_result(nb::module_ &m, nb::handle parser) {
    using namespace nb::literals;

    nb::class_<SectionResult> section(parser, "SectionResult", nb::dynamic_attr(),
                                      "Parsed result section, on which specific results can be "
                                      "retrieved.");
    g_section_result_type = nb::type<SectionResult>();
    section
        .def(
            "__init__",
            [](SectionResult *self, nb::object id, nb::object element) {
                SectionResult *s = new (self) SectionResult();
                s->id = std::move(id);
                if (nb::isinstance<SectionHandle>(element)) {
                    const SectionHandle &h = nb::cast<const SectionHandle &>(element);
                    s->doc = h.doc;
                    s->node = h.node;
                    s->generation = h.generation;
                } else {
                    s->element = std::move(element);
                }
            },
            "id_"_a.none(), "element"_a.none(),
            nb::sig("def __init__(self, id_: int, element: xml.etree.ElementTree.Element) -> None"))
        .def_prop_ro(
            "id_", [](SectionResult &s) { return s.id; },
            nb::for_getter(nb::sig("def id_(self, /) -> int")), "The id of the check section.")
        .def_prop_rw(
            "_id", [](SectionResult &s) { return s.id; },
            [](SectionResult &s, nb::object v) { s.id = std::move(v); }, nb::arg("value").none())
        .def_prop_rw(
            "_element", [](SectionResult &s) { return section_element(s); },
            [](SectionResult &s, nb::object v) {
                s.element = std::move(v);
                s.doc.reset();
                s.node = kNoNode;
            },
            nb::arg("value").none())
        .def(
            "_iter_extreme_results",
            [](nb::handle self) {
                ExtremeIterator it;
                it.section = nb::borrow(self);
                return it;
            },
            "The result elements of the section's extremes, in document order.")
        .def("capacity", MARLOX_READER(read_capacity),
             nb::sig("def capacity(self) -> list[dict[str, typing.Any] | None]"),
             "Get the capacity results of all extremes for the current section.")
        .def("shear", MARLOX_READER(read_shear),
             nb::sig("def shear(self) -> list[dict[str, typing.Any] | None]"),
             "Get the shear resistances for all extremes for the current section.")
        .def("torsion", MARLOX_READER(read_torsion),
             nb::sig("def torsion(self) -> list[dict[str, typing.Any] | None]"),
             "Get the torsion results for all extremes for the current section.")
        .def("interaction", MARLOX_READER(read_interaction),
             nb::sig("def interaction(self) -> list[dict[str, typing.Any] | None]"),
             "Get the interaction results for all extremes for the current section.")
        .def("crack_width", MARLOX_READER(read_crack_width),
             nb::sig(
                 "def crack_width(self) -> list[dict[str, dict[str, typing.Any] | None] | None]"),
             "Get the crack width results of all extremes for the current section.")
        .def("detailing", MARLOX_READER(read_detailing),
             nb::sig("def detailing(self) -> list[dict[str, typing.Any] | None]"),
             "Get the detailing results of all extremes for the current section.")
        .def("stress_limitation", MARLOX_READER(read_stress_limitation),
             nb::sig("def stress_limitation(self) -> list[dict[str, typing.Any] | None]"),
             "Get the stress limitation results of all extremes for the current section.")
        .def("fatigue", MARLOX_READER(read_fatigue),
             nb::sig("def fatigue(self) -> list[dict[str, dict[str, typing.Any]] | None]"),
             "Get the fatigue results of all extremes for the current section.")
        .def(
            "extremes", [](nb::handle self) { return extremes_of(self); },
            nb::sig("def extremes(self) -> list[dict[str, typing.Any]]"),
            "Get all results combined per extreme for the current section.");

    nb::class_<ExtremeIterator>(m, "_ExtremeResultIterator",
                                "Iterator over the extremes of a check section.")
        .def("__iter__", [](nb::handle self) { return nb::borrow(self); })
        .def("__next__", [](ExtremeIterator &it) {
            nb::object item = it.next();
            if (!item.is_valid()) throw nb::stop_iteration();
            return item;
        });
}

}  // namespace marlox::py::results
