// What the writers of the input XML share: the indented output, the reading of the model's
// JSON with errors that name the object and the field, the model's ids, and the writers of the
// materials and cross-sections (input_xml_sections.cpp).
#pragma once

#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/error.hpp"
#include "core/input_xml.hpp"
#include "core/json.hpp"
#include "core/schema.hpp"

namespace marlox::input_xml {

using json::Value;

// ---------------------------------------------------------------------------------------------
// Output

class Xml {
  public:
    Xml() { out_.reserve(1 << 16); }

    void open(std::string_view tag, std::string_view xsi_type = {}) {
        indent();
        out_ += '<';
        out_ += tag;
        if (!xsi_type.empty()) {
            out_ += " xsi:type=\"";
            out_ += xsi_type;
            out_ += '"';
        }
        out_ += ">\n";
        ++depth_;
    }

    void close(std::string_view tag) {
        --depth_;
        indent();
        out_ += "</";
        out_ += tag;
        out_ += ">\n";
    }

    void empty(std::string_view tag) {
        indent();
        out_ += '<';
        out_ += tag;
        out_ += " />\n";
    }

    // An element whose text is already valid XML text.
    void leaf(std::string_view tag, std::string_view text) {
        if (text.empty()) return empty(tag);
        indent();
        out_ += '<';
        out_ += tag;
        out_ += '>';
        out_ += text;
        out_ += "</";
        out_ += tag;
        out_ += ">\n";
    }

    void raw(std::string_view text) { out_ += text; }
    void reserve(size_t bytes) { out_.reserve(bytes); }
    std::string take() { return std::move(out_); }

  private:
    void indent() { out_.append(static_cast<size_t>(depth_) * 2, ' '); }

    std::string out_;
    int depth_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Reading the document, with errors that name the object and the field

class Reader {
  public:
    Reader(const Value &object, std::string context)
        : object_(object), context_(std::move(context)) {
        if (object.type != Value::Type::Object)
            fail_here("must be an object, not " + std::string(json::type_name(object.type)));
    }

    const std::string &context() const { return context_; }

    [[noreturn]] void fail_here(const std::string &what) const {
        fail(ErrorKind::Value, context_ + " " + what);
    }

    [[noreturn]] void fail_field(std::string_view key, const std::string &what) const {
        fail(ErrorKind::Value, context_ + ": '" + std::string(key) + "' " + what);
    }

    const Value &get(std::string_view key) const {
        const Value *value = object_.find(key);
        if (value == nullptr) fail_field(key, "is missing");
        return *value;
    }

    bool is_null(std::string_view key) const {
        const Value *value = object_.find(key);
        return value == nullptr || value->is_null();
    }

    const Value &typed(std::string_view key, Value::Type type) const {
        const Value &value = get(key);
        if (value.type != type)
            fail_field(key, std::string("must be ") + json::type_name(type) + ", not " +
                                json::type_name(value.type));
        return value;
    }

    std::string number(std::string_view key) const {
        const Value &value = typed(key, Value::Type::Number);
        if (!std::isfinite(value.number))
            fail_field(key, "must be a finite number, not " + value.text);
        return format_number(value.number);
    }

    double real(std::string_view key) const {
        const Value &value = typed(key, Value::Type::Number);
        if (!std::isfinite(value.number))
            fail_field(key, "must be a finite number, not " + value.text);
        return value.number;
    }

    long long integer(std::string_view key) const {
        const Value &value = typed(key, Value::Type::Number);
        if (!value.integral || std::fabs(value.number) > 2147483647.0)
            fail_field(key, "must be a 32-bit integer, not " + value.text);
        return std::strtoll(value.text.c_str(), nullptr, 10);
    }

    const char *boolean(std::string_view key) const {
        return typed(key, Value::Type::Bool).boolean ? "true" : "false";
    }

    std::string text(std::string_view key) const {
        return escape(key, typed(key, Value::Type::String).text);
    }

    // An enumeration member by IDEA's name, checked against the enumeration.
    std::string member(std::string_view key, const char *enumeration) const {
        const std::string &value = typed(key, Value::Type::String).text;
        const schema::Enumeration *e = schema::find_enumeration(enumeration);
        if (e == nullptr || e->find_value(value) == nullptr)
            fail_field(
                key, "must be a " + std::string(enumeration) + " member name, not '" + value + "'");
        return value;
    }

    Reader object(std::string_view key) const {
        return Reader(typed(key, Value::Type::Object), context_ + " '" + std::string(key) + "'");
    }

    const std::vector<Value> &array(std::string_view key) const {
        return typed(key, Value::Type::Array).items;
    }

    // Text made safe for XML: markup escaped, characters XML cannot carry refused.
    std::string escape(std::string_view key, const std::string &raw) const {
        std::string out;
        out.reserve(raw.size());
        for (size_t i = 0; i < raw.size(); ++i) {
            const unsigned char c = static_cast<unsigned char>(raw[i]);
            if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
                fail_field(key, "holds a control character that XML cannot carry");
            if (c == 0xED && i + 1 < raw.size() &&
                (static_cast<unsigned char>(raw[i + 1]) & 0xE0) == 0xA0)
                fail_field(key, "holds a lone surrogate that XML cannot carry");
            switch (c) {
                case '&':
                    out += "&amp;";
                    break;
                case '<':
                    out += "&lt;";
                    break;
                case '>':
                    out += "&gt;";
                    break;
                case '\r':
                    out += "&#xD;";
                    break;
                default:
                    out += static_cast<char>(c);
            }
        }
        return out;
    }

  private:
    const Value &object_;
    std::string context_;
};

inline std::string describe(const char *type, const Value &object) {
    std::string text = type;
    if (object.type == Value::Type::Object) {
        const Value *id = object.find("Id");
        if (id != nullptr && id->type == Value::Type::Number) text += " " + id->text;
    }
    return text;
}

// ---------------------------------------------------------------------------------------------
// The model's objects, their ids and references

struct Model {
    std::map<std::string, std::set<long long>> ids;  // list type -> ids present

    void add(const std::string &list, const Reader &object) {
        const long long id = object.integer("Id");
        if (!ids[list].insert(id).second)
            object.fail_field("Id", "repeats id " + std::to_string(id) + " of another " + list);
    }
};

void write_reference(Xml &xml, const Model &model, const Reader &owner, std::string_view key,
                     const char *list_type);

void write_concrete(Xml &xml, const Reader &m);
void write_reinforcement(Xml &xml, const Reader &m);
void write_cross_section_parameter(Xml &xml, const Model &model, const Reader &cs);
void write_cross_section_component(Xml &xml, const Model &model, const Reader &cs);
void write_reinforced_cross_section(Xml &xml, const Model &model, const Reader &rcs);

}  // namespace marlox::input_xml
