// The check table's scan of a result document without the interpreter: a scanner that keeps
// the section subtrees, fed bytes, whose finished sections go to the table builder as they end.
// It stops at the first thing that only the host can do (a section id that is not a plain
// 64-bit decimal, a value the builder could not read, a parse failure to report, a document
// of the wrong kind), leaving that section first in line, so that the host takes over exactly
// there and the outcome is the one a scan run wholly by the host would give.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "core/check_table.hpp"
#include "core/result_scan.hpp"

namespace marlox::results {

// The sections to keep: all, or those whose ids are listed (`fits` false: an id beyond 64 bits,
// which only the host compares). `seen` marks the listed ids found.
struct SectionFilter {
    bool all = true;
    std::vector<std::int64_t> ids;
    std::vector<bool> fits;
    std::vector<bool> seen;
};

// int(text) of a section's "SectionId" child, for the plain form: ASCII white space around an
// optional sign and ASCII digits, within 64 bits. False for anything else (no child, no text,
// underscores, other digits, overflow), which the host reads.
bool plain_section_id(const Dom &d, NodeId section, std::int64_t &out) noexcept;

class TableScan {
  public:
    enum class Status {
        Ok,            // fed; every finished section is in the table
        Host,          // the section at front() needs the host (its id, or its rows' numbers)
        Failed,        // the parse failed (scanner().failure()) after the sections before it
        InputXml,      // the document is an input XML document (see input_xml_root())
        NumberFailed,  // a value is not a number (number_error())
        Memory,        // the table could not grow
        Added          // a section's rows are in the table (see stop_after_each_section)
    };

    TableScan(std::unique_ptr<Scanner> scanner, CheckTableBuilder builder, SectionFilter filter);

    // Feed `len` bytes (final: the end of the document), then take the sections that ended.
    Status feed(const char *data, std::size_t len, bool final) noexcept;
    // Take the sections that ended (after the host has handled the front one).
    Status take_sections() noexcept;

    // The section that stopped the scan, and its release once the host has dealt with it.
    NodeId front() const noexcept { return scanner_->builder().ended_sections().front(); }
    void pop_front() noexcept;

    // With `stop`, the scan stops after each section whose rows it added (Status::Added), so
    // that the host takes them as they come.
    void stop_after_each_section(bool stop) noexcept { stop_after_each_ = stop; }

    // The name of the first element, when it marks an input XML document ("" otherwise).
    std::string_view input_xml_root() const noexcept;

    Scanner &scanner() noexcept { return *scanner_; }
    // Let the parser and the tree go (the scan is over).
    void drop_scanner() noexcept { scanner_.reset(); }
    CheckTableBuilder &builder() noexcept { return builder_; }
    SectionFilter &filter() noexcept { return filter_; }
    const NumberError &number_error() const noexcept { return number_error_; }
    // The sections taken so far (kept by the filter or not).
    std::size_t sections() const noexcept { return sections_; }

  private:
    std::unique_ptr<Scanner> scanner_;
    CheckTableBuilder builder_;
    SectionFilter filter_;
    NumberError number_error_;
    bool kind_checked_ = false;
    bool stop_after_each_ = false;
    bool failed_ = false;
    std::size_t sections_ = 0;
};

}  // namespace marlox::results
