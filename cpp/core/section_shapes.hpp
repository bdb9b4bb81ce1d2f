// The common shapes of reinforced-concrete sections, as the member-oriented model offers them,
// and the properties of a section: areas, centroid, second moments, extreme fibres, and what
// the bars add (area, ratio, effective depths).
//
// Every shape is placed with its centroid on the origin of the bar coordinates: y across the
// section (to the right), z upwards. Three shapes are IDEA StatiCa RCS parametric types whose
// placement its own sample confirms (RECT, O, TG; see cross_section_geometry.hpp); the others
// are general outlines computed here with their centroid on the origin, because IDEA's
// placement of the matching parametric types is not established by its public material.
#pragma once

#include <string>
#include <vector>

#include "core/cross_section_geometry.hpp"
#include "core/geometry.hpp"

namespace marlox::shapes {

using geometry::Point;
using geometry::Vertex;

enum class Kind { Tee, InvertedTee, I, L, Circle, HollowCircle, Box, Trapezoid };

// One dimension of a shape: its name in the Python constructor and its value [m].
struct Dimension {
    std::string name;
    double value;
};

// A general outline: the polyline of the outline and of each opening (arcs as Vertex::arc).
struct Outline {
    std::vector<Vertex> outline;
    std::vector<std::vector<Vertex>> openings;
};

// Whether the dimensions form the shape; throws Error(Value) naming the dimension that does
// not ("flange_thickness 0.8 m must be less than height 0.75 m"). Dimensions come in the
// order of the constructor; an absent optional one has the value NaN and is derived.
void check(Kind kind, const std::vector<Dimension> &dimensions);

// The dimensions with the absent optional ones derived (an I's bottom flange as its top).
std::vector<Dimension> complete(Kind kind, std::vector<Dimension> dimensions);

// The outline of a shape that is a general shape, centroid on the origin.
Outline outline(Kind kind, const std::vector<Dimension> &dimensions);

// The outline of an IDEA parametric type that the shapes above also draw, centroid on the
// origin: TGREV (Height, Width, TopFlangeWidth: the flange's thickness, WallWidth) as an
// inverted T, IGN (H, Bh and Th: the top flange's width and thickness, Bs and Ts: the bottom
// flange's, Tw: the web) as an I, TRAPEZOID (H, Bb: bottom width, Bt: top width). The meanings
// are those of IDEA's public CrossSectionFactory. False for another type, a missing parameter,
// or parameters that cannot form the shape (validate() reports what it can about them).
using Parameters = std::vector<std::pair<std::string, model_view::Number>>;
bool parametric_outline(const std::string &type, const Parameters &parameters,
                        std::vector<geometry::Edge> &out);

// Why the parameters of one of those types cannot form its shape: the parameter first named
// and a sentence ("TopFlangeWidth (0.8 m) must be less than Height (0.75 m)"); false when they
// can, when the type is another, or when a parameter is missing or not positive (validate()
// reports those on their own).
bool parametric_fault(const std::string &type, const Parameters &parameters, std::string &parameter,
                      std::string &message);

// --- properties ---------------------------------------------------------------------------

struct Bounds {
    double y_left = 0, y_right = 0, z_bottom = 0, z_top = 0;
};

struct Properties {
    double gross_area = 0;     // inside the outlines, openings not taken off [m2]
    double concrete_area = 0;  // net of openings [m2]
    Point centroid;            // of the concrete net of openings
    double second_moment_y = 0, second_moment_z = 0;  // about axes y and z through the centroid
    Bounds bounds;
};

// Areas and moments from the polylines of the concrete (arcs divided finely enough for a
// relative error of about 1e-6), the extreme fibres exact (arcs included); throws Error(Value)
// when the concrete is not known (a parametric type that is not drawn) or has no area.
Properties properties(const cross_section::Shape &shape);

// The concrete of the `index`-th object of the target's list: its cross-section's shape (not
// known when the references do not lead to one).
cross_section::Shape concrete(const model_view::Model &model, cross_section::Target target,
                              size_t index);

using Bar = cross_section::Drawing::Bar;

// The extent of the concrete along y at height z: the least and greatest y where the line
// crosses an outline; false when it misses the concrete.
bool extent_at(const cross_section::Shape &shape, double z, double &y_left, double &y_right);

// The effective depth for a face in tension: from the opposite extreme fibre to the centroid
// (area-weighted) of the bars on the tension side of the concrete's centroid; false when no
// bar lies there. `face` is one of "bottom", "top", "left", "right".
bool effective_depth(const Properties &p, const std::vector<Bar> &bars, const std::string &face,
                     double &out);

}  // namespace marlox::shapes
