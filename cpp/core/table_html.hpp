// A table as an HTML fragment for a notebook: the first rows, each column's unit in its header,
// failed checks highlighted. Columns without a value in the rows shown are left out, so that a
// check table shows the values its rows state.
#pragma once

#include <cstddef>
#include <string>

#include "core/table.hpp"

namespace marlox::table {

// `caption`: plain text above the table (escaped here); `max_rows`: the rows shown.
std::string to_html(const Table &table, const std::string &caption, std::size_t max_rows);

// `text` with &, <, >, " escaped, appended to `out`.
void escape_html(std::string &out, std::string_view text);

// A number as a reader wants it: up to six significant digits, no trailing zeros.
std::string display_number(double value);

}  // namespace marlox::table
