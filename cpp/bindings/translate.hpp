// The one place where failures become Python exceptions: marlox::Error of the core by its
// kind, and the exceptions the bindings raise themselves (ElementTree's ParseError, the SDK's
// errors, a missing optional dependency).
#pragma once

#include <nanobind/nanobind.h>

#include <string>

#include "core/error.hpp"

namespace marlox::py {

namespace nb = nanobind;

// Set the Python exception that corresponds to `error` (the error indicator must be clear).
void set_python_error(const Error &error) noexcept;

// Register the translation of marlox::Error for the module being initialised.
void register_error_translator();

// xml.etree.ElementTree.ParseError(message) with `code` and `position` (line, column) set as
// ElementTree sets them.
nb::object parse_error(const std::string &message, int code, long line, long column);

// `marlox.errors.<name>(message)`, the class looked up in the SDK module at call time;
// `message` is a str.
nb::object sdk_error(const char *name, nb::handle message);

// Raise the exception instance `error`; with `cause`, as `raise error from cause` does.
[[noreturn]] void raise_error(nb::handle error, nb::handle cause = nb::handle());

// Raise `marlox.errors.<name>(message)`; with a `note`, added to it as PEP 678 notes are.
[[noreturn]] void raise_sdk_error(const char *name, const std::string &message,
                                  const std::string &note = {});

// Inside a catch block: set the exception being handled as the Python exception, as nanobind's
// translation does for a bound function (for entry points that nanobind does not wrap).
void set_current_exception() noexcept;

// Raise the interpreter's own exception `type` (PyExc_ValueError, ...) with a fixed message, or
// with one formatted as PyErr_Format formats.
[[noreturn]] void raise_builtin(PyObject *type, const char *message);
[[noreturn]] void raise_formatted(PyObject *type, const char *format, ...);

// Raise ImportError for an optional dependency that is not installed: "<what> needs <module>:
// pip install 'marlox[<extra>]'".
[[noreturn]] void raise_missing_extra(const char *what, const char *module, const char *extra);

}  // namespace marlox::py
