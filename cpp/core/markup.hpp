// Text written into HTML or SVG: the five characters that markup gives a meaning, escaped, so
// that a name from a model can never open an element or end an attribute.
#pragma once

#include <string>
#include <string_view>

namespace marlox::markup {

inline void escape(std::string &out, std::string_view text) {
    for (char c : text) {
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
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
}

inline std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    escape(out, text);
    return out;
}

}  // namespace marlox::markup
