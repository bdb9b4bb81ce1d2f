// Plane geometry of cross-sections: boundaries of straight and circular-arc edges, distances,
// containment and self-intersection.
//
// Written here rather than taken from a geometry library: the checks need a few hundred lines
// of 2-D predicates on small polygons, with arcs kept exact for distances, and the core is
// Python-free with no run-time dependency beyond the C++ standard library.
#pragma once

#include <cstddef>
#include <vector>

namespace marlox::geometry {

struct Point {
    double y = 0.0;
    double z = 0.0;
};

// One edge of a path: a straight segment from `a` to `b`, or a circular arc from `a` to `b`
// around `centre`, starting at angle `start` and turning by `sweep` (radians, signed:
// positive is anticlockwise).
struct Edge {
    Point a, b;
    bool arc = false;
    Point centre;
    double radius = 0.0;
    double start = 0.0;
    double sweep = 0.0;
};

// An entry of a polyline as the model gives it: a point, or an arc ((end), (on arc)).
struct Vertex {
    Point point;
    bool arc = false;
    Point on_arc;
};

// The edges from `vertices[0]` through the others. A closed path gets the straight edge back
// to its start when it does not end there. Edges of zero length are left out; an arc whose
// three points lie on a line is a straight edge.
std::vector<Edge> path(const std::vector<Vertex> &vertices, bool closed);

// A rectangle and a circle centred on the origin, as closed paths.
std::vector<Edge> rectangle(double width, double height);
std::vector<Edge> circle(double diameter);

// Points along the edges, arcs divided so that no chord strays further than `tolerance` from
// the arc. The start point comes first; a closed path repeats it at the end.
std::vector<Point> polyline(const std::vector<Edge> &edges, double tolerance);

double distance(Point p, Point q);
// Exact distance from `p` to an edge (arcs included).
double distance(Point p, const Edge &edge);
double distance(Point p, const std::vector<Edge> &edges);
// Distance between two straight segments.
double distance(Point a, Point b, Point c, Point d);

// Whether `p` lies inside the closed path (by winding number of `polygon`, the path's
// polyline). Points on the boundary may fall either way: callers test distances first.
bool inside(Point p, const std::vector<Point> &polygon);

// Whether segments ab and cd cross at a point inside both, with a turn larger than rounding.
bool cross(Point a, Point b, Point c, Point d);

// Whether two edges of the closed polygon touch or cross without being neighbours, or two
// neighbours fold back onto each other; `where` receives a point of the first such place.
bool self_intersects(const std::vector<Point> &polygon, double tolerance, Point &where);

}  // namespace marlox::geometry
