// The companion module of OpenModel object types, enumerations and material tables.
#include <nanobind/nanobind.h>

namespace nb = nanobind;

NB_MODULE(objects, m) {
    m.doc() = "OpenModel object types, enumerations and base-material tables of IDEA StatiCa RCS.";
}
