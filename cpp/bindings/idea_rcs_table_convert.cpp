// The conversions of result tables: Python values, pandas, CSV and the Arrow PyCapsules around
// the core's export (core/arrow_stream.hpp).
#include <nanobind/ndarray.h>

#include <vector>

#include "bindings/idea_rcs_table.hpp"
#include "core/arrow_stream.hpp"
#include "core/error.hpp"

namespace marlox::py::results {

using marlox::table::Chunk;
using marlox::table::Column;
using marlox::table::Table;
using marlox::table::Type;

const Column &column_named(const Table &t, nb::handle name) {
    const std::string n = nb::cast<std::string>(name);
    const Column *c = t.find(n);
    if (c == nullptr) {
        nb::object shown = steal_or_throw(PyObject_Repr(name.ptr()));
        throw marlox::Error(ErrorKind::Key, nb::cast<std::string>(shown));
    }
    return *c;
}

// The Python values of a column: int, float, bool or str, None where missing.
nb::object column_values(const Column &c) {
    const std::size_t n = c.size();
    nb::object list = steal_or_throw(PyList_New((Py_ssize_t)n));
    std::vector<nb::object> texts(c.type() == Type::Text ? c.dictionary_size() : 0);
    for (std::size_t i = 0; i < n; ++i) {
        nb::object v;
        if (!c.valid(i)) {
            v = nb::none();
        } else {
            switch (c.type()) {
                case Type::Int64:
                case Type::Int32:
                    v = steal_or_throw(PyLong_FromLongLong(c.int_at(i)));
                    break;
                case Type::Float64:
                    v = steal_or_throw(PyFloat_FromDouble(c.float_at(i)));
                    break;
                case Type::Bool:
                    v = nb::bool_(c.bool_at(i));
                    break;
                case Type::Text: {
                    nb::object &s = texts[(std::size_t)c.code_at(i)];
                    if (!s.is_valid()) s = str_from(c.text_at(i));
                    v = s;
                    break;
                }
            }
        }
        PyList_SET_ITEM(list.ptr(), (Py_ssize_t)i, v.release().ptr());
    }
    return list;
}

nb::object to_pylist(const Table &t) {
    std::vector<nb::object> columns, names;
    for (const Column &c : t.columns) {
        columns.push_back(column_values(c));
        names.push_back(str_from(c.name()));
    }
    nb::object rows = steal_or_throw(PyList_New((Py_ssize_t)t.rows()));
    for (std::size_t r = 0; r < t.rows(); ++r) {
        nb::object row = new_dict();
        for (std::size_t c = 0; c < columns.size(); ++c) {
            dict_set(row.ptr(), names[c].ptr(), PyList_GET_ITEM(columns[c].ptr(), (Py_ssize_t)r));
        }
        PyList_SET_ITEM(rows.ptr(), (Py_ssize_t)r, row.release().ptr());
    }
    return rows;
}

nb::dict units_of(const Table &t) {
    nb::dict d;
    for (const Column &c : t.columns) {
        d[c.name().c_str()] = c.unit().empty() ? nb::none() : nb::object(nb::str(c.unit().c_str()));
    }
    return d;
}

namespace {

// A numpy array of the column's values, in one piece (missing floats are NaN).
template <class T>
nb::object numpy_array(const Column &c) {
    auto *values = new std::vector<T>();
    nb::capsule owner(values, [](void *p) noexcept { delete static_cast<std::vector<T> *>(p); });
    values->reserve(c.size());
    for (std::size_t k = 0; k < c.chunk_count(); ++k) {
        const Chunk &chunk = c.chunk(k);
        const T *first = static_cast<const T *>(c.values(chunk));
        values->insert(values->end(), first, first + chunk.size);
    }
    return nb::cast(
        nb::ndarray<nb::numpy, T, nb::ndim<1>>(values->data(), {values->size()}, owner));
}

}  // namespace

nb::object to_pandas(const TablePtr &t) {
    nb::object pd = optional_module("pandas", "pandas", "to_pandas()");
    nb::object categorical = steal_or_throw(PyObject_GetAttrString(pd.ptr(), "Categorical"));
    nb::dict data;
    for (const Column &c : t->columns) {
        nb::object v;
        const std::size_t n = c.size();
        switch (c.type()) {
            case Type::Int64:
                v = numpy_array<std::int64_t>(c);
                break;
            case Type::Int32:
                v = numpy_array<std::int32_t>(c);
                break;
            case Type::Float64:
                v = numpy_array<double>(c);
                break;
            case Type::Bool:
                v = column_values(c);
                break;
            case Type::Text: {
                nb::list codes, categories;
                for (std::size_t i = 0; i < n; ++i) codes.append(c.valid(i) ? c.code_at(i) : -1);
                for (std::size_t k = 0; k < c.dictionary_size(); ++k) {
                    categories.append(str_from(c.entry((std::int32_t)k)));
                }
                v = categorical.attr("from_codes")(codes, categories);
                break;
            }
        }
        data[c.name().c_str()] = v;
    }
    nb::object frame = pd.attr("DataFrame")(data);
    frame.attr("attrs")["units"] = units_of(*t);
    return frame;
}

namespace {

// The pieces of the CSV text, written to `stream` (str pieces for a text stream). A binary
// stream that takes less than a piece (a raw, unbuffered file) is given the rest again.
void write_csv_to(const Table &t, bool units_in_header, nb::handle stream, bool text) {
    PyObject *write = interned("write");
    marlox::table::write_csv(t, units_in_header, [&](std::string_view piece) {
        if (text) {
            nb::object data = str_from(piece);
            nb::object r =
                steal_or_throw(PyObject_CallMethodOneArg(stream.ptr(), write, data.ptr()));
            return;
        }
        while (!piece.empty()) {
            nb::object data =
                steal_or_throw(PyBytes_FromStringAndSize(piece.data(), (Py_ssize_t)piece.size()));
            nb::object r =
                steal_or_throw(PyObject_CallMethodOneArg(stream.ptr(), write, data.ptr()));
            if (!PyLong_Check(r.ptr())) return;  // a writer that does not count takes it all
            const Py_ssize_t n = PyLong_AsSsize_t(r.ptr());
            if (n == -1 && PyErr_Occurred()) throw_python();
            if (n <= 0 || (std::size_t)n > piece.size()) {
                raise_formatted(PyExc_OSError, "write() took %zd of %zu bytes", n, piece.size());
            }
            piece.remove_prefix((std::size_t)n);
        }
    });
}

// Runs `body` with the Python error that is set (if any) put aside, and restores it after:
// clean-up after a failure must not replace the failure.
template <class F>
void keeping_error(F &&body) noexcept {
    PyObject *type, *value, *tb;
    PyErr_Fetch(&type, &value, &tb);
    try {
        body();
    } catch (...) {
    }
    PyErr_Clear();
    PyErr_Restore(type, value, tb);
}

}  // namespace

// A path is written under a temporary name in the same directory, made durable and then
// renamed over the target, so that a failure (a full disk, an interrupted write) leaves no
// truncated table under the target's name and any earlier file there as it was. A target that
// is not a regular file (a device, a pipe) is written in place: it cannot be renamed over; so
// is a file in a directory where no new file may be made.
// Every error, that of the final close included, is raised.
void to_csv(const Table &t, nb::handle target, bool units_in_header) {
    nb::module_ io = nb::module_::import_("io");
    if (PyObject_HasAttrString(target.ptr(), "write")) {
        nb::object text_base = io.attr("TextIOBase");
        const int is_text = PyObject_IsInstance(target.ptr(), text_base.ptr());
        if (is_text < 0) throw_python();
        write_csv_to(t, units_in_header, target, is_text == 1);
        return;
    }
    nb::module_ os = nb::module_::import_("os");
    nb::object path = os.attr("path").attr("realpath")(os.attr("fspath")(target));
    nb::module_ stat = nb::module_::import_("stat");
    nb::object mode = nb::none();  // of the file that is replaced
    try {
        mode = os.attr("stat")(path).attr("st_mode");
    } catch (nb::python_error &e) {
        if (!e.matches(PyExc_FileNotFoundError)) throw;
    }
    auto in_place = [&] {
        nb::object f = io.attr("open")(path, "wb");
        try {
            write_csv_to(t, units_in_header, f, false);
        } catch (...) {
            keeping_error([&] { f.attr("close")(); });
            throw;
        }
        f.attr("close")();
    };
    if (!mode.is_none() && !nb::cast<bool>(stat.attr("S_ISREG")(mode))) return in_place();
    nb::object split = os.attr("path").attr("split")(path);
    nb::object directory = split[0], name = split[1];
    nb::object token = nb::module_::import_("secrets").attr("token_hex")(4);
    nb::object temporary =
        os.attr("path").attr("join")(directory, nb::str(".{}.{}.tmp").format(name, token));
    nb::object f;
    try {
        f = io.attr("open")(temporary, "xb");  // exclusive: never someone else's file
    } catch (nb::python_error &e) {
        // A directory that takes no new file, around a file that may be rewritten: in place.
        if (mode.is_none() || !e.matches(PyExc_PermissionError)) throw;
        return in_place();
    }
    try {
        write_csv_to(t, units_in_header, f, false);
        f.attr("flush")();
        os.attr("fsync")(f.attr("fileno")());
        f.attr("close")();
        if (!mode.is_none()) os.attr("chmod")(temporary, stat.attr("S_IMODE")(mode));
        os.attr("replace")(temporary, path);
    } catch (...) {
        keeping_error([&] { f.attr("close")(); });
        keeping_error([&] { os.attr("unlink")(temporary); });
        throw;
    }
}

namespace {

// A capsule's destructor: the exported struct is released unless its consumer took it.
template <class S>
void drop_capsule(PyObject *cap) {
    auto *p = static_cast<S *>(PyCapsule_GetPointer(cap, PyCapsule_GetName(cap)));
    if (p == nullptr) return PyErr_Clear();
    if (p->release != nullptr) p->release(p);
    delete p;
}

// A PyCapsule named `name` around a new S that `fill` exports into.
template <class S, class F>
nb::object exported(const char *name, F &&fill) {
    auto *s = new S{};
    try {
        fill(s);
    } catch (...) {
        delete s;
        throw;
    }
    PyObject *cap = PyCapsule_New(s, name, &drop_capsule<S>);
    if (cap == nullptr) {
        s->release(s);
        delete s;
        throw_python();
    }
    return nb::steal(cap);
}

}  // namespace

nb::object schema_capsule(const Table &t) {
    return exported<ArrowSchema>("arrow_schema",
                                 [&](ArrowSchema *s) { marlox::table::export_schema(t, s); });
}

nb::object stream_capsule(const TablePtr &t) {
    return exported<ArrowArrayStream>(
        "arrow_array_stream", [&](ArrowArrayStream *s) { marlox::table::export_stream(t, s); });
}

}  // namespace marlox::py::results
