// The tables of a study for Python: _stack_tables(), which turns each variant's key values
// (its number and parameters) into typed key columns and stacks the variants' tables behind
// them in the core (core/table.hpp, stack_keyed).
#include <nanobind/stl/string.h>

#include <string>
#include <utility>
#include <vector>

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "core/error.hpp"

namespace marlox::py::results {

using marlox::table::Column;
using marlox::table::Table;
using marlox::table::Type;

namespace {

// The kind of a key value; a column takes the widest kind of its values (int and float make
// float; any other mixture is refused).
enum class Kind { None, Bool, Int, Float, Text, Other };

Kind kind_of(PyObject *v) {
    if (v == Py_None) return Kind::None;
    if (PyBool_Check(v)) return Kind::Bool;
    if (PyLong_Check(v)) return Kind::Int;
    if (PyFloat_Check(v)) return Kind::Float;
    if (PyUnicode_Check(v)) return Kind::Text;
    return Kind::Other;
}

const char *kind_name(Kind k) {
    switch (k) {
        case Kind::Bool:
            return "bool";
        case Kind::Int:
            return "int";
        case Kind::Float:
            return "float";
        case Kind::Text:
            return "str";
        default:
            return "None";
    }
}

std::string repr_of(PyObject *o) {
    nb::object shown = steal_or_throw(PyObject_Repr(o));
    return nb::cast<std::string>(shown);
}

// The key columns of `keys` (a sequence of dicts of str to int, float, bool, str or None), one
// row per dict, the columns in the order their names first appear.
Table key_table(nb::handle keys) {
    nb::object seq = steal_or_throw(PySequence_Fast(keys.ptr(), "keys must be a sequence"));
    const Py_ssize_t n = PySequence_Fast_GET_SIZE(seq.ptr());
    PyObject **rows = PySequence_Fast_ITEMS(seq.ptr());
    std::vector<std::pair<nb::object, Kind>> names;  // name, widest kind
    for (Py_ssize_t i = 0; i < n; ++i) {
        if (!PyDict_Check(rows[i])) {
            throw marlox::Error(ErrorKind::Type, "the parameters of variant " + std::to_string(i) +
                                                     " are not a dict: " + repr_of(rows[i]));
        }
        PyObject *name, *value;
        Py_ssize_t pos = 0;
        while (PyDict_Next(rows[i], &pos, &name, &value)) {
            if (!PyUnicode_Check(name)) {
                throw marlox::Error(ErrorKind::Type,
                                    "a parameter name is not a str: " + repr_of(name));
            }
            const Kind k = kind_of(value);
            const std::string shown = repr_of(name);
            if (k == Kind::Other) {
                throw marlox::Error(ErrorKind::Type,
                                    "the parameter " + shown + " of variant " + std::to_string(i) +
                                        " is " + repr_of(value) +
                                        "; parameters are int, float, bool, str or None");
            }
            std::size_t c = 0;
            while (c < names.size()) {
                const int same = PyObject_RichCompareBool(names[c].first.ptr(), name, Py_EQ);
                if (same < 0) throw_python();
                if (same) break;
                ++c;
            }
            if (c == names.size()) names.emplace_back(nb::borrow(name), Kind::None);
            Kind &col = names[c].second;
            if (k == Kind::None || k == col) continue;
            const bool numbers =
                (k == Kind::Int || k == Kind::Float) && (col == Kind::Int || col == Kind::Float);
            if (col == Kind::None || numbers) {
                col = numbers ? Kind::Float : k;
            } else {
                throw marlox::Error(ErrorKind::Type, "the parameter " + shown + " is " +
                                                         kind_name(col) + " in one variant and " +
                                                         kind_name(k) + " in another");
            }
        }
    }
    Table t;
    for (auto &[name, kind] : names) {
        Type type = Type::Text;
        if (kind == Kind::Bool) type = Type::Bool;
        if (kind == Kind::Int) type = Type::Int64;
        if (kind == Kind::Float) type = Type::Float64;
        t.columns.emplace_back(nb::cast<std::string>(name), type);
    }
    for (Py_ssize_t i = 0; i < n; ++i) {
        for (std::size_t c = 0; c < names.size(); ++c) {
            Column &col = t.columns[c];
            PyObject *v = PyDict_GetItemWithError(rows[i], names[c].first.ptr());
            if (v == nullptr && PyErr_Occurred()) throw_python();
            if (v == nullptr || v == Py_None) {
                col.append_null();
            } else if (col.type() == Type::Bool) {
                col.append_bool(v == Py_True);
            } else if (col.type() == Type::Int64) {
                const long long x = PyLong_AsLongLong(v);
                if (x == -1 && PyErr_Occurred()) throw_python();
                col.append_int(x);
            } else if (col.type() == Type::Float64) {
                const double x = PyFloat_AsDouble(v);
                if (x == -1.0 && PyErr_Occurred()) throw_python();
                col.append_float(x);
            } else {
                Py_ssize_t size = 0;
                const char *s = PyUnicode_AsUTF8AndSize(v, &size);
                if (s == nullptr) throw_python();
                col.append_text(std::string_view(s, (std::size_t)size));
            }
        }
    }
    return t;
}

nb::object stack_tables(nb::handle keys, nb::handle tables, const ResultTable &like) {
    Table key_rows = key_table(keys);
    nb::object seq = steal_or_throw(PySequence_Fast(tables.ptr(), "tables must be a sequence"));
    const Py_ssize_t n = PySequence_Fast_GET_SIZE(seq.ptr());
    std::vector<TablePtr> held;  // kept alive while the core reads them
    std::vector<const Table *> parts;
    for (Py_ssize_t i = 0; i < n; ++i) {
        nb::handle item(PySequence_Fast_GET_ITEM(seq.ptr(), i));
        held.push_back(nb::cast<const ResultTable &>(item).table);
        parts.push_back(held.back().get());
    }
    Table out;
    {
        nb::gil_scoped_release release;
        out = marlox::table::stack_keyed(key_rows, parts, *like.table);
    }
    ResultTable r;
    r.table = std::make_shared<const Table>(std::move(out));
    return nb::cast(std::move(r));
}

}  // namespace

void bind_study(nb::module_ &m) {
    using namespace nb::literals;
    m.def("_stack_tables", &stack_tables, "keys"_a, "tables"_a, "like"_a,
          nb::sig("def _stack_tables(keys: collections.abc.Sequence[dict[str, int | float | bool "
                  "| str | None]], tables: collections.abc.Sequence[ResultTable], like: "
                  "ResultTable) -> ResultTable"),
          "The rows of ``tables`` one after another, each led by the key columns of its table's "
          "dict in ``keys`` (the columns typed by their values: int, float (int and float "
          "mixed), bool or str; None where a value is missing). ``like`` gives the columns of "
          "the tables, also when there are none.\n\n"
          ":raises TypeError: for a key value of another type, or of different types.\n"
          ":raises ValueError: for a key named like a column of the tables, tables of other "
          "columns, or not as many keys as tables.");
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_study(nb::module_ &m) { results::bind_study(m); }
}  // namespace marlox::py
