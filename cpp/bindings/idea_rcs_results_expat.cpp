// The interpreter's expat, as the result parsers use it.
#include "bindings/idea_rcs_results_expat.hpp"

#include <algorithm>
#include <climits>
#include <cstring>

namespace marlox::py::results {

// ---------------------------------------------------------------------------------------------
// The interpreter's expat

namespace {

const expat::CApi *g_api = nullptr;

// The largest piece of input given to expat at once.
constexpr Py_ssize_t kPiece = 1 << 16;
constexpr Py_ssize_t kReserveAfter = 4 * kPiece;

// The host's handler for encodings that expat does not know builds its table with the
// interpreter's codecs: it needs the interpreter lock, which a scan may have released.
int unknown_encoding_with_gil(void *data, const char *name, expat::Encoding *info) {
    PyGILState_STATE state = PyGILState_Ensure();
    const int result = g_api->DefaultUnknownEncodingHandler(data, name, info);
    PyGILState_Release(state);
    return result;
}

}  // namespace

const expat::Host &expat_host() {
    static expat::Host host;
    if (host.api == nullptr) {
        auto *api = static_cast<const expat::CApi *>(PyCapsule_Import(expat::kCapsuleName, 0));
        if (api == nullptr) throw_python();
        if (api->magic == nullptr || std::strcmp(api->magic, expat::kCapiMagic) != 0 ||
            api->size < expat::kCapiMinimumSize) {
            raise_builtin(PyExc_ImportError, "pyexpat.expat_CAPI has an unknown layout");
        }
        g_api = api;
        host.unknown_encoding = &unknown_encoding_with_gil;
        host.unknown_encoding_data = nullptr;
#if PY_VERSION_HEX < 0x030D0000
        // The salt ElementTree gives its parsers; later versions keep it internal, and expat
        // then draws a random salt of its own.
        host.has_hash_salt = true;
        host.hash_salt = (unsigned long)_Py_HashSecret.expat.hashsalt;
#endif
        host.api = api;
    }
    return host;
}

std::unique_ptr<Scanner> new_scanner(bool keep_all) {
    auto scanner = std::make_unique<Scanner>(expat_host(), keep_all);
    if (!scanner->created()) {
        PyErr_NoMemory();
        throw_python();
    }
    return scanner;
}

nb::object parse_error_object(const ScanFailure &f) {
    if (f.kind == ScanFailure::Kind::Memory) {
        PyErr_NoMemory();
        throw_python();
    }
    return parse_error(
        f.message + ": line " + std::to_string(f.line) + ", column " + std::to_string(f.column),
        f.code, (long)f.line, (long)f.column);
}

// ElementTree's XMLParser.feed (and close, with `final`): str is parsed as UTF-8 with the
// protocol encoding set so; anything else through the buffer protocol. Parsing runs without
// the interpreter lock. Returns false for a parse failure (see the scanner); raises what
// XMLParser.feed raises directly.
bool feed_object(DocState &doc, PyObject *data, bool final) {
    Scanner &scanner = *doc.scanner;
    if (data == nullptr) {
        wait_for_readers(doc);
        bool ok;
        {
            nb::gil_scoped_release release;
            ok = scanner.feed("", 0, final);
        }
        if (PyErr_Occurred()) throw_python();
        return ok;
    }
    const char *ptr = nullptr;
    Py_ssize_t len = 0;
    Py_buffer view{};
    bool have_view = false;
    std::string copy;
    if (PyUnicode_Check(data)) {
        ptr = PyUnicode_AsUTF8AndSize(data, &len);
        if (ptr == nullptr) throw_python();
        if (len > INT_MAX) {
            raise_builtin(PyExc_OverflowError, "size does not fit in an int");
        }
        scanner.set_encoding_utf8();
    } else {
        if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) != 0) throw_python();
        have_view = true;
        if (view.len > INT_MAX) {
            PyBuffer_Release(&view);
            raise_builtin(PyExc_OverflowError, "size does not fit in an int");
        }
        ptr = static_cast<const char *>(view.buf);
        len = view.len;
        if (!PyBytes_CheckExact(data)) {
            // A mutable buffer could change while the lock is released: parse a copy.
            try {
                copy.assign(ptr, (std::size_t)len);
            } catch (...) {
                PyBuffer_Release(&view);
                PyErr_NoMemory();
                throw_python();
            }
            ptr = copy.data();
        }
    }
    bool ok;
    try {
        wait_for_readers(doc);
    } catch (...) {
        if (have_view) PyBuffer_Release(&view);
        throw;
    }
    {
        // Large content goes to expat in pieces: expat copies what it is given into a buffer of
        // its own, and one piece of the whole document would double the memory. The outcome
        // (events, errors and their positions) does not depend on the pieces.
        nb::gil_scoped_release release;
        ok = true;
        Py_ssize_t done = 0;
        do {
            const Py_ssize_t n = std::min(kPiece, len - done);
            ok = scanner.feed(ptr + done, (int)n, final && done + n == len);
            done += n;
            // A whole document's tree, once the start of it tells how large it will grow, is
            // given room for all of it.
            if (!doc.streaming && done == kReserveAfter && len > 2 * kReserveAfter) {
                scanner.dom().reserve_for((std::uint64_t)done, (std::uint64_t)len);
            }
        } while (ok && done < len);
    }
    if (have_view) {
        // The exception of the host's unknown-encoding handler waits while the view goes (its
        // release may call into the interpreter).
        PyObject *type, *value, *tb;
        PyErr_Fetch(&type, &value, &tb);
        PyBuffer_Release(&view);
        PyErr_Restore(type, value, tb);
    }
    if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
    return ok;
}

bool feed_bytes_until_section(DocState &doc, PyObject *data, Py_ssize_t *offset) {
    Scanner &scanner = *doc.scanner;
    const char *ptr = PyBytes_AS_STRING(data);
    const Py_ssize_t len = PyBytes_GET_SIZE(data);
    wait_for_readers(doc);
    bool ok = true;
    {
        nb::gil_scoped_release release;
        const auto &ended = scanner.builder().ended_sections();
        while (ok && *offset < len && ended.empty()) {
            const Py_ssize_t n = std::min(kPiece, len - *offset);
            ok = scanner.feed(ptr + *offset, (int)n, false);
            *offset += n;
        }
    }
    if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
    return ok;
}

}  // namespace marlox::py::results
