// IDEA's elements that the model states in another form than the schema tables name them:
// flattened thermal states and dependent parameters, closing segments, member data as
// fractions and flags, the settings spread over three top-level elements, and the values the
// model cannot state at all (accepted only as our writer writes them).
#include <cstdio>
#include <cstdlib>

#include <unordered_map>
#include "core/error.hpp"

#include "core/input_tree.hpp"

namespace marlox::input_read {

using schema::Field;

const std::unordered_map<std::string, std::string> &fixed_member_values();  // input_decode.cpp

namespace {

const char *default_name_prefix(std::string_view type) {
    if (type == "CrossSectionParameter" || type == "CrossSectionComponent") return "";
    if (type == "ReinforcedCrossSection") return "R";
    if (type == "CheckMember1D") return "M ";
    if (type == "StandardCheckSection") return "S";
    return nullptr;
}

bool is_key_of(const char *type, std::string_view key) {
    static const TypeInfo &thermal = info(*schema::find_type("ThermalState"));
    static const TypeInfo &dependent = info(*schema::find_type("ConcDependentParams"));
    const TypeInfo &i = std::string_view(type) == "ThermalState" ? thermal : dependent;
    return i.field(key) < i.keys.size();
}

// The percentage whose hundredth our writer writes as `fraction`: the shortest decimal.
double percent_of(double fraction) {
    char text[40];
    for (int digits = 1; digits <= 17; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, fraction * 100.0);
        const double candidate = std::strtod(text, nullptr);
        if (candidate / 100.0 == fraction) return candidate;
    }
    return fraction * 100.0;
}

}  // namespace

bool Decoder::special(int index, int node, int child, std::string_view key) {
    (void)node;
    const TypeInfo &type = info(*(*items_)[index].type);
    if (type.is(TypeInfo::Material)) {
        if (key == "LoadFromLibrary") {
            (*items_)[index].library = boolean(child);
            return true;
        }
        if (is_key_of("ThermalState", key)) {
            sub_value(index, "thermal_state", "ThermalState", child);
            return true;
        }
    }
    if (type.is(TypeInfo::Concrete)) {
        if (key == "CalculateDependentValues") {
            (*items_)[index].derived = boolean(child);
            return true;
        }
        if (is_key_of("ConcDependentParams", key)) {
            sub_value(index, "dep_params", "ConcDependentParams", child);
            return true;
        }
    }
    if (type.is(TypeInfo::CrossSection)) {
        if (key == "CrossSectionRotation") {
            if (number(child) != 0)
                tree_.fail_at(child, "is not 0: the model holds cross-sections unrotated");
            return true;
        }
        if (key == "IsInPrincipal") {
            if (boolean(child)) tree_.fail_at(child, "is true: the model cannot state it");
            return true;
        }
    }
    if (type.is(TypeInfo::Component)) {
        if (key == "Phase") {
            if (integer(child) != 0) tree_.fail_at(child, "is not 0: the model has no phases");
            return true;
        }
        if (key != "Geometry") return false;
        for (int c = tree_.first(child); c >= 0; c = tree_.next(c)) {
            const std::string_view part = tree_.tag(c);
            if (part != "Outline" && part != "Openings")
                tree_.fail_at(c, "is not part of a component's geometry");
            Val &v = val(index, part == "Outline" ? "outline" : "openings");
            if (part == "Outline" && v.kind != Val::Kind::Absent) tree_.fail_at(c, "appears twice");
            if (v.kind == Val::Kind::Absent) v.lines.clear();
            v.kind = part == "Outline" ? Val::Kind::Polyline : Val::Kind::Polylines;
            v.lines.push_back(polyline(c, true));
        }
        return true;
    }
    if (type.is(TypeInfo::Stirrup) && key == "IsClosed") {
        (*items_)[index].closed = boolean(child);
        return true;
    }
    if (type.is(TypeInfo::MemberData)) return member_data(index, child, key), true;
    if (type.is(TypeInfo::ProjectData) && key == "CodeDependentData") {
        fill(code_, child);
        return true;
    }
    return false;
}

// Member data: IDEA's fraction, flags and defaults against the model's optional values.
void Decoder::member_data(int index, int child, std::string_view key) {
    Item &item = (*items_)[index];
    if (key == "ExposureClassesData") return exposure(index, child);
    if (key == "RelativeHumidity") {
        Val &v = val(index, "relative_humidity");
        v.kind = Val::Kind::Number;
        v.number = percent_of(number(child));
    } else if (key == "CreepCoeffInfinityValue") {
        const std::string_view mode = value(child);
        if (mode != "Calculated" && mode != "UserInput")
            tree_.fail_at(child, "is neither Calculated nor UserInput");
        item.creep_mode = mode == "UserInput" ? 1 : 0;
    } else if (key == "CreepCoeffInfinity") {
        item.creep = number(child);
    } else if (key == "CoeffKxForWmax") {
        Val &v = val(index, "coeff_kx_for_wmax");
        v.kind = Val::Kind::Number;
        v.number = number(child);
    } else if (key == "ColumnData" || key == "BeamData" || key == "MemberImportance" ||
               key == "DeflectionRequirement") {
        check_fixed(child, "");
    } else {
        const schema::Type &type = *item.type;
        const std::size_t f = info(type).field(key);
        if (f == type.fields.size()) {
            if (key == "TimeAxis" && tree_.empty(child)) return;
            tree_.fail_at(child, "is not part of a ConcreteMemberDataEc2 the model can hold");
        }
        if (item.values[f].kind != Val::Kind::Absent) tree_.fail_at(child, "appears twice");
        field(index, f, child);
    }
}

void Decoder::exposure(int index, int child) {
    const schema::Type &type = *schema::find_type("ExposureClassesDataEc2");
    // Each class and its check by the field: {class, check}; -1 where absent.
    std::vector<std::pair<int, int>> parts(type.fields.size(), {-1, -1});
    int none = -1;
    for (int c = tree_.first(child); c >= 0; c = tree_.next(c)) {
        const std::string_view tag = tree_.tag(c);
        int *slot = tag == "NoCorrosionCheck" ? &none : nullptr;
        for (std::size_t f = 0; f < type.fields.size() && slot == nullptr; ++f) {
            const std::string_view key = type.fields[f].key;
            if (tag == key)
                slot = &parts[f].first;
            else if (tag.size() == key.size() + 5 && tag.substr(0, key.size()) == key &&
                     tag.substr(key.size()) == "Check")
                slot = &parts[f].second;
        }
        if (slot == nullptr) tree_.fail_at(c, "is not part of the exposure classes");
        if (*slot >= 0) tree_.fail_at(c, "appears twice");
        *slot = c;
    }
    const bool no_corrosion = none >= 0 && boolean(none);
    const int sub = items_->add(type, tree_[child].line, tree_.tag(child));
    bool any = false;
    for (std::size_t f = 0; f < type.fields.size(); ++f) {
        const auto [klass, check] = parts[f];
        const schema::EnumMember *m = klass >= 0 ? member(klass, "ExposureClass") : nullptr;
        if (check < 0 || !boolean(check)) continue;  // a class not checked is not the model's
        if (m == nullptr) tree_.fail_at(tree_.first(child), "checks a class that it does not name");
        if (no_corrosion) tree_.fail_at(check, "contradicts <NoCorrosionCheck>true</...>");
        Val &v = (*items_)[sub].values[f];
        v.kind = Val::Kind::Enum;
        v.member = m;
        any = true;
    }
    if (!any) return;  // no corrosion exposure: the model's default
    Val &v = val(index, "exposure_class_data");
    v.kind = Val::Kind::Object;
    v.objects = {sub};
}

// Elements the model cannot state: accepted when they hold what our writer writes.
void Decoder::check_fixed(int child, const std::string &path) {
    path_.assign(path).append(tree_.tag(child));
    if (tree_.first(child) >= 0) {
        const std::string here = path_ + "/";
        for (int c = tree_.first(child); c >= 0; c = tree_.next(c)) check_fixed(c, here);
        return;
    }
    const auto &fixed = fixed_member_values();
    const auto found = fixed.find(path_);
    if (found == fixed.end()) tree_.fail_at(child, "is not part of member data the model holds");
    const std::string_view text = value(child);
    if (text != found->second)
        tree_.fail_at(child, "holds '" + std::string(text) + "', but the model can state only '" +
                                 found->second + "' here");
}

void Decoder::complete(int index, int node) {
    Item &item = (*items_)[index];
    const schema::Type &type = *item.type;
    const TypeInfo &role = info(type);
    if (role.is(TypeInfo::Concrete)) {
        Val &dependent = val(index, "dep_params");
        if (item.derived || item.library) {
            dependent.kind = Val::Kind::Absent;
        } else if (dependent.kind == Val::Kind::Absent) {
            tree_.fail_at(node,
                          "has <CalculateDependentValues>false</...> but no dependent values");
        } else {
            const Item &sub = (*items_)[dependent.objects[0]];
            for (std::size_t f = 0; f < sub.values.size(); ++f)
                if (sub.values[f].kind == Val::Kind::Absent)
                    tree_.fail_at(node, "has no <" + std::string(sub.type->fields[f].key) + ">");
        }
    }
    if (role.is(TypeInfo::Material)) zero_values(index);
    if (role.is(TypeInfo::Stirrup) && item.closed) {
        Val &points = val(index, "points");
        if (points.kind == Val::Kind::Polyline &&
            !points.lines[0].back().same_point(points.lines[0][0])) {
            Vertex start = points.lines[0][0];
            points.lines[0].push_back(start);  // closed in IDEA: the model states the last side
        }
    }
    if (role.is(TypeInfo::MemberData)) {
        if (item.creep_mode == 1) {
            Val &creep = val(index, "creep_coefficient");
            creep.kind = Val::Kind::Number;
            creep.number = item.creep;
        }
    }
    for (std::size_t f = 0; f < type.fields.size(); ++f) {
        const Field &field = type.fields[f];
        Val &v = item.values[f];
        if (v.kind != Val::Kind::Absent || field.has(schema::Optional) ||
            field.has(schema::Managed) || field.default_ != nullptr)
            continue;
        const char *prefix = default_name_prefix(type.name);
        const std::string_view name = field.name;
        if (prefix != nullptr && (name == "name" || name == "description")) {
            v.kind = Val::Kind::Text;
            v.text = *prefix == '\0' ? "" : prefix + std::to_string(item[0].integer);
            continue;
        }
        // An extreme without a description, a component without openings: the operations that
        // make them supply the default.
        if (role.is(TypeInfo::Extreme)) continue;
        tree_.fail_at(node, "has no <" + std::string(field.key) + ">");
    }
}

// IDEA writes 0 for two values that it works out itself, which the model states: the
// tensile strength of a reinforcement (k times fyk) and the aggregate size of a concrete (the
// builder's default, 16 mm, then).
void Decoder::zero_values(int index) {
    const auto zero = [&](const char *name) {
        const Val &v = val(index, name);
        return v.kind == Val::Kind::Number && v.number == 0;
    };
    if (std::string_view((*items_)[index].type->name) == "MatConcreteEc2") {
        if (zero("stone_diameter")) val(index, "stone_diameter").number = 0.016;
    } else if (zero("ftk")) {
        val(index, "ftk").number = val(index, "fyk").number * val(index, "ftk_by_fyk").number;
    }
}

void Decoder::project_data(int node, Items &items, int project, int code) {
    items_ = &items;
    code_ = code;
    // The settings are made before the document is read: an error in them names this element.
    items[project].line = tree_[node].line;
    fill(project, node);
}

void Decoder::concrete_setup(int node) {
    if (tree_.xsi_type(node) != "ConcreteSetupEc2")
        tree_.fail_at(node, "is not a ConcreteSetupEc2, the only setup the model can hold");
    for (int c = tree_.first(node); c >= 0; c = tree_.next(c)) {
        const std::string_view key = tree_.tag(c);
        if (key == "Id") {
            (void)integer(c);
        } else if (key == "Annex") {
            setup_annex_ = member(c, "NationalAnnex");
            setup_line_ = tree_[c].line;
        } else if ((key != "SetupValues" && key != "Nad") || !tree_.empty(c)) {
            tree_.fail_at(c, "is not part of the code settings the model can hold");
        }
    }
}

void Decoder::project_data_concrete(int node, Items &items, int code) {
    if (tree_.xsi_type(node) != "ProjectDataConcreteEc2")
        tree_.fail_at(node, "is not a ProjectDataConcreteEc2, the only one the model can hold");
    items_ = &items;
    fill(code, node);
}

void Decoder::finish(const Items &settings, int code) const {
    for (const PendingReference &r : references_) {
        const auto found = ids_.find(std::string_view(r.list));
        if (found == ids_.end() || found->second.count(r.id) == 0)
            fail(ErrorKind::Value, "line " + std::to_string(r.line) + ": <" + r.element +
                                       "> refers to " + r.list + " " + std::to_string(r.id) +
                                       ", which the document does not have");
    }
    const Val &annex = settings[code][(std::size_t)settings[code].type->index_of("national_annex")];
    if (setup_annex_ != nullptr && annex.kind == Val::Kind::Enum && annex.member != setup_annex_)
        fail(ErrorKind::Value, "line " + std::to_string(setup_line_) +
                                   ": <Annex> differs from the project's <AnnexCode>");
}

}  // namespace marlox::input_read
