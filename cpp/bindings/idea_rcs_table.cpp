// The check table of a result file for Python: the CheckTable and ResultTable classes (their
// conversions are in idea_rcs_table_convert.cpp) and check_table() (its scan is in
// idea_rcs_check_table.cpp).
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <string>
#include <vector>

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "core/governing.hpp"
#include "core/json.hpp"
#include "core/table_bytes.hpp"
#include "core/table_html.hpp"

namespace marlox::py::results {

using marlox::table::Column;
using marlox::table::Table;
using marlox::table::Type;

// The serialised model: `model` is an OpenModel or Model, or the input XML it was written to
// (a path, bytes or a binary stream, read by OpenModel.from_xml).
marlox::json::Value model_document(nb::handle model) {
    nb::object m = nb::borrow(model);
    if (!PyObject_HasAttrString(model.ptr(), "_serialize")) {
        nb::object open_model =
            nb::module_::import_("marlox.external.idea_rcs.idea_rcs").attr("OpenModel");
        m = open_model.attr("from_xml")(model);
    }
    nb::object text = nb::module_::import_("json").attr("dumps")(m.attr("_serialize")());
    return marlox::json::parse(nb::cast<std::string>(text));
}

namespace {

constexpr std::size_t kHtmlRows = 20;  // the rows a notebook shows of a table

// Pickling: a table as bytes (core/table_bytes.hpp), written and read without the lock.
nb::bytes table_bytes(const TablePtr &t) {
    std::string out;
    {
        nb::gil_scoped_release release;
        out = marlox::table::to_bytes(*t);
    }
    return nb::bytes(out.data(), out.size());
}

TablePtr table_from(const nb::bytes &state) {
    const std::string_view in(state.c_str(), state.size());
    Table t;
    {
        nb::gil_scoped_release release;
        t = marlox::table::from_bytes(in);
    }
    return std::make_shared<const Table>(std::move(t));
}

nb::object result_table(Table &&t) {
    ResultTable r;
    r.table = std::make_shared<const Table>(std::move(t));
    return nb::cast(std::move(r));
}

const char *const kTableDoc =
    R"(A table of results: typed columns, one row per item, text columns dictionary-encoded.

It implements the Arrow PyCapsule interface (``__arrow_c_stream__``, ``__arrow_c_schema__``),
so ``pyarrow.table(t)``, ``polars.DataFrame(t)``, duckdb and other Arrow consumers take it
without a copy; the unit of each column is in its field metadata under "unit" (also
``units``). ``to_pandas()``, ``to_polars()`` and ``to_csv()`` convert it; ``to_pylist()`` and
``column()`` give Python values, None where a value is missing.)";

const char *const kCheckTableDoc =
    R"(The check table of a result file (see check_table()): one row per check section, extreme
and check item, in document order.

Columns: "section" (id), "extreme" (1-based, document order), "family" (the "ResultType"
text), "check" (the calculation type, "Check"), "type_check" (the stress limitation check,
"TypeCheck"), "result" (the verdict text), "check_value" (unity check), "limit_check_value",
the internal forces "N", "Qy", "Qz" (force) and "Mx", "My", "Mz" (moment), and the numbers of
non-conformities by severity: "info_count", "warning_count", "error_count",
"terminated_error_count".

Then the values behind the check, where the item states them (None elsewhere): the capacity's
ultimate forces "Fu_N" ... "Fu_Mz"; shear "VEd", "VRd", "VRd_c", "VRd_s", "VRd_max" (also
fatigue's shear items); torsion "TEd", "TRd", "TRd_c", "TRd_s", "TRd_max"; the crack width "w"
and its limit "w_lim"; the stress limitation's "stress" and "stress_limit"; detailing's
"check_value_longitudinal" and "check_value_shear_reinforcement"; fatigue's
"decision_method".

Last, what the model names (None without a model): "section_name", "member", "position" (the
section's place among its member's check sections, from 1), "reinforced_section" and
"extreme_name".)";

const char *const kCheckTableFnDoc =
    R"(Read the check table of a result file in one streaming pass (a large file in pieces, side
by side).

:param source: the result file: a path, its bytes, a binary stream (read from where it
    stands) or a ``marlox.core.File``.
:param model: the model the result file was run from, for the names of sections, members,
    reinforced sections and extremes: an ``OpenModel`` or ``Model``, or the input XML it was
    written to (a path, its bytes or a binary stream). Without it those columns are None (the
    result file names nothing).
:param sections: the ids of the sections to keep (all when None); an id that the file does
    not hold raises ParsingError naming it.
:param families: the check families to keep, by their "ResultType" name ("Capacity",
    "CrackWidth", ...; case and underscores do not matter), all when None.
:param units: "SI" (as the file: N, N·m) or "engineering" (kN, kN·m); unity checks are
    unitless either way.
:param progress: called with the number of bytes read, after each piece of the file.
:param threads: the threads that read one large file (a path, a ``File``, a file opened for
    binary reading, or bytes; of several MB) side by side, each a part of it between two
    sections: None for the processors this process may run on, 1 to read it in one pass. The
    table, and any error, are the same.
:raises xml.etree.ElementTree.ParseError: for a file that is not well-formed XML, as the
    streaming parser raises it for the same bytes.
:raises ValueError: for an unknown family or units, a value that is not a number, an
    IDEA StatiCa RCS input XML document (it is not a result file), a section kept whose id
    does not fit the 64-bit "section" column, or a model that the result file does not
    belong to (a section id the model lacks, more extremes than the model gives a section),
    naming the ids.
:raises ParsingError: for a requested section that the file does not hold.
:raises RuntimeError: for a file that changed while it was read in pieces.)";

}  // namespace

void bind_table(nb::module_ &m) {
    using namespace nb::literals;

    nb::class_<ResultTable>(m, "ResultTable", kTableDoc)
        .def("__len__", [](const ResultTable &t) { return t.table->rows(); })
        .def(
            "__getstate__", [](const ResultTable &t) { return table_bytes(t.table); },
            nb::sig("def __getstate__(self) -> object"))
        .def(
            "__setstate__",
            [](ResultTable &t, const nb::bytes &state) { new (&t) ResultTable{table_from(state)}; },
            nb::sig("def __setstate__(self, state: object) -> None"))
        .def_prop_ro(
            "num_rows", [](const ResultTable &t) { return t.table->rows(); }, "The number of rows.")
        .def_prop_ro(
            "nbytes", [](const ResultTable &t) { return t.table->nbytes(); },
            "The bytes that the table's columns hold.")
        .def_prop_ro(
            "column_names",
            [](const ResultTable &t) {
                std::vector<std::string> names;
                for (const Column &c : t.table->columns) names.push_back(c.name());
                return names;
            },
            nb::for_getter(nb::sig("def column_names(self, /) -> list[str]")),
            "The names of the columns, in order.")
        .def_prop_ro(
            "units", [](const ResultTable &t) { return units_of(*t.table); },
            nb::for_getter(nb::sig("def units(self, /) -> dict[str, str | None]")),
            "The unit of each column (\"1\" for unity checks), None for ids, texts and counts.")
        .def(
            "column",
            [](const ResultTable &t, nb::handle name) {
                return column_values(column_named(*t.table, name));
            },
            "name"_a, nb::sig("def column(self, name: str) -> list[typing.Any]"),
            "The values of one column.\n\n:raises KeyError: if the table has no such column.")
        .def(
            "to_pylist", [](const ResultTable &t) { return to_pylist(*t.table); },
            nb::sig("def to_pylist(self) -> list[dict[str, typing.Any]]"),
            "The rows as dicts, keys in column order.")
        .def(
            "__arrow_c_schema__", [](const ResultTable &t) { return schema_capsule(*t.table); },
            nb::sig("def __arrow_c_schema__(self) -> object"),
            "The schema, as an Arrow PyCapsule (\"arrow_schema\").")
        .def(
            "__arrow_c_stream__",
            [](const ResultTable &t, nb::handle) { return stream_capsule(t.table); },
            "requested_schema"_a.none() = nb::none(),
            nb::sig("def __arrow_c_stream__(self, requested_schema: object | None = None) -> "
                    "object"),
            "The rows as an Arrow C stream in a PyCapsule (\"arrow_array_stream\"). The table "
            "has one schema: a requested schema is not applied.")
        .def(
            "to_pandas", [](const ResultTable &t) { return to_pandas(t.table); },
            nb::sig("def to_pandas(self) -> typing.Any"),
            "A pandas DataFrame (text columns categorical, units in ``attrs[\"units\"]``).\n\n"
            ":raises ImportError: without pandas (the 'pandas' extra).")
        .def(
            "to_polars",
            [](nb::handle self) {
                nb::object pl = optional_module("polars", "polars", "to_polars()");
                return pl.attr("DataFrame")(self);
            },
            nb::sig("def to_polars(self) -> typing.Any"),
            "A polars DataFrame, through the Arrow stream.\n\n"
            ":raises ImportError: without polars (the 'polars' extra).")
        .def(
            "to_csv",
            [](const ResultTable &t, nb::handle target, bool units_in_header) {
                to_csv(*t.table, target, units_in_header);
            },
            "path_or_stream"_a, nb::kw_only(), "units_in_header"_a = true,
            nb::sig("def to_csv(self, path_or_stream: str | os.PathLike[str] | typing.IO[typing."
                    "Any], *, units_in_header: bool = True) -> None"),
            "Write the table as CSV (UTF-8, CRLF): to a path, a binary stream or a text stream.\n"
            "The header names each column, followed by its unit in brackets when it has one.\n\n"
            "A path is written under a temporary name beside it and renamed when complete, so "
            "that a failure leaves no partial table there (a device or a pipe is written in "
            "place).\n\n"
            ":raises OSError: when the table cannot be written whole (a full disk, for one).")
        .def(
            "_repr_html_",
            [](const ResultTable &t) {
                return marlox::table::to_html(
                    *t.table, "ResultTable: " + std::to_string(t.table->rows()) + " rows",
                    kHtmlRows);
            },
            "The first rows as an HTML table (units in the headers, failures highlighted), "
            "as notebooks show it.")
        .def("__repr__", [](const ResultTable &t) {
            return "<ResultTable: " + std::to_string(t.table->rows()) + " rows, " +
                   std::to_string(t.table->columns.size()) + " columns>";
        });

    nb::class_<CheckTable, ResultTable>(m, "CheckTable", kCheckTableDoc)
        .def(
            "__getstate__",
            [](const CheckTable &t) {
                return nb::make_tuple(table_bytes(t.table), table_bytes(t.overall), t.unit_system);
            },
            nb::sig("def __getstate__(self) -> object"))
        .def(
            "__setstate__",
            [](CheckTable &t, const std::tuple<nb::bytes, nb::bytes, std::string> &state) {
                CheckTable made;
                made.table = table_from(std::get<0>(state));
                made.overall = table_from(std::get<1>(state));
                made.unit_system = std::get<2>(state);
                new (&t) CheckTable(std::move(made));
            },
            nb::sig("def __setstate__(self, state: object) -> None"))
        .def_prop_ro(
            "unit_system", [](const CheckTable &t) { return t.unit_system; },
            "\"SI\" or \"engineering\", as asked for.")
        .def_prop_ro(
            "overall", [](const CheckTable &t) { return ResultTable{t.overall}; },
            "The per-extreme overview items (\"Overall\"): section, extreme, family, result, "
            "check_value.")
        .def(
            "governing",
            [](const CheckTable &t, bool per_family) {
                return result_table(marlox::results::governing(*t.table, per_family));
            },
            nb::kw_only(), "per_family"_a = false,
            nb::sig("def governing(self, *, per_family: bool = False) -> ResultTable"),
            "The governing check of every section, worst first: the worst item of the section "
            "(with ``per_family``: of each of its families, the section's worst marked in "
            "\"governing\").\n\n"
            "A failed verdict (Failed, FailedWithError) is worse than any other; a check that "
            "ran is worse than one that did not (NotDone, CheckIsOff, CheckIsNotNecesssary); "
            "then the larger check value; on a tie the earlier in the file. The non-conformity "
            "counts are summed over the group, and \"items\", \"failed_items\" and "
            "\"not_done_items\" count its items, so that errors and checks that did not run "
            "are never hidden behind the governing one.")
        .def(
            "_repr_html_",
            [](const CheckTable &t) {
                return marlox::table::to_html(*t.table,
                                              "CheckTable: " + std::to_string(t.table->rows()) +
                                                  " rows, units " + t.unit_system,
                                              kHtmlRows);
            },
            "The first rows as an HTML table (units in the headers, failures highlighted), "
            "as notebooks show it.")
        .def("__repr__", [](const CheckTable &t) {
            return "<CheckTable: " + std::to_string(t.table->rows()) + " rows, units " +
                   t.unit_system + ">";
        });

    m.def("_check_table_batch", &check_table_batch, "sources"_a, "sections"_a.none(),
          "families"_a.none(), "units"_a,
          nb::sig("def _check_table_batch(sources: collections.abc.Sequence[bytes | str | "
                  "os.PathLike[str]], sections: collections.abc.Iterable[int] | int | None, "
                  "families: collections.abc.Iterable[str] | str | None, units: str) -> "
                  "list[CheckTable | None]"),
          "The check tables of many small result files, each read in one pass with the "
          "interpreter lock released once for all; None where check_table() must read the "
          "file itself (it then raises what it raises).");
    m.def("_set_min_piece", &set_min_piece, "bytes"_a,
          "The smallest piece that check_table() cuts one file into for its threads (tests cut "
          "small files); returns the one before.");
    m.def(
        "check_table", &check_table, "source"_a, nb::kw_only(), "model"_a.none() = nb::none(),
        "sections"_a.none() = nb::none(), "families"_a.none() = nb::none(), "units"_a = "SI",
        "progress"_a.none() = nb::none(), "threads"_a.none() = nb::none(),
        nb::sig(
            "def check_table(source: str | os.PathLike[str] | bytes | typing.BinaryIO | "
            "marlox.core.File, *, model: _Model | str | os.PathLike[str] | bytes | "
            "typing.BinaryIO | None = None, sections: collections.abc.Iterable[int] | int | None = "
            "None, families: collections.abc.Iterable[str] | str | None = None, units: "
            "typing.Literal['SI', 'engineering'] "
            "= 'SI', progress: collections.abc.Callable[[int], object] | None = None, threads: "
            "int | None = None) -> CheckTable"),
        kCheckTableFnDoc);
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_table(nb::module_ &m) { results::bind_table(m); }
}  // namespace marlox::py
