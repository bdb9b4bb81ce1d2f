// The tables of the check table for Python: the objects behind ResultTable and CheckTable, and
// their conversions to Python values, pandas, CSV and Arrow PyCapsules.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "bindings/idea_rcs_results.hpp"
#include "core/check_table.hpp"
#include "core/json.hpp"
#include "core/table.hpp"

namespace marlox::py::results {

using TablePtr = std::shared_ptr<const marlox::table::Table>;

struct ResultTable {
    TablePtr table;
};

struct CheckTable : ResultTable {
    TablePtr overall;
    std::string unit_system;
};

// Close `f` (after an error too, keeping that error).
struct Closer {
    nb::object f;
    ~Closer() {
        if (!f.is_valid()) return;
        PyObject *type, *value, *tb;
        PyErr_Fetch(&type, &value, &tb);
        PyObject *r = PyObject_CallMethod(f.ptr(), "close", nullptr);
        if (r == nullptr) PyErr_WriteUnraisable(f.ptr());
        Py_XDECREF(r);
        PyErr_Restore(type, value, tb);
    }
};

// The serialised model of an OpenModel or Model, or of the input XML it was written to (a path,
// bytes or a binary stream, read by OpenModel.from_xml).
marlox::json::Value model_document(nb::handle model);

// check_table(): the check table of a result file (see its docstring in idea_rcs_table.cpp).
nb::object check_table(nb::handle source, nb::handle model, nb::handle sections,
                       nb::handle families, nb::handle units, nb::handle progress,
                       nb::handle threads);
// The check tables of many small result files (bytes or paths) in one pass each, the lock
// released once; None for a file that check_table() must read itself (idea_rcs_check_table.cpp).
nb::list check_table_batch(nb::handle sources, nb::handle sections, nb::handle families,
                           nb::handle units);

// The smallest piece a document is cut into for check_table() on several threads (2 MiB; tests
// set it lower); returns the one before.
std::uint64_t set_min_piece(std::uint64_t bytes);

// Read the result file `source` (a path or a binary stream) as check_table() does, in
// engineering units with `model`'s names and the non-conformities kept, calling `each` with the
// builder once a section's rows are in it; a file that does not belong to the model raises as
// check_table() raises.
void scan_check_sections(nb::handle source, const marlox::results::ModelContext &model,
                         const std::function<void(marlox::results::CheckTableBuilder &)> &each);

// The column of that name, or KeyError.
const marlox::table::Column &column_named(const marlox::table::Table &t, nb::handle name);
// The Python values of a column: int, float, bool or str, None where missing.
nb::object column_values(const marlox::table::Column &c);
nb::object to_pylist(const marlox::table::Table &t);
// {column: unit or None}
nb::dict units_of(const marlox::table::Table &t);
nb::object to_pandas(const TablePtr &t);
// CSV to a path, a binary stream or a text stream.
void to_csv(const marlox::table::Table &t, nb::handle target, bool units_in_header);
// The Arrow PyCapsules: "arrow_schema" and "arrow_array_stream".
nb::object schema_capsule(const marlox::table::Table &t);
nb::object stream_capsule(const TablePtr &t);

}  // namespace marlox::py::results
