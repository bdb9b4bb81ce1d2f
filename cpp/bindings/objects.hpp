// What the files of the companion module share: the storage of every object, its
// serialisation, and the areas that bind themselves into the module.
#pragma once

#include <nanobind/nanobind.h>

#include <vector>

#include "core/schema.hpp"

namespace marlox::objects {

namespace nb = nanobind;

// Storage of every object: the checked value of each field of its type, in table order.
struct Obj {
    const schema::Type *type = nullptr;
    std::vector<nb::object> values;
};

// One C++ type per Python class (nanobind binds each C++ type once).
template <int N, class Base = Obj>
struct T : Base {};

// The value of one field as `_serialize()` gives it: nested objects and enumeration members
// are left for the encoder.
nb::object plain(const schema::Field &field, nb::handle value);

// The serialised document written natively: _plain_document and _dump_document. Called once
// every class and enumeration of the module is published.
void bind_document(nb::module_ &m);

}  // namespace marlox::objects
