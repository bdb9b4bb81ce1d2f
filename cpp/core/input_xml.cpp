#include "core/input_xml.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/input_xml_io.hpp"

namespace marlox::input_xml {

namespace {

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
    for (const char *tag : kEmptyListsBeforeMaterials) body.empty(tag);
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
    for (const char *tag : kEmptyListsBeforeMemberData) body.empty(tag);
    size_t attribute_index = 0;
    write_list(body, "Attribute", attributes, [&](const Value &entry) {
        const Value &object = *pair_of(entry, "attribute_list", {"ConcreteMemberDataEc2"}).second;
        write_member_data(
            body, model,
            Reader(object, "ConcreteMemberDataEc2 " + std::to_string(++attribute_index)));
    });
    for (const char *tag : kEmptyListsBeforeProjectData) body.empty(tag);

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
    for (const char *tag : kEmptyListsAtTheEnd) body.empty(tag);
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
