// The native paths of serialisation (see objects_document.cpp in the companion module), taken
// only while what they stand for is unchanged: json.dumps and json.loads, the encoder
// _EnumEncoder and the JSONEncoder it defers to, and, for the request, the model's own
// `_serialize`. A replaced function, a subclass's override or an encoder hook set by the
// caller sends every call down the encoder's path again.
#include <Python.h>
#include <nanobind/nanobind.h>

#include <utility>
#include <vector>

#include "bindings/model.hpp"

namespace marlox::py {

namespace {

struct Standard {
    std::vector<std::pair<nb::object, const char *>> owners;  // owner, attribute name
    std::vector<nb::object> values;                           // the attribute as bound
    nb::object serialize;                                     // _Model._serialize
};

Standard &standard() {
    static auto *s = new Standard();  // lives as long as the process
    return *s;
}

bool is_attr(nb::handle owner, const char *name, nb::handle expected) {
    PyObject *now = PyObject_GetAttrString(owner.ptr(), name);
    if (now == nullptr) {
        PyErr_Clear();
        return false;
    }
    const bool same = now == expected.ptr();
    Py_DECREF(now);
    return same;
}

bool encoding_unchanged() {
    const Standard &s = standard();
    if (s.values.empty()) return false;
    for (std::size_t i = 0; i < s.values.size(); ++i) {
        if (!is_attr(s.owners[i].first, s.owners[i].second, s.values[i])) return false;
    }
    return true;
}

// self._serialize is the model's own (not replaced by a subclass or on the instance).
bool own_serialize(nb::handle self) {
    PyObject *bound = PyObject_GetAttrString(self.ptr(), "_serialize");
    if (bound == nullptr) {
        PyErr_Clear();
        return false;
    }
    const bool own =
        is_attr(bound, "__func__", standard().serialize) && is_attr(bound, "__self__", self);
    Py_DECREF(bound);
    return own;
}

}  // namespace

void remember_standard_encoding(nb::handle encoder, nb::handle model_class) {
    Standard &s = standard();
    nb::module_ json = nb::module_::import_("json");
    nb::object base = json.attr("JSONEncoder");
    const std::pair<nb::handle, const char *> watched[] = {
        {json, "dumps"},      {json, "loads"},     {json, "JSONEncoder"},   {base, "default"},
        {encoder, "default"}, {encoder, "encode"}, {encoder, "iterencode"}, {encoder, "__init__"},
    };
    for (const auto &[owner, name] : watched) {
        s.owners.emplace_back(nb::borrow(owner), name);
        s.values.push_back(owner.attr(name));
    }
    s.serialize = model_class.attr("_serialize");
}

nb::object native_plain(nb::handle document) {
    if (!encoding_unchanged()) return nb::none();
    return companion().attr("_plain_document")(document);
}

nb::object native_request(nb::handle self) {
    if (!nb::isinstance<ModelBase>(self) || !own_serialize(self) || !encoding_unchanged())
        return nb::none();
    return companion().attr("_dump_document")(document_pairs(nb::cast<ModelBase &>(self)));
}

}  // namespace marlox::py
