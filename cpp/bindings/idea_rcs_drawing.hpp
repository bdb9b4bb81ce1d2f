// What a drawing of a model's item shows, computed once for both pictures: matplotlib's
// (`plot()`) and the SVG text (`svg()`, and `_repr_svg_` in Jupyter).
#pragma once

#include <nanobind/nanobind.h>

#include <vector>

#include "bindings/model.hpp"
#include "core/cross_section_geometry.hpp"
#include "core/svg_drawing.hpp"
#include "core/validate.hpp"

namespace marlox::py {

namespace nb = nanobind;

struct Picture {
    cross_section::Drawing drawing;
    std::vector<svg::Mark> marks;  // the located findings of validate() on the drawn objects
    std::vector<validate::Finding> findings;  // all of them, located or not
    ModelBase *model = nullptr;               // the model drawn from (read through ModelView)
    cross_section::Target target;             // the drawn object: the index-th of the target's list
    size_t index;
};

// The picture of `item` (a cross-section, reinforced cross-section, check section or member)
// of the model `self`; with `with_findings` its located findings too. `operation` names the
// caller in the messages of the TypeError (not a model) and ValueError (not of this model).
Picture picture(nb::handle self, nb::handle item, bool with_findings, const char *operation);

}  // namespace marlox::py
