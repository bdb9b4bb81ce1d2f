#include "core/model_context.hpp"

#include <utility>

#include "core/error.hpp"

namespace marlox::results {

using json::Value;

namespace {

[[noreturn]] void not_a_model(const std::string &what) {
    throw Error(ErrorKind::Value, "not a serialised model: " + what);
}

// The objects of one list: each entry is [type name, {fields}].
std::vector<const Value *> objects(const Value &model, const char *list) {
    std::vector<const Value *> out;
    const Value *l = model.find(list);
    if (l == nullptr || l->is_null()) return out;
    if (l->type != Value::Type::Array) not_a_model(std::string(list) + " is not a list");
    for (const Value &entry : l->items) out.push_back(&entry_fields(entry, list));
    return out;
}

bool integer(const Value *v, std::int64_t &out) {
    if (v == nullptr || v->type != Value::Type::Number ||
        v->number != (double)(std::int64_t)v->number)
        return false;
    out = (std::int64_t)v->number;
    return true;
}

std::string text(const Value &object, const char *key) {
    const Value *v = object.find(key);
    return v != nullptr && v->type == Value::Type::String ? v->text : std::string();
}

// The id a reference {"TypeName": ..., "Id": n} names.
bool reference(const Value &object, const char *key, std::int64_t &id) {
    const Value *r = object.find(key);
    return r != nullptr && r->type == Value::Type::Object && integer(r->find("Id"), id);
}

std::unordered_map<std::int64_t, std::string> names(const Value &model, const char *list) {
    std::unordered_map<std::int64_t, std::string> out;
    for (const Value *o : objects(model, list)) {
        std::int64_t id = 0;
        if (integer(o->find("Id"), id)) out.emplace(id, text(*o, "Name"));
    }
    return out;
}

}  // namespace

const Value &entry_fields(const Value &entry, const char *list) {
    if (entry.type != Value::Type::Array || entry.items.size() != 2 ||
        entry.items[1].type != Value::Type::Object) {
        not_a_model(std::string(list) + " holds an entry that is not [type, fields]");
    }
    return entry.items[1];
}

ModelContextBuilder::ModelContextBuilder(const Value &model) {
    if (model.type != Value::Type::Object) not_a_model("not an object");
    members_ = names(model, "check_member_list");
    reinforced_ = names(model, "reinforced_cross_section_list");
}

void ModelContextBuilder::add(const Value &entry) {
    const Value &o = entry_fields(entry, "check_section_list");
    std::int64_t id = 0;
    if (!integer(o.find("Id"), id)) not_a_model("a check section without an integer id");
    SectionContext s;
    s.name = text(o, "Description");
    std::int64_t ref = 0;
    if (reference(o, "CheckMember", ref)) {
        const auto it = members_.find(ref);
        if (it != members_.end()) s.member = it->second;
        s.position = ++per_member_[ref];
    }
    if (reference(o, "ReinfSection", ref)) {
        const auto it = reinforced_.find(ref);
        if (it != reinforced_.end()) s.reinforced_section = it->second;
    }
    if (const Value *ex = o.find("Extremes"); ex != nullptr && ex->type == Value::Type::Array) {
        for (const Value &e : ex->items) {
            s.extremes.push_back(e.type == Value::Type::Object ? text(e, "Description") : "");
        }
    }
    if (out_.sections.emplace(id, std::move(s)).second) out_.order.push_back(id);
}

ModelContext model_context(const Value &model) {
    ModelContextBuilder builder(model);
    const Value *l = model.find("check_section_list");
    if (l != nullptr && !l->is_null()) {
        if (l->type != Value::Type::Array) not_a_model("check_section_list is not a list");
        for (const Value &entry : l->items) builder.add(entry);
    }
    return builder.take();
}

}  // namespace marlox::results
