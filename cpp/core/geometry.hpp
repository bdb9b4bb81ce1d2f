// Plane geometry of cross-sections: boundaries of straight and circular-arc edges, distances,
// containment and self-intersection.
//
// Written here rather than taken from a geometry library: the checks need a few hundred lines
// of 2-D predicates on small polygons, with arcs kept exact for distances, and the core is
// Python-free with no run-time dependency beyond the C++ standard library.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
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

namespace grid {

// Boxes (any type with y0, y1, z0, z1) filed by the square cells of a grid that they cover:
// a cell is about as large as a typical box, so that a box meets few others in its cells.
// Boxes that would cover many cells are kept apart and met by every query.
struct Cells {
    double y_min = 0, z_min = 0, size = 1;
    long long columns = 1, rows = 1;
    std::vector<std::pair<long long, size_t>> filed;  // (cell, box), sorted
    std::vector<size_t> wide;
    size_t boxes = 0;
};

inline long long cell_of(double x, double low, double size, long long count) {
    const double at = std::floor((x - low) / size);
    return at < 0 ? 0 : at >= static_cast<double>(count) ? count - 1 : static_cast<long long>(at);
}

template <class Box>
Cells cells(const std::vector<Box> &boxes, double reach) {
    Cells c;
    c.boxes = boxes.size();
    if (boxes.empty()) return c;
    double y_max = boxes[0].y1, z_max = boxes[0].z1;
    c.y_min = boxes[0].y0, c.z_min = boxes[0].z0;
    std::vector<double> extents;
    for (const Box &b : boxes) {
        c.y_min = std::min(c.y_min, b.y0), y_max = std::max(y_max, b.y1);
        c.z_min = std::min(c.z_min, b.z0), z_max = std::max(z_max, b.z1);
        extents.push_back(std::max(b.y1 - b.y0, b.z1 - b.z0));
    }
    std::nth_element(extents.begin(), extents.begin() + extents.size() / 2, extents.end());
    const double span = std::max(y_max - c.y_min, z_max - c.z_min);
    constexpr double kMostCells = 1 << 20;  // along each side
    c.size = std::max({extents[extents.size() / 2], reach, span / kMostCells});
    if (!(c.size > 0) || !std::isfinite(c.size)) c.size = 1;  // one point, or no finite span
    c.columns = static_cast<long long>(std::ceil((y_max - c.y_min) / c.size)) + 1;
    c.rows = static_cast<long long>(std::ceil((z_max - c.z_min) / c.size)) + 1;
    for (size_t k = 0; k < boxes.size(); ++k) {
        const Box &b = boxes[k];
        const long long y0 = cell_of(b.y0, c.y_min, c.size, c.columns),
                        y1 = cell_of(b.y1, c.y_min, c.size, c.columns),
                        z0 = cell_of(b.z0, c.z_min, c.size, c.rows),
                        z1 = cell_of(b.z1, c.z_min, c.size, c.rows);
        if ((y1 - y0 + 1) * (z1 - z0 + 1) > 16) {
            c.wide.push_back(k);
            continue;
        }
        for (long long y = y0; y <= y1; ++y)
            for (long long z = z0; z <= z1; ++z) c.filed.emplace_back(y * c.rows + z, k);
    }
    std::sort(c.filed.begin(), c.filed.end());
    return c;
}

// The boxes whose cells meet the range, each once, in ascending order: a superset of those
// that overlap it.
template <class Box>
void candidates(const Cells &c, const std::vector<Box> &boxes, double y0, double y1, double z0,
                double z1, std::vector<size_t> &out) {
    out.clear();
    const long long cy0 = cell_of(y0, c.y_min, c.size, c.columns),
                    cy1 = cell_of(y1, c.y_min, c.size, c.columns),
                    cz0 = cell_of(z0, c.z_min, c.size, c.rows),
                    cz1 = cell_of(z1, c.z_min, c.size, c.rows);
    if (!(y1 >= c.y_min && z1 >= c.z_min) || (cy1 - cy0 + 1) * (cz1 - cz0 + 1) > 64 || y0 != y0 ||
        z0 != z0) {
        for (size_t k = 0; k < boxes.size(); ++k) out.push_back(k);  // a long range: every box
        return;
    }
    out = c.wide;
    for (long long y = cy0; y <= cy1; ++y) {
        const auto from = std::lower_bound(c.filed.begin(), c.filed.end(),
                                           std::make_pair(y * c.rows + cz0, size_t{0}));
        for (auto it = from; it != c.filed.end() && it->first <= y * c.rows + cz1; ++it)
            out.push_back(it->second);
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
}

}  // namespace grid

// Calls `visit(i, j)` for the segments i of polyline `a` and j of polyline `b` (segment k joins
// points k and k + 1) whose extents in y and z come within `reach` of each other: the pairs
// that can touch, found by a sweep along y or through a grid of cells instead of trying all.
// For each i, the j are visited in the order of their lowest y. `visit` returns true to stop; the
// result tells whether it did.
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
    const std::vector<Box> first = boxes(a);
    std::vector<Box> second = boxes(b);
    std::sort(second.begin(), second.end(), [](const Box &u, const Box &v) { return u.y0 < v.y0; });
    auto near = [&](const Box &u, const Box &v) {
        return v.y0 <= u.y1 + reach && v.y1 >= u.y0 - reach && v.z0 <= u.z1 + reach &&
               v.z1 >= u.z0 - reach;
    };
    if (first.size() * second.size() <= 1024) {  // small: trying all is cheaper than a grid
        for (const Box &u : first)
            for (const Box &v : second)
                if (near(u, v) && visit(u.index, v.index)) return true;
        return false;
    }
    // A sweep along y meets, for each segment, the others whose y range is near its own: cheap
    // unless many share a y range (the vertical edges of an outline traced finely), where a
    // grid of cells finds the near ones instead.
    double widest = 0;
    for (const Box &box : second) widest = std::max(widest, box.y1 - box.y0);
    auto from = [&](const Box &u) {
        return std::lower_bound(second.begin(), second.end(), u.y0 - reach - widest,
                                [](const Box &box, double y) { return box.y0 < y; });
    };
    size_t sweep = 0;
    for (const Box &u : first)
        sweep += static_cast<size_t>(
            std::upper_bound(second.begin(), second.end(), u.y1 + reach,
                             [](double y, const Box &box) { return y < box.y0; }) -
            from(u));
    if (sweep <= 16 * (first.size() + second.size())) {
        for (const Box &u : first)
            for (auto it = from(u); it != second.end() && it->y0 <= u.y1 + reach; ++it)
                if (near(u, *it) && visit(u.index, it->index)) return true;
        return false;
    }
    const grid::Cells cells = grid::cells(second, reach);
    std::vector<size_t> candidates;
    for (const Box &u : first) {
        grid::candidates(cells, second, u.y0 - reach, u.y1 + reach, u.z0 - reach, u.z1 + reach,
                         candidates);
        for (size_t rank : candidates) {
            const Box &v = second[rank];
            if (near(u, v) && visit(u.index, v.index)) return true;
        }
    }
    return false;
}

}  // namespace marlox::geometry
