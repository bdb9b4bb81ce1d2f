// What the files of the objects module share: the storage of every object, the module's
// classes by name, the checks of the values given to the objects, and their serialisation.
#pragma once

#include <Python.h>
#include <nanobind/nanobind.h>

#include <string>
#include <vector>

#include "bindings/helpers.hpp"
#include "core/error.hpp"
#include "core/schema.hpp"

namespace nb = nanobind;

namespace marlox::objects {

namespace schema = marlox::schema;
using py::steal_or_throw;
using py::throw_python;
using py::truthy;
using schema::Field;
using schema::Kind;

// Storage of every object: the checked value of each field of its type, in table order.
struct Obj {
    const schema::Type *type = nullptr;
    std::vector<nb::object> values;
    // A reference that a model made from an object: that object's type name (the schema's,
    // static), so that the checks can tell a material of the wrong kind; else nullptr.
    const char *made_from = nullptr;
};

// One C++ type per Python class (nanobind binds each C++ type once).
template <int N, class Base = Obj>
struct T : Base {};

// A class or enumeration of the module by name (KeyError if there is none).
nb::handle lookup(const std::string &name);

Obj &object_of(nb::handle value, const char *cls);

// --- the checks of values given to the objects (objects_values.cpp) ---------------------

[[noreturn]] void value_error(const std::string &context, const char *argument,
                              const std::string &what);
std::string text_of(nb::handle value);
bool is_int(nb::handle v);
double as_double(nb::handle v);
nb::object check_number(const std::string &context, const Field &field, nb::handle value);
nb::object check_point(const std::string &context, const char *argument, nb::handle value);

nb::object convert(const std::string &context, const Field &field, nb::handle value);
// The Python value of a field's default literal in the tables.
nb::object default_value(const Field &field);
std::vector<nb::object> bind_arguments(const schema::Type &type, nb::args args, nb::kwargs kwargs);

// The operations of the objects that own lists (objects_operations.cpp).
void bind_operations(nb::handle rcs_cls, nb::handle section_cls, nb::handle component_cls);

// The factory of the input reader (objects_factory.cpp): each class registers how its storage
// is constructed, and the module publishes the factory once every class is bound.
void register_constructor(const schema::Type &type, Obj &(*construct)(nb::handle self));
void bind_factory(nb::module_ &m);

// The value of one field as `_serialize()` gives it: nested objects and enumeration members
// are left for the encoder.
nb::object plain(const schema::Field &field, nb::handle value);

// The serialised document written natively: _plain_document and _dump_document. Called once
// every class and enumeration of the module is published.
void bind_document(nb::module_ &m);

}  // namespace marlox::objects
