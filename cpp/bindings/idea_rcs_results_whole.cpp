// OutputFileParser: the whole document parsed at once, every query answered from memory.
#include "bindings/idea_rcs_results_check_section.hpp"

#include <cstring>
#include <optional>
#include <unordered_map>
#include "bindings/idea_rcs_pieces.hpp"
#include "bindings/idea_rcs_results_expat.hpp"
#include "bindings/translate.hpp"
#include "core/error.hpp"
#include "core/result_split.hpp"

namespace marlox::py::results {

namespace {

// ElementTree's _element_to_dict, without the C stack: {tag: [children...] or text}. The
// interpreter's recursion limit is honoured as the plain recursive method would meet it:
// `frames` is the number of calls that the recursion adds before the root's.
int recursion_room() {
    PyThreadState *ts = PyThreadState_Get();
#if PY_VERSION_HEX >= 0x030C0000
    return ts->py_recursion_remaining;
#else
    return ts->recursion_remaining;
#endif
}

template <class N, class Children>
nb::object element_to_dict_impl(const N &root, int frames, Children &&children_of) {
    const long room = recursion_room();
    // Python frames per level of the plain method: the call, and before 3.12 also its list
    // comprehension.
    const long per_level = PY_VERSION_HEX >= 0x030C0000 ? 1 : 2;
    struct Frame {
        N node;
        std::vector<N> children;
        std::size_t next = 0;
        nb::object list;
    };
    std::vector<Frame> stack;
    auto enter = [&](const N &n) {
        if (per_level * ((long)stack.size() + 1) + frames > room) {
            raise_builtin(PyExc_RecursionError, "maximum recursion depth exceeded");
        }
        Frame f{n, children_of(n), 0, new_list()};
        stack.push_back(std::move(f));
    };
    auto finish = [&](Frame &f) {
        nb::object value;
        if (PyList_GET_SIZE(f.list.ptr()) > 0) {
            value = f.list;
        } else {
            value = text_of(f.node);
        }
        nb::object tag = tag_of(f.node);
        nb::object d = new_dict();
        dict_set(d.ptr(), tag.ptr(), value.ptr());
        return d;
    };
    enter(root);
    nb::object result;
    while (!stack.empty()) {
        Frame &top = stack.back();
        if (top.next < top.children.size()) {
            N child = top.children[top.next++];
            enter(child);
            continue;
        }
        nb::object d = finish(top);
        stack.pop_back();
        if (stack.empty()) {
            result = d;
        } else {
            list_append(stack.back().list.ptr(), d.ptr());
        }
    }
    return result;
}

nb::object et_element_to_dict(const nb::object &e, int frames) {
    return element_to_dict_impl(EtNode{e}, frames, [](const EtNode &n) {
        std::vector<EtNode> children;
        for_each_child(n, [&](const EtNode &c) { children.push_back(c); });
        return children;
    });
}

// The child of `id` at `index` (from 0), or kNoNode.
NodeId nth_child(const Dom &d, NodeId id, std::size_t index) {
    NodeId c = d.node(id).first_child;
    for (; c != kNoNode && index > 0; --index) c = d.node(c).next_sibling;
    return c;
}

// The whole tree of a document of `size` bytes read in pieces on `threads` threads, made one in
// the first piece's scanner; null when the document is not cut or a piece did not read as a
// document of its own (the document is then read as one, which decides what is raised).
std::unique_ptr<Scanner> whole_in_pieces(const char *data, std::size_t size, int threads) {
    using namespace table_scan;
    marlox::results::SplitPlan plan;
    const marlox::results::ReadAt read = [data, size](std::uint64_t offset, char *into,
                                                      std::size_t n) -> long long {
        if (offset >= size) return 0;
        const std::size_t m = (std::size_t)std::min<std::uint64_t>(n, size - offset);
        std::memcpy(into, data + offset, m);
        return (long long)m;
    };
    {
        nb::gil_scoped_release release;
        if (!marlox::results::plan_split(read, size, threads, min_piece(), plan)) return nullptr;
    }
    std::vector<std::unique_ptr<Scanner>> scanners;
    for (std::size_t k = 0; k < plan.cuts.size(); ++k) scanners.push_back(new_scanner(true));
    std::uint64_t reported = 0;
    std::vector<int> feeds(plan.cuts.size(), 0);
    // Each piece's tree tells whether it closed an element of the head (below), so the piece's
    // bytes need not be searched for the end tag.
    const bool whole = run_pieces(
        plan, std::string_view(data, size), false,
        [&](std::size_t k, const char *piece, std::size_t len, bool final) {
            const bool ok = scanners[k]->feed(piece, (int)len, final);
            // After the head and the first read, the tree so far tells how large it will grow:
            // the first piece's holds the others' once they are grafted into it.
            if (++feeds[k] == 2) {
                const std::uint64_t end = k + 1 < plan.cuts.size() ? plan.cuts[k + 1] : size;
                const std::uint64_t fed = plan.head.size() + len;
                scanners[k]->dom().reserve_for(
                    fed, plan.head.size() + (k == 0 ? size - plan.cuts[0] : end - plan.cuts[k]));
            }
            return ok;
        },
        nb::none(), reported);
    if (!whole) return nullptr;
    nb::gil_scoped_release release;
    // The elements open at the first section, outermost first, in each piece's tree: each the
    // last child of the one before in the head.
    const std::size_t depth = plan.head_children.size();
    const auto chain = [&](const Dom &d, NodeId root) {
        std::vector<NodeId> open{root};
        for (std::size_t i = 0; i + 1 < depth; ++i) {
            open.push_back(nth_child(d, open.back(), plan.head_children[i] - 1));
        }
        return open;
    };
    // A piece but the last never closed an element of the head when each of them is still the
    // last child of the one before: had it closed one, whatever it opened after it to be closed
    // by the end tags appended (there must be one, or its parse fails) would follow it.
    for (std::size_t k = 0; k + 1 < scanners.size(); ++k) {
        const Dom &d = scanners[k]->dom();
        const std::vector<NodeId> open = chain(d, scanners[k]->builder().root());
        for (std::size_t i = 1; i < depth; ++i) {
            if (d.node(open[i]).next_sibling != kNoNode) return nullptr;
        }
    }
    Dom &into = scanners[0]->dom();
    const std::vector<NodeId> to = chain(into, scanners[0]->builder().root());
    for (std::size_t k = 1; k < scanners.size(); ++k) {
        const Dom &from = scanners[k]->dom();
        const std::vector<NodeId> of = chain(from, scanners[k]->builder().root());
        const bool last = k + 1 == scanners.size();
        if (!into.graft(to[depth - 1], from,
                        nth_child(from, of[depth - 1], plan.head_children[depth - 1]))) {
            return nullptr;
        }
        into.adopt(to[depth - 1], from, of[depth - 1], false);
        // The last piece closes the open elements: what follows each in its parent is its.
        for (std::size_t i = depth - 1; last && i > 0; --i) {
            into.adopt(to[i], from, of[i], true);
            if (!into.graft(to[i - 1], from, from.node(of[i]).next_sibling)) return nullptr;
            into.adopt(to[i - 1], from, of[i - 1], false);
        }
    }
    for (auto &s : scanners) s->close();
    return std::move(scanners[0]);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// OutputFileParser

struct WholeParser {
    std::shared_ptr<DocState> doc;
    NodeId root_node = kNoNode;
    nb::object root;  // _root once made (or set by the caller): from then on all reads use it

    nb::object root_element() {
        if (!root.is_valid()) root = materialize(*doc, root_node);
        return root;
    }

    // The sections of the root, as (node, element-or-empty) in document order, until `f`
    // returns true.
    template <class F>
    void for_each_section(F &&f, const nb::object &root_override = nb::object()) {
        if (root_override.is_valid() || root.is_valid()) {
            const nb::object &r = root_override.is_valid() ? root_override : root;
            nb::object it = steal_or_throw(PyObject_GetIter(r.ptr()));
            while (PyObject *item = PyIter_Next(it.ptr())) {
                nb::object child = nb::steal(item);
                nb::object tag = tag_of(EtNode{child});
                if (equals(tag.ptr(), section_tag()) && f(kNoNode, child)) return;
            }
            if (PyErr_Occurred()) throw_python();
            return;
        }
        const Dom &d = doc->dom();
        for (NodeId c = d.node(root_node).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            if (d.tag(c) != marlox::results::kSectionConcreteCheckResult) continue;
            auto found = doc->materialized.find(c);
            if (f(c, found != doc->materialized.end() ? found->second : nb::object())) return;
        }
    }

    nb::object section_id_of(NodeId node, const nb::object &element) {
        if (element.is_valid()) return et_section_id(element);
        ReadGuard guard(*doc);
        return native_section_id(*doc, node);
    }

    // The sections of the native tree by plain id (see plain_section_id), made at the first
    // look-up: each id's first section, in document order from 0. Sections from
    // `irregular` on have not been indexed: that one's id is not plain, so only the
    // interpreter's int() tells whether it equals the id looked for, or raises.
    struct SectionIndex {
        bool made = false;
        std::unordered_map<long long, std::pair<std::size_t, NodeId>> first;
        std::size_t irregular = SIZE_MAX;
    } index;

    void make_index() {
        const Dom &d = doc->dom();
        std::size_t ordinal = 0;
        for (NodeId c = d.node(root_node).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            if (d.tag(c) != marlox::results::kSectionConcreteCheckResult) continue;
            long long id = 0;
            if (!marlox::results::plain_section_id(d, c, id)) {
                index.irregular = ordinal;
                break;
            }
            index.first.emplace(id, std::make_pair(ordinal++, c));
        }
        index.made = true;
    }

    // The section whose id is the exact int `section_id` through the index: its node; kNoNode
    // when no section has it (raised); nullopt when only the walk over the sections can tell.
    std::optional<NodeId> indexed_section(PyObject *section_id) {
        int overflow = 0;
        const long long wanted = PyLong_AsLongLongAndOverflow(section_id, &overflow);
        if (wanted == -1 && PyErr_Occurred()) throw_python();
        if (overflow != 0) return std::nullopt;
        if (!index.made) make_index();
        const auto found = index.first.find(wanted);
        if (found != index.first.end() && found->second.first < index.irregular) {
            return found->second.second;
        }
        if (found == index.first.end() && index.irregular == SIZE_MAX) return kNoNode;
        return std::nullopt;
    }

    // The section whose id equals `section_id`: its node (native) or its element.
    std::pair<NodeId, nb::object> find_section(PyObject *section_id,
                                               const nb::object &root_override = nb::object()) {
        // The index holds while every section is read natively: no root set or replaced, no
        // section element made (the caller may have changed it).
        if (PyLong_CheckExact(section_id) && !root_override.is_valid() && !root.is_valid() &&
            doc->materialized.empty()) {
            if (const std::optional<NodeId> node = indexed_section(section_id)) {
                if (*node == kNoNode) raise_not_available(section_id);
                return {*node, nb::object()};
            }
        }
        std::pair<NodeId, nb::object> result{kNoNode, nb::object()};
        bool found = false;
        for_each_section(
            [&](NodeId node, const nb::object &element) {
                bool same;
                if (element.is_valid()) {
                    nb::object id = et_section_id(element);
                    same = equals(id.ptr(), section_id);
                } else {
                    ReadGuard guard(*doc);
                    same = native_section_id_equals(*doc, node, section_id);
                }
                if (!same) return false;
                result = {node, element};
                found = true;
                return true;
            },
            root_override);
        if (!found) raise_not_available(section_id);
        return result;
    }

    // A native section's extremes with their eight families located, found in one walk at the
    // first read of the section and kept for the others (every accessor reads each extreme).
    struct Located {
        std::vector<NodeId> extremes;
        std::vector<NodeId> families;  // kFamilyCount per extreme
    };
    std::unordered_map<NodeId, Located> located;

    const Located &located_families(NodeId section) {
        auto [at, inserted] = located.try_emplace(section);
        Located &l = at->second;
        if (!inserted) return l;
        const Dom &d = doc->dom();
        const NodeId er = d.child(section, marlox::results::kExtremeResults);
        if (er != kNoNode) {
            for (NodeId e = d.node(er).first_child; e != kNoNode; e = d.node(e).next_sibling) {
                l.extremes.push_back(e);
            }
        }
        l.families.resize(l.extremes.size() * kFamilyCount);
        for (std::size_t i = 0; i < l.extremes.size(); ++i) {
            marlox::results::locate_families(d, l.extremes[i],
                                             l.families.data() + i * kFamilyCount);
        }
        return l;
    }

    template <class R>
    nb::object section_results(PyObject *section_id, R &&reader) {
        auto [node, element] = find_section(section_id);
        // Read natively as read_section would (no element made of it, no section inside it),
        // through the located families.
        if (!element.is_valid() && doc->materialized.find(node) == doc->materialized.end() &&
            (doc->dom().flags(node) & Node::kContainsSection) == 0) {
            ReadGuard guard(*doc);
            const Located &l = located_families(node);
            std::vector<NativeNode> extremes(l.extremes.size());
            for (std::size_t i = 0; i < extremes.size(); ++i) {
                extremes[i] = NativeNode{doc.get(), l.extremes[i], &l.families[i * kFamilyCount]};
            }
            return reader(extremes);
        }
        SectionResult s;
        s.id = nb::borrow(section_id);
        if (element.is_valid()) {
            s.element = element;
        } else {
            s.doc = doc;
            s.node = node;
        }
        return read_section(s, reader);
    }
};

nb::handle g_whole_parser_type;

// self._root when a subclass replaces it, else an empty object.
nb::object overriding_root(nb::handle self) {
    if (!overrides(self, g_whole_parser_type, "_root")) return nb::object();
    return steal_or_throw(PyObject_GetAttrString(self.ptr(), "_root"));
}

// An accessor: natively, unless a subclass replaces _section_element or _root; then as the
// plain class does it, through those and RcsOutputFileParser.SectionResult.
template <class R>
nb::object accessor(nb::handle self, nb::handle section_id, const char *reader_name, R &&reader) {
    if (overrides(self, g_whole_parser_type, "_section_element") ||
        overrides(self, g_whole_parser_type, "_root")) {
        nb::object element = steal_or_throw(
            PyObject_CallMethod(self.ptr(), "_section_element", "O", section_id.ptr()));
        nb::object module =
            steal_or_throw(PyImport_ImportModule("marlox.external.idea_rcs.idea_rcs"));
        nb::object parser =
            steal_or_throw(PyObject_GetAttrString(module.ptr(), "RcsOutputFileParser"));
        nb::object cls = steal_or_throw(PyObject_GetAttrString(parser.ptr(), "SectionResult"));
        nb::object section = steal_or_throw(
            PyObject_CallFunctionObjArgs(cls.ptr(), section_id.ptr(), element.ptr(), nullptr));
        return steal_or_throw(PyObject_CallMethod(section.ptr(), reader_name, nullptr));
    }
    return nb::cast<WholeParser &>(self).section_results(section_id.ptr(), reader);
}

#define MARLOX_ACCESSOR(fn, name)                                                       \
    [](nb::handle self, nb::handle section_id) {                                        \
        return accessor(self, section_id, name, [](const auto &ex) { return fn(ex); }); \
    }

namespace {

const char *const kWholeDoc =
    R"(Parser to extract results from an IDEA-RCS output file (.xml), read as a whole.

The complete document is parsed into an element tree when the parser is made, and every query
is answered from memory. For very large result files use RcsOutputFileParser instead, which
streams through the document one check section at a time.)";

#define NOT_PRESENT "\n\n:raises ParsingError: if 'section_id' is not present in the output file."

}  // namespace

void bind_whole_parser(nb::module_ &m) {
    using namespace nb::literals;

    nb::class_<WholeParser> whole(m, "OutputFileParser", nb::dynamic_attr(), kWholeDoc);
    g_whole_parser_type = whole;
    whole
        .def(
            "__init__",
            [](WholeParser *self, nb::object xml_file, nb::handle threads_arg) {
                const int threads = table_scan::threads_argument(threads_arg);
                nb::object getvalue =
                    steal_or_throw(PyObject_GetAttrString(xml_file.ptr(), "getvalue"));
                nb::object content = steal_or_throw(PyObject_CallNoArgs(getvalue.ptr()));
                std::unique_ptr<Scanner> pieces;
                const Py_ssize_t size =
                    PyBytes_CheckExact(content.ptr()) ? PyBytes_GET_SIZE(content.ptr()) : 0;
                if (threads > 1 && (std::uint64_t)size >= 2 * table_scan::min_piece()) {
                    pieces = whole_in_pieces(PyBytes_AS_STRING(content.ptr()), (std::size_t)size,
                                             threads);
                }
                bool ok = true;
                std::shared_ptr<DocState> doc;
                if (pieces) {
                    doc = std::make_shared<DocState>(std::move(pieces), false);
                } else {
                    doc = std::make_shared<DocState>(new_scanner(true), false);
                    ok = feed_object(*doc, content.ptr(), false);
                    if (ok) ok = feed_object(*doc, nullptr, true);
                }
                doc->scanner->close();
                if (!ok) {
                    nb::object cause = parse_error_object(doc->scanner->failure());
                    raise_error(sdk_error("ParsingError",
                                          str_from("Provided 'xml_file' is not a valid XML file.")),
                                cause);
                }
                WholeParser *p = new (self) WholeParser();
                p->doc = std::move(doc);
                p->root_node = p->doc->scanner->builder().root();
            },
            "xml_file"_a.none(), nb::kw_only(), "threads"_a.none() = nb::none(),
            nb::sig("def __init__(self, xml_file: io.StringIO | io.BytesIO, *, threads: int | "
                    "None = None) -> None"),
            "Parse the whole result file.\n\n"
            ":param threads: the threads that parse a large file (bytes of several MB) side by "
            "side, each a part of it between two check sections: None for the processors this "
            "process may run on, 1 for one pass. The tree, and any error, are the same.")
        .def_prop_rw(
            "_root", [](WholeParser &p) { return p.root_element(); },
            [](WholeParser &p, nb::object v) { p.root = std::move(v); }, nb::arg("value").none())
        .def_prop_ro(
            "section_ids",
            [](nb::handle self) {
                WholeParser &p = nb::cast<WholeParser &>(self);
                nb::object ids = new_list();
                p.for_each_section(
                    [&](NodeId node, const nb::object &element) {
                        nb::object id = p.section_id_of(node, element);
                        list_append(ids.ptr(), id.ptr());
                        return false;
                    },
                    overriding_root(self));
                return ids;
            },
            nb::for_getter(nb::sig("def section_ids(self, /) -> list[int]")),
            "The ids of all check sections in the result file, in document order.")
        .def(
            "_element_to_dict",
            [](WholeParser &, nb::object e) { return et_element_to_dict(e, 0); }, "e"_a.none(),
            "The element as nested dicts: {tag: [child dicts] or text}.")
        .def(
            "raw_results",
            [](nb::handle self) {
                if (overrides(self, g_whole_parser_type, "_root") ||
                    overrides(self, g_whole_parser_type, "_element_to_dict")) {
                    nb::object root = steal_or_throw(PyObject_GetAttrString(self.ptr(), "_root"));
                    return steal_or_throw(
                        PyObject_CallMethod(self.ptr(), "_element_to_dict", "O", root.ptr()));
                }
                WholeParser &p = nb::cast<WholeParser &>(self);
                if (p.root.is_valid()) return et_element_to_dict(p.root, 1);
                // Elements already handed out may have been changed: then the tree is read as
                // ElementTree elements, with those elements in it.
                DocState &doc = *p.doc;
                if (!doc.materialized.empty()) return et_element_to_dict(p.root_element(), 1);
                ReadGuard guard(doc);
                return element_to_dict_impl(
                    NativeNode{&doc, p.root_node, nullptr}, 1, [&](const NativeNode &n) {
                        std::vector<NativeNode> children;
                        for_each_child(n, [&](const NativeNode &c) { children.push_back(c); });
                        return children;
                    });
            },
            nb::sig("def raw_results(self) -> dict[str, typing.Any]"),
            "The whole result file as nested dicts (see _element_to_dict).")
        .def(
            "_section_element",
            [](nb::handle self, nb::handle section_id) {
                WholeParser &p = nb::cast<WholeParser &>(self);
                auto [node, element] = p.find_section(section_id.ptr(), overriding_root(self));
                if (element.is_valid()) return element;
                return materialize(*p.doc, node);
            },
            "section_id"_a.none())
        .def("capacity_results", MARLOX_ACCESSOR(read_capacity, "capacity"), "section_id"_a.none(),
             nb::sig("def capacity_results(self, section_id: int) -> list[dict[str, typing.Any] | "
                     "None]"),
             "Get the capacity results of all extremes of a check section." NOT_PRESENT)
        .def("shear_results", MARLOX_ACCESSOR(read_shear, "shear"), "section_id"_a.none(),
             nb::sig(
                 "def shear_results(self, section_id: int) -> list[dict[str, typing.Any] | None]"),
             "Get the shear results of all extremes of a check section." NOT_PRESENT)
        .def("crack_width_results", MARLOX_ACCESSOR(read_crack_width, "crack_width"),
             "section_id"_a.none(),
             nb::sig("def crack_width_results(self, section_id: int) -> list[dict[str, dict[str, "
                     "typing.Any] | None] | None]"),
             "Get the crack width results of all extremes of a check section." NOT_PRESENT)
        .def("detailing_results", MARLOX_ACCESSOR(read_detailing, "detailing"),
             "section_id"_a.none(),
             nb::sig("def detailing_results(self, section_id: int) -> list[dict[str, float | None] "
                     "| None]"),
             "Get the detailing results of all extremes of a check section." NOT_PRESENT)
        .def("stress_limitation_results",
             MARLOX_ACCESSOR(read_stress_limitation, "stress_limitation"), "section_id"_a.none(),
             nb::sig("def stress_limitation_results(self, section_id: int) -> list[dict[str, float "
                     "| None] | None]"),
             "Get the stress limitation results of all extremes of a check section." NOT_PRESENT)
        .def("fatigue_results", MARLOX_ACCESSOR(read_fatigue, "fatigue"), "section_id"_a.none(),
             nb::sig("def fatigue_results(self, section_id: int) -> list[dict | None]"),
             "Get the fatigue results of all extremes of a check section." NOT_PRESENT);
}

}  // namespace marlox::py::results
