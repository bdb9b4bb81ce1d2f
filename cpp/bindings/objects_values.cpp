// The checks of the values given to the objects: each field's value checked for its type and
// converted by its kind in the tables (values are kept as given; validate() judges them), and a
// call's arguments bound to a type's constructor parameters.
#include <cmath>
#include <ctime>

#include "bindings/objects.hpp"

using namespace nb::literals;

namespace marlox::objects {

namespace {

[[noreturn]] void type_error(const std::string &context, const Field &field,
                             const std::string &expected, nb::handle value) {
    fail(ErrorKind::Type, context + ": '" + field.name + "' must be " + expected + ", not " +
                              nb::inst_name(value).c_str());
}

}  // namespace

[[noreturn]] void value_error(const std::string &context, const char *argument,
                              const std::string &what) {
    fail(ErrorKind::Value, context + ": '" + argument + "' " + what);
}

std::string text_of(nb::handle value) { return nb::repr(value).c_str(); }

bool is_int(nb::handle v) { return PyLong_Check(v.ptr()) && !PyBool_Check(v.ptr()); }
bool is_number(nb::handle v) { return is_int(v) || PyFloat_Check(v.ptr()); }

double as_double(nb::handle v) {
    double d = PyFloat_AsDouble(v.ptr());
    if (d == -1.0 && PyErr_Occurred()) throw_python();
    return d;
}

// A number, kept as given: its value is judged by the model's validate(), not here.
nb::object check_number(const std::string &context, const Field &field, nb::handle value) {
    if (!is_number(value)) type_error(context, field, "a number", value);
    return nb::borrow(value);
}

nb::object item_or_throw(nb::handle sequence, Py_ssize_t i) {
    PyObject *item = PySequence_GetItem(sequence.ptr(), i);
    if (item == nullptr) throw_python();
    return nb::steal(item);
}

// A point (y, z) as a tuple of two checked numbers.
nb::object check_point(const std::string &context, const char *argument, nb::handle value) {
    if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()) ||
        PySequence_Size(value.ptr()) != 2) {
        PyErr_Clear();
        fail(ErrorKind::Type, context + ": '" + argument +
                                  "' must be a point (y, z) of two numbers, not " + text_of(value));
    }
    nb::object y = item_or_throw(value, 0);  // the second item is not asked for after a failure
    nb::object z = item_or_throw(value, 1);
    for (nb::handle c : {nb::handle(y), nb::handle(z)}) {
        if (!is_number(c))
            fail(ErrorKind::Type, context + ": '" + argument +
                                      "' must be a point (y, z) of two numbers, not " +
                                      text_of(value));
    }
    return nb::make_tuple(y, z);
}

namespace {

bool is_pair_of_sequences(nb::handle value) {
    if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()) ||
        PySequence_Size(value.ptr()) != 2) {
        PyErr_Clear();
        return false;
    }
    nb::object first = nb::steal(PySequence_GetItem(value.ptr(), 0));
    if (!first.is_valid()) throw_python();
    return !PyUnicode_Check(first.ptr()) && PySequence_Check(first.ptr());
}

// A polyline: a start point, then points (straight segments) and arcs ((end), (on arc)).
nb::object check_polyline(const std::string &context, const char *argument, nb::handle value) {
    if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()))
        fail(ErrorKind::Type, context + ": '" + argument + "' must be a sequence of points, not " +
                                  nb::inst_name(value).c_str());
    const Py_ssize_t n = PySequence_Size(value.ptr());
    if (n < 0) throw_python();
    nb::list out;
    for (Py_ssize_t i = 0; i < n; ++i) {
        nb::object item = nb::steal(PySequence_GetItem(value.ptr(), i));
        if (!item.is_valid()) throw_python();
        const std::string where = std::string(argument) + "[" + std::to_string(i) + "]";
        if (is_pair_of_sequences(item)) {
            if (i == 0)
                value_error(context, where.c_str(),
                            "must be a point: a polyline starts at a point");
            nb::object end = item_or_throw(item, 0);
            nb::object on_arc = item_or_throw(item, 1);
            out.append(nb::make_tuple(check_point(context, where.c_str(), end),
                                      check_point(context, where.c_str(), on_arc)));
        } else {
            out.append(check_point(context, where.c_str(), item));
        }
    }
    return nb::tuple(out);
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

}  // namespace

// Check one value for a field and return what is stored.
nb::object convert(const std::string &context, const Field &field, nb::handle value) {
    if (value.is_none()) {
        if (field.has(schema::Optional)) return nb::none();
        fail(ErrorKind::Type, context + ": '" + field.name + "' must not be None");
    }
    switch (field.kind) {
        case Kind::Int:
            if (!is_int(value)) type_error(context, field, "an int", value);
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
            return check_polyline(context, field.name, value);
        case Kind::Polylines: {
            if (PyUnicode_Check(value.ptr()) || !PySequence_Check(value.ptr()))
                type_error(context, field, "a sequence of polylines", value);
            const Py_ssize_t n = PySequence_Size(value.ptr());
            if (n < 0) throw_python();
            nb::list out;
            for (Py_ssize_t i = 0; i < n; ++i) {
                nb::object item = nb::steal(PySequence_GetItem(value.ptr(), i));
                if (!item.is_valid()) throw_python();
                const std::string where = std::string(field.name) + "[" + std::to_string(i) + "]";
                out.append(check_polyline(context, where.c_str(), item));
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
        return steal_or_throw(PyFloat_FromString(nb::str(text.c_str()).ptr()));
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

}  // namespace marlox::objects
