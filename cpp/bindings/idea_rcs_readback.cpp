// A model you can look at: read-only lists of what a model holds, reprs that name what an
// object is, and the properties of a section (areas, centroid, second moments, extreme
// fibres, reinforcement, effective depths), computed by the core (core/section_shapes) from
// the same geometry as the drawings.
#include <Python.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <charconv>
#include <cmath>
#include <string>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_drawing.hpp"
#include "bindings/idea_rcs_model_view.hpp"
#include "bindings/model.hpp"
#include "core/error.hpp"
#include "core/section_shapes.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

// --- section properties ---------------------------------------------------------------------

nb::object optional_number(bool present, double value) {
    return present ? nb::object(nb::float_(value)) : nb::none();
}

nb::dict properties_of(const cross_section::Shape &shape,
                       const std::vector<cross_section::Drawing::Bar> *bars) {
    shapes::Properties p;
    {
        nb::gil_scoped_release release;
        p = shapes::properties(shape);
    }
    nb::dict out;
    out["gross_area"] = p.gross_area;
    out["concrete_area"] = p.concrete_area;
    out["centroid"] = nb::make_tuple(p.centroid.y, p.centroid.z);
    out["second_moment_y"] = p.second_moment_y;
    out["second_moment_z"] = p.second_moment_z;
    out["y_left"] = p.bounds.y_left;
    out["y_right"] = p.bounds.y_right;
    out["z_bottom"] = p.bounds.z_bottom;
    out["z_top"] = p.bounds.z_top;
    if (bars == nullptr) return out;
    double area = 0;
    for (const auto &bar : *bars) area += M_PI * bar.diameter * bar.diameter / 4;
    out["reinforcement_area"] = area;
    out["reinforcement_ratio"] = area / p.concrete_area;
    nb::dict depths;
    for (const char *face : {"bottom", "top", "left", "right"}) {
        double d = 0;
        const bool found = shapes::effective_depth(p, *bars, face, d);
        depths[face] = optional_number(found, d);
    }
    out["effective_depth"] = depths;
    return out;
}

nb::dict model_properties(nb::handle self, nb::handle item) {
    const Picture made = picture(self, item, false, "section_properties");
    const cross_section::Shape shape =
        shapes::concrete(ModelView(*made.model), made.target, made.index);
    const bool plain = made.target == cross_section::Target::CrossSection;
    return properties_of(shape, plain ? nullptr : &made.drawing.bars);
}

// The concrete of a prototype, as a model would hold it.
cross_section::Shape prototype_shape(nb::handle prototype) {
    nb::object general =
        nb::module_::import_("marlox.external.idea_rcs.idea_rcs").attr("GeneralShape");
    if (!nb::isinstance(prototype, general)) {
        std::vector<std::pair<std::string, model_view::Number>> parameters;
        for (auto [key, value] : nb::borrow<nb::dict>(prototype.attr("_parameters"))) {
            model_view::Number n;
            if (PyFloat_Check(value.ptr()) ||
                (PyLong_Check(value.ptr()) && !PyBool_Check(value.ptr())))
                n.value = PyFloat_AsDouble(value.ptr());
            else
                continue;
            if (PyErr_Occurred()) throw_python();
            parameters.emplace_back(nb::cast<std::string>(nb::str(key)), n);
        }
        const std::string type = nb::cast<std::string>(prototype.attr("_type").attr("value"));
        return cross_section::parametric(type, parameters);
    }
    cross_section::Component part;
    auto polyline = [](nb::handle value, std::vector<geometry::Vertex> &out) {
        nb::object items = nb::steal(PySequence_List(value.ptr()));
        if (!items.is_valid()) throw_python();
        model_view::Coordinates c;
        if (!read_polyline(items.ptr(), c) || !c.finite) return false;
        for (const geometry::Vertex &v : c.vertices)
            if (!cross_section::near(v.point) || (v.arc && !cross_section::near(v.on_arc)))
                return false;
        out = std::move(c.vertices);
        return true;
    };
    if (!polyline(prototype.attr("_outline"), part.outline)) return {};
    nb::object openings = prototype.attr("_openings");
    if (!openings.is_none())
        for (nb::handle opening : openings) {
            part.openings.emplace_back();
            if (!polyline(opening, part.openings.back())) return {};
        }
    return cross_section::general({part});
}

double prototype_bound(nb::handle self, int which) {
    const shapes::Properties p = shapes::properties(prototype_shape(self));
    const double values[] = {p.bounds.y_left, p.bounds.y_right, p.bounds.z_bottom, p.bounds.z_top};
    return values[which];
}

// --- reading a model ------------------------------------------------------------------------

nb::list copy(const nb::list &list) {
    return nb::borrow<nb::list>(steal_or_throw(PySequence_List(list.ptr())));
}

nb::list all_extremes(ModelBase &model) {
    nb::list out;
    for (nb::handle section : model.check_section)
        for (nb::handle extreme : section.attr("extremes")) out.append(extreme);
    return out;
}

// The object of `list` whose id is the id of the reference `ref`, or None.
nb::object referred(const nb::list &list, nb::handle ref) {
    if (ref.is_none()) return nb::none();
    nb::object id = ref.attr("id");
    for (nb::handle item : list)
        if (item.attr("id").equal(id)) return nb::borrow(item);
    return nb::none();
}

// A member for each check section, of the class its member data's type names.
nb::list members_of(nb::handle self) {
    ModelBase &m = nb::cast<ModelBase &>(self);
    nb::list out;
    for (nb::handle section : m.check_section) {
        nb::object rcs = referred(m.reinforced_cross_section, section.attr("reinf_section"));
        if (rcs.is_none()) continue;
        nb::object check_member = section.attr("check_member");
        const char *cls = "Member";
        for (nb::handle data : m.attribute) {
            if (check_member.is_none() ||
                !data.attr("member").attr("id").equal(check_member.attr("id")))
                continue;
            const std::string type =
                nb::cast<std::string>(nb::str(data.attr("member_type").attr("name")));
            cls = type == "BEAM"        ? "Beam"
                  : type == "COLUMN"    ? "CompressionMember"
                  : type == "BEAM_SLAB" ? "OneWaySlab"
                                        : "Member";
            break;
        }
        out.append(made_member(cls, rcs, section, self));
    }
    return out;
}

std::string plural(size_t n, const char *one, const char *many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string model_repr(nb::handle self) {
    ModelBase &m = nb::cast<ModelBase &>(self);
    const std::string type = nb::cast<std::string>(self.type().attr("__name__"));
    return "<" + type + ": " +
           plural(m.mat_concrete.size() + m.mat_reinforcement.size(), "material", "materials") +
           ", " + plural(m.cross_section.size(), "cross-section", "cross-sections") + ", " +
           plural(m.check_section.size(), "check section", "check sections") + ", " +
           plural(all_extremes(m).size(), "extreme", "extremes") + ">";
}

std::string fixed(double value) {
    char buffer[48];
    const auto r =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 2);
    return std::string(buffer, r.ptr);
}

// What a member's concrete is, from its model: "T 1.20 × 0.75 m, C30/37".
std::string section_text(nb::handle model, nb::handle member) {
    const ModelView view(nb::cast<ModelBase &>(model));
    using List = model_view::Model::List;
    const double rcs_id = nb::cast<double>(member.attr("_rcs").attr("id"));
    size_t rcs_at, cs_at, material_at;
    double cs_id = 0, material_id = 0;
    bool found = false;
    if (cross_section::find(view, List::ReinforcedCrossSection, rcs_id, rcs_at))
        view.object(List::ReinforcedCrossSection, rcs_at, [&](const model_view::Object &rcs) {
            found = cross_section::reference(rcs, "cross_section", cs_id);
        });
    if (!found || !cross_section::find(view, List::CrossSection, cs_id, cs_at)) return "";
    std::string text;
    view.object(List::CrossSection, cs_at, [&](const model_view::Object &cs) {
        const std::string type = cross_section::text(cs, "cross_section_type");
        text = type == "Rect" ? "rectangle"
               : type == "O"  ? "circle"
               : type == "Tg" ? "T"
               : type.empty() ? "general shape"
                              : type;
        const cross_section::Shape concrete = cross_section::shape(cs);
        if (concrete.known) {
            try {
                const shapes::Properties p = shapes::properties(concrete);
                text += " " + fixed(p.bounds.y_right - p.bounds.y_left) + " \xc3\x97 " +
                        fixed(p.bounds.z_top - p.bounds.z_bottom) + " m";
            } catch (const Error &) {
            }
        }
        bool known = cross_section::reference(cs, "material", material_id);
        if (!known && cs.type().index_of("components") >= 0 && cs.count(cs.field("components")) > 0)
            cs.object_at(cs.field("components"), 0, [&](const model_view::Object &component) {
                known = cross_section::reference(component, "material", material_id);
            });
        if (known && cross_section::find(view, List::MatConcrete, material_id, material_at))
            view.object(List::MatConcrete, material_at, [&](const model_view::Object &m) {
                text += ", " + cross_section::text(m, "name");
            });
    });
    return text;
}

std::string member_repr(nb::handle self) {
    const std::string type = nb::cast<std::string>(self.type().attr("__name__"));
    nb::object section = self.attr("_check_section");
    std::string text = type;
    nb::object description = nb::getattr(section, "description", nb::none());
    if (!description.is_none()) text += " '" + nb::cast<std::string>(nb::str(description)) + "'";
    text += ": ";
    nb::object model = self.attr("model");
    if (!model.is_none()) {
        const std::string concrete = section_text(model, self);
        if (!concrete.empty()) text += concrete + ", ";
    }
    nb::object rcs = self.attr("_rcs");
    const size_t bars = nb::len(nb::object(rcs.attr("bars")));
    const size_t stirrups = nb::len(nb::object(rcs.attr("stirrups")));
    const size_t extremes = nb::len(nb::object(section.attr("extremes")));
    text += plural(bars, "bar", "bars");
    if (stirrups) text += ", " + plural(stirrups, "stirrup", "stirrups");
    return text + ", " + plural(extremes, "extreme", "extremes");
}

nb::dict member_properties(nb::handle self) {
    nb::object model = self.attr("model");
    if (model.is_none())
        fail(ErrorKind::Value,
             "section_properties: the member was not made by a model, so its concrete is not "
             "known");
    return model_properties(model, self);
}

#define MARLOX_PROPERTIES_DOC                                                                  \
    "The properties of the section, as a dict [m, m2, m4]: ``gross_area`` (inside the "        \
    "outline), ``concrete_area`` (net of openings), ``centroid`` (y, z) and the second "       \
    "moments ``second_moment_y`` (about the axis y through the centroid, for bending by My) "  \
    "and ``second_moment_z`` of the concrete net of openings, the extreme fibres ``y_left``, " \
    "``y_right``, ``z_bottom``, ``z_top`` in bar coordinates"

constexpr const char *kRcsProperties = MARLOX_PROPERTIES_DOC
    "; and with bars: ``reinforcement_area``, ``reinforcement_ratio`` (to the concrete "
    "area) and ``effective_depth``, a dict by the face in tension (\"bottom\", \"top\", "
    "\"left\", \"right\"): from the opposite extreme fibre to the centroid of the bars on "
    "that side of the concrete's centroid, None when there is none. Raises ``ValueError`` "
    "when the concrete is not known (a parametric type that the model does not draw).";

constexpr const char *kExtremesDoc =
    "The load extremes of every check section, section by section, in order. A new list.";

constexpr const char *kMembersDoc =
    "A member for each check section, in order, of the class its member data names (Beam, "
    "CompressionMember, OneWaySlab; Member for another type): new objects on the model's own "
    "reinforced sections and check sections, also for a model read from XML.";

}  // namespace

void bind_readback(nb::module_ &m) {
    nb::object model = m.attr("_Model");
    nb::setattr(
        model, "section_properties",
        nb::cpp_function(&model_properties, nb::is_method(), nb::name("section_properties"),
                         nb::scope(model), "item"_a,
                         nb::sig("def section_properties(self, item: "
                                 "marlox.external.idea_rcs.objects.CrossSection | "
                                 "marlox.external.idea_rcs.objects.ReinforcedCrossSection | "
                                 "marlox.external.idea_rcs.objects.CheckSection | Member) -> "
                                 "dict[str, typing.Any]"),
                         kRcsProperties));
    struct Lister {
        const char *name, *result, *doc;
        nb::list ModelBase::*list;
    };
    static const Lister listers[] = {
        {"concrete_materials", "MatConcrete", "The concrete materials, in order. A new list.",
         &ModelBase::mat_concrete},
        {"reinforcement_materials", "MatReinforcement",
         "The reinforcement materials, in order. A new list.", &ModelBase::mat_reinforcement},
        {"cross_sections", "CrossSection", "The concrete cross-sections, in order. A new list.",
         &ModelBase::cross_section},
        {"reinforced_sections", "ReinforcedCrossSection",
         "The reinforced cross-sections (with their bars and stirrups), in order. A new list.",
         &ModelBase::reinforced_cross_section},
        {"check_members", "CheckMember", "The check (design) members, in order. A new list.",
         &ModelBase::check_member},
        {"check_sections", "StandardCheckSection",
         "The check sections (with their extremes), in order. A new list.",
         &ModelBase::check_section},
        {"member_data", "ConcreteMemberDataEc2", "The member data records, in order. A new list.",
         &ModelBase::attribute},
    };
    for (const Lister &lister : listers) {
        auto list = lister.list;
        const std::string signature = std::string("def ") + lister.name +
                                      "(self) -> list[marlox.external.idea_rcs.objects." +
                                      lister.result + "]";
        nb::object getter = nb::cpp_function(
            [list](ModelBase &self) { return copy(self.*list); }, nb::is_method(),
            nb::name(lister.name), nb::scope(model), nb::sig(signature.c_str()), lister.doc);
        nb::setattr(model, lister.name,
                    nb::module_::import_("builtins")
                        .attr("property")(getter, nb::none(), nb::none(), lister.doc));
    }
    nb::object extremes =
        nb::cpp_function([](ModelBase &self) { return all_extremes(self); }, nb::is_method(),
                         nb::name("extremes"), nb::scope(model),
                         nb::sig("def extremes(self) -> "
                                 "list[marlox.external.idea_rcs.objects.CheckSectionExtreme]"),
                         kExtremesDoc);
    nb::setattr(model, "extremes",
                nb::module_::import_("builtins")
                    .attr("property")(extremes, nb::none(), nb::none(), kExtremesDoc));
    nb::object members =
        nb::cpp_function(&members_of, nb::is_method(), nb::name("members"), nb::scope(model),
                         nb::sig("def members(self) -> list[Member]"), kMembersDoc);
    nb::setattr(model, "members",
                nb::module_::import_("builtins")
                    .attr("property")(members, nb::none(), nb::none(), kMembersDoc));
    nb::setattr(
        model, "__repr__",
        nb::cpp_function(&model_repr, nb::is_method(), nb::name("__repr__"), nb::scope(model)));

    nb::object member = m.attr("Member");
    nb::setattr(
        member, "__repr__",
        nb::cpp_function(&member_repr, nb::is_method(), nb::name("__repr__"), nb::scope(member)));
    nb::setattr(member, "section_properties",
                nb::cpp_function(&member_properties, nb::is_method(),
                                 nb::name("section_properties"), nb::scope(member),
                                 nb::sig("def section_properties(self) -> dict[str, typing.Any]"),
                                 kRcsProperties));

    nb::object prototype = m.attr("SectionPrototype1D");
    static const char *bounds[] = {"y_left", "y_right", "z_bottom", "z_top"};
    static const char *bound_docs[] = {
        "The leftmost fibre of the concrete: its least y in bar coordinates [m].",
        "The rightmost fibre of the concrete: its greatest y in bar coordinates [m].",
        "The bottom fibre of the concrete: its least z in bar coordinates [m]. A bar whose "
        "cover is measured from the bottom face stands at ``z_bottom + cover + diameter / 2``.",
        "The top fibre of the concrete: its greatest z in bar coordinates [m]."};
    for (int i = 0; i < 4; ++i) {
        nb::object getter = nb::cpp_function(
            [i](nb::handle self) { return prototype_bound(self, i); }, nb::is_method(),
            nb::name(bounds[i]), nb::scope(prototype),
            nb::sig((std::string("def ") + bounds[i] + "(self) -> float").c_str()), bound_docs[i]);
        nb::setattr(prototype, bounds[i],
                    nb::module_::import_("builtins")
                        .attr("property")(getter, nb::none(), nb::none(), bound_docs[i]));
    }
    nb::setattr(prototype, "section_properties",
                nb::cpp_function(
                    [](nb::handle self) { return properties_of(prototype_shape(self), nullptr); },
                    nb::is_method(), nb::name("section_properties"), nb::scope(prototype),
                    nb::sig("def section_properties(self) -> dict[str, typing.Any]"),
                    MARLOX_PROPERTIES_DOC
                    ". Raises ``ValueError`` when the dimensions do not form the shape, or when "
                    "its concrete is not known."));
    nb::module_::import_("abc").attr("update_abstractmethods")(prototype);
}

}  // namespace marlox::py
