// The OpenModel vocabulary as data: one table per object type and enumeration.
//
// The tables drive the Python types of the `objects` module (constructors, attributes,
// `_serialize()` and the signatures in the type stubs) and the writer of IDEA's input XML,
// so that a field is described once. Field keys are IDEA's element names; values are SI.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marlox::schema {

enum class Kind {
    Int,         // an integer (not a bool)
    Number,      // a real number, int or float, kept as given
    Bool,        // True or False
    Text,        // a str
    Date,        // a str "YYYY-MM-DD"
    Enum,        // a member of the enumeration named by `type`
    Object,      // an instance of the object type named by `type`
    Reference,   // a _ReferenceElement to an object whose list type is `type`
    TypeName,    // an object type of the vocabulary; serialised as its name
    Point,       // a pair (y, z) of numbers
    Polyline,    // a start point followed by points and arcs ((end), (on arc))
    Polylines,   // a sequence of polylines
    ObjectList,  // objects of type `type`, made by the owner's operations
    Parameters,  // shape parameters: name -> number
};

enum Flag : unsigned {
    None = 0,
    Optional = 1u << 0,     // None is accepted
    Positive = 1u << 1,     // a number > 0 (judged by validate(), not on construction)
    NonNegative = 1u << 2,  // a number >= 0 (likewise)
    Managed = 1u << 3,      // not a constructor argument; filled by the owner's operations
    ReadOnly = 1u << 4,     // no attribute setter
};

struct Field {
    const char *name;  // Python name: constructor argument and attribute
    const char *key;   // serialised key: IDEA's element name
    Kind kind;
    const char *type;      // enumeration or object type for Enum, Object, Reference, ObjectList
    const char *default_;  // Python literal of the default, or nullptr when required
    unsigned flags;
    const char *doc;

    bool has(Flag flag) const { return (flags & flag) != 0; }
};

struct Type {
    const char *name;  // Python and IDEA class name
    const char *base;  // base type in this vocabulary, nullptr for the root
    bool abstract;
    std::vector<Field> fields;              // in IDEA's element order, base fields first
    std::vector<const char *> constructor;  // argument order when it differs from `fields`
    const char *doc;

    int index_of(std::string_view field) const;
    // Constructor arguments, in order.
    std::vector<const Field *> arguments() const;
};

struct EnumMember {
    const char *name;   // Python member name
    const char *value;  // IDEA's member name, the member's value
};

struct Enumeration {
    const char *name;
    std::vector<EnumMember> members;
    const char *doc;

    const EnumMember *find_value(std::string_view value) const;
};

// Material tables (EN 1992-1-1 Table 3.1 and Annex C minima).
struct ConcreteGrade {
    const char *member;  // ConcreteMaterial member, e.g. "C30_37"
    const char *name;    // IDEA's name, e.g. "C30/37"
    int fck;             // MPa
};

struct ReinforcementGrade {
    const char *member;  // ReinforcementMaterial member, e.g. "B_500B"
    const char *name;    // IDEA's name, e.g. "B 500B"
    int fyk;             // MPa
    double ftk_by_fyk;   // k = ftk / fyk
    int epsuk;           // strain at maximum load in units of 1e-4
};

// Every name of the vocabulary in binding order: an object type, an enumeration or a table.
struct Entry {
    enum class What { Type, Enumeration, Table } what;
    const char *name;
};

const std::vector<Entry> &entries();
const std::vector<Type> &types();
const std::vector<Enumeration> &enumerations();
const std::vector<ConcreteGrade> &concrete_grades();
const std::vector<ReinforcementGrade> &reinforcement_grades();

const Type *find_type(std::string_view name);
const Enumeration *find_enumeration(std::string_view name);
// True when `type` is `base` or derives from it.
bool derives_from(const Type &type, std::string_view base);

// The Python annotation of a field, as written in signatures and stubs.
std::string annotation(const Field &field);

}  // namespace marlox::schema
