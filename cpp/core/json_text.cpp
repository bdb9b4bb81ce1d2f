#include "core/json_text.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

namespace marlox::json {

void append_float(std::string &out, double value) {
    if (std::isnan(value)) {
        out += "NaN";
        return;
    }
    if (std::isinf(value)) {
        out += value > 0 ? "Infinity" : "-Infinity";
        return;
    }
    // The shortest digits that read back as the value, as the interpreter's repr() finds them
    // (both choose, among the shortest, the digits nearest to the value).
    char buffer[32];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    const char *p = buffer;
    if (*p == '-') {
        out += '-';
        ++p;
    }
    char digits[24];
    int count = 0;
    for (; *p != 'e'; ++p) {
        if (*p != '.') digits[count++] = *p;
    }
    int exponent10 = 0;
    const char *sign = p + 1;  // from_chars takes no '+'
    std::from_chars(*sign == '+' ? sign + 1 : sign, result.ptr, exponent10);
    // Position of the decimal point counted from the first digit, as repr() counts it.
    const int point = exponent10 + 1;
    if (point > -4 && point <= 16) {
        if (point <= 0) {
            out += "0.";
            out.append(static_cast<std::size_t>(-point), '0');
            out.append(digits, static_cast<std::size_t>(count));
        } else if (point < count) {
            out.append(digits, static_cast<std::size_t>(point));
            out += '.';
            out.append(digits + point, static_cast<std::size_t>(count - point));
        } else {
            out.append(digits, static_cast<std::size_t>(count));
            out.append(static_cast<std::size_t>(point - count), '0');
            out += ".0";
        }
        return;
    }
    out += digits[0];
    if (count > 1) {
        out += '.';
        out.append(digits + 1, static_cast<std::size_t>(count - 1));
    }
    const int exponent = point - 1;
    out += exponent < 0 ? "e-" : "e+";
    const int magnitude = std::abs(exponent);
    if (magnitude < 10) out += '0';
    char number[8];
    const auto written = std::to_chars(number, number + sizeof number, magnitude);
    out.append(number, written.ptr);
}

}  // namespace marlox::json
