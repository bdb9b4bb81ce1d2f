// The checks of a whole model before it goes to IDEA StatiCa RCS: references, values,
// geometry of sections and reinforcement, and loads.
#pragma once

#include <string>
#include <vector>

#include "core/geometry.hpp"
#include "core/json.hpp"

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

// Every finding for a serialised model (the document of `_serialize()`), errors and warnings
// in the order of the model's lists.
std::vector<Finding> check(const json::Value &model);

}  // namespace marlox::validate
