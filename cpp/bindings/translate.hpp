// The one place where C++ failures become Python exceptions.
#pragma once

#include <nanobind/nanobind.h>

#include "core/error.hpp"

namespace marlox::py {

namespace nb = nanobind;

// Set the Python exception that corresponds to `error` (the error indicator must be clear).
void set_python_error(const Error &error) noexcept;

// Register the translation of marlox::Error for the module being initialised.
void register_error_translator();

// Raise `marlox.errors.<name>(message)`, looked up in the SDK module at call time.
[[noreturn]] void raise_sdk_error(const char *name, const std::string &message);

}  // namespace marlox::py
