// The small Python helpers every binding file uses: owned references from C API calls,
// truthiness, dict, list and str builders, and the import of an optional dependency. Errors
// that cross into Python are built in translate.hpp.
#pragma once

#include <Python.h>
#include <nanobind/nanobind.h>

#include <string_view>

#include "bindings/translate.hpp"

namespace marlox::py {

namespace nb = nanobind;

// Raise the Python error that a failed C API call has set.
[[noreturn]] inline void throw_python() { throw nb::python_error(); }

// Own the new reference a C API call returns, or raise the Python error it set.
inline nb::object steal_or_throw(PyObject *o) {
    if (o == nullptr) throw_python();
    return nb::steal(o);
}

// `bool(value)`, as the interpreter decides it (its __bool__ or __len__ may raise).
inline bool truthy(nb::handle value) {
    const int result = PyObject_IsTrue(value.ptr());
    if (result < 0) throw_python();
    return result == 1;
}

inline nb::object new_dict() { return steal_or_throw(PyDict_New()); }
// A dict with room for `items` keys, so that filling it never resizes it. The interpreter
// offers this only privately, up to 3.12; later versions get a plain dict.
inline nb::object new_dict([[maybe_unused]] Py_ssize_t items) {
#if PY_VERSION_HEX < 0x030D0000
    return steal_or_throw(_PyDict_NewPresized(items));
#else
    return steal_or_throw(PyDict_New());
#endif
}
inline void dict_set(PyObject *dict, PyObject *key, PyObject *value) {
    if (PyDict_SetItem(dict, key, value) != 0) throw_python();
}

inline nb::object new_list() { return steal_or_throw(PyList_New(0)); }
inline void list_append(PyObject *list, PyObject *value) {
    if (PyList_Append(list, value) != 0) throw_python();
}

// A str of UTF-8 text.
inline nb::object str_from(std::string_view s) {
    return steal_or_throw(PyUnicode_DecodeUTF8(s.data(), (Py_ssize_t)s.size(), "strict"));
}

// The bytes of a bytes-like object, held through the buffer protocol while the view lives.
class BufferView {
  public:
    explicit BufferView(nb::handle object) {
        if (PyObject_GetBuffer(object.ptr(), &view_, PyBUF_SIMPLE) != 0) throw_python();
    }
    ~BufferView() { PyBuffer_Release(&view_); }
    BufferView(const BufferView &) = delete;
    BufferView &operator=(const BufferView &) = delete;

    std::string_view bytes() const {
        return {static_cast<const char *>(view_.buf), static_cast<std::size_t>(view_.len)};
    }

  private:
    Py_buffer view_{};
};

// The optional dependency `module`, imported when it is first used; ImportError naming the
// extra that brings it when it is missing. `what` is the operation that needs it.
inline nb::object optional_module(const char *module, const char *extra, const char *what) {
    PyObject *m = PyImport_ImportModule(module);
    if (m != nullptr) return nb::steal(m);
    if (!PyErr_ExceptionMatches(PyExc_ImportError)) throw_python();
    PyErr_Clear();
    raise_missing_extra(what, module, extra);
}

}  // namespace marlox::py
