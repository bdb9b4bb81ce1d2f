#include "bindings/translate.hpp"

#include <Python.h>

namespace marlox::py {

namespace {

// Raise `module.name(message)`; returns false (with some Python error set) if even that fails.
void set_from_class(const char *module, const char *name, const std::string &message) noexcept {
    PyObject *mod = PyImport_ImportModule(module);
    if (mod == nullptr) return;
    PyObject *cls = PyObject_GetAttrString(mod, name);
    Py_DECREF(mod);
    if (cls == nullptr) return;
    PyObject *text = PyUnicode_FromStringAndSize(message.data(), (Py_ssize_t)message.size());
    if (text == nullptr) {
        Py_DECREF(cls);
        return;
    }
    PyObject *instance = PyObject_CallOneArg(cls, text);
    Py_DECREF(text);
    if (instance != nullptr) {
        PyErr_SetObject(cls, instance);
        Py_DECREF(instance);
    }
    Py_DECREF(cls);
}

void set_parse_error(const Error &error) noexcept {
    PyObject *mod = PyImport_ImportModule("xml.etree.ElementTree");
    if (mod == nullptr) return;
    PyObject *cls = PyObject_GetAttrString(mod, "ParseError");
    Py_DECREF(mod);
    if (cls == nullptr) return;
    PyObject *text = PyUnicode_FromString(error.what());
    PyObject *instance = text ? PyObject_CallOneArg(cls, text) : nullptr;
    Py_XDECREF(text);
    PyObject *code = instance ? PyLong_FromLong(error.code()) : nullptr;
    PyObject *position = code ? Py_BuildValue("(ll)", error.line(), error.column()) : nullptr;
    if (position != nullptr && PyObject_SetAttrString(instance, "code", code) == 0 &&
        PyObject_SetAttrString(instance, "position", position) == 0) {
        PyErr_SetObject(cls, instance);
    }
    Py_XDECREF(position);
    Py_XDECREF(code);
    Py_XDECREF(instance);
    Py_DECREF(cls);
}

}  // namespace

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
            set_parse_error(error);
            break;
        case ErrorKind::SdkParsing:
            set_from_class("marlox.errors", "ParsingError", message);
            break;
        case ErrorKind::SdkInternal:
            set_from_class("marlox.errors", "InternalError", message);
            break;
        case ErrorKind::SdkExecution:
            set_from_class("marlox.errors", "ExecutionError", message);
            break;
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

void raise_sdk_error(const char *name, const std::string &message) {
    set_from_class("marlox.errors", name, message);
    throw nb::python_error();
}

}  // namespace marlox::py
