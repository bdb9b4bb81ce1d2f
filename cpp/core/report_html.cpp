#include "core/report_html.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <unordered_map>
#include <vector>

#include "core/check_table.hpp"
#include "core/cross_section_geometry.hpp"
#include "core/error.hpp"
#include "core/governing.hpp"
#include "core/svg_drawing.hpp"
#include "core/table_html.hpp"

namespace marlox::report {

using json::Value;
using table::Column;
using table::Table;

namespace {

constexpr std::size_t kPiece = 1 << 16;  // bytes handed to the sink at a time
constexpr std::size_t kTopRows = 10;     // the highest utilisations in the summary
constexpr double kPi = 3.14159265358979323846;

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
    "figcaption{font-size:8.5pt;text-align:center}.section{page-break-inside:avoid}"
    "code{font-size:8.5pt;word-break:break-all}table.checks{width:100%}"
    "td.values{min-width:18em}.sub{display:block;color:#666;font-size:7.5pt}"
    "@page{size:A4;margin:12mm}@media print{body{margin:0;max-width:none}"
    "table.checks{font-size:7pt}td.values{min-width:0;width:30%}th,td{padding:1px 3px}}";

// The output, handed to the sink in pieces.
class Out {
  public:
    explicit Out(const Sink &sink) : sink_(sink) { buffer_.reserve(kPiece + 4096); }
    Out &operator<<(std::string_view s) {
        buffer_ += s;
        if (buffer_.size() >= kPiece) flush();
        return *this;
    }
    // Text, escaped.
    Out &text(std::string_view s) {
        table::escape_html(buffer_, s);
        if (buffer_.size() >= kPiece) flush();
        return *this;
    }
    void flush() {
        if (buffer_.empty()) return;
        sink_(buffer_);
        buffer_.clear();
    }

  private:
    const Sink &sink_;
    std::string buffer_;
};

std::string num(double v, int digits = 4) {
    if (std::isnan(v)) return "NaN";
    if (v == 0) return "0";
    char b[40];
    const double a = std::fabs(v);
    if (a >= 1e4 && a < 1e15) {
        // %g would write 2e+05 for a steel's 200000 MPa: the same digits, without the exponent.
        const double step = std::pow(10.0, std::floor(std::log10(a)) - digits + 1);
        std::snprintf(b, sizeof b, "%.0f", std::round(v / step) * step);
        return b;
    }
    std::snprintf(b, sizeof b, "%.*g", digits, v);
    return b;
}

const Value *member(const Value &o, const char *key) {
    const Value *v = o.find(key);
    return v == nullptr || v->is_null() ? nullptr : v;
}

// A scalar of the document as text: a string, a number, true/false; "" otherwise.
std::string scalar(const Value &v) {
    switch (v.type) {
        case Value::Type::String:
            return v.text;
        case Value::Type::Number:
            return num(v.number, 6);
        case Value::Type::Bool:
            return v.boolean ? "yes" : "no";
        default:
            return "";
    }
}

// The name of the object a reference field points to in `list`.
std::string referenced_name(const Value &model, const Value &o, const char *key, const char *list,
                            const char *name_key = "Name") {
    double id = 0;
    if (!cross_section::reference(o, key, id)) return "";
    const Value *target = cross_section::find(model, list, id);
    return target == nullptr ? "" : cross_section::text(*target, name_key);
}

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

struct Index {
    // The rows of each section, as ranges (a section's rows are contiguous in a result file,
    // but need not be).
    std::unordered_map<std::int64_t, std::vector<std::pair<std::size_t, std::size_t>>> rows;
    // The row of the governing table of each section.
    std::unordered_map<std::int64_t, std::size_t> governing;
};

Index index_of(const Table &checks, const Table &governing) {
    Index ix;
    const Column &section = checks.columns[results::kColSection];
    for (std::size_t r = 0; r < checks.rows(); ++r) {
        auto &ranges = ix.rows[section.int_at(r)];
        if (!ranges.empty() && ranges.back().second == r) {
            ++ranges.back().second;
        } else {
            ranges.emplace_back(r, r + 1);
        }
    }
    const Column &gs = governing.columns[results::kColSection];
    for (std::size_t r = 0; r < governing.rows(); ++r) ix.governing.emplace(gs.int_at(r), r);
    return ix;
}

// The governing rows as a table: member, section, position, family, extreme, check, verdict,
// check value (and the values behind it).
void governing_table(Out &out, const Table &g, const std::vector<std::size_t> &rows) {
    using namespace results;
    out << "<table "
           "class=\"checks\"><tr><th>member</th><th>section</th><th>id</th><th>pos.</"
           "th><th>reinforced "
           "section</th><th>family</th><th>extreme</th><th>check</th><th>verdict</th><th>check "
           "value</th><th>failed items</th><th>values behind the check</th></tr>";
    const auto &c = g.columns;
    for (std::size_t r : rows) {
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
    out << "</table>";
}

void summary(Out &out, const Table &checks, const Table &g) {
    using namespace results;
    const Column *failed_items = g.find("failed_items");
    const Column *not_done = g.find("not_done_items");
    std::vector<std::size_t> failed, top;
    std::size_t errors = 0, not_done_sections = 0;
    for (std::size_t r = 0; r < g.rows(); ++r) {
        if (failed_items->int_at(r) > 0) failed.push_back(r);
        if (g.columns[kColError].int_at(r) + g.columns[kColTerminated].int_at(r) > 0) ++errors;
        if (not_done->int_at(r) > 0) ++not_done_sections;
    }
    // The governing rows are worst first: the failures, then the highest check values.
    for (std::size_t r = failed.size(); r < g.rows() && top.size() < kTopRows; ++r) {
        top.push_back(r);
    }
    out << "<h2 id=\"summary\">Summary</h2><div class=\"box" << (failed.empty() ? "" : " failed")
        << "\"><p><b>" << (failed.empty() ? "All checks passed." : "Checks failed.") << "</b> "
        << std::to_string(g.rows()) << " check sections, " << std::to_string(checks.rows())
        << " check items: " << std::to_string(failed.size()) << " sections with failed checks, "
        << std::to_string(errors) << " with errors, " << std::to_string(not_done_sections)
        << " with checks not done.</p></div>";
    out << "<h3>Failed checks</h3>";
    if (failed.empty()) {
        out << "<p>No check failed.</p>";
    } else {
        governing_table(out, g, failed);
    }
    out << "<h3>Highest utilisation of the other sections</h3>";
    if (top.empty()) {
        out << "<p class=\"muted\">None.</p>";
    } else {
        governing_table(out, g, top);
    }
}

void key_values(Out &out, const Value *object) {
    if (object == nullptr || object->type != Value::Type::Object) {
        out << "<p class=\"muted\">Not stated.</p>";
        return;
    }
    out << "<table>";
    for (const auto &[key, value] : object->members) {
        const std::string v = scalar(value);
        if (value.type == Value::Type::Object || value.type == Value::Type::Array) continue;
        out << "<tr><th>";
        out.text(key == "AnnexCode" ? "national annex (AnnexCode)" : key);
        out << "</th><td>";
        out.text(v.empty() ? "–" : v);
        out << "</td></tr>";
    }
    out << "</table>";
}

void project(Out &out, const Value &model) {
    out << "<h2 id=\"project\">1 Project and code settings</h2><h3>Project</h3>";
    key_values(out, member(model, "project_data"));
    out << "<h3>Code settings (EN 1992-1-1)</h3>";
    key_values(out, member(model, "code_settings"));
}

struct Field {
    const char *key, *heading;
    double scale;  // for numbers: to the unit of the heading
};

void material_table(Out &out, const Value &model, const char *list, const Field *fields,
                    std::size_t count) {
    const auto objects = cross_section::objects(model, list);
    if (objects.empty()) {
        out << "<p class=\"muted\">None.</p>";
        return;
    }
    out << "<table><tr>";
    for (std::size_t i = 0; i < count; ++i) out << "<th>" << fields[i].heading << "</th>";
    out << "</tr>";
    for (const Value *o : objects) {
        out << "<tr>";
        for (std::size_t i = 0; i < count; ++i) {
            const Value *v = member(*o, fields[i].key);
            if (v != nullptr && v->type == Value::Type::Number) {
                out << "<td class=\"n\">" << num(v->number * fields[i].scale, 5) << "</td>";
            } else {
                out << "<td>";
                out.text(v == nullptr ? "" : scalar(*v));
                out << "</td>";
            }
        }
        out << "</tr>";
    }
    out << "</table>";
}

void materials(Out &out, const Value &model) {
    static const Field concrete[] = {
        {"Id", "id", 1},
        {"Name", "name", 1},
        {"Fck", "f<sub>ck</sub> [MPa]", 1e-6},
        {"E", "E [MPa]", 1e-6},
        {"G", "G [MPa]", 1e-6},
        {"Poisson", "&nu;", 1},
        {"UnitMass", "&rho; [kg/m³]", 1},
        {"StoneDiameter", "d<sub>g</sub> [mm]", 1e3},
        {"CementClass", "cement", 1},
        {"AggregateType", "aggregate", 1},
        {"DiagramType", "diagram", 1},
    };
    static const Field steel[] = {
        {"Id", "id", 1},
        {"Name", "name", 1},
        {"Fyk", "f<sub>yk</sub> [MPa]", 1e-6},
        {"Ftk", "f<sub>tk</sub> [MPa]", 1e-6},
        {"E", "E [MPa]", 1e-6},
        {"Epsuk", "&epsilon;<sub>uk</sub>", 1},
        {"Class", "class", 1},
        {"Type", "type", 1},
        {"BarSurface", "surface", 1},
        {"DiagramType", "diagram", 1},
    };
    out << "<h2 id=\"materials\">2 Materials</h2><h3>Concrete</h3>";
    material_table(out, model, "mat_concrete_list", concrete, std::size(concrete));
    out << "<h3>Reinforcement</h3>";
    material_table(out, model, "mat_reinforcement_list", steel, std::size(steel));
}

void reinforced_sections(Out &out, const Value &model) {
    out << "<h2 id=\"sections\">3 Reinforced sections</h2>";
    const auto list = cross_section::objects(model, "reinforced_cross_section_list");
    if (list.empty()) out << "<p class=\"muted\">None.</p>";
    for (std::size_t i = 0; i < list.size(); ++i) {
        const Value &rcs = *list[i];
        const cross_section::Drawing d =
            cross_section::draw(model, cross_section::Target::ReinforcedSection, i);
        double cs_id = 0;
        const Value *cs = cross_section::reference(rcs, "CrossSection", cs_id)
                              ? cross_section::find(model, "cross_section_list", cs_id)
                              : nullptr;
        out << "<div class=\"section\"><h3>";
        out.text(cross_section::text(rcs, "Name"));
        out << "</h3><figure class=\"section-drawing\">";
        svg::Options drawing;
        drawing.title = false;
        out << svg::section(d, {}, drawing) << "<figcaption>";
        out.text(cross_section::text(rcs, "Name"));
        out << ": concrete grey, bars blue, stirrups green</figcaption></figure>";
        // Properties: the section, the bars by diameter, their area and the least cover.
        std::map<double, int> by_diameter;
        double area = 0, cover = INFINITY;
        const cross_section::Shape shape =
            cs == nullptr ? cross_section::Shape{} : cross_section::shape(*cs);
        for (const auto &b : d.bars) {
            ++by_diameter[b.diameter];
            area += kPi * b.diameter * b.diameter / 4;
            const int region = shape.known ? cross_section::region_holding(shape, b.centre) : -1;
            if (region >= 0) {
                cover = std::min(
                    cover, cross_section::clearance(shape.regions[(std::size_t)region], b.centre) -
                               b.diameter / 2);
            }
        }
        std::string bars;
        for (auto it = by_diameter.rbegin(); it != by_diameter.rend(); ++it) {
            bars += (bars.empty() ? "" : " + ") + std::to_string(it->second) + " \u00d8" +
                    num(it->first * 1e3, 3);
        }
        out << "<table><tr><th>cross-section</th><td>";
        if (cs != nullptr) {
            out.text(cross_section::text(*cs, "Name"));
            const std::string type = cross_section::text(*cs, "CrossSectionType");
            if (!type.empty()) out << " (" << type << ")";
            if (const Value *p = member(*cs, "Parameters"); p && p->type == Value::Type::Object) {
                for (const auto &[key, value] : p->members) {
                    if (value.type != Value::Type::Number) continue;
                    out << ", ";
                    out.text(key) << " " << num(value.number * 1e3, 5) << "&#8239;mm";
                }
            }
        }
        out << "</td></tr><tr><th>concrete</th><td>";
        if (cs != nullptr) {
            out.text(referenced_name(model, *cs, "Material", "mat_concrete_list"));
        }
        out << "</td></tr><tr><th>bars</th><td>";
        out.text(bars.empty() ? "none" : bars);
        out << (area > 0 ? ", A<sub>s</sub> = " + num(area * 1e6, 4) + "&#8239;mm²" : "");
        out << "</td></tr><tr><th>least cover to a bar</th><td>"
            << (std::isfinite(cover) ? num(cover * 1e3, 3) + "&#8239;mm" : "–")
            << "</td></tr><tr><th>stirrups</th><td>";
        const Value *stirrups = member(rcs, "Stirrups");
        bool any = false;
        if (stirrups != nullptr && stirrups->type == Value::Type::Array) {
            for (const Value &s : stirrups->items) {
                double dia = 0, dist = 0;
                if (s.type != Value::Type::Object) continue;
                cross_section::number(s, "Diameter", dia);
                cross_section::number(s, "Distance", dist);
                out << (any ? "; " : "") << "\u00d8" << num(dia * 1e3, 3);
                if (dist > 0) out << " at " << num(dist * 1e3, 4) << "&#8239;mm";
                any = true;
            }
        }
        out << (any ? "" : "none") << "</td></tr></table></div>";
    }
}

const char *const kForceKeys[] = {"N", "Qy", "Qz", "Mx", "My", "Mz"};

void force_row(Out &out, const std::string &combination, const Value &forces) {
    out << "<tr><td></td><td>";
    out.text(combination);
    out << "</td>";
    for (int i = 0; i < 6; ++i) {
        double v = 0;
        const bool has = cross_section::number(forces, kForceKeys[i], v);
        out << "<td class=\"n\">" << (has ? num(v * 1e-3, 5) : "") << "</td>";
    }
    out << "</tr>";
}

// The loadings of an extreme: every member that is an object of internal forces, or holds
// such objects ("InternalForces", "InternalForcesBegin", ...).
void extreme_rows(Out &out, const Value &extreme, std::size_t number) {
    out << "<tr><td class=\"n\">" << std::to_string(number) << "</td><td colspan=\"7\"><b>";
    out.text(cross_section::text(extreme, "Description"));
    out << "</b></td></tr>";
    for (const auto &[combination, loading] : extreme.members) {
        if (loading.type != Value::Type::Object) continue;
        for (const auto &[key, forces] : loading.members) {
            if (forces.type != Value::Type::Object || forces.find("N") == nullptr) continue;
            force_row(out, key == "InternalForces" ? combination : combination + " " + key, forces);
        }
    }
}

// The check sections of the model grouped by member (in the order of their first section),
// each in the order of its position.
std::vector<std::pair<std::string, std::vector<const Value *>>> by_member(const Value &model) {
    std::vector<std::pair<std::string, std::vector<const Value *>>> groups;
    std::map<double, std::size_t> index;
    for (const Value *s : cross_section::objects(model, "check_section_list")) {
        double id = -1;
        cross_section::reference(*s, "CheckMember", id);
        auto [it, fresh] = index.emplace(id, groups.size());
        if (fresh) {
            groups.emplace_back(referenced_name(model, *s, "CheckMember", "check_member_list"),
                                std::vector<const Value *>{});
        }
        groups[it->second].second.push_back(s);
    }
    return groups;
}

std::string section_heading(const Value &model, const Value &s, std::size_t position) {
    double id = 0;
    cross_section::number(s, "Id", id);
    return "Section " + cross_section::text(s, "Description") + " (id " + num(id, 12) +
           ", position " + std::to_string(position) + ", reinforced section " +
           referenced_name(model, s, "ReinfSection", "reinforced_cross_section_list") + ")";
}

void loads(Out &out, const Value &model,
           const std::vector<std::pair<std::string, std::vector<const Value *>>> &members) {
    out << "<h2 id=\"loads\">4 Loads of the extremes</h2><p class=\"muted\">Internal forces in "
           "kN and kN&#183;m.</p>";
    for (const auto &[name, sections] : members) {
        out << "<h3>Member ";
        out.text(name) << "</h3>";
        for (std::size_t p = 0; p < sections.size(); ++p) {
            out << "<h4>";
            out.text(section_heading(model, *sections[p], p + 1)) << "</h4>";
            out << "<table><tr><th>#</th><th>extreme / combination</th><th>N</th><th>Q<sub>y</sub>"
                   "</th><th>Q<sub>z</sub></th><th>M<sub>x</sub></th><th>M<sub>y</sub></th>"
                   "<th>M<sub>z</sub></th></tr>";
            const Value *extremes = member(*sections[p], "Extremes");
            if (extremes != nullptr && extremes->type == Value::Type::Array) {
                for (std::size_t e = 0; e < extremes->items.size(); ++e) {
                    if (extremes->items[e].type == Value::Type::Object) {
                        extreme_rows(out, extremes->items[e], e + 1);
                    }
                }
            }
            out << "</table>";
        }
    }
}

void checks_by_member(
    Out &out, const Value &model, const Table &t, const Table &g, const Index &ix,
    const std::vector<std::pair<std::string, std::vector<const Value *>>> &members) {
    using namespace results;
    out << "<h2 id=\"checks\">5 Checks by member</h2><p class=\"muted\">Forces in kN and "
           "kN&#183;m, crack widths in mm, stresses in MPa; the check value is the unity check "
           "against its limit.</p>";
    const auto &c = t.columns;
    for (const auto &[name, sections] : members) {
        out << "<h3>Member ";
        out.text(name) << "</h3>";
        for (std::size_t p = 0; p < sections.size(); ++p) {
            double id = 0;
            cross_section::number(*sections[p], "Id", id);
            out << "<div class=\"section-checks\"><h4>";
            out.text(section_heading(model, *sections[p], p + 1)) << "</h4>";
            const auto gov = ix.governing.find((std::int64_t)id);
            const auto rows = ix.rows.find((std::int64_t)id);
            if (gov == ix.governing.end() || rows == ix.rows.end()) {
                out << "<p class=\"muted\">The result file holds no check of this section.</p>"
                       "</div>";
                continue;
            }
            const std::size_t r = gov->second;
            const bool failed = g.find("failed_items")->int_at(r) > 0;
            out << "<p>Governing: <b>";
            out.text(g.columns[kColFamily].text_at(r));
            if (g.columns[kColCheck].valid(r)) {
                out << " / ";
                out.text(g.columns[kColCheck].text_at(r));
            }
            out << "</b>, extreme " << std::to_string(g.columns[kColExtreme].int_at(r))
                << ", check value <b>"
                << (g.columns[kColCheckValue].valid(r)
                        ? num(g.columns[kColCheckValue].float_at(r), 3)
                        : "–")
                << "</b>, "
                << (failed ? "<span class=\"verdict-failed\">" : "<span class=\"verdict-ok\">");
            out.text(g.columns[kColResult].valid(r) ? g.columns[kColResult].text_at(r) : "");
            out << "</span>.</p>";
            out << "<table class=\"checks\"><tr><th>ext.</th><th>family</th><th>check</th>"
                   "<th>verdict</th><th>check value</th><th>limit</th><th>N</th><th>M<sub>y</sub>"
                   "</th><th>M<sub>z</sub></th><th>values behind the check</th><th>non-"
                   "conformities</th></tr>";
            for (const auto &[begin, end] : rows->second) {
                for (std::size_t i = begin; i < end; ++i) {
                    out << (verdict_failed(c[kColResult], i) ? "<tr class=\"failed\">" : "<tr>");
                    out << "<td class=\"n\">" << std::to_string(c[kColExtreme].int_at(i))
                        << "</td>";
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
                    static const char *const kSeverity[] = {"info", "warning", "error",
                                                            "terminated"};
                    bool any = false;
                    for (int s = 3; s >= 0; --s) {
                        const auto n = c[(std::size_t)kFirstCount + (std::size_t)s].int_at(i);
                        if (n == 0) continue;
                        out << (any ? ", " : "") << std::to_string(n) << " " << kSeverity[s];
                        any = true;
                    }
                    out << "</td></tr>";
                }
            }
            out << "</table></div>";
        }
    }
}

void non_conformities(Out &out, const Table &t) {
    using namespace results;
    out << "<h2 id=\"nonconformities\">6 Non-conformities by severity</h2>";
    static const char *const kNames[] = {"Info", "Warning", "Error", "Terminated error"};
    const auto &c = t.columns;
    bool any = false;
    for (int s = 3; s >= 0; --s) {
        const Column &count = c[(std::size_t)kFirstCount + (std::size_t)s];
        bool open = false;
        for (std::size_t r = 0; r < t.rows(); ++r) {
            if (count.int_at(r) == 0) continue;
            if (!open) {
                out << "<h3>" << kNames[s] << "</h3><table><tr><th>member</th><th>section</th>"
                    << "<th>id</th><th>extreme</th><th>family</th><th>check</th><th>verdict</th>"
                    << "<th>number</th></tr>";
                open = any = true;
            }
            out << "<tr>";
            text_cell(out, c[kColMember], r);
            text_cell(out, c[kColSectionName], r);
            text_cell(out, c[kColSection], r);
            text_cell(out, c[kColExtreme], r);
            text_cell(out, c[kColFamily], r);
            text_cell(out, c[kColCheck], r);
            verdict_cell(out, c[kColResult], r);
            out << "<td class=\"n\">" << std::to_string(count.int_at(r)) << "</td></tr>";
        }
        if (open) out << "</table>";
    }
    if (!any) out << "<p>The result file states no non-conformity.</p>";
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
    row("IDEA StatiCa RCS version", "not stated in the result file", "");
    row("created", s.created, "");
    out << "</table>";
}

}  // namespace

void write_html(const Value &model, const Table &checks, const Sources &sources, const Sink &sink) {
    using namespace results;
    if (checks.columns.size() != (std::size_t)kCheckColumnCount) {
        throw Error(ErrorKind::Value, "a report needs a check table");
    }
    if (checks.rows() == 0) {
        throw Error(ErrorKind::Value, "the result file holds no check: there is nothing to report");
    }
    if (checks.columns[kColN].unit() != "kN") {
        throw Error(ErrorKind::Value, "a report needs the check table in engineering units");
    }
    if (!checks.columns[kColSectionName].valid(0) && !checks.columns[kColMember].valid(0) &&
        !checks.columns[kColPosition].valid(0)) {
        throw Error(ErrorKind::Value, "a report needs the check table read with its model");
    }
    const Table g = governing(checks, false);
    const Index ix = index_of(checks, g);
    const auto members = by_member(model);

    Out out(sink);
    const Value *project_data = member(model, "project_data");
    const std::string name =
        project_data == nullptr ? "" : cross_section::text(*project_data, "Name");
    out << "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Calculation "
           "report";
    if (!name.empty()) out.text(" – " + name);
    out << "</title><style>" << kStyle << "</style></head><body><h1>Calculation report";
    if (!name.empty()) out.text(": " + name);
    out << "</h1><p class=\"muted\">Reinforced-concrete section checks to EN 1992 by IDEA "
           "StatiCa RCS. Created ";
    out.text(sources.created) << ".</p><nav><a href=\"#summary\">Summary</a> · "
                                 "<a href=\"#project\">Project</a> · <a href=\"#materials\">"
                                 "Materials</a> · <a href=\"#sections\">Sections</a> · <a "
                                 "href=\"#loads\">Loads</a> · <a href=\"#checks\">Checks</a> · "
                                 "<a href=\"#nonconformities\">Non-conformities</a> · <a "
                                 "href=\"#traceability\">Traceability</a></nav>";
    summary(out, checks, g);
    project(out, model);
    materials(out, model);
    reinforced_sections(out, model);
    loads(out, model, members);
    checks_by_member(out, model, checks, g, ix, members);
    non_conformities(out, checks);
    traceability(out, sources);
    out << "</body></html>\n";
    out.flush();
}

}  // namespace marlox::report
