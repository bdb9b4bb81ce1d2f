// The extension module that builds IDEA StatiCa RCS models, runs analyses and reads results.
#include "bindings/idea_rcs.hpp"
#include "bindings/translate.hpp"

namespace nb = nanobind;

NB_MODULE(idea_rcs, m) {
    m.doc() = "Build IDEA StatiCa RCS models, run analyses and read their results.";
    marlox::py::register_error_translator();
    // Areas, in the order their classes are bound:
    marlox::py::bind_results(m);
}
