// check_table() for Python: its arguments, the scan of the source (idea_rcs_table_scan.hpp),
// the checks against the model and the table made.
#include <nanobind/stl/string.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <string>
#include <vector>
#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

#include "bindings/idea_rcs_pieces.hpp"
#include "bindings/idea_rcs_table.hpp"
#include "bindings/idea_rcs_table_scan.hpp"
#include "core/model_context.hpp"

namespace marlox::py::results {

using marlox::results::kKnownFamilies;
using namespace table_scan;

namespace {

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

// The scan's set-up from check_table()'s arguments; `wanted` gets the requested sections as
// given (for the message naming those the file lacks).
ScanSetup scan_setup(Units u, const marlox::results::ModelContext *model, nb::handle sections,
                     nb::handle families, std::vector<SectionIdValue> &wanted) {
    ScanSetup setup{u, {}, model, {}};
    for (const nb::object &f : items_of(families)) setup.families.push_back(family_argument(f));
    if (!families.is_none() && setup.families.empty()) {
        throw marlox::Error(ErrorKind::Value, "families is empty: give None for all families");
    }
    if (!sections.is_none()) {
        setup.filter.all = false;
        for (const nb::object &s : items_of(sections)) {
            wanted.push_back(section_id_value(steal_or_throw(PyNumber_Index(s.ptr()))));
            setup.filter.ids.push_back(wanted.back().value);
            setup.filter.fits.push_back(wanted.back().fits);
        }
        setup.filter.seen.assign(wanted.size(), false);
    }
    return setup;
}

}  // namespace

void scan_check_sections(nb::handle source, const marlox::results::ModelContext &model,
                         const std::function<void(CheckTableBuilder &)> &each) {
    const ScanSetup setup{Units::Engineering, {}, &model, {}};
    Scan scan{setup.make_unlocked()};
    scan.core.builder().keep_non_conformities(true);
    scan.core.stop_after_each_section(true);
    scan.after_section = each;
    if (PyObject_HasAttrString(source.ptr(), "read")) {
        scan_caller_stream(scan, setup, nb::borrow(source), 1, nb::none());
    } else {
        nb::object io = steal_or_throw(PyImport_ImportModule("io"));
        Closer closer{
            steal_or_throw(PyObject_CallMethod(io.ptr(), "open", "Os", source.ptr(), "rb"))};
        scan_opened(scan, setup, closer.f, 1, nb::none());
    }
    check_mismatch(scan.core.builder().mismatch(), model);
}

nb::object check_table(nb::handle source, nb::handle model_arg, nb::handle sections,
                       nb::handle families, nb::handle units, nb::handle progress_arg,
                       nb::handle threads_arg) {
    const Units u = units_argument(units);
    const int threads = threads_argument(threads_arg);
    std::unique_ptr<marlox::results::ModelContext> model;
    if (!model_arg.is_none()) {
        model = std::make_unique<marlox::results::ModelContext>(model_context(model_arg));
    }
    std::vector<SectionIdValue> wanted;
    const ScanSetup setup = scan_setup(u, model.get(), sections, families, wanted);
    Scan scan{setup.make_unlocked()};
    scan.wanted = std::move(wanted);
    nb::object progress = nb::borrow(progress_arg);

    PyObject *src = source.ptr();
    if (PyObject_HasAttrString(src, "read")) {
        scan_caller_stream(scan, setup, nb::borrow(source), threads, progress);
    } else if (PyObject_HasAttrString(src, "open_binary")) {
        Closer closer{steal_or_throw(PyObject_CallMethod(src, "open_binary", nullptr))};
        scan_opened(scan, setup, closer.f, threads, progress);
    } else if (PyObject_CheckBuffer(src) && !PyUnicode_Check(src)) {
        // Bytes do not change: parsed in place, in pieces like a file; other buffers copied.
        nb::object data =
            PyBytes_CheckExact(src) ? nb::borrow(source) : steal_or_throw(PyBytes_FromObject(src));
        scan_memory(scan, setup, PyBytes_AS_STRING(data.ptr()),
                    (std::size_t)PyBytes_GET_SIZE(data.ptr()), threads, progress);
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
        scan_opened(scan, setup, closer.f, threads, progress);
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
    if (!scan.joined && !scan.finished) {
        // The tables trimmed and the document's parser and tree let go without the lock.
        nb::gil_scoped_release release;
        scan.finish_unlocked();
    }
    if (model) check_mismatch(scan.mismatch, *model);
    CheckTable t;
    t.table = std::make_shared<const Table>(std::move(scan.checks));
    t.overall = std::make_shared<const Table>(std::move(scan.overall));
    t.unit_system = u == Units::SI ? "SI" : "engineering";
    return nb::cast(std::move(t));
}

// The tables of many small files in one call, each read in one pass, the interpreter lock
// released once for all of them: check_table() gives it back and takes it again a few times a
// file, and threads reading many small files side by side queue on every handover. A file
// that needs the interpreter (its open fails, a section id or number the core leaves to it,
// any error, a missing section) is left as None, for check_table() to read as it reads it.
nb::list check_table_batch(nb::handle sources, nb::handle sections, nb::handle families,
                           nb::handle units) {
    const Units u = units_argument(units);
    std::vector<SectionIdValue> wanted;
    const ScanSetup setup = scan_setup(u, nullptr, sections, families, wanted);
    struct Job {
        nb::object keep;  // the bytes, or the path encoded for the file system
        const char *data = nullptr;
        std::size_t size = 0;
        bool path = false, done = false;
        Table checks, overall;
    };
    const std::vector<nb::object> given = items_of(sources);
    std::vector<Job> jobs(given.size());
    for (std::size_t i = 0; i < given.size(); ++i) {
        PyObject *src = given[i].ptr();
        Job &job = jobs[i];
        if (PyBytes_CheckExact(src)) {
            job.keep = given[i];
        } else if (PyUnicode_Check(src) || PyObject_HasAttrString(src, "__fspath__")) {
#ifndef _WIN32
            nb::object path = nb::steal(PyOS_FSPath(src));
            if (!path.is_valid()) {
                PyErr_Clear();
                continue;
            }
            // The audit event io.open raises for the file.
            if (PySys_Audit("open", "Osi", path.ptr(), "r", O_RDONLY | O_CLOEXEC) < 0)
                throw_python();
            job.keep = PyUnicode_Check(path.ptr())
                           ? nb::steal(PyUnicode_EncodeFSDefault(path.ptr()))
                           : path;
            if (!job.keep.is_valid()) {
                PyErr_Clear();
                continue;
            }
            job.path = PyBytes_Check(job.keep.ptr());
            if (!job.path) continue;
#else
            continue;
#endif
        } else {
            continue;
        }
        job.data = PyBytes_AS_STRING(job.keep.ptr());
        job.size = (std::size_t)PyBytes_GET_SIZE(job.keep.ptr());
    }
    const auto &host = expat_host();
    {
        nb::gil_scoped_release release;
        for (Job &job : jobs) {
            if (job.data == nullptr) continue;
            int fd = -1;
#ifndef _WIN32
            if (job.path) {
                do {
                    fd = ::open(job.data, O_RDONLY | O_CLOEXEC);
                } while (fd < 0 && errno == EINTR);
                if (fd < 0) continue;
            }
#endif
            auto scanner = std::make_unique<marlox::results::Scanner>(host, false);
            if (scanner->created()) {
                TableScan scan(std::move(scanner),
                               CheckTableBuilder(u, setup.families, &host_number, nullptr),
                               setup.filter);
                RawSource source =
                    job.path ? RawSource::descriptor(fd) : RawSource::memory(job.data, job.size);
                for (;;) {
                    const char *ptr = nullptr;
                    std::size_t len = 0;
                    if (!source.next(ptr, len)) break;
                    if (scan.feed(ptr, len, len == 0) != TableScan::Status::Ok) break;
                    if (len != 0) continue;
                    const auto &seen = scan.filter().seen;
                    if (std::find(seen.begin(), seen.end(), false) == seen.end()) {
                        job.checks = scan.builder().take_checks();
                        job.overall = scan.builder().take_overall();
                        job.done = true;
                    }
                    break;
                }
            }
#ifndef _WIN32
            if (fd >= 0) ::close(fd);
#endif
        }
    }
    nb::list out;
    for (Job &job : jobs) {
        if (!job.done) {
            out.append(nb::none());
            continue;
        }
        CheckTable t;
        t.table = std::make_shared<const Table>(std::move(job.checks));
        t.overall = std::make_shared<const Table>(std::move(job.overall));
        t.unit_system = u == Units::SI ? "SI" : "engineering";
        out.append(nb::cast(std::move(t)));
    }
    return out;
}

}  // namespace marlox::py::results
