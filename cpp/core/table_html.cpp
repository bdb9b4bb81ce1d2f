#include "core/table_html.hpp"

#include <cmath>
#include <cstdio>
#include <vector>

#include "core/governing.hpp"
#include "core/markup.hpp"

namespace marlox::table {

void escape_html(std::string &out, std::string_view text) { markup::escape(out, text); }

std::string display_number(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    if (value == 0) return "0";  // and -0
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", value);
    return buffer;
}

namespace {

std::string cell(const Column &c, std::size_t row) {
    if (!c.valid(row)) return {};
    switch (c.type()) {
        case Type::Int64:
        case Type::Int32:
            return std::to_string(c.int_at(row));
        case Type::Float64:
            return display_number(c.float_at(row));
        case Type::Bool:
            return c.bool_at(row) ? "true" : "false";
        case Type::Text:
            return std::string(c.text_at(row));
    }
    return {};
}

}  // namespace

std::string to_html(const Table &t, const std::string &caption, std::size_t max_rows) {
    const std::size_t rows = std::min(max_rows, t.rows());
    std::vector<const Column *> shown;
    for (const Column &c : t.columns) {
        bool any = !c.nullable();
        for (std::size_t r = 0; r < rows && !any; ++r) any = c.valid(r);
        if (any) shown.push_back(&c);
    }
    const Column *result = t.find("result");
    const Column *failed_items = t.find("failed_items");
    std::string out =
        "<div class=\"marlox-table\" style=\"overflow-x:auto\"><style>.marlox-table "
        "td.n{text-align:right}"
        ".marlox-table tr.failed td{background:#fde2e1;color:#8a1c13}"
        ".marlox-table tr.failed td.verdict{font-weight:bold}"
        ".marlox-table th .unit{font-weight:normal;color:#666}</style>"
        "<table><caption style=\"text-align:left\">";
    escape_html(out, caption);
    if (rows < t.rows()) {
        out += " (the first " + std::to_string(rows) + ")";
    }
    out += "</caption><thead><tr>";
    for (const Column *c : shown) {
        out += "<th>";
        escape_html(out, c->name());
        if (!c->unit().empty() && c->unit() != "1") {
            out += "<br><span class=\"unit\">[";
            escape_html(out, c->unit());
            out += "]</span>";
        }
        out += "</th>";
    }
    out += "</tr></thead><tbody>";
    for (std::size_t r = 0; r < rows; ++r) {
        bool failed = result != nullptr && result->valid(r) &&
                      results::verdict_of(result->text_at(r)) == results::Verdict::Failed;
        if (failed_items != nullptr && failed_items->int_at(r) > 0) failed = true;
        out += failed ? "<tr class=\"failed\">" : "<tr>";
        for (const Column *c : shown) {
            const bool number = c->type() != Type::Text && c->type() != Type::Bool;
            out += c == result ? "<td class=\"verdict\">" : number ? "<td class=\"n\">" : "<td>";
            escape_html(out, cell(*c, r));
            out += "</td>";
        }
        out += "</tr>";
    }
    out += "</tbody></table></div>";
    return out;
}

}  // namespace marlox::table
