#include "core/json.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <system_error>

#include "core/error.hpp"

namespace marlox::json {

namespace {

constexpr int kMaxDepth = 256;

class Parser {
  public:
    explicit Parser(std::string_view text) : s_(text) {}

    Value document() {
        Value value = parse_value(0);
        skip_space();
        if (pos_ != s_.size()) error("extra data after the document");
        return value;
    }

  private:
    [[noreturn]] void error(const std::string &what) const {
        fail(ErrorKind::Value, "invalid JSON at byte " + std::to_string(pos_) + ": " + what);
    }

    void skip_space() {
        while (pos_ < s_.size() &&
               (s_[pos_] == ' ' || s_[pos_] == '\t' || s_[pos_] == '\n' || s_[pos_] == '\r'))
            ++pos_;
    }

    bool take(std::string_view word) {
        if (s_.substr(pos_, word.size()) != word) return false;
        pos_ += word.size();
        return true;
    }

    Value parse_value(int depth) {
        if (depth > kMaxDepth) error("nesting deeper than " + std::to_string(kMaxDepth));
        skip_space();
        if (pos_ >= s_.size()) error("unexpected end");
        Value v;
        const char c = s_[pos_];
        if (c == '{') {
            v.type = Value::Type::Object;
            ++pos_;
            skip_space();
            if (pos_ < s_.size() && s_[pos_] == '}') {
                ++pos_;
                return v;
            }
            for (;;) {
                skip_space();
                if (pos_ >= s_.size() || s_[pos_] != '"') error("expected a member name");
                std::string key = parse_string();
                skip_space();
                if (pos_ >= s_.size() || s_[pos_] != ':') error("expected ':'");
                ++pos_;
                v.members.emplace_back(std::move(key), parse_value(depth + 1));
                skip_space();
                if (pos_ < s_.size() && s_[pos_] == ',') {
                    ++pos_;
                    continue;
                }
                if (pos_ < s_.size() && s_[pos_] == '}') {
                    ++pos_;
                    return v;
                }
                error("expected ',' or '}'");
            }
        }
        if (c == '[') {
            v.type = Value::Type::Array;
            ++pos_;
            skip_space();
            if (pos_ < s_.size() && s_[pos_] == ']') {
                ++pos_;
                return v;
            }
            for (;;) {
                v.items.push_back(parse_value(depth + 1));
                skip_space();
                if (pos_ < s_.size() && s_[pos_] == ',') {
                    ++pos_;
                    continue;
                }
                if (pos_ < s_.size() && s_[pos_] == ']') {
                    ++pos_;
                    return v;
                }
                error("expected ',' or ']'");
            }
        }
        if (c == '"') {
            v.type = Value::Type::String;
            v.text = parse_string();
            return v;
        }
        if (take("true")) {
            v.type = Value::Type::Bool;
            v.boolean = true;
            return v;
        }
        if (take("false")) {
            v.type = Value::Type::Bool;
            return v;
        }
        if (take("null")) return v;
        if (take("NaN")) return special(std::numeric_limits<double>::quiet_NaN(), "NaN");
        if (take("Infinity")) return special(std::numeric_limits<double>::infinity(), "Infinity");
        if (take("-Infinity"))
            return special(-std::numeric_limits<double>::infinity(), "-Infinity");
        return parse_number();
    }

    static Value special(double number, const char *text) {
        Value v;
        v.type = Value::Type::Number;
        v.number = number;
        v.text = text;
        return v;
    }

    Value parse_number() {
        const size_t start = pos_;
        bool integral = true;
        if (pos_ < s_.size() && s_[pos_] == '-') ++pos_;
        if (pos_ >= s_.size() || !digit(s_[pos_])) error("unexpected character");
        if (s_[pos_] == '0')
            ++pos_;
        else
            while (pos_ < s_.size() && digit(s_[pos_])) ++pos_;
        if (pos_ < s_.size() && s_[pos_] == '.') {
            integral = false;
            ++pos_;
            if (pos_ >= s_.size() || !digit(s_[pos_])) error("expected a digit");
            while (pos_ < s_.size() && digit(s_[pos_])) ++pos_;
        }
        if (pos_ < s_.size() && (s_[pos_] == 'e' || s_[pos_] == 'E')) {
            integral = false;
            ++pos_;
            if (pos_ < s_.size() && (s_[pos_] == '+' || s_[pos_] == '-')) ++pos_;
            if (pos_ >= s_.size() || !digit(s_[pos_])) error("expected a digit");
            while (pos_ < s_.size() && digit(s_[pos_])) ++pos_;
        }
        Value v;
        v.type = Value::Type::Number;
        v.integral = integral;
        v.text = std::string(s_.substr(start, pos_ - start));
        // Correctly rounded, as strtod, without the locale.
        const auto [end, status] = std::from_chars(s_.data() + start, s_.data() + pos_, v.number);
        if (status == std::errc::result_out_of_range) {
            v.number = std::strtod(v.text.c_str(), nullptr);  // the overflow and underflow values
        } else if (status != std::errc() || end != s_.data() + pos_) {
            error("unexpected character");
        }
        return v;
    }

    static bool digit(char c) { return c >= '0' && c <= '9'; }

    unsigned hex4() {
        if (pos_ + 4 > s_.size()) error("truncated \\u escape");
        unsigned code = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = s_[pos_++];
            code <<= 4;
            if (c >= '0' && c <= '9')
                code |= unsigned(c - '0');
            else if (c >= 'a' && c <= 'f')
                code |= unsigned(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                code |= unsigned(c - 'A' + 10);
            else
                error("bad \\u escape");
        }
        return code;
    }

    static void append_utf8(std::string &out, unsigned code) {
        if (code < 0x80) {
            out += char(code);
        } else if (code < 0x800) {
            out += char(0xC0 | (code >> 6));
            out += char(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            out += char(0xE0 | (code >> 12));
            out += char(0x80 | ((code >> 6) & 0x3F));
            out += char(0x80 | (code & 0x3F));
        } else {
            out += char(0xF0 | (code >> 18));
            out += char(0x80 | ((code >> 12) & 0x3F));
            out += char(0x80 | ((code >> 6) & 0x3F));
            out += char(0x80 | (code & 0x3F));
        }
    }

    std::string parse_string() {
        ++pos_;  // the opening quote
        std::string out;
        for (;;) {
            // Plain characters are taken a run at a time.
            const size_t run = pos_;
            while (pos_ < s_.size() && s_[pos_] != '"' && s_[pos_] != '\\' &&
                   static_cast<unsigned char>(s_[pos_]) >= 0x20)
                ++pos_;
            out.append(s_.data() + run, pos_ - run);
            if (pos_ >= s_.size()) error("unterminated string");
            const char c = s_[pos_++];
            if (c == '"') return out;
            if (static_cast<unsigned char>(c) < 0x20) error("control character in a string");
            if (c != '\\') {
                out += c;
                continue;
            }
            if (pos_ >= s_.size()) error("unterminated string");
            const char e = s_[pos_++];
            switch (e) {
                case '"':
                    out += '"';
                    break;
                case '\\':
                    out += '\\';
                    break;
                case '/':
                    out += '/';
                    break;
                case 'b':
                    out += '\b';
                    break;
                case 'f':
                    out += '\f';
                    break;
                case 'n':
                    out += '\n';
                    break;
                case 'r':
                    out += '\r';
                    break;
                case 't':
                    out += '\t';
                    break;
                case 'u': {
                    unsigned code = hex4();
                    if (code >= 0xD800 && code < 0xDC00 && s_.substr(pos_, 2) == "\\u") {
                        const size_t mark = pos_;
                        pos_ += 2;
                        const unsigned low = hex4();
                        if (low >= 0xDC00 && low < 0xE000)
                            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                        else
                            pos_ = mark;
                    }
                    append_utf8(out, code);
                    break;
                }
                default:
                    error("bad escape");
            }
        }
    }

    std::string_view s_;
    size_t pos_ = 0;
};

}  // namespace

const Value *Value::find(std::string_view key) const {
    for (const auto &member : members)
        if (member.first == key) return &member.second;
    return nullptr;
}

Value parse(std::string_view text) { return Parser(text).document(); }

const char *type_name(Value::Type type) {
    switch (type) {
        case Value::Type::Null:
            return "null";
        case Value::Type::Bool:
            return "a boolean";
        case Value::Type::Number:
            return "a number";
        case Value::Type::String:
            return "a string";
        case Value::Type::Array:
            return "an array";
        case Value::Type::Object:
            return "an object";
    }
    return "a value";
}

}  // namespace marlox::json
