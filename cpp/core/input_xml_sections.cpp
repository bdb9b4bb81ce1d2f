// The input XML of the materials, cross-sections and reinforced cross-sections, and the
// references between the model's objects.
#include "core/input_xml_io.hpp"

namespace marlox::input_xml {

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

namespace {

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

// Whether two points [y, z] (checked by point()) are the same place: -0 is 0, as the reader
// compares them.
bool same_point(const Value &a, const Value &b) {
    return a.items[0].number == b.items[0].number && a.items[1].number == b.items[1].number;
}

// A polyline: start point, then line segments to points and arc segments ((end), (on arc)).
// Returns whether it ends where it starts. A polyline that `close_it` closes (an outline or an
// opening) ends with one line back to its start: points that repeat the start at its end are
// that line, however many there are, so that the document reads back (the reader drops the
// closing line) to an outline that writes the same again.
bool write_polyline(Xml &xml, std::string_view tag, const Reader &owner, std::string_view key,
                    const Value &polyline, size_t min_vertices, bool close_it) {
    if (polyline.type != Value::Type::Array || polyline.items.empty())
        owner.fail_field(key, "must hold at least " + std::to_string(min_vertices) + " vertices");
    const Value &first = polyline.items[0];
    if (is_arc(first)) owner.fail_field(key, "must start at a point, not an arc");
    const auto start = point(owner, key, first);
    size_t count = polyline.items.size();
    while (close_it && count > 1 && !is_arc(polyline.items[count - 1])) {
        const Value &p = polyline.items[count - 1];
        point(owner, key, p);
        if (!same_point(p, first)) break;
        --count;
    }
    if (count < min_vertices) {
        const bool repeated = count < polyline.items.size();
        owner.fail_field(key, "must hold at least " + std::to_string(min_vertices) + " vertices" +
                                  (repeated ? " besides its start repeated at its end" : ""));
    }
    const Value *last = &first;
    xml.open(tag);
    write_point(xml, "StartPoint", start);
    xml.open("Segments");
    for (size_t i = 1; i < count; ++i) {
        const Value &entry = polyline.items[i];
        if (is_arc(entry)) {
            const auto end = point(owner, key, entry.items[0]);
            const auto on_arc = point(owner, key, entry.items[1]);
            xml.open("Segment2D", "ArcSegment2D");
            write_point(xml, "EndPoint", end);
            write_point(xml, "Point", on_arc);
            xml.close("Segment2D");
            last = &entry.items[0];
        } else {
            xml.open("Segment2D", "LineSegment2D");
            write_point(xml, "EndPoint", point(owner, key, entry));
            xml.close("Segment2D");
            last = &entry;
        }
    }
    const bool closed = same_point(*last, first);
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

}  // namespace

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

namespace {

void write_cross_section_head(Xml &xml, const Reader &cs) {
    xml.leaf("Id", std::to_string(cs.integer("Id")));
    xml.leaf("Name", cs.text("Name"));
    xml.leaf("CrossSectionRotation", "0");
    xml.leaf("IsInPrincipal", "false");
}

}  // namespace

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

}  // namespace marlox::input_xml
