// The check table of a result file for Python: check_table(), which drives the streaming
// parser's scanner and the core's table builder (core/check_table.hpp), and the CheckTable and
// ResultTable classes (their conversions are in idea_rcs_table_convert.cpp).
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_results_expat.hpp"
#include "bindings/idea_rcs_stream_use.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "core/check_table.hpp"
#include "core/error.hpp"
#include "core/governing.hpp"
#include "core/json.hpp"
#include "core/model_context.hpp"
#include "core/table_bytes.hpp"
#include "core/table_html.hpp"

namespace marlox::py::results {

using marlox::results::CheckTableBuilder;
using marlox::results::kKnownFamilies;
using marlox::results::NumberError;
using marlox::results::Units;
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

constexpr Py_ssize_t kReadSize = 1 << 18;
constexpr std::size_t kHtmlRows = 20;  // the rows a notebook shows of a table

// ---------------------------------------------------------------------------------------------
// Arguments

Units units_argument(nb::handle units) {
    if (PyUnicode_Check(units.ptr())) {
        std::string u = nb::cast<std::string>(units);
        std::transform(u.begin(), u.end(), u.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        if (u == "si") return Units::SI;
        if (u == "engineering") return Units::Engineering;
    }
    nb::object shown = steal_or_throw(PyObject_Repr(units.ptr()));
    throw marlox::Error(ErrorKind::Value,
                        "units must be 'SI' or 'engineering', not " + nb::cast<std::string>(shown));
}

// A family by its "ResultType" text, in any case, with or without underscores ("crack_width").
std::string family_argument(nb::handle name) {
    std::string wanted;
    if (PyUnicode_Check(name.ptr())) {
        for (char c : nb::cast<std::string>(name)) {
            if (c != '_') wanted.push_back((char)std::tolower((unsigned char)c));
        }
        for (const char *known : kKnownFamilies) {
            std::string k(known);
            std::transform(k.begin(), k.end(), k.begin(),
                           [](unsigned char c) { return std::tolower(c); });
            if (k == wanted) return known;
        }
    }
    std::string list;
    for (const char *known : kKnownFamilies)
        list += (list.empty() ? "" : ", ") + std::string(known);
    nb::object shown = steal_or_throw(PyObject_Repr(name.ptr()));
    throw marlox::Error(ErrorKind::Value, "unknown check family " + nb::cast<std::string>(shown) +
                                              "; known families: " + list);
}

// The items of `arg` (None: none; one str or int: itself).
std::vector<nb::object> items_of(nb::handle arg) {
    std::vector<nb::object> out;
    if (arg.is_none()) return out;
    if (PyUnicode_Check(arg.ptr()) || PyLong_Check(arg.ptr())) {
        out.push_back(nb::borrow(arg));
        return out;
    }
    nb::object it = steal_or_throw(PyObject_GetIter(arg.ptr()));
    while (PyObject *item = PyIter_Next(it.ptr())) out.push_back(nb::steal(item));
    if (PyErr_Occurred()) throw_python();
    return out;
}

// ---------------------------------------------------------------------------------------------
// The scan

// A section id as a Python int, and whether it fits the table's 64-bit "section" column
// (`value`): the streaming parser reads any integer, the table holds what fits.
struct SectionIdValue {
    nb::object id;
    std::int64_t value = 0;
    bool fits = false;
};

SectionIdValue section_id_value(nb::object id) {
    SectionIdValue out;
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(id.ptr(), &overflow);
    if (v == -1 && PyErr_Occurred()) throw_python();
    out.id = std::move(id);
    out.value = v;
    out.fits = overflow == 0;
    return out;
}

// int(section.find("SectionId").text), as the streaming parser reads it.
SectionIdValue section_id(const Dom &d, NodeId section) {
    const NodeId id = d.child(section, marlox::results::kSectionId);
    if (id == kNoNode) raise_none_attribute("text");
    const Slice t = d.text(id);
    nb::object text = t.absent() ? nb::none() : str_from(d.str(t));
    return section_id_value(steal_or_throw(PyNumber_Long(text.ptr())));
}

bool same_int(const nb::object &a, const nb::object &b) {
    const int r = PyObject_RichCompareBool(a.ptr(), b.ptr(), Py_EQ);
    if (r < 0) throw_python();
    return r == 1;
}

std::string shown(const nb::object &o) {
    return nb::cast<std::string>(steal_or_throw(PyObject_Str(o.ptr())));
}

// float(text), for the texts the core leaves to the interpreter. The table builder runs without
// the interpreter lock: this takes it.
bool host_number(std::string_view text, double &out) {
    nb::gil_scoped_acquire acquire;
    nb::object s = nb::steal(PyUnicode_DecodeUTF8(text.data(), (Py_ssize_t)text.size(), "strict"));
    PyObject *f = s.is_valid() ? PyFloat_FromString(s.ptr()) : nullptr;
    if (f == nullptr) {
        PyErr_Clear();
        return false;
    }
    out = PyFloat_AS_DOUBLE(f);
    Py_DECREF(f);
    return true;
}

[[noreturn]] void raise_number_error(const NumberError &e) {
    nb::object text =
        steal_or_throw(PyUnicode_DecodeUTF8(e.text.data(), (Py_ssize_t)e.text.size(), "replace"));
    nb::object shown = steal_or_throw(PyObject_Repr(text.ptr()));
    throw marlox::Error(ErrorKind::Value, "section " + std::to_string(e.section) + ", extreme " +
                                              std::to_string(e.extreme) + ", " + e.family +
                                              " check: " + e.field +
                                              " is not a number: " + nb::cast<std::string>(shown));
}

struct Scan {
    Scan(std::shared_ptr<DocState> d, CheckTableBuilder b)
        : doc(std::move(d)), builder(std::move(b)) {}

    std::shared_ptr<DocState> doc;
    CheckTableBuilder builder;
    bool all_sections = true;
    std::vector<SectionIdValue> wanted;  // the requested sections, in the caller's order
    std::vector<bool> seen;
    bool kind_checked = false;
    // Called with the builder once a section's rows are in it (it may take them).
    std::function<void(CheckTableBuilder &)> after_section;

    // Rows of the sections the parser has finished; each is then cleared, as the streaming
    // parser clears a section when its consumer moves on, and the tree let go.
    void take_sections() {
        auto &builder_ = doc->scanner->builder();
        auto &ended = builder_.ended_sections();
        while (!ended.empty()) {
            const NodeId node = ended.front();
            ended.pop_front();
            const SectionIdValue id = section_id(doc->dom(), node);
            bool keep = all_sections;
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                const SectionIdValue &w = wanted[i];
                if (w.fits && id.fits ? w.value == id.value
                                      : w.fits == id.fits && same_int(w.id, id.id)) {
                    keep = seen[i] = true;
                }
            }
            if (keep) {
                if (!id.fits) {
                    throw marlox::Error(ErrorKind::Value,
                                        "section " + shown(id.id) +
                                            ": the id does not fit the check table's 64-bit "
                                            "section column");
                }
                // The rows are built without the interpreter lock, so that threads reading
                // other files build theirs meanwhile (the document is this scan's own).
                bool bad_number = false;
                NumberError error;
                {
                    nb::gil_scoped_release release;
                    try {
                        builder.add_section(doc->dom(), node, id.value);
                    } catch (const NumberError &e) {
                        bad_number = true;
                        error = e;
                    }
                }
                if (bad_number) raise_number_error(error);
                if (after_section) after_section(builder);
            }
            builder_.clear(node);
        }
        builder_.collect();
    }

    // An input XML document (IDEA's OpenModel) is refused once its first element is known: it
    // is well-formed and holds no check sections, and would read as an empty table.
    void check_kind() {
        const std::string &root = doc->scanner->builder().root_name();
        if (kind_checked || root.empty()) return;
        kind_checked = true;
        const std::string_view name = std::string_view(root).substr(root.rfind('}') + 1);
        if (name == "OpenModel" || name == "OpenModelContainer") {
            throw marlox::Error(ErrorKind::Value,
                                "the document is IDEA StatiCa RCS input XML (<" +
                                    std::string(name) +
                                    ">), not a result file: check_table() reads the results "
                                    "of a run");
        }
    }

    // Feed one piece (null: the end); raises the parse error after the sections before it.
    void feed(PyObject *data, bool final) {
        const bool ok = feed_object(*doc, data, final);
        check_kind();
        take_sections();
        if (!ok) {
            doc->scanner->close();
            raise_error(parse_error_object(doc->scanner->failure()));
        }
    }
};

void report(const nb::object &progress, Py_ssize_t bytes) {
    if (progress.is_none() || bytes == 0) return;
    nb::object n = steal_or_throw(PyLong_FromSsize_t(bytes));
    nb::object r = steal_or_throw(PyObject_CallOneArg(progress.ptr(), n.ptr()));
}

// Read `stream` to its end into the scan; a `shared` stream (the caller's) may not be read by
// another scan meanwhile.
void scan_stream(Scan &scan, const nb::object &stream, const nb::object &progress,
                 bool shared = false) {
    nb::object size = steal_or_throw(PyLong_FromSsize_t(kReadSize));
    StreamUse use;
    if (shared) use.begin(stream);
    for (;;) {
        nb::object data = use.use([&] {
            return steal_or_throw(
                PyObject_CallMethodOneArg(stream.ptr(), interned("read"), size.ptr()));
        });
        const Py_ssize_t len = PyObject_Length(data.ptr());
        if (len < 0) throw_python();
        if (len == 0) break;
        scan.feed(data.ptr(), false);
        report(progress, len);
    }
    scan.feed(nullptr, true);
}

marlox::results::ModelContext model_context(nb::handle model) {
    return marlox::results::model_context(model_document(model));
}

std::string id_list(std::vector<std::int64_t> ids, std::size_t most = 10) {
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    std::string out;
    for (std::size_t i = 0; i < ids.size() && i < most; ++i) {
        out += (i == 0 ? "" : ", ") + std::to_string(ids[i]);
    }
    if (ids.size() > most) out += " and " + std::to_string(ids.size() - most) + " more";
    return out;
}

// A result file that was not run from the model: one message naming the ids.
void check_mismatch(const marlox::results::ModelMismatch &m,
                    const marlox::results::ModelContext &model) {
    if (!m.missing_sections.empty()) {
        const bool one = m.missing_sections.size() == 1;
        throw marlox::Error(ErrorKind::Value,
                            std::string("the result file does not belong to the model: the "
                                        "model has no check section") +
                                (one ? " with id " : "s with ids ") + id_list(m.missing_sections) +
                                " (its check sections: " +
                                (model.order.empty() ? "none" : id_list(model.order)) + ")");
    }
    if (!m.extra_extremes.empty()) {
        throw marlox::Error(ErrorKind::Value,
                            "the result file does not belong to the model: check section " +
                                id_list(m.extra_extremes) +
                                " has more extremes in the result file than in the model");
    }
}

nb::object check_table(nb::handle source, nb::handle model_arg, nb::handle sections,
                       nb::handle families, nb::handle units, nb::handle progress_arg) {
    const Units u = units_argument(units);
    std::unique_ptr<marlox::results::ModelContext> model;
    if (!model_arg.is_none()) {
        model = std::make_unique<marlox::results::ModelContext>(model_context(model_arg));
    }
    std::vector<std::string> family_names;
    for (const nb::object &f : items_of(families)) family_names.push_back(family_argument(f));
    if (!families.is_none() && family_names.empty()) {
        throw marlox::Error(ErrorKind::Value, "families is empty: give None for all families");
    }
    Scan scan{std::make_shared<DocState>(new_scanner(false), true),
              CheckTableBuilder(u, family_names, &host_number, model.get())};
    if (!sections.is_none()) {
        scan.all_sections = false;
        for (const nb::object &s : items_of(sections)) {
            scan.wanted.push_back(section_id_value(steal_or_throw(PyNumber_Index(s.ptr()))));
        }
        scan.seen.assign(scan.wanted.size(), false);
    }
    nb::object progress = nb::borrow(progress_arg);

    PyObject *src = source.ptr();
    if (PyObject_HasAttrString(src, "read")) {
        scan_stream(scan, nb::borrow(source), progress, true);
    } else if (PyObject_HasAttrString(src, "open_binary")) {
        Closer closer{steal_or_throw(PyObject_CallMethod(src, "open_binary", nullptr))};
        scan_stream(scan, closer.f, progress);
    } else if (PyObject_CheckBuffer(src) && !PyUnicode_Check(src)) {
        // Read in pieces like a file, so that finished sections go while the rest is parsed.
        nb::object io = steal_or_throw(PyImport_ImportModule("io"));
        scan_stream(scan, steal_or_throw(PyObject_CallMethod(io.ptr(), "BytesIO", "O", src)),
                    progress);
    } else {
        nb::object path = nb::steal(PyOS_FSPath(src));
        if (!path.is_valid()) {
            PyErr_Clear();
            raise_formatted(PyExc_TypeError,
                            "check_table() takes a path, bytes or a binary stream, not %s",
                            Py_TYPE(src)->tp_name);
        }
        nb::object io = steal_or_throw(PyImport_ImportModule("io"));
        Closer closer{
            steal_or_throw(PyObject_CallMethod(io.ptr(), "open", "Os", path.ptr(), "rb"))};
        scan_stream(scan, closer.f, progress);
    }

    std::string missing;
    std::size_t missing_count = 0;
    for (std::size_t i = 0; i < scan.wanted.size(); ++i) {
        if (scan.seen[i]) continue;
        missing += (missing.empty() ? "'" : ", '") + shown(scan.wanted[i].id) + "'";
        ++missing_count;
    }
    if (missing_count == 1) {
        throw marlox::Error(ErrorKind::SdkParsing,
                            "section with id " + missing + " is not available in the result file.");
    }
    if (missing_count > 1) {
        throw marlox::Error(ErrorKind::SdkParsing, "sections with ids " + missing +
                                                       " are not available in the result file.");
    }
    if (model) check_mismatch(scan.builder.mismatch(), *model);
    CheckTable t;
    t.table = std::make_shared<const Table>(scan.builder.take_checks());
    t.overall = std::make_shared<const Table>(scan.builder.take_overall());
    t.unit_system = u == Units::SI ? "SI" : "engineering";
    return nb::cast(std::move(t));
}

}  // namespace

void scan_check_sections(nb::handle source, const marlox::results::ModelContext &model,
                         const std::function<void(CheckTableBuilder &)> &each) {
    Scan scan{std::make_shared<DocState>(new_scanner(false), true),
              CheckTableBuilder(Units::Engineering, {}, &host_number, &model)};
    scan.builder.keep_non_conformities(true);
    scan.after_section = each;
    if (PyObject_HasAttrString(source.ptr(), "read")) {
        scan_stream(scan, nb::borrow(source), nb::none(), true);
    } else {
        nb::object io = steal_or_throw(PyImport_ImportModule("io"));
        Closer closer{
            steal_or_throw(PyObject_CallMethod(io.ptr(), "open", "Os", source.ptr(), "rb"))};
        scan_stream(scan, closer.f, nb::none());
    }
    check_mismatch(scan.builder.mismatch(), model);
}

namespace {

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
    R"(Read the check table of a result file in one streaming pass.

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
:raises xml.etree.ElementTree.ParseError: for a file that is not well-formed XML, as the
    streaming parser raises it for the same bytes.
:raises ValueError: for an unknown family or units, a value that is not a number, an
    IDEA StatiCa RCS input XML document (it is not a result file), a section kept whose id
    does not fit the 64-bit "section" column, or a model that the result file does not
    belong to (a section id the model lacks, more extremes than the model gives a section),
    naming the ids.
:raises ParsingError: for a requested section that the file does not hold.)";

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

    m.def(
        "check_table", &check_table, "source"_a, nb::kw_only(), "model"_a.none() = nb::none(),
        "sections"_a.none() = nb::none(), "families"_a.none() = nb::none(), "units"_a = "SI",
        "progress"_a.none() = nb::none(),
        nb::sig(
            "def check_table(source: str | os.PathLike[str] | bytes | typing.BinaryIO | "
            "marlox.core.File, *, model: _Model | str | os.PathLike[str] | bytes | "
            "typing.BinaryIO | None = None, sections: collections.abc.Iterable[int] | int | None = "
            "None, families: collections.abc.Iterable[str] | str | None = None, units: "
            "typing.Literal['SI', 'engineering'] "
            "= 'SI', progress: collections.abc.Callable[[int], object] | None = None) -> "
            "CheckTable"),
        kCheckTableFnDoc);
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_table(nb::module_ &m) { results::bind_table(m); }
}  // namespace marlox::py
