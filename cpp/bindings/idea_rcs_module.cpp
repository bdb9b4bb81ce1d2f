// The extension module that builds IDEA StatiCa RCS models, runs analyses and reads results.
#include <nanobind/nanobind.h>

namespace nb = nanobind;

NB_MODULE(idea_rcs, m) {
    m.doc() = "Build IDEA StatiCa RCS models, run analyses and read their results.";
}
