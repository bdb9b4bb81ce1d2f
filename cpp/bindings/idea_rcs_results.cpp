// The result parsers of the idea_rcs module: RcsOutputFileParser (streaming, with its nested
// SectionResult: idea_rcs_results_stream.cpp, idea_rcs_results_check_section.cpp) and
// OutputFileParser (whole document: idea_rcs_results_whole.cpp). Here: the Python helpers that
// they share.
#include "bindings/idea_rcs_results.hpp"

#include <charconv>

#include "bindings/idea_rcs.hpp"

namespace marlox::py::results {

// ---------------------------------------------------------------------------------------------
// Python helpers

PyObject *interned(const char *text) {
    // Keys are string literals: their addresses identify them.
    static std::unordered_map<const void *, PyObject *> cache;
    auto found = cache.find(text);
    if (found != cache.end()) return found->second;
    PyObject *s = PyUnicode_InternFromString(text);
    if (s == nullptr) throw_python();
    cache.emplace(text, s);
    return s;
}

PyObject *name_key(Name name) {
    static PyObject *keys[marlox::results::kNameCount] = {};
    PyObject *&k = keys[name];
    if (k == nullptr) {
        k = PyUnicode_InternFromString(marlox::results::name_text(name));
        if (k == nullptr) throw_python();
    }
    return k;
}

PyObject *path_string(const std::string &path) {
    static std::unordered_map<std::string, PyObject *> cache;
    auto found = cache.find(path);
    if (found != cache.end()) return found->second;
    PyObject *s = PyUnicode_FromStringAndSize(path.data(), (Py_ssize_t)path.size());
    if (s == nullptr) throw_python();
    cache.emplace(path, s);
    return s;
}

nb::object float_from_text(std::string_view text) {
    // float() of a str, without making the str when the text is a plain decimal number: ASCII
    // white space around an optional sign, then a digit or a point. From there on
    // std::from_chars takes no other spelling (its "inf" and "nan" begin with a letter) and
    // rounds correctly, as the interpreter's own conversion does, so the value is the same to
    // the bit. Anything else, and every failure, goes through float() itself, for its exact
    // result or message.
    auto space = [](char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    };
    const char *first = text.data();
    const char *last = first + text.size();
    while (first < last && space(*first)) ++first;
    while (last > first && space(last[-1])) --last;
    // from_chars takes no leading '+'.
    if (last - first > 1 && *first == '+' && first[1] != '-') ++first;
    const char *lead = first < last && *first == '-' ? first + 1 : first;
    if (lead < last && ((*lead >= '0' && *lead <= '9') || *lead == '.')) {
        double value = 0.0;
        const auto [ptr, ec] = std::from_chars(first, last, value);
        if (ec == std::errc() && ptr == last) return steal_or_throw(PyFloat_FromDouble(value));
    }
    nb::object s = str_from(text);
    return steal_or_throw(PyFloat_FromString(s.ptr()));
}

const Et &et() {
    static Et value{};
    if (value.module == nullptr) {
        // One call at a time: none is made while an earlier one's error is set.
        nb::object module = steal_or_throw(PyImport_ImportModule("xml.etree.ElementTree"));
        nb::object element = steal_or_throw(PyObject_GetAttrString(module.ptr(), "Element"));
        nb::object sub = steal_or_throw(PyObject_GetAttrString(module.ptr(), "SubElement"));
        value = Et{module.release().ptr(), element.release().ptr(), sub.release().ptr()};
    }
    return value;
}

// RcsOutputFileParser (with its SectionResult) and OutputFileParser.
void bind_stream_parser(nb::module_ &m);
void bind_whole_parser(nb::module_ &m);

void bind_results(nb::module_ &m) {
    bind_stream_parser(m);
    bind_whole_parser(m);
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_results(nb::module_ &m) { results::bind_results(m); }
}  // namespace marlox::py
