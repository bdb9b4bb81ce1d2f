// Decoding the element tree of one OpenModel entry into items, field by field of the schema
// tables; the elements that the tables do not name (IDEA's fields the model states in another
// form, or not at all) are handled here, each where its owner is decoded.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <unordered_map>

#include "core/error.hpp"
#include "core/input_tree.hpp"
#include "core/input_xml.hpp"

namespace marlox::input_read {

using schema::Field;
using schema::Kind;

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trim(std::string_view s) {
    while (!s.empty() && is_space(s.front())) s.remove_prefix(1);
    while (!s.empty() && is_space(s.back())) s.remove_suffix(1);
    return s;
}

std::string quoted(std::string_view s) {
    if (s.size() > 60) return "'" + std::string(s.substr(0, 60)) + "...'";
    return "'" + std::string(s) + "'";
}

// IDEA elements that the model has no place for, accepted when they are empty.
bool empty_allowed(std::string_view key) {
    static const char *const names[] = {"UserThermalSpecificHeatCurvature",
                                        "UserThermalConductivityCurvature",
                                        "UserThermalExpansionCurvature",
                                        "UserThermalStrainCurvature",
                                        "UserThermalStressStrainCurvature",
                                        "UserDiagram",
                                        "TendonBars",
                                        "TendonDucts",
                                        "TimeAxis",
                                        "Loading",
                                        "InternalForcesVariable",
                                        "InternalForces2ndOrder",
                                        "InternalForcesImperfection"};
    return is_one_of(key, names);
}

}  // namespace

// The member data that the model cannot state, as our writer writes it: "ColumnData/L" -> "3".
// Taken from the writer itself, so that the reader accepts exactly what the writer writes.
const std::unordered_map<std::string, std::string> &fixed_member_values() {
    static const std::unordered_map<std::string, std::string> values = [] {
        const std::string xml = input_xml::write(
            R"({"mat_concrete_list": [], "mat_reinforcement_list": [], "cross_section_list": [],
            "reinforced_cross_section_list": [], "check_section_list": [],
            "check_member_list": [["CheckMember1D", {"Id": 1, "Name": "M 1"}]],
            "attribute_list": [["ConcreteMemberDataEc2", {"Element": {"TypeName": "CheckMember",
            "Id": 1}, "MemberType": "Beam", "TwoWaySlabType": "Slab"}]],
            "project_data": {"Name": "", "Description": "", "Number": "", "Author": "",
            "Date": "2000-01-01"}, "code_settings": {"AnnexCode": "NoAnnex",
            "FatigueCheck": false, "FatigueAnnexNN": false, "DesignWorkingLife": 50,
            "CodeEN1992_2": false, "CodeEN1992_3": false}})");
        std::unordered_map<std::string, std::string> out;
        std::string group;
        size_t at = xml.find("<OpenAttribute");
        while (at != std::string::npos && at < xml.size()) {
            const size_t end = xml.find('\n', at);
            const std::string_view line = trim(std::string_view(xml).substr(at, end - at));
            at = end == std::string::npos ? end : end + 1;
            if (line.rfind("</OpenAttribute>", 0) == 0) break;
            const size_t close = line.find('>');
            if (line.size() < 3 || line[1] == '/' || line.find('<', 1) == std::string_view::npos) {
                if (line[1] == '/')
                    group.clear();
                else
                    group = std::string(line.substr(1, close - 1)) + "/";
                continue;
            }
            const std::string tag(line.substr(1, close - 1));
            const size_t stop = line.find('<', close);
            out[group + tag] = std::string(line.substr(close + 1, stop - close - 1));
        }
        return out;
    }();
    return values;
}

const TypeInfo &info(const schema::Type &type) {
    static const std::vector<TypeInfo> all = [] {
        std::vector<TypeInfo> out;
        for (const schema::Type &t : schema::types()) {
            TypeInfo i;
            for (const Field &f : t.fields) i.keys.emplace_back(f.key);
            const std::string_view name = t.name;
            const auto role_if = [](bool holds, unsigned role) { return holds ? role : 0u; };
            i.role = role_if(schema::derives_from(t, "MatConcrete"), TypeInfo::Concrete) |
                     role_if(schema::derives_from(t, "MatReinforcement"), TypeInfo::Reinforcement) |
                     role_if(schema::derives_from(t, "CrossSection"), TypeInfo::CrossSection) |
                     role_if(name == "CssComponent", TypeInfo::Component) |
                     role_if(name == "Stirrup", TypeInfo::Stirrup) |
                     role_if(name == "ConcreteMemberDataEc2", TypeInfo::MemberData) |
                     role_if(name == "ProjectData", TypeInfo::ProjectData) |
                     role_if(name == "CheckSectionExtreme", TypeInfo::Extreme);
            out.push_back(std::move(i));
        }
        return out;
    }();
    return all[(std::size_t)(&type - schema::types().data())];
}

bool Tree::empty(int i) const { return (*this)[i].first < 0 && trim(text(i)).empty(); }

std::string Tree::element(int i) const {
    std::string out = "<" + std::string(tag(i));
    if (has_type(i)) out += " xsi:type=\"" + std::string(xsi_type(i)) + "\"";
    return out + ">";
}

void Tree::fail_at(int i, const std::string &what) const {
    fail(ErrorKind::Value,
         "line " + std::to_string((*this)[i].line) + ": " + element(i) + " " + what);
}

// --- leaf values ------------------------------------------------------------------------

std::string_view Decoder::value(int node) const {
    if (tree_.first(node) >= 0) tree_.fail_at(node, "must hold a value, not elements");
    return trim(tree_.text(node));
}

double Decoder::number(int node) const {
    const std::string_view s = value(node);
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "INF" || s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-INF" || s == "-Infinity") return -std::numeric_limits<double>::infinity();
    double out = 0;
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), out);
    if (s.empty() || error != std::errc() || end != s.data() + s.size() || std::isnan(out) ||
        std::isinf(out))
        tree_.fail_at(node, "holds " + quoted(s) + ", which is not a number");
    return out;
}

long long Decoder::integer(int node) const {
    const std::string_view s = value(node);
    long long out = 0;
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), out);
    if (s.empty() || error != std::errc() || end != s.data() + s.size() || out > 2147483647 ||
        out < -2147483648LL)
        tree_.fail_at(node, "holds " + quoted(s) + ", which is not a 32-bit integer");
    return out;
}

bool Decoder::boolean(int node) const {
    const std::string_view s = value(node);
    if (s == "true" || s == "1") return true;
    if (s == "false" || s == "0") return false;
    tree_.fail_at(node, "holds " + quoted(s) + ", which is not true or false");
}

const schema::EnumMember *Decoder::member(int node, const char *enumeration) const {
    const std::string_view s = value(node);
    const schema::Enumeration *e = schema::find_enumeration(enumeration);
    if (const schema::EnumMember *m = e->find_value(s)) return m;
    tree_.fail_at(node, "holds " + quoted(s) + ", which is not a " + std::string(enumeration) +
                            " the model knows");
}

// The children of `node` named `names` (one or two), in that order (-1 where one is absent); a
// child of another name, or one that appears twice, is an error. `required` of them must be there.
Decoder::Parts Decoder::parts(int node, std::initializer_list<std::string_view> names,
                              std::size_t required, const char *owner) const {
    Parts out{-1, -1};
    if (names.size() > out.size()) throw std::logic_error("parts() takes at most two names");
    for (int c = tree_.first(node); c >= 0; c = tree_.next(c)) {
        std::size_t i = 0;
        for (const std::string_view name : names) {
            if (tree_.tag(c) == name) break;
            ++i;
        }
        if (i == names.size()) tree_.fail_at(c, std::string("is not part of ") + owner);
        if (out[i] >= 0) tree_.fail_at(c, "appears twice");
        out[i] = c;
    }
    for (std::size_t i = 0; i < required; ++i) {
        if (out[i] >= 0) continue;
        std::string expected;
        std::size_t n = 0;
        for (const std::string_view name : names)
            if (n++ < required) expected += (n > 1 ? " and <" : "<") + std::string(name) + ">";
        tree_.fail_at(node, "must hold " + expected);
    }
    return out;
}

Vertex Decoder::point(int node) const {
    const Parts xy = parts(node, {"X", "Y"}, 2, "a point");
    Vertex v;
    v.y = number(xy[0]);  // IDEA's X is the section's y axis
    v.z = number(xy[1]);
    return v;
}

// A PolyLine2D: <StartPoint>, then <Segments> of line and arc segments. An outline's closing
// line back to its start is dropped: the model closes outlines itself.
std::vector<Vertex> Decoder::polyline(int node, bool drop_closing) const {
    std::vector<Vertex> out;
    const Parts line = parts(node, {"StartPoint", "Segments"}, 1, "a polyline");
    const int segments = line[1];
    out.push_back(point(line[0]));
    for (int s = segments < 0 ? -1 : tree_.first(segments); s >= 0; s = tree_.next(s)) {
        const std::string_view kind = tree_.xsi_type(s);
        if (tree_.tag(s) != "Segment2D" || (kind != "LineSegment2D" && kind != "ArcSegment2D"))
            tree_.fail_at(s, "is not a line or arc segment the model can hold");
        const bool arc = kind == "ArcSegment2D";
        const Parts ends = arc ? parts(s, {"EndPoint", "Point"}, 2, "an arc segment")
                               : parts(s, {"EndPoint"}, 1, "a line segment");
        const int end = ends[0], on_arc = arc ? ends[1] : -1;
        Vertex v = point(end);
        if (on_arc >= 0) {
            const Vertex p = point(on_arc);
            v.arc = true;
            v.arc_y = p.y;
            v.arc_z = p.z;
        }
        out.push_back(v);
    }
    if (drop_closing && out.size() > 1 && !out.back().arc && out.back().same_point(out.front()))
        out.pop_back();
    return out;
}

// --- objects ----------------------------------------------------------------------------

Val &Decoder::val(int index, const char *field) {
    Item &item = (*items_)[index];
    return item.values[(std::size_t)item.type->index_of(field)];
}

int Decoder::entry(int node, const schema::Type &type, Items &items) {
    items_ = &items;
    const int index = object(node, type);
    const Item &item = items[index];
    const int id_field = type.index_of("id");
    if (id_field >= 0) {
        // Ids count per list, and a list is named by its base type (MatConcrete, CrossSection).
        const bool based = type.base != nullptr && std::string_view(type.base) != "_OpenObject";
        const char *list = based ? type.base : type.name;
        const long long id = item[(std::size_t)id_field].integer;
        auto ids = ids_.find(std::string_view(list));
        if (ids == ids_.end()) ids = ids_.emplace(list, std::unordered_set<long long>()).first;
        if (!ids->second.insert(id).second)
            tree_.fail_at(node, "repeats the id " + std::to_string(id) + " of another " + list);
    }
    return index;
}

int Decoder::object(int node, const schema::Type &type) {
    const int index = items_->add(type, tree_[node].line, tree_.tag(node), tree_.xsi_type(node));
    fill(index, node);
    complete(index, node);
    return index;
}

void Decoder::fill(int index, int node) {
    for (int c = tree_.first(node); c >= 0; c = tree_.next(c)) {
        const std::string_view key = tree_.tag(c);
        if (special(index, node, c, key)) continue;
        const schema::Type &type = *(*items_)[index].type;
        const std::size_t f = info(type).field(key);
        if (f == type.fields.size() || type.fields[f].kind == Kind::Polylines) {
            if (empty_allowed(key) && tree_.empty(c)) continue;
            tree_.fail_at(c, "is not part of a " + std::string(type.name) + " the model can hold");
        }
        if ((*items_)[index].values[f].kind != Val::Kind::Absent) tree_.fail_at(c, "appears twice");
        field(index, f, c);
    }
}

void Decoder::field(int index, std::size_t f, int child) {
    const Field &field = (*items_)[index].type->fields[f];
    // The value is written in place, keeping the capacity of the slot's buffers; objects are
    // made first (they may move the pool), the slot is fetched after.
    const auto slot = [&]() -> Val & { return (*items_)[index].values[f]; };
    switch (field.kind) {
        case Kind::Int: {
            Val &v = slot();
            v.kind = Val::Kind::Int;
            v.integer = integer(child);
            break;
        }
        case Kind::Number: {
            Val &v = slot();
            v.kind = Val::Kind::Number;
            v.number = number(child);
            break;
        }
        case Kind::Bool: {
            Val &v = slot();
            v.kind = Val::Kind::Bool;
            v.boolean = boolean(child);
            break;
        }
        case Kind::Text:
        case Kind::Date: {  // .NET writes a date and time; the model keeps the date
            if (tree_.first(child) >= 0) tree_.fail_at(child, "must hold text, not elements");
            Val &v = slot();
            v.kind = Val::Kind::Text;
            v.text = field.kind == Kind::Text ? tree_.text(child) : value(child).substr(0, 10);
            break;
        }
        case Kind::Enum: {
            Val &v = slot();
            v.kind = Val::Kind::Enum;
            v.member = member(child, field.type);
            break;
        }
        case Kind::Object: {
            const int made = object(child, *schema::find_type(field.type));
            Val &v = slot();
            v.kind = Val::Kind::Object;
            v.objects.assign(1, made);
            break;
        }
        case Kind::Reference: {
            const Parts ref = parts(child, {"TypeName", "Id"}, 2, "a reference");
            const int type_name = ref[0], id = ref[1];
            if (value(type_name) != field.type)
                tree_.fail_at(child, "must refer to a " + std::string(field.type) + ", not to " +
                                         quoted(value(type_name)));
            Val &v = slot();
            v.kind = Val::Kind::Reference;
            v.type_name = field.type;
            v.integer = integer(id);
            references_.push_back({field.type, v.integer, tree_[child].line, field.key});
            break;
        }
        case Kind::Point: {
            Val &v = slot();
            v.kind = Val::Kind::Point;
            v.vertex = point(child);
            break;
        }
        case Kind::Polyline: {
            Val &v = slot();
            v.kind = Val::Kind::Polyline;
            v.lines.clear();
            v.lines.push_back(polyline(child, field.key != std::string_view("Geometry")));
            break;
        }
        case Kind::ObjectList: {
            std::vector<int> made;
            const schema::Type &type = *schema::find_type(field.type);
            const std::string xsi = std::string(field.type) == "CheckSectionExtreme"
                                        ? "StandardCheckSectionExtreme"
                                        : field.type;
            for (int c = tree_.first(child); c >= 0; c = tree_.next(c)) {
                if (tree_.tag(c) != field.type || (tree_.has_type(c) && tree_.xsi_type(c) != xsi))
                    tree_.fail_at(c, "cannot stand in <" + std::string(field.key) +
                                         "> (expected <" + field.type + "> of xsi:type " + xsi +
                                         ")");
                made.push_back(object(c, type));
            }
            Val &v = slot();
            v.kind = Val::Kind::Objects;
            v.objects.swap(made);
            break;
        }
        case Kind::Parameters: {
            Val &v = slot();
            v.kind = Val::Kind::Parameters;
            v.parameters.clear();
            for (int c = tree_.first(child); c >= 0; c = tree_.next(c)) {
                if (tree_.tag(c) != "Parameter" || tree_.xsi_type(c) != "ParameterDouble")
                    tree_.fail_at(c,
                                  "is not a shape parameter the model can hold "
                                  "(expected <Parameter xsi:type=\"ParameterDouble\">)");
                const Parts pair = parts(c, {"Name", "Value"}, 2, "a parameter");
                const int name = pair[0], number_node = pair[1];
                const std::string label(value(name));
                for (const auto &[other, _] : v.parameters)
                    if (other == label) tree_.fail_at(c, "repeats the parameter " + quoted(label));
                v.parameters.emplace_back(label, number(number_node));
            }
            break;
        }
        default:
            tree_.fail_at(child, "is not a field the reader knows");
    }
}

// A flattened object: the fields of `type` stand directly in the owner (ThermalState in every
// material, the dependent parameters in a concrete).
void Decoder::sub_value(int index, const char *name, const char *type, int child) {
    Val &slot = val(index, name);
    if (slot.kind == Val::Kind::Absent) {
        const int sub = items_->add(*schema::find_type(type), tree_[child].line,
                                    (*items_)[index].tag, (*items_)[index].xsi_type);
        Val &again = val(index, name);  // the pool may have moved
        again.kind = Val::Kind::Object;
        again.objects = {sub};
    }
    const int sub = val(index, name).objects[0];
    const schema::Type &sub_type = *(*items_)[sub].type;
    const std::size_t f = (std::size_t)sub_type.index_of([&] {
        for (const Field &x : sub_type.fields)
            if (tree_.tag(child) == x.key) return x.name;
        return "";
    }());
    if ((*items_)[sub].values[f].kind != Val::Kind::Absent) tree_.fail_at(child, "appears twice");
    field(sub, f, child);
}

}  // namespace marlox::input_read
