#include "core/input_xml.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "core/error.hpp"
#include "core/json.hpp"
#include "core/schema.hpp"

namespace marlox::input_xml {

namespace {

using json::Value;

// ---------------------------------------------------------------------------------------------
// Output

class Xml {
  public:
    Xml() { out_.reserve(1 << 16); }

    void open(std::string_view tag, std::string_view xsi_type = {}) {
        indent();
        out_ += '<';
        out_ += tag;
        if (!xsi_type.empty()) {
            out_ += " xsi:type=\"";
            out_ += xsi_type;
            out_ += '"';
        }
        out_ += ">\n";
        ++depth_;
    }

    void close(std::string_view tag) {
        --depth_;
        indent();
        out_ += "</";
        out_ += tag;
        out_ += ">\n";
    }

    void empty(std::string_view tag) {
        indent();
        out_ += '<';
        out_ += tag;
        out_ += " />\n";
    }

    // An element whose text is already valid XML text.
    void leaf(std::string_view tag, std::string_view text) {
        if (text.empty()) return empty(tag);
        indent();
        out_ += '<';
        out_ += tag;
        out_ += '>';
        out_ += text;
        out_ += "</";
        out_ += tag;
        out_ += ">\n";
    }

    void raw(std::string_view text) { out_ += text; }
    void reserve(size_t bytes) { out_.reserve(bytes); }
    std::string take() { return std::move(out_); }

  private:
    void indent() { out_.append(static_cast<size_t>(depth_) * 2, ' '); }

    std::string out_;
    int depth_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Reading the document, with errors that name the object and the field

class Reader {
  public:
    Reader(const Value &object, std::string context)
        : object_(object), context_(std::move(context)) {
        if (object.type != Value::Type::Object)
            fail_here("must be an object, not " + std::string(json::type_name(object.type)));
    }

    const std::string &context() const { return context_; }

    [[noreturn]] void fail_here(const std::string &what) const {
        fail(ErrorKind::Value, context_ + " " + what);
    }

    [[noreturn]] void fail_field(std::string_view key, const std::string &what) const {
        fail(ErrorKind::Value, context_ + ": '" + std::string(key) + "' " + what);
    }

    const Value &get(std::string_view key) const {
        const Value *value = object_.find(key);
        if (value == nullptr) fail_field(key, "is missing");
        return *value;
    }

    bool is_null(std::string_view key) const {
        const Value *value = object_.find(key);
        return value == nullptr || value->is_null();
    }

    const Value &typed(std::string_view key, Value::Type type) const {
        const Value &value = get(key);
        if (value.type != type)
            fail_field(key, std::string("must be ") + json::type_name(type) + ", not " +
                                json::type_name(value.type));
        return value;
    }

    std::string number(std::string_view key) const {
        const Value &value = typed(key, Value::Type::Number);
        if (!std::isfinite(value.number))
            fail_field(key, "must be a finite number, not " + value.text);
        return format_number(value.number);
    }

    double real(std::string_view key) const {
        const Value &value = typed(key, Value::Type::Number);
        if (!std::isfinite(value.number))
            fail_field(key, "must be a finite number, not " + value.text);
        return value.number;
    }

    long long integer(std::string_view key) const {
        const Value &value = typed(key, Value::Type::Number);
        if (!value.integral || std::fabs(value.number) > 2147483647.0)
            fail_field(key, "must be a 32-bit integer, not " + value.text);
        return std::strtoll(value.text.c_str(), nullptr, 10);
    }

    const char *boolean(std::string_view key) const {
        return typed(key, Value::Type::Bool).boolean ? "true" : "false";
    }

    std::string text(std::string_view key) const {
        return escape(key, typed(key, Value::Type::String).text);
    }

    // An enumeration member by IDEA's name, checked against the enumeration.
    std::string member(std::string_view key, const char *enumeration) const {
        const std::string &value = typed(key, Value::Type::String).text;
        const schema::Enumeration *e = schema::find_enumeration(enumeration);
        if (e == nullptr || e->find_value(value) == nullptr)
            fail_field(
                key, "must be a " + std::string(enumeration) + " member name, not '" + value + "'");
        return value;
    }

    Reader object(std::string_view key) const {
        return Reader(typed(key, Value::Type::Object), context_ + " '" + std::string(key) + "'");
    }

    const std::vector<Value> &array(std::string_view key) const {
        return typed(key, Value::Type::Array).items;
    }

    // Text made safe for XML: markup escaped, characters XML cannot carry refused.
    std::string escape(std::string_view key, const std::string &raw) const {
        std::string out;
        out.reserve(raw.size());
        for (size_t i = 0; i < raw.size(); ++i) {
            const unsigned char c = static_cast<unsigned char>(raw[i]);
            if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
                fail_field(key, "holds a control character that XML cannot carry");
            if (c == 0xED && i + 1 < raw.size() &&
                (static_cast<unsigned char>(raw[i + 1]) & 0xE0) == 0xA0)
                fail_field(key, "holds a lone surrogate that XML cannot carry");
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
                case '\r':
                    out += "&#xD;";
                    break;
                default:
                    out += static_cast<char>(c);
            }
        }
        return out;
    }

  private:
    const Value &object_;
    std::string context_;
};

std::string describe(const char *type, const Value &object) {
    std::string text = type;
    if (object.type == Value::Type::Object) {
        const Value *id = object.find("Id");
        if (id != nullptr && id->type == Value::Type::Number) text += " " + id->text;
    }
    return text;
}

// ---------------------------------------------------------------------------------------------
// The model's objects, their ids and references

struct Model {
    std::map<std::string, std::set<long long>> ids;  // list type -> ids present

    void add(const std::string &list, const Reader &object) {
        const long long id = object.integer("Id");
        if (!ids[list].insert(id).second)
            object.fail_field("Id", "repeats id " + std::to_string(id) + " of another " + list);
    }
};

void write_reference(Xml &xml, const Model &model, const Reader &owner, std::string_view key,
                     const char *list_type) {
    const Reader reference = owner.object(key);
    const std::string type_name = reference.typed("TypeName", Value::Type::String).text;
    if (type_name != list_type)
        owner.fail_field(key,
                         "must refer to a " + std::string(list_type) + ", not to a " + type_name);
    const long long id = reference.integer("Id");
    auto it = model.ids.find(list_type);
    if (it == model.ids.end() || it->second.count(id) == 0)
        owner.fail_field(key, "refers to " + std::string(list_type) + " " + std::to_string(id) +
                                  ", which the model does not have");
    xml.open(key);
    xml.leaf("TypeName", list_type);
    xml.leaf("Id", std::to_string(id));
    xml.close(key);
}

std::pair<std::string, std::string> point(const Reader &owner, std::string_view key,
                                          const Value &value) {
    if (value.type != Value::Type::Array || value.items.size() != 2)
        owner.fail_field(key, "must hold points [y, z]");
    std::pair<std::string, std::string> out;
    for (int i = 0; i < 2; ++i) {
        const Value &c = value.items[static_cast<size_t>(i)];
        if (c.type != Value::Type::Number || !std::isfinite(c.number))
            owner.fail_field(key, "must hold points of two finite numbers");
        (i == 0 ? out.first : out.second) = format_number(c.number);
    }
    return out;
}

void write_point(Xml &xml, std::string_view tag, const std::pair<std::string, std::string> &p) {
    xml.open(tag);
    xml.leaf("X", p.first);  // the section's y axis is IDEA's X
    xml.leaf("Y", p.second);
    xml.close(tag);
}

bool is_arc(const Value &entry) {
    return entry.type == Value::Type::Array && entry.items.size() == 2 &&
           entry.items[0].type == Value::Type::Array;
}

// A polyline: start point, then line segments to points and arc segments ((end), (on arc)).
// Returns whether it ends where it starts.
bool write_polyline(Xml &xml, std::string_view tag, const Reader &owner, std::string_view key,
                    const Value &polyline, size_t min_vertices, bool close_it) {
    if (polyline.type != Value::Type::Array || polyline.items.size() < min_vertices)
        owner.fail_field(key, "must hold at least " + std::to_string(min_vertices) + " vertices");
    if (is_arc(polyline.items[0])) owner.fail_field(key, "must start at a point, not an arc");
    const auto start = point(owner, key, polyline.items[0]);
    std::pair<std::string, std::string> last = start;
    xml.open(tag);
    write_point(xml, "StartPoint", start);
    xml.open("Segments");
    for (size_t i = 1; i < polyline.items.size(); ++i) {
        const Value &entry = polyline.items[i];
        if (is_arc(entry)) {
            const auto end = point(owner, key, entry.items[0]);
            const auto on_arc = point(owner, key, entry.items[1]);
            xml.open("Segment2D", "ArcSegment2D");
            write_point(xml, "EndPoint", end);
            write_point(xml, "Point", on_arc);
            xml.close("Segment2D");
            last = end;
        } else {
            last = point(owner, key, entry);
            xml.open("Segment2D", "LineSegment2D");
            write_point(xml, "EndPoint", last);
            xml.close("Segment2D");
        }
    }
    const bool closed = last == start;
    if (close_it && !closed) {
        xml.open("Segment2D", "LineSegment2D");
        write_point(xml, "EndPoint", start);
        xml.close("Segment2D");
    }
    xml.close("Segments");
    xml.close(tag);
    return closed;
}

void write_thermal_state(Xml &xml, const Reader &material) {
    const Reader state = material.object("ThermalState");
    for (const char *key :
         {"StateOfThermalExpansion", "StateOfThermalConductivity", "StateOfThermalSpecificHeat",
          "StateOfThermalStressStrain", "StateOfThermalStrain"})
        xml.leaf(key, state.member(key, "ThermalStateType"));
}

void write_material_head(Xml &xml, const Reader &m) {
    xml.leaf("Id", std::to_string(m.integer("Id")));
    xml.leaf("Name", m.text("Name"));
    xml.leaf("LoadFromLibrary", "false");
    for (const char *key : {"E", "G", "Poisson", "UnitMass", "SpecificHeat", "ThermalExpansion",
                            "ThermalConductivity"})
        xml.leaf(key, m.number(key));
    xml.leaf("IsDefaultMaterial", m.boolean("IsDefaultMaterial"));
    xml.leaf("OrderInCode", std::to_string(m.integer("OrderInCode")));
    write_thermal_state(xml, m);
}

void write_concrete(Xml &xml, const Reader &m) {
    xml.open("MatConcrete", "MatConcreteEc2");
    write_material_head(xml, m);
    static const char *dependent[] = {"Ecm",       "Epsc1",     "Epsc2",   "Epsc3",
                                      "Epscu1",    "Epscu2",    "Epscu3",  "Fctm",
                                      "Fctk_0_05", "Fctk_0_95", "NFactor", "Fcm"};
    const bool derived = m.is_null("DependentParams");
    xml.leaf("CalculateDependentValues", derived ? "true" : "false");
    xml.leaf("Fck", m.number("Fck"));
    if (derived) {
        for (const char *key : dependent) xml.leaf(key, "0");
    } else {
        const Reader params = m.object("DependentParams");
        for (const char *key : dependent) xml.leaf(key, params.number(key));
    }
    xml.leaf("StoneDiameter", m.number("StoneDiameter"));
    xml.leaf("CementClass", m.member("CementClass", "ConcCementClass"));
    xml.leaf("AggregateType", m.member("AggregateType", "ConcAggregateType"));
    xml.leaf("DiagramType", m.member("DiagramType", "ConcDiagramType"));
    xml.leaf("SilicaFume", m.boolean("SilicaFume"));
    xml.leaf("PlainConcreteDiagram", m.boolean("PlainConcreteDiagram"));
    xml.close("MatConcrete");
}

void write_reinforcement(Xml &xml, const Reader &m) {
    xml.open("MatReinforcement", "MatReinforcementEc2");
    write_material_head(xml, m);
    xml.leaf("BarSurface", m.member("BarSurface", "BarSurface"));
    for (const char *key : {"Fyk", "CoeffFtkByFyk", "Epsuk", "Ftk"}) xml.leaf(key, m.number(key));
    xml.leaf("Class", m.member("Class", "ReinfClass"));
    xml.leaf("Type", m.member("Type", "ReinfType"));
    xml.leaf("Fabrication", m.member("Fabrication", "ReinfFabrication"));
    xml.leaf("DiagramType", m.member("DiagramType", "ReinfDiagramType"));
    xml.close("MatReinforcement");
}

void write_cross_section_head(Xml &xml, const Reader &cs) {
    xml.leaf("Id", std::to_string(cs.integer("Id")));
    xml.leaf("Name", cs.text("Name"));
    xml.leaf("CrossSectionRotation", "0");
    xml.leaf("IsInPrincipal", "false");
}

void write_cross_section_parameter(Xml &xml, const Model &model, const Reader &cs) {
    xml.open("CrossSection", "CrossSectionParameter");
    write_cross_section_head(xml, cs);
    xml.leaf("CrossSectionType", cs.member("CrossSectionType", "CrossSectionType"));
    const Value &parameters = cs.typed("Parameters", Value::Type::Object);
    if (parameters.members.empty()) {
        xml.empty("Parameters");
    } else {
        xml.open("Parameters");
        const Reader named(parameters, cs.context() + " 'Parameters'");
        for (const auto &[name, value] : parameters.members) {
            xml.open("Parameter", "ParameterDouble");
            xml.leaf("Name", named.escape(name, name));
            xml.leaf("Value", named.number(name));
            xml.close("Parameter");
        }
        xml.close("Parameters");
    }
    write_reference(xml, model, cs, "Material", "MatConcrete");
    xml.close("CrossSection");
}

void write_cross_section_component(Xml &xml, const Model &model, const Reader &cs) {
    xml.open("CrossSection", "CrossSectionComponent");
    write_cross_section_head(xml, cs);
    const std::vector<Value> &components = cs.array("Components");
    if (components.empty()) cs.fail_field("Components", "is empty: the section has no geometry");
    xml.open("Components");
    for (const Value &item : components) {
        const Reader component(item, cs.context() + " " + describe("CssComponent", item));
        xml.open("CssComponent");
        xml.leaf("Id", std::to_string(component.integer("Id")));
        write_reference(xml, model, component, "Material", "MatConcrete");
        xml.open("Geometry");
        write_polyline(xml, "Outline", component, "Outline", component.get("Outline"), 3, true);
        if (!component.is_null("Openings"))
            for (const Value &opening : component.array("Openings"))
                write_polyline(xml, "Openings", component, "Openings", opening, 3, true);
        xml.close("Geometry");
        xml.leaf("Phase", "0");
        xml.close("CssComponent");
    }
    xml.close("Components");
    xml.close("CrossSection");
}

void write_reinforced_cross_section(Xml &xml, const Model &model, const Reader &rcs) {
    xml.open("ReinforcedCrossSection");
    xml.leaf("Id", std::to_string(rcs.integer("Id")));
    xml.leaf("Name", rcs.text("Name"));
    write_reference(xml, model, rcs, "CrossSection", "CrossSection");
    const std::vector<Value> &bars = rcs.array("Bars");
    if (bars.empty()) {
        xml.empty("Bars");
    } else {
        xml.open("Bars");
        for (size_t i = 0; i < bars.size(); ++i) {
            const Reader bar(bars[i], rcs.context() + " bar " + std::to_string(i + 1));
            xml.open("ReinforcedBar");
            write_point(xml, "Point", point(bar, "Point", bar.get("Point")));
            if (bar.real("Diameter") <= 0) bar.fail_field("Diameter", "must be positive");
            xml.leaf("Diameter", bar.number("Diameter"));
            write_reference(xml, model, bar, "Material", "MatReinforcement");
            xml.close("ReinforcedBar");
        }
        xml.close("Bars");
    }
    const std::vector<Value> &stirrups = rcs.array("Stirrups");
    if (stirrups.empty()) {
        xml.empty("Stirrups");
    } else {
        xml.open("Stirrups");
        for (size_t i = 0; i < stirrups.size(); ++i) {
            const Reader stirrup(stirrups[i], rcs.context() + " stirrup " + std::to_string(i + 1));
            xml.open("Stirrup");
            const bool closed = write_polyline(xml, "Geometry", stirrup, "Geometry",
                                               stirrup.get("Geometry"), 2, false);
            if (stirrup.real("Diameter") <= 0) stirrup.fail_field("Diameter", "must be positive");
            xml.leaf("Diameter", stirrup.number("Diameter"));
            write_reference(xml, model, stirrup, "Material", "MatReinforcement");
            xml.leaf("AnchorageLenght", stirrup.number("AnchorageLenght"));
            xml.leaf("DiameterOfMandrel", stirrup.number("DiameterOfMandrel"));
            xml.leaf("IsClosed", closed ? "true" : "false");
            xml.leaf("Distance", stirrup.number("Distance"));
            xml.leaf("ShearCheck", stirrup.boolean("ShearCheck"));
            xml.leaf("TorsionCheck", stirrup.boolean("TorsionCheck"));
            xml.close("Stirrup");
        }
        xml.close("Stirrups");
    }
    xml.empty("TendonBars");
    xml.empty("TendonDucts");
    xml.close("ReinforcedCrossSection");
}

// Calculation setup: the given one, or the checks documented as the default.
void write_calculation_setup(Xml &xml, const Reader &data) {
    static const std::pair<const char *, bool> defaults[] = {{"UlsResponse", false},
                                                             {"UlsDiagram", true},
                                                             {"UlsShear", true},
                                                             {"UlsTorsion", false},
                                                             {"UlsInteraction", true},
                                                             {"SlsCrack", true},
                                                             {"SlsStressLimitation", true},
                                                             {"Detailing", true},
                                                             {"MNKappaDiagram", false},
                                                             {"Fatigue", false},
                                                             {"CrossSectionCharacteristics", false},
                                                             {"SlsStiffnesses", false},
                                                             {"SlsDeflections", false}};
    xml.open("CalculationSetup");
    if (data.is_null("CalculationSetup")) {
        for (const auto &[key, on] : defaults) xml.leaf(key, on ? "true" : "false");
    } else {
        const Reader setup = data.object("CalculationSetup");
        for (const auto &entry : defaults) xml.leaf(entry.first, setup.boolean(entry.first));
    }
    xml.close("CalculationSetup");
}

void write_column_data(Xml &xml) {
    static const std::pair<const char *, const char *> values[] = {
        {"ImperfectionsInput", "Calculated"},
        {"SecondOrderEffectInput", "Calculated"},
        {"CalculateY", "false"},
        {"CalculateZ", "false"},
        {"L", "3"},
        {"EffectiveLength", "Calculated"},
        {"L0Y", "3"},
        {"L0Z", "3"},
        {"FemLenghtFromFlexibleSupport", "false"},
        {"FemL0Y", "NaN"},
        {"FemL0Z", "NaN"},
        {"SupportTopY", "Hinge"},
        {"SupportTopZ", "Hinge"},
        {"SupportBottomY", "Hinge"},
        {"SupportBottomZ", "Hinge"},
        {"ImperfectionDirection", "BothDirections"},
        {"BracedY", "false"},
        {"BracedZ", "false"},
        {"GeometricImperfectionsULS", "true"},
        {"GeometricImperfectionsSLS", "false"},
        {"EffectConsidered", "IsolatedMember"},
        {"TotalL", "20"},
        {"NumberOfVerticalMembersY", "1"},
        {"NumberOfVerticalMembersZ", "1"},
        {"Calculation2ndOrderEffect", "true"},
        {"SecondOrderEffectMethod", "NominalCurvature"},
        {"ValueTypeOfc0Y", "UserDefined"},
        {"UserValuec0Y", "9.869604401089358"},
        {"ValueTypeOfc0Z", "UserDefined"},
        {"UserValuec0Z", "9.869604401089358"},
        {"ValueTypeOfcY", "UserDefined"},
        {"UserValuecY", "9.869604401089358"},
        {"ValueTypeOfcZ", "UserDefined"},
        {"UserValuecZ", "9.869604401089358"}};
    xml.open("ColumnData");
    for (const auto &[key, value] : values) xml.leaf(key, value);
    xml.close("ColumnData");
}

void write_beam_data(Xml &xml) {
    static const std::pair<const char *, const char *> values[] = {
        {"TypeOfCalculation", "CheckSlenderness"},
        {"Ln", "1"},
        {"BeamSpanLength", "1"},
        {"TypeOfSupportLeft", "NonContinuous"},
        {"TypeOfSupportRight", "NonContinuous"},
        {"WidthOfSupportLeft", "0.4"},
        {"WidthOfSupportRight", "0.4"},
        {"DeflectionSheme", "DeflectionSheme_V"},
        {"CheckLimitDeflection", "true"},
        {"IsUserLimitDeflection", "false"},
        {"UserLimitDeflection", "NaN"},
        {"CheckLimitDeflRheoEffects", "false"},
        {"UserLimitDeflRheoEffects", "NaN"},
        {"IsAbsValueLimitDeflection", "false"},
        {"RequiredCamber", "0"},
        {"IsYDirectionData", "false"}};
    xml.open("BeamData");
    for (const auto &[key, value] : values) xml.leaf(key, value);
    xml.close("BeamData");
}

void write_exposure(Xml &xml, const Reader &data) {
    struct Class {
        const char *key, *check, *fallback, *prefix;
    };
    static const Class classes[] = {{"Carbonation", "CarbonationCheck", "XC3", "XC"},
                                    {"Chlorides", "ChloridesCheck", "XD1", "XD"},
                                    {"ChloridesFromSea", "ChloridesFromSeaCheck", "XS1", "XS"},
                                    {"FreezeAttack", "FreezeAttackCheck", "XF1", "XF"},
                                    {"ChemicalAttack", "ChemicalAttackCheck", "XA1", "XA"}};
    const bool given = !data.is_null("ExposureClassesData");
    std::vector<std::string> values;
    bool any = false;
    for (const Class &c : classes) {
        std::string value;
        if (given) {
            const Reader exposure = data.object("ExposureClassesData");
            if (!exposure.is_null(c.key)) {
                value = exposure.member(c.key, "ExposureClass");
                if (value.rfind(c.prefix, 0) != 0)
                    exposure.fail_field(c.key, "must be one of the " + std::string(c.prefix) +
                                                   " classes, not " + value);
                any = true;
            }
        }
        values.push_back(value);
    }
    xml.open("ExposureClassesData");
    xml.leaf("NoCorrosionCheck", any ? "false" : "true");
    for (size_t i = 0; i < values.size(); ++i) {
        xml.leaf(classes[i].check, values[i].empty() ? "false" : "true");
        xml.leaf(classes[i].key, values[i].empty() ? classes[i].fallback : values[i]);
    }
    xml.close("ExposureClassesData");
}

void write_member_data(Xml &xml, const Model &model, const Reader &data) {
    xml.open("OpenAttribute", "ConcreteMemberDataEc2");
    write_reference(xml, model, data, "Element", "CheckMember");
    xml.leaf("MemberType", data.member("MemberType", "MemberType"));
    xml.leaf("TwoWaySlabType", data.member("TwoWaySlabType", "TwoWaySlabType"));
    write_calculation_setup(xml, data);
    write_column_data(xml);
    write_exposure(xml, data);
    write_beam_data(xml);
    if (data.is_null("RelativeHumidity")) {
        xml.leaf("RelativeHumidity", "0.65");
    } else {
        const double percent = data.real("RelativeHumidity");
        if (!(percent > 0 && percent <= 100))
            data.fail_field("RelativeHumidity", "must be a percentage in (0, 100]");
        xml.leaf("RelativeHumidity", format_number(percent / 100.0));
    }
    const bool creep_given = !data.is_null("CreepCoeffInfinity");
    xml.leaf("CreepCoeffInfinityValue", creep_given ? "UserInput" : "Calculated");
    xml.leaf("CreepCoeffInfinity", creep_given ? data.number("CreepCoeffInfinity") : "2.5");
    xml.leaf("MemberImportance", "Major");
    xml.leaf("CoeffKxForWmax",
             data.is_null("CoeffKxForWmax") ? "1" : data.number("CoeffKxForWmax"));
    xml.leaf("DeflectionRequirement", "Normal");
    xml.close("OpenAttribute");
}

void write_forces(Xml &xml, const Reader &loading, std::string_view key) {
    const Reader forces = loading.object(key);
    xml.open(key);
    for (const char *component : {"N", "Qy", "Qz", "Mx", "My", "Mz"})
        xml.leaf(component, forces.number(component));
    xml.close(key);
}

void write_loading(Xml &xml, const Reader &extreme, std::string_view key, bool ultimate) {
    if (extreme.is_null(key)) return;
    const Reader loading = extreme.object(key);
    xml.open(key);
    write_forces(xml, loading, "InternalForces");
    if (ultimate) {
        if (!loading.is_null("InternalForcesBegin"))
            write_forces(xml, loading, "InternalForcesBegin");
        if (!loading.is_null("InternalForcesEnd")) write_forces(xml, loading, "InternalForcesEnd");
    }
    xml.close(key);
}

void write_check_section(Xml &xml, const Model &model, const Reader &section) {
    xml.open("CheckSection", "StandardCheckSection");
    xml.leaf("Id", std::to_string(section.integer("Id")));
    xml.leaf("Description", section.text("Description"));
    write_reference(xml, model, section, "CheckMember", "CheckMember");
    write_reference(xml, model, section, "ReinfSection", "ReinforcedCrossSection");
    const std::vector<Value> &extremes = section.array("Extremes");
    if (extremes.empty()) {
        xml.empty("Extremes");
    } else {
        xml.open("Extremes");
        for (size_t i = 0; i < extremes.size(); ++i) {
            const Reader extreme(extremes[i],
                                 section.context() + " extreme " + std::to_string(i + 1));
            xml.open("CheckSectionExtreme", "StandardCheckSectionExtreme");
            xml.leaf("Description", extreme.text("Description"));
            write_loading(xml, extreme, "Fundamental", true);
            write_loading(xml, extreme, "Accidental", true);
            write_loading(xml, extreme, "Characteristic", false);
            write_loading(xml, extreme, "QuasiPermanent", false);
            write_loading(xml, extreme, "Frequent", false);
            if (!extreme.is_null("Fatigue")) {
                const Reader fatigue = extreme.object("Fatigue");
                xml.open("Fatigue");
                write_loading(xml, fatigue, "MaxLoading", true);
                write_loading(xml, fatigue, "MinLoading", true);
                xml.close("Fatigue");
            }
            xml.close("CheckSectionExtreme");
        }
        xml.close("Extremes");
    }
    xml.close("CheckSection");
}

// The pair [class name, object] of a list; the class name must be one the list may hold.
std::pair<std::string, const Value *> pair_of(const Value &entry, const char *list,
                                              std::initializer_list<const char *> allowed) {
    const std::string where = std::string(list) + " entry";
    if (entry.type != Value::Type::Array || entry.items.size() != 2 ||
        entry.items[0].type != Value::Type::String)
        fail(ErrorKind::Value, where + " must be a pair [class name, object]");
    const std::string &name = entry.items[0].text;
    bool ok = false;
    for (const char *type : allowed) ok = ok || name == type;
    if (!ok) fail(ErrorKind::Value, where + ": class '" + name + "' cannot stand in " + list);
    return {name, &entry.items[1]};
}

const std::vector<Value> &list_of(const Value &document, const char *key) {
    const Value *list = document.find(key);
    if (list == nullptr) fail(ErrorKind::Value, std::string("the model has no '") + key + "'");
    if (list->type != Value::Type::Array)
        fail(ErrorKind::Value, std::string("the model's '") + key + "' must be an array");
    return list->items;
}

template <class Write>
void write_list(Xml &xml, const char *tag, const std::vector<Value> &items, Write write) {
    if (items.empty()) return xml.empty(tag);
    xml.open(tag);
    for (const Value &item : items) write(item);
    xml.close(tag);
}

}  // namespace

std::string format_number(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
    if (value == 0) return std::signbit(value) ? "-0" : "0";
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    std::string sci(buffer, result.ptr);  // d[.ddd]e±XX, shortest round trip
    const bool negative = sci[0] == '-';
    if (negative) sci.erase(0, 1);
    const size_t e = sci.find('e');
    const int exponent = std::atoi(sci.c_str() + e + 1);
    std::string digits;
    for (size_t i = 0; i < e; ++i)
        if (sci[i] != '.') digits += sci[i];
    std::string out = negative ? "-" : "";
    if (exponent >= 15 || exponent < -4) {
        out += digits[0];
        if (digits.size() > 1) out += "." + digits.substr(1);
        char exp[16];
        std::snprintf(exp, sizeof exp, "E%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
        return out + exp;
    }
    if (exponent < 0)
        return out + "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
    const size_t integer_digits = static_cast<size_t>(exponent) + 1;
    if (digits.size() <= integer_digits)
        return out + digits + std::string(integer_digits - digits.size(), '0');
    return out + digits.substr(0, integer_digits) + "." + digits.substr(integer_digits);
}

std::string write(std::string_view text) {
    const Value document = json::parse(text);
    if (document.type != Value::Type::Object)
        fail(ErrorKind::Value, "the model must be a JSON object");

    const auto &concretes = list_of(document, "mat_concrete_list");
    const auto &steels = list_of(document, "mat_reinforcement_list");
    const auto &sections = list_of(document, "cross_section_list");
    const auto &reinforced = list_of(document, "reinforced_cross_section_list");
    const auto &members = list_of(document, "check_member_list");
    const auto &checks = list_of(document, "check_section_list");
    const auto &attributes = list_of(document, "attribute_list");
    const Value *project = document.find("project_data");
    const Value *settings = document.find("code_settings");
    if (project == nullptr) fail(ErrorKind::Value, "the model has no 'project_data'");
    if (settings == nullptr) fail(ErrorKind::Value, "the model has no 'code_settings'");

    // Ids first, so that references can be checked wherever they stand.
    Model model;
    auto register_list = [&](const std::vector<Value> &items, const char *key, const char *list,
                             std::initializer_list<const char *> allowed) {
        for (const Value &entry : items) {
            auto [name, object] = pair_of(entry, key, allowed);
            model.add(list, Reader(*object, describe(name.c_str(), *object)));
        }
    };
    register_list(concretes, "mat_concrete_list", "MatConcrete", {"MatConcreteEc2"});
    register_list(steels, "mat_reinforcement_list", "MatReinforcement", {"MatReinforcementEc2"});
    register_list(sections, "cross_section_list", "CrossSection",
                  {"CrossSectionParameter", "CrossSectionComponent"});
    register_list(reinforced, "reinforced_cross_section_list", "ReinforcedCrossSection",
                  {"ReinforcedCrossSection"});
    register_list(members, "check_member_list", "CheckMember", {"CheckMember1D"});
    register_list(checks, "check_section_list", "CheckSection", {"StandardCheckSection"});

    const Reader project_data(*project, "ProjectData");
    const Reader code_settings(*settings, "CodeSettings");

    Xml xml;
    xml.raw("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n");
    xml.raw(
        "<OpenModel xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n");
    Xml body;
    // A model's XML is about 3.5 times its JSON: no regrowth (pages are touched as written).
    body.reserve(std::min(text.size() * 4, size_t{1} << 30));
    body.open("OpenModel");  // only for the indentation of the content
    body.leaf("Version", "2");
    for (const char *tag : {"Point3D", "LineSegment3D", "ArcSegment3D", "PolyLine3D", "Region3D"})
        body.empty(tag);
    write_list(body, "MatConcrete", concretes, [&](const Value &entry) {
        const Value &object = *pair_of(entry, "mat_concrete_list", {"MatConcreteEc2"}).second;
        write_concrete(body, Reader(object, describe("MatConcreteEc2", object)));
    });
    write_list(body, "MatReinforcement", steels, [&](const Value &entry) {
        const Value &object =
            *pair_of(entry, "mat_reinforcement_list", {"MatReinforcementEc2"}).second;
        write_reinforcement(body, Reader(object, describe("MatReinforcementEc2", object)));
    });
    body.empty("MatSteel");
    body.empty("MatPrestressSteel");
    write_list(body, "CrossSection", sections, [&](const Value &entry) {
        auto [name, object] = pair_of(entry, "cross_section_list",
                                      {"CrossSectionParameter", "CrossSectionComponent"});
        const Reader cs(*object, describe(name.c_str(), *object));
        if (name == "CrossSectionParameter")
            write_cross_section_parameter(body, model, cs);
        else
            write_cross_section_component(body, model, cs);
    });
    write_list(body, "ReinforcedCrossSection", reinforced, [&](const Value &entry) {
        const Value &object =
            *pair_of(entry, "reinforced_cross_section_list", {"ReinforcedCrossSection"}).second;
        write_reinforced_cross_section(body, model,
                                       Reader(object, describe("ReinforcedCrossSection", object)));
    });
    for (const char *tag : {"HingeElement1D",
                            "Opening",
                            "DappedEnd",
                            "PatchDevice",
                            "Element1D",
                            "Beam",
                            "Member1D",
                            "Element2D",
                            "Wall",
                            "Member2D",
                            "RigidLink",
                            "PointOnLine3D",
                            "PointSupportNode",
                            "LineSupportSegment",
                            "LoadsInPoint",
                            "LoadsOnLine",
                            "StrainLoadsOnLine",
                            "PointLoadsOnLine",
                            "LoadsOnSurface",
                            "Settlements",
                            "TemperatureLoadsOnLine",
                            "LoadGroup",
                            "LoadCase",
                            "CombiInput"})
        body.empty(tag);
    size_t attribute_index = 0;
    write_list(body, "Attribute", attributes, [&](const Value &entry) {
        const Value &object = *pair_of(entry, "attribute_list", {"ConcreteMemberDataEc2"}).second;
        write_member_data(
            body, model,
            Reader(object, "ConcreteMemberDataEc2 " + std::to_string(++attribute_index)));
    });
    for (const char *tag :
         {"ConnectionPoint", "Connections", "Reinforcement", "ISDModel",
          "InitialImperfectionOfPoint", "Tendon", "ResultClass", "DesignMember", "SubStructure"})
        body.empty(tag);

    body.open("ProjectData");
    body.leaf("Name", project_data.text("Name"));
    for (const char *key : {"Description", "Number", "Author"}) {
        const std::string value = project_data.text(key);
        if (!value.empty()) body.leaf(key, value);
    }
    const std::string date = project_data.text("Date");
    if (date.size() != 10 || date[4] != '-' || date[7] != '-')
        project_data.fail_field("Date", "must be a date 'YYYY-MM-DD', not '" + date + "'");
    body.leaf("Date", date + "T00:00:00");
    body.open("CodeDependentData");
    const std::string annex = code_settings.member("AnnexCode", "NationalAnnex");
    body.leaf("AnnexCode", annex);
    body.leaf("FatigueCheck", code_settings.boolean("FatigueCheck"));
    body.leaf("FatigueAnnexNN", code_settings.boolean("FatigueAnnexNN"));
    body.close("CodeDependentData");
    body.close("ProjectData");

    write_list(body, "CheckMember", members, [&](const Value &entry) {
        const Value &object = *pair_of(entry, "check_member_list", {"CheckMember1D"}).second;
        const Reader member(object, describe("CheckMember1D", object));
        body.open("CheckMember", "CheckMember1D");
        body.leaf("Id", std::to_string(member.integer("Id")));
        body.leaf("Name", member.text("Name"));
        body.close("CheckMember");
    });
    write_list(body, "ConcreteCheckSection", checks, [&](const Value &entry) {
        const Value &object =
            *pair_of(entry, "check_section_list", {"StandardCheckSection"}).second;
        write_check_section(body, model, Reader(object, describe("StandardCheckSection", object)));
    });
    body.open("ConcreteSetup", "ConcreteSetupEc2");
    body.leaf("Id", "0");
    body.empty("SetupValues");
    body.leaf("Annex", annex);
    body.close("ConcreteSetup");
    body.open("ProjectDataConcrete", "ProjectDataConcreteEc2");
    const long long life = code_settings.integer("DesignWorkingLife");
    if (life <= 0) code_settings.fail_field("DesignWorkingLife", "must be positive");
    body.leaf("DesignWorkingLife", std::to_string(life));
    body.leaf("CodeEN1992_2", code_settings.boolean("CodeEN1992_2"));
    body.leaf("CodeEN1992_3", code_settings.boolean("CodeEN1992_3"));
    body.close("ProjectDataConcrete");
    for (const char *tag :
         {"RebarShape", "RebarGeneral", "RebarSingle", "RebarStirrups", "Taper", "Span"})
        body.empty(tag);
    body.close("OpenModel");

    // Drop the helper's own root lines: the real root carries the namespace declarations.
    // Done in place: the content is by far the largest part.
    std::string content = body.take();
    content.resize(content.rfind("</OpenModel>"));
    content += "</OpenModel>\n";
    content.replace(0, content.find('\n') + 1, xml.take());
    return content;
}

}  // namespace marlox::input_xml
