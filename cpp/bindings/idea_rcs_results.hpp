// Result parsing: the Python helpers that every part of the result bindings uses. The parts, in
// the order they build on each other: idea_rcs_results_doc.hpp (a parsed document and its
// ElementTree elements), idea_rcs_results_expat.hpp (feeding the interpreter's expat),
// idea_rcs_results_nodes.hpp (the two node kinds the readers run on),
// idea_rcs_results_readers.hpp (the readers, written once over both) and
// idea_rcs_results_check_section.hpp (SectionResult, which both parsers read through).
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

#include "bindings/helpers.hpp"
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
// Python helpers of the result readers

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

// float(text) for text taken from the tree: exactly the interpreter's float() of that str.
nb::object float_from_text(std::string_view text);

// xml.etree.ElementTree and the names used from it.
struct Et {
    PyObject *module;
    PyObject *element;      // Element
    PyObject *sub_element;  // SubElement
};
const Et &et();

}  // namespace marlox::py::results
