// A model as the checks and drawings read it: typed access to the objects of its lists, field by
// field as the vocabulary's tables define them, whatever holds the objects. The bindings read
// their own objects' storage through it; nothing is copied or serialised on the way.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/geometry.hpp"
#include "core/schema.hpp"

namespace marlox::model_view {

using geometry::Point;
using geometry::Vertex;

// A number as the caller gave it: an int or a float.
struct Number {
    double value = 0.0;
    bool integer = false;
};

// How a number reads in a message, as Python writes it: "30000000.0", "1e+300", "-30", "nan".
std::string python_text(const Number &number);

// A reference from one object to another: the list type it names, the id, and the type of the
// object it was made from when the model made it from an object (nullptr when it was given as
// a reference). The texts live as long as the types they name.
struct Reference {
    std::string_view type;
    double id = 0.0;
    const char *made_from = nullptr;
};

// The points and arcs of a polyline. With a coordinate that is not a finite number, `finite`
// is false, `bad` is that coordinate and `vertices` holds those before it.
struct Coordinates {
    std::vector<Vertex> vertices;
    bool finite = true;
    Number bad;
};

// A callable taken by reference for the duration of one call.
template <class Signature>
class FunctionRef;

template <class R, class... Args>
class FunctionRef<R(Args...)> {
  public:
    template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, FunctionRef>>>
    FunctionRef(F &&f)  // NOLINT: implicit, as a parameter type
        : object_(const_cast<void *>(static_cast<const void *>(&f))),
          call_([](void *o, Args... args) -> R {
              return (*static_cast<std::remove_reference_t<F> *>(o))(std::forward<Args>(args)...);
          }) {}
    R operator()(Args... args) const { return call_(object_, std::forward<Args>(args)...); }

  private:
    void *object_;
    R (*call_)(void *, Args...);
};

class Object;
using Visit = FunctionRef<void(const Object &)>;

// One object of the vocabulary. `field` is an index into `type().fields`. Every reader answers
// false (or "", or 0) when the field is unset, None or not of the kind asked for.
class Object {
  public:
    virtual ~Object() = default;
    virtual const schema::Type &type() const = 0;
    // Set and not None.
    virtual bool present(size_t field) const = 0;
    virtual bool number(size_t field, Number &out) const = 0;
    virtual bool boolean(size_t field, bool &out) const = 0;
    // A text, or an enumeration member's value.
    virtual std::string text(size_t field) const = 0;
    virtual bool reference(size_t field, Reference &out) const = 0;
    // The polyline of a Point (one vertex) or Polyline field, or of entry `index` of a
    // Polylines field; false when there is none.
    virtual bool vertices(size_t field, Coordinates &out) const = 0;
    virtual bool vertices_at(size_t field, size_t index, Coordinates &out) const = 0;
    // Entries of an ObjectList or Polylines field.
    virtual size_t count(size_t field) const = 0;
    // The nested object of an Object field, or entry `index` of an ObjectList field; `visit`
    // is not called when there is no object of the vocabulary there.
    virtual void object(size_t field, Visit visit) const = 0;
    virtual void object_at(size_t field, size_t index, Visit visit) const = 0;
    // The shape parameters of a Parameters field, in their order.
    virtual std::vector<std::pair<std::string, Number>> parameters(size_t field) const = 0;

    // The index of a field by its name; fields of the tables are never missing.
    size_t field(const char *name) const;
};

// The model's seven lists, its project data and code settings.
class Model {
  public:
    enum List {
        MatConcrete,
        MatReinforcement,
        CrossSection,
        ReinforcedCrossSection,
        CheckMember,
        CheckSection,
        Attribute,
    };
    static constexpr size_t kLists = 7;

    virtual ~Model() = default;
    virtual size_t count(List list) const = 0;
    // Entry `index` of a list; `visit` is not called when it is not an object of the
    // vocabulary.
    virtual void object(List list, size_t index, Visit visit) const = 0;
    virtual void project_data(Visit visit) const = 0;
    virtual void code_settings(Visit visit) const = 0;
};

}  // namespace marlox::model_view
