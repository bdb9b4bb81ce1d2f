#include "core/cross_section_geometry.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "core/error.hpp"
#include "core/section_shapes.hpp"

namespace marlox::cross_section {

bool number(const Value &object, const char *key, double &out) {
    const Value *value = object.find(key);
    if (value == nullptr || value->type != Value::Type::Number) return false;
    out = value->number;
    return true;
}

bool point(const Value &value, Point &out) {
    if (value.type != Value::Type::Array || value.items.size() != 2) return false;
    const Value &y = value.items[0], &z = value.items[1];
    if (y.type != Value::Type::Number || z.type != Value::Type::Number) return false;
    out = {y.number, z.number};
    return std::isfinite(out.y) && std::isfinite(out.z);
}

namespace {

bool is_arc(const Value &entry) {
    return entry.type == Value::Type::Array && entry.items.size() == 2 &&
           entry.items[0].type == Value::Type::Array;
}

Region region(std::vector<Edge> outline, std::vector<std::vector<Edge>> openings) {
    Region r;
    r.outline_polygon = geometry::polyline(outline, kArcTolerance);
    for (const auto &opening : openings)
        r.opening_polygons.push_back(geometry::polyline(opening, kArcTolerance));
    r.outline = std::move(outline);
    r.openings = std::move(openings);
    return r;
}

// A T of `height` with a flange `width` x `flange` on top of a web `web` wide, centroid on 0.
std::vector<Edge> tee(double height, double width, double flange, double web) {
    const double area_flange = width * flange, area_web = web * (height - flange);
    const double top = (area_flange * flange / 2 + area_web * (flange + (height - flange) / 2)) /
                       (area_flange + area_web);  // centroid below the top
    const double zt = top, zf = top - flange, zb = top - height;
    const double w = width / 2, b = web / 2;
    const Point corners[] = {{-b, zb}, {b, zb},  {b, zf},  {w, zf},
                             {w, zt},  {-w, zt}, {-w, zf}, {-b, zf}};
    std::vector<geometry::Vertex> vertices;
    for (const Point &p : corners) vertices.push_back({p, false, {}});
    return geometry::path(vertices, true);
}

Shape parametric(const Value &cs) {
    Shape s;
    const Value *parameters = cs.find("Parameters");
    if (parameters == nullptr || parameters->type != Value::Type::Object) return s;
    const std::string type = text(cs, "CrossSectionType");
    auto positive = [&](const char *key, double &out) {
        return number(*parameters, key, out) && std::isfinite(out) && out > 0;
    };
    double a, b, c, d;
    if (type == "Rect" && positive("Width", a) && positive("Height", b)) {
        s.regions.push_back(region(geometry::rectangle(a, b), {}));
    } else if (type == "O" && positive("D", a)) {
        s.regions.push_back(region(geometry::circle(a), {}));
    } else if (type == "Tg" && positive("Height", a) && positive("Width", b) &&
               positive("TopFlangeWidth", c) && positive("WallWidth", d) && c < a && d <= b) {
        s.regions.push_back(region(tee(a, b, c, d), {}));
    } else if (std::vector<Edge> edges; shapes::parametric_outline(type, *parameters, edges)) {
        s.regions.push_back(region(std::move(edges), {}));
    } else {
        return s;
    }
    s.known = true;
    return s;
}

Shape components(const Value &cs) {
    Shape s;
    const Value *list = cs.find("Components");
    if (list == nullptr || list->type != Value::Type::Array || list->items.empty()) return s;
    for (const Value &component : list->items) {
        std::vector<geometry::Vertex> outline;
        const Value *value = component.find("Outline");
        if (value == nullptr || !vertices(*value, outline)) return s;
        std::vector<std::vector<Edge>> openings;
        const Value *holes = component.find("Openings");
        if (holes != nullptr && holes->type == Value::Type::Array) {
            for (const Value &hole : holes->items) {
                std::vector<geometry::Vertex> opening;
                if (!vertices(hole, opening)) return s;
                openings.push_back(geometry::path(opening, true));
            }
        }
        s.regions.push_back(region(geometry::path(outline, true), std::move(openings)));
    }
    s.known = true;
    return s;
}

}  // namespace

bool vertices(const Value &value, std::vector<geometry::Vertex> &out) {
    if (value.type != Value::Type::Array) return false;
    out.clear();
    for (const Value &entry : value.items) {
        geometry::Vertex v;
        if (is_arc(entry)) {
            v.arc = true;
            if (!point(entry.items[0], v.point) || !point(entry.items[1], v.on_arc)) return false;
        } else if (!point(entry, v.point)) {
            return false;
        }
        out.push_back(v);
    }
    return true;
}

std::vector<const Value *> objects(const Value &model, const char *list) {
    std::vector<const Value *> out;
    const Value *items = model.find(list);
    if (items == nullptr || items->type != Value::Type::Array) return out;
    for (const Value &pair : items->items)
        if (pair.type == Value::Type::Array && pair.items.size() == 2 &&
            pair.items[1].type == Value::Type::Object)
            out.push_back(&pair.items[1]);
    return out;
}

const Value *find(const Value &model, const char *list, double id) {
    for (const Value *object : objects(model, list)) {
        double own;
        if (number(*object, "Id", own) && own == id) return object;
    }
    return nullptr;
}

bool reference(const Value &object, const char *key, double &id) {
    const Value *value = object.find(key);
    return value != nullptr && value->type == Value::Type::Object && number(*value, "Id", id);
}

std::string text(const Value &object, const char *key) {
    const Value *value = object.find(key);
    return value != nullptr && value->type == Value::Type::String ? value->text : std::string();
}

std::string show(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

Shape shape(const Value &cs) { return cs.find("Components") ? components(cs) : parametric(cs); }

int region_holding(const Shape &shape, Point p) {
    for (size_t i = 0; i < shape.regions.size(); ++i) {
        const Region &r = shape.regions[i];
        bool in = geometry::inside(p, r.outline_polygon) ||
                  geometry::distance(p, r.outline) <= kTolerance;
        for (size_t k = 0; in && k < r.openings.size(); ++k)
            if (geometry::inside(p, r.opening_polygons[k]) &&
                geometry::distance(p, r.openings[k]) > kTolerance)
                in = false;
        if (in) return static_cast<int>(i);
    }
    return -1;
}

double clearance(const Region &region, Point p) {
    double best = geometry::distance(p, region.outline);
    for (const auto &opening : region.openings)
        best = std::min(best, geometry::distance(p, opening));
    return best;
}

// --- drawings -----------------------------------------------------------------------------

namespace {

const char *kLists[] = {"cross_section_list", "reinforced_cross_section_list",
                        "check_section_list"};

std::string label(const Value &object, const char *type_name, const char *name_key) {
    std::string name = text(object, name_key);
    double id = 0;
    number(object, "Id", id);
    return name.empty() ? std::string(type_name) + " " + show(id) : name;
}

void add_object(Drawing &d, const char *type, const Value &object) {
    double id;
    if (number(object, "Id", id)) d.objects.emplace_back(type, id);
}

// The polygon turning anticlockwise (outlines) or clockwise (openings), for filling.
std::vector<Point> oriented(std::vector<Point> polygon, bool anticlockwise) {
    double area = 0;
    for (size_t i = 0; i + 1 < polygon.size(); ++i)
        area += polygon[i].y * polygon[i + 1].z - polygon[i + 1].y * polygon[i].z;
    if ((area > 0) != anticlockwise) std::reverse(polygon.begin(), polygon.end());
    return polygon;
}

void draw_cross_section(Drawing &d, const Value &cs) {
    add_object(d, cs.find("Components") ? "CrossSectionComponent" : "CrossSectionParameter", cs);
    const Shape s = shape(cs);
    if (!s.known) return;
    d.outline_drawn = true;
    for (const Region &r : s.regions) {
        d.outlines.push_back(oriented(r.outline_polygon, true));
        for (const auto &opening : r.opening_polygons)
            d.openings.push_back(oriented(opening, false));
    }
}

void draw_reinforced_section(Drawing &d, const Value &model, const Value &rcs) {
    add_object(d, "ReinforcedCrossSection", rcs);
    double id;
    if (reference(rcs, "CrossSection", id))
        if (const Value *cs = find(model, "cross_section_list", id)) draw_cross_section(d, *cs);
    if (const Value *bars = rcs.find("Bars"); bars && bars->type == Value::Type::Array) {
        for (const Value &bar : bars->items) {
            Drawing::Bar b{};
            const Value *at = bar.find("Point");
            if (at && point(*at, b.centre) && number(bar, "Diameter", b.diameter) &&
                std::isfinite(b.diameter) && b.diameter > 0)
                d.bars.push_back(b);
        }
    }
    if (const Value *stirrups = rcs.find("Stirrups");
        stirrups && stirrups->type == Value::Type::Array) {
        for (const Value &stirrup : stirrups->items) {
            std::vector<geometry::Vertex> path;
            const Value *geometry = stirrup.find("Geometry");
            Drawing::Stirrup s{};
            if (!geometry || !vertices(*geometry, path) || path.empty()) continue;
            s.points = geometry::polyline(geometry::path(path, false), kArcTolerance);
            if (s.points.empty()) s.points.push_back(path[0].point);
            if (!number(stirrup, "Diameter", s.diameter) || !std::isfinite(s.diameter))
                s.diameter = 0;
            d.stirrups.push_back(std::move(s));
        }
    }
}

}  // namespace

Drawing draw(const Value &model, Target target, size_t index) {
    const std::vector<const Value *> list = objects(model, kLists[static_cast<int>(target)]);
    if (index >= list.size()) fail(ErrorKind::Value, "the object is not in the model");
    const Value &object = *list[index];
    Drawing d;
    double id;
    switch (target) {
        case Target::CrossSection:
            draw_cross_section(d, object);
            d.title = label(object, "Cross-section", "Name");
            break;
        case Target::ReinforcedSection:
            draw_reinforced_section(d, model, object);
            d.title = label(object, "Reinforced section", "Name");
            break;
        case Target::CheckSection:
            add_object(d, "StandardCheckSection", object);
            d.title = label(object, "Check section", "Description");
            if (reference(object, "ReinfSection", id))
                if (const Value *rcs = find(model, "reinforced_cross_section_list", id)) {
                    draw_reinforced_section(d, model, *rcs);
                    d.title += " (" + label(*rcs, "Reinforced section", "Name") + ")";
                }
            break;
    }
    return d;
}

}  // namespace marlox::cross_section
