// JSON text exactly as Python's json.dumps writes it with its standard settings: numbers in
// the interpreter's repr() form, strings with every character outside printable ASCII
// escaped (ensure_ascii).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace marlox::json {

// repr() of a float, as json.dumps writes it: "0.5", "32800000000.0", "1e-05", "1e+16",
// "-0.0", and "NaN", "Infinity", "-Infinity" for the values that are not finite.
void append_float(std::string &out, double value);

// A string literal, quotes included, of code points given as UCS-1, UCS-2 or UCS-4 units.
template <class Unit>
void append_string(std::string &out, const Unit *units, std::size_t count) {
    static const char kHex[] = "0123456789abcdef";
    auto escape = [&out](std::uint32_t unit) {
        const char text[6] = {'\\',
                              'u',
                              kHex[(unit >> 12) & 15],
                              kHex[(unit >> 8) & 15],
                              kHex[(unit >> 4) & 15],
                              kHex[unit & 15]};
        out.append(text, 6);
    };
    out += '"';
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t c = units[i];
        if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
            out += static_cast<char>(c);
            continue;
        }
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (c >= 0x10000) {  // as a surrogate pair
                    escape(0xd800 | ((c - 0x10000) >> 10));
                    escape(0xdc00 | ((c - 0x10000) & 0x3ff));
                } else {
                    escape(c);
                }
        }
    }
    out += '"';
}

}  // namespace marlox::json
