// The one-pass scan behind check_table(): section ids the core leaves to the interpreter, the
// number texts it leaves to float(), and the reads of a stream, a descriptor or bytes into it.
#include "bindings/idea_rcs_table_scan.hpp"

#include <algorithm>

namespace marlox::py::results::table_scan {

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

void report(const nb::object &progress, Py_ssize_t bytes) {
    if (progress.is_none() || bytes == 0) return;
    nb::object n = steal_or_throw(PyLong_FromSsize_t(bytes));
    nb::object r = steal_or_throw(PyObject_CallOneArg(progress.ptr(), n.ptr()));
}

void scan_stream(Scan &scan, const nb::object &stream, const nb::object &progress, StreamUse *used,
                 std::uint64_t reported) {
    nb::object size = steal_or_throw(PyLong_FromSsize_t(kReadSize));
    StreamUse own;
    StreamUse &use = used != nullptr ? *used : own;
    std::uint64_t read = 0;
    for (;;) {
        nb::object data = use.use([&] {
            return steal_or_throw(
                PyObject_CallMethodOneArg(stream.ptr(), interned("read"), size.ptr()));
        });
        const Py_ssize_t len = PyObject_Length(data.ptr());
        if (len < 0) throw_python();
        if (len == 0) break;
        scan.feed(data.ptr(), false);
        read += (std::uint64_t)len;
        if (read > reported) {
            report(progress,
                   (Py_ssize_t)std::min<std::uint64_t>((std::uint64_t)len, read - reported));
        }
    }
    scan.feed(nullptr, true);
}

// Read `source` to its end into the scan with the interpreter lock released, taking it only to
// report progress (after each piece, as for a stream), to settle what the core leaves to the
// interpreter, and now and then to let a signal through.
// The first `reported` bytes were reported before (by pieces read side by side).
void scan_raw(Scan &scan, RawSource source, const nb::object &progress, std::uint64_t reported) {
    const bool reports = !progress.is_none();
    std::uint64_t read = 0;
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
                if (s == Status::Ok && len == 0 && !scan.after_section) scan.finish_unlocked();
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
        read += len;
        if (read > reported)
            report(progress, (Py_ssize_t)std::min<std::uint64_t>(len, read - reported));
        if (PyErr_CheckSignals() != 0) throw_python();
    }
}

int threads_argument(nb::handle threads) {
    if (threads.is_none()) {
        nb::object os = steal_or_throw(PyImport_ImportModule("os"));
        if (PyObject_HasAttrString(os.ptr(), "sched_getaffinity")) {
            nb::object cpus =
                steal_or_throw(PyObject_CallMethod(os.ptr(), "sched_getaffinity", "i", 0));
            const Py_ssize_t n = PyObject_Length(cpus.ptr());
            if (n < 0) throw_python();
            return (int)std::max<Py_ssize_t>(1, std::min<Py_ssize_t>(n, 256));
        }
        nb::object n = steal_or_throw(PyObject_CallMethod(os.ptr(), "cpu_count", nullptr));
        return n.is_none() ? 1 : (int)std::clamp<long>(PyLong_AsLong(n.ptr()), 1, 256);
    }
    if (PyBool_Check(threads.ptr()) || !PyLong_Check(threads.ptr())) {
        raise_formatted(PyExc_TypeError, "threads must be an int, not %s",
                        Py_TYPE(threads.ptr())->tp_name);
    }
    const long n = PyLong_AsLong(threads.ptr());
    if (n == -1 && PyErr_Occurred()) throw_python();
    if (n < 1) {
        nb::object shown = steal_or_throw(PyObject_Repr(threads.ptr()));
        const std::string message =
            "threads must be at least 1, not " + nb::cast<std::string>(shown);
        raise_builtin(PyExc_ValueError, message.c_str());
    }
    return (int)std::min<long>(n, 256);
}

}  // namespace marlox::py::results::table_scan
