#include "core/section_shapes.hpp"

#include <algorithm>
#include <cmath>

#include "core/error.hpp"

namespace marlox::shapes {

namespace {

const char *class_name(Kind kind) {
    switch (kind) {
        case Kind::Tee:
            return "TSection";
        case Kind::InvertedTee:
            return "InvertedTSection";
        case Kind::I:
            return "ISection";
        case Kind::L:
            return "LSection";
        case Kind::Circle:
            return "CircleSection";
        case Kind::HollowCircle:
            return "HollowCircleSection";
        case Kind::Box:
            return "BoxSection";
        case Kind::Trapezoid:
            return "TrapezoidSection";
    }
    return "";
}

std::string metres(double value) { return cross_section::show(value) + " m"; }

[[noreturn]] void refuse(Kind kind, const std::string &message) {
    fail(ErrorKind::Value, std::string(class_name(kind)) + ": " + message);
}

const Dimension &at(Kind kind, const std::vector<Dimension> &d, size_t i) {
    if (i >= d.size()) refuse(kind, "missing dimension");
    return d[i];
}

// `small` must be less than `large` (or, with `equal`, may reach it).
void less(Kind kind, const Dimension &small, const Dimension &large, double factor = 1,
          bool equal = false) {
    const double limit = large.value * factor;
    if (equal ? small.value <= limit : small.value < limit) return;
    std::string what = large.name;
    if (factor != 1)
        what = (factor == 0.5 ? "half the " : cross_section::show(factor) + " x ") + what;
    refuse(kind, small.name + " (" + metres(small.value) + ") must be " +
                     (equal ? "at most " : "less than ") + what + " (" + metres(limit) + ")");
}

// The polygon of `corners` moved so that its centroid is on the origin.
std::vector<Vertex> centred(std::vector<Point> corners) {
    double a = 0, sy = 0, sz = 0;
    for (size_t i = 0; i < corners.size(); ++i) {
        const Point p = corners[i], q = corners[(i + 1) % corners.size()];
        const double cross = p.y * q.z - q.y * p.z;
        a += cross;
        sy += (p.y + q.y) * cross;
        sz += (p.z + q.z) * cross;
    }
    const double cy = sy / (3 * a), cz = sz / (3 * a);
    std::vector<Vertex> out;
    for (const Point &p : corners) out.push_back({{p.y - cy, p.z - cz}, false, {}});
    return out;
}

std::vector<Vertex> rectangle(double width, double height) {
    const double w = width / 2, h = height / 2;
    return centred({{-w, -h}, {w, -h}, {w, h}, {-w, h}});
}

// A full circle of `radius` about the origin as two arcs.
std::vector<Vertex> circle(double radius) {
    return {{{radius, 0}, false, {}},
            {{-radius, 0}, true, {0, radius}},
            {{radius, 0}, true, {0, -radius}}};
}

struct Sums {
    double area = 0, sy = 0, sz = 0, syy = 0, szz = 0;
};

// The signed integrals of 1, y, z, y2 and z2 over a closed polygon (first point repeated).
Sums integrate(const std::vector<Point> &polygon) {
    Sums s;
    for (size_t i = 0; i + 1 < polygon.size(); ++i) {
        const Point p = polygon[i], q = polygon[i + 1];
        const double cross = p.y * q.z - q.y * p.z;
        s.area += cross / 2;
        s.sy += (p.y + q.y) * cross / 6;
        s.sz += (p.z + q.z) * cross / 6;
        s.syy += (p.y * p.y + p.y * q.y + q.y * q.y) * cross / 12;
        s.szz += (p.z * p.z + p.z * q.z + q.z * q.z) * cross / 12;
    }
    if (s.area < 0) s = {-s.area, -s.sy, -s.sz, -s.syy, -s.szz};
    return s;
}

}  // namespace

std::vector<Dimension> complete(Kind kind, std::vector<Dimension> d) {
    auto absent = [&](size_t i) { return i < d.size() && std::isnan(d[i].value); };
    if (kind == Kind::I) {  // height, top_width, top_thickness, web_width, bottom_*
        if (absent(4)) d[4].value = d[1].value;
        if (absent(5)) d[5].value = d[2].value;
    } else if (kind == Kind::Box) {  // width, height, web_thickness, flange_thickness
        if (absent(3)) d[3].value = d[2].value;
    }
    return d;
}

void check(Kind kind, const std::vector<Dimension> &given) {
    const std::vector<Dimension> d = complete(kind, given);
    for (const Dimension &dimension : d)
        if (!(std::isfinite(dimension.value) && dimension.value > 0))
            refuse(kind, dimension.name + " must be a positive length in metres, not " +
                             cross_section::show(dimension.value));
    auto D = [&](size_t i) -> const Dimension & { return at(kind, d, i); };
    switch (kind) {
        case Kind::Tee:
        case Kind::InvertedTee:  // width, height, flange_thickness, web_width
        case Kind::L:
            less(kind, D(2), D(1));
            less(kind, D(3), D(0), 1, kind != Kind::L);
            break;
        case Kind::I:  // height, top_width, top_thickness, web_width, bottom_width,
                       // bottom_thickness
            if (D(2).value + D(5).value >= D(0).value)
                refuse(kind, D(2).name + " + " + D(5).name + " (" +
                                 metres(D(2).value + D(5).value) + ") must be less than " +
                                 D(0).name + " (" + metres(D(0).value) + ")");
            less(kind, D(3), D(1), 1, true);
            less(kind, D(3), D(4), 1, true);
            break;
        case Kind::Circle:
            break;
        case Kind::HollowCircle:  // diameter, wall_thickness
            less(kind, D(1), D(0), 0.5);
            break;
        case Kind::Box:  // width, height, web_thickness, flange_thickness
            less(kind, D(2), D(0), 0.5);
            less(kind, D(3), D(1), 0.5);
            break;
        case Kind::Trapezoid:
            break;  // height, top_width, bottom_width
    }
}

Outline outline(Kind kind, const std::vector<Dimension> &given) {
    check(kind, given);
    const std::vector<Dimension> dims = complete(kind, given);
    auto v = [&](size_t i) { return dims[i].value; };
    Outline out;
    switch (kind) {
        case Kind::InvertedTee: {
            const double w = v(0) / 2, h = v(1), f = v(2), b = v(3) / 2;
            out.outline =
                centred({{-w, 0}, {w, 0}, {w, f}, {b, f}, {b, h}, {-b, h}, {-b, f}, {-w, f}});
            break;
        }
        case Kind::I: {
            const double h = v(0), t = v(1) / 2, tt = v(2), b = v(3) / 2, s = v(4) / 2, st = v(5);
            out.outline = centred({{-s, 0},
                                   {s, 0},
                                   {s, st},
                                   {b, st},
                                   {b, h - tt},
                                   {t, h - tt},
                                   {t, h},
                                   {-t, h},
                                   {-t, h - tt},
                                   {-b, h - tt},
                                   {-b, st},
                                   {-s, st}});
            break;
        }
        case Kind::L: {
            const double w = v(0), h = v(1), f = v(2), b = v(3);
            out.outline = centred({{0, 0}, {w, 0}, {w, f}, {b, f}, {b, h}, {0, h}});
            break;
        }
        case Kind::HollowCircle:
            out.outline = circle(v(0) / 2);
            out.openings.push_back(circle(v(0) / 2 - v(1)));
            break;
        case Kind::Box:
            out.outline = rectangle(v(0), v(1));
            out.openings.push_back(rectangle(v(0) - 2 * v(2), v(1) - 2 * v(3)));
            break;
        case Kind::Trapezoid: {
            const double h = v(0), t = v(1) / 2, b = v(2) / 2;
            out.outline = centred({{-b, 0}, {b, 0}, {t, h}, {-t, h}});
            break;
        }
        case Kind::Tee:
        case Kind::Circle:
            fail(ErrorKind::Value, std::string(class_name(kind)) + " is a parametric shape");
    }
    return out;
}

namespace {

struct Form {
    const char *type;
    Kind kind;
    std::vector<const char *> names;  // IDEA's names, in the order of the shape's dimensions
};

const Form *form_of(const std::string &type) {
    static const Form forms[] = {
        {"Tgrev", Kind::InvertedTee, {"Width", "Height", "TopFlangeWidth", "WallWidth"}},
        {"Ign", Kind::I, {"H", "Bh", "Th", "Tw", "Bs", "Ts"}},
        {"Trapezoid", Kind::Trapezoid, {"H", "Bt", "Bb"}},
    };
    for (const Form &form : forms)
        if (type == form.type) return &form;
    return nullptr;
}

// The dimensions of a parametric type by IDEA's names; false when one is missing.
bool dimensions_of(const Form &form, const Parameters &parameters, std::vector<Dimension> &out) {
    for (const char *name : form.names) {
        const auto given =
            std::find_if(parameters.begin(), parameters.end(),
                         [&](const auto &parameter) { return parameter.first == name; });
        if (given == parameters.end()) return false;
        out.push_back({name, given->second.value});
    }
    return true;
}

}  // namespace

bool parametric_fault(const std::string &type, const Parameters &parameters, std::string &parameter,
                      std::string &message) {
    const Form *form = form_of(type);
    std::vector<Dimension> dimensions;
    if (form == nullptr || !dimensions_of(*form, parameters, dimensions)) return false;
    for (const Dimension &d : dimensions)  // a value out of range is validate()'s own finding
        if (!(d.value > 0)) return false;
    try {
        check(form->kind, dimensions);
        return false;
    } catch (const Error &error) {
        message = error.what();
        message = message.substr(message.find(": ") + 2);  // without the class name
        parameter = message.substr(0, message.find_first_of(" "));
        return true;
    }
}

bool parametric_outline(const std::string &type, const Parameters &parameters,
                        std::vector<geometry::Edge> &out) {
    const Form *form = form_of(type);
    std::vector<Dimension> dimensions;
    if (form == nullptr || !dimensions_of(*form, parameters, dimensions)) return false;
    try {
        out = geometry::path(outline(form->kind, dimensions).outline, true);
    } catch (const Error &) {
        return false;
    }
    return true;
}

Properties properties(const cross_section::Shape &shape) {
    if (!shape.known || shape.regions.empty())
        fail(ErrorKind::Value, "the concrete of this cross-section is not known");
    Properties p;
    Sums net;
    auto add = [&](const Sums &s, double sign) {
        net.area += sign * s.area;
        net.sy += sign * s.sy;
        net.sz += sign * s.sz;
        net.syy += sign * s.syy;
        net.szz += sign * s.szz;
    };
    bool first = true;
    for (const cross_section::Region &region : shape.regions) {
        const Sums outer = integrate(region.outline_polygon);
        p.gross_area += outer.area;
        add(outer, 1);
        for (const auto &opening : region.opening_polygons) add(integrate(opening), -1);
        for (const geometry::Edge &edge : region.outline) {
            std::vector<Point> extremes = {edge.a, edge.b};
            if (edge.arc)  // the quadrant points that the arc passes
                for (int k = 0; k < 4; ++k) {
                    const double angle = k * M_PI / 2;
                    double turn = std::fmod(
                        edge.sweep > 0 ? angle - edge.start : edge.start - angle, 2 * M_PI);
                    if (turn < 0) turn += 2 * M_PI;
                    if (turn <= std::fabs(edge.sweep))
                        extremes.push_back({edge.centre.y + edge.radius * std::cos(angle),
                                            edge.centre.z + edge.radius * std::sin(angle)});
                }
            for (const Point &q : extremes) {
                if (first) p.bounds = {q.y, q.y, q.z, q.z};
                first = false;
                p.bounds.y_left = std::min(p.bounds.y_left, q.y);
                p.bounds.y_right = std::max(p.bounds.y_right, q.y);
                p.bounds.z_bottom = std::min(p.bounds.z_bottom, q.z);
                p.bounds.z_top = std::max(p.bounds.z_top, q.z);
            }
        }
    }
    if (!(net.area > 0)) fail(ErrorKind::Value, "the cross-section has no concrete area");
    p.concrete_area = net.area;
    p.centroid = {net.sy / net.area, net.sz / net.area};
    p.second_moment_y = net.szz - net.area * p.centroid.z * p.centroid.z;
    p.second_moment_z = net.syy - net.area * p.centroid.y * p.centroid.y;
    return p;
}

cross_section::Shape concrete(const model_view::Model &model, cross_section::Target target,
                              size_t index) {
    using cross_section::Target;
    using List = model_view::Model::List;
    const List lists[] = {List::CrossSection, List::ReinforcedCrossSection, List::CheckSection};
    List list = lists[static_cast<int>(target)];
    if (index >= model.count(list)) fail(ErrorKind::Value, "the object is not in the model");
    // Follow the references down to the cross-section: check section, reinforced section.
    const struct {
        List from;
        const char *field;
        List to;
    } steps[] = {{List::CheckSection, "reinf_section", List::ReinforcedCrossSection},
                 {List::ReinforcedCrossSection, "cross_section", List::CrossSection}};
    bool found = true;
    for (const auto &step : steps) {
        if (!found || list != step.from) continue;
        double id = 0;
        found = false;
        model.object(list, index, [&](const model_view::Object &o) {
            found = cross_section::reference(o, step.field, id);
        });
        found = found && cross_section::find(model, step.to, id, index);
        list = step.to;
    }
    cross_section::Shape shape;
    if (found)
        model.object(list, index,
                     [&](const model_view::Object &cs) { shape = cross_section::shape(cs); });
    return shape;
}

bool extent_at(const cross_section::Shape &shape, double z, double &y_left, double &y_right) {
    bool found = false;
    for (const cross_section::Region &region : shape.regions) {
        const auto &polygon = region.outline_polygon;
        for (size_t i = 0; i + 1 < polygon.size(); ++i) {
            const Point p = polygon[i], q = polygon[i + 1];
            if (std::min(p.z, q.z) > z || std::max(p.z, q.z) < z) continue;
            double lo, hi;
            if (p.z == q.z) {
                lo = std::min(p.y, q.y);
                hi = std::max(p.y, q.y);
            } else {
                lo = hi = p.y + (q.y - p.y) * (z - p.z) / (q.z - p.z);
            }
            y_left = found ? std::min(y_left, lo) : lo;
            y_right = found ? std::max(y_right, hi) : hi;
            found = true;
        }
    }
    return found;
}

bool effective_depth(const Properties &p, const std::vector<Bar> &bars, const std::string &face,
                     double &out) {
    double area = 0, moment = 0;
    for (const Bar &bar : bars) {
        const double a = M_PI * bar.diameter * bar.diameter / 4;
        const double y = bar.centre.y, z = bar.centre.z;
        double at;
        if (face == "bottom" && z < p.centroid.z)
            at = p.bounds.z_top - z;
        else if (face == "top" && z > p.centroid.z)
            at = z - p.bounds.z_bottom;
        else if (face == "left" && y < p.centroid.y)
            at = p.bounds.y_right - y;
        else if (face == "right" && y > p.centroid.y)
            at = y - p.bounds.y_left;
        else
            continue;
        area += a;
        moment += a * at;
    }
    if (!(area > 0)) return false;
    out = moment / area;
    return true;
}

}  // namespace marlox::shapes
