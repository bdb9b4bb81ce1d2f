#include "core/report_html.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "core/check_table.hpp"
#include "core/error.hpp"
#include "core/governing.hpp"
#include "core/report_parts.hpp"

namespace marlox::report {

using json::Value;
using table::Column;
using table::Table;
using namespace detail;

// ---------------------------------------------------------------------------------------------
// The temporary files

namespace detail {

Spool::Spool() : file_(std::tmpfile()) {
    if (file_ == nullptr) {
        throw Error::os(std::string("no temporary file for the report: ") + std::strerror(errno),
                        errno);
    }
}

Spool::~Spool() { std::fclose(file_); }

void Spool::write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) {
        throw Error::os(
            std::string("the report's temporary file cannot be written: ") + std::strerror(errno),
            errno);
    }
}

void Spool::copy(std::uint64_t offset, std::uint64_t length, Out &out) {
    if (length == 0) return;
    std::string piece(std::min<std::uint64_t>(length, kPiece), '\0');
    if (std::fflush(file_) != 0 || std::fseek(file_, (long)offset, SEEK_SET) != 0) {
        throw Error::os(
            std::string("the report's temporary file cannot be read: ") + std::strerror(errno),
            errno);
    }
    while (length > 0) {
        const std::size_t want = (std::size_t)std::min<std::uint64_t>(length, piece.size());
        if (std::fread(piece.data(), 1, want, file_) != want) {
            throw Error::os("the report's temporary file cannot be read", errno ? errno : EIO);
        }
        out << std::string_view(piece.data(), want);
        length -= want;
    }
    if (std::fseek(file_, 0, SEEK_END) != 0) {
        throw Error::os("the report's temporary file cannot be written", errno ? errno : EIO);
    }
}

}  // namespace detail

namespace {

constexpr std::size_t kTopRows = 10;  // the highest utilisations in the summary

const char *const kStyle =
    "body{font-family:'DejaVu Sans',Helvetica,Arial,sans-serif;font-size:10pt;color:#222;"
    "max-width:60em;margin:2em auto;padding:0 1em}"
    "h1{font-size:18pt;margin-bottom:0}h2{font-size:14pt;border-bottom:1px solid #999;"
    "margin-top:1.6em}h3{font-size:12pt;margin-top:1.2em}h4{font-size:10.5pt;margin:1em 0 .3em}"
    "table{border-collapse:collapse;margin:.3em 0 .8em;font-size:8.5pt}"
    "th,td{border:1px solid #bbb;padding:2px 5px;vertical-align:top}"
    ".sub,td.values,td.muted,code{overflow-wrap:anywhere}"
    "th{background:#eee;text-align:left}td.n{text-align:right;white-space:nowrap}"
    "tr.failed td{background:#fde2e1}.verdict-failed{color:#a4161a;font-weight:bold}"
    ".verdict-ok{color:#1b6e20}.muted{color:#666}.box{border:1px solid #999;padding:.5em 1em;"
    "margin:1em 0}.box.failed{border-color:#a4161a;background:#fff4f3}"
    "figure{display:inline-block;margin:.5em 1.5em .5em 0;page-break-inside:avoid}"
    "figure.utilisation{display:block;margin:.8em 0}figure.utilisation svg{max-width:100%;"
    "height:auto}figcaption{font-size:8.5pt;text-align:center}.section{page-break-inside:avoid}"
    "code{font-size:8.5pt;word-break:break-all}table.checks{width:100%}"
    "td.values{min-width:18em}.sub{display:block;color:#666;font-size:7.5pt}"
    "@page{size:A4;margin:12mm}@media print{body{margin:0;max-width:none}"
    "table.checks{font-size:7pt}td.values{min-width:0;width:30%}th,td{padding:1px 3px}}";

// The output, handed to the sink in pieces.
bool verdict_failed(const Column &result, std::size_t r) {
    return result.valid(r) && results::verdict_of(result.text_at(r)) == results::Verdict::Failed;
}

void verdict_cell(Out &out, const Column &result, std::size_t r) {
    if (!result.valid(r)) {
        out << "<td></td>";
        return;
    }
    const auto v = results::verdict_of(result.text_at(r));
    out << (v == results::Verdict::Failed ? "<td class=\"verdict-failed\">"
            : v == results::Verdict::Ran  ? "<td class=\"verdict-ok\">"
                                          : "<td class=\"muted\">");
    out.text(result.text_at(r)) << "</td>";
}

void text_cell(Out &out, const Column &c, std::size_t r) {
    out << "<td>";
    if (c.valid(r)) {
        if (c.type() == table::Type::Text) {
            out.text(c.text_at(r));
        } else {
            out << std::to_string(c.int_at(r));
        }
    }
    out << "</td>";
}

void number_cell(Out &out, const Column &c, std::size_t r, int digits = 4) {
    out << "<td class=\"n\">";
    if (c.valid(r)) out << num(c.float_at(r), digits);
    out << "</td>";
}

// "VRd_c" reads "VRd,c"; "Fu_My" reads "Fu My".
std::string label(std::string_view name) {
    std::string out(name);
    if (out.rfind("Fu_", 0) == 0) return "Fu " + out.substr(3);
    if (out == "check_value_longitudinal") return "longitudinal";
    if (out == "check_value_shear_reinforcement") return "shear reinf.";
    if (out == "decision_method") return "method";
    for (char &c : out) {
        if (c == '_') c = ',';
    }
    if (out == "w,lim") return "w lim";
    if (out == "stress,limit") return "stress limit";
    return out;
}

// The values behind the check of row `r`, as "name = value unit" items.
void values_cell(Out &out, const Table &t, std::size_t r) {
    out << "<td class=\"values\">";
    bool first = true;
    for (int c = results::kColFuN; c <= results::kColDecisionMethod; ++c) {
        const Column &col = t.columns[(std::size_t)c];
        if (!col.valid(r)) continue;
        if (c >= results::kColFuN && c <= results::kColFuMz && col.float_at(r) == 0) continue;
        out << (first ? "" : ", ");
        first = false;
        out.text(label(col.name())) << " = ";
        if (col.type() == table::Type::Text) {
            out.text(col.text_at(r));
        } else {
            out << num(col.float_at(r));
            if (!col.unit().empty() && col.unit() != "1") out << "&#8239;" << col.unit();
        }
    }
    out << "</td>";
}

// ---------------------------------------------------------------------------------------------
// The parts of the page

const char *const kGoverningHeader =
    "<table "
    "class=\"checks\"><tr><th>member</th><th>section</th><th>id</th><th>pos.</"
    "th><th>reinforced "
    "section</th><th>family</th><th>extreme</th><th>check</th><th>verdict</th><th>check "
    "value</th><th>failed items</th><th>values behind the check</th></tr>";

// Row `r` of the governing rows `g`: member, section, position, family, extreme, check, verdict,
// check value (and the values behind it).
void governing_row(Out &out, const Table &g, std::size_t r) {
    using namespace results;
    const auto &c = g.columns;
    const bool failed = verdict_failed(c[kColResult], r);
    out << (failed ? "<tr class=\"failed\">" : "<tr>");
    text_cell(out, c[kColMember], r);
    text_cell(out, c[kColSectionName], r);
    text_cell(out, c[kColSection], r);
    text_cell(out, c[kColPosition], r);
    text_cell(out, c[kColReinforcedSection], r);
    text_cell(out, c[kColFamily], r);
    out << "<td>";
    out.text(c[kColExtremeName].valid(r) ? c[kColExtremeName].text_at(r) : "");
    out << " <span class=\"muted\">(" << std::to_string(c[kColExtreme].int_at(r))
        << ")</span></td>";
    text_cell(out, c[kColCheck], r);
    verdict_cell(out, c[kColResult], r);
    number_cell(out, c[kColCheckValue], r, 3);
    const Column *failed_items = g.find("failed_items");
    const Column *items = g.find("items");
    out << "<td class=\"n\">" << std::to_string(failed_items->int_at(r)) << "/"
        << std::to_string(items->int_at(r)) << "</td>";
    values_cell(out, g, r);
    out << "</tr>";
}

// The checks of one section: the governing one, then every item.
void section_checks(Out &out, const Table &t, const Table &g) {
    using namespace results;
    const std::size_t r = 0;
    const bool failed = g.find("failed_items")->int_at(r) > 0;
    out << "<p>Governing: <b>";
    out.text(g.columns[kColFamily].text_at(r));
    if (g.columns[kColCheck].valid(r)) {
        out << " / ";
        out.text(g.columns[kColCheck].text_at(r));
    }
    out << "</b>, extreme " << std::to_string(g.columns[kColExtreme].int_at(r))
        << ", check value <b>"
        << (g.columns[kColCheckValue].valid(r) ? num(g.columns[kColCheckValue].float_at(r), 3)
                                               : "–")
        << "</b>, " << (failed ? "<span class=\"verdict-failed\">" : "<span class=\"verdict-ok\">");
    out.text(g.columns[kColResult].valid(r) ? g.columns[kColResult].text_at(r) : "");
    out << "</span>.</p>";
    out << "<table class=\"checks\"><tr><th>ext.</th><th>family</th><th>check</th>"
           "<th>verdict</th><th>check value</th><th>limit</th><th>N</th><th>M<sub>y</sub>"
           "</th><th>M<sub>z</sub></th><th>values behind the check</th><th>non-"
           "conformities</th></tr>";
    const auto &c = t.columns;
    for (std::size_t i = 0; i < t.rows(); ++i) {
        out << (verdict_failed(c[kColResult], i) ? "<tr class=\"failed\">" : "<tr>");
        out << "<td class=\"n\">" << std::to_string(c[kColExtreme].int_at(i)) << "</td>";
        text_cell(out, c[kColFamily], i);
        out << "<td>";
        if (c[kColCheck].valid(i)) out.text(c[kColCheck].text_at(i));
        if (c[kColTypeCheck].valid(i)) {
            out << "<span class=\"sub\">";
            out.text(c[kColTypeCheck].text_at(i)) << "</span>";
        }
        out << "</td>";
        verdict_cell(out, c[kColResult], i);
        number_cell(out, c[kColCheckValue], i, 3);
        number_cell(out, c[kColLimitCheckValue], i, 3);
        number_cell(out, c[kColN], i);
        number_cell(out, c[kColMy], i);
        number_cell(out, c[kColMz], i);
        values_cell(out, t, i);
        out << "<td>";
        static const char *const kSeverity[] = {"info", "warning", "error", "terminated"};
        bool any = false;
        for (int s = 3; s >= 0; --s) {
            const auto n = c[(std::size_t)kFirstCount + (std::size_t)s].int_at(i);
            if (n == 0) continue;
            out << (any ? ", " : "") << std::to_string(n) << " " << kSeverity[s];
            any = true;
        }
        out << "</td></tr>";
    }
    out << "</table>";
}

// One non-conformity: where it occurs, the item's verdict, and its GUID.
void non_conformity_row(Out &out, const Table &t, const results::NonConformity &n) {
    using namespace results;
    const auto &c = t.columns;
    const std::size_t r = n.row;
    out << "<tr>";
    text_cell(out, c[kColMember], r);
    text_cell(out, c[kColSectionName], r);
    text_cell(out, c[kColSection], r);
    text_cell(out, c[kColExtreme], r);
    text_cell(out, c[kColFamily], r);
    text_cell(out, c[kColCheck], r);
    verdict_cell(out, c[kColResult], r);
    out << "<td><code>";
    out.text(n.guid.empty() ? "–" : n.guid);
    out << "</code></td></tr>";
}

void traceability(Out &out, const Sources &s) {
    out << "<h2 id=\"traceability\">7 Traceability</h2><table>";
    auto row = [&](const char *what, const std::string &name, const std::string &hash) {
        out << "<tr><th>" << what << "</th><td>";
        out.text(name.empty() ? "–" : name);
        if (!hash.empty()) {
            out << "<br>SHA-256 <code>";
            out.text(hash) << "</code>";
        }
        out << "</td></tr>";
    };
    row("input (model)", s.input_name, s.input_sha256);
    row("results", s.result_name, s.result_sha256);
    row("written by", "marlox " + s.version, "");
    // A result file never names the program that wrote it: the version is the caller's word.
    row("IDEA StatiCa RCS version",
        s.rcs_version.empty() ? "not stated in the result file" : s.rcs_version + " (as given)",
        "");
    row("created", s.created, "");
    out << "</table>";
}

// A section's governing row as the summary sorts it: failed first, then by check value, then in
// the order of the file.
struct Governing {
    int verdict;
    double value;  // -inf for a missing value or NaN
    std::uint64_t order;
    std::uint64_t offset, length;  // of its row in the summary's temporary file
    bool failed;
};

}  // namespace

struct Writer::State {
    State(const Value &model, const Sources &s)
        : sources(s),
          context(model),
          parts_out(parts.sink()),
          loads_out(loads.sink()),
          details_out(details.sink()),
          rows_out(rows.sink()),
          issues_out{Out(issues[0].sink()), Out(issues[1].sink()), Out(issues[2].sink()),
                     Out(issues[3].sink())} {}

    Sources sources;
    results::ModelContextBuilder context;
    std::string project;
    SectionGroups groups;
    // Parts 1 to 3 and the loads of each section, written from the model before the scan.
    Spool parts;
    Out parts_out;
    Spool loads;
    Out loads_out;
    // The checks of each section, by section id.
    Spool details;
    Out details_out;
    // (More than one where the file states a section twice.)
    std::unordered_map<std::int64_t, std::vector<std::pair<std::uint64_t, std::uint64_t>>>
        detail_of;
    // The governing row of each section, and what sorts them.
    Spool rows;
    Out rows_out;
    std::vector<Governing> governing;
    // The non-conformities of each severity.
    Spool issues[4];
    Out issues_out[4];
    // The points of the utilisation charts, by section id.
    std::vector<std::string> families;
    std::unordered_map<std::int64_t, std::vector<FamilyPoint>> points;
    std::uint64_t items = 0, errors = 0, not_done = 0;

    std::uint16_t family_index(std::string_view name) {
        for (std::size_t i = 0; i < families.size(); ++i) {
            if (families[i] == name) return (std::uint16_t)i;
        }
        families.emplace_back(name);
        return (std::uint16_t)(families.size() - 1);
    }
};

Writer::Writer(const Value &model, const Sources &sources)
    : state_(std::make_unique<State>(model, sources)) {
    State &s = *state_;
    s.project = project_name(model);
    model_parts(s.parts_out, model);
    s.parts_out.flush();
}

Writer::~Writer() = default;

void Writer::add_model_section(const Value &model, const Value &entry) {
    State &s = *state_;
    s.context.add(entry);
    s.groups.add(model, results::entry_fields(entry, "check_section_list"), s.loads_out);
}

const results::ModelContext &Writer::context() const noexcept { return state_->context.context(); }

void Writer::add_section(const Table &t,
                         const std::vector<results::NonConformity> &non_conformities) {
    using namespace results;
    if (t.rows() == 0) return;
    State &s = *state_;
    const std::int64_t id = t.columns[kColSection].int_at(0);
    const Table g = governing(t, false);
    const Table per_family = governing(t, true);

    const Column &result = g.columns[kColResult];
    const Verdict v = result.valid(0) ? verdict_of(result.text_at(0)) : Verdict::Ran;
    double value =
        g.columns[kColCheckValue].valid(0) ? g.columns[kColCheckValue].float_at(0) : -INFINITY;
    if (std::isnan(value)) value = -INFINITY;
    const std::uint64_t offset = s.rows_out.size();
    governing_row(s.rows_out, g, 0);
    s.governing.push_back(Governing{(int)v, value, s.governing.size(), offset,
                                    s.rows_out.size() - offset,
                                    g.find("failed_items")->int_at(0) > 0});
    s.items += t.rows();
    if (g.columns[kColError].int_at(0) + g.columns[kColTerminated].int_at(0) > 0) ++s.errors;
    if (g.find("not_done_items")->int_at(0) > 0) ++s.not_done;

    const std::uint64_t at = s.details_out.size();
    section_checks(s.details_out, t, g);
    s.detail_of[id].emplace_back(at, s.details_out.size() - at);

    for (const NonConformity &n : non_conformities) {
        if (n.severity >= 0 && n.severity < 4 && n.row < t.rows()) {
            non_conformity_row(s.issues_out[n.severity], t, n);
        }
    }

    std::vector<FamilyPoint> &points = s.points[id];
    const Column *flag = per_family.find("governing");
    const Column *failed = per_family.find("failed_items");
    for (std::size_t r = 0; r < per_family.rows(); ++r) {
        const Column &cv = per_family.columns[kColCheckValue];
        points.push_back(FamilyPoint{s.family_index(per_family.columns[kColFamily].text_at(r)),
                                     failed->int_at(r) > 0, flag->bool_at(r),
                                     cv.valid(r) ? cv.float_at(r) : NAN});
    }
}

void Writer::finish(const Sink &sink) {
    using namespace results;
    State &s = *state_;
    if (s.items == 0) {
        throw Error(ErrorKind::Value, "the result file holds no check: there is nothing to report");
    }
    s.loads_out.flush();
    s.details_out.flush();
    s.rows_out.flush();
    for (Out &o : s.issues_out) o.flush();
    std::sort(s.governing.begin(), s.governing.end(), [](const Governing &a, const Governing &b) {
        if (a.verdict != b.verdict) return a.verdict < b.verdict;
        if (a.value != b.value) return a.value > b.value;
        return a.order < b.order;
    });

    Out out(sink);
    out << "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Calculation "
           "report";
    if (!s.project.empty()) out.text(" – " + s.project);
    out << "</title><style>" << kStyle << "</style></head><body><h1>Calculation report";
    if (!s.project.empty()) out.text(": " + s.project);
    out << "</h1><p class=\"muted\">Reinforced-concrete section checks to EN 1992 by IDEA "
           "StatiCa RCS. Created ";
    out.text(s.sources.created) << ".</p><nav><a href=\"#summary\">Summary</a> · "
                                   "<a href=\"#project\">Project</a> · <a href=\"#materials\">"
                                   "Materials</a> · <a href=\"#sections\">Sections</a> · <a "
                                   "href=\"#loads\">Loads</a> · <a href=\"#checks\">Checks</a> · "
                                   "<a href=\"#nonconformities\">Non-conformities</a> · <a "
                                   "href=\"#traceability\">Traceability</a></nav>";

    // The summary: the failures first, then the highest utilisations of the others.
    std::size_t failed = 0;
    while (failed < s.governing.size() && s.governing[failed].failed) ++failed;
    out << "<h2 id=\"summary\">Summary</h2><div class=\"box" << (failed == 0 ? "" : " failed")
        << "\"><p><b>" << (failed == 0 ? "All checks passed." : "Checks failed.") << "</b> "
        << std::to_string(s.governing.size()) << " check sections, " << std::to_string(s.items)
        << " check items: " << std::to_string(failed) << " sections with failed checks, "
        << std::to_string(s.errors) << " with errors, " << std::to_string(s.not_done)
        << " with checks not done.</p></div>";
    out << "<h3>Failed checks</h3>";
    auto rows = [&](std::size_t from, std::size_t to) {
        out << kGoverningHeader;
        for (std::size_t i = from; i < to; ++i) {
            s.rows.copy(s.governing[i].offset, s.governing[i].length, out);
        }
        out << "</table>";
    };
    if (failed == 0) {
        out << "<p>No check failed.</p>";
    } else {
        rows(0, failed);
    }
    out << "<h3>Highest utilisation of the other sections</h3>";
    if (failed == s.governing.size()) {
        out << "<p class=\"muted\">None.</p>";
    } else {
        rows(failed, std::min(s.governing.size(), failed + kTopRows));
    }

    s.parts.copy(0, s.parts_out.size(), out);
    out << "<h2 id=\"loads\">4 Loads of the extremes</h2><p class=\"muted\">Internal forces in "
           "kN and kN&#183;m.</p>";
    for (const MemberGroup &m : s.groups.groups()) {
        out << "<h3>Member ";
        out.text(m.name) << "</h3>";
        for (const SectionEntry &e : m.sections) s.loads.copy(e.loads_offset, e.loads_length, out);
    }

    out << "<h2 id=\"checks\">5 Checks by member</h2><p class=\"muted\">Forces in kN and "
           "kN&#183;m, crack widths in mm, stresses in MPa; the check value is the unity check "
           "against its limit.</p>";
    for (const MemberGroup &m : s.groups.groups()) {
        out << "<h3>Member ";
        out.text(m.name) << "</h3>";
        std::vector<ChartSection> chart;
        for (const SectionEntry &e : m.sections) {
            const auto p = s.points.find(e.id);
            if (p != s.points.end()) chart.push_back(ChartSection{e.position, p->second});
        }
        const std::string svg = utilisation_svg(m.name, chart, s.families);
        if (!svg.empty()) {
            out << "<figure class=\"utilisation\">" << svg << "<figcaption>Utilisation along "
                << "member ";
            out.text(m.name) << ": the check value of each family at its check sections, the "
                                "envelope in black, the governing family named above it, "
                                "failures crossed.</figcaption></figure>";
        }
        for (const SectionEntry &e : m.sections) {
            out << "<div class=\"section-checks\"><h4>";
            out.text(e.heading) << "</h4>";
            const auto d = s.detail_of.find(e.id);
            if (d == s.detail_of.end()) {
                out << "<p class=\"muted\">The result file holds no check of this section.</p>"
                       "</div>";
            } else {
                for (const auto &[offset, length] : d->second) s.details.copy(offset, length, out);
                out << "</div>";
            }
        }
    }

    out << "<h2 id=\"nonconformities\">6 Non-conformities by severity</h2>";
    static const char *const kNames[] = {"Info", "Warning", "Error", "Terminated error"};
    bool any = false;
    for (int severity = 3; severity >= 0; --severity) {
        const std::uint64_t size = s.issues_out[severity].size();
        if (size == 0) continue;
        if (!any) {
            out << "<p class=\"muted\">The result file states each non-conformity by its "
                   "severity and GUID, without its text.</p>";
        }
        any = true;
        out << "<h3>" << kNames[severity] << "</h3><table><tr><th>member</th><th>section</th>"
            << "<th>id</th><th>extreme</th><th>family</th><th>check</th><th>verdict</th>"
            << "<th>non-conformity (GUID)</th></tr>";
        s.issues[severity].copy(0, size, out);
        out << "</table>";
    }
    if (!any) out << "<p>The result file states no non-conformity.</p>";
    traceability(out, s.sources);
    out << "</body></html>\n";
    out.flush();
}

}  // namespace marlox::report
