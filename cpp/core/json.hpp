// A small JSON reader: the documents that the conversion service receives.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marlox::json {

struct Value {
    enum class Type { Null, Bool, Number, String, Array, Object };

    Type type = Type::Null;
    bool boolean = false;
    bool integral = false;  // a number written without fraction or exponent
    double number = 0.0;
    std::string text;  // a string's content, or a number as written
    std::vector<Value> items;
    std::vector<std::pair<std::string, Value>> members;  // in document order

    bool is_null() const { return type == Type::Null; }
    // The member named `key`, or nullptr.
    const Value *find(std::string_view key) const;
};

// Parse a whole document (RFC 8259, plus NaN, Infinity and -Infinity as Python writes them).
// Throws marlox::Error(Value) with the byte offset of the first fault.
Value parse(std::string_view text);

const char *type_name(Value::Type type);

}  // namespace marlox::json
