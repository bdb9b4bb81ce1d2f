// Plane geometry of cross-sections: boundaries of straight and circular-arc edges, distances,
// containment and self-intersection.
//
// Written here rather than taken from a geometry library: the checks need a few hundred lines
// of 2-D predicates on small polygons, with arcs kept exact for distances, and the core is
// Python-free with no run-time dependency beyond the C++ standard library.
#pragma once

#include <algorithm>
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

// Calls `visit(i, j)` for the segments i of polyline `a` and j of polyline `b` (segment k joins
// points k and k + 1) whose extents in y and z come within `reach` of each other: the pairs
// that can touch, found by a sweep along y instead of trying all. `visit` returns true to stop;
// the result tells whether it did.
template <class Visit>
bool near_segments(const std::vector<Point> &a, const std::vector<Point> &b, double reach,
                   Visit visit) {
    if (a.size() < 2 || b.size() < 2) return false;
    struct Box {
        double y0, y1, z0, z1;
        size_t index;
    };
    auto boxes = [](const std::vector<Point> &p) {
        std::vector<Box> out;
        for (size_t k = 0; k + 1 < p.size(); ++k)
            out.push_back({std::min(p[k].y, p[k + 1].y), std::max(p[k].y, p[k + 1].y),
                           std::min(p[k].z, p[k + 1].z), std::max(p[k].z, p[k + 1].z), k});
        return out;
    };
    std::vector<Box> first = boxes(a), second = boxes(b);
    std::sort(second.begin(), second.end(), [](const Box &u, const Box &v) { return u.y0 < v.y0; });
    double widest = 0;
    for (const Box &box : second) widest = std::max(widest, box.y1 - box.y0);
    for (const Box &u : first) {
        const double from = u.y0 - reach - widest;
        auto it = std::lower_bound(second.begin(), second.end(), from,
                                   [](const Box &box, double y) { return box.y0 < y; });
        for (; it != second.end() && it->y0 <= u.y1 + reach; ++it)
            if (it->y1 >= u.y0 - reach && it->z0 <= u.z1 + reach && it->z1 >= u.z0 - reach &&
                visit(u.index, it->index))
                return true;
    }
    return false;
}

}  // namespace marlox::geometry
