#include "bindings/idea_rcs_model_view.hpp"

#include <nanobind/stl/string.h>

#include <cmath>

#include "bindings/idea_rcs.hpp"

namespace marlox::py {

namespace {

// The companion module's classes whose instances hold `objects::Obj`: the base of every object
// and the reference. They live as long as the process.
PyTypeObject *companion_type(const char *name) {
    nb::object cls = companion().attr(name);
    return reinterpret_cast<PyTypeObject *>(cls.inc_ref().ptr());
}

}  // namespace

const objects::Obj *storage(PyObject *value) {
    static PyTypeObject *const object = companion_type("_OpenObject");
    static PyTypeObject *const reference = companion_type("_ReferenceElement");
    if (value == nullptr ||
        !(PyObject_TypeCheck(value, object) || PyObject_TypeCheck(value, reference)) ||
        !nb::inst_ready(value))
        return nullptr;
    const objects::Obj *obj = nb::inst_ptr<objects::Obj>(value);
    return obj->type != nullptr && obj->values.size() == obj->type->fields.size() ? obj : nullptr;
}

namespace {

bool read_number(PyObject *value, view::Number &out) {
    if (PyFloat_Check(value)) {
        out = {PyFloat_AS_DOUBLE(value), false};
        return true;
    }
    if (!PyLong_Check(value) || PyBool_Check(value)) return false;
    double x = PyLong_AsDouble(value);
    if (x == -1.0 && PyErr_Occurred()) {  // beyond a double: as large as a double goes
        PyErr_Clear();
        x = _PyLong_Sign(value) < 0 ? -HUGE_VAL : HUGE_VAL;
    }
    out = {x, true};
    return true;
}

// The two items of a pair (a tuple or list); false when it is not one.
bool pair(PyObject *value, PyObject *&first, PyObject *&second) {
    if (PyTuple_Check(value) && PyTuple_GET_SIZE(value) == 2) {
        first = PyTuple_GET_ITEM(value, 0), second = PyTuple_GET_ITEM(value, 1);
        return true;
    }
    if (PyList_Check(value) && PyList_GET_SIZE(value) == 2) {
        first = PyList_GET_ITEM(value, 0), second = PyList_GET_ITEM(value, 1);
        return true;
    }
    return false;
}

// A point (y, z); false when it is not one.
bool read_point(PyObject *value, view::Point &out, view::Coordinates &c) {
    PyObject *first, *second;
    view::Number y, z;
    if (!pair(value, first, second) || !read_number(first, y) || !read_number(second, z))
        return false;
    out = {y.value, z.value};
    if (c.finite && !std::isfinite(y.value)) c = {c.vertices, false, y};
    if (c.finite && !std::isfinite(z.value)) c = {c.vertices, false, z};
    return true;
}

}  // namespace

bool read_polyline(PyObject *value, view::Coordinates &out) {
    out = {};
    if (!PyTuple_Check(value) && !PyList_Check(value)) return false;
    const Py_ssize_t n = PySequence_Fast_GET_SIZE(value);
    PyObject **entries = PySequence_Fast_ITEMS(value);
    out.vertices.reserve(static_cast<size_t>(n));
    for (Py_ssize_t i = 0; i < n; ++i) {
        geometry::Vertex v;
        PyObject *first, *second;
        if (pair(entries[i], first, second) && (PyTuple_Check(first) || PyList_Check(first))) {
            v.arc = true;
            if (!read_point(first, v.point, out) || !read_point(second, v.on_arc, out))
                return false;
        } else if (!read_point(entries[i], v.point, out)) {
            return false;
        }
        if (!out.finite) return true;
        out.vertices.push_back(v);
    }
    return true;
}

bool ObjectView::number(size_t field, view::Number &out) const {
    return read_number(value(field).ptr(), out);
}

bool ObjectView::boolean(size_t field, bool &out) const {
    PyObject *v = value(field).ptr();
    if (!PyBool_Check(v)) return false;
    out = v == Py_True;
    return true;
}

std::string ObjectView::text(size_t field) const {
    nb::handle v = value(field);
    if (obj_.type->fields[field].kind == schema::Kind::Enum && !v.is_none()) {
        PyObject *member = PyObject_GetAttrString(v.ptr(), "value");
        if (member == nullptr) {
            PyErr_Clear();
            return std::string();
        }
        nb::object held = nb::steal(member);
        return PyUnicode_Check(member) ? nb::cast<std::string>(held) : std::string();
    }
    if (!PyUnicode_Check(v.ptr())) return std::string();
    Py_ssize_t size;
    const char *utf8 = PyUnicode_AsUTF8AndSize(v.ptr(), &size);
    if (utf8 == nullptr) {
        PyErr_Clear();
        return std::string();
    }
    return std::string(utf8, static_cast<size_t>(size));
}

bool ObjectView::reference(size_t field, view::Reference &out) const {
    const objects::Obj *ref = storage(value(field).ptr());
    view::Number id;
    if (ref == nullptr || ref->values.size() != 2 || !read_number(ref->values[1].ptr(), id))
        return false;
    out.id = id.value;
    out.type = {};
    if (PyType_Check(ref->values[0].ptr())) {
        out.type = reinterpret_cast<PyTypeObject *>(ref->values[0].ptr())->tp_name;
        const size_t dot = out.type.rfind('.');
        if (dot != std::string_view::npos) out.type.remove_prefix(dot + 1);
    }
    out.made_from = ref->made_from;
    return true;
}

bool ObjectView::vertices(size_t field, view::Coordinates &out) const {
    out = {};
    PyObject *v = value(field).ptr();
    if (obj_.type->fields[field].kind == schema::Kind::Point) {
        geometry::Vertex vertex;
        if (!read_point(v, vertex.point, out)) return false;
        if (out.finite) out.vertices.push_back(vertex);
        return true;
    }
    return read_polyline(v, out);
}

bool ObjectView::vertices_at(size_t field, size_t index, view::Coordinates &out) const {
    out = {};
    PyObject *v = value(field).ptr();
    if (!PyTuple_Check(v) || index >= static_cast<size_t>(PyTuple_GET_SIZE(v))) return false;
    return read_polyline(PyTuple_GET_ITEM(v, static_cast<Py_ssize_t>(index)), out);
}

size_t ObjectView::count(size_t field) const {
    PyObject *v = value(field).ptr();
    if (PyList_Check(v)) return static_cast<size_t>(PyList_GET_SIZE(v));
    if (PyTuple_Check(v)) return static_cast<size_t>(PyTuple_GET_SIZE(v));
    return 0;
}

void ObjectView::object(size_t field, view::Visit visit) const {
    if (const objects::Obj *inner = storage(value(field).ptr())) visit(ObjectView(*inner));
}

void ObjectView::object_at(size_t field, size_t index, view::Visit visit) const {
    PyObject *v = value(field).ptr();
    if (!PyList_Check(v) || index >= static_cast<size_t>(PyList_GET_SIZE(v))) return;
    if (const objects::Obj *inner = storage(PyList_GET_ITEM(v, static_cast<Py_ssize_t>(index))))
        visit(ObjectView(*inner));
}

std::vector<std::pair<std::string, view::Number>> ObjectView::parameters(size_t field) const {
    std::vector<std::pair<std::string, view::Number>> out;
    PyObject *v = value(field).ptr();
    if (!PyDict_Check(v)) return out;
    Py_ssize_t position = 0;
    PyObject *key, *number;
    while (PyDict_Next(v, &position, &key, &number)) {
        view::Number n;
        const char *name = PyUnicode_Check(key) ? PyUnicode_AsUTF8(key) : nullptr;
        if (name == nullptr) {
            PyErr_Clear();
            continue;
        }
        if (read_number(number, n)) out.emplace_back(name, n);
    }
    return out;
}

ModelView::ModelView(ModelBase &model)
    : lists_{&model.mat_concrete,  &model.mat_reinforcement,
             &model.cross_section, &model.reinforced_cross_section,
             &model.check_member,  &model.check_section,
             &model.attribute},
      project_(model.project_data),
      code_(model.code_settings) {}

void ModelView::object(List list, size_t index, view::Visit visit) const {
    PyObject *items = lists_[list]->ptr();
    if (index >= static_cast<size_t>(PyList_GET_SIZE(items))) return;
    if (const objects::Obj *obj = storage(PyList_GET_ITEM(items, static_cast<Py_ssize_t>(index))))
        visit(ObjectView(*obj));
}

void ModelView::project_data(view::Visit visit) const {
    if (const objects::Obj *obj = storage(project_.ptr())) visit(ObjectView(*obj));
}

void ModelView::code_settings(view::Visit visit) const {
    if (const objects::Obj *obj = storage(code_.ptr())) visit(ObjectView(*obj));
}

void remember_origin(nb::handle reference, nb::handle target) {
    const objects::Obj *from = storage(target.ptr());
    const objects::Obj *made = storage(reference.ptr());
    if (from != nullptr && made != nullptr)
        const_cast<objects::Obj *>(made)->made_from = from->type->name;
}

}  // namespace marlox::py
