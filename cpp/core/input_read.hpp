// The reader of IDEA StatiCa RCS input XML: an OpenModel document back into the objects of the
// vocabulary (core/schema), one top-level object at a time.
//
// The document is parsed on the interpreter's expat (set up as the result scanner sets up its
// own) and kept as a small element tree for one top-level object only, which is decoded by the
// schema tables and handed to a Sink before the next one is read (or, on two threads, handed
// over to be decoded on the other: core/input_pipeline): memory beyond the objects made stays
// bounded by the largest object. Faults of the document are reported as marlox::Error:
// ErrorKind::Parse as ElementTree reports XML faults, ErrorKind::Value naming the element and its
// line for everything the model cannot hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/expat_api.hpp"
#include "core/schema.hpp"

namespace marlox::input_read {

// A vertex of a polyline: a point (y, z), or an arc ending at (y, z) through (arc_y, arc_z).
struct Vertex {
    double y = 0, z = 0;
    bool arc = false;
    double arc_y = 0, arc_z = 0;

    bool same_point(const Vertex &other) const { return y == other.y && z == other.z; }
};

// The value of one field of an object, by the field's schema kind. Only the members of its
// kind hold its value: the others may hold what the slot held before.
struct Val {
    enum class Kind : std::uint8_t {
        Absent,  // not in the document: None, or the field's default
        Int,
        Number,
        Bool,
        Text,
        Enum,
        Object,      // objects[0]
        Objects,     // a managed list: objects, in document order
        Reference,   // type_name and integer (the id)
        Point,       // vertex
        Polyline,    // lines[0]
        Polylines,   // lines
        Parameters,  // parameters
    };
    Kind kind = Kind::Absent;
    bool boolean = false;
    long long integer = 0;
    double number = 0;
    std::string text;
    const char *type_name = nullptr;
    const schema::EnumMember *member = nullptr;
    Vertex vertex;
    std::vector<int> objects;
    std::vector<std::vector<Vertex>> lines;
    std::vector<std::pair<std::string, double>> parameters;
};

// One object to make: its type, where it stands, and its field values in the type's order.
struct Item {
    const schema::Type *type = nullptr;
    std::uint32_t line = 0;
    // Its element's tag and xsi:type (empty for none), viewing the document's text: valid while
    // the sink is given the object (and for good for project data and code settings).
    std::string_view tag, xsi_type;
    std::vector<Val> values;
    bool library = false;  // a material to take from the library by its name
    // Decoding state of IDEA's fields that the model states in another form.
    bool derived = true;  // a concrete's dependent values are derived from fck
    bool closed = false;  // a stirrup is closed
    int creep_mode = -1;  // member data: creep coefficient calculated (0) or given (1)
    double creep = 0;

    const Val &operator[](std::size_t field) const { return values[field]; }
    // How messages name it: <Tag> or <Tag xsi:type="T">.
    std::string element() const;
};

// The objects of one top-level entry: the entry itself and everything nested in it.
class Items {
  public:
    int add(const schema::Type &type, std::uint32_t line, std::string_view tag,
            std::string_view xsi_type = {});
    Item &operator[](int index) { return pool_[(std::size_t)index]; }
    const Item &operator[](int index) const { return pool_[(std::size_t)index]; }
    void clear() { used_ = 0; }

  private:
    std::vector<Item> pool_;  // reused from one entry to the next
    std::size_t used_ = 0;
};

// The model's lists, in the order of the serialised model.
enum class List {
    MatConcrete,
    MatReinforcement,
    CrossSection,
    ReinforcedCrossSection,
    CheckMember,
    CheckSection,
    Attribute
};

class Sink {
  public:
    virtual ~Sink() = default;
    // One top-level object (items[root]) for `list`; the items are reused after the call.
    virtual void object(List list, const Items &items, int root) = 0;
    // At the end: project data and code settings, each -1 when the document has none.
    virtual void settings(const Items &items, int project_data, int code_settings) = 0;
};

// A top-level element read whole and not yet decoded (input_tree.hpp).
struct TopLevel;

// Where a reader that hands its elements over puts each one it has read.
class Handoff {
  public:
    virtual ~Handoff() = default;
    // Takes `top`, leaving an element to read the next one into (or nullptr) in its place.
    virtual void read(std::unique_ptr<TopLevel> &top) = 0;
};

class Reader {
  public:
    Reader(const expat::Host &host, Sink &sink);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    // Parse the next piece; `final` on the last. Throws marlox::Error, or what the sink threw.
    void feed(const char *data, std::size_t len, bool final);
    // The root element has begun: the document's declaration (and with it the one call into the
    // host's handler of an unknown encoding) lies behind.
    bool past_prolog() const;

    // Reading and decoding on two threads. After hand_over(), feed() (on one thread) parses
    // only and hands each top-level element over as it is read; decode() (on the other) decodes
    // an element so read and gives its objects to the sink, and finish(), after the last,
    // checks the document as a whole and gives the sink the settings. Decoded in document
    // order, the sink sees what feed() alone would give it.
    void hand_over(Handoff &handoff);
    void decode(TopLevel &top);
    void finish();

    struct State;

  private:
    std::unique_ptr<State> state_;
};

}  // namespace marlox::input_read
