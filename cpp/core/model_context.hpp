// What a model says about the check sections of its result file: the names an engineer reads
// beside a section id and an extreme number. Read from the serialised model (the document of
// `_serialize()`), which the input XML a result file was run from reads back to.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/json.hpp"

namespace marlox::results {

struct SectionContext {
    std::string name;                   // the check section's description ("S1")
    std::string member;                 // its check member's name ("M 1"), "" without one
    std::int32_t position = 0;          // its place among its member's check sections, from 1
    std::string reinforced_section;     // its reinforced cross-section's name ("R1")
    std::vector<std::string> extremes;  // the description of each extreme, in order
};

struct ModelContext {
    std::unordered_map<std::int64_t, SectionContext> sections;
    // The ids of the check sections in model order.
    std::vector<std::int64_t> order;

    const SectionContext *find(std::int64_t id) const {
        const auto it = sections.find(id);
        return it == sections.end() ? nullptr : &it->second;
    }
};

// Throws marlox::Error(Value) for a document that is not a serialised model.
ModelContext model_context(const json::Value &model);

// The same, for check sections given one at a time, so that the model's sections need not be
// one document: the names of the members and reinforced sections are read from `model` (whose
// check sections are not read), then each check section is added as its entry of the
// "check_section_list" ([type, fields]). Throws marlox::Error(Value) as model_context() does.
class ModelContextBuilder {
  public:
    explicit ModelContextBuilder(const json::Value &model);
    void add(const json::Value &entry);
    const ModelContext &context() const noexcept { return out_; }
    ModelContext take() noexcept { return std::move(out_); }

  private:
    std::unordered_map<std::int64_t, std::string> members_, reinforced_;
    std::unordered_map<std::int64_t, std::int32_t> per_member_;
    ModelContext out_;
};

// The fields of an entry [type, {fields}] of a model's list. Throws marlox::Error(Value)
// naming `list` for anything else.
const json::Value &entry_fields(const json::Value &entry, const char *list);

}  // namespace marlox::results
