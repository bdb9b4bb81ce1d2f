// The interpreter's expat, as the result parsers use it: scanners on it, fed as ElementTree's
// XMLParser feeds, and ElementTree's ParseError for a failure.
#pragma once

#include "bindings/idea_rcs_results.hpp"

namespace marlox::py::results {

using marlox::results::ScanFailure;
using marlox::results::Scanner;

std::unique_ptr<Scanner> new_scanner(bool keep_all);

nb::object parse_error_object(const ScanFailure &f);

[[noreturn]] void raise_object(const nb::object &error);

bool feed_object(DocState &doc, PyObject *data, bool final);

}  // namespace marlox::py::results
