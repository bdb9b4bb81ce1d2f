// The calculation report of a result file and the model it was run from, as one self-contained
// HTML page (inline CSS and SVG, nothing fetched), in the order a checking engineer reads it:
// a summary with the failures first, project and code settings, materials, every reinforced
// section drawn with its properties, the loads of every extreme, the checks of every section
// grouped by member (the governing one first, then every item with its verdict, check value and
// the values behind it), the non-conformities by severity, and traceability.
//
// The page is written piece by piece to a sink while the check table is walked: memory holds
// the table, an index of its sections and one piece of output, never the page.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/json.hpp"
#include "core/table.hpp"

namespace marlox::report {

struct Sources {
    std::string input_name, input_sha256;    // the input XML (or "" for a model in memory)
    std::string result_name, result_sha256;  // the result file
    std::string version;                     // of this package
    std::string created;                     // when the report was made (ISO 8601, UTC)
};

using Sink = std::function<void(std::string_view)>;

// `model`: the serialised model (the document of `_serialize()`); `checks`: its check table in
// engineering units, read with the model (core/check_table.hpp). Throws marlox::Error(Value)
// for a table without rows or in other units, and whatever the sink throws.
void write_html(const json::Value &model, const table::Table &checks, const Sources &sources,
                const Sink &sink);

}  // namespace marlox::report
