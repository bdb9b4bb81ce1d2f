// The utilisation along a member, as the report draws it: the check value of every family at each
// check section against the section's position, their envelope, the limit, the failures and
// the family that governs at each position. Written as SVG text by hand: a few lines, marks and
// labels need no plotting library, and the report path stays free of one.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <map>

#include "core/check_table.hpp"
#include "core/markup.hpp"
#include "core/report_parts.hpp"

namespace marlox::report::detail {

namespace {

constexpr double kWidth = 640, kHeight = 320;
// The plot area; above it the band where the governing family is named at each position.
constexpr double kLeft = 46, kRight = 520, kTop = 84, kBottom = 280;

// The colour of each family RCS writes (in its order), and of any other.
const char *const kColours[] = {"#1f77b4", "#9467bd", "#ff7f0e", "#8c564b", "#e377c2", "#7f7f7f",
                                "#2ca02c", "#17becf", "#bcbd22", "#aec7e8", "#98df8a"};
const char *const kOtherColour = "#c49c94";

// Its place among the families RCS writes; the others after them.
std::size_t rank_of(const std::string &family) {
    std::size_t i = 0;
    for (const char *known : results::kKnownFamilies) {
        if (family == known) return i;
        ++i;
    }
    return i;
}

const char *colour_of(const std::string &family) {
    const std::size_t i = rank_of(family);
    return i < std::size(kColours) ? kColours[i] : kOtherColour;
}

std::string coordinate(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%.1f", v);
    return b;
}

std::string value_text(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%.6g", v);
    return b;
}

// A step of 1, 2 or 5 times a power of ten that divides [0, top] into at most `most` parts.
double tick_step(double top, int most) {
    const double rough = top / most;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (double m : {1.0, 2.0, 5.0, 10.0}) {
        if (m * power >= rough) return m * power;
    }
    return 10 * power;
}

struct Line {
    std::string family;  // "" for the envelope
    std::vector<std::pair<std::int32_t, double>> points;
};

}  // namespace

std::string utilisation_svg(const std::string &member, const std::vector<ChartSection> &sections,
                            const std::vector<std::string> &families) {
    // The lines: one per family in the order of the family names, then the envelope.
    std::map<std::pair<std::size_t, std::uint16_t>, Line> by_family;
    Line envelope;
    std::vector<std::pair<std::int32_t, double>> failed;
    struct Named {
        std::int32_t position;
        double value;
        std::uint16_t family;
        bool failed;
    };
    std::vector<Named> governing;
    double highest = 0;
    std::int32_t first = 0, last = 0;
    bool any = false;
    for (const ChartSection &s : sections) {
        for (const FamilyPoint &p : s.points) {
            if (std::isnan(p.value)) continue;
            Line &line = by_family[{rank_of(families[p.family]), p.family}];
            line.family = families[p.family];
            line.points.emplace_back(s.position, p.value);
            if (p.governing) {
                envelope.points.emplace_back(s.position, p.value);
                governing.push_back(Named{s.position, p.value, p.family, p.failed});
                if (p.failed) failed.emplace_back(s.position, p.value);
            }
            highest = std::max(highest, p.value);
            first = any ? std::min(first, s.position) : s.position;
            last = any ? std::max(last, s.position) : s.position;
            any = true;
        }
    }
    if (!any) return "";
    for (auto &[f, line] : by_family) std::sort(line.points.begin(), line.points.end());
    std::sort(envelope.points.begin(), envelope.points.end());
    if (!std::isfinite(highest)) highest = 1;

    const double top = std::max(1.1, highest * 1.15);
    const double x0 = first - 0.5, x1 = last + 0.5;
    auto x = [&](double position) {
        return kLeft + (position - x0) / (x1 - x0) * (kRight - kLeft);
    };
    auto y = [&](double value) {
        return kBottom - std::clamp(value, 0.0, top) / top * (kBottom - kTop);
    };

    std::string out;
    out.reserve(4096);
    out += "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"utilisation\" width=\"" +
           coordinate(kWidth) + "\" height=\"" + coordinate(kHeight) + "\" viewBox=\"0 0 " +
           coordinate(kWidth) + " " + coordinate(kHeight) +
           "\" font-family=\"DejaVu Sans,Helvetica,Arial,sans-serif\" font-size=\"8\"><title>";
    markup::escape(out, "Utilisation along member " + member);
    out += "</title>";
    // The axes, the value grid and the limit.
    const double step = tick_step(top, 6);
    for (int i = 0; i * step <= top + 1e-9; ++i) {
        const double v = i * step, yv = y(v);
        out += "<line x1=\"" + coordinate(kLeft) + "\" y1=\"" + coordinate(yv) + "\" x2=\"" +
               coordinate(kRight) + "\" y2=\"" + coordinate(yv) +
               "\" stroke=\"#ddd\" stroke-width=\"0.6\"/><text x=\"" + coordinate(kLeft - 4) +
               "\" y=\"" + coordinate(yv + 3) + "\" text-anchor=\"end\">" + value_text(v) +
               "</text>";
    }
    const std::int32_t every = std::max<std::int32_t>(1, (last - first) / 20 + 1);
    for (std::int32_t p = first; p <= last; p += every) {
        out += "<text x=\"" + coordinate(x(p)) + "\" y=\"" + coordinate(kBottom + 11) +
               "\" text-anchor=\"middle\">" + std::to_string(p) + "</text>";
    }
    out += "<rect x=\"" + coordinate(kLeft) + "\" y=\"" + coordinate(kTop) + "\" width=\"" +
           coordinate(kRight - kLeft) + "\" height=\"" + coordinate(kBottom - kTop) +
           "\" fill=\"none\" stroke=\"#666\" stroke-width=\"0.8\"/>";
    out += "<text x=\"" + coordinate((kLeft + kRight) / 2) + "\" y=\"" + coordinate(kBottom + 25) +
           "\" text-anchor=\"middle\">check section along the member (position)</text>";
    out += "<text transform=\"translate(11 " + coordinate((kTop + kBottom) / 2) +
           ") rotate(-90)\" text-anchor=\"middle\">check value</text>";
    out += "<line class=\"limit\" x1=\"" + coordinate(kLeft) + "\" y1=\"" + coordinate(y(1)) +
           "\" x2=\"" + coordinate(kRight) + "\" y2=\"" + coordinate(y(1)) +
           "\" stroke=\"#d62728\" stroke-width=\"1\" stroke-dasharray=\"5 3\"/>";

    auto polyline = [&](const Line &line, const char *colour, const char *width) {
        std::string points, data;
        for (const auto &[p, v] : line.points) {
            points += (points.empty() ? "" : " ") + coordinate(x(p)) + "," + coordinate(y(v));
            data += (data.empty() ? "" : ",") + std::to_string(p) + " " + value_text(v);
        }
        out += "<polyline class=\"";
        out += line.family.empty() ? "envelope\"" : "family\" data-family=\"";
        if (!line.family.empty()) {
            markup::escape(out, line.family);
            out += "\"";
        }
        out += " data-points=\"" + data + "\" points=\"" + points + "\" fill=\"none\" stroke=\"" +
               colour + "\" stroke-width=\"" + width + "\" stroke-linejoin=\"round\"/>";
        // the points: dots on a family's line, rings on the envelope's (seen on one point too)
        for (const auto &[p, v] : line.points) {
            out += "<circle cx=\"" + coordinate(x(p)) + "\" cy=\"" + coordinate(y(v)) +
                   (line.family.empty() ? "\" r=\"3\" fill=\"none\" stroke-width=\"1.2\" stroke=\""
                                        : "\" r=\"1.8\" fill=\"") +
                   colour + "\"/>";
        }
    };
    for (const auto &[f, line] : by_family) polyline(line, colour_of(line.family), "1");
    polyline(envelope, "#111", "2.2");
    for (const auto &[p, v] : failed) {
        const double cx = x(p), cy = y(v);
        out += "<path class=\"failed\" d=\"M" + coordinate(cx - 4) + " " + coordinate(cy - 4) +
               "L" + coordinate(cx + 4) + " " + coordinate(cy + 4) + "M" + coordinate(cx - 4) +
               " " + coordinate(cy + 4) + "L" + coordinate(cx + 4) + " " + coordinate(cy - 4) +
               "\" stroke=\"#d62728\" stroke-width=\"1.8\"/>";
    }
    // The family that governs at each numbered position, written upwards above the plot.
    for (const Named &g : governing) {
        if ((g.position - first) % every != 0) continue;  // as the positions are numbered
        out += "<text class=\"governing\" transform=\"translate(" +
               coordinate(x(g.position) + 2.5) + " " + coordinate(kTop - 4) +
               ") rotate(-90)\" font-size=\"7\" fill=\"" + (g.failed ? "#a4161a" : "#333") + "\">";
        markup::escape(out, families[g.family]);
        out += "</text>";
    }
    // The legend.
    double ly = kTop + 6;
    out += "<text x=\"" + coordinate(kLeft) + "\" y=\"10\" fill=\"#333\">governing family</text>";
    auto legend = [&](const std::string &name, const char *colour, const char *width,
                      const char *dash) {
        out += "<line x1=\"" + coordinate(kRight + 10) + "\" y1=\"" + coordinate(ly) + "\" x2=\"" +
               coordinate(kRight + 28) + "\" y2=\"" + coordinate(ly) + "\" stroke=\"" + colour +
               "\" stroke-width=\"" + width + "\"" + dash + "/><text x=\"" +
               coordinate(kRight + 32) + "\" y=\"" + coordinate(ly + 3) + "\">";
        markup::escape(out, name);
        out += "</text>";
        ly += 12;
    };
    for (const auto &[f, line] : by_family) legend(line.family, colour_of(line.family), "1.5", "");
    legend("envelope", "#111", "2.2", "");
    legend("limit", "#d62728", "1", " stroke-dasharray=\"5 3\"");
    if (!failed.empty()) {
        out += "<path d=\"M" + coordinate(kRight + 15) + " " + coordinate(ly - 4) + "L" +
               coordinate(kRight + 23) + " " + coordinate(ly + 4) + "M" + coordinate(kRight + 15) +
               " " + coordinate(ly + 4) + "L" + coordinate(kRight + 23) + " " + coordinate(ly - 4) +
               "\" stroke=\"#d62728\" stroke-width=\"1.8\"/><text x=\"" + coordinate(kRight + 32) +
               "\" y=\"" + coordinate(ly + 3) + "\">failed</text>";
    }
    out += "</svg>";
    return out;
}

}  // namespace marlox::report::detail
