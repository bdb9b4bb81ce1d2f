// The companion module: OpenModel object types, enumerations and base-material tables.
//
// Every object type is generated from its table in core/schema: the constructor binds and
// checks its arguments by the table, attributes read and write the checked values, and
// `_serialize()` returns them under IDEA's element names.
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

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::objects {

namespace schema = marlox::schema;
using schema::Field;
using schema::Kind;

namespace {

// Classes and enumerations of the module by name. They live as long as the process.
std::unordered_map<std::string, PyObject *> &registry() {
    static auto *map = new std::unordered_map<std::string, PyObject *>();
    return *map;
}

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

void remember(const std::string &name, nb::handle object) {
    registry()[name] = object.inc_ref().ptr();
}

[[noreturn]] void type_error(const std::string &context, const Field &field,
                             const std::string &expected, nb::handle value) {
    fail(ErrorKind::Type, context + ": '" + field.name + "' must be " + expected + ", not " +
                              nb::inst_name(value).c_str());
}

[[noreturn]] void value_error(const std::string &context, const char *argument,
                              const std::string &what) {
    fail(ErrorKind::Value, context + ": '" + argument + "' " + what);
}

std::string text_of(nb::handle value) { return nb::repr(value).c_str(); }

// Own a new reference from a C API call, or raise the Python error it set.
nb::object checked(PyObject *result) {
    if (result == nullptr) throw nb::python_error();
    return nb::steal(result);
}

bool is_int(nb::handle v) { return PyLong_Check(v.ptr()) && !PyBool_Check(v.ptr()); }
bool is_number(nb::handle v) { return is_int(v) || PyFloat_Check(v.ptr()); }

double as_double(nb::handle v) {
    double d = PyFloat_AsDouble(v.ptr());
    if (d == -1.0 && PyErr_Occurred()) throw nb::python_error();
    return d;
}

// A checked number: finite, with the sign the field asks for. The value is kept as given.
nb::object check_number(const std::string &context, const Field &field, nb::handle value) {
    if (!is_number(value)) type_error(context, field, "a number", value);
    const double d = as_double(value);
    if (!std::isfinite(d))
        value_error(context, field.name, "must be a finite number, got " + text_of(value));
    if (field.has(schema::Positive) && !(d > 0))
        value_error(context, field.name, "must be positive, got " + text_of(value));
    if (field.has(schema::NonNegative) && d < 0)
        value_error(context, field.name, "must not be negative, got " + text_of(value));
    if (std::string_view(field.key) == "RelativeHumidity" && d > 100)
        value_error(context, field.name,
                    "is in per cent and must not exceed 100, got " + text_of(value));
    return nb::borrow(value);
}

// A point (y, z) as a tuple of two checked numbers.
nb::object check_point(const std::string &context, const char *argument, nb::handle value) {
    if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()) ||
        PySequence_Size(value.ptr()) != 2) {
        PyErr_Clear();
        fail(ErrorKind::Type, context + ": '" + argument +
                                  "' must be a point (y, z) of two numbers, not " + text_of(value));
    }
    nb::object y = nb::steal(PySequence_GetItem(value.ptr(), 0));
    nb::object z = nb::steal(PySequence_GetItem(value.ptr(), 1));
    if (!y.is_valid() || !z.is_valid()) throw nb::python_error();
    for (nb::handle c : {nb::handle(y), nb::handle(z)}) {
        if (!is_number(c))
            fail(ErrorKind::Type, context + ": '" + argument +
                                      "' must be a point (y, z) of two numbers, not " +
                                      text_of(value));
        if (!std::isfinite(as_double(c)))
            value_error(context, argument, "must have finite coordinates, got " + text_of(value));
    }
    return nb::make_tuple(y, z);
}

bool is_pair_of_sequences(nb::handle value) {
    if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()) ||
        PySequence_Size(value.ptr()) != 2) {
        PyErr_Clear();
        return false;
    }
    nb::object first = nb::steal(PySequence_GetItem(value.ptr(), 0));
    if (!first.is_valid()) throw nb::python_error();
    return !PyUnicode_Check(first.ptr()) && PySequence_Check(first.ptr());
}

// A polyline: a start point, then points (straight segments) and arcs ((end), (on arc)).
nb::object check_polyline(const std::string &context, const char *argument, nb::handle value,
                          size_t min_vertices) {
    if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()))
        fail(ErrorKind::Type, context + ": '" + argument + "' must be a sequence of points, not " +
                                  nb::inst_name(value).c_str());
    const Py_ssize_t n = PySequence_Size(value.ptr());
    if (n < 0) throw nb::python_error();
    if (static_cast<size_t>(n) < min_vertices)
        value_error(context, argument,
                    "must have at least " + std::to_string(min_vertices) + " vertices, got " +
                        std::to_string(n));
    nb::list out;
    for (Py_ssize_t i = 0; i < n; ++i) {
        nb::object item = nb::steal(PySequence_GetItem(value.ptr(), i));
        if (!item.is_valid()) throw nb::python_error();
        const std::string where = std::string(argument) + "[" + std::to_string(i) + "]";
        if (is_pair_of_sequences(item)) {
            if (i == 0)
                value_error(context, where.c_str(),
                            "must be a point: a polyline starts at a point");
            nb::object end = nb::steal(PySequence_GetItem(item.ptr(), 0));
            nb::object on_arc = nb::steal(PySequence_GetItem(item.ptr(), 1));
            if (!end.is_valid() || !on_arc.is_valid()) throw nb::python_error();
            out.append(nb::make_tuple(check_point(context, where.c_str(), end),
                                      check_point(context, where.c_str(), on_arc)));
        } else {
            out.append(check_point(context, where.c_str(), item));
        }
    }
    return nb::tuple(out);
}

size_t min_vertices(const Field &field) {
    // A stirrup may be open (two points at least); an outline or opening encloses an area.
    return std::string_view(field.key) == "Geometry" ? 2 : 3;
}

const char *exposure_prefix(const Field &field) {
    static const std::pair<const char *, const char *> prefixes[] = {{"Carbonation", "XC"},
                                                                     {"Chlorides", "XD"},
                                                                     {"ChloridesFromSea", "XS"},
                                                                     {"FreezeAttack", "XF"},
                                                                     {"ChemicalAttack", "XA"}};
    for (const auto &[key, prefix] : prefixes)
        if (std::string_view(field.key) == key) return prefix;
    return nullptr;
}

std::string today() {
    std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

bool is_date(std::string_view s) {
    if (s.size() != 10 || s[4] != '-' || s[7] != '-') return false;
    for (size_t i : {0, 1, 2, 3, 5, 6, 8, 9})
        if (s[i] < '0' || s[i] > '9') return false;
    const int month = (s[5] - '0') * 10 + (s[6] - '0');
    const int day = (s[8] - '0') * 10 + (s[9] - '0');
    return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

nb::object reference_to(nb::handle target, const char *list_type) {
    return lookup("_ReferenceElement")(target.attr("id"), lookup(list_type));
}

// Check one value for a field and return what is stored.
nb::object convert(const std::string &context, const Field &field, nb::handle value) {
    if (value.is_none()) {
        if (field.has(schema::Optional)) return nb::none();
        fail(ErrorKind::Type, context + ": '" + field.name + "' must not be None");
    }
    switch (field.kind) {
        case Kind::Int:
            if (!is_int(value)) type_error(context, field, "an int", value);
            if (field.has(schema::Positive) && as_double(value) <= 0)
                value_error(context, field.name, "must be positive, got " + text_of(value));
            return nb::borrow(value);
        case Kind::Number:
            return check_number(context, field, value);
        case Kind::Bool:
            if (!PyBool_Check(value.ptr())) type_error(context, field, "a bool", value);
            return nb::borrow(value);
        case Kind::Text:
            if (!PyUnicode_Check(value.ptr())) type_error(context, field, "a str", value);
            return nb::borrow(value);
        case Kind::Date:
            if (!PyUnicode_Check(value.ptr())) type_error(context, field, "a str", value);
            if (!is_date(nb::cast<std::string>(value)))
                value_error(context, field.name,
                            "must be a date 'YYYY-MM-DD', got " + text_of(value));
            return nb::borrow(value);
        case Kind::Enum: {
            nb::handle cls = lookup(field.type);
            if (!nb::isinstance(value, cls))
                type_error(context, field, std::string("a ") + field.type + " member", value);
            if (const char *prefix = exposure_prefix(field)) {
                std::string name = nb::cast<std::string>(value.attr("name"));
                if (name.rfind(prefix, 0) != 0)
                    value_error(context, field.name,
                                std::string("must be one of the ") + prefix + " classes, got " +
                                    text_of(value));
            }
            return nb::borrow(value);
        }
        case Kind::Object:
            if (!nb::isinstance(value, lookup(field.type)))
                type_error(context, field, std::string("a ") + field.type, value);
            return nb::borrow(value);
        case Kind::Reference: {
            nb::handle reference_type = lookup("_ReferenceElement");
            if (nb::isinstance(value, reference_type)) {
                Obj &ref = object_of(value, "_ReferenceElement");
                nb::handle target = ref.values[0];
                std::string target_name = nb::cast<std::string>(target.attr("__name__"));
                if (target_name != field.type)
                    value_error(
                        context, field.name,
                        std::string("must refer to a ") + field.type + ", not to a " + target_name);
                return nb::borrow(value);
            }
            if (nb::isinstance(value, lookup(field.type))) return reference_to(value, field.type);
            type_error(context, field, std::string("a ") + field.type + " or a _ReferenceElement",
                       value);
        }
        case Kind::TypeName: {
            nb::handle base = lookup("_OpenObject");
            bool ok =
                PyType_Check(value.ptr()) && PyObject_IsSubclass(value.ptr(), base.ptr()) == 1;
            if (!ok) {
                PyErr_Clear();
                type_error(context, field, "an object type of this module", value);
            }
            return nb::borrow(value);
        }
        case Kind::Point:
            return check_point(context, field.name, value);
        case Kind::Polyline:
            return check_polyline(context, field.name, value, min_vertices(field));
        case Kind::Polylines: {
            if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()))
                type_error(context, field, "a sequence of polylines", value);
            const Py_ssize_t n = PySequence_Size(value.ptr());
            if (n < 0) throw nb::python_error();
            nb::list out;
            for (Py_ssize_t i = 0; i < n; ++i) {
                nb::object item = nb::steal(PySequence_GetItem(value.ptr(), i));
                if (!item.is_valid()) throw nb::python_error();
                const std::string where = std::string(field.name) + "[" + std::to_string(i) + "]";
                out.append(check_polyline(context, where.c_str(), item, min_vertices(field)));
            }
            return nb::tuple(out);
        }
        case Kind::Parameters: {
            if (!PyDict_Check(value.ptr())) type_error(context, field, "a dict", value);
            nb::dict out;
            for (auto [name, number] : nb::borrow<nb::dict>(value)) {
                if (!PyUnicode_Check(name.ptr()))
                    type_error(context, field, "keyed by parameter names", name);
                const std::string label = nb::cast<std::string>(name);
                if (!is_number(number))
                    fail(ErrorKind::Type, context + ": parameter '" + label +
                                              "' must be a number, not " +
                                              nb::inst_name(number).c_str());
                if (!std::isfinite(as_double(number)))
                    fail(ErrorKind::Value, context + ": parameter '" + label +
                                               "' must be a finite number, got " + text_of(number));
                out[name] = number;
            }
            return std::move(out);
        }
        case Kind::ObjectList: {
            nb::list out;
            for (nb::handle item : nb::borrow<nb::list>(value)) out.append(item);
            return std::move(out);
        }
    }
    fail(ErrorKind::Type, context + ": unknown field kind");
}

// The Python value of a default literal of the tables.
nb::object default_value(const Field &field) {
    const std::string text = field.default_;
    if (text == "None") {
        if (field.kind == Kind::Date) return nb::str(today().c_str());
        return nb::none();
    }
    if (text == "True") return nb::bool_(true);
    if (text == "False") return nb::bool_(false);
    if (text.size() >= 2 && text.front() == '\'')
        return nb::str(text.substr(1, text.size() - 2).c_str());
    const size_t dot = text.find('.');
    if (dot != std::string::npos && !(text[0] >= '0' && text[0] <= '9') && text[0] != '-')
        return lookup(text.substr(0, dot)).attr(text.substr(dot + 1).c_str());
    if (text.find_first_of(".eE") != std::string::npos)
        return checked(PyFloat_FromString(nb::str(text.c_str()).ptr()));
    return nb::int_(std::stoll(text));
}

// Bind a call's arguments to the type's constructor parameters, as Python binds them.
std::vector<nb::object> bind_arguments(const schema::Type &type, nb::args args, nb::kwargs kwargs) {
    const std::string context = type.name;
    std::vector<const Field *> params;
    for (const Field *field : type.arguments())
        if (field->kind != Kind::Parameters) params.push_back(field);
    const int parameters_index = type.index_of("parameters");
    std::vector<nb::object> given(type.fields.size());
    if (args.size() > params.size())
        fail(ErrorKind::Type, context + "() takes " + std::to_string(params.size()) +
                                  " positional arguments but " + std::to_string(args.size()) +
                                  " were given");
    for (size_t i = 0; i < args.size(); ++i)
        given[type.index_of(params[i]->name)] = nb::borrow(args[i]);
    nb::dict extra;
    for (auto [key, value] : kwargs) {
        const std::string name = nb::cast<std::string>(key);
        const int index = type.index_of(name);
        if (index >= 0 && index != parameters_index && !type.fields[index].has(schema::Managed)) {
            if (given[index].is_valid())
                fail(ErrorKind::Type,
                     context + "() got multiple values for argument '" + name + "'");
            given[index] = nb::borrow(value);
        } else if (parameters_index >= 0) {
            extra[key] = value;
        } else {
            fail(ErrorKind::Type, context + "() got an unexpected keyword argument '" + name + "'");
        }
    }
    std::vector<nb::object> values(type.fields.size());
    for (size_t i = 0; i < type.fields.size(); ++i) {
        const Field &field = type.fields[i];
        if (static_cast<int>(i) == parameters_index) {
            values[i] = convert(context, field, extra);
        } else if (field.has(schema::Managed)) {
            values[i] = nb::list();
        } else if (given[i].is_valid()) {
            values[i] = convert(context, field, given[i]);
        } else if (field.default_ != nullptr) {
            values[i] = default_value(field);
        } else {
            fail(ErrorKind::Type, context + "() missing required argument: '" + field.name + "'");
        }
    }
    return values;
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
            return checked(PyDict_Copy(value.ptr()));
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
    if (n == -1 && PyErr_Occurred()) throw nb::python_error();
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
    if (!PyObject_IsTrue(description.ptr())) {
        if (PyErr_Occurred()) throw nb::python_error();
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
    m.def("_write_input_xml", &write_input_xml, "document"_a,
          nb::sig("def _write_input_xml(document: bytes) -> bytes"),
          "Write IDEA StatiCa RCS input XML (an OpenModel document in UTF-8) for a serialised "
          "model given as JSON bytes.\n\nRaises ValueError naming the object and the field "
          "that cannot be converted.");
}
