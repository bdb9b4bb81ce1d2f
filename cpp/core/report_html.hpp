// The calculation report of a result file and the model it was run from, as one self-contained
// HTML page (inline CSS and SVG, nothing fetched), in the order a checking engineer reads it:
// a summary with the failures first, project and code settings, materials, every reinforced
// section drawn with its properties, the loads of every extreme, the checks grouped by member
// (the utilisation along the member drawn, then per section the governing check and every item
// with its verdict, check value and the values behind it), every non-conformity by severity and
// where it occurs, and traceability.
//
// The page is written while the result file is scanned: each section's checks and
// non-conformities go to temporary files as the section comes, what the summary and the charts
// need is kept small, and the parts from the model are written before the scan, so that memory
// holds neither the check table nor the model, only one section and one piece of output.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/check_table.hpp"
#include "core/json.hpp"
#include "core/model_context.hpp"
#include "core/table.hpp"

namespace marlox::report {

struct Sources {
    std::string input_name, input_sha256;    // the input XML (or "" for a model in memory)
    std::string result_name, result_sha256;  // the result file
    std::string version;                     // of this package
    std::string created;                     // when the report was made (ISO 8601, UTC)
    std::string rcs_version;                 // of the RCS that ran, "" when not known
};

using Sink = std::function<void(std::string_view)>;

class Writer {
  public:
    // `model`: the serialised model (the document of `_serialize()`) without its check sections
    // (any there are not read), needed only while the model is given. Throws
    // marlox::Error(Value) for a document that is not a serialised model, and
    // marlox::Error(OS) when no temporary file can be made or written.
    Writer(const json::Value &model, const Sources &sources);
    ~Writer();
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // Each check section of `model` (the constructor's), as its entry of "check_section_list"
    // ([type, fields]), in order, before the scan: its names kept, its loads written.
    void add_model_section(const json::Value &model, const json::Value &entry);
    // The names of the model's check sections, for the check table's builder.
    const results::ModelContext &context() const noexcept;
    // The rows of one check section (the check table's columns, engineering units, read with
    // context()) and the non-conformities they state (their rows counted in `rows`).
    void add_section(const table::Table &rows,
                     const std::vector<results::NonConformity> &non_conformities);
    // The whole page to `sink`. Throws marlox::Error(Value) when no section held a check,
    // before anything is written, and whatever the sink throws.
    void finish(const Sink &sink);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace marlox::report
