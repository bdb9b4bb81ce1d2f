#include "bindings/translate.hpp"

#include <Python.h>

#include <cstdarg>
#include <new>

#include "bindings/helpers.hpp"

namespace marlox::py {

namespace {

// Set `error` as the current exception.
void set_object(nb::handle error) noexcept {
    PyErr_SetObject((PyObject *)Py_TYPE(error.ptr()), error.ptr());
}

// Run `build` (which makes an exception instance) and set what it made; if building fails, the
// failure is what is set.
template <class Build>
void set_built(Build &&build) noexcept {
    try {
        set_object(build());
    } catch (nb::python_error &failure) {
        failure.restore();
    } catch (const std::bad_alloc &) {
        PyErr_NoMemory();
    }
}

}  // namespace

nb::object parse_error(const std::string &message, int code, long line, long column) {
    nb::object module = steal_or_throw(PyImport_ImportModule("xml.etree.ElementTree"));
    nb::object cls = steal_or_throw(PyObject_GetAttrString(module.ptr(), "ParseError"));
    nb::object text = str_from(message);
    nb::object error = steal_or_throw(PyObject_CallOneArg(cls.ptr(), text.ptr()));
    nb::object code_value = steal_or_throw(PyLong_FromLong(code));
    if (PyObject_SetAttrString(error.ptr(), "code", code_value.ptr()) != 0) throw_python();
    nb::object position = steal_or_throw(Py_BuildValue("(ll)", line, column));
    if (PyObject_SetAttrString(error.ptr(), "position", position.ptr()) != 0) throw_python();
    return error;
}

nb::object sdk_error(const char *name, nb::handle message) {
    nb::object module = steal_or_throw(PyImport_ImportModule("marlox.errors"));
    nb::object cls = steal_or_throw(PyObject_GetAttrString(module.ptr(), name));
    return steal_or_throw(PyObject_CallOneArg(cls.ptr(), message.ptr()));
}

void raise_error(nb::handle error, nb::handle cause) {
    if (cause.is_valid()) {
        // As `raise error from cause` inside `except` of the cause.
        PyException_SetCause(error.ptr(), cause.inc_ref().ptr());
        PyException_SetContext(error.ptr(), cause.inc_ref().ptr());
    }
    set_object(error);
    throw_python();
}

void raise_sdk_error(const char *name, const std::string &message, const std::string &note) {
    nb::object error = sdk_error(name, str_from(message));
    if (!note.empty()) {
        nb::object text = str_from(note);
        steal_or_throw(PyObject_CallMethod(error.ptr(), "add_note", "O", text.ptr()));
    }
    raise_error(error);
}

void set_current_exception() noexcept {
    try {
        throw;
    } catch (nb::python_error &e) {
        e.restore();
    } catch (const Error &e) {
        set_python_error(e);
    } catch (const std::bad_alloc &) {
        PyErr_NoMemory();
    } catch (const std::exception &e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    } catch (...) {
        PyErr_SetString(PyExc_SystemError, "an unknown C++ exception");
    }
}

void raise_builtin(PyObject *type, const char *message) {
    PyErr_SetString(type, message);
    throw_python();
}

void raise_formatted(PyObject *type, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    PyErr_FormatV(type, format, arguments);
    va_end(arguments);
    throw_python();
}

void raise_missing_extra(const char *what, const char *module, const char *extra) {
    PyErr_Format(PyExc_ImportError, "%s needs %s: pip install 'marlox[%s]'", what, module, extra);
    throw_python();
}

void set_python_error(const Error &error) noexcept {
    const std::string message = error.what();
    switch (error.kind()) {
        case ErrorKind::Value:
            PyErr_SetString(PyExc_ValueError, message.c_str());
            break;
        case ErrorKind::Type:
            PyErr_SetString(PyExc_TypeError, message.c_str());
            break;
        case ErrorKind::Key: {
            PyObject *key = PyUnicode_FromStringAndSize(message.data(), (Py_ssize_t)message.size());
            if (key != nullptr) {
                PyErr_SetObject(PyExc_KeyError, key);
                Py_DECREF(key);
            }
            break;
        }
        case ErrorKind::Index:
            PyErr_SetString(PyExc_IndexError, message.c_str());
            break;
        case ErrorKind::Attribute:
            PyErr_SetString(PyExc_AttributeError, message.c_str());
            break;
        case ErrorKind::NotImplemented:
            PyErr_SetString(PyExc_NotImplementedError, message.c_str());
            break;
        case ErrorKind::Memory:
            PyErr_NoMemory();
            break;
        case ErrorKind::Parse:
            set_built(
                [&] { return parse_error(message, error.code(), error.line(), error.column()); });
            break;
        case ErrorKind::SdkParsing:
            set_built([&] { return sdk_error("ParsingError", str_from(message)); });
            break;
        case ErrorKind::SdkInternal:
            set_built([&] { return sdk_error("InternalError", str_from(message)); });
            break;
        case ErrorKind::SdkExecution:
            set_built([&] { return sdk_error("ExecutionError", str_from(message)); });
            break;
        case ErrorKind::OS: {
            PyObject *args = Py_BuildValue("(is)", error.code(), message.c_str());
            if (args != nullptr) {
                PyErr_SetObject(PyExc_OSError, args);
                Py_DECREF(args);
            }
            break;
        }
    }
    if (!PyErr_Occurred()) PyErr_SetString(PyExc_SystemError, message.c_str());
}

void register_error_translator() {
    nb::register_exception_translator([](const std::exception_ptr &p, void *) {
        try {
            std::rethrow_exception(p);
        } catch (const Error &error) {
            set_python_error(error);
        }
    });
}

}  // namespace marlox::py
