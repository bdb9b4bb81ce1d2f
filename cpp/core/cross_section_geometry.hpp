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
#include <vector>

#include "core/geometry.hpp"
#include "core/json.hpp"

namespace marlox::cross_section {

using geometry::Edge;
using geometry::Point;
using json::Value;

// Tolerances [m]: of distances in the checks, and of arcs as polylines.
constexpr double kTolerance = 1e-9;
constexpr double kArcTolerance = 1e-6;

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

// --- reading the document, tolerant of anything it does not expect ------------------------

// The number at `key`, or false when it is missing, null or not a number.
bool number(const Value &object, const char *key, double &out);
// The point [y, z] of `value`; false when it is not one or not finite.
bool point(const Value &value, Point &out);
// The polyline entries of `value` (points and arcs); false when it is not one, or when a
// coordinate is not finite.
bool vertices(const Value &value, std::vector<geometry::Vertex> &out);
// The objects of a top-level list of the document ([class name, object] pairs).
std::vector<const Value *> objects(const Value &model, const char *list);
// The object of a top-level list whose "Id" is `id`, or nullptr.
const Value *find(const Value &model, const char *list, double id);
// The id a reference field at `key` refers to; false when there is none.
bool reference(const Value &object, const char *key, double &id);
// The text at `key`, or "".
std::string text(const Value &object, const char *key);
// How a number of the document reads in a message: "0.016", "nan".
std::string show(double value);

// The concrete of a cross-section object (CrossSectionParameter or CrossSectionComponent).
Shape shape(const Value &cross_section);
// Region of `shape` that holds `p` in its concrete (openings excluded), or -1.
int region_holding(const Shape &shape, Point p);
// Distance from `p` to the nearest outline or opening edge of a region.
double clearance(const Region &region, Point p);

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
    // The drawn objects, as (type, id), for the findings that concern them.
    std::vector<std::pair<std::string, double>> objects;
};

enum class Target { CrossSection, ReinforcedSection, CheckSection };

// The drawing of the `index`-th object of the target's list. Throws marlox::Error(Value)
// when the index is out of range.
Drawing draw(const Value &model, Target target, size_t index);

}  // namespace marlox::cross_section
