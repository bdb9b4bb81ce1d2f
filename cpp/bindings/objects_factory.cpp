// The factory that the input reader makes objects with (objects_factory.hpp): the constructor's
// work without its argument binding. Values that are already in the form the constructor stores
// (an exact int, float, str, a tuple point of numbers, a member of the field's enumeration, ...)
// are taken as they are; anything else goes through the constructor's own checks, so that the
// object and every failure are the constructor's.
#include "bindings/objects_factory.hpp"

#include <vector>

#include "bindings/objects.hpp"
#include "bindings/translate.hpp"

namespace marlox::objects {

namespace {

// What make() needs of one type, found on its first use (every class is published by then).
struct Maker {
    Obj &(*construct)(nb::handle self) = nullptr;
    nb::handle cls;
    std::vector<nb::handle> classes;   // per field: the class an Enum, Object or Reference needs
    std::vector<nb::object> defaults;  // per field: its default when fixed (a date is today)
    std::vector<char> checked;         // per field: always through the constructor's checks
    bool ready = false;
};

// By the index of the type in schema::types().
std::vector<Maker> &makers() {
    static auto *all = new std::vector<Maker>(schema::types().size());
    return *all;
}

nb::handle reference_class() {
    static nb::handle cls = lookup("_ReferenceElement");
    return cls;
}

nb::handle base_class() {
    static nb::handle cls = lookup("_OpenObject");
    return cls;
}

bool is_number(PyObject *v) { return PyFloat_CheckExact(v) || PyLong_CheckExact(v); }

bool is_point(PyObject *v) {
    return PyTuple_CheckExact(v) && PyTuple_GET_SIZE(v) == 2 && is_number(PyTuple_GET_ITEM(v, 0)) &&
           is_number(PyTuple_GET_ITEM(v, 1));
}

// A tuple of points and arcs (a tuple of two points), starting at a point.
bool is_polyline(PyObject *v) {
    if (!PyTuple_CheckExact(v)) return false;
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(v); ++i) {
        PyObject *item = PyTuple_GET_ITEM(v, i);
        if (is_point(item)) continue;
        if (i == 0 || !PyTuple_CheckExact(item) || PyTuple_GET_SIZE(item) != 2 ||
            !is_point(PyTuple_GET_ITEM(item, 0)) || !is_point(PyTuple_GET_ITEM(item, 1)))
            return false;
    }
    return true;
}

bool is_parameters(PyObject *v) {
    if (!PyDict_CheckExact(v)) return false;
    Py_ssize_t at = 0;
    PyObject *key, *value;
    while (PyDict_Next(v, &at, &key, &value))
        if (!PyUnicode_CheckExact(key) || !is_number(value)) return false;
    return true;
}

// True when the constructor would store `v` for the field as it is (or an equal copy of it).
bool stored_as_given(const Field &field, nb::handle cls, PyObject *v) {
    if (v == Py_None) return field.has(schema::Optional);
    switch (field.kind) {
        case Kind::Int:
            return PyLong_CheckExact(v);
        case Kind::Number:
            return is_number(v);
        case Kind::Bool:
            return PyBool_Check(v);
        case Kind::Text:
            return PyUnicode_CheckExact(v);
        case Kind::Enum:
            return Py_TYPE(v) == (PyTypeObject *)cls.ptr();
        case Kind::Object:
            return PyObject_TypeCheck(v, (PyTypeObject *)cls.ptr());
        case Kind::Reference:
            return Py_TYPE(v) == (PyTypeObject *)reference_class().ptr() && nb::inst_ready(v) &&
                   nb::inst_ptr<Obj>(v)->values[0].ptr() == cls.ptr();
        case Kind::TypeName:
            return PyType_Check(v) &&
                   PyType_IsSubtype((PyTypeObject *)v, (PyTypeObject *)base_class().ptr());
        case Kind::Point:
            return is_point(v);
        case Kind::Polyline:
            return is_polyline(v);
        case Kind::Polylines:
            if (!PyTuple_CheckExact(v)) return false;
            for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(v); ++i)
                if (!is_polyline(PyTuple_GET_ITEM(v, i))) return false;
            return true;
        case Kind::Parameters:
            return is_parameters(v);
        case Kind::Date:
        case Kind::ObjectList:
            return false;
    }
    return false;
}

Maker &maker(const schema::Type &type) {
    Maker &m = makers()[(std::size_t)(&type - schema::types().data())];
    if (m.ready) return m;
    if (m.construct == nullptr) fail(ErrorKind::Type, std::string(type.name) + " cannot be made");
    m.cls = lookup(type.name);
    for (const Field &field : type.fields) {
        const bool typed =
            field.kind == Kind::Enum || field.kind == Kind::Object || field.kind == Kind::Reference;
        m.classes.push_back(typed ? lookup(field.type) : nb::handle());
        m.defaults.push_back(field.default_ != nullptr && field.kind != Kind::Date
                                 ? default_value(field)
                                 : nb::object());
        // An exposure class is also checked against the prefix of its field.
        m.checked.push_back(field.kind == Kind::Enum &&
                            std::string_view(field.type) == "ExposureClass");
    }
    m.ready = true;
    return m;
}

nb::object make_object(const schema::Type &type, PyObject **taken) {
    Maker &m = maker(type);
    std::vector<nb::object> values(type.fields.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Field &field = type.fields[i];
        nb::object v = nb::steal(taken[i]);
        taken[i] = nullptr;
        if (field.has(schema::Managed)) {
            values[i] = nb::list();
        } else if (!v.is_valid() && field.kind == Kind::Parameters) {
            values[i] = nb::dict();
        } else if (!v.is_valid()) {
            if (m.defaults[i].is_valid())
                values[i] = m.defaults[i];
            else if (field.default_ != nullptr)
                values[i] = default_value(field);
            else
                fail(ErrorKind::Type,
                     std::string(type.name) + "() missing required argument: '" + field.name + "'");
        } else if (!m.checked[i] && stored_as_given(field, m.classes[i], v.ptr())) {
            values[i] = std::move(v);
        } else {
            values[i] = convert(type.name, field, v);
        }
    }
    nb::object made = nb::inst_alloc(m.cls);
    Obj &object = m.construct(made);
    object.type = &type;
    object.values = std::move(values);
    nb::inst_mark_ready(made);
    return made;
}

// Run `f`, turning what it throws into the Python exception set; `failed` is returned then.
template <class R, class F>
R guarded(R failed, F &&f) noexcept {
    try {
        return f();
    } catch (...) {
        py::set_current_exception();
    }
    return failed;
}

PyObject *make(std::size_t index, PyObject **values) {
    const auto &types = schema::types();
    // The values are released here unless make_object() took them over.
    struct Taken {
        PyObject **values;
        std::size_t n;
        ~Taken() {
            for (std::size_t i = 0; i < n; ++i) Py_XDECREF(values[i]);
        }
    } taken{values, index < types.size() ? types[index].fields.size() : 0};
    return guarded<PyObject *>(nullptr, [&] {
        if (index >= types.size()) fail(ErrorKind::Value, "no such object type");
        return make_object(types[index], values).release().ptr();
    });
}

int append(PyObject *owner, std::size_t field, PyObject *part) {
    return guarded(-1, [&] {
        Obj &object = object_of(owner, "_OpenObject");
        if (field >= object.values.size() || !object.type->fields[field].has(schema::Managed))
            fail(ErrorKind::Value, "not a managed list");
        if (PyList_Append(object.values[field].ptr(), part) != 0) throw_python();
        return 0;
    });
}

}  // namespace

void register_constructor(const schema::Type &type, Obj &(*construct)(nb::handle self)) {
    makers()[(std::size_t)(&type - schema::types().data())].construct = construct;
}

void bind_factory(nb::module_ &m) {
    static const Factory factory{sizeof(Factory), &make, &append};
    nb::setattr(
        m, "_factory",
        steal_or_throw(PyCapsule_New(const_cast<Factory *>(&factory), kFactoryCapsule, nullptr)));
}

}  // namespace marlox::objects
