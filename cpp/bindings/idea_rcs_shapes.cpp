// The common section shapes beside RectSection and GeneralShape (TSection, CircleSection, ...),
// and what every section prototype tells about itself: its extreme fibres, its properties and
// its repr. The shapes and their checks are the core's (core/section_shapes); here they become
// prototype classes.
#include <Python.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <cmath>
#include <string>
#include <vector>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/model.hpp"
#include "core/error.hpp"
#include "core/section_shapes.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

using shapes::Kind;

struct ShapeClass {
    Kind kind;
    const char *name;
    const char *idea_type;  // the CrossSectionType member, or nullptr for a general outline
    std::vector<const char *> dimensions;  // constructor arguments, in order
    std::vector<const char *> idea_names;  // the parameter of each dimension (parametric only)
    size_t required;                       // the first `required` dimensions are required
    const char *signature;
    const char *doc;
};

#define MARLOX_ORIGIN_CENTROID                                                                 \
    "The origin of the bar coordinates is the centroid of the concrete: y across (to the "     \
    "right), z upwards; ``z_bottom``, ``z_top``, ``y_left`` and ``y_right`` give the extreme " \
    "fibres, so that a bar from the bottom face stands at ``z_bottom + cover + diameter / 2``."

#define MARLOX_GENERAL_ORIGIN                                                              \
    " Made as a general shape (``CrossSectionType.GENERAL``): IDEA StatiCa RCS places a "  \
    "general shape where its coordinates say, and this outline is computed with its "      \
    "centroid on the origin. (IDEA's public material does not establish where RCS places " \
    "the parametric type of this shape, so a parametric section could move the concrete "  \
    "under the bars.)"

const std::vector<ShapeClass> &shape_classes() {
    static const std::vector<ShapeClass> classes = {
        {Kind::Tee,
         "TSection",
         "TG",
         {"width", "height", "flange_thickness", "web_width"},
         {"Width", "Height", "TopFlangeWidth", "WallWidth"},
         4,
         "def __init__(self, width: float, height: float, flange_thickness: float, web_width: "
         "float) -> None",
         "A T: a flange ``width`` wide and ``flange_thickness`` thick at the top of a web "
         "``web_width`` wide, ``height`` overall [m].\n\n" MARLOX_ORIGIN_CENTROID
         "\n\nMade as IDEA StatiCa RCS's parametric type ``CrossSectionType.TG`` with its "
         "parameters Height, Width, TopFlangeWidth (the flange *thickness*, despite its name) "
         "and WallWidth, the names of IDEA's public ``CrossSectionFactory`` (its T shape). RCS "
         "places a parametric section on its centroid: IDEA's own sample of a T section "
         "(``ImportOpenModel.xml``) puts its bars 44 mm below the top and 48 mm above the "
         "bottom fibre only when the centroid is the origin.\n\nRaises ``ValueError`` naming the "
         "dimension when they cannot form a T (a flange as thick as the height, a web wider "
         "than the flange)."},
        {Kind::InvertedTee,
         "InvertedTSection",
         nullptr,
         {"width", "height", "flange_thickness", "web_width"},
         {},
         4,
         "def __init__(self, width: float, height: float, flange_thickness: float, web_width: "
         "float) -> None",
         "An inverted T: a flange ``width`` wide and ``flange_thickness`` thick at the bottom "
         "of a web ``web_width`` wide, ``height`` overall "
         "[m].\n\n" MARLOX_ORIGIN_CENTROID MARLOX_GENERAL_ORIGIN
         "\n\nRaises ``ValueError`` naming the dimension when they "
         "cannot form the shape."},
        {Kind::I,
         "ISection",
         nullptr,
         {"height", "top_width", "top_thickness", "web_width", "bottom_width", "bottom_thickness"},
         {},
         4,
         "def __init__(self, height: float, top_width: float, top_thickness: float, web_width: "
         "float, bottom_width: float | None = None, bottom_thickness: float | None = None) -> "
         "None",
         "An I: a top flange ``top_width`` by ``top_thickness``, a web ``web_width`` wide and a "
         "bottom flange ``bottom_width`` by ``bottom_thickness`` (the top flange's when not "
         "given: a symmetric I), ``height`` overall "
         "[m].\n\n" MARLOX_ORIGIN_CENTROID MARLOX_GENERAL_ORIGIN
         "\n\nRaises ``ValueError`` naming the dimension when they "
         "cannot form an I (flanges as thick as the height, a web wider than a flange)."},
        {Kind::L,
         "LSection",
         nullptr,
         {"width", "height", "flange_thickness", "web_width"},
         {},
         4,
         "def __init__(self, width: float, height: float, flange_thickness: float, web_width: "
         "float) -> None",
         "An L: a bottom flange ``width`` wide and ``flange_thickness`` thick, and on its left "
         "end a web ``web_width`` wide rising to ``height`` overall "
         "[m].\n\n" MARLOX_ORIGIN_CENTROID MARLOX_GENERAL_ORIGIN
         "\n\nRaises ``ValueError`` naming the dimension when they "
         "cannot form an L."},
        {Kind::Circle,
         "CircleSection",
         "O",
         {"diameter"},
         {"D"},
         1,
         "def __init__(self, diameter: float) -> None",
         "A circle of ``diameter`` [m], such as a pier or a pile.\n\n" MARLOX_ORIGIN_CENTROID
         "\n\nMade as IDEA StatiCa RCS's parametric type ``CrossSectionType.O`` with its "
         "parameter D. RCS places a parametric section on its centroid (the evidence is IDEA's "
         "sample of a T, see ``TSection``); a circle's centroid is its centre.\n\nRaises "
         "``ValueError`` when "
         "the diameter is not a positive length."},
        {Kind::HollowCircle,
         "HollowCircleSection",
         nullptr,
         {"diameter", "wall_thickness"},
         {},
         2,
         "def __init__(self, diameter: float, wall_thickness: float) -> None",
         "A ring: a circle of ``diameter`` with a concentric hole, its wall ``wall_thickness`` "
         "thick [m]. The outline and the hole are exact "
         "arcs.\n\n" MARLOX_ORIGIN_CENTROID MARLOX_GENERAL_ORIGIN
         "\n\nRaises ``ValueError`` when the wall is not thinner than "
         "half the diameter (a hole larger than the circle)."},
        {Kind::Box,
         "BoxSection",
         nullptr,
         {"width", "height", "web_thickness", "flange_thickness"},
         {},
         3,
         "def __init__(self, width: float, height: float, web_thickness: float, "
         "flange_thickness: float | None = None) -> None",
         "A hollow rectangle (box): ``width`` by ``height`` outside, the side walls "
         "``web_thickness`` and the top and bottom walls ``flange_thickness`` thick (the side "
         "walls' when not given) [m].\n\n" MARLOX_ORIGIN_CENTROID MARLOX_GENERAL_ORIGIN
         "\n\nRaises ``ValueError`` naming the wall that is not thinner than half the box."},
        {Kind::Trapezoid,
         "TrapezoidSection",
         nullptr,
         {"height", "top_width", "bottom_width"},
         {},
         3,
         "def __init__(self, height: float, top_width: float, bottom_width: float) -> None",
         "A trapezoid symmetric about the z axis: ``bottom_width`` at the bottom, ``top_width`` "
         "at the top, ``height`` [m].\n\n" MARLOX_ORIGIN_CENTROID MARLOX_GENERAL_ORIGIN
         " (IDEA's documentation names the trapezoid's parameters H, Bb, Bt and its factory "
         "Height, TopWidth, BottomWidth.)\n\nRaises ``ValueError`` when a dimension is not a "
         "positive length."},
    };
    return classes;
}

// The value of one dimension: a real number, or NaN for an absent optional one.
double dimension_value(const ShapeClass &cls, const char *name, nb::handle value, bool optional) {
    if (value.is_none() && optional) return std::nan("");
    if (!PyNumber_Check(value.ptr()) || PyBool_Check(value.ptr()) || PyComplex_Check(value.ptr()))
        fail(ErrorKind::Type, std::string(cls.name) + ": " + name + " must be a number, not " +
                                  nb::inst_name(value).c_str());
    const double out = PyFloat_AsDouble(value.ptr());
    if (out == -1.0 && PyErr_Occurred()) throw_python();
    return out;
}

// The constructor: arguments bound to the dimensions as Python binds them, then checked.
void construct(const ShapeClass &cls, nb::handle self, nb::args args, nb::kwargs kwargs) {
    const size_t n = cls.dimensions.size();
    std::vector<nb::object> given(n);
    if (args.size() > n)
        fail(ErrorKind::Type, std::string(cls.name) + "() takes " + std::to_string(n) +
                                  " arguments but " + std::to_string(args.size()) + " were given");
    for (size_t i = 0; i < args.size(); ++i) given[i] = nb::borrow(args[i]);
    for (auto [key, value] : kwargs) {
        const std::string name = nb::cast<std::string>(nb::str(key));
        size_t i = 0;
        while (i < n && name != cls.dimensions[i]) ++i;
        if (i == n)
            fail(ErrorKind::Type,
                 std::string(cls.name) + "() got an unexpected keyword argument '" + name + "'");
        if (given[i].is_valid())
            fail(ErrorKind::Type,
                 std::string(cls.name) + "() got multiple values for argument '" + name + "'");
        given[i] = nb::borrow(value);
    }
    std::vector<shapes::Dimension> dims;
    nb::dict stored;
    for (size_t i = 0; i < n; ++i) {
        if (!given[i].is_valid()) {
            if (i < cls.required)
                fail(ErrorKind::Type, std::string(cls.name) + "() missing required argument: '" +
                                          cls.dimensions[i] + "'");
            given[i] = nb::none();
        }
        dims.push_back({cls.dimensions[i],
                        dimension_value(cls, cls.dimensions[i], given[i], i >= cls.required)});
    }
    shapes::check(cls.kind, dims);
    dims = shapes::complete(cls.kind, dims);
    for (const shapes::Dimension &d : dims) stored[d.name.c_str()] = d.value;
    self.attr("_dimensions") = stored;
    if (cls.idea_type == nullptr) {
        const shapes::Outline made = shapes::outline(cls.kind, dims);
        auto vertices = [](const std::vector<geometry::Vertex> &polyline) {
            nb::list out;
            for (const geometry::Vertex &v : polyline) {
                nb::object point = nb::make_tuple(v.point.y, v.point.z);
                out.append(v.arc ? nb::object(nb::make_tuple(
                                       point, nb::make_tuple(v.on_arc.y, v.on_arc.z)))
                                 : point);
            }
            return out;
        };
        nb::list openings;
        for (const auto &opening : made.openings) openings.append(vertices(opening));
        self.attr("_outline") = vertices(made.outline);
        self.attr("_openings") = made.openings.empty() ? nb::none() : nb::object(openings);
    }
}

nb::object property(nb::handle getter, const char *doc) {
    return nb::module_::import_("builtins").attr("property")(getter, nb::none(), nb::none(), doc);
}

void bind_shape(nb::module_ &m, const ShapeClass &cls) {
    nb::object base = m.attr(cls.idea_type ? "SectionPrototype1D" : "GeneralShape");
    nb::dict namespace_;
    namespace_["__module__"] = m.attr("__name__");
    namespace_["__qualname__"] = cls.name;
    namespace_["__doc__"] = cls.doc;
    nb::object type =
        nb::module_::import_("abc").attr("ABCMeta")(cls.name, nb::make_tuple(base), namespace_);
    m.attr(cls.name) = type;
    const ShapeClass *shape_class = &cls;
    nb::setattr(type, "__init__",
                nb::cpp_function(
                    [shape_class](nb::handle self, nb::args args, nb::kwargs kwargs) {
                        construct(*shape_class, self, args, kwargs);
                    },
                    nb::is_method(), nb::name("__init__"), nb::scope(type), nb::sig(cls.signature),
                    "Check the dimensions [m] and keep them."));
    for (const char *name : cls.dimensions) {
        const std::string key = name;
        nb::object getter = nb::cpp_function(
            [key](nb::handle self) { return self.attr("_dimensions")[key.c_str()]; },
            nb::is_method(), nb::name(name), nb::scope(type),
            nb::sig(("def " + key + "(self) -> float").c_str()), "A dimension of the shape [m].");
        nb::setattr(type, name, property(getter, "A dimension of the shape [m]."));
    }
    if (cls.idea_type != nullptr) {
        const char *idea_type = cls.idea_type;
        nb::setattr(type, "_type",
                    property(nb::cpp_function(
                                 [idea_type](nb::handle) -> nb::object {
                                     return companion().attr("CrossSectionType").attr(idea_type);
                                 },
                                 nb::is_method(), nb::name("_type"), nb::scope(type),
                                 nb::sig("def _type(self) -> "
                                         "marlox.external.idea_rcs.objects.CrossSectionType")),
                             "The OpenModel cross-section type of the shape."));
        nb::setattr(type, "_parameters",
                    property(nb::cpp_function(
                                 [shape_class](nb::handle self) {
                                     nb::dict out;
                                     nb::object dims = self.attr("_dimensions");
                                     for (size_t i = 0; i < shape_class->dimensions.size(); ++i)
                                         out[shape_class->idea_names[i]] =
                                             dims[shape_class->dimensions[i]];
                                     return out;
                                 },
                                 nb::is_method(), nb::name("_parameters"), nb::scope(type),
                                 nb::sig("def _parameters(self) -> dict[str, float]")),
                             "The shape's parameters by IDEA's names, a new dictionary."));
    }
    nb::setattr(type, "__repr__",
                nb::cpp_function(
                    [shape_class](nb::handle self) {
                        std::string text = std::string(shape_class->name) + "(";
                        nb::object dims = self.attr("_dimensions");
                        for (size_t i = 0; i < shape_class->dimensions.size(); ++i) {
                            if (i) text += ", ";
                            text +=
                                std::string(shape_class->dimensions[i]) + "=" +
                                nb::cast<std::string>(nb::repr(dims[shape_class->dimensions[i]]));
                        }
                        return text + ")";
                    },
                    nb::is_method(), nb::name("__repr__"), nb::scope(type)));
    nb::module_::import_("abc").attr("update_abstractmethods")(type);
}

}  // namespace

void bind_shapes(nb::module_ &m) {
    for (const ShapeClass &cls : shape_classes()) bind_shape(m, cls);
    // Reprs for the two first prototypes too.
    nb::object rect = m.attr("RectSection"), general = m.attr("GeneralShape");
    nb::setattr(rect, "__repr__",
                nb::cpp_function(
                    [](nb::handle self) {
                        return nb::str("RectSection(width={!r}, height={!r})")
                            .format(self.attr("_width"), self.attr("_height"));
                    },
                    nb::is_method(), nb::name("__repr__"), nb::scope(rect)));
    nb::setattr(
        general, "__repr__",
        nb::cpp_function(
            [](nb::handle self) {
                auto count = [](nb::handle value) -> Py_ssize_t {
                    const Py_ssize_t n = PyObject_Length(value.ptr());
                    if (n < 0) PyErr_Clear();
                    return n;
                };
                std::string text = nb::cast<std::string>(self.type().attr("__name__")) + "(";
                const Py_ssize_t vertices = count(self.attr("_outline"));
                text += vertices < 0 ? std::string("an outline")
                                     : std::to_string(vertices) + " vertices";
                nb::object openings = self.attr("_openings");
                const Py_ssize_t holes = openings.is_none() ? 0 : count(openings);
                if (holes > 0)
                    text += ", " + std::to_string(holes) + (holes == 1 ? " opening" : " openings");
                return text + ")";
            },
            nb::is_method(), nb::name("__repr__"), nb::scope(general)));
}

}  // namespace marlox::py
