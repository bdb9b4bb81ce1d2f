// The companion module: OpenModel object types, enumerations and base-material tables.
//
// Every object type is generated from its table in core/schema: the constructor binds and
// checks the types of its arguments by the table, attributes read and write the values, and
// `_serialize()` returns them under IDEA's element names. Objects keep the values they are
// given; judging them (signs, ranges, geometry) is the model's validate().
#include <Python.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <cmath>
#include <ctime>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "bindings/objects.hpp"
#include "bindings/translate.hpp"
#include "core/error.hpp"
#include "core/input_xml.hpp"
#include "core/schema.hpp"

using namespace nb::literals;

namespace marlox::objects {

namespace {

// Classes and enumerations of the module by name. They live as long as the process.
std::unordered_map<std::string, PyObject *> &registry() {
    static auto *map = new std::unordered_map<std::string, PyObject *>();
    return *map;
}

}  // namespace

nb::handle lookup(const std::string &name) {
    auto it = registry().find(name);
    if (it == registry().end()) fail(ErrorKind::Key, name);
    return it->second;
}

// The storage of an object of the named class (or a subclass); a TypeError for anything else.
Obj &object_of(nb::handle value, const char *cls) {
    if (!nb::isinstance(value, lookup(cls)) || !nb::inst_ready(value))
        fail(ErrorKind::Type,
             std::string("expected a ") + cls + ", not " + nb::inst_name(value).c_str());
    return *nb::inst_ptr<Obj>(value);
}

namespace {

void remember(const std::string &name, nb::handle object) {
    registry()[name] = object.inc_ref().ptr();
}

// --- the Python face of an object -------------------------------------------------------

}  // namespace

nb::object plain(const Field &field, nb::handle value) {
    if (value.is_none()) return nb::none();
    switch (field.kind) {
        case Kind::TypeName:
            return value.attr("__name__");
        case Kind::Point:
            return nb::list(value);
        case Kind::Polyline: {
            nb::list out;
            for (nb::handle item : value) {
                if (PyTuple_Check(nb::borrow<nb::tuple>(item)[0].ptr())) {
                    nb::list arc;
                    for (nb::handle point : item) arc.append(nb::list(point));
                    out.append(arc);
                } else {
                    out.append(nb::list(item));
                }
            }
            return std::move(out);
        }
        case Kind::Polylines: {
            nb::list out;
            for (nb::handle polyline : value) {
                Field inner = field;
                inner.kind = Kind::Polyline;
                out.append(plain(inner, polyline));
            }
            return std::move(out);
        }
        case Kind::Parameters:
            return steal_or_throw(PyDict_Copy(value.ptr()));
        case Kind::ObjectList:
            return nb::list(value);
        default:
            return nb::borrow(value);
    }
}

namespace {

nb::dict serialize(const Obj &self) {
    nb::dict out;
    for (size_t i = 0; i < self.type->fields.size(); ++i) {
        const Field &field = self.type->fields[i];
        out[field.key] = plain(field, self.values[i]);
    }
    return out;
}

std::string object_repr(const Obj &self) {
    std::string text = std::string(self.type->name) + "(";
    bool first = true;
    for (size_t i = 0; i < self.type->fields.size(); ++i) {
        const Field &field = self.type->fields[i];
        if (!first) text += ", ";
        first = false;
        text += field.name;
        text += "=";
        if (field.kind == Kind::TypeName)
            text += nb::cast<std::string>(self.values[i].attr("__name__"));
        else
            text += text_of(self.values[i]);
    }
    return text + ")";
}

int traverse(PyObject *self, visitproc visit, void *arg) {
    Py_VISIT(Py_TYPE(self));
    if (!nb::inst_ready(self)) return 0;
    for (const nb::object &value : nb::inst_ptr<Obj>(self)->values) Py_VISIT(value.ptr());
    return 0;
}

int clear(PyObject *self) {
    if (!nb::inst_ready(self)) return 0;
    Obj *object = nb::inst_ptr<Obj>(self);
    // Lists stay lists, so that an operation reached during collection finds what it expects.
    for (size_t i = 0; i < object->values.size(); ++i)
        object->values[i] = object->type->fields[i].kind == Kind::ObjectList
                                ? nb::object(nb::list())
                                : nb::object(nb::none());
    return 0;
}

PyType_Slot gc_slots[] = {
    {Py_tp_traverse, (void *)traverse}, {Py_tp_clear, (void *)clear}, {0, nullptr}};

std::deque<std::string> &texts() {
    static auto *kept = new std::deque<std::string>();  // signatures outlive the module
    return *kept;
}

const char *keep(std::string text) { return texts().emplace_back(std::move(text)).c_str(); }

std::string argument_annotation(const Field &field) {
    if (field.kind == Kind::Reference) return std::string("_ReferenceElement | ") + field.type;
    return schema::annotation(field);
}

std::string init_signature(const schema::Type &type) {
    std::string sig = "def __init__(self";
    for (const Field *field : type.arguments()) {
        if (field->kind == Kind::Parameters) {
            sig += ", **parameters: float";
            continue;
        }
        sig += ", ";
        sig += field->name;
        sig += ": " + argument_annotation(*field);
        if (field->default_ != nullptr) {
            // Enumeration members are written qualified so that stub tools resolve them.
            const bool member =
                field->kind == Kind::Enum && std::string_view(field->default_) != "None";
            sig += std::string(" = ") + (member ? "marlox.external.idea_rcs.objects." : "") +
                   field->default_;
        }
    }
    return sig + ") -> None";
}

std::string class_doc(const schema::Type &type) {
    std::string doc = type.doc;
    if (type.abstract) return doc;
    doc += "\n\nArgs:\n";
    for (const Field *field : type.arguments()) {
        if (field->kind == Kind::Parameters)
            doc += "    **parameters: ";
        else
            doc += std::string("    ") + field->name + ": ";
        doc += field->doc;
        doc += "\n";
    }
    return doc;
}

template <class C, class... Base>
nb::class_<C, Base...> bind_type(nb::module_ &m, const schema::Type &type) {
    nb::class_<C, Base...> cls(m, type.name, nb::type_slots(gc_slots), nb::is_weak_referenceable(),
                               keep(class_doc(type)));
    if (!type.abstract) {
        cls.def(
            "__init__",
            [&type](C *self, nb::args args, nb::kwargs kwargs) {
                std::vector<nb::object> values = bind_arguments(type, args, kwargs);
                new (self) C();
                self->type = &type;
                self->values = std::move(values);
            },
            nb::sig(keep(init_signature(type))));
        register_constructor(
            type, [](nb::handle self) -> Obj & { return *new (nb::inst_ptr<C>(self)) C(); });
    }
    for (size_t i = 0; i < type.fields.size(); ++i) {
        const Field &field = type.fields[i];
        auto getter = [i](const C &self) -> nb::object {
            const nb::object &value = self.values[i];
            if (self.type->fields[i].kind == Kind::ObjectList) return nb::list(value);
            return value;
        };
        const char *get_sig =
            keep(std::string("def ") + field.name + "(self) -> " + schema::annotation(field));
        if (field.has(schema::ReadOnly)) {
            cls.def_prop_ro(field.name, getter, nb::for_getter(nb::sig(get_sig)),
                            nb::for_getter(field.doc));
        } else {
            const char *set_sig = keep(std::string("def ") + field.name + "(self, value: " +
                                       argument_annotation(field) + ", /) -> None");
            cls.def_prop_rw(
                field.name, getter,
                [i](C &self, nb::handle value) {
                    const Field &f = self.type->fields[i];
                    self.values[i] = convert(std::string(self.type->name) + "." + f.name, f, value);
                },
                nb::for_getter(nb::sig(get_sig)), nb::for_getter(field.doc),
                nb::for_setter(nb::sig(set_sig)));
        }
    }
    remember(type.name, cls);
    return cls;
}

const schema::Type &type_named(const char *name) { return *schema::find_type(name); }

nb::dict entry(const char *key, nb::handle value) {
    nb::dict row;
    row[key] = value;
    return row;
}

nb::object make_enum(nb::module_ &m, const schema::Enumeration &e) {
    nb::list members;
    for (const auto &member : e.members) members.append(nb::make_tuple(member.name, member.value));
    nb::object enum_type = nb::module_::import_("enum").attr("Enum");
    nb::object cls =
        enum_type(e.name, members, "module"_a = m.attr("__name__"), "qualname"_a = e.name);
    cls.attr("__doc__") = e.doc;
    return cls;
}

nb::bytes write_input_xml(nb::bytes document) {
    std::string xml;
    {
        const std::string_view text(document.c_str(), document.size());
        nb::gil_scoped_release release;  // the document is kept alive by the caller's reference
        xml = input_xml::write(text);
    }
    return nb::bytes(xml.data(), xml.size());
}

}  // namespace

}  // namespace marlox::objects

NB_MODULE(objects, m) {
    using namespace marlox::objects;
    namespace schema = marlox::schema;
    m.doc() =
        "OpenModel object types, enumerations and base-material tables of IDEA StatiCa RCS.\n\n"
        "Objects hold SI values (Pa, m, N, N m). Enumeration values are IDEA's own member names.";
    marlox::py::register_error_translator();
    // The classes live as long as the process (the modules keep them in process-wide tables),
    // so nanobind's report of objects alive at interpreter exit would only list them. Leaks are
    // checked where they matter: growth under repetition and valgrind (tools/sanitize --leaks).
    nb::set_leak_warnings(false);

    // Enumerations first: object defaults refer to them.
    std::unordered_map<std::string, nb::object> made;
    for (const auto &e : schema::enumerations()) {
        nb::object cls = make_enum(m, e);
        remember(e.name, cls);
        made[e.name] = cls;
    }

    bind_type<T<0>>(m, type_named("_OpenObject"))
        .def(
            "_serialize", [](const T<0> &self) { return serialize(self); },
            nb::sig("def _serialize(self) -> dict[str, typing.Any]"),
            "The object as a mapping from IDEA's element names to values; nested "
            "objects and enumeration members are left for the encoder.")
        .def("__repr__", [](const T<0> &self) { return object_repr(self); });
    bind_type<T<1>>(m, type_named("_ReferenceElement"))
        .def(
            "_serialize", [](const T<1> &self) { return serialize(self); },
            nb::sig("def _serialize(self) -> dict[str, typing.Any]"),
            "The reference as {'TypeName': name of the list type, 'Id': id}.")
        .def("__repr__", [](const T<1> &self) { return object_repr(self); });
    bind_type<T<2, T<0>>, T<0>>(m, type_named("CheckMember"));
    bind_type<T<3, T<2, T<0>>>, T<2, T<0>>>(m, type_named("CheckMember1D"));
    bind_type<T<4, T<0>>, T<0>>(m, type_named("MatReinforcement"));
    bind_type<T<5, T<0>>, T<0>>(m, type_named("MatConcrete"));
    bind_type<T<6, T<5, T<0>>>, T<5, T<0>>>(m, type_named("MatConcreteEc2"));
    bind_type<T<7, T<4, T<0>>>, T<4, T<0>>>(m, type_named("MatReinforcementEc2"));
    bind_type<T<8, T<0>>, T<0>>(m, type_named("CrossSection"));
    bind_type<T<9, T<8, T<0>>>, T<8, T<0>>>(m, type_named("CrossSectionParameter"));
    auto rcs = bind_type<T<10, T<0>>, T<0>>(m, type_named("ReinforcedCrossSection"));
    bind_type<T<11, T<0>>, T<0>>(m, type_named("ReinforcedBar"));
    bind_type<T<12, T<0>>, T<0>>(m, type_named("Stirrup"));
    bind_type<T<13, T<0>>, T<0>>(m, type_named("CheckSection"));
    auto section =
        bind_type<T<14, T<13, T<0>>>, T<13, T<0>>>(m, type_named("StandardCheckSection"));
    bind_type<T<15, T<0>>, T<0>>(m, type_named("ConcreteMemberDataEc2"));
    bind_type<T<16, T<0>>, T<0>>(m, type_named("ExposureClassesDataEc2"));
    bind_type<T<17, T<0>>, T<0>>(m, type_named("ThermalState"));
    bind_type<T<18, T<0>>, T<0>>(m, type_named("ConcDependentParams"));
    bind_type<T<19, T<0>>, T<0>>(m, type_named("CheckSectionExtreme"));
    bind_type<T<20, T<0>>, T<0>>(m, type_named("LoadingSLS"));
    bind_type<T<21, T<0>>, T<0>>(m, type_named("LoadingULS"));
    bind_type<T<22, T<0>>, T<0>>(m, type_named("CalculationSetup"));
    bind_type<T<23, T<0>>, T<0>>(m, type_named("CodeSettings"));
    bind_type<T<24, T<0>>, T<0>>(m, type_named("ProjectData"));
    bind_type<T<25, T<0>>, T<0>>(m, type_named("FatigueLoading"));
    auto component =
        bind_type<T<26, T<8, T<0>>>, T<8, T<0>>>(m, type_named("CrossSectionComponent"));
    bind_type<T<27, T<0>>, T<0>>(m, type_named("InternalForces"));
    bind_type<T<28, T<0>>, T<0>>(m, type_named("CssComponent"));
    bind_operations(rcs, section, component);

    // Base-material tables, keyed by the enumeration members.
    nb::dict names, properties;
    nb::object concrete = made["ConcreteMaterial"], steel = made["ReinforcementMaterial"];
    for (const auto &grade : schema::concrete_grades()) {
        nb::object member = concrete.attr(grade.member);
        names[member] = entry("name", nb::str(grade.name));
        properties[member] = entry("fck", nb::int_(grade.fck));
    }
    for (const auto &grade : schema::reinforcement_grades()) {
        nb::object member = steel.attr(grade.member);
        names[member] = entry("name", nb::str(grade.name));
        nb::dict row = entry("fyk", nb::int_(grade.fyk));
        row["ftk_by_fyk"] = grade.ftk_by_fyk;
        row["epsuk"] = grade.epsuk;
        properties[member] = row;
    }
    made["_MATERIAL_NAMES"] = names;
    made["_MATERIAL_PROPERTIES"] = properties;

    // Publish every name in the vocabulary's order.
    for (const auto &entry : schema::entries()) {
        nb::object value = entry.what == schema::Entry::What::Type ? nb::borrow(lookup(entry.name))
                                                                   : made[entry.name];
        if (nb::hasattr(m, entry.name)) nb::delattr(m, entry.name);
        nb::setattr(m, entry.name, value);
    }

    bind_document(m);
    bind_factory(m);
    m.def("_write_input_xml", &write_input_xml, "document"_a,
          nb::sig("def _write_input_xml(document: bytes) -> bytes"),
          "Write IDEA StatiCa RCS input XML (an OpenModel document in UTF-8) for a serialised "
          "model given as JSON bytes.\n\nRaises ValueError naming the object and the field "
          "that cannot be converted.");
}
