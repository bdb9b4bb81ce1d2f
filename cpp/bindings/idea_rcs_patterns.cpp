// The bar patterns and stirrups of a reinforced cross-section, given by their geometry: bars on
// a circle, a layer by spacing (with its area per metre), a layer by count, a closed
// rectangular stirrup with bent corners and a circular ring. Positions are the core's
// (core/bar_patterns); each operation adds all it places or, when anything fails, nothing,
// and returns what it placed.
#include <Python.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <charconv>
#include <cmath>
#include <string>
#include <vector>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_drawing.hpp"
#include "bindings/idea_rcs_model_view.hpp"
#include "bindings/model.hpp"
#include "core/bar_patterns.hpp"
#include "core/error.hpp"
#include "core/section_shapes.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

// What a layer by spacing placed: its bars, the spacing and the area per metre it stands for.
struct BarLayer {
    nb::list bars;
    double spacing = 0;
    double diameter = 0;
    double area_per_metre = 0;
};

double number(const std::string &context, const char *name, nb::handle value) {
    if (!PyNumber_Check(value.ptr()) || PyBool_Check(value.ptr()) || PyComplex_Check(value.ptr()))
        fail(ErrorKind::Type,
             context + ": '" + name + "' must be a number, not " + nb::inst_name(value).c_str());
    const double out = PyFloat_AsDouble(value.ptr());
    if (out == -1.0 && PyErr_Occurred()) throw_python();
    if (!std::isfinite(out))
        fail(ErrorKind::Value, context + ": '" + name + "' must be finite, not " +
                                   nb::cast<std::string>(nb::repr(value)));
    return out;
}

long count_of(const std::string &context, nb::handle value) {
    if (!PyLong_Check(value.ptr()) || PyBool_Check(value.ptr()))
        fail(ErrorKind::Type,
             context + ": 'count' must be an int, not " + nb::inst_name(value).c_str());
    const long long n = PyLong_AsLongLong(value.ptr());
    if (n == -1 && PyErr_Occurred()) throw_python();
    if (n > 100000)
        fail(ErrorKind::Value,
             context + ": 'count' must be at most 100000, not " + std::to_string(n));
    return static_cast<long>(n);
}

geometry::Point point_of(const std::string &context, const char *name, nb::handle value) {
    nb::object pair = steal_or_throw(PySequence_Tuple(value.ptr()));
    if (nb::len(pair) != 2)
        fail(ErrorKind::Value, context + ": '" + name + "' must be a point (y, z)");
    return {number(context, name, pair[0]), number(context, name, pair[1])};
}

nb::object rcs_class() { return companion().attr("ReinforcedCrossSection"); }

// The reinforced cross-section `self`, or a TypeError naming the operation.
void expect_rcs(const std::string &context, nb::handle self) {
    if (!nb::isinstance(self, rcs_class()))
        fail(ErrorKind::Type,
             context + ": expected a ReinforcedCrossSection, not " + nb::inst_name(self).c_str());
}

// Run a core computation, its ValueError prefixed with the operation.
template <class Compute>
auto placed(const std::string &context, Compute compute) {
    try {
        return compute();
    } catch (const Error &error) {
        fail(error.kind(), context + ": " + error.what());
    }
}

// The bars at `points`, added through create_bar: the first one that fails (a bad diameter or
// material) fails before any is added, and the others are made of the same values.
nb::list add_bars(nb::handle self, const std::vector<geometry::Point> &points, nb::handle diameter,
                  nb::handle material) {
    nb::object create = self.attr("create_bar");
    nb::list made;
    for (const geometry::Point &p : points)
        made.append(create(nb::make_tuple(p.y, p.z), diameter, material));
    return made;
}

nb::list bar_circle(nb::handle self, nb::handle count, nb::handle diameter, nb::handle material,
                    nb::handle radius, nb::handle centre, nb::handle start_angle) {
    const std::string context = "ReinforcedCrossSection.create_bar_circle";
    expect_rcs(context, self);
    const long n = count_of(context, count);
    const double d = number(context, "diameter", diameter), r = number(context, "radius", radius);
    const double start = number(context, "start_angle", start_angle);
    const geometry::Point c = point_of(context, "centre", centre);
    const auto points = placed(context, [&] { return patterns::circle(c, r, n, start, d); });
    return add_bars(self, points, diameter, material);
}

BarLayer bar_layer_by_spacing(nb::handle self, nb::handle diameter, nb::handle material,
                              nb::handle spacing, nb::handle z, nb::handle y_from,
                              nb::handle y_to) {
    const std::string context = "ReinforcedCrossSection.create_bar_layer_by_spacing";
    expect_rcs(context, self);
    BarLayer layer;
    layer.diameter = number(context, "diameter", diameter);
    layer.spacing = number(context, "spacing", spacing);
    const double at = number(context, "z", z), from = number(context, "y_from", y_from),
                 to = number(context, "y_to", y_to);
    const auto points = placed(
        context, [&] { return patterns::by_spacing(at, from, to, layer.spacing, layer.diameter); });
    layer.area_per_metre = patterns::bar_area(layer.diameter) / layer.spacing;
    layer.bars = add_bars(self, points, diameter, material);
    return layer;
}

nb::list bar_layer_between(nb::handle self, nb::handle count, nb::handle diameter,
                           nb::handle material, nb::handle z, nb::handle y_from, nb::handle y_to) {
    const std::string context = "ReinforcedCrossSection.create_bar_layer_between";
    expect_rcs(context, self);
    const long n = count_of(context, count);
    const double d = number(context, "diameter", diameter), at = number(context, "z", z),
                 from = number(context, "y_from", y_from), to = number(context, "y_to", y_to);
    const auto points = placed(context, [&] { return patterns::by_count(at, from, to, n, d); });
    return add_bars(self, points, diameter, material);
}

nb::object add_stirrup(nb::handle self, const std::vector<geometry::Vertex> &path,
                       nb::handle diameter, nb::handle material, nb::handle distance,
                       nb::handle shear_check, nb::handle torsion_check, nb::handle mandrel,
                       nb::handle anchorage) {
    nb::list points;
    for (const geometry::Vertex &v : path) {
        nb::object p = nb::make_tuple(v.point.y, v.point.z);
        points.append(v.arc ? nb::object(nb::make_tuple(p, nb::make_tuple(v.on_arc.y, v.on_arc.z)))
                            : p);
    }
    return self.attr("create_stirrup")(points, diameter, material, distance, shear_check,
                                       torsion_check, mandrel, anchorage);
}

nb::object rectangular_stirrup(nb::handle self, nb::handle diameter, nb::handle material,
                               nb::handle distance, nb::handle corners, nb::handle bend_radius,
                               nb::handle shear_check, nb::handle torsion_check, nb::handle mandrel,
                               nb::handle anchorage) {
    const std::string context = "ReinforcedCrossSection.create_rectangular_stirrup";
    expect_rcs(context, self);
    const double d = number(context, "diameter", diameter);
    nb::object pair = steal_or_throw(PySequence_Tuple(corners.ptr()));
    if (nb::len(pair) != 2)
        fail(ErrorKind::Value, context + ": 'corners' must be two points ((y0, z0), (y1, z1))");
    const geometry::Point a = point_of(context, "corners[0]", pair[0]);
    const geometry::Point b = point_of(context, "corners[1]", pair[1]);
    const double factor =
        mandrel.is_none() ? 1.0 : number(context, "mandrel_diameter_factor", mandrel);
    // The axis turns around the mandrel: its radius is the mandrel's plus half the bar.
    const double radius = bend_radius.is_none() ? factor * d / 2 + d / 2
                                                : number(context, "bend_radius", bend_radius);
    const auto path = placed(context, [&] {
        return patterns::rectangle(std::min(a.y, b.y), std::min(a.z, b.z), std::max(a.y, b.y),
                                   std::max(a.z, b.z), radius);
    });
    return add_stirrup(self, path, diameter, material, distance, shear_check, torsion_check,
                       mandrel, anchorage);
}

nb::object ring_stirrup(nb::handle self, nb::handle diameter, nb::handle material,
                        nb::handle distance, nb::handle radius, nb::handle centre,
                        nb::handle shear_check, nb::handle torsion_check, nb::handle mandrel,
                        nb::handle anchorage) {
    const std::string context = "ReinforcedCrossSection.create_ring_stirrup";
    expect_rcs(context, self);
    number(context, "diameter", diameter);
    const double r = number(context, "radius", radius);
    const geometry::Point c = point_of(context, "centre", centre);
    const auto path = placed(context, [&] { return patterns::ring(c, r); });
    return add_stirrup(self, path, diameter, material, distance, shear_check, torsion_check,
                       mandrel, anchorage);
}

// --- the same patterns on a member, measured from its concrete -------------------------------

struct Concrete {
    cross_section::Shape shape;
    shapes::Properties properties;
};

Concrete concrete_of(nb::handle member, const std::string &context) {
    nb::object model = member.attr("model");
    if (model.is_none())
        fail(ErrorKind::Value,
             context + ": the member was not made by a model, so its concrete is not known");
    const Picture made = picture(model, member, false, context.c_str());
    Concrete out;
    out.shape = shapes::concrete(ModelView(*made.model), made.target, made.index);
    out.properties = placed(context, [&] { return shapes::properties(out.shape); });
    return out;
}

double cover_of(const std::string &context, nb::handle cover) {
    const double c = number(context, "cover", cover);
    if (c < 0) fail(ErrorKind::Value, context + ": 'cover' must not be negative");
    return c;
}

// The height of a layer's centres: `cover` + half a bar from the bottom or top face.
double layer_height(const std::string &context, const Concrete &c, const std::string &face,
                    double cover, double diameter) {
    const shapes::Bounds &b = c.properties.bounds;
    if (cover + diameter / 2 >= (b.z_top - b.z_bottom) / 2)
        fail(ErrorKind::Value, context + ": the cover " + cross_section::show(cover) +
                                   " m is more than half the section's height (" +
                                   cross_section::show(b.z_top - b.z_bottom) + " m)");
    if (face == "bottom") return b.z_bottom + cover + diameter / 2;
    if (face == "top") return b.z_top - cover - diameter / 2;
    fail(ErrorKind::Value,
         context + ": 'face' must be \"bottom\" or \"top\", not \"" + face + "\"");
}

// The outermost centres allowed at height z: the concrete there less `side` + half a bar.
std::pair<double, double> layer_span(const std::string &context, const Concrete &c, double z,
                                     double side, double diameter) {
    double left, right;
    if (!shapes::extent_at(c.shape, z, left, right))
        fail(ErrorKind::Value, context + ": there is no concrete at z = " + cross_section::show(z));
    return {left + side + diameter / 2, right - side - diameter / 2};
}

nb::list member_bar_circle(nb::handle self, nb::handle count, nb::handle diameter,
                           nb::handle material, nb::handle cover, nb::handle radius,
                           nb::handle start_angle) {
    const std::string context = "create_bar_circle";
    if (cover.is_none() == radius.is_none())
        fail(ErrorKind::Type, context + ": give either 'cover' or 'radius'");
    const Concrete c = concrete_of(self, context);
    const shapes::Bounds &b = c.properties.bounds;
    const double across = std::min(b.y_right - b.y_left, b.z_top - b.z_bottom);
    nb::object r = nb::borrow(radius);
    if (r.is_none()) {
        const double d = number(context, "diameter", diameter);
        r = nb::float_(across / 2 - cover_of(context, cover) - d / 2);
    }
    return bar_circle(self.attr("_rcs"), count, diameter, material, r,
                      nb::make_tuple((b.y_left + b.y_right) / 2, (b.z_bottom + b.z_top) / 2),
                      start_angle);
}

// Where a member's layer of bars lies: its height from the face and cover, and its ends from
// the side cover (the cover when none is given), across the concrete at that height.
struct LayerLine {
    nb::float_ z, from, to;
};

LayerLine member_layer_line(nb::handle self, const std::string &context, nb::handle diameter,
                            nb::handle cover, const std::string &face, nb::handle side_cover) {
    const Concrete c = concrete_of(self, context);
    const double d = number(context, "diameter", diameter), top = cover_of(context, cover);
    const double side = side_cover.is_none() ? top : number(context, "side_cover", side_cover);
    const double z = layer_height(context, c, face, top, d);
    const auto [from, to] = layer_span(context, c, z, side, d);
    return {nb::float_(z), nb::float_(from), nb::float_(to)};
}

BarLayer member_layer_by_spacing(nb::handle self, nb::handle diameter, nb::handle material,
                                 nb::handle spacing, nb::handle cover, const std::string &face,
                                 nb::handle side_cover) {
    const LayerLine line =
        member_layer_line(self, "create_bar_layer_by_spacing", diameter, cover, face, side_cover);
    return bar_layer_by_spacing(self.attr("_rcs"), diameter, material, spacing, line.z, line.from,
                                line.to);
}

nb::list member_layer_between(nb::handle self, nb::handle count, nb::handle diameter,
                              nb::handle material, nb::handle cover, const std::string &face,
                              nb::handle side_cover) {
    const LayerLine line =
        member_layer_line(self, "create_bar_layer_between", diameter, cover, face, side_cover);
    return bar_layer_between(self.attr("_rcs"), count, diameter, material, line.z, line.from,
                             line.to);
}

nb::object member_rectangular_stirrup(nb::handle self, nb::handle diameter, nb::handle material,
                                      nb::handle distance, nb::handle cover, nb::handle bend_radius,
                                      nb::handle shear_check, nb::handle torsion_check,
                                      nb::handle mandrel, nb::handle anchorage) {
    const std::string context = "create_rectangular_stirrup";
    const Concrete c = concrete_of(self, context);
    const double d = number(context, "diameter", diameter), cv = cover_of(context, cover);
    const double z0 = layer_height(context, c, "bottom", cv, d);
    const double z1 = layer_height(context, c, "top", cv, d);
    const auto [left0, right0] = layer_span(context, c, z0, cv, d);
    const auto [left1, right1] = layer_span(context, c, z1, cv, d);
    nb::object corners = nb::make_tuple(nb::make_tuple(std::max(left0, left1), z0),
                                        nb::make_tuple(std::min(right0, right1), z1));
    return rectangular_stirrup(self.attr("_rcs"), diameter, material, distance, corners,
                               bend_radius, shear_check, torsion_check, mandrel, anchorage);
}

nb::object member_ring_stirrup(nb::handle self, nb::handle diameter, nb::handle material,
                               nb::handle distance, nb::handle cover, nb::handle shear_check,
                               nb::handle torsion_check, nb::handle mandrel, nb::handle anchorage) {
    const std::string context = "create_ring_stirrup";
    const Concrete c = concrete_of(self, context);
    const shapes::Bounds &b = c.properties.bounds;
    const double d = number(context, "diameter", diameter), cv = cover_of(context, cover);
    const double across = std::min(b.y_right - b.y_left, b.z_top - b.z_bottom);
    return ring_stirrup(self.attr("_rcs"), diameter, material, distance,
                        nb::float_(across / 2 - cv - d / 2),
                        nb::make_tuple((b.y_left + b.y_right) / 2, (b.z_bottom + b.z_top) / 2),
                        shear_check, torsion_check, mandrel, anchorage);
}

std::string layer_repr(const BarLayer &layer) {
    auto fixed = [](double value, int digits) {
        char buffer[48];
        const auto r =
            std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, digits);
        return std::string(buffer, r.ptr);
    };
    return "<BarLayer " + std::to_string(nb::len(layer.bars)) + " \xc3\x97 \xc3\x98" +
           fixed(layer.diameter * 1000, 0) + " @ " + fixed(layer.spacing * 1000, 0) +
           " mm: " + fixed(layer.area_per_metre * 1e6, 0) + " mm\xc2\xb2/m>";
}

#define MARLOX_STIRRUP_OPTIONS                                                              \
    "shear_check: bool | None = None, torsion_check: bool | None = None, "                  \
    "mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) " \
    "-> Stirrup"

}  // namespace

void bind_patterns(nb::module_ &m) {
    nb::object rcs_cls = rcs_class();
    nb::class_<BarLayer>(m, "BarLayer",
                         "The bars that a layer by spacing placed, with the spacing and the area "
                         "per metre that the spacing stands for (a bar's area / spacing). Iterates "
                         "and indexes as its list of bars.")
        .def_prop_ro(
            "bars", [](const BarLayer &l) { return steal_or_throw(PySequence_List(l.bars.ptr())); },
            nb::for_getter(
                nb::sig("def bars(self) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]")),
            nb::for_getter("The bars placed, from the least y to the greatest (a new list)."))
        .def_ro("spacing", &BarLayer::spacing, "Spacing of the bars [m].")
        .def_ro("area_per_metre", &BarLayer::area_per_metre,
                "Area of the bars per metre of width at this spacing [m2/m]: \"Ø12 @ 150\" is "
                "754 mm2/m, whatever the number of bars the width holds.")
        .def("__len__", [](const BarLayer &l) { return nb::len(l.bars); })
        .def(
            "__iter__", [](const BarLayer &l) { return nb::iter(l.bars); },
            nb::sig("def __iter__(self) -> "
                    "collections.abc.Iterator[marlox.external.idea_rcs.objects.ReinforcedBar]"))
        .def(
            "__getitem__",
            [](const BarLayer &l, nb::handle i) {
                return steal_or_throw(PyObject_GetItem(l.bars.ptr(), i.ptr()));
            },
            nb::sig("def __getitem__(self, index: int) -> "
                    "marlox.external.idea_rcs.objects.ReinforcedBar"))
        .def("__repr__", &layer_repr);

    nb::setattr(
        rcs_cls, "create_bar_circle",
        nb::cpp_function(
            &bar_circle, nb::is_method(), nb::name("create_bar_circle"), nb::scope(rcs_cls),
            "count"_a, "diameter"_a, "material"_a, nb::kw_only(), "radius"_a,
            "centre"_a = nb::make_tuple(0.0, 0.0), "start_angle"_a = 90.0,
            nb::sig("def create_bar_circle(self, count: int, diameter: float, material: "
                    "MatReinforcement | _ReferenceElement, *, radius: float, centre: tuple[float, "
                    "float] = (0.0, 0.0), start_angle: float = 90.0) -> list[ReinforcedBar]"),
            "Add ``count`` bars (at least 2) of ``diameter`` [m] evenly on a circle of "
            "``radius`` (of their centres) about ``centre`` (y, z) [m], the first at "
            "``start_angle`` degrees from the y axis towards z (90: at the top), the others "
            "anticlockwise. Returns the bars. Raises ``ValueError`` when they would overlap."));
    nb::setattr(
        rcs_cls, "create_bar_layer_by_spacing",
        nb::cpp_function(
            &bar_layer_by_spacing, nb::is_method(), nb::name("create_bar_layer_by_spacing"),
            nb::scope(rcs_cls), "diameter"_a, "material"_a, "spacing"_a, nb::kw_only(), "z"_a,
            "y_from"_a, "y_to"_a,
            nb::sig("def create_bar_layer_by_spacing(self, diameter: float, material: "
                    "MatReinforcement | _ReferenceElement, spacing: float, *, z: float, y_from: "
                    "float, y_to: float) -> marlox.external.idea_rcs.idea_rcs.BarLayer"),
            "Add a layer of bars of ``diameter`` at ``spacing`` [m] (\"Ø12 @ 150\": 0.012, "
            "0.15) at height ``z``: as many as fit between ``y_from`` and ``y_to`` (the "
            "outermost centres allowed), the layer centred between them. Returns a "
            "``BarLayer`` with the bars and the area per metre. Raises ``ValueError`` when "
            "the bars would overlap or the span is negative."));
    nb::setattr(
        rcs_cls, "create_bar_layer_between",
        nb::cpp_function(
            &bar_layer_between, nb::is_method(), nb::name("create_bar_layer_between"),
            nb::scope(rcs_cls), "count"_a, "diameter"_a, "material"_a, nb::kw_only(), "z"_a,
            "y_from"_a, "y_to"_a,
            nb::sig("def create_bar_layer_between(self, count: int, diameter: float, material: "
                    "MatReinforcement | _ReferenceElement, *, z: float, y_from: float, y_to: "
                    "float) -> list[ReinforcedBar]"),
            "Add ``count`` bars (at least 2) evenly from ``y_from`` to ``y_to`` (the outermost "
            "centres) at height ``z`` [m]. Returns the bars. Raises ``ValueError`` when they "
            "would overlap."));
    nb::setattr(
        rcs_cls, "create_rectangular_stirrup",
        nb::cpp_function(
            &rectangular_stirrup, nb::is_method(), nb::name("create_rectangular_stirrup"),
            nb::scope(rcs_cls), "diameter"_a, "material"_a, "distance"_a, nb::kw_only(),
            "corners"_a, "bend_radius"_a = nb::none(), "shear_check"_a = nb::none(),
            "torsion_check"_a = nb::none(), "mandrel_diameter_factor"_a = nb::none(),
            "anchorage_length"_a = nb::none(),
            nb::sig("def create_rectangular_stirrup(self, diameter: float, material: "
                    "MatReinforcement | _ReferenceElement, distance: float, *, corners: "
                    "tuple[tuple[float, float], tuple[float, float]], bend_radius: float | None "
                    "= None, " MARLOX_STIRRUP_OPTIONS),
            "Add a closed rectangular stirrup whose axis runs between the opposite ``corners`` "
            "((y0, z0), (y1, z1)) [m], each corner bent to ``bend_radius`` (of the axis; by "
            "default the mandrel's radius plus half the bar: ``mandrel_diameter_factor`` × "
            "diameter / 2 + diameter / 2), starting and ending at the middle of the bottom "
            "side. The options are those of ``create_stirrup``. Returns the stirrup."));
    nb::setattr(
        rcs_cls, "create_ring_stirrup",
        nb::cpp_function(
            &ring_stirrup, nb::is_method(), nb::name("create_ring_stirrup"), nb::scope(rcs_cls),
            "diameter"_a, "material"_a, "distance"_a, nb::kw_only(), "radius"_a,
            "centre"_a = nb::make_tuple(0.0, 0.0), "shear_check"_a = nb::none(),
            "torsion_check"_a = nb::none(), "mandrel_diameter_factor"_a = nb::none(),
            "anchorage_length"_a = nb::none(),
            nb::sig("def create_ring_stirrup(self, diameter: float, material: MatReinforcement "
                    "| _ReferenceElement, distance: float, *, radius: float, centre: "
                    "tuple[float, float] = (0.0, 0.0), " MARLOX_STIRRUP_OPTIONS),
            "Add a circular ring stirrup (a hoop) whose axis is a circle of ``radius`` about "
            "``centre`` (y, z) [m], as two half arcs from its lowest point. The options are "
            "those of ``create_stirrup``. Returns the stirrup."));

    // The member's patterns: the same, measured from the concrete with a cover.
    nb::object member = m.attr("Member");
    auto def = [&](const char *name, auto function, const char *signature, const char *doc,
                   auto... arguments) {
        nb::setattr(member, name,
                    nb::cpp_function(function, nb::is_method(), nb::name(name), nb::scope(member),
                                     arguments..., nb::sig(signature), doc));
    };
#define MARLOX_STEEL "marlox.external.idea_rcs.objects.MatReinforcement"
#define MARLOX_MEMBER_STIRRUP_OPTIONS                                                       \
    "shear_check: bool | None = None, torsion_check: bool | None = None, "                  \
    "mandrel_diameter_factor: float | None = None, anchorage_length: float | None = None) " \
    "-> marlox.external.idea_rcs.objects.Stirrup"
    def("create_bar_circle", &member_bar_circle,
        "def create_bar_circle(self, count: int, diameter: float, material: " MARLOX_STEEL
        ", *, cover: float | None = None, radius: float | None = None, start_angle: float = "
        "90.0) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]",
        "Add ``count`` bars (at least 2) of ``diameter`` [m] evenly on a circle about the "
        "centre of the section's extent: of ``radius`` (of the centres), or ``cover`` [m] "
        "(clear, from the face to the bar; add a stirrup's diameter when the bars lie inside "
        "one) inside the section's smaller half-extent. The first stands at ``start_angle`` "
        "degrees from the y axis towards z (90: at the top), the others anticlockwise. "
        "Returns the bars. Raises ``ValueError`` naming what does not fit.",
        "count"_a, "diameter"_a, "material"_a, nb::kw_only(), "cover"_a = nb::none(),
        "radius"_a = nb::none(), "start_angle"_a = 90.0);
    def("create_bar_layer_by_spacing", &member_layer_by_spacing,
        "def create_bar_layer_by_spacing(self, diameter: float, material: " MARLOX_STEEL
        ", spacing: float, *, cover: float, face: str = 'bottom', side_cover: float | None = "
        "None) -> BarLayer",
        "Add a layer of bars of ``diameter`` at ``spacing`` [m] (\"Ø12 @ 150\": 0.012, 0.15) "
        "``cover`` (clear) from the ``face`` (\"bottom\" or \"top\"): as many as fit across "
        "the concrete at that height with ``side_cover`` (clear; ``cover`` when None) to the "
        "sides, the layer centred. Returns a ``BarLayer``: the bars and the area per metre "
        "that the spacing stands for. Raises ``ValueError`` naming what does not fit.",
        "diameter"_a, "material"_a, "spacing"_a, nb::kw_only(), "cover"_a, "face"_a = "bottom",
        "side_cover"_a = nb::none());
    def("create_bar_layer_between", &member_layer_between,
        "def create_bar_layer_between(self, count: int, diameter: float, material: " MARLOX_STEEL
        ", *, cover: float, face: str = 'bottom', side_cover: float | None = None) -> "
        "list[marlox.external.idea_rcs.objects.ReinforcedBar]",
        "Add ``count`` bars (at least 2) of ``diameter`` [m] evenly across the concrete "
        "``cover`` (clear) from the ``face`` (\"bottom\" or \"top\"), the outermost "
        "``side_cover`` (clear; ``cover`` when None) from the sides. Returns the bars. Raises "
        "``ValueError`` naming what does not fit.",
        "count"_a, "diameter"_a, "material"_a, nb::kw_only(), "cover"_a, "face"_a = "bottom",
        "side_cover"_a = nb::none());
    def("create_rectangular_stirrup", &member_rectangular_stirrup,
        "def create_rectangular_stirrup(self, diameter: float, material: " MARLOX_STEEL
        ", distance: float, *, cover: float, bend_radius: float | None = "
        "None, " MARLOX_MEMBER_STIRRUP_OPTIONS,
        "Add a closed rectangular stirrup ``cover`` (clear) inside the concrete: its sides "
        "within the concrete at the heights of its bottom and top sides (a T-beam's web), its "
        "corners bent to ``bend_radius`` of the axis (by default the mandrel's radius plus half "
        "the bar). ``distance`` is the longitudinal spacing [m]; the options are those of "
        "``create_stirrup``. Returns the stirrup.",
        "diameter"_a, "material"_a, "distance"_a, nb::kw_only(), "cover"_a,
        "bend_radius"_a = nb::none(), "shear_check"_a = nb::none(), "torsion_check"_a = nb::none(),
        "mandrel_diameter_factor"_a = nb::none(), "anchorage_length"_a = nb::none());
    def("create_ring_stirrup", &member_ring_stirrup,
        "def create_ring_stirrup(self, diameter: float, material: " MARLOX_STEEL
        ", distance: float, *, cover: float, " MARLOX_MEMBER_STIRRUP_OPTIONS,
        "Add a circular ring stirrup (a hoop) ``cover`` (clear) inside a round section, about "
        "the centre of its extent. ``distance`` is the longitudinal spacing [m]; the options "
        "are those of ``create_stirrup``. Returns the stirrup.",
        "diameter"_a, "material"_a, "distance"_a, nb::kw_only(), "cover"_a,
        "shear_check"_a = nb::none(), "torsion_check"_a = nb::none(),
        "mandrel_diameter_factor"_a = nb::none(), "anchorage_length"_a = nb::none());
}

}  // namespace marlox::py
