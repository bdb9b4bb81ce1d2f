// The serialised model document (what `_serialize()` gives, as JSON) read through the typed
// view of core/model_view, for the readers of a document rather than of live objects (the
// calculation report): the same geometry serves both.
#pragma once

#include <string>

#include "core/json.hpp"
#include "core/model_view.hpp"

namespace marlox::model_view {

// One object of the document, read by the keys of its type's fields.
class DocumentObject final : public Object {
  public:
    DocumentObject(const schema::Type &type, const json::Value &value)
        : type_(type), value_(value) {}

    const schema::Type &type() const override { return type_; }
    bool present(size_t field) const override;
    bool number(size_t field, Number &out) const override;
    bool boolean(size_t field, bool &out) const override;
    std::string text(size_t field) const override;
    bool reference(size_t field, Reference &out) const override;
    bool vertices(size_t field, Coordinates &out) const override;
    bool vertices_at(size_t field, size_t index, Coordinates &out) const override;
    size_t count(size_t field) const override;
    void object(size_t field, Visit visit) const override;
    void object_at(size_t field, size_t index, Visit visit) const override;
    std::vector<std::pair<std::string, Number>> parameters(size_t field) const override;

  private:
    const json::Value *at(size_t field) const;
    const schema::Type &type_;
    const json::Value &value_;
};

// The document's lists of (class name, object) pairs, its project data and code settings.
class DocumentModel final : public Model {
  public:
    explicit DocumentModel(const json::Value &document) : document_(document) {}

    size_t count(List list) const override;
    void object(List list, size_t index, Visit visit) const override;
    void project_data(Visit visit) const override;
    void code_settings(Visit visit) const override;

  private:
    const json::Value *list(List list) const;
    const json::Value &document_;
};

}  // namespace marlox::model_view
