#include "core/model_view.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "core/error.hpp"

namespace marlox::model_view {

std::string python_text(const Number &number) {
    const double x = number.value;
    if (std::isnan(x)) return "nan";
    if (std::isinf(x)) return x > 0 ? "inf" : "-inf";
    char buffer[64];
    if (number.integer && std::fabs(x) < 9.007199254740992e15) {
        const auto end = std::to_chars(buffer, buffer + sizeof buffer, static_cast<long long>(x));
        return std::string(buffer, end.ptr);
    }
    // The shortest digits that read back, placed as Python's repr places them: positional
    // from 1e-4 up to 1e16, else with an exponent of at least two digits.
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, x, std::chars_format::scientific);
    const std::string_view text(buffer, static_cast<size_t>(end.ptr - buffer));
    const size_t e = text.find('e');
    std::string sign, digits;
    for (char c : text.substr(0, e)) {
        if (c == '-')
            sign = "-";
        else if (c != '.')
            digits += c;
    }
    const int exponent = std::atoi(std::string(text.substr(e + 1)).c_str());
    std::string out = sign;
    if (exponent >= -4 && exponent < 16) {
        if (exponent < 0) {
            out += "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
        } else {
            const size_t whole = static_cast<size_t>(exponent) + 1;
            if (digits.size() <= whole)
                out += digits + std::string(whole - digits.size(), '0') + ".0";
            else
                out += digits.substr(0, whole) + "." + digits.substr(whole);
        }
        return out;
    }
    out += digits.substr(0, 1);
    if (digits.size() > 1) out += "." + digits.substr(1);
    const int magnitude = std::abs(exponent);
    out += exponent < 0 ? "e-" : "e+";
    if (magnitude < 10) out += "0";
    return out + std::to_string(magnitude);
}

size_t Object::field(const char *name) const {
    const int index = type().index_of(name);
    if (index < 0) fail(ErrorKind::Key, std::string("no field ") + name);
    return static_cast<size_t>(index);
}

}  // namespace marlox::model_view
