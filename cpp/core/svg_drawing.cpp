#include "core/svg_drawing.hpp"
#include "core/markup.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace marlox::svg {

namespace {

using geometry::Point;

// The colours of the matplotlib drawing, so that both pictures read alike.
constexpr const char *kConcrete = "#d9d9d9";
constexpr const char *kEdge = "#595959";
constexpr const char *kBar = "#1f77b4";
constexpr const char *kStirrup = "#2ca02c";
constexpr const char *kError = "#d62728";
constexpr const char *kWarning = "#ff7f0e";
constexpr const char *kAxis = "#7f7f7f";

// A coordinate in pixels: two decimals, never an exponent, "-0.00" as "0.00".
std::string px(double value) {
    if (!std::isfinite(value)) value = 0;
    if (std::fabs(value) < 0.005) value = 0;
    char buffer[48];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 2);
    return std::string(buffer, result.ptr);
}

// A length in metres as the extent line shows it: "1.20", "0.075".
std::string metres(double value) {
    char buffer[48];
    const int digits = value < 0.1 ? 3 : 2;
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, digits);
    return std::string(buffer, result.ptr);
}

struct Box {
    double y0 = std::numeric_limits<double>::infinity(), z0 = y0;
    double y1 = -y0, z1 = -y0;
    bool empty() const { return !(y0 <= y1 && z0 <= z1); }
    void add(Point p, double reach = 0) {
        if (!std::isfinite(p.y) || !std::isfinite(p.z)) return;
        y0 = std::min(y0, p.y - reach);
        y1 = std::max(y1, p.y + reach);
        z0 = std::min(z0, p.z - reach);
        z1 = std::max(z1, p.z + reach);
    }
};

// From section coordinates [m] to the picture [px].
struct Frame {
    double scale, y0, z1, left, top;
    double x(double y) const { return left + (y - y0) * scale; }
    double v(double z) const { return top + (z1 - z) * scale; }
    std::string at(Point p) const { return px(x(p.y)) + "," + px(v(p.z)); }
};

void ring(std::string &d, const std::vector<Point> &points, const Frame &f, bool close) {
    for (size_t i = 0; i < points.size(); ++i) d += (i == 0 ? "M" : "L") + f.at(points[i]);
    if (close && !points.empty()) d += "Z";
}

}  // namespace

std::string escape(const std::string &text) { return markup::escaped(text); }

std::string section(const cross_section::Drawing &drawing, const std::vector<Mark> &marks,
                    const Options &options) {
    Box concrete, all;
    for (const auto &outline : drawing.outlines)
        for (const Point &p : outline) concrete.add(p);
    all = concrete;
    for (const auto &bar : drawing.bars) all.add(bar.centre, bar.diameter / 2);
    for (const auto &stirrup : drawing.stirrups)
        for (const Point &p : stirrup.points) all.add(p, stirrup.diameter / 2);
    for (const Mark &mark : marks) all.add(mark.at);
    if (options.axes && !all.empty()) all.add({0, 0});

    const double margin = options.margin;
    const double title_height = options.title && !drawing.title.empty() ? 18 : 0;
    const double extent_height = options.extent && !concrete.empty() ? 18 : 0;
    const double inner = std::max(options.width - 2 * margin, 1.0);
    double span_y = all.empty() ? 0 : all.y1 - all.y0, span_z = all.empty() ? 0 : all.z1 - all.z0;
    if (!(span_y > 0)) span_y = span_z > 0 ? span_z : 1;
    if (!(span_z > 0)) span_z = span_y;
    // A tall section is fitted to the same width as a wide one is, but no taller than 2.5
    // widths, so that a column stays on the screen.
    const double scale = std::min(inner / span_y, 2.5 * inner / span_z);
    const Frame f{scale, all.empty() ? 0 : all.y0, all.empty() ? 0 : all.z1,
                  margin + (inner - span_y * scale) / 2, margin + title_height};
    const double width = options.width;
    const double height = margin * 2 + title_height + span_z * scale + extent_height;

    std::string out;
    out.reserve(4096);
    out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + px(width) + "\" height=\"" +
           px(height) + "\" viewBox=\"0 0 " + px(width) + " " + px(height) +
           "\" font-family=\"sans-serif\" font-size=\"12\">";
    out += "<title>" + escape(drawing.title) + "</title>";
    if (title_height > 0)
        out += "<text x=\"" + px(width / 2) + "\" y=\"" + px(margin - 6 + 12) +
               "\" text-anchor=\"middle\" font-weight=\"bold\">" + escape(drawing.title) +
               (drawing.outline_drawn ? "" : " (concrete not drawn)") + "</text>";

    if (!drawing.outlines.empty()) {
        std::string d;
        for (const auto &outline : drawing.outlines) ring(d, outline, f, true);
        for (const auto &opening : drawing.openings) ring(d, opening, f, true);
        out += "<path class=\"concrete\" d=\"" + d + "\" fill=\"" + kConcrete +
               "\" fill-rule=\"evenodd\" stroke=\"" + kEdge + "\" stroke-width=\"1\"/>";
    }
    for (const auto &stirrup : drawing.stirrups) {
        std::string d;
        ring(d, stirrup.points, f, false);
        const double stroke = std::max(stirrup.diameter * scale, 1.0);
        out += "<path class=\"stirrup\" d=\"" + d + "\" fill=\"none\" stroke=\"" + kStirrup +
               "\" stroke-width=\"" + px(stroke) + "\" stroke-linejoin=\"round\"/>";
    }
    for (const auto &bar : drawing.bars)
        out += "<circle class=\"bar\" cx=\"" + px(f.x(bar.centre.y)) + "\" cy=\"" +
               px(f.v(bar.centre.z)) + "\" r=\"" + px(std::max(bar.diameter / 2 * scale, 1.0)) +
               "\" fill=\"" + kBar + "\"/>";

    if (options.axes && !all.empty()) {
        const double x0 = f.x(0), v0 = f.v(0), arm = 18;
        out += std::string("<g class=\"axes\" stroke=\"") + kAxis + "\" fill=\"" + kAxis + "\">";
        out += "<path d=\"M" + px(x0) + "," + px(v0) + "H" + px(x0 + arm) + "M" + px(x0) + "," +
               px(v0) + "V" + px(v0 - arm) + "\" fill=\"none\"/>";
        out += "<path d=\"M" + px(x0 + arm + 4) + "," + px(v0) + "l-5,-3v6Z" + "M" + px(x0) + "," +
               px(v0 - arm - 4) + "l-3,5h6Z\" stroke=\"none\"/>";
        out += "<text x=\"" + px(x0 + arm + 6) + "\" y=\"" + px(v0 + 4) +
               "\" stroke=\"none\" font-size=\"11\">y</text>";
        out += "<text x=\"" + px(x0 + 4) + "\" y=\"" + px(v0 - arm - 2) +
               "\" stroke=\"none\" font-size=\"11\">z</text></g>";
    }
    for (const Mark &mark : marks) {
        const double x = f.x(mark.at.y), v = f.v(mark.at.z), r = 5;
        out += std::string("<path class=\"") + (mark.error ? "error" : "warning") + "\" d=\"M" +
               px(x - r) + "," + px(v - r) + "L" + px(x + r) + "," + px(v + r) + "M" + px(x - r) +
               "," + px(v + r) + "L" + px(x + r) + "," + px(v - r) + "\" stroke=\"" +
               (mark.error ? kError : kWarning) + "\" stroke-width=\"2\"><title>" +
               escape(mark.text) + "</title></path>";
    }
    if (extent_height > 0)
        out += "<text x=\"" + px(width / 2) + "\" y=\"" + px(height - margin + 14) +
               "\" text-anchor=\"middle\" fill=\"" + kEdge + "\">" +
               metres(concrete.y1 - concrete.y0) + " \xc3\x97 " +
               metres(concrete.z1 - concrete.z0) + " m</text>";
    out += "</svg>";
    return out;
}

}  // namespace marlox::svg
