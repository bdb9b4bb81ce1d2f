// The operations of the objects that own lists: bars, bar layers and stirrups of a reinforced
// cross-section, extremes of a check section, components of a cross-section.
#include <string>

#include "bindings/objects.hpp"

using namespace nb::literals;

namespace marlox::objects {

namespace {

nb::list &list_field(Obj &self, const char *name) {
    return static_cast<nb::list &>(self.values[self.type->index_of(name)]);
}

// --- operations of the objects that own lists -----------------------------------------

nb::object create_bar(Obj &self, nb::handle coordinates, nb::handle diameter, nb::handle material) {
    nb::object bar = lookup("ReinforcedBar")(coordinates, diameter, material);
    list_field(self, "bars").append(bar);
    return bar;
}

nb::list create_bar_layer(Obj &self, nb::handle origin, nb::handle diameter, nb::handle material,
                          nb::handle number_of_bars, nb::handle delta_y, nb::handle delta_z) {
    const std::string context = "ReinforcedCrossSection.create_bar_layer";
    if (!is_int(number_of_bars))
        fail(ErrorKind::Type, context + ": 'number_of_bars' must be an int, not " +
                                  nb::inst_name(number_of_bars).c_str());
    const long long n = PyLong_AsLongLong(number_of_bars.ptr());
    if (n == -1 && PyErr_Occurred()) throw_python();
    if (n < 2)
        value_error(context, "number_of_bars", "must be at least 2, got " + std::to_string(n));
    if (n > 100000)
        value_error(context, "number_of_bars", "must be at most 100000, got " + std::to_string(n));
    nb::object start = check_point(context, "origin", origin);
    Field delta{"delta_y", "", Kind::Number, nullptr, nullptr, 0, ""};
    const double dy = delta_y.is_none() ? 0.0 : as_double(check_number(context, delta, delta_y));
    delta.name = "delta_z";
    const double dz = delta_z.is_none() ? 0.0 : as_double(check_number(context, delta, delta_z));
    const double y0 = as_double(nb::borrow<nb::tuple>(start)[0]);
    const double z0 = as_double(nb::borrow<nb::tuple>(start)[1]);
    nb::handle bar_type = lookup("ReinforcedBar");
    nb::list made;
    for (long long i = 0; i < n; ++i) {
        const double y = y0 + dy * static_cast<double>(i) / static_cast<double>(n - 1);
        const double z = z0 + dz * static_cast<double>(i) / static_cast<double>(n - 1);
        made.append(bar_type(nb::make_tuple(y, z), diameter, material));
    }
    nb::list &bars = list_field(self, "bars");
    for (nb::handle bar : made) bars.append(bar);
    return made;
}

nb::object create_stirrup(Obj &self, nb::handle points, nb::handle diameter, nb::handle material,
                          nb::handle distance, nb::handle shear_check, nb::handle torsion_check,
                          nb::handle mandrel_diameter_factor, nb::handle anchorage_length) {
    nb::object stirrup = lookup("Stirrup")(
        points, diameter, material, distance,
        shear_check.is_none() ? nb::object(nb::bool_(false)) : nb::borrow(shear_check),
        torsion_check.is_none() ? nb::object(nb::bool_(false)) : nb::borrow(torsion_check),
        mandrel_diameter_factor.is_none() ? nb::object(nb::float_(1.0))
                                          : nb::borrow(mandrel_diameter_factor),
        anchorage_length.is_none() ? nb::object(nb::float_(0.0)) : nb::borrow(anchorage_length));
    list_field(self, "stirrups").append(stirrup);
    return stirrup;
}

nb::object create_extreme(Obj &self, nb::handle description, nb::handle accidental,
                          nb::handle fatigue, nb::handle frequent, nb::handle fundamental,
                          nb::handle characteristic, nb::handle quasi_permanent) {
    nb::list &extremes = list_field(self, "extremes");
    nb::object text = nb::borrow(description);
    if (!truthy(description)) {
        nb::handle name = self.values[self.type->index_of("description")];
        text = nb::str("{} - E {}").format(name, extremes.size() + 1);
    }
    nb::object extreme = lookup("CheckSectionExtreme")(
        text, "fundamental"_a = fundamental, "accidental"_a = accidental,
        "characteristic"_a = characteristic, "quasi_permanent"_a = quasi_permanent,
        "frequent"_a = frequent, "fatigue"_a = fatigue);
    extremes.append(extreme);
    return extreme;
}

nb::object create_component(Obj &self, nb::handle outline, nb::handle material,
                            nb::handle openings) {
    nb::list &components = list_field(self, "components");
    nb::object component =
        lookup("CssComponent")(components.size() + 1, material, outline, openings);
    components.append(component);
    return component;
}

}  // namespace

void bind_operations(nb::handle rcs_cls, nb::handle section_cls, nb::handle component_cls) {
    nb::setattr(
        rcs_cls, "create_bar",
        nb::cpp_function(
            [](nb::handle self, nb::handle coordinates, nb::handle diameter, nb::handle material) {
                return create_bar(object_of(self, "ReinforcedCrossSection"), coordinates, diameter,
                                  material);
            },
            nb::is_method(), nb::name("create_bar"), nb::scope(rcs_cls), "coordinates"_a,
            "diameter"_a, "material"_a,
            nb::sig("def create_bar(self, coordinates: tuple[float, float], diameter: float, "
                    "material: MatReinforcement | _ReferenceElement) -> ReinforcedBar"),
            "Add a bar at ``coordinates`` (y, z) [m] of ``diameter`` [m] and ``material``."));
    nb::setattr(
        rcs_cls, "create_bar_layer",
        nb::cpp_function(
            [](nb::handle self, nb::handle origin, nb::handle diameter, nb::handle material,
               nb::handle number_of_bars, nb::handle delta_y, nb::handle delta_z) {
                return create_bar_layer(object_of(self, "ReinforcedCrossSection"), origin, diameter,
                                        material, number_of_bars, delta_y, delta_z);
            },
            nb::is_method(), nb::name("create_bar_layer"), nb::scope(rcs_cls), "origin"_a,
            "diameter"_a, "material"_a, "number_of_bars"_a, "delta_y"_a = nb::none(),
            "delta_z"_a = nb::none(),
            nb::sig("def create_bar_layer(self, origin: tuple[float, float], diameter: float, "
                    "material: MatReinforcement | _ReferenceElement, number_of_bars: int, "
                    "delta_y: float | None = None, delta_z: float | None = None) -> "
                    "list[ReinforcedBar]"),
            "Add ``number_of_bars`` bars (at least 2) evenly on the straight line from ``origin`` "
            "(y, z) [m] to ``origin + (delta_y, delta_z)``; an omitted delta is 0."));
    nb::setattr(
        rcs_cls, "create_stirrup",
        nb::cpp_function(
            [](nb::handle self, nb::handle points, nb::handle diameter, nb::handle material,
               nb::handle distance, nb::handle shear_check, nb::handle torsion_check,
               nb::handle mandrel, nb::handle anchorage) {
                return create_stirrup(object_of(self, "ReinforcedCrossSection"), points, diameter,
                                      material, distance, shear_check, torsion_check, mandrel,
                                      anchorage);
            },
            nb::is_method(), nb::name("create_stirrup"), nb::scope(rcs_cls), "points"_a,
            "diameter"_a, "material"_a, "distance"_a, "shear_check"_a = nb::none(),
            "torsion_check"_a = nb::none(), "mandrel_diameter_factor"_a = nb::none(),
            "anchorage_length"_a = nb::none(),
            nb::sig("def create_stirrup(self, points: collections.abc.Sequence[tuple[float, float] "
                    "| tuple[tuple[float, float], tuple[float, float]]], diameter: float, "
                    "material: MatReinforcement | _ReferenceElement, distance: float, "
                    "shear_check: bool | None = None, torsion_check: bool | None = None, "
                    "mandrel_diameter_factor: float | None = None, anchorage_length: float | None "
                    "= None) -> Stirrup"),
            "Add a stirrup through ``points`` (y, z) [m], straight segments between them; an arc "
            "is given as ((y_end, z_end), (y_on_arc, z_on_arc)). ``distance`` is the "
            "longitudinal spacing [m]. Defaults: ``shear_check`` False, ``torsion_check`` False, "
            "``mandrel_diameter_factor`` 1.0 (times the diameter), ``anchorage_length`` 0.0 m."));
    nb::setattr(
        section_cls, "create_extreme",
        nb::cpp_function(
            [](nb::handle self, nb::handle description, nb::handle accidental, nb::handle fatigue,
               nb::handle frequent, nb::handle fundamental, nb::handle characteristic,
               nb::handle quasi_permanent) {
                return create_extreme(object_of(self, "StandardCheckSection"), description,
                                      accidental, fatigue, frequent, fundamental, characteristic,
                                      quasi_permanent);
            },
            nb::is_method(), nb::name("create_extreme"), nb::scope(section_cls),
            "description"_a = nb::none(), "accidental"_a = nb::none(), "fatigue"_a = nb::none(),
            "frequent"_a = nb::none(), "fundamental"_a = nb::none(),
            "characteristic"_a = nb::none(), "quasi_permanent"_a = nb::none(),
            nb::sig("def create_extreme(self, description: str | None = None, accidental: "
                    "LoadingULS | None = None, fatigue: FatigueLoading | None = None, frequent: "
                    "LoadingSLS | None = None, fundamental: LoadingULS | None = None, "
                    "characteristic: LoadingSLS | None = None, quasi_permanent: LoadingSLS | None "
                    "= None) -> CheckSectionExtreme"),
            "Add a load extreme with the given loadings. The default description is "
            "\"{section_name} - E {i}\", i counting the section's extremes from 1."));
    nb::setattr(
        component_cls, "create_component",
        nb::cpp_function(
            [](nb::handle self, nb::handle outline, nb::handle material, nb::handle openings) {
                return create_component(object_of(self, "CrossSectionComponent"), outline, material,
                                        openings);
            },
            nb::is_method(), nb::name("create_component"), nb::scope(component_cls), "outline"_a,
            "material"_a, "openings"_a = nb::none(),
            nb::sig("def create_component(self, outline: collections.abc.Sequence[tuple[float, "
                    "float] | tuple[tuple[float, float], tuple[float, float]]], material: "
                    "MatConcrete | _ReferenceElement, openings: "
                    "collections.abc.Sequence[collections.abc.Sequence[tuple[float, float] | "
                    "tuple[tuple[float, float], tuple[float, float]]]] | None = None) -> "
                    "CssComponent"),
            "Add a component of ``material`` bounded by the closed ``outline`` (vertices (y, z) "
            "[m], at least 3, the first not repeated at the end; an arc is ((y_end, z_end), "
            "(y_on_arc, z_on_arc))), with optional closed ``openings`` of the same form."));
}

}  // namespace marlox::objects
