// How the input reader makes objects of the companion module without a Python call per object:
// a table of functions that the objects module publishes in a capsule. The two extension modules
// keep their own copies of the schema tables, so types are named by their index in
// schema::types(), which is the same in both.
#pragma once

#include <Python.h>

#include <cstddef>

namespace marlox::objects {

inline constexpr const char *kFactoryCapsule = "marlox.external.idea_rcs.objects._factory";

struct Factory {
    std::size_t size;  // sizeof(Factory) as the objects module was built: a mismatch is refused
    // A new object of the type at `type`, from its fields' values in table order: new
    // references that are taken over, also on failure (nullptr: the field's default; a managed
    // list always starts empty). Every value is checked as the constructor checks it, and a
    // value that the constructor would store in another form is converted as it converts it, so
    // that the object is the one the constructor makes. Returns a new reference, or nullptr with
    // the constructor's exception set.
    PyObject *(*make)(std::size_t type, PyObject **values);
    // Append `part` (borrowed) to the managed list at field `field` of `owner`, an object that
    // make() made. 0, or -1 with an exception set.
    int (*append)(PyObject *owner, std::size_t field, PyObject *part);
};

}  // namespace marlox::objects
