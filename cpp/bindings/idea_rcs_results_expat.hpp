// The interpreter's expat, as the result parsers use it: scanners on it, fed as ElementTree's
// XMLParser feeds, and ElementTree's ParseError for a failure.
#pragma once

#include "bindings/idea_rcs_results_doc.hpp"

namespace marlox::py::results {

using marlox::results::ScanFailure;
using marlox::results::Scanner;

std::unique_ptr<Scanner> new_scanner(bool keep_all);

// ElementTree's ParseError for a failed feed: "<message>: line L, column C", with `code` and
// `position`. A memory failure is raised as MemoryError at once.
nb::object parse_error_object(const ScanFailure &f);

bool feed_object(DocState &doc, PyObject *data, bool final);

// Feeds the bytes object `data` from `*offset` on, in pieces, until a section has ended or the
// bytes are used up, and advances `*offset` past what was fed. Returns false for a parse
// failure. A streaming consumer then reads each section while its tree is still in the cache.
bool feed_bytes_until_section(DocState &doc, PyObject *data, Py_ssize_t *offset);

}  // namespace marlox::py::results
