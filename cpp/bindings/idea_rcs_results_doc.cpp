// A parsed result document: its state, the guard of native reads, and the ElementTree elements
// made from its nodes.
#include "bindings/idea_rcs_results_doc.hpp"

#include <algorithm>
#include <chrono>
#include <thread>

namespace marlox::py::results {

using marlox::results::Node;

namespace {

thread_local std::vector<const DocState *> t_reading;

}  // namespace

// Wait until no other thread reads the tree natively (they hold the interpreter lock while
// they do, so this gives it up while it waits).
void wait_for_readers(DocState &doc) {
    while (doc.active_reads > 0) {
        if (std::find(t_reading.begin(), t_reading.end(), &doc) != t_reading.end()) {
            raise_builtin(PyExc_ValueError, "generator already executing");
        }
        nb::gil_scoped_release release;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

// ---------------------------------------------------------------------------------------------
// Document state

DocState::~DocState() {
    for (PyObject *t : tags) Py_XDECREF(t);
}

PyObject *DocState::tag_object(std::uint32_t tag) {
    if (tag >= tags.size()) tags.resize(dom().tag_count(), nullptr);
    PyObject *&t = tags[tag];
    if (t == nullptr) {
        if (tag < marlox::results::kNameCount) {
            t = name_key((Name)tag);
            Py_INCREF(t);
        } else {
            t = str_from(dom().tag_name(tag)).release().ptr();
        }
    }
    return t;
}

void DocState::shift_nodes(NodeId shift) {
    if (shift <= 0 || materialized.empty()) return;
    std::unordered_map<NodeId, nb::object> moved;
    for (auto &[id, element] : materialized) {
        if (id >= shift) moved.emplace(id - shift, std::move(element));
    }
    materialized.swap(moved);
}

ReadGuard::ReadGuard(DocState &doc) : doc_(doc) {
    ++doc_.active_reads;
    t_reading.push_back(&doc_);
}

ReadGuard::~ReadGuard() {
    --doc_.active_reads;
    auto found = std::find(t_reading.rbegin(), t_reading.rend(), &doc_);
    if (found != t_reading.rend()) t_reading.erase(std::next(found).base());
}

nb::object materialize(DocState &doc, NodeId id) {
    auto found = doc.materialized.find(id);
    if (found != doc.materialized.end()) return found->second;
    ReadGuard guard(doc);
    const Dom &d = doc.dom();
    const Et &e = et();
    PyObject *k_text = interned("text");
    PyObject *k_tail = interned("tail");
    std::vector<std::pair<NodeId, nb::object>> made_sections;
    auto make = [&](NodeId n, PyObject *parent) -> nb::object {
        PyObject *tag = doc.tag_object(d.tag(n));
        nb::object attrib;
        d.for_each_attr(n, [&](const marlox::results::Attr &a) {
            if (!attrib.is_valid()) attrib = new_dict();
            nb::object key = str_from(d.str(a.name));
            nb::object value = str_from(d.str(a.value));
            dict_set(attrib.ptr(), key.ptr(), value.ptr());
        });
        nb::object element;
        if (parent == nullptr) {
            element = steal_or_throw(attrib.is_valid() ? PyObject_CallFunctionObjArgs(
                                                             e.element, tag, attrib.ptr(), nullptr)
                                                       : PyObject_CallOneArg(e.element, tag));
        } else {
            element = steal_or_throw(
                attrib.is_valid()
                    ? PyObject_CallFunctionObjArgs(e.sub_element, parent, tag, attrib.ptr(),
                                                   nullptr)
                    : PyObject_CallFunctionObjArgs(e.sub_element, parent, tag, nullptr));
        }
        const Slice node_text = d.text(n);
        if (!node_text.absent()) {
            nb::object text = str_from(d.str(node_text));
            if (PyObject_SetAttr(element.ptr(), k_text, text.ptr()) != 0) throw_python();
        }
        const Slice node_tail = d.tail(n);
        if (!node_tail.absent()) {
            nb::object tail = str_from(d.str(node_tail));
            if (PyObject_SetAttr(element.ptr(), k_tail, tail.ptr()) != 0) throw_python();
        }
        if ((d.flags(n) & Node::kSection) != 0) made_sections.emplace_back(n, element);
        return element;
    };
    nb::object top = make(id, nullptr);
    std::vector<std::pair<NodeId, nb::object>> stack;
    stack.emplace_back(id, top);
    while (!stack.empty()) {
        auto [n, element] = std::move(stack.back());
        stack.pop_back();
        for (NodeId c = d.node(n).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            auto existing = doc.materialized.find(c);
            if (existing != doc.materialized.end()) {
                // Made before (a section inside this one): the same element, with the tail that
                // the parser gave it after it was cleared.
                nb::object r = steal_or_throw(PyObject_CallMethodOneArg(
                    element.ptr(), interned("append"), existing->second.ptr()));
                const Slice tail = d.tail(c);
                if (!tail.absent()) {
                    nb::object text = str_from(d.str(tail));
                    if (PyObject_SetAttr(existing->second.ptr(), k_tail, text.ptr()) != 0) {
                        throw_python();
                    }
                }
                continue;
            }
            nb::object child = make(c, element.ptr());
            if (d.node(c).first_child != kNoNode) stack.emplace_back(c, std::move(child));
        }
    }
    for (auto &[n, element] : made_sections) doc.materialized.emplace(n, element);
    doc.materialized.emplace(id, top);
    return top;
}

}  // namespace marlox::py::results
