// The parts of the calculation report that come from the model alone: project and code settings,
// materials, every reinforced section drawn with its properties, and the loads of every extreme,
// with the check sections grouped by member as the page lists them.
#include <algorithm>
#include <cmath>
#include <map>

#include "core/cross_section_geometry.hpp"
#include "core/markup.hpp"
#include "core/report_parts.hpp"
#include "core/svg_drawing.hpp"

namespace marlox::report::detail {

using json::Value;

Out &Out::text(std::string_view s) {
    markup::escape(buffer_, s);
    if (buffer_.size() >= kPiece) flush();
    return *this;
}

std::string num(double v, int digits) {
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

namespace {

constexpr double kPi = 3.14159265358979323846;

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

std::string section_heading(const Value &model, const Value &s, std::size_t position) {
    double id = 0;
    cross_section::number(s, "Id", id);
    return "Section " + cross_section::text(s, "Description") + " (id " + num(id, 12) +
           ", position " + std::to_string(position) + ", reinforced section " +
           referenced_name(model, s, "ReinfSection", "reinforced_cross_section_list") + ")";
}

}  // namespace

void SectionGroups::add(const Value &model, const Value &s, Out &loads) {
    double member_id = -1;
    cross_section::reference(s, "CheckMember", member_id);
    auto [it, fresh] = index_.emplace(member_id, groups_.size());
    if (fresh) {
        groups_.push_back(
            MemberGroup{referenced_name(model, s, "CheckMember", "check_member_list"), {}});
    }
    MemberGroup &group = groups_[it->second];
    double id = 0;
    cross_section::number(s, "Id", id);
    SectionEntry e;
    e.id = (std::int64_t)id;
    e.position = (std::int32_t)(group.sections.size() + 1);
    e.heading = section_heading(model, s, group.sections.size() + 1);
    // its loads: every extreme's internal forces
    e.loads_offset = loads.size();
    loads << "<h4>";
    loads.text(e.heading) << "</h4>";
    loads << "<table><tr><th>#</th><th>extreme / combination</th><th>N</th><th>Q<sub>y</sub>"
             "</th><th>Q<sub>z</sub></th><th>M<sub>x</sub></th><th>M<sub>y</sub></th>"
             "<th>M<sub>z</sub></th></tr>";
    const Value *extremes = member(s, "Extremes");
    if (extremes != nullptr && extremes->type == Value::Type::Array) {
        for (std::size_t i = 0; i < extremes->items.size(); ++i) {
            if (extremes->items[i].type == Value::Type::Object) {
                extreme_rows(loads, extremes->items[i], i + 1);
            }
        }
    }
    loads << "</table>";
    e.loads_length = loads.size() - e.loads_offset;
    group.sections.push_back(std::move(e));
}

std::string project_name(const Value &model) {
    const Value *project_data = member(model, "project_data");
    return project_data == nullptr ? "" : cross_section::text(*project_data, "Name");
}

void model_parts(Out &out, const Value &model) {
    project(out, model);
    materials(out, model);
    reinforced_sections(out, model);
}

}  // namespace marlox::report::detail
