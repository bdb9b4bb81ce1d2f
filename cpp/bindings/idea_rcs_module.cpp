// The extension module that builds IDEA StatiCa RCS models, runs analyses and reads results.
#include "bindings/idea_rcs.hpp"
#include "bindings/translate.hpp"

namespace nb = nanobind;

NB_MODULE(idea_rcs, m) {
    m.doc() = "Build IDEA StatiCa RCS models, run analyses and read their results.";
    marlox::py::register_error_translator();
    // The classes live as long as the process (the modules keep them in process-wide tables),
    // so nanobind's report of objects alive at interpreter exit would only list them. Leaks are
    // checked where they matter: growth under repetition and valgrind (tools/sanitize --leaks).
    nb::set_leak_warnings(false);
    // Areas, in the order their classes are bound:
    marlox::py::bind_model(m);
    marlox::py::bind_members(m);
    marlox::py::bind_shapes(m);
    marlox::py::bind_validate(m);
    marlox::py::bind_drawing(m);
    marlox::py::bind_readback(m);
    marlox::py::bind_patterns(m);
    marlox::py::bind_analysis(m);
    marlox::py::bind_results(m);
    marlox::py::bind_table(m);
    marlox::py::bind_report(m);
    marlox::py::bind_study(m);
    marlox::py::bind_reader(m);
}
