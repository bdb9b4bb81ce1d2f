// The model's objects as the core reads them (core/model_view): typed access to the storage of
// the companion module's objects, field by field, without copying or serialising anything.
// Read with the GIL held; the objects must not change while a view is in use.
#pragma once

#include <Python.h>
#include <nanobind/nanobind.h>

#include <string>
#include <utility>
#include <vector>

#include "bindings/model.hpp"
#include "bindings/objects.hpp"
#include "core/model_view.hpp"

namespace marlox::py {

namespace view = model_view;

// The storage of an object or reference of the companion module, or nullptr.
const objects::Obj *storage(PyObject *value);

// A polyline given as a sequence of points (y, z) and arcs ((end), (on arc)); false when it is
// not one.
bool read_polyline(PyObject *value, view::Coordinates &out);

class ObjectView final : public view::Object {
  public:
    explicit ObjectView(const objects::Obj &obj) : obj_(obj) {}

    const schema::Type &type() const override { return *obj_.type; }
    bool present(size_t field) const override { return !value(field).is_none(); }
    bool number(size_t field, view::Number &out) const override;
    bool boolean(size_t field, bool &out) const override;
    std::string text(size_t field) const override;
    bool reference(size_t field, view::Reference &out) const override;
    bool vertices(size_t field, view::Coordinates &out) const override;
    bool vertices_at(size_t field, size_t index, view::Coordinates &out) const override;
    size_t count(size_t field) const override;
    void object(size_t field, view::Visit visit) const override;
    void object_at(size_t field, size_t index, view::Visit visit) const override;
    std::vector<std::pair<std::string, view::Number>> parameters(size_t field) const override;

  private:
    nb::handle value(size_t field) const { return obj_.values[field]; }
    const objects::Obj &obj_;
};

class ModelView final : public view::Model {
  public:
    explicit ModelView(ModelBase &model);

    size_t count(List list) const override { return lists_[list]->size(); }
    void object(List list, size_t index, view::Visit visit) const override;
    void project_data(view::Visit visit) const override;
    void code_settings(view::Visit visit) const override;

  private:
    const nb::list *lists_[kLists];
    nb::handle project_, code_;
};

}  // namespace marlox::py
