// The serialised model, written natively where that is provably what the encoder gives.
//
// A model's `_serialize()` is json.loads(json.dumps(document, cls=_EnumEncoder)), and the
// conversion request carries json.dumps of that, as UTF-8. Both are made here in one walk over
// the document, without the encoder's hook per object and without JSON text in between, as
// long as every value met is one whose encoding is fixed: the exact built-in types (dict with
// str keys, list, tuple, str, int within 64 bits, float, bool, None), objects of this module's
// own classes whose `_serialize` is still this module's, and members of its enumerations.
// Anything else (a subclass, a foreign object, a replaced method, a cycle) makes the walk
// answer None and the caller takes the encoder's path, with its result or its error.
#include <Python.h>
#include <nanobind/nanobind.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "bindings/objects.hpp"
#include "core/json_text.hpp"

using namespace nanobind::literals;

namespace marlox::objects {

namespace {

// Far deeper than any model; a cycle or a deeper tree is left to the encoder.
constexpr int kMaxDepth = 200;

struct Known {
    std::unordered_set<PyTypeObject *> classes;                // this module's object classes
    std::unordered_set<PyTypeObject *> enumerations;           // and its enumerations
    std::vector<std::pair<nb::object, nb::object>> serialize;  // (class, its own _serialize)
    bool usable = false;
};

Known &known() {
    static auto *k = new Known();  // the classes live as long as the process
    return *k;
}

// Whether every class of the module still has the `_serialize` it was made with.
bool methods_unchanged() {
    const Known &k = known();
    if (!k.usable) return false;
    for (const auto &[cls, method] : k.serialize) {
        PyObject *now = PyObject_GetAttrString(cls.ptr(), "_serialize");
        if (now == nullptr) {
            PyErr_Clear();
            return false;
        }
        const bool same = now == method.ptr();
        Py_DECREF(now);
        if (!same) return false;
    }
    return true;
}

// One walk over the document; `Sink` receives the values in order. Returns false at the first
// value whose encoding is not fixed here.
template <class Sink>
class Walker {
  public:
    explicit Walker(Sink &sink) : sink_(sink) {}

    bool value(PyObject *v, int depth) {
        if (depth > kMaxDepth) return false;
        PyTypeObject *type = Py_TYPE(v);
        if (v == Py_None || v == Py_True || v == Py_False || type == &PyUnicode_Type ||
            type == &PyFloat_Type) {
            sink_.atom(v);
            return true;
        }
        if (type == &PyLong_Type) {
            int overflow = 0;
            const long long n = PyLong_AsLongLongAndOverflow(v, &overflow);
            if (overflow != 0) return false;  // the encoder's limits on long digits apply
            if (n == -1 && PyErr_Occurred()) throw_python();
            sink_.integer(v, n);
            return true;
        }
        if (type == &PyList_Type || type == &PyTuple_Type) {
            sink_.begin_list();
            for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(v); ++i) {
                nb::object item = nb::borrow(PySequence_Fast_GET_ITEM(v, i));
                if (!value(item.ptr(), depth + 1)) return false;
            }
            sink_.end();
            return true;
        }
        if (type == &PyDict_Type) {
            sink_.begin_dict();
            Py_ssize_t pos = 0;
            PyObject *key, *item;
            while (PyDict_Next(v, &pos, &key, &item)) {
                if (Py_TYPE(key) != &PyUnicode_Type) return false;
                nb::object held = nb::borrow(item);
                sink_.key(key);
                if (!value(held.ptr(), depth + 1)) return false;
            }
            sink_.end();
            return true;
        }
        const Known &k = known();
        if (k.classes.count(type) != 0) return object(v, depth);
        if (k.enumerations.count(type) != 0) {
            auto found = enum_values_.find(v);
            if (found == enum_values_.end()) {
                found = enum_values_.emplace(v, steal_or_throw(PyObject_GetAttrString(v, "value")))
                            .first;
            }
            return value(found->second.ptr(), depth + 1);
        }
        return false;
    }

  private:
    // What `_serialize()` returns, keys in field order (unique per class, see bind_document).
    bool object(PyObject *v, int depth) {
        if (!nb::inst_ready(v)) return false;
        const Obj &o = *nb::inst_ptr<Obj>(v);
        if (o.type == nullptr || o.values.size() != o.type->fields.size()) return false;
        sink_.begin_dict();
        for (std::size_t i = 0; i < o.values.size(); ++i) {
            const schema::Field &field = o.type->fields[i];
            sink_.key_text(field.key);
            bool written;
            switch (field.kind) {
                case schema::Kind::Point:
                case schema::Kind::Polyline:
                case schema::Kind::Polylines:
                case schema::Kind::ObjectList:
                    // `plain` only copies these tuples and lists into lists: the same JSON.
                    written = value(o.values[i].ptr(), depth + 1);
                    break;
                default:
                    written = value(plain(field, o.values[i]).ptr(), depth + 1);
            }
            if (!written) return false;
        }
        sink_.end();
        return true;
    }

    Sink &sink_;
    // An enumeration member's value, read once per walk.
    std::unordered_map<PyObject *, nb::object> enum_values_;
};

// json.loads of the text: new containers, the same atoms (a NaN becomes the one that loads
// makes).
class TreeSink {
  public:
    void atom(PyObject *v) {
        if (Py_TYPE(v) == &PyFloat_Type && std::isnan(PyFloat_AS_DOUBLE(v))) {
            add(steal_or_throw(PyFloat_FromDouble(std::numeric_limits<double>::quiet_NaN())));
            return;
        }
        add(nb::borrow(v));
    }
    void integer(PyObject *v, long long) { add(nb::borrow(v)); }
    void begin_list() { open(py::new_list()); }
    void begin_dict() { open(py::new_dict()); }
    void key(PyObject *k) { key_ = nb::borrow(k); }
    void key_text(const char *k) {
        auto found = keys_.find(k);
        if (found == keys_.end())
            found = keys_.emplace(k, steal_or_throw(PyUnicode_FromString(k))).first;
        key_ = found->second;
    }
    void end() { stack_.pop_back(); }
    nb::object result() const { return result_; }

  private:
    void open(nb::object container) {
        add(container);
        stack_.push_back(std::move(container));
    }
    void add(const nb::object &v) {
        if (stack_.empty()) {
            result_ = v;
            return;
        }
        PyObject *top = stack_.back().ptr();
        const int status = PyList_Check(top) ? PyList_Append(top, v.ptr())
                                             : PyDict_SetItem(top, key_.ptr(), v.ptr());
        if (status != 0) throw_python();
    }

    std::vector<nb::object> stack_;
    nb::object key_;
    nb::object result_;
    std::unordered_map<const char *, nb::object> keys_;  // field keys are static texts
};

// json.dumps with its standard settings: ", " and ": " as separators, ASCII only.
class TextSink {
  public:
    void atom(PyObject *v) {
        separate();
        if (v == Py_None) {
            out_ += "null";
        } else if (v == Py_True) {
            out_ += "true";
        } else if (v == Py_False) {
            out_ += "false";
        } else if (Py_TYPE(v) == &PyFloat_Type) {
            json::append_float(out_, PyFloat_AS_DOUBLE(v));
        } else {
            string(v);
        }
    }
    void integer(PyObject *, long long n) {
        separate();
        char buffer[24];
        const auto written = std::to_chars(buffer, buffer + sizeof buffer, n);
        out_.append(buffer, written.ptr);
    }
    void begin_list() { open('['); }
    void begin_dict() { open('{'); }
    void key(PyObject *k) {
        separate();
        string(k);
        out_ += ": ";
        after_key_ = true;
    }
    void key_text(const char *k) {
        separate();
        json::append_string(out_, k, std::char_traits<char>::length(k));
        out_ += ": ";
        after_key_ = true;
    }
    void end() {
        out_ += closing_.back();
        closing_.pop_back();
        first_.pop_back();
    }
    std::string &text() { return out_; }

  private:
    void open(char bracket) {
        separate();
        out_ += bracket;
        closing_.push_back(bracket == '[' ? ']' : '}');
        first_.push_back(true);
    }
    void separate() {
        if (after_key_) {
            after_key_ = false;
            return;
        }
        if (first_.empty()) return;
        if (!first_.back()) out_ += ", ";
        first_.back() = false;
    }
    void string(PyObject *s) {
#if PY_VERSION_HEX < 0x030C0000
        if (PyUnicode_READY(s) < 0) throw_python();
#endif
        const Py_ssize_t n = PyUnicode_GET_LENGTH(s);
        const void *data = PyUnicode_DATA(s);
        switch (PyUnicode_KIND(s)) {
            case PyUnicode_1BYTE_KIND:
                json::append_string(out_, static_cast<const Py_UCS1 *>(data), (std::size_t)n);
                break;
            case PyUnicode_2BYTE_KIND:
                json::append_string(out_, static_cast<const Py_UCS2 *>(data), (std::size_t)n);
                break;
            default:
                json::append_string(out_, static_cast<const Py_UCS4 *>(data), (std::size_t)n);
        }
    }

    std::string out_;
    std::vector<char> closing_;
    std::vector<bool> first_;
    bool after_key_ = false;
};

nb::object plain_document(nb::handle document) {
    if (!methods_unchanged()) return nb::none();
    TreeSink sink;
    Walker<TreeSink> walker(sink);
    if (!walker.value(document.ptr(), 0)) return nb::none();
    return sink.result();
}

nb::object dump_document(nb::handle document) {
    if (!methods_unchanged()) return nb::none();
    TextSink sink;
    Walker<TextSink> walker(sink);
    if (!walker.value(document.ptr(), 0)) return nb::none();
    const std::string &text = sink.text();
    return steal_or_throw(PyBytes_FromStringAndSize(text.data(), (Py_ssize_t)text.size()));
}

}  // namespace

void bind_document(nb::module_ &m) {
    Known &k = known();
    bool unique_keys = true;
    for (const schema::Type &type : schema::types()) {
        if (!nb::hasattr(m, type.name)) continue;
        nb::object cls = m.attr(type.name);
        k.classes.insert((PyTypeObject *)cls.ptr());
        k.serialize.emplace_back(cls, cls.attr("_serialize"));
        std::unordered_set<std::string> keys;
        for (const schema::Field &field : type.fields) unique_keys &= keys.insert(field.key).second;
    }
    for (const schema::Enumeration &e : schema::enumerations()) {
        k.enumerations.insert((PyTypeObject *)m.attr(e.name).ptr());
    }
    // Repeated keys would make `_serialize()` keep one value per key: left to the encoder.
    k.usable = unique_keys;

    m.def("_plain_document", &plain_document, "document"_a.none(),
          nb::sig("def _plain_document(document: object) -> typing.Any"),
          "json.loads(json.dumps(document, cls=_EnumEncoder)) for a model's document, or None "
          "where a value's encoding is not fixed natively.");
    m.def("_dump_document", &dump_document, "document"_a.none(),
          nb::sig("def _dump_document(document: object) -> bytes | None"),
          "The UTF-8 bytes of json.dumps(document) for the result of _plain_document, or None "
          "where a value's encoding is not fixed natively.");
}

}  // namespace marlox::objects
