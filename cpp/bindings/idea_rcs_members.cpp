// Section prototypes, members and the member-oriented Model builder.
#include <Python.h>
#include <nanobind/eval.h>
#include <nanobind/nanobind.h>

#include <optional>
#include <string>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/members_docs.hpp"
#include "bindings/model.hpp"
#include "core/model_rules.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

[[noreturn]] void raise_not_implemented() {
    PyErr_SetNone(PyExc_NotImplementedError);
    throw_python();
}

// A class of this module, looked up when it is used, as a global name is.
nb::object module_class(const char *name) {
    return nb::module_::import_("marlox.external.idea_rcs.idea_rcs").attr(name);
}

// --- abstract operations ---------------------------------------------------------------
//
// abc.abstractmethod marks a function by setting `__isabstractmethod__` on it, which a
// compiled function does not accept. An AbstractMethod carries the mark for it: it binds to an
// instance as a function does, calls the function through, and shows the stub declaration of
// the abstract operation to the stub generator.

struct AbstractMethod {
    nb::object function;
    nb::object declaration;
};

AbstractMethod *abstract_of(PyObject *self) {
    if (!nb::inst_ready(self)) {
        PyErr_SetString(PyExc_TypeError, "uninitialised abstract method");
        return nullptr;
    }
    return nb::inst_ptr<AbstractMethod>(self);
}

PyObject *abstract_call(PyObject *self, PyObject *args, PyObject *kwargs) {
    AbstractMethod *method = abstract_of(self);
    return method ? PyObject_Call(method->function.ptr(), args, kwargs) : nullptr;
}

PyObject *abstract_get(PyObject *self, PyObject *instance, PyObject *) {
    if (instance == nullptr || instance == Py_None) return Py_NewRef(self);
    return PyMethod_New(self, instance);
}

int abstract_traverse(PyObject *self, visitproc visit, void *arg) {
    Py_VISIT(Py_TYPE(self));
    if (!nb::inst_ready(self)) return 0;
    AbstractMethod *method = nb::inst_ptr<AbstractMethod>(self);
    Py_VISIT(method->function.ptr());
    Py_VISIT(method->declaration.ptr());
    return 0;
}

int abstract_clear(PyObject *self) {
    if (!nb::inst_ready(self)) return 0;
    AbstractMethod *method = nb::inst_ptr<AbstractMethod>(self);
    method->function = nb::none();
    method->declaration = nb::none();
    return 0;
}

PyType_Slot abstract_slots[] = {{Py_tp_call, (void *)abstract_call},
                                {Py_tp_descr_get, (void *)abstract_get},
                                {Py_tp_traverse, (void *)abstract_traverse},
                                {Py_tp_clear, (void *)abstract_clear},
                                {0, nullptr}};

void bind_abstract_method(nb::module_ &m) {
    nb::class_<AbstractMethod> cls(m, "_AbstractMethod", nb::type_slots(abstract_slots),
                                   doc::abstract_method);
    cls.def_prop_ro("__isabstractmethod__", [](const AbstractMethod &) { return true; })
        .def_prop_ro("__wrapped__", [](const AbstractMethod &self) { return self.function; })
        .def_prop_ro("__doc__",
                     [](const AbstractMethod &self) { return self.function.attr("__doc__"); })
        .def_prop_ro("__nb_signature__",
                     [](const AbstractMethod &self) { return self.declaration; })
        .def("__repr__", [](const AbstractMethod &self) {
            return nb::str("<abstract method {}>").format(self.function.attr("__qualname__"));
        });
    // An implementation detail: not part of the module's namespace. The type is kept alive here,
    // since nanobind's registry does not own it: once collected, casts to it would fail.
    static PyObject *keep = cls.inc_ref().ptr();
    (void)keep;
    nb::delattr(m, "_AbstractMethod");
}

// `function` marked abstract; `declaration` is how the stub declares it.
nb::object abstract(nb::object function, const std::string &declaration) {
    AbstractMethod method{std::move(function), nb::str(declaration.c_str(), declaration.size())};
    return nb::cast(std::move(method), nb::rv_policy::move);
}

// --- section prototypes ------------------------------------------------------------------

nb::object make_class(nb::module_ &m, const char *name, nb::tuple bases, const char *doc) {
    nb::dict namespace_;
    namespace_["__module__"] = m.attr("__name__");
    namespace_["__qualname__"] = name;
    namespace_["__doc__"] = doc;
    nb::object cls = nb::module_::import_("abc").attr("ABCMeta")(name, bases, namespace_);
    m.attr(name) = cls;
    return cls;
}

template <class Func, class... Extra>
nb::object method(nb::handle cls, const char *name, Func &&body, const Extra &...extra) {
    return nb::cpp_function(std::forward<Func>(body), nb::is_method(), nb::name(name),
                            nb::scope(cls), extra...);
}

nb::object property(nb::handle getter, const char *doc) {
    return nb::module_::import_("builtins").attr("property")(getter, nb::none(), nb::none(), doc);
}

// The abstract declarations shared by the three abstract prototypes; `init` is the body of
// the constructor and `arguments` name its arguments after self.
template <class Init, class... Arguments>
void def_abstract_members(nb::handle cls, Init init, const char *init_signature,
                          const char *init_doc, const Arguments &...arguments) {
    nb::object constructor =
        method(cls, "__init__", init, arguments..., nb::sig(init_signature), init_doc);
    nb::setattr(cls, "__init__",
                abstract(constructor, std::string("@abc.abstractmethod\n") + init_signature +
                                          ":\n    \"\"\"" + init_doc + "\"\"\""));
    struct Getter {
        const char *name, *result, *doc;
    };
    static const Getter getters[] = {
        {"_type", "marlox.external.idea_rcs.objects.CrossSectionType", doc::prototype_type},
        {"_parameters", "dict[str, float]", doc::prototype_parameters},
    };
    for (const Getter &getter : getters) {
        const std::string signature =
            std::string("def ") + getter.name + "(self) -> " + getter.result;
        nb::object body = method(
            cls, getter.name, [](nb::handle) -> nb::object { raise_not_implemented(); },
            nb::sig(signature.c_str()), getter.doc);
        nb::setattr(cls, getter.name,
                    property(abstract(body, "@abc.abstractmethod\n" + signature + ":\n    \"\"\"" +
                                                getter.doc + "\"\"\""),
                             getter.doc));
    }
    nb::module_::import_("abc").attr("update_abstractmethods")(cls);
}

nb::object cross_section_type(const char *member) {
    return companion().attr("CrossSectionType").attr(member);
}

void bind_prototypes(nb::module_ &m) {
    nb::object abc = nb::module_::import_("abc").attr("ABC");

    nb::object root =
        make_class(m, "_SectionPrototype", nb::make_tuple(abc), doc::section_prototype);
    def_abstract_members(
        root, [](nb::handle) {}, "def __init__(self) -> None", doc::prototype_abstract_init);

    nb::object one_d =
        make_class(m, "SectionPrototype1D", nb::make_tuple(root, abc), doc::section_prototype_1d);
    def_abstract_members(
        one_d, [](nb::handle) { raise_not_implemented(); }, "def __init__(self) -> None",
        doc::prototype_abstract_init);

    nb::object two_d =
        make_class(m, "_SectionPrototype2D", nb::make_tuple(root, abc), doc::section_prototype_2d);
    def_abstract_members(
        two_d, [](nb::handle self, nb::handle thickness) { self.attr("_thickness") = thickness; },
        "def __init__(self, thickness: float) -> None", doc::prototype_2d_init,
        "thickness"_a.none());

    nb::object rect = make_class(m, "RectSection", nb::make_tuple(one_d), doc::rect_section);
    nb::setattr(rect, "__init__",
                method(
                    rect, "__init__",
                    [](nb::handle self, nb::handle width, nb::handle height) {
                        self.attr("_width") = width;
                        self.attr("_height") = height;
                    },
                    "width"_a.none(), "height"_a.none(),
                    nb::sig("def __init__(self, width: float, height: float) -> None"),
                    doc::prototype_init));
    nb::setattr(rect, "_type",
                property(method(
                             rect, "_type", [](nb::handle) { return cross_section_type("RECT"); },
                             nb::sig("def _type(self) -> "
                                     "marlox.external.idea_rcs.objects.CrossSectionType"),
                             doc::prototype_type),
                         doc::prototype_type));
    nb::setattr(rect, "_parameters",
                property(method(
                             rect, "_parameters",
                             [](nb::handle self) {
                                 nb::dict parameters;
                                 parameters["Width"] = self.attr("_width");
                                 parameters["Height"] = self.attr("_height");
                                 return parameters;
                             },
                             nb::sig("def _parameters(self) -> dict[str, float]"),
                             doc::prototype_parameters),
                         doc::prototype_parameters));
    nb::module_::import_("abc").attr("update_abstractmethods")(rect);

    nb::object general = make_class(m, "GeneralShape", nb::make_tuple(one_d), doc::general_shape);
    nb::setattr(general, "__init__",
                method(
                    general, "__init__",
                    [](nb::handle self, nb::handle outline, nb::handle openings) {
                        self.attr("_outline") = outline;
                        self.attr("_openings") = openings;
                    },
                    "outline"_a.none(), "openings"_a.none() = nb::none(),
                    nb::sig(sig::general_shape_init), doc::prototype_init));
    nb::setattr(
        general, "_type",
        property(method(
                     general, "_type", [](nb::handle) { return cross_section_type("GENERAL"); },
                     nb::sig("def _type(self) -> "
                             "marlox.external.idea_rcs.objects.CrossSectionType"),
                     doc::prototype_type),
                 doc::prototype_type));
    nb::setattr(general, "_parameters",
                property(method(
                             general, "_parameters", [](nb::handle) { return nb::dict(); },
                             nb::sig("def _parameters(self) -> dict[str, float]"),
                             doc::prototype_parameters),
                         doc::prototype_parameters));
    nb::module_::import_("abc").attr("update_abstractmethods")(general);
}

// --- members -----------------------------------------------------------------------------

// A member's handles on the objects of its model.
struct MemberHandles {
    nb::object rcs;
    nb::object check_section;
    nb::object model;  // the model that made the member, or None for one made by hand
};

// One C++ type per member class (nanobind binds each C++ type once).
template <int N>
struct MemberOf : MemberHandles {};

int member_traverse(PyObject *self, visitproc visit, void *arg) {
    Py_VISIT(Py_TYPE(self));
    if (!nb::inst_ready(self)) return 0;
    MemberHandles *member = nb::inst_ptr<MemberHandles>(self);
    Py_VISIT(member->rcs.ptr());
    Py_VISIT(member->check_section.ptr());
    Py_VISIT(member->model.ptr());
    return 0;
}

int member_clear(PyObject *self) {
    if (!nb::inst_ready(self)) return 0;
    MemberHandles *member = nb::inst_ptr<MemberHandles>(self);
    member->rcs = nb::none();
    member->check_section = nb::none();
    member->model = nb::none();
    return 0;
}

PyType_Slot member_slots[] = {
    {Py_tp_traverse, (void *)member_traverse}, {Py_tp_clear, (void *)member_clear}, {0, nullptr}};

template <class C>
void def_member_init(nb::class_<C, MemberHandles> &cls) {
    cls.def(
        "__init__",
        [](C *self, nb::handle rcs, nb::handle check_section) {
            C *made = new (self) C();
            made->rcs = nb::borrow(rcs);
            made->check_section = nb::borrow(check_section);
            made->model = nb::none();
        },
        "rcs"_a.none(), "check_section"_a.none(),
        nb::sig("def __init__(self, rcs: marlox.external.idea_rcs.objects.ReinforcedCrossSection, "
                "check_section: marlox.external.idea_rcs.objects.CheckSection) -> None"));
}

nb::object list_of(nb::handle holder, const char *name) {
    return steal_or_throw(PySequence_List(holder.attr(name).ptr()));
}

template <int N>
nb::object bind_member_kind(nb::module_ &m, const char *name, const char *doc) {
    nb::class_<MemberOf<N>, MemberHandles> cls(m, name, nb::type_slots(member_slots), doc);
    def_member_init(cls);
    return cls;
}

void bind_member_classes(nb::module_ &m) {
    nb::class_<MemberHandles> member(m, "Member", nb::type_slots(member_slots), doc::member);
    member
        .def(
            "__init__",
            [](MemberHandles *self, nb::handle rcs, nb::handle check_section) {
                new (self) MemberHandles{nb::borrow(rcs), nb::borrow(check_section), nb::none()};
            },
            "rcs"_a.none(), "check_section"_a.none(),
            nb::sig("def __init__(self, rcs: "
                    "marlox.external.idea_rcs.objects.ReinforcedCrossSection, check_section: "
                    "marlox.external.idea_rcs.objects.CheckSection) -> None"))
        .def_prop_rw(
            "_rcs", [](const MemberHandles &self) { return self.rcs; },
            [](MemberHandles &self, nb::handle value) { self.rcs = nb::borrow(value); },
            nb::for_getter(nb::sig(
                "def _rcs(self) -> marlox.external.idea_rcs.objects.ReinforcedCrossSection")),
            nb::for_setter(nb::sig("def _rcs(self, value: "
                                   "marlox.external.idea_rcs.objects.ReinforcedCrossSection, /) "
                                   "-> None")),
            nb::for_getter("The member's reinforced cross-section, owned by the model."))
        .def_prop_rw(
            "_check_section", [](const MemberHandles &self) { return self.check_section; },
            [](MemberHandles &self, nb::handle value) { self.check_section = nb::borrow(value); },
            nb::for_getter(nb::sig(
                "def _check_section(self) -> marlox.external.idea_rcs.objects.CheckSection")),
            nb::for_setter(nb::sig("def _check_section(self, value: "
                                   "marlox.external.idea_rcs.objects.CheckSection, /) -> None")),
            nb::for_getter("The member's check section, owned by the model."))
        .def_prop_ro(
            "model", [](const MemberHandles &self) { return self.model; },
            nb::for_getter(nb::sig("def model(self) -> Model | None")),
            nb::for_getter("The model that made the member, or None for a member made by "
                           "calling its class."))
        .def_prop_ro(
            "bars", [](const MemberHandles &self) { return list_of(self.rcs, "bars"); },
            nb::for_getter(
                nb::sig("def bars(self) -> list[marlox.external.idea_rcs.objects.ReinforcedBar]")),
            nb::for_getter(doc::bars))
        .def_prop_ro(
            "stirrups", [](const MemberHandles &self) { return list_of(self.rcs, "stirrups"); },
            nb::for_getter(
                nb::sig("def stirrups(self) -> list[marlox.external.idea_rcs.objects.Stirrup]")),
            nb::for_getter(doc::stirrups))
        .def_prop_ro(
            "extremes",
            [](const MemberHandles &self) { return list_of(self.check_section, "extremes"); },
            nb::for_getter(nb::sig("def extremes(self) -> "
                                   "list[marlox.external.idea_rcs.objects.CheckSectionExtreme]")),
            nb::for_getter(doc::extremes))
        .def(
            "create_bar",
            [](const MemberHandles &self, nb::handle coordinates, nb::handle diameter,
               nb::handle material) {
                self.rcs.attr("create_bar")(coordinates, diameter, material);
            },
            "coordinates"_a.none(), "diameter"_a.none(), "material"_a.none(),
            nb::sig(sig::create_bar), doc::create_bar)
        .def(
            "create_bar_layer",
            [](const MemberHandles &self, nb::handle origin, nb::handle diameter,
               nb::handle material, nb::handle number_of_bars, nb::handle delta_y,
               nb::handle delta_z) {
                self.rcs.attr("create_bar_layer")("origin"_a = origin, "diameter"_a = diameter,
                                                  "material"_a = material,
                                                  "number_of_bars"_a = number_of_bars,
                                                  "delta_y"_a = delta_y, "delta_z"_a = delta_z);
            },
            nb::kw_only(), "origin"_a.none(), "diameter"_a.none(), "material"_a.none(),
            "number_of_bars"_a.none(), "delta_y"_a.none() = nb::none(),
            "delta_z"_a.none() = nb::none(), nb::sig(sig::create_bar_layer), doc::create_bar_layer)
        .def(
            "create_stirrup",
            [](const MemberHandles &self, nb::handle points, nb::handle diameter,
               nb::handle material, nb::handle distance, nb::handle shear_check,
               nb::handle torsion_check, nb::handle mandrel_diameter_factor,
               nb::handle anchorage_length) {
                self.rcs.attr("create_stirrup")(points, diameter, material, distance, shear_check,
                                                torsion_check, mandrel_diameter_factor,
                                                anchorage_length);
            },
            "points"_a.none(), "diameter"_a.none(), "material"_a.none(), "distance"_a.none(),
            "shear_check"_a.none() = nb::none(), "torsion_check"_a.none() = nb::none(),
            "mandrel_diameter_factor"_a.none() = nb::none(),
            "anchorage_length"_a.none() = nb::none(), nb::sig(sig::create_stirrup),
            doc::create_stirrup)
        .def(
            "create_extreme",
            [](const MemberHandles &self, nb::handle description, nb::handle accidental,
               nb::handle fatigue, nb::handle frequent, nb::handle fundamental,
               nb::handle characteristic, nb::handle quasi_permanent) {
                self.check_section.attr("create_extreme")(
                    "description"_a = description, "accidental"_a = accidental,
                    "fatigue"_a = fatigue, "frequent"_a = frequent, "fundamental"_a = fundamental,
                    "characteristic"_a = characteristic, "quasi_permanent"_a = quasi_permanent);
            },
            nb::kw_only(), "description"_a.none() = nb::none(), "accidental"_a.none() = nb::none(),
            "fatigue"_a.none() = nb::none(), "frequent"_a.none() = nb::none(),
            "fundamental"_a.none() = nb::none(), "characteristic"_a.none() = nb::none(),
            "quasi_permanent"_a.none() = nb::none(), nb::sig(sig::create_extreme),
            doc::create_extreme);

    bind_member_kind<0>(m, "Beam", doc::beam);
    bind_member_kind<1>(m, "CompressionMember", doc::compression_member);
    bind_member_kind<2>(m, "OneWaySlab", doc::one_way_slab);
}

// --- the Model builder -------------------------------------------------------------------

// `function(*args, **mapping)` and `first, second = value` as the interpreter runs them, so
// that a prototype or an override that breaks them fails with the interpreter's own error.
const char *const kInterpreterForms = R"(
def call_with_mapping(function, args, mapping):
    return function(*args, **mapping)

def unpack_pair(value):
    first, second = value
    return first, second
)";

nb::object interpreter_form(const char *name) {
    static nb::dict *forms = [] {
        auto *made = new nb::dict();  // lives as long as the process
        // Imports made below these functions find the builtins through their globals.
        (*made)["__builtins__"] = nb::borrow(PyEval_GetBuiltins());
        nb::exec(nb::str(kInterpreterForms), *made);
        return made;
    }();
    return (*forms)[name];
}

nb::object call_with_mapping(nb::handle function, nb::handle args, nb::handle mapping) {
    return interpreter_form("call_with_mapping")(function, args, mapping);
}

std::pair<nb::object, nb::object> unpack_pair(nb::handle value) {
    nb::object pair = interpreter_form("unpack_pair")(value);
    return {pair[0], pair[1]};
}

nb::object create_1d_section(nb::handle self, nb::handle member_type, nb::handle cs,
                             nb::handle material, nb::handle calculation_control, nb::handle name,
                             nb::handle rcs_name, nb::handle exposure_classes, nb::handle coeff_kx,
                             nb::handle creep_coefficient, nb::handle relative_humidity,
                             nb::handle design_member_name) {
    nb::object cross_section;
    const int general = PyObject_IsInstance(cs.ptr(), module_class("GeneralShape").ptr());
    if (general < 0) throw_python();
    if (general) {
        cross_section = self.attr("_create_cross_section_component")();
        cross_section.attr("create_component")(cs.attr("_outline"), material,
                                               "openings"_a = cs.attr("_openings"));
    } else {
        nb::object create = self.attr("_create_cross_section_parameter");
        nb::object args = nb::make_tuple(cs.attr("_type"), material, nb::none());
        cross_section = call_with_mapping(create, args, cs.attr("_parameters"));
    }
    nb::object rcs = self.attr("_create_reinforced_cross_section")(cross_section, rcs_name);
    nb::object check_member = self.attr("_create_check_member1d")(design_member_name);
    nb::object check_section = self.attr("_add_check_section")(check_member, rcs, name);
    self.attr("_add_member_data_ec2")(
        check_member, member_type, companion().attr("TwoWaySlabType").attr("SLAB"),
        "calculation_setup"_a = calculation_control, "coeff_kx_for_wmax"_a = coeff_kx,
        "exposure_class_data"_a = exposure_classes, "creep_coefficient"_a = creep_coefficient,
        "relative_humidity"_a = relative_humidity);
    return nb::make_tuple(rcs, check_section);
}

// A member operation: the OpenModel objects through `_create_1d_section`, then the member.
// It adds all of its objects or, when it fails, none.
nb::object create_member(const char *member_class, const char *member_type, nb::handle self,
                         nb::handle cs, nb::handle material, nb::handle calculation_control,
                         nb::handle name, nb::handle rcs_name, nb::handle design_member_name,
                         nb::handle exposure_classes, nb::handle coeff_kx,
                         nb::handle creep_coefficient, nb::handle relative_humidity) {
    // Called unbound on something else, the operation fails as the interpreter would.
    const std::optional<ListMarks> marks =
        nb::isinstance<ModelBase>(self) ? std::optional<ListMarks>(nb::cast<ModelBase &>(self))
                                        : std::nullopt;
    try {
        nb::object made = self.attr("_create_1d_section")(
            companion().attr("MemberType").attr(member_type), cs, material, calculation_control,
            name, rcs_name, exposure_classes, coeff_kx, creep_coefficient, relative_humidity,
            "design_member_name"_a = design_member_name);
        auto [rcs, check_section] = unpack_pair(made);
        return made_member(member_class, rcs, check_section, self);
    } catch (...) {
        if (marks) marks->restore();  // the error is held by the exception in flight, not set
        throw;
    }
}

void def_member_operation(nb::class_<FacadeModelBase, ModelBase> &cls, const char *name,
                          const char *member_class, const char *member_type, const char *signature,
                          const char *doc) {
    cls.def(
        name,
        [member_class, member_type](nb::handle self, nb::handle cs, nb::handle material,
                                    nb::handle calculation_control, nb::handle member_name,
                                    nb::handle rcs_name, nb::handle design_member_name,
                                    nb::handle exposure_classes, nb::handle coeff_kx,
                                    nb::handle creep_coefficient, nb::handle relative_humidity) {
            return create_member(member_class, member_type, self, cs, material, calculation_control,
                                 member_name, rcs_name, design_member_name, exposure_classes,
                                 coeff_kx, creep_coefficient, relative_humidity);
        },
        nb::is_method(), "cs"_a.none(), "material"_a.none(), nb::kw_only(),
        "calculation_control"_a.none() = nb::none(), "name"_a.none() = nb::none(),
        "rcs_name"_a.none() = nb::none(), "design_member_name"_a.none() = nb::none(),
        "exposure_classes"_a.none() = nb::none(), "coeff_kx"_a.none() = nb::none(),
        "creep_coefficient"_a.none() = nb::none(), "relative_humidity"_a.none() = nb::none(),
        nb::sig(signature), doc);
}

nb::object create_concrete_material(nb::handle self, nb::handle base_material, nb::handle name,
                                    nb::handle unit_mass, nb::handle fck, nb::handle stone_diameter,
                                    nb::handle cement_class, nb::handle aggregate_type,
                                    nb::handle diagram_type, nb::handle silica_fume,
                                    nb::handle plain_concrete_diagram, nb::handle dep_params) {
    return self.attr("_create_matconcrete_ec2")(
        base_material, name, "unit_mass"_a = unit_mass, "fck_28"_a = fck,
        "stone_diameter"_a = stone_diameter, "cement_class"_a = cement_class,
        "aggregate_type"_a = aggregate_type, "diagram_type"_a = diagram_type,
        "silica_fume"_a = silica_fume, "plain_concrete_diagram"_a = plain_concrete_diagram,
        "dep_params"_a = dep_params);
}

nb::object create_reinforcement_material(nb::handle self, nb::handle base_material, nb::handle name,
                                         nb::handle unit_mass, nb::handle e_modulus, nb::handle fyk,
                                         nb::handle ftk_by_fyk, nb::handle epsuk, nb::handle type_,
                                         nb::handle bar_surface, nb::handle class_,
                                         nb::handle fabrication, nb::handle diagram_type) {
    // Here ftk is always computed, from fyk and k as given or defaulted (model_rules.hpp).
    nb::object yield = given_or_base(fyk, base_material, model::base::kFyk);
    nb::object ratio = given_or_base(ftk_by_fyk, base_material, model::base::kFtkByFyk);
    nb::object ftk = tensile_strength(yield, ratio);
    return self.attr("_create_matreinforcement_ec2")(
        base_material, name, "unit_mass"_a = unit_mass, "e_modulus"_a = e_modulus, "fyk"_a = yield,
        "ftk_by_fyk"_a = ratio, "ftk"_a = ftk, "epsuk"_a = epsuk, "type_"_a = type_,
        "bar_surface"_a = bar_surface, "class_"_a = class_, "fabrication"_a = fabrication,
        "diagram_type"_a = diagram_type);
}

void bind_model_facade(nb::module_ &m) {
    nb::module_ objects = companion();
    nb::class_<FacadeModelBase, ModelBase> model(m, "Model", nb::type_slots(model_gc_slots),
                                                 doc::model);
    model
        .def(
            "__init__",
            [](FacadeModelBase *self, nb::handle project_data, nb::handle code_settings) {
                FacadeModelBase made;
                made.init(project_data, code_settings);
                new (self) FacadeModelBase(std::move(made));
            },
            nb::kw_only(), "project_data"_a.none() = nb::none(),
            "code_settings"_a.none() = nb::none(), nb::sig(sig::model_init))
        .def("create_concrete_material", &create_concrete_material, nb::is_method(),
             "base_material"_a.none(), "name"_a.none() = nb::none(), nb::kw_only(),
             "unit_mass"_a.none() = 2500, "fck"_a.none() = nb::none(),
             "stone_diameter"_a.none() = 0.016,
             "cement_class"_a.none() = objects.attr("ConcCementClass").attr("R"),
             "aggregate_type"_a.none() = objects.attr("ConcAggregateType").attr("QUARTZITE"),
             "diagram_type"_a.none() = objects.attr("ConcDiagramType").attr("PARABOLIC"),
             "silica_fume"_a.none() = false, "plain_concrete_diagram"_a.none() = false,
             "dep_params"_a.none() = nb::none(), nb::sig(sig::create_concrete_material),
             doc::create_concrete_material)
        .def("create_reinforcement_material", &create_reinforcement_material, nb::is_method(),
             "base_material"_a.none(), "name"_a.none() = nb::none(), nb::kw_only(),
             "unit_mass"_a.none() = 7850, "e_modulus"_a.none() = 200000,
             "fyk"_a.none() = nb::none(), "ftk_by_fyk"_a.none() = nb::none(),
             "epsuk"_a.none() = nb::none(),
             "type_"_a.none() = objects.attr("ReinfType").attr("BARS"),
             "bar_surface"_a.none() = objects.attr("BarSurface").attr("RIBBED"),
             "class_"_a.none() = objects.attr("ReinfClass").attr("B"),
             "fabrication"_a.none() = objects.attr("ReinfFabrication").attr("HOT_ROLLED"),
             "diagram_type"_a.none() = objects.attr("ReinfDiagramType").attr("BILINEAR_INCLINED"),
             nb::sig(sig::create_reinforcement_material), doc::create_reinforcement_material);
    def_member_operation(model, "create_beam", "Beam", "BEAM", sig::create_beam, doc::create_beam);
    def_member_operation(model, "create_compression_member", "CompressionMember", "COLUMN",
                         sig::create_compression_member, doc::create_compression_member);
    def_member_operation(model, "create_one_way_slab", "OneWaySlab", "BEAM_SLAB",
                         sig::create_one_way_slab, doc::create_one_way_slab);
    model.def("_create_1d_section", &create_1d_section, nb::is_method(), "member_type"_a.none(),
              "cs"_a.none(), "material"_a.none(), "calculation_control"_a.none() = nb::none(),
              "name"_a.none() = nb::none(), "rcs_name"_a.none() = nb::none(),
              "exposure_classes"_a.none() = nb::none(), "coeff_kx"_a.none() = nb::none(),
              "creep_coefficient"_a.none() = nb::none(), "relative_humidity"_a.none() = nb::none(),
              "design_member_name"_a.none() = nb::none(), nb::sig(sig::create_1d_section),
              doc::create_1d_section);
}

}  // namespace

nb::object made_member(const char *member_class, nb::handle rcs, nb::handle check_section,
                       nb::handle model) {
    nb::object member = module_class(member_class)(rcs, check_section);
    if (nb::isinstance<MemberHandles>(member))
        nb::cast<MemberHandles &>(member).model = nb::borrow(model);
    return member;
}

void bind_members(nb::module_ &m) {
    bind_abstract_method(m);
    bind_prototypes(m);
    bind_member_classes(m);
    bind_model_facade(m);
}

}  // namespace marlox::py
