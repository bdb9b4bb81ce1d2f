// The model container shared by the OpenModel builder and the member-oriented Model.
#pragma once

#include <Python.h>
#include <nanobind/nanobind.h>

#include <vector>

namespace marlox::py {

namespace nb = nanobind;

// `_Model`: the seven object lists of one model plus its project data and code settings.
struct ModelBase {
    nb::list mat_concrete;
    nb::list mat_reinforcement;
    nb::list cross_section;
    nb::list reinforced_cross_section;
    nb::list check_member;
    nb::list check_section;
    nb::list attribute;
    nb::object project_data;
    nb::object code_settings;

    // Empty lists; project data and code settings as given when truthy, else the defaults.
    void init(nb::handle project, nb::handle code);
};

// The lengths of a model's lists, to take back what a failed member operation added: its
// objects were never handed to the caller, and the model is left as it was before the call.
class ListMarks {
  public:
    explicit ListMarks(ModelBase &model)
        : lists_{&model.mat_concrete,  &model.mat_reinforcement,
                 &model.cross_section, &model.reinforced_cross_section,
                 &model.check_member,  &model.check_section,
                 &model.attribute} {
        for (size_t i = 0; i < kLists; ++i) lengths_[i] = lists_[i]->size();
    }

    // Cut every list back to its marked length. Called with no Python error set.
    void restore() const {
        for (size_t i = 0; i < kLists; ++i) {
            const size_t now = lists_[i]->size();
            if (now > lengths_[i] &&
                PyList_SetSlice(lists_[i]->ptr(), static_cast<Py_ssize_t>(lengths_[i]),
                                static_cast<Py_ssize_t>(now), nullptr) < 0)
                PyErr_Clear();
        }
    }

  private:
    static constexpr size_t kLists = 7;
    nb::list *lists_[kLists];
    size_t lengths_[kLists] = {};
};

struct OpenModelBase : ModelBase {};
struct FacadeModelBase : ModelBase {};

// The companion module of OpenModel objects.
nb::module_ companion();

// A value the caller gave when it is truthy, else the entry `key` (model::base) of the base
// material's row in the companion module's _MATERIAL_PROPERTIES.
nb::object given_or_base(nb::handle value, nb::handle base_material, const char *key);
// A reinforcement's tensile strength ftk = fyk * k, by Python's multiplication of the values.
nb::object tensile_strength(nb::handle fyk, nb::handle k);

// The document that `_serialize()` encodes: the nine keys, each list as (class name, object)
// pairs.
nb::dict document_pairs(ModelBase &model);

// Remember the JSON functions, the encoder and the model's `_serialize` as bound, for the
// native paths below.
void remember_standard_encoding(nb::handle encoder, nb::handle model_class);
// `_serialize()`'s result for `document_pairs`, or None where only the encoder can tell.
nb::object native_plain(nb::handle document);
// The UTF-8 JSON text that generate_xml_input sends for `self`, or None where only
// `self._serialize()` and json.dumps can tell.
nb::object native_request(nb::handle self);

// Note on a reference made by the model what kind of object it was made from (for the check
// of a material of the wrong kind); nothing when `target` is not an object of the vocabulary.
void remember_origin(nb::handle reference, nb::handle target);

// Garbage-collector support for every model class.
extern PyType_Slot model_gc_slots[];

}  // namespace marlox::py
