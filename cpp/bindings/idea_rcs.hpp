// The areas of the idea_rcs extension module; each binds its classes into the module.
#pragma once

#include <nanobind/nanobind.h>

namespace marlox::py {

namespace nb = nanobind;

// Result parsing: RcsOutputFileParser (with RcsOutputFileParser.SectionResult) and
// OutputFileParser.
void bind_results(nb::module_ &m);

}  // namespace marlox::py
