// Cross-sections of a serialised model as plane shapes: the concrete where IDEA StatiCa RCS
// places it relative to the bar coordinates, and the drawing of a section.
//
// Parametric sections are placed with their centroid on the origin, as IDEA places them (its
// own sample of a T section puts its bars 44 mm below the top and 48 mm above the bottom
// fibre only when the centroid is the origin). A shape is known for these types only:
//   RECT  Width along y, Height along z;
//   O     a circle of diameter D;
//   TG    a T: flange Width wide and TopFlangeWidth thick at the top, web WallWidth wide,
//         Height overall.
// TGREV, IGN and TRAPEZOID are drawn and checked on their centroid too, as the common shapes
// (core/section_shapes) draw them. The other parametric types (the haunched and chamfered
// ones) are not drawn and not checked against their bars: what IDEA makes of their parameters
// is not certain enough to report an error.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/geometry.hpp"
#include "core/json.hpp"
#include "core/model_view.hpp"

namespace marlox::cross_section {

using geometry::Edge;
using geometry::Point;
using model_view::Object;

// Tolerances [m]: of distances in the checks, and of arcs as polylines.
constexpr double kTolerance = 1e-9;
constexpr double kArcTolerance = 1e-6;
// Farther from the origin than this [m], a coordinate is no cross-section's: it is neither
// checked as geometry nor drawn.
constexpr double kFarthest = 1e6;

// One closed area of concrete: its outline and openings, as edges and as polylines.
struct Region {
    std::vector<Edge> outline;
    std::vector<std::vector<Edge>> openings;
    std::vector<Point> outline_polygon;
    std::vector<std::vector<Point>> opening_polygons;
};

struct Shape {
    bool known = false;  // false: the concrete is not known (see above), or not drawable
    std::vector<Region> regions;
};

// --- reading the objects, tolerant of anything they do not hold -------------------------

// The number of the field `name`; false when it is unset or not a number.
bool number(const Object &object, const char *name, double &out);
// The text of the field `name`, or "" (also when the type has no such field).
std::string text(const Object &object, const char *name);
// The id the reference field `name` refers to; false when there is none.
bool reference(const Object &object, const char *name, double &id);
// The polyline of the field `name` (points and arcs); false when there is none or when a
// coordinate is not finite or farther out than kFarthest.
bool vertices(const Object &object, const char *name, std::vector<geometry::Vertex> &out);
// Whether a point lies no farther out than kFarthest.
bool near(Point p);
// How a number reads in a message: "0.016", "nan".
std::string show(double value);

// The concrete of a cross-section object (CrossSectionComponent or CrossSectionParameter).
Shape shape(const Object &cross_section);
// The concrete of a parametric type (IDEA's value, "Rect") with its shape parameters: not known
// for the types above that are not drawn.
Shape parametric(const std::string &type,
                 const std::vector<std::pair<std::string, model_view::Number>> &parameters);
// The concrete of a general section: one region for each component.
struct Component {
    std::vector<geometry::Vertex> outline;
    std::vector<std::vector<geometry::Vertex>> openings;
};
Shape general(const std::vector<Component> &components);
// Region of `shape` that holds `p` in its concrete (openings excluded), or -1.
int region_holding(const Shape &shape, Point p);
// Distance from `p` to the nearest outline or opening edge of a region.
double clearance(const Region &region, Point p);
// The area of a closed polygon (its points, the first repeated at the end), positive.
double area(const std::vector<Point> &polygon);

// --- drawings -----------------------------------------------------------------------------

struct Drawing {
    std::string title;
    bool outline_drawn = false;
    std::vector<std::vector<Point>> outlines, openings;
    struct Bar {
        Point centre;
        double diameter;
    };
    std::vector<Bar> bars;
    struct Stirrup {
        std::vector<Point> points;
        double diameter;
    };
    std::vector<Stirrup> stirrups;
    // Bars, stirrups and outlines left out because a coordinate lies beyond kFarthest.
    size_t too_far = 0;
    // The drawn objects, as (type, id), for the findings that concern them, and where they
    // stand in the model's lists, for a validation of these alone.
    std::vector<std::pair<std::string, double>> objects;
    std::vector<std::pair<model_view::Model::List, size_t>> places;
};

enum class Target { CrossSection, ReinforcedSection, CheckSection };

// The drawing of the `index`-th object of the target's list. Throws marlox::Error(Value)
// when the index is out of range.
Drawing draw(const model_view::Model &model, Target target, size_t index);

// --- the serialised document, for its readers (the calculation report) -------------------

// The number at `key`, or false when it is missing, null or not a number.
bool number(const json::Value &object, const char *key, double &out);
// The text at `key`, or "".
std::string text(const json::Value &object, const char *key);
// The id a reference at `key` refers to; false when there is none.
bool reference(const json::Value &object, const char *key, double &id);
// The objects of a top-level list of the document ([class name, object] pairs).
std::vector<const json::Value *> objects(const json::Value &model, const char *list);
// The object of a top-level list whose "Id" is `id`, or nullptr.
const json::Value *find(const json::Value &model, const char *list, double id);
// The concrete of a cross-section of the document, and a drawing from the document: read
// through the same view as the model's objects.
Shape shape(const json::Value &cross_section);
Drawing draw(const json::Value &model, Target target, size_t index);

// The entry of `list` whose id is `id`: entry id - 1 when it has that id (as the model gives
// ids), else the first that has it. False when there is none.
bool find(const model_view::Model &model, model_view::Model::List list, double id, size_t &index);

}  // namespace marlox::cross_section
