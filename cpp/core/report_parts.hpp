// What the parts of the calculation report share: the output in pieces, numbers as the page
// writes them, and the temporary file that parts written early are kept in until their place
// on the page comes. Only the report's own files include this.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/json.hpp"
#include "core/report_html.hpp"

namespace marlox::report::detail {

constexpr std::size_t kPiece = 1 << 16;  // bytes handed on at a time

// The output, handed to a sink in pieces.
class Out {
  public:
    explicit Out(Sink sink) : sink_(std::move(sink)) { buffer_.reserve(kPiece + 4096); }
    Out(const Out &) = delete;
    Out &operator=(const Out &) = delete;
    Out &operator<<(std::string_view s) {
        buffer_ += s;
        if (buffer_.size() >= kPiece) flush();
        return *this;
    }
    // Text, escaped.
    Out &text(std::string_view s);
    void flush() {
        if (buffer_.empty()) return;
        sink_(buffer_);
        written_ += buffer_.size();
        buffer_.clear();
    }
    // The bytes written so far, handed on or not.
    std::uint64_t size() const noexcept { return written_ + buffer_.size(); }

  private:
    Sink sink_;
    std::string buffer_;
    std::uint64_t written_ = 0;
};

// A temporary file, removed when closed, that output is spooled to and copied back from.
// Throws marlox::Error(OS) when the file cannot be made, written or read.
class Spool {
  public:
    Spool();
    ~Spool();
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;
    void write(std::string_view bytes);
    // Bytes [offset, offset + length) to `out`.
    void copy(std::uint64_t offset, std::uint64_t length, Out &out);
    // An Out that writes to this file.
    Sink sink() {
        return [this](std::string_view s) { write(s); };
    }

  private:
    std::FILE *file_;
};

// v with `digits` significant digits, without an exponent from 1e4 on.
std::string num(double v, int digits = 4);

// ---------------------------------------------------------------------------------------------
// The parts of the page that come from the model (report_model.cpp)

// A check section as the report shows it.
struct SectionEntry {
    std::int64_t id = 0;
    std::int32_t position = 0;  // its place in its member, from 1
    std::string heading;        // "Section S1 (id 1, position 1, reinforced section R1)"
    std::uint64_t loads_offset = 0, loads_length = 0;  // its loads, where they were written
};

// The check sections of the model by member, in the order of each member's first section.
struct MemberGroup {
    std::string name;
    std::vector<SectionEntry> sections;
};

// The check sections of a model, given one at a time, grouped by member.
class SectionGroups {
  public:
    // Check section `section` (its fields) of `model` (whose check sections are not read): its
    // loads written to `loads` (its heading, then every extreme's internal forces).
    void add(const json::Value &model, const json::Value &section, Out &loads);
    const std::vector<MemberGroup> &groups() const noexcept { return groups_; }

  private:
    std::vector<MemberGroup> groups_;
    std::map<double, std::size_t> index_;  // by the member's id (-1: none)
};

std::string project_name(const json::Value &model);
// Parts 1 to 3: project and code settings, materials, reinforced sections drawn.
void model_parts(Out &out, const json::Value &model);

// ---------------------------------------------------------------------------------------------
// The utilisation along a member (report_chart.cpp)

// The governing item of one family at one check section.
struct FamilyPoint {
    std::uint16_t family;  // index into the family names
    bool failed;           // the family has a failed item there
    bool governing;        // it governs the section
    double value;          // its check value
};

struct ChartSection {
    std::int32_t position;
    std::vector<FamilyPoint> points;
};

// The check value against the position along the member: a line per family and their envelope
// (each with its points in `data-points`, "position value" pairs), the limit 1, failures marked
// and the governing family named at each position, as inline SVG. "" without a point.
std::string utilisation_svg(const std::string &member, const std::vector<ChartSection> &sections,
                            const std::vector<std::string> &families);

}  // namespace marlox::report::detail
