#include "core/document_view.hpp"

#include <cmath>

namespace marlox::model_view {

namespace {

using json::Value;

bool point(const Value &value, Point &out, Coordinates &c) {
    if (value.type != Value::Type::Array || value.items.size() != 2) return false;
    const Value &y = value.items[0], &z = value.items[1];
    if (y.type != Value::Type::Number || z.type != Value::Type::Number) return false;
    out = {y.number, z.number};
    for (const Value *v : {&y, &z})
        if (c.finite && !std::isfinite(v->number)) c = {c.vertices, false, {v->number, false}};
    return true;
}

bool polyline(const Value &value, Coordinates &out) {
    out = {};
    if (value.type != Value::Type::Array) return false;
    for (const Value &entry : value.items) {
        geometry::Vertex v;
        if (entry.type == Value::Type::Array && entry.items.size() == 2 &&
            entry.items[0].type == Value::Type::Array) {
            v.arc = true;
            if (!point(entry.items[0], v.point, out) || !point(entry.items[1], v.on_arc, out))
                return false;
        } else if (!point(entry, v.point, out)) {
            return false;
        }
        if (!out.finite) return true;
        out.vertices.push_back(v);
    }
    return true;
}

Number number_of(const Value &value) { return {value.number, value.integral}; }

const char *kKeys[Model::kLists] = {"mat_concrete_list",  "mat_reinforcement_list",
                                    "cross_section_list", "reinforced_cross_section_list",
                                    "check_member_list",  "check_section_list",
                                    "attribute_list"};

void visit_typed(const char *type_name, const Value *value, Visit visit) {
    const schema::Type *type = schema::find_type(type_name);
    if (type != nullptr && value != nullptr && value->type == Value::Type::Object)
        visit(DocumentObject(*type, *value));
}

}  // namespace

const Value *DocumentObject::at(size_t field) const {
    const Value *v = value_.find(type_.fields[field].key);
    return v != nullptr && !v->is_null() ? v : nullptr;
}

bool DocumentObject::present(size_t field) const { return at(field) != nullptr; }

bool DocumentObject::number(size_t field, Number &out) const {
    const Value *v = at(field);
    if (v == nullptr || v->type != Value::Type::Number) return false;
    out = number_of(*v);
    return true;
}

bool DocumentObject::boolean(size_t field, bool &out) const {
    const Value *v = at(field);
    if (v == nullptr || v->type != Value::Type::Bool) return false;
    out = v->boolean;
    return true;
}

std::string DocumentObject::text(size_t field) const {
    const Value *v = at(field);
    return v != nullptr && v->type == Value::Type::String ? v->text : std::string();
}

bool DocumentObject::reference(size_t field, Reference &out) const {
    const Value *v = at(field);
    const Value *id = v != nullptr ? v->find("Id") : nullptr;
    if (id == nullptr || id->type != Value::Type::Number) return false;
    out = {};
    out.id = id->number;
    if (const Value *type = v->find("TypeName"); type && type->type == Value::Type::String)
        out.type = type->text;
    return true;
}

bool DocumentObject::vertices(size_t field, Coordinates &out) const {
    const Value *v = at(field);
    if (v == nullptr) return false;
    if (type_.fields[field].kind != schema::Kind::Point) return polyline(*v, out);
    out = {};
    geometry::Vertex vertex;
    if (!point(*v, vertex.point, out)) return false;
    if (out.finite) out.vertices.push_back(vertex);
    return true;
}

bool DocumentObject::vertices_at(size_t field, size_t index, Coordinates &out) const {
    const Value *v = at(field);
    if (v == nullptr || v->type != Value::Type::Array || index >= v->items.size()) return false;
    return polyline(v->items[index], out);
}

size_t DocumentObject::count(size_t field) const {
    const Value *v = at(field);
    return v != nullptr && v->type == Value::Type::Array ? v->items.size() : 0;
}

void DocumentObject::object(size_t field, Visit visit) const {
    visit_typed(type_.fields[field].type, at(field), visit);
}

void DocumentObject::object_at(size_t field, size_t index, Visit visit) const {
    const Value *v = at(field);
    if (v != nullptr && v->type == Value::Type::Array && index < v->items.size())
        visit_typed(type_.fields[field].type, &v->items[index], visit);
}

std::vector<std::pair<std::string, Number>> DocumentObject::parameters(size_t field) const {
    std::vector<std::pair<std::string, Number>> out;
    const Value *v = at(field);
    if (v == nullptr || v->type != Value::Type::Object) return out;
    for (const auto &[key, value] : v->members)
        if (value.type == Value::Type::Number) out.emplace_back(key, number_of(value));
    return out;
}

const Value *DocumentModel::list(List list) const {
    const Value *items = document_.find(kKeys[list]);
    return items != nullptr && items->type == Value::Type::Array ? items : nullptr;
}

size_t DocumentModel::count(List which) const {
    const Value *items = list(which);
    return items != nullptr ? items->items.size() : 0;
}

void DocumentModel::object(List which, size_t index, Visit visit) const {
    const Value *items = list(which);
    if (items == nullptr || index >= items->items.size()) return;
    const Value &pair = items->items[index];
    if (pair.type == Value::Type::Array && pair.items.size() == 2 &&
        pair.items[0].type == Value::Type::String)
        visit_typed(pair.items[0].text.c_str(), &pair.items[1], visit);
}

void DocumentModel::project_data(Visit visit) const {
    visit_typed("ProjectData", document_.find("project_data"), visit);
}

void DocumentModel::code_settings(Visit visit) const {
    visit_typed("CodeSettings", document_.find("code_settings"), visit);
}

}  // namespace marlox::model_view
