// The drawing of a model's item as SVG text: `svg()` of `_Model`, and `_repr_svg_` of members
// so that Jupyter shows a member as its section. The picture is the core's (core/svg_drawing),
// with no drawing library.
#include "bindings/idea_rcs_drawing.hpp"

#include <nanobind/stl/string.h>

#include <string>

#include "bindings/idea_rcs.hpp"
#include "core/error.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

std::string svg_text(nb::handle self, nb::handle item, bool with_findings, double width) {
    if (!(width >= 40 && width <= 10000))
        fail(ErrorKind::Value,
             "svg: width must lie between 40 and 10000 pixels, not " + std::to_string(width));
    const Picture made = picture(self, item, with_findings, "svg");
    svg::Options options;
    options.width = width;
    nb::gil_scoped_release release;
    return svg::section(made.drawing, made.marks, options);
}

// What Jupyter shows for a member: its section drawn, or None (then its repr) when the member
// was not made by a model.
nb::object member_svg(nb::handle self) {
    nb::object model = self.attr("model");
    if (model.is_none()) return nb::none();
    return nb::cast(svg_text(model, self, true, 320));
}

}  // namespace

void bind_drawing(nb::module_ &m) {
    nb::object model = m.attr("_Model");
    nb::setattr(
        model, "svg",
        nb::cpp_function(
            &svg_text, nb::is_method(), nb::name("svg"), nb::scope(model), "item"_a, nb::kw_only(),
            "findings"_a = true, "width"_a = 320.0,
            nb::sig("def svg(self, item: marlox.external.idea_rcs.objects.CrossSection | "
                    "marlox.external.idea_rcs.objects.ReinforcedCrossSection | "
                    "marlox.external.idea_rcs.objects.CheckSection | Member, *, "
                    "findings: bool = True, width: float = 320.0) -> str"),
            "The drawing of ``item`` (what ``plot()`` draws) as the text of an SVG picture "
            "``width`` pixels wide: the concrete with its openings, bars as circles of their "
            "diameter, stirrups along their axis, the axes y (to the right) and z (upwards) at "
            "the origin of the bar coordinates, the overall width and height, and with "
            "``findings`` the located findings of ``validate()`` as crosses. Needs no "
            "drawing library; a member shows this picture inline in Jupyter."));
    nb::object member = m.attr("Member");
    nb::setattr(member, "_repr_svg_",
                nb::cpp_function(&member_svg, nb::is_method(), nb::name("_repr_svg_"),
                                 nb::scope(member), nb::sig("def _repr_svg_(self) -> str | None"),
                                 "The member's section as SVG text, for Jupyter."));
}

}  // namespace marlox::py
