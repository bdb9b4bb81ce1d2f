// RcsOutputFileParser.SectionResult, the check section that both parsers read through, and the
// section lookups that both parsers share.
#pragma once

#include "bindings/idea_rcs_results_readers.hpp"

namespace marlox::py::results {

using marlox::results::Node;

struct SectionHandle {
    std::shared_ptr<DocState> doc;
    NodeId node = kNoNode;
    std::uint64_t generation = 0;
};

struct SectionResult {
    nb::object id;
    nb::object element;  // the ElementTree element once there is one (or the caller's object)
    std::shared_ptr<DocState> doc;
    NodeId node = kNoNode;
    std::uint64_t generation = 0;

    bool native() const { return doc != nullptr; }
    bool stale() const { return doc->streaming && generation != doc->generation; }
};

PyObject *section_tag();

std::vector<EtNode> et_extremes(const nb::object &element);

// Run `reader` over the section's extremes: native nodes while the section is an untouched
// part of the native tree, else its ElementTree element. `all_families`: the reader reads every
// family, so each extreme is walked once for all of them.
template <class R>
nb::object read_section(SectionResult &s, R &&reader, bool all_families = false) {
    if (!s.element.is_valid() && s.native()) {
        DocState &doc = *s.doc;
        if (s.stale()) return reader(std::vector<NativeNode>{});
        auto found = doc.materialized.find(s.node);
        if (found != doc.materialized.end()) {
            s.element = found->second;
        } else if ((doc.dom().flags(s.node) & Node::kContainsSection) != 0) {
            s.element = materialize(doc, s.node);
        } else {
            ReadGuard guard(doc);
            std::vector<NativeNode> extremes;
            NativeNode er =
                find_child(NativeNode{&doc, s.node, nullptr}, marlox::results::kExtremeResults);
            if (!er.null()) for_each_child(er, [&](const NativeNode &n) { extremes.push_back(n); });
            std::vector<NodeId> located;
            if (all_families) {
                located.resize(extremes.size() * kFamilyCount);
                for (std::size_t i = 0; i < extremes.size(); ++i) {
                    NodeId *out = located.data() + i * kFamilyCount;
                    marlox::results::locate_families(doc.dom(), extremes[i].id, out);
                    extremes[i].located = out;
                }
            }
            return reader(extremes);
        }
    }
    nb::object element = s.element.is_valid() ? s.element : nb::none();
    return reader(et_extremes(element));
}

bool overrides(nb::handle self, nb::handle base, const char *name);

nb::object make_section(nb::handle cls, nb::object id, const SectionHandle &handle);

nb::object native_section_id(DocState &doc, NodeId node);

bool equals(PyObject *a, PyObject *b);

bool native_section_id_equals(DocState &doc, NodeId node, PyObject *wanted);

nb::object et_section_id(const nb::object &section);

[[noreturn]] void raise_not_available(PyObject *id);

// SectionResult, nested in `parser`, and the iterator over a section's extremes.
void bind_section_result(nb::module_ &m, nb::handle parser);

}  // namespace marlox::py::results
