#include "core/geometry.hpp"

#include <algorithm>
#include <cmath>

namespace marlox::geometry {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kTwoPi = 2 * kPi;

Point minus(Point p, Point q) { return {p.y - q.y, p.z - q.z}; }
double dot(Point p, Point q) { return p.y * q.y + p.z * q.z; }
double cross(Point p, Point q) { return p.y * q.z - p.z * q.y; }
bool same(Point p, Point q) { return p.y == q.y && p.z == q.z; }

// The angle `a` brought into [0, 2 pi).
double turn(double a) {
    a = std::fmod(a, kTwoPi);
    return a < 0 ? a + kTwoPi : a;
}

Edge segment(Point a, Point b) {
    Edge e;
    e.a = a;
    e.b = b;
    return e;
}

// The arc from `a` through `m` to `b`; a straight edge when the three lie on a line.
Edge arc(Point a, Point m, Point b) {
    const Point u = minus(m, a), v = minus(b, a);
    const double d = 2 * cross(u, v);
    const double scale = dot(u, u) + dot(v, v);
    if (std::fabs(d) <= 1e-12 * scale) return segment(a, b);
    const double uu = dot(u, u), vv = dot(v, v);
    Edge e;
    e.a = a;
    e.b = b;
    e.arc = true;
    e.centre = {a.y + (v.z * uu - u.z * vv) / d, a.z + (u.y * vv - v.y * uu) / d};
    e.radius = distance(a, e.centre);
    e.start = std::atan2(a.z - e.centre.z, a.y - e.centre.y);
    const double to_end = turn(std::atan2(b.z - e.centre.z, b.y - e.centre.y) - e.start);
    const double to_mid = turn(std::atan2(m.z - e.centre.z, m.y - e.centre.y) - e.start);
    const double anticlockwise = to_end == 0 ? kTwoPi : to_end;
    e.sweep = to_mid < anticlockwise ? anticlockwise : anticlockwise - kTwoPi;
    return e;
}

double segment_distance(Point p, Point a, Point b) {
    const Point ab = minus(b, a), ap = minus(p, a);
    const double length2 = dot(ab, ab);
    const double t = length2 > 0 ? std::clamp(dot(ap, ab) / length2, 0.0, 1.0) : 0.0;
    return distance(p, Point{a.y + t * ab.y, a.z + t * ab.z});
}

// Side of c relative to ab, zero within rounding of the coordinates' size.
int side(Point a, Point b, Point c) {
    const double value = cross(minus(b, a), minus(c, a));
    const double size = std::max({std::fabs(a.y), std::fabs(a.z), std::fabs(b.y), std::fabs(b.z),
                                  std::fabs(c.y), std::fabs(c.z), 1e-3});
    if (std::fabs(value) <= 1e-12 * size * size) return 0;
    return value > 0 ? 1 : -1;
}

}  // namespace

std::vector<Edge> path(const std::vector<Vertex> &vertices, bool closed) {
    std::vector<Edge> edges;
    if (vertices.empty()) return edges;
    Point at = vertices[0].point;
    for (size_t i = 1; i < vertices.size(); ++i) {
        const Vertex &v = vertices[i];
        if (!same(at, v.point))
            edges.push_back(v.arc ? arc(at, v.on_arc, v.point) : segment(at, v.point));
        at = v.point;
    }
    if (closed && !same(at, vertices[0].point)) edges.push_back(segment(at, vertices[0].point));
    return edges;
}

std::vector<Edge> rectangle(double width, double height) {
    const double y = width / 2, z = height / 2;
    const Point corners[] = {{-y, -z}, {y, -z}, {y, z}, {-y, z}};
    std::vector<Edge> edges;
    for (int i = 0; i < 4; ++i) edges.push_back(segment(corners[i], corners[(i + 1) % 4]));
    return edges;
}

std::vector<Edge> circle(double diameter) {
    const double r = diameter / 2;
    return {arc({r, 0}, {0, r}, {-r, 0}), arc({-r, 0}, {0, -r}, {r, 0})};
}

std::vector<Point> polyline(const std::vector<Edge> &edges, double tolerance) {
    std::vector<Point> points;
    if (edges.empty()) return points;
    points.push_back(edges[0].a);
    for (const Edge &e : edges) {
        if (e.arc) {
            // A chord of angle t strays r (1 - cos(t / 2)) from its arc.
            const double ratio = std::clamp(1 - tolerance / e.radius, -1.0, 1.0);
            const double step = std::max(2 * std::acos(ratio), kTwoPi / 4096);
            const int n = std::max(1, static_cast<int>(std::ceil(std::fabs(e.sweep) / step)));
            for (int i = 1; i < n; ++i) {
                const double t = e.start + e.sweep * i / n;
                points.push_back(
                    {e.centre.y + e.radius * std::cos(t), e.centre.z + e.radius * std::sin(t)});
            }
        }
        points.push_back(e.b);
    }
    return points;
}

double distance(Point p, Point q) { return std::hypot(p.y - q.y, p.z - q.z); }

double distance(Point p, const Edge &e) {
    if (!e.arc) return segment_distance(p, e.a, e.b);
    const double from_centre = distance(p, e.centre);
    if (from_centre > 0) {
        const double along = turn(std::atan2(p.z - e.centre.z, p.y - e.centre.y) - e.start);
        const double reach = std::fabs(e.sweep);
        const double signed_along = e.sweep >= 0 ? along : turn(-along);
        if (signed_along <= reach) return std::fabs(from_centre - e.radius);
    } else {
        return e.radius;
    }
    return std::min(distance(p, e.a), distance(p, e.b));
}

double distance(Point p, const std::vector<Edge> &edges) {
    double best = INFINITY;
    for (const Edge &e : edges) best = std::min(best, distance(p, e));
    return best;
}

double distance(Point a, Point b, Point c, Point d) {
    if (cross(a, b, c, d)) return 0.0;
    return std::min({segment_distance(a, c, d), segment_distance(b, c, d),
                     segment_distance(c, a, b), segment_distance(d, a, b)});
}

bool inside(Point p, const std::vector<Point> &polygon) {
    int winding = 0;
    for (size_t i = 0; i + 1 < polygon.size(); ++i) {
        const Point a = polygon[i], b = polygon[i + 1];
        const double left = cross(minus(b, a), minus(p, a));
        if (a.z <= p.z) {
            if (b.z > p.z && left > 0) ++winding;
        } else if (b.z <= p.z && left < 0) {
            --winding;
        }
    }
    return winding != 0;
}

bool cross(Point a, Point b, Point c, Point d) {
    const int s1 = side(a, b, c), s2 = side(a, b, d), s3 = side(c, d, a), s4 = side(c, d, b);
    return s1 * s2 < 0 && s3 * s4 < 0;
}

bool self_intersects(const std::vector<Point> &polygon, double tolerance, Point &where) {
    const size_t n = polygon.size() < 2 ? 0 : polygon.size() - 1;  // segments
    for (size_t i = 0; n > 2 && i < n; ++i) {
        // A neighbour that turns straight back.
        const Point a = polygon[i], b = polygon[i + 1], c = polygon[(i + 1) % n + 1];
        if (side(a, b, c) == 0 && dot(minus(b, a), minus(c, b)) < 0) {
            where = b;
            return true;
        }
    }
    return near_segments(polygon, polygon, tolerance, [&](size_t i, size_t j) {
        if (j <= i + 1 || (i == 0 && j == n - 1)) return false;  // itself or a neighbour
        const Point a = polygon[i], b = polygon[i + 1], p = polygon[j], q = polygon[j + 1];
        if (distance(a, b, p, q) > tolerance) return false;
        where = cross(a, b, p, q) ? a : (segment_distance(p, a, b) <= tolerance ? p : q);
        return true;
    });
}

}  // namespace marlox::geometry
