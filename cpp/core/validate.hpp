// The checks of a whole model before it goes to IDEA StatiCa RCS: references, values and
// their units, geometry of sections and reinforcement, and loads.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/geometry.hpp"
#include "core/model_view.hpp"

namespace marlox::validate {

enum class Severity { Error, Warning };

struct Finding {
    Severity severity = Severity::Error;
    std::string type;  // the object's type, e.g. "ReinforcedCrossSection"
    bool has_id = false;
    double id = 0;      // the object's id (for member data: its member's)
    std::string name;   // the object's name or description
    std::string field;  // where in the object, by attribute names: "bars[2].diameter"
    std::string message;
    bool located = false;  // a point of the section where the fault lies
    geometry::Point at;
};

using Place = std::pair<model_view::Model::List, size_t>;

// Every finding for a model, errors and warnings in the order of the model's lists.
std::vector<Finding> check(const model_view::Model &model);

// The findings of the objects at `places` alone (in list order, as `check` orders them):
// what a drawing of those objects marks, without reading the rest of the model.
std::vector<Finding> check(const model_view::Model &model, std::vector<Place> places);

}  // namespace marlox::validate
