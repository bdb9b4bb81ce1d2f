#include "core/bar_patterns.hpp"

#include <cmath>

#include "core/cross_section_geometry.hpp"
#include "core/error.hpp"

namespace marlox::patterns {

namespace {

std::string mm(double metres) { return cross_section::show(std::round(metres * 1e4) / 10) + " mm"; }

void positive(const char *name, double value) {
    if (!(std::isfinite(value) && value > 0))
        fail(ErrorKind::Value, std::string(name) + " must be a positive length in metres, not " +
                                   cross_section::show(value));
}

// Bars of `diameter` whose centres stand `gap` apart must not overlap.
void apart(double gap, double diameter, const std::string &where) {
    if (gap + 1e-12 < diameter)
        fail(ErrorKind::Value, "bars of " + mm(diameter) + " overlap " + where +
                                   ": their centres " + "are " + mm(gap) + " apart");
}

void span(double from, double to) {
    if (!(std::isfinite(from) && std::isfinite(to)) || to < from - 1e-12)
        fail(ErrorKind::Value, "the layer does not fit: its first bar would stand at y = " +
                                   cross_section::show(from) +
                                   " m and its last at y = " + cross_section::show(to) + " m");
}

}  // namespace

double bar_area(double diameter) { return M_PI * diameter * diameter / 4; }

std::vector<Point> circle(Point centre, double radius, long count, double start, double diameter) {
    positive("diameter", diameter);
    if (!(std::isfinite(radius) && radius > 0))
        fail(ErrorKind::Value, "the circle of the bars does not fit: its radius would be " +
                                   cross_section::show(radius) + " m");
    if (count < 2)
        fail(ErrorKind::Value,
             "a circle of bars needs at least 2 bars, not " + std::to_string(count));
    if (!std::isfinite(start)) fail(ErrorKind::Value, "start_angle must be a finite number");
    apart(2 * radius * std::sin(M_PI / count), diameter,
          "when " + std::to_string(count) + " stand on a circle of radius " + mm(radius));
    std::vector<Point> out;
    for (long i = 0; i < count; ++i) {
        const double angle = (start + 360.0 * i / count) * M_PI / 180;
        out.push_back({centre.y + radius * std::cos(angle), centre.z + radius * std::sin(angle)});
    }
    return out;
}

std::vector<Point> by_spacing(double z, double from, double to, double spacing, double diameter) {
    positive("diameter", diameter);
    positive("spacing", spacing);
    span(from, to);
    apart(spacing, diameter, "at a spacing of " + mm(spacing));
    const double length = std::max(to - from, 0.0);
    const long count = static_cast<long>(std::floor(length / spacing + 1e-9)) + 1;
    const double first = from + (length - (count - 1) * spacing) / 2;
    std::vector<Point> out;
    for (long i = 0; i < count; ++i) out.push_back({first + i * spacing, z});
    return out;
}

std::vector<Point> by_count(double z, double from, double to, long count, double diameter) {
    positive("diameter", diameter);
    if (count < 2)
        fail(ErrorKind::Value, "a layer needs at least 2 bars, not " + std::to_string(count));
    span(from, to);
    const double step = (to - from) / (count - 1);
    apart(step, diameter, "when " + std::to_string(count) + " share a width of " + mm(to - from));
    std::vector<Point> out;
    for (long i = 0; i < count; ++i) out.push_back({from + i * step, z});
    return out;
}

std::vector<Vertex> rectangle(double y0, double z0, double y1, double z1, double radius) {
    if (!(y1 > y0 && z1 > z0))
        fail(ErrorKind::Value, "the stirrup does not fit: the cover leaves " + mm(y1 - y0) +
                                   " by " + mm(z1 - z0) + " for its axis");
    if (!(std::isfinite(radius) && radius >= 0))
        fail(ErrorKind::Value,
             "the bend radius must be a length in metres, not " + cross_section::show(radius));
    if (2 * radius > std::min(y1 - y0, z1 - z0) + 1e-12)
        fail(ErrorKind::Value, "the bend radius " + mm(radius) + " does not fit the stirrup's " +
                                   mm(y1 - y0) + " by " + mm(z1 - z0));
    const double r = radius, ym = (y0 + y1) / 2, k = r * (1 - std::sqrt(0.5));
    auto point = [](double y, double z) { return Vertex{{y, z}, false, {}}; };
    auto arc = [](double y, double z, double yo, double zo) {
        return Vertex{{y, z}, true, {yo, zo}};
    };
    std::vector<Vertex> out = {point(ym, z0)};
    if (r > 0) {
        out.push_back(point(y1 - r, z0));
        out.push_back(arc(y1, z0 + r, y1 - k, z0 + k));
        out.push_back(point(y1, z1 - r));
        out.push_back(arc(y1 - r, z1, y1 - k, z1 - k));
        out.push_back(point(y0 + r, z1));
        out.push_back(arc(y0, z1 - r, y0 + k, z1 - k));
        out.push_back(point(y0, z0 + r));
        out.push_back(arc(y0 + r, z0, y0 + k, z0 + k));
    } else {
        out.push_back(point(y1, z0));
        out.push_back(point(y1, z1));
        out.push_back(point(y0, z1));
        out.push_back(point(y0, z0));
    }
    out.push_back(point(ym, z0));
    return out;
}

std::vector<Vertex> ring(Point centre, double radius) {
    if (!(std::isfinite(radius) && radius > 0))
        fail(ErrorKind::Value,
             "the ring does not fit: its radius would be " + cross_section::show(radius) + " m");
    const double y = centre.y, z = centre.z, r = radius;
    return {
        {{y, z - r}, false, {}}, {{y, z + r}, true, {y + r, z}}, {{y, z - r}, true, {y - r, z}}};
}

}  // namespace marlox::patterns
