// Where the bars and stirrups of the common patterns go: bars on a circle, a layer by spacing,
// a layer by count, a closed rectangular stirrup with bent corners and a circular ring. Every
// function checks that its pattern fits and throws Error(Value) naming what does not.
#pragma once

#include <string>
#include <vector>

#include "core/geometry.hpp"

namespace marlox::patterns {

using geometry::Point;
using geometry::Vertex;

// `count` bars of `diameter` evenly on a circle of `radius` (of their centres) about
// `centre`, the first at `start` degrees from the y axis towards z, then anticlockwise.
std::vector<Point> circle(Point centre, double radius, long count, double start, double diameter);

// Bars at `spacing` along z = `z` between y = `from` and `to` (the outermost possible
// centres): as many as fit, the pattern centred between the two.
std::vector<Point> by_spacing(double z, double from, double to, double spacing, double diameter);

// `count` bars evenly from y = `from` to `to` (the outermost centres) along z = `z`.
std::vector<Point> by_count(double z, double from, double to, long count, double diameter);

// The axis of a closed rectangular stirrup from (y0, z0) to (y1, z1), its corners bent to
// `radius` (of the axis; 0 for sharp corners): starting and ending at the middle of the bottom
// side, arcs as (end, point on arc).
std::vector<Vertex> rectangle(double y0, double z0, double y1, double z1, double radius);

// The axis of a circular ring of `radius` about `centre`: two half arcs from its lowest point.
std::vector<Vertex> ring(Point centre, double radius);

// The area of one bar of `diameter` [m2].
double bar_area(double diameter);

}  // namespace marlox::patterns
