// The check table of a result file for Python: check_table(), which drives the streaming
// parser's scanner and the core's table builder (core/check_table.hpp), and the CheckTable and
// ResultTable classes (their conversions are in idea_rcs_table_convert.cpp).
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

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
#include "core/table_scan.hpp"

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

using marlox::results::TableScan;
using Status = marlox::results::TableScan::Status;

// A check table's scan: the core's scan, which runs without the interpreter lock, and what only
// the interpreter can do when it stops (section ids it does not read, the requested ids beyond
// 64 bits, the errors).
struct Scan {
    explicit Scan(TableScan s) : core(std::move(s)) {}

    TableScan core;
    std::vector<SectionIdValue> wanted;  // the requested sections, in the caller's order

    // Go on from where the core stopped; raises what stopped it for good.
    void settle(Status s) {
        for (;;) {
            switch (s) {
                case Status::Ok:
                    return;
                case Status::Host:
                    host_section();
                    s = core.take_sections();
                    continue;
                case Status::Failed:
                    core.scanner().close();
                    raise_error(parse_error_object(core.scanner().failure()));
                case Status::InputXml:
                    throw marlox::Error(
                        ErrorKind::Value,
                        "the document is IDEA StatiCa RCS input XML (<" +
                            std::string(core.input_xml_root()) +
                            ">), not a result file: check_table() reads the results of a run");
                case Status::NumberFailed:
                    raise_number_error(core.number_error());
                case Status::Memory:
                    PyErr_NoMemory();
                    throw_python();
            }
        }
    }

    // The section first in line, whose id the core leaves to the interpreter: read as the
    // streaming parser reads it, kept or not, then let go.
    void host_section() {
        const NodeId node = core.front();
        const SectionIdValue id = section_id(core.scanner().dom(), node);
        bool keep = core.filter().all;
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const SectionIdValue &w = wanted[i];
            if (w.fits && id.fits ? w.value == id.value
                                  : w.fits == id.fits && same_int(w.id, id.id)) {
                keep = true;
                core.filter().seen[i] = true;
            }
        }
        if (keep) {
            if (!id.fits) {
                throw marlox::Error(ErrorKind::Value,
                                    "section " + shown(id.id) +
                                        ": the id does not fit the check table's 64-bit "
                                        "section column");
            }
            bool bad_number = false;
            NumberError error;
            {
                nb::gil_scoped_release release;
                try {
                    core.builder().add_section(core.scanner().dom(), node, id.value);
                } catch (const NumberError &e) {
                    bad_number = true;
                    error = e;
                }
            }
            if (bad_number) raise_number_error(error);
        }
        core.pop_front();
    }

    // Feed one piece that a stream gave (null: the end), as ElementTree's XMLParser.feed takes
    // it: str as UTF-8 text, anything else through the buffer protocol.
    void feed(PyObject *data, bool final) {
        Status s;
        if (data == nullptr) {
            nb::gil_scoped_release release;
            s = core.feed("", 0, final);
        } else if (PyUnicode_Check(data)) {
            Py_ssize_t len = 0;
            const char *ptr = PyUnicode_AsUTF8AndSize(data, &len);
            if (ptr == nullptr) throw_python();
            if (len > INT_MAX) raise_builtin(PyExc_OverflowError, "size does not fit in an int");
            core.scanner().set_encoding_utf8();
            nb::gil_scoped_release release;  // the str is kept alive by the caller
            s = core.feed(ptr, (std::size_t)len, final);
        } else {
            Py_buffer view{};
            if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) != 0) throw_python();
            std::string copy;
            const char *ptr = static_cast<const char *>(view.buf);
            const Py_ssize_t len = view.len;
            if (len > INT_MAX) {
                PyBuffer_Release(&view);
                raise_builtin(PyExc_OverflowError, "size does not fit in an int");
            }
            if (!PyBytes_CheckExact(data)) {
                // A mutable buffer could change while the lock is released: parse a copy.
                try {
                    copy.assign(ptr, (std::size_t)len);
                } catch (...) {
                    PyBuffer_Release(&view);
                    throw;
                }
                ptr = copy.data();
            }
            {
                nb::gil_scoped_release release;
                s = core.feed(ptr, (std::size_t)len, final);
            }
            // The exception of the host's unknown-encoding handler waits while the view goes.
            PyObject *type, *value, *tb;
            PyErr_Fetch(&type, &value, &tb);
            PyBuffer_Release(&view);
            PyErr_Restore(type, value, tb);
        }
        if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
        settle(s);
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

// The pieces of a source that the scan reads without the interpreter lock: a file descriptor
// read to its end from where it stands, or bytes in memory.
class RawSource {
  public:
    static RawSource descriptor(int fd) {
        RawSource r;
        r.fd_ = fd;
        return r;
    }
    static RawSource memory(const char *data, std::size_t size) {
        RawSource r;
        r.data_ = data;
        r.size_ = size;
        return r;
    }
    // The next piece (empty at the end); false with errno set for a read error.
    bool next(const char *&ptr, std::size_t &len) noexcept {
        if (fd_ < 0) {
            ptr = data_ + done_;
            len = std::min<std::size_t>((std::size_t)kReadSize, size_ - done_);
            done_ += len;
            return true;
        }
        if (buffer_.empty()) {
            try {
                buffer_.resize((std::size_t)kReadSize);
            } catch (...) {
                errno = ENOMEM;
                return false;
            }
        }
        // A piece of kReadSize, as a buffered stream's read(kReadSize) gives it.
        std::size_t got = 0;
        while (got < buffer_.size()) {
            const auto n = read_fd(buffer_.data() + got, buffer_.size() - got);
            if (n < 0) {
                if (errno == EINTR) continue;
                return false;
            }
            if (n == 0) break;
            got += (std::size_t)n;
        }
        ptr = buffer_.data();
        len = got;
        return true;
    }

  private:
    long long read_fd(char *into, std::size_t n) noexcept {
#ifdef _WIN32
        return _read(fd_, into, (unsigned)std::min<std::size_t>(n, INT_MAX));
#else
        return ::read(fd_, into, n);
#endif
    }

    int fd_ = -1;
    std::vector<char> buffer_;
    const char *data_ = nullptr;
    std::size_t size_ = 0, done_ = 0;
};

// Read `source` to its end into the scan with the interpreter lock released, taking it only to
// report progress (after each piece, as for a stream), to settle what the core leaves to the
// interpreter, and now and then to let a signal through.
void scan_raw(Scan &scan, RawSource source, const nb::object &progress) {
    const bool reports = !progress.is_none();
    for (;;) {
        Status s = Status::Ok;
        std::size_t len = 0;
        bool read_ok = true;
        int error = 0;
        {
            nb::gil_scoped_release release;
            for (int pieces = 0; pieces < 64; ++pieces) {
                const char *ptr = nullptr;
                if (!source.next(ptr, len)) {
                    read_ok = false;
                    error = errno;
                    break;
                }
                s = scan.core.feed(ptr, len, len == 0);
                if (s != Status::Ok || len == 0 || reports) break;
            }
        }
        if (!read_ok) {
            errno = error;
            PyErr_SetFromErrno(PyExc_OSError);
            throw_python();
        }
        if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
        scan.settle(s);
        if (len == 0) return;
        report(progress, (Py_ssize_t)len);
        if (PyErr_CheckSignals() != 0) throw_python();
    }
}

// A file object that `open()` made and nothing has read yet: its descriptor, or -1.
int fresh_descriptor(const nb::object &f) {
    nb::object io = steal_or_throw(PyImport_ImportModule("io"));
    nb::object buffered = steal_or_throw(PyObject_GetAttrString(io.ptr(), "BufferedReader"));
    if ((PyObject *)Py_TYPE(f.ptr()) != buffered.ptr()) return -1;
    nb::object fd = steal_or_throw(PyObject_CallMethod(f.ptr(), "fileno", nullptr));
    const long v = PyLong_AsLong(fd.ptr());
    if (v == -1 && PyErr_Occurred()) throw_python();
    return (int)v;
}

void scan_opened(Scan &scan, const nb::object &f, const nb::object &progress) {
    const int fd = fresh_descriptor(f);
    if (fd < 0) {
        scan_stream(scan, f, progress);
    } else {
        scan_raw(scan, RawSource::descriptor(fd), progress);
    }
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
    Scan scan{TableScan(new_scanner(false),
                        CheckTableBuilder(u, family_names, &host_number, model.get()), {})};
    if (!sections.is_none()) {
        auto &filter = scan.core.filter();
        filter.all = false;
        for (const nb::object &s : items_of(sections)) {
            scan.wanted.push_back(section_id_value(steal_or_throw(PyNumber_Index(s.ptr()))));
            filter.ids.push_back(scan.wanted.back().value);
            filter.fits.push_back(scan.wanted.back().fits);
        }
        filter.seen.assign(scan.wanted.size(), false);
    }
    nb::object progress = nb::borrow(progress_arg);

    PyObject *src = source.ptr();
    if (PyObject_HasAttrString(src, "read")) {
        scan_stream(scan, nb::borrow(source), progress, true);
    } else if (PyObject_HasAttrString(src, "open_binary")) {
        Closer closer{steal_or_throw(PyObject_CallMethod(src, "open_binary", nullptr))};
        scan_opened(scan, closer.f, progress);
    } else if (PyObject_CheckBuffer(src) && !PyUnicode_Check(src)) {
        if (PyBytes_CheckExact(src)) {
            // Bytes do not change: parsed in place, in pieces like a file.
            scan_raw(scan,
                     RawSource::memory(PyBytes_AS_STRING(src), (std::size_t)PyBytes_GET_SIZE(src)),
                     progress);
        } else {
            nb::object copy = steal_or_throw(PyBytes_FromObject(src));
            scan_raw(scan,
                     RawSource::memory(PyBytes_AS_STRING(copy.ptr()),
                                       (std::size_t)PyBytes_GET_SIZE(copy.ptr())),
                     progress);
        }
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
        scan_opened(scan, closer.f, progress);
    }

    std::string missing;
    std::size_t missing_count = 0;
    for (std::size_t i = 0; i < scan.wanted.size(); ++i) {
        if (scan.core.filter().seen[i]) continue;
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
    if (model) check_mismatch(scan.core.builder().mismatch(), *model);
    CheckTable t;
    t.table = std::make_shared<const Table>(scan.core.builder().take_checks());
    t.overall = std::make_shared<const Table>(scan.core.builder().take_overall());
    t.unit_system = u == Units::SI ? "SI" : "engineering";
    return nb::cast(std::move(t));
}

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
