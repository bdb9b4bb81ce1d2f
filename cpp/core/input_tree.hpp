// Inside the input reader: the element tree of one top-level entry, and the decoder that turns
// it into items by the schema tables (input_decode.cpp).
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/input_read.hpp"

namespace marlox::input_read {

template <std::size_t N>
bool is_one_of(std::string_view s, const char *const (&names)[N]) {
    for (const char *name : names)
        if (s == name) return true;
    return false;
}

struct Node {
    std::size_t tag_off = 0, type_off = 0, text_off = 0;
    std::uint32_t tag_len = 0, type_len = 0, text_len = 0;
    std::uint32_t line = 0;
    std::int32_t first = -1, last = -1, next = -1;
    bool has_type = false;
};

class Tree {
  public:
    std::vector<Node> nodes;
    std::string arena;

    void clear() {
        nodes.clear();
        arena.clear();
    }
    const Node &operator[](int i) const { return nodes[(std::size_t)i]; }
    std::string_view tag(int i) const { return view((*this)[i].tag_off, (*this)[i].tag_len); }
    std::string_view xsi_type(int i) const {
        return view((*this)[i].type_off, (*this)[i].type_len);
    }
    bool has_type(int i) const { return (*this)[i].has_type; }
    std::string_view text(int i) const { return view((*this)[i].text_off, (*this)[i].text_len); }
    int first(int i) const { return (*this)[i].first; }
    int next(int i) const { return (*this)[i].next; }
    // No child elements and nothing but white space.
    bool empty(int i) const;
    // How messages name an element: <Tag> or <Tag xsi:type="T">.
    std::string element(int i) const;
    [[noreturn]] void fail_at(int i, const std::string &what) const;

  private:
    std::string_view view(std::size_t off, std::uint32_t len) const {
        return std::string_view(arena.data() + off, len);
    }
};

// The table entry of a top-level list (input_read.cpp).
struct ListEntry;

struct TopLevel {
    const ListEntry *list = nullptr;  // the list of an entry; nullptr for a singleton
    std::string tag;                  // a singleton's tag
    int node = -1;
    Tree tree;
};

// What the decoder looks up for a type at every element: its field keys (with their lengths,
// so that lookups do not measure them again) and the role that selects its special elements.
struct TypeInfo {
    enum Role : unsigned {
        Concrete = 1u << 0,
        Reinforcement = 1u << 1,
        CrossSection = 1u << 2,
        Component = 1u << 3,
        Stirrup = 1u << 4,
        MemberData = 1u << 5,
        ProjectData = 1u << 6,
        Extreme = 1u << 7,
        Material = Concrete | Reinforcement,
    };
    std::vector<std::string_view> keys;
    unsigned role = 0;

    bool is(unsigned r) const { return (role & r) != 0; }
    // The field whose key is `key`, or the number of fields.
    std::size_t field(std::string_view key) const {
        std::size_t f = 0;
        while (f < keys.size() && keys[f] != key) ++f;
        return f;
    }
};

const TypeInfo &info(const schema::Type &type);

// A reference to check once the whole document is known.
struct PendingReference {
    const char *list;
    long long id;
    std::uint32_t line;
    const char *element;
};

class Decoder {
  public:
    Decoder(const Tree &tree) : tree_(tree) {}

    // A list entry of `type` at `node` into `items` (cleared first); returns its index.
    int entry(int node, const schema::Type &type, Items &items);
    // Singletons: project data and the two code-setting elements, into settings items.
    void project_data(int node, Items &items, int project, int code);
    void concrete_setup(int node);
    void project_data_concrete(int node, Items &items, int code);
    // After the document: references resolve, annexes agree. Throws.
    void finish(const Items &settings, int code) const;

  private:
    int object(int node, const schema::Type &type);
    void fill(int index, int node);
    bool special(int index, int node, int child, std::string_view key);
    void field(int index, std::size_t f, int child);
    void complete(int index, int node);
    void member_data(int index, int child, std::string_view key);
    void check_fixed(int child, const std::string &path);
    void sub_value(int index, const char *name, const char *type, int child);
    void exposure(int index, int child);
    void zero_values(int index);

    double number(int node) const;
    long long integer(int node) const;
    bool boolean(int node) const;
    std::string_view value(int node) const;
    const schema::EnumMember *member(int node, const char *enumeration) const;
    using Parts = std::array<int, 2>;
    Parts parts(int node, std::initializer_list<std::string_view> names, std::size_t required,
                const char *owner) const;
    Vertex point(int node) const;
    std::vector<Vertex> polyline(int node, bool drop_closing) const;
    Val &val(int index, const char *field);

    const Tree &tree_;
    Items *items_ = nullptr;
    // The ids of each list, by the list's name (looked up without making a string).
    std::map<std::string, std::unordered_set<long long>, std::less<>> ids_;
    std::vector<PendingReference> references_;
    std::string path_;  // scratch for the paths of fixed values
    int code_ = -1;     // the code-settings item while project data is decoded
    const schema::EnumMember *setup_annex_ = nullptr;
    std::uint32_t setup_line_ = 0;
};

}  // namespace marlox::input_read
