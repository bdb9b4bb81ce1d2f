// The model container `_Model`, the OpenModel builder, serialisation and input-XML generation.
#include <Python.h>
#include <nanobind/nanobind.h>

#include <string>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/model.hpp"
#include "bindings/model_docs.hpp"
#include "core/error.hpp"
#include "core/model_rules.hpp"
#include "core/wire.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

constexpr const char *kConversionEndpoint = "fillidearcstemplate/v3/jobs/";
constexpr const char *kConversionFailed =
    "Input file could not be generated, please check your model";

// `value or fallback()`, evaluating the fallback only when it is needed.
template <class Fallback>
nb::object value_or(nb::handle value, Fallback fallback) {
    return truthy(value) ? nb::borrow(value) : nb::object(fallback());
}

nb::object item(nb::handle mapping, nb::handle key) {
    return steal_or_throw(PyObject_GetItem(mapping.ptr(), key.ptr()));
}

nb::object item(nb::handle mapping, const char *key) { return item(mapping, nb::str(key)); }

nb::object next_id(const nb::list &list) { return nb::int_(model::next_id(list.size())); }

// The default name of `kind` for the id `id` (a Python int).
nb::object default_name(model::Named kind, nb::handle id) {
    return nb::str(model::default_name(kind, nb::cast<std::size_t>(id)).c_str());
}

nb::object reference(nb::handle target, const char *type_name) {
    nb::object id = target.attr("id");
    nb::object made = companion().attr("_ReferenceElement")(id, companion().attr(type_name));
    remember_origin(made, target);
    return made;
}

nb::object material_name(nb::handle base_material) {
    return item(item(companion().attr("_MATERIAL_NAMES"), base_material), "name");
}

nb::object material_property(nb::handle base_material, const char *key) {
    return item(item(companion().attr("_MATERIAL_PROPERTIES"), base_material), key);
}

// Python's `value * factor`, so that the value keeps its own arithmetic and its errors.
nb::object times(nb::handle value, double factor) {
    return steal_or_throw(PyNumber_Multiply(value.ptr(), nb::float_(factor).ptr()));
}

nb::object pascal(nb::handle megapascal) { return times(megapascal, model::kPascalPerMegapascal); }

nb::object append(nb::list &list, nb::object made) {
    list.append(made);
    return made;
}

}  // namespace

nb::object given_or_base(nb::handle value, nb::handle base_material, const char *key) {
    return value_or(value, [&] { return material_property(base_material, key); });
}

nb::object tensile_strength(nb::handle fyk, nb::handle k) {
    return steal_or_throw(PyNumber_Multiply(fyk.ptr(), k.ptr()));
}

namespace {

// --- creating operations of _Model -------------------------------------------------------

nb::object create_matconcrete_ec2(ModelBase &self, nb::handle base_material, nb::handle name,
                                  nb::handle e_modulus, nb::handle g_modulus, nb::handle poisson,
                                  nb::handle unit_mass, nb::handle specific_heat,
                                  nb::handle thermal_expansion, nb::handle thermal_conductivity,
                                  nb::handle is_default, nb::handle order_in_code,
                                  nb::handle thermal_state, nb::handle fck_28,
                                  nb::handle stone_diameter, nb::handle cement_class,
                                  nb::handle aggregate_type, nb::handle diagram_type,
                                  nb::handle silica_fume, nb::handle plain_concrete_diagram,
                                  nb::handle dep_params) {
    nb::list &list = self.mat_concrete;
    nb::object id = next_id(list);
    nb::object material = value_or(name, [&] { return material_name(base_material); });
    nb::object fck = pascal(given_or_base(fck_28, base_material, model::base::kFck));
    nb::object state = value_or(thermal_state, [] { return companion().attr("ThermalState")(); });
    nb::object e = pascal(e_modulus);
    nb::object g = pascal(g_modulus);
    nb::object args = nb::make_tuple(
        id, material, e, g, poisson, unit_mass, specific_heat, thermal_expansion,
        thermal_conductivity, is_default, order_in_code, state, fck, stone_diameter, cement_class,
        aggregate_type, diagram_type, silica_fume, plain_concrete_diagram, dep_params);
    return append(list, companion().attr("MatConcreteEc2")(*args));
}

nb::object create_matreinforcement_ec2(
    ModelBase &self, nb::handle base_material, nb::handle name, nb::handle e_modulus,
    nb::handle g_modulus, nb::handle poisson, nb::handle unit_mass, nb::handle specific_heat,
    nb::handle thermal_expansion, nb::handle thermal_conductivity, nb::handle is_default,
    nb::handle order_in_code, nb::handle thermal_state, nb::handle bar_surface, nb::handle fyk,
    nb::handle ftk_by_fyk, nb::handle epsuk, nb::handle ftk, nb::handle class_, nb::handle type_,
    nb::handle fabrication, nb::handle diagram_type) {
    nb::list &list = self.mat_reinforcement;
    nb::object id = next_id(list);
    nb::object material = value_or(name, [&] { return material_name(base_material); });
    nb::object state = value_or(thermal_state, [] { return companion().attr("ThermalState")(); });
    nb::object yield = pascal(given_or_base(fyk, base_material, model::base::kFyk));
    nb::object ratio = given_or_base(ftk_by_fyk, base_material, model::base::kFtkByFyk);
    // A left-out ftk comes from the base material's own fyk and k (model_rules.hpp).
    nb::object tensile = pascal(value_or(ftk, [&] {
        return tensile_strength(material_property(base_material, model::base::kFyk),
                                material_property(base_material, model::base::kFtkByFyk));
    }));
    nb::object strain =
        times(given_or_base(epsuk, base_material, model::base::kEpsuk), model::kStrainPerGivenUnit);
    nb::object e = pascal(e_modulus);
    nb::object g = pascal(g_modulus);
    nb::object args =
        nb::make_tuple(id, material, e, g, poisson, unit_mass, specific_heat, thermal_expansion,
                       thermal_conductivity, is_default, order_in_code, state, bar_surface, yield,
                       ratio, strain, tensile, class_, type_, fabrication, diagram_type);
    return append(list, companion().attr("MatReinforcementEc2")(*args));
}

nb::object create_cross_section_component(ModelBase &self, nb::handle name) {
    nb::list &list = self.cross_section;
    nb::object id = next_id(list);
    nb::object label = value_or(name, [] { return nb::str(""); });
    return append(list, companion().attr("CrossSectionComponent")(id, label));
}

nb::object create_cross_section_parameter(ModelBase &self, nb::handle cross_section_type,
                                          nb::handle material, nb::handle name,
                                          nb::kwargs parameters) {
    nb::list &list = self.cross_section;
    nb::object id = next_id(list);
    nb::object label = value_or(name, [] { return nb::str(""); });
    nb::object material_reference = reference(material, "MatConcrete");
    nb::dict shape(parameters);
    return append(list, companion().attr("CrossSectionParameter")(id, label, cross_section_type,
                                                                  material_reference, **shape));
}

nb::object create_reinforced_cross_section(ModelBase &self, nb::handle cross_section,
                                           nb::handle name) {
    nb::list &list = self.reinforced_cross_section;
    nb::object id = next_id(list);
    nb::object label =
        value_or(name, [&] { return default_name(model::Named::ReinforcedSection, id); });
    nb::object section = reference(cross_section, "CrossSection");
    return append(list, companion().attr("ReinforcedCrossSection")(id, label, section));
}

nb::object create_check_member1d(ModelBase &self, nb::handle name) {
    nb::list &list = self.check_member;
    nb::object id = next_id(list);
    nb::object label = value_or(name, [&] { return default_name(model::Named::CheckMember, id); });
    return append(list, companion().attr("CheckMember1D")(id, label));
}

nb::object add_check_section(ModelBase &self, nb::handle check_member, nb::handle reinf_section,
                             nb::handle description) {
    nb::list &list = self.check_section;
    nb::object id = next_id(list);
    nb::object text =
        value_or(description, [&] { return default_name(model::Named::CheckSection, id); });
    nb::object member = reference(check_member, "CheckMember");
    nb::object section = reference(reinf_section, "ReinforcedCrossSection");
    return append(list, companion().attr("StandardCheckSection")(id, text, member, section));
}

void add_member_data_ec2(ModelBase &self, nb::handle member, nb::handle member_type,
                         nb::handle two_way_slab_type, nb::handle calculation_setup,
                         nb::handle coeff_kx_for_wmax, nb::handle exposure_class_data,
                         nb::handle creep_coefficient, nb::handle relative_humidity) {
    nb::object member_reference = reference(member, "CheckMember");
    self.attribute.append(companion().attr("ConcreteMemberDataEc2")(
        member_reference, member_type, two_way_slab_type, calculation_setup, coeff_kx_for_wmax,
        exposure_class_data, creep_coefficient, relative_humidity));
}

// --- serialisation -------------------------------------------------------------------------

nb::object encoder_default(nb::handle self, nb::handle obj) {
    nb::object json_encoder = nb::module_::import_("json").attr("JSONEncoder");
    try {
        return json_encoder.attr("default")(self, obj);
    } catch (nb::python_error &error) {
        if (!error.matches(PyExc_TypeError)) throw;
    }
    if (nb::isinstance(obj, nb::module_::import_("enum").attr("Enum"))) return obj.attr("value");
    return obj.attr("_serialize")();
}

nb::object &encoder_class() {
    static nb::object *cls = new nb::object();  // lives as long as the process
    return *cls;
}

nb::object pairs(const nb::list &list) {
    nb::list out;
    for (nb::handle obj : list) out.append(nb::make_tuple(obj.type().attr("__name__"), obj));
    return std::move(out);
}

}  // namespace

nb::dict document_pairs(ModelBase &self) {
    nb::dict document;
    document["mat_concrete_list"] = pairs(self.mat_concrete);
    document["mat_reinforcement_list"] = pairs(self.mat_reinforcement);
    document["cross_section_list"] = pairs(self.cross_section);
    document["reinforced_cross_section_list"] = pairs(self.reinforced_cross_section);
    document["check_member_list"] = pairs(self.check_member);
    document["check_section_list"] = pairs(self.check_section);
    document["attribute_list"] = pairs(self.attribute);
    document["project_data"] = self.project_data;
    document["code_settings"] = self.code_settings;
    return document;
}

namespace {

nb::object serialize(ModelBase &self) {
    nb::dict document = document_pairs(self);
    nb::object plain = native_plain(document);
    if (!plain.is_none()) return plain;
    nb::module_ json = nb::module_::import_("json");
    nb::object text = json.attr("dumps")(document, "cls"_a = encoder_class());
    return json.attr("loads")(text);
}

// --- input XML through the platform's conversion service ---------------------------------

[[noreturn]] void raise_conversion_failed(const nb::python_error &cause) {
    nb::object message = str_from(kConversionFailed);
    raise_error(steal_or_throw(PyObject_CallOneArg(PyExc_Exception, message.ptr())), cause.value());
}

nb::object generate_xml_input(nb::handle self, nb::handle as_file) {
    nb::object raw = native_request(self);
    if (raw.is_none()) {
        nb::object document = self.attr("_serialize")();
        nb::object text = nb::module_::import_("json").attr("dumps")(document);
        raw = text.attr("encode")("utf-8");
    }
    nb::dict body;
    body["input"] = str_from(wire::conversion_request(BufferView(raw).bytes()));
    nb::object post = nb::module_::import_("marlox.core").attr("_post_on_addon_endpoint");
    nb::object internal_error = nb::module_::import_("marlox.errors").attr("InternalError");
    nb::object response;
    try {
        response = post(kConversionEndpoint, body, "timeout"_a = 60);
    } catch (nb::python_error &error) {
        if (!error.matches(internal_error)) throw;
        raise_conversion_failed(error);
    }
    // The reply is read by the interpreter's own base64 and gzip: what they raise for data
    // that is not theirs reaches the caller as it is.
    nb::module_ gzip = nb::module_::import_("gzip");
    nb::module_ base64 = nb::module_::import_("base64");
    nb::object xml =
        gzip.attr("decompress")(base64.attr("b64decode")(item(response, "input_file")));
    if (truthy(as_file))
        return nb::module_::import_("marlox.core").attr("File").attr("from_data")(xml);
    return nb::module_::import_("io").attr("BytesIO")(xml);
}

std::vector<nb::list *> lists_of(ModelBase &model) {
    return {&model.mat_concrete,  &model.mat_reinforcement,
            &model.cross_section, &model.reinforced_cross_section,
            &model.check_member,  &model.check_section,
            &model.attribute};
}

int traverse(PyObject *self, visitproc visit, void *arg) {
    Py_VISIT(Py_TYPE(self));
    if (!nb::inst_ready(self)) return 0;
    ModelBase *model = nb::inst_ptr<ModelBase>(self);
    for (nb::list *list : lists_of(*model)) Py_VISIT(list->ptr());
    Py_VISIT(model->project_data.ptr());
    Py_VISIT(model->code_settings.ptr());
    return 0;
}

int clear(PyObject *self) {
    if (!nb::inst_ready(self)) return 0;
    ModelBase *model = nb::inst_ptr<ModelBase>(self);
    for (nb::list *list : lists_of(*model)) *list = nb::list();
    model->project_data = nb::none();
    model->code_settings = nb::none();
    return 0;
}

}  // namespace

PyType_Slot model_gc_slots[] = {
    {Py_tp_traverse, (void *)traverse}, {Py_tp_clear, (void *)clear}, {0, nullptr}};

nb::module_ companion() { return nb::module_::import_("marlox.external.idea_rcs.objects"); }

void ModelBase::init(nb::handle project, nb::handle code) {
    mat_concrete = nb::list();
    mat_reinforcement = nb::list();
    cross_section = nb::list();
    reinforced_cross_section = nb::list();
    check_member = nb::list();
    check_section = nb::list();
    attribute = nb::list();
    project_data = value_or(project, [] { return companion().attr("ProjectData")(); });
    code_settings = value_or(code, [] { return companion().attr("CodeSettings")(); });
}

namespace {

// A public operation of OpenModel: calls `self.<target>` with the arguments unchanged, after
// refusing more than `positional` positional arguments as the public signature does.
void def_forwarder(nb::handle cls, const char *name, const char *target, size_t positional,
                   const char *signature, const char *doc) {
    auto forward = [name, target, positional](nb::args args, nb::kwargs kwargs) -> nb::object {
        // args[0] is self.
        if (args.size() - 1 > positional)
            fail(ErrorKind::Type, std::string(name) + "() takes " + std::to_string(positional) +
                                      " positional arguments but " +
                                      std::to_string(args.size() - 1) + " were given");
        nb::handle self = args[0];
        nb::object rest = nb::steal(PyTuple_GetSlice(args.ptr(), 1, (Py_ssize_t)args.size()));
        if (!rest.is_valid()) throw_python();
        return self.attr(target)(*rest, **kwargs);
    };
    nb::setattr(cls, name,
                nb::cpp_function(forward, nb::is_method(), nb::name(name), nb::scope(cls),
                                 nb::sig(signature), doc));
}

}  // namespace

void bind_model(nb::module_ &m) {
    nb::module_ objects = companion();
    nb::object cement = objects.attr("ConcCementClass").attr("R");
    nb::object aggregate = objects.attr("ConcAggregateType").attr("QUARTZITE");
    nb::object concrete_diagram = objects.attr("ConcDiagramType").attr("PARABOLIC");
    nb::object surface = objects.attr("BarSurface").attr("RIBBED");
    nb::object reinf_class = objects.attr("ReinfClass").attr("B");
    nb::object reinf_type = objects.attr("ReinfType").attr("BARS");
    nb::object fabrication = objects.attr("ReinfFabrication").attr("HOT_ROLLED");
    nb::object steel_diagram = objects.attr("ReinfDiagramType").attr("BILINEAR_INCLINED");

    nb::object encoder =
        nb::module_::import_("builtins")
            .attr("type")("_EnumEncoder",
                          nb::make_tuple(nb::module_::import_("json").attr("JSONEncoder")),
                          nb::dict());
    encoder.attr("__module__") = m.attr("__name__");
    encoder.attr("__doc__") = "To auto-serialize Enum type.";
    nb::setattr(encoder, "default",
                // No scope: JSONEncoder.default exists already and is not to be overloaded.
                nb::cpp_function(&encoder_default, nb::is_method(), nb::name("default"), "obj"_a,
                                 nb::sig("def default(self, obj: typing.Any) -> typing.Any"),
                                 "Encode an enumeration member as its value and any other object "
                                 "as the result of its ``_serialize()``."));
    encoder_class() = encoder;
    m.attr("_EnumEncoder") = encoder;

    nb::class_<ModelBase> model(m, "_Model", nb::type_slots(model_gc_slots),
                                nb::is_weak_referenceable(), doc::model);
    model
        .def(
            "__init__",
            [](ModelBase *self, nb::handle project_data, nb::handle code_settings) {
                ModelBase made;
                made.init(project_data, code_settings);
                new (self) ModelBase(std::move(made));
            },
            "project_data"_a = nb::none(), "code_settings"_a = nb::none(),
            nb::sig("def __init__(self, project_data: marlox.external.idea_rcs.objects.ProjectData "
                    "| None = None, code_settings: "
                    "marlox.external.idea_rcs.objects.CodeSettings | None = None) -> None"))
        .def_prop_ro(
            "project_data", [](ModelBase &self) { return self.project_data; },
            nb::for_getter(
                nb::sig("def project_data(self) -> marlox.external.idea_rcs.objects.ProjectData")),
            nb::for_getter("The model's project data."))
        .def_prop_ro(
            "code_settings", [](ModelBase &self) { return self.code_settings; },
            nb::for_getter(nb::sig(
                "def code_settings(self) -> marlox.external.idea_rcs.objects.CodeSettings")),
            nb::for_getter("The model's code and calculation settings."));
    struct ListAttribute {
        const char *name;
        nb::list ModelBase::*member;
        const char *type;
    };
    static const ListAttribute lists[] = {
        {"_mat_concrete_list", &ModelBase::mat_concrete, "MatConcreteEc2"},
        {"_mat_reinforcement_list", &ModelBase::mat_reinforcement, "MatReinforcementEc2"},
        {"_cross_section_list", &ModelBase::cross_section,
         "CrossSectionParameter | CrossSectionComponent"},
        {"_reinforced_cross_section_list", &ModelBase::reinforced_cross_section,
         "ReinforcedCrossSection"},
        {"_check_member_list", &ModelBase::check_member, "CheckMember1D"},
        {"_check_section_list", &ModelBase::check_section, "StandardCheckSection"},
        {"_attribute_list", &ModelBase::attribute, "ConcreteMemberDataEc2"},
    };
    for (const ListAttribute &list : lists) {
        static std::vector<std::string> *sigs = new std::vector<std::string>();
        sigs->reserve(16);
        const char *sig = sigs->emplace_back(std::string("def ") + list.name + "(self) -> list[" +
                                             list.type + "]")
                              .c_str();
        auto member = list.member;
        model.def_prop_ro(
            list.name, [member](ModelBase &self) { return self.*member; },
            nb::for_getter(nb::sig(sig)),
            nb::for_getter("The model's own list (internal: add objects through the model)."));
    }

    model
        .def("_create_matconcrete_ec2", &create_matconcrete_ec2, "base_material"_a,
             "name"_a = nb::none(), "e_modulus"_a = 32800, "g_modulus"_a = 13667, "poisson"_a = 0.2,
             "unit_mass"_a = 2500, "specific_heat"_a = 0.6, "thermal_expansion"_a = 1e-5,
             "thermal_conductivity"_a = 45, "is_default"_a = false, "order_in_code"_a = 1,
             "thermal_state"_a = nb::none(), "fck_28"_a = nb::none(), "stone_diameter"_a = 0.016,
             "cement_class"_a = cement, "aggregate_type"_a = aggregate,
             "diagram_type"_a = concrete_diagram, "silica_fume"_a = false,
             "plain_concrete_diagram"_a = false, "dep_params"_a = nb::none(),
             nb::sig(sig::create_matconcrete_ec2_protected), doc::create_matconcrete_ec2)
        .def("_create_matreinforcement_ec2", &create_matreinforcement_ec2, "base_material"_a,
             "name"_a = nb::none(), "e_modulus"_a = 200000, "g_modulus"_a = 83333,
             "poisson"_a = 0.2, "unit_mass"_a = 7850, "specific_heat"_a = 0.6,
             "thermal_expansion"_a = 1e-5, "thermal_conductivity"_a = 45, "is_default"_a = false,
             "order_in_code"_a = 1, "thermal_state"_a = nb::none(), "bar_surface"_a = surface,
             "fyk"_a = nb::none(), "ftk_by_fyk"_a = nb::none(), "epsuk"_a = nb::none(),
             "ftk"_a = nb::none(), "class_"_a = reinf_class, "type_"_a = reinf_type,
             "fabrication"_a = fabrication, "diagram_type"_a = steel_diagram,
             nb::sig(sig::create_matreinforcement_ec2_protected), doc::create_matreinforcement_ec2)
        .def("_create_cross_section_component", &create_cross_section_component,
             "name"_a = nb::none(),
             nb::sig("def _create_cross_section_component(self, name: str | None = None) -> "
                     "CrossSectionComponent"),
             doc::create_cross_section_component)
        .def("_create_cross_section_parameter", &create_cross_section_parameter,
             "cross_section_type"_a, "material"_a, "name"_a = nb::none(), "parameters"_a,
             nb::sig(
                 "def _create_cross_section_parameter(self, cross_section_type: "
                 "marlox.external.idea_rcs.objects.CrossSectionType, material: "
                 "marlox.external.idea_rcs.objects.MatConcreteEc2, name: str | None = None, "
                 "**parameters: float) -> marlox.external.idea_rcs.objects.CrossSectionParameter"),
             doc::create_cross_section_parameter)
        .def("_create_reinforced_cross_section", &create_reinforced_cross_section,
             "cross_section"_a, "name"_a = nb::none(),
             nb::sig("def _create_reinforced_cross_section(self, cross_section: "
                     "marlox.external.idea_rcs.objects.CrossSectionParameter | "
                     "marlox.external.idea_rcs.objects.CrossSectionComponent, name: str | None = "
                     "None) -> "
                     "ReinforcedCrossSection"),
             doc::create_reinforced_cross_section)
        .def("_create_check_member1d", &create_check_member1d, "name"_a = nb::none(),
             nb::sig("def _create_check_member1d(self, name: str | None = None) -> "
                     "marlox.external.idea_rcs.objects.CheckMember1D"),
             doc::create_check_member1d)
        .def("_add_check_section", &add_check_section, "check_member"_a, "reinf_section"_a,
             "description"_a = nb::none(),
             nb::sig("def _add_check_section(self, check_member: "
                     "marlox.external.idea_rcs.objects.CheckMember1D, reinf_section: "
                     "marlox.external.idea_rcs.objects.ReinforcedCrossSection, description: str | "
                     "None = None) -> "
                     "StandardCheckSection"),
             doc::add_check_section)
        .def("_add_member_data_ec2", &add_member_data_ec2, "member"_a, "member_type"_a,
             "two_way_slab_type"_a, "calculation_setup"_a = nb::none(),
             "coeff_kx_for_wmax"_a = nb::none(), "exposure_class_data"_a = nb::none(),
             "creep_coefficient"_a = nb::none(), "relative_humidity"_a = nb::none(),
             nb::sig(sig::add_member_data_ec2_protected), doc::add_member_data_ec2)
        .def("_serialize", &serialize, nb::sig("def _serialize(self) -> dict[str, typing.Any]"),
             doc::serialize)
        .def(
            "generate_xml_input",
            [](nb::handle self, nb::handle as_file) { return generate_xml_input(self, as_file); },
            nb::is_method(), "as_file"_a.none() = false,
            nb::sig("def generate_xml_input(self, as_file: bool | None = False) -> io.BytesIO | "
                    "marlox.core.File"),
            doc::generate_xml_input);
    remember_standard_encoding(encoder, model);

    nb::class_<OpenModelBase, ModelBase> open_model(m, "OpenModel", nb::type_slots(model_gc_slots),
                                                    nb::is_weak_referenceable(), doc::open_model);
    open_model.def(
        "__init__",
        [](OpenModelBase *self, nb::handle project_data, nb::handle code_settings) {
            OpenModelBase made;
            made.init(project_data, code_settings);
            new (self) OpenModelBase(std::move(made));
        },
        "project_data"_a = nb::none(), "code_settings"_a = nb::none(),
        nb::sig("def __init__(self, project_data: marlox.external.idea_rcs.objects.ProjectData | "
                "None = None, code_settings: "
                "marlox.external.idea_rcs.objects.CodeSettings | None = None) -> None"));
    def_forwarder(open_model, "create_matconcrete_ec2", "_create_matconcrete_ec2", 2,
                  sig::create_matconcrete_ec2_public, doc::create_matconcrete_ec2);
    def_forwarder(open_model, "create_matreinforcement_ec2", "_create_matreinforcement_ec2", 2,
                  sig::create_matreinforcement_ec2_public, doc::create_matreinforcement_ec2);
    def_forwarder(open_model, "create_cross_section_component", "_create_cross_section_component",
                  1,
                  "def create_cross_section_component(self, name: str | None = None) -> "
                  "CrossSectionComponent",
                  doc::create_cross_section_component);
    def_forwarder(open_model, "create_cross_section_parameter", "_create_cross_section_parameter",
                  3,
                  "def create_cross_section_parameter(self, cross_section_type: "
                  "marlox.external.idea_rcs.objects.CrossSectionType, "
                  "material: marlox.external.idea_rcs.objects.MatConcreteEc2, name: str | None = "
                  "None, **parameters: float) -> "
                  "CrossSectionParameter",
                  doc::create_cross_section_parameter);
    def_forwarder(open_model, "create_reinforced_cross_section", "_create_reinforced_cross_section",
                  2,
                  "def create_reinforced_cross_section(self, cross_section: "
                  "marlox.external.idea_rcs.objects.CrossSectionParameter "
                  "| marlox.external.idea_rcs.objects.CrossSectionComponent, name: str | None = "
                  "None) -> marlox.external.idea_rcs.objects.ReinforcedCrossSection",
                  doc::create_reinforced_cross_section);
    def_forwarder(open_model, "create_check_member1d", "_create_check_member1d", 1,
                  "def create_check_member1d(self, name: str | None = None) -> "
                  "marlox.external.idea_rcs.objects.CheckMember1D",
                  doc::create_check_member1d);
    def_forwarder(open_model, "add_check_section", "_add_check_section", 3,
                  "def add_check_section(self, check_member: "
                  "marlox.external.idea_rcs.objects.CheckMember1D, reinf_section: "
                  "marlox.external.idea_rcs.objects.ReinforcedCrossSection, description: str | "
                  "None = None) -> "
                  "StandardCheckSection",
                  doc::add_check_section);
    def_forwarder(open_model, "add_member_data_ec2", "_add_member_data_ec2", 8,
                  sig::add_member_data_ec2_public, doc::add_member_data_ec2);
}

}  // namespace marlox::py
