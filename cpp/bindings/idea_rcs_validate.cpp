// Checking and drawing a model: `validate()`, `ensure_valid()` and `plot()` of `_Model`, the
// `Finding` they report, `Severity` and `ModelError`. The checks and the geometry of the
// drawings are the core's (core/validate, core/cross_section_geometry), which read the model's
// objects where they are stored, through the typed view defined here; matplotlib does the
// drawing, in the Python module `_plot`, imported only when a drawing is asked for.
#include <Python.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <string>
#include <vector>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_drawing.hpp"
#include "bindings/idea_rcs_model_view.hpp"
#include "bindings/model.hpp"
#include "core/cross_section_geometry.hpp"
#include "core/error.hpp"
#include "core/validate.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

using validate::Finding;

nb::object &severity_class() {
    static nb::object *cls = new nb::object();  // lives as long as the process
    return *cls;
}

nb::object &model_error_class() {
    static nb::object *cls = new nb::object();
    return *cls;
}

nb::object number(double value) {
    if (value == static_cast<double>(static_cast<long long>(value)))
        return nb::int_(static_cast<long long>(value));
    return nb::float_(value);
}

nb::object severity(const Finding &f) {
    return severity_class().attr(f.severity == validate::Severity::Error ? "ERROR" : "WARNING");
}

std::string object_text(const Finding &f) {
    std::string text = f.type;
    if (f.has_id) {
        const double id = f.id;
        text += " " + nb::cast<std::string>(nb::str(number(id)));
    }
    if (!f.name.empty()) text += " '" + f.name + "'";
    return text;
}

std::string finding_text(const Finding &f) {
    return std::string(f.severity == validate::Severity::Error ? "error" : "warning") + ": " +
           object_text(f) + (f.field.empty() ? "" : ", " + f.field) + ": " + f.message;
}

std::vector<Finding> findings(nb::handle model) {
    if (!nb::isinstance<ModelBase>(model))
        fail(ErrorKind::Type,
             "validate: expected a model, not " + std::string(nb::inst_name(model).c_str()));
    // The objects stay as they are while the checks read them: the GIL is held throughout.
    return validate::check(ModelView(nb::cast<ModelBase &>(model)));
}

nb::list validate_model(nb::handle self) {
    nb::list out;
    for (Finding &f : findings(self)) out.append(nb::cast(std::move(f)));
    return out;
}

nb::list ensure_valid(nb::handle self) {
    std::vector<std::string> errors;
    nb::list error_findings, warnings;
    for (Finding &f : findings(self)) {
        const bool is_error = f.severity == validate::Severity::Error;
        if (is_error) errors.push_back(finding_text(f));
        (is_error ? error_findings : warnings).append(nb::cast(std::move(f)));
    }
    if (errors.empty()) return warnings;
    std::string message = "the model has " + std::to_string(errors.size()) +
                          (errors.size() == 1 ? " error" : " errors") + ":";
    for (const std::string &e : errors) message += "\n  " + e;
    nb::object error = model_error_class()(message);
    error.attr("findings") = error_findings;
    raise_error(error);
}

// The list of `self` that holds `item` (by identity) and its index there.
bool locate(ModelBase &model, nb::handle item, cross_section::Target &target, size_t &index) {
    const std::pair<nb::list *, cross_section::Target> lists[] = {
        {&model.check_section, cross_section::Target::CheckSection},
        {&model.reinforced_cross_section, cross_section::Target::ReinforcedSection},
        {&model.cross_section, cross_section::Target::CrossSection},
    };
    for (const auto &[list, kind] : lists) {
        for (size_t i = 0; i < list->size(); ++i) {
            if ((*list)[i].is(item)) {
                target = kind;
                index = i;
                return true;
            }
        }
    }
    return false;
}

nb::list points(const std::vector<geometry::Point> &polyline) {
    nb::list out;
    for (const auto &p : polyline) out.append(nb::make_tuple(p.y, p.z));
    return out;
}

}  // namespace

Picture picture(nb::handle self, nb::handle item, bool with_findings, const char *operation) {
    nb::handle target_item = item;
    nb::object member = nb::module_::import_("marlox.external.idea_rcs.idea_rcs").attr("Member");
    nb::object check_section;
    if (nb::isinstance(item, member)) {
        check_section = item.attr("_check_section");
        target_item = check_section;
    }
    if (!nb::isinstance<ModelBase>(self))
        fail(ErrorKind::Type, std::string(operation) + ": expected a model, not " +
                                  std::string(nb::inst_name(self).c_str()));
    cross_section::Target target;
    size_t index;
    if (!locate(nb::cast<ModelBase &>(self), target_item, target, index))
        fail(ErrorKind::Value,
             std::string(operation) + ": " + std::string(nb::inst_name(item).c_str()) +
                 " is not a cross-section, reinforced cross-section, check section or member of "
                 "this model");
    Picture out;
    out.model = &nb::cast<ModelBase &>(self);
    out.target = target;
    out.index = index;
    const ModelView model(*out.model);
    out.drawing = cross_section::draw(model, target, index);
    if (!with_findings) return out;
    for (Finding &f : validate::check(model, out.drawing.places)) {
        bool concerns = false;
        for (const auto &[type, id] : out.drawing.objects)
            concerns = concerns || (f.has_id && f.type == type && f.id == id);
        if (!concerns) continue;
        if (f.located && cross_section::near(f.at))
            out.marks.push_back({f.at, f.severity == validate::Severity::Error,
                                 f.field.empty() ? f.message : f.field + ": " + f.message});
        out.findings.push_back(std::move(f));
    }
    return out;
}

namespace {

nb::object plot(nb::handle self, nb::handle item, nb::handle ax, bool with_findings) {
    const Picture made = picture(self, item, with_findings, "plot");
    const cross_section::Drawing &drawing = made.drawing;
    nb::dict data;
    data["title"] = drawing.title;
    data["outline_drawn"] = drawing.outline_drawn;
    data["too_far"] = drawing.too_far;
    nb::list outlines, openings, bars, stirrups, marks;
    for (const auto &outline : drawing.outlines) outlines.append(points(outline));
    for (const auto &opening : drawing.openings) openings.append(points(opening));
    for (const auto &bar : drawing.bars)
        bars.append(nb::make_tuple(bar.centre.y, bar.centre.z, bar.diameter));
    for (const auto &stirrup : drawing.stirrups)
        stirrups.append(nb::make_tuple(points(stirrup.points), stirrup.diameter));
    for (const Finding &f : made.findings) {
        nb::object where = nb::none();
        if (f.located && cross_section::near(f.at)) where = nb::make_tuple(f.at.y, f.at.z);
        marks.append(nb::make_tuple(where,
                                    f.severity == validate::Severity::Error ? "error" : "warning",
                                    f.field.empty() ? f.message : f.field + ": " + f.message));
    }
    data["outlines"] = outlines;
    data["openings"] = openings;
    data["bars"] = bars;
    data["stirrups"] = stirrups;
    data["findings"] = marks;
    return nb::module_::import_("marlox.external.idea_rcs._plot").attr("draw")(data, ax);
}

}  // namespace

void bind_validate(nb::module_ &m) {
    nb::object enum_type = nb::module_::import_("enum").attr("Enum");
    severity_class() = enum_type(
        "Severity",
        nb::make_tuple(nb::make_tuple("ERROR", "error"), nb::make_tuple("WARNING", "warning")),
        "module"_a = m.attr("__name__"), "qualname"_a = "Severity");
    severity_class().attr("__doc__") =
        "How bad a finding is: an ERROR makes the run fail or its results wrong; a WARNING is "
        "worth a look before paying for a run.";
    m.attr("Severity") = severity_class();

    PyObject *error = PyErr_NewExceptionWithDoc(
        "marlox.external.idea_rcs.idea_rcs.ModelError",
        "A model that is not fit to run: raised by ``ensure_valid()``. The message lists every "
        "error; ``findings`` holds them as ``Finding`` objects.",
        PyExc_ValueError, nullptr);
    if (error == nullptr) throw_python();
    model_error_class() = nb::steal(error);
    m.attr("ModelError") = model_error_class();

    nb::class_<Finding>(m, "Finding",
                        "One fault or doubt that ``validate()`` found in a model: the object it "
                        "concerns, the field and one sentence.")
        .def_prop_ro("severity", &severity,
                     nb::for_getter(nb::sig("def severity(self) -> Severity")),
                     nb::for_getter("``Severity.ERROR`` or ``Severity.WARNING``."))
        .def_prop_ro(
            "object_type", [](const Finding &f) { return f.type; },
            nb::for_getter("Type of the object concerned, e.g. 'ReinforcedCrossSection'."))
        .def_prop_ro(
            "object_id", [](const Finding &f) { return f.has_id ? number(f.id) : nb::none(); },
            nb::for_getter(nb::sig("def object_id(self) -> int | None")),
            nb::for_getter("Its id in its list (member data: its member's id), or None."))
        .def_prop_ro(
            "object_name", [](const Finding &f) { return f.name; },
            nb::for_getter("Its name or description (member data: its member's name)."))
        .def_prop_ro(
            "field", [](const Finding &f) { return f.field; },
            nb::for_getter("Where in the object, by attribute names: 'e_modulus', "
                           "'bars[2]', 'components[0].openings[1]'; '' for the whole object."))
        .def_prop_ro(
            "message", [](const Finding &f) { return f.message; },
            nb::for_getter("What is wrong, in one sentence."))
        .def_prop_ro(
            "location",
            [](const Finding &f) {
                return f.located ? nb::object(nb::make_tuple(f.at.y, f.at.z)) : nb::none();
            },
            nb::for_getter(nb::sig("def location(self) -> tuple[float, float] | None")),
            nb::for_getter("The point (y, z) [m] of the section where it lies, or None."))
        .def("__str__", &finding_text)
        .def("__repr__", [](const Finding &f) { return "<Finding " + finding_text(f) + ">"; });

    nb::object model = m.attr("_Model");
    nb::setattr(
        model, "validate",
        nb::cpp_function(&validate_model, nb::is_method(), nb::name("validate"), nb::scope(model),
                         nb::sig("def validate(self) -> list[Finding]"),
                         "Check the whole model before a run and return what is found, "
                         "errors and warnings, in the order of the model's lists.\n\n"
                         "Checked: references to objects that are not in the model, or "
                         "made from an object of the wrong kind (a reinforcement material "
                         "as the concrete); values (moduli, strengths, dimensions and "
                         "diameters finite and positive, Poisson's ratio in [0, 0.5), "
                         "relative humidity in (0, 100] per cent); values that look like "
                         "another unit (a warning: fck or fyk more than ten times off "
                         "Eurocode 2's range, dimensions over 50 m or diameters over 100 mm, "
                         "most likely millimetres); coordinates beyond 1e6 m; outlines and "
                         "openings (at least three points, not crossing themselves, openings "
                         "inside their outline, some concrete left); bars inside the "
                         "concrete and out of openings, not overlapping each other or a "
                         "stirrup, with a cover of at least their diameter and the clear "
                         "spacing of Eurocode 2, 8.2 (warnings); a reinforced section "
                         "without bars (a warning); stirrups inside the concrete, arcs "
                         "included, and closed when they count for torsion (a warning); "
                         "check sections with extremes, and extremes with a loading.\n\n"
                         "Parametric sections are checked against "
                         "their bars where IDEA StatiCa RCS's placement (centroid on the "
                         "origin) is certain, RECT, O and TG, and likewise TGREV, IGN and "
                         "TRAPEZOID; the haunched and chamfered types are not."));
    nb::setattr(
        model, "ensure_valid",
        nb::cpp_function(&ensure_valid, nb::is_method(), nb::name("ensure_valid"), nb::scope(model),
                         nb::sig("def ensure_valid(self) -> list[Finding]"),
                         "Raise ``ModelError`` listing every error that ``validate()`` "
                         "finds; return the warnings when there is no error."));
    nb::setattr(
        model, "plot",
        nb::cpp_function(&plot, nb::is_method(), nb::name("plot"), nb::scope(model), "item"_a,
                         "ax"_a = nb::none(), nb::kw_only(), "findings"_a = true,
                         nb::sig("def plot(self, item: "
                                 "marlox.external.idea_rcs.objects.CrossSection | "
                                 "marlox.external.idea_rcs.objects.ReinforcedCrossSection | "
                                 "marlox.external.idea_rcs.objects.CheckSection | Member, ax: "
                                 "typing.Any = None, *, findings: bool = True) -> typing.Any"),
                         "Draw ``item`` (a cross-section, reinforced cross-section, check "
                         "section or member of this model) on the matplotlib axes ``ax``, or "
                         "on a new figure, and return the axes: the concrete with its openings, "
                         "bars as circles of their diameter, stirrups along their axis with "
                         "their arcs, equal axes in metres and the name as title. With "
                         "``findings`` the findings of ``validate()`` that concern the drawn "
                         "objects (and only those are checked) are numbered where they lie and "
                         "listed below the axes, wrapped to their width; a figure without a "
                         "layout engine gets matplotlib's constrained layout so that lists "
                         "stay clear of neighbouring axes. Geometry beyond 1e6 m is left out. "
                         "Needs matplotlib: ``pip install 'marlox[plot]'``."));
}

}  // namespace marlox::py
