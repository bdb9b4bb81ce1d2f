#include "core/cross_section_geometry.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "core/document_view.hpp"
#include "core/error.hpp"
#include "core/section_shapes.hpp"

namespace marlox::cross_section {

using model_view::Model;

namespace {

bool has(const Object &object, const char *name) { return object.type().index_of(name) >= 0; }

}  // namespace

bool number(const Object &object, const char *name, double &out) {
    model_view::Number n;
    if (!has(object, name) || !object.number(object.field(name), n)) return false;
    out = n.value;
    return true;
}

std::string text(const Object &object, const char *name) {
    return has(object, name) ? object.text(object.field(name)) : std::string();
}

bool reference(const Object &object, const char *name, double &id) {
    model_view::Reference r;
    if (!has(object, name) || !object.reference(object.field(name), r)) return false;
    id = r.id;
    return true;
}

bool near(Point p) { return std::fabs(p.y) <= kFarthest && std::fabs(p.z) <= kFarthest; }

bool vertices(const Object &object, const char *name, std::vector<geometry::Vertex> &out) {
    model_view::Coordinates c;
    if (!has(object, name) || !object.vertices(object.field(name), c) || !c.finite) return false;
    for (const geometry::Vertex &v : c.vertices)
        if (!near(v.point) || (v.arc && !near(v.on_arc))) return false;
    out = std::move(c.vertices);
    return true;
}

std::string show(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

bool find(const Model &model, Model::List list, double id, size_t &index) {
    auto has_id = [&](size_t i) {
        bool same = false;
        model.object(list, i, [&](const Object &o) {
            double own;
            same = number(o, "id", own) && own == id;
        });
        return same;
    };
    const size_t n = model.count(list);
    if (id >= 1 && id <= static_cast<double>(n) && id == std::floor(id) &&
        has_id(static_cast<size_t>(id) - 1)) {
        index = static_cast<size_t>(id) - 1;
        return true;
    }
    for (size_t i = 0; i < n; ++i)
        if (has_id(i)) {
            index = i;
            return true;
        }
    return false;
}

namespace {

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

Shape parametric_of(const Object &cs) {
    if (!has(cs, "parameters")) return Shape{};
    return parametric(text(cs, "cross_section_type"), cs.parameters(cs.field("parameters")));
}

Shape components(const Object &cs) {
    const size_t field = cs.field("components");
    const size_t n = cs.count(field);
    std::vector<Component> parts;
    bool whole = n > 0;
    for (size_t i = 0; i < n && whole; ++i) {
        whole = false;
        cs.object_at(field, i, [&](const Object &component) {
            Component part;
            if (!vertices(component, "outline", part.outline)) return;
            const size_t holes = component.field("openings");
            for (size_t k = 0; k < component.count(holes); ++k) {
                model_view::Coordinates c;
                if (!component.vertices_at(holes, k, c) || !c.finite) return;
                for (const geometry::Vertex &v : c.vertices)
                    if (!near(v.point) || (v.arc && !near(v.on_arc))) return;
                part.openings.push_back(std::move(c.vertices));
            }
            parts.push_back(std::move(part));
            whole = true;
        });
    }
    return whole ? general(parts) : Shape{};
}

}  // namespace

Shape shape(const Object &cs) { return has(cs, "components") ? components(cs) : parametric_of(cs); }

// The shape of a parametric section, by its type: the one place that knows the types' shapes.
Shape parametric(const std::string &type,
                 const std::vector<std::pair<std::string, model_view::Number>> &parameters) {
    Shape s;
    auto positive = [&](const char *key, double &out) {
        for (const auto &[name, value] : parameters)
            if (name == key) {
                out = value.value;
                return std::isfinite(out) && out > 0 && out <= kFarthest;
            }
        return false;
    };
    auto within = [&] {  // no parameter beyond any section's size
        for (const auto &parameter : parameters)
            if (!(std::fabs(parameter.second.value) <= kFarthest)) return false;
        return true;
    };
    double a, b, c, d;
    if (type == "Rect" && positive("Width", a) && positive("Height", b)) {
        s.regions.push_back(region(geometry::rectangle(a, b), {}));
    } else if (type == "O" && positive("D", a)) {
        s.regions.push_back(region(geometry::circle(a), {}));
    } else if (type == "Tg" && positive("Height", a) && positive("Width", b) &&
               positive("TopFlangeWidth", c) && positive("WallWidth", d) && c < a && d <= b) {
        s.regions.push_back(region(tee(a, b, c, d), {}));
    } else if (std::vector<Edge> edges;
               within() && shapes::parametric_outline(type, parameters, edges)) {
        s.regions.push_back(region(std::move(edges), {}));
    } else {
        return s;
    }
    s.known = true;
    return s;
}

Shape general(const std::vector<Component> &components) {
    Shape s;
    if (components.empty()) return s;
    for (const Component &part : components) {
        std::vector<std::vector<Edge>> openings;
        for (const auto &opening : part.openings) openings.push_back(geometry::path(opening, true));
        s.regions.push_back(region(geometry::path(part.outline, true), std::move(openings)));
    }
    s.known = true;
    return s;
}

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

double area(const std::vector<Point> &polygon) {
    double twice = 0;
    for (size_t i = 0; i + 1 < polygon.size(); ++i)
        twice += polygon[i].y * polygon[i + 1].z - polygon[i + 1].y * polygon[i].z;
    return std::fabs(twice) / 2;
}

// --- drawings -----------------------------------------------------------------------------

namespace {

constexpr Model::List kLists[] = {Model::CrossSection, Model::ReinforcedCrossSection,
                                  Model::CheckSection};

std::string label(const Object &object, const char *type_name, const char *name_field) {
    std::string name = text(object, name_field);
    double id = 0;
    number(object, "id", id);
    return name.empty() ? std::string(type_name) + " " + show(id) : name;
}

void add_object(Drawing &d, const Object &object, Model::List list, size_t index) {
    double id;
    if (number(object, "id", id)) d.objects.emplace_back(object.type().name, id);
    d.places.emplace_back(list, index);
}

// The polygon turning anticlockwise (outlines) or clockwise (openings), for filling.
std::vector<Point> oriented(std::vector<Point> polygon, bool anticlockwise) {
    double area = 0;
    for (size_t i = 0; i + 1 < polygon.size(); ++i)
        area += polygon[i].y * polygon[i + 1].z - polygon[i + 1].y * polygon[i].z;
    if ((area > 0) != anticlockwise) std::reverse(polygon.begin(), polygon.end());
    return polygon;
}

void draw_cross_section(Drawing &d, const Object &cs, size_t index) {
    add_object(d, cs, Model::CrossSection, index);
    const Shape s = shape(cs);
    if (!s.known) return;
    d.outline_drawn = true;
    for (const Region &r : s.regions) {
        d.outlines.push_back(oriented(r.outline_polygon, true));
        for (const auto &opening : r.opening_polygons)
            d.openings.push_back(oriented(opening, false));
    }
}

void draw_reinforced_section(Drawing &d, const Model &model, const Object &rcs, size_t index) {
    add_object(d, rcs, Model::ReinforcedCrossSection, index);
    double id;
    size_t at;
    if (reference(rcs, "cross_section", id) && find(model, Model::CrossSection, id, at))
        model.object(Model::CrossSection, at,
                     [&](const Object &cs) { draw_cross_section(d, cs, at); });
    const size_t bars = rcs.field("bars");
    for (size_t i = 0; i < rcs.count(bars); ++i) {
        rcs.object_at(bars, i, [&](const Object &bar) {
            model_view::Coordinates centre;
            Drawing::Bar b{};
            if (!bar.vertices(bar.field("coordinates"), centre) || !centre.finite ||
                centre.vertices.size() != 1 || !number(bar, "diameter", b.diameter) ||
                !std::isfinite(b.diameter) || b.diameter <= 0)
                return;
            b.centre = centre.vertices[0].point;
            if (near(b.centre) && b.diameter <= kFarthest)
                d.bars.push_back(b);
            else
                ++d.too_far;
        });
    }
    const size_t stirrups = rcs.field("stirrups");
    for (size_t i = 0; i < rcs.count(stirrups); ++i) {
        rcs.object_at(stirrups, i, [&](const Object &stirrup) {
            model_view::Coordinates c;
            const size_t field = stirrup.field("points");
            if (!stirrup.vertices(field, c) || !c.finite || c.vertices.empty()) return;
            std::vector<geometry::Vertex> path;
            if (!vertices(stirrup, "points", path)) {
                ++d.too_far;
                return;
            }
            Drawing::Stirrup s{};
            s.points = geometry::polyline(geometry::path(path, false), kArcTolerance);
            if (s.points.empty()) s.points.push_back(path[0].point);
            if (!number(stirrup, "diameter", s.diameter) || !std::isfinite(s.diameter))
                s.diameter = 0;
            d.stirrups.push_back(std::move(s));
        });
    }
}

}  // namespace

Drawing draw(const Model &model, Target target, size_t index) {
    const Model::List list = kLists[static_cast<int>(target)];
    if (index >= model.count(list)) fail(ErrorKind::Value, "the object is not in the model");
    Drawing d;
    model.object(list, index, [&](const Object &object) {
        double id;
        size_t at;
        switch (target) {
            case Target::CrossSection:
                draw_cross_section(d, object, index);
                d.title = label(object, "Cross-section", "name");
                break;
            case Target::ReinforcedSection:
                draw_reinforced_section(d, model, object, index);
                d.title = label(object, "Reinforced section", "name");
                break;
            case Target::CheckSection:
                add_object(d, object, Model::CheckSection, index);
                d.title = label(object, "Check section", "description");
                if (reference(object, "reinf_section", id) &&
                    find(model, Model::ReinforcedCrossSection, id, at))
                    model.object(Model::ReinforcedCrossSection, at, [&](const Object &rcs) {
                        draw_reinforced_section(d, model, rcs, at);
                        d.title += " (" + label(rcs, "Reinforced section", "name") + ")";
                    });
                break;
        }
    });
    return d;
}

// --- the serialised document ---------------------------------------------------------------

bool number(const json::Value &object, const char *key, double &out) {
    const json::Value *value = object.find(key);
    if (value == nullptr || value->type != json::Value::Type::Number) return false;
    out = value->number;
    return true;
}

std::string text(const json::Value &object, const char *key) {
    const json::Value *value = object.find(key);
    return value != nullptr && value->type == json::Value::Type::String ? value->text
                                                                        : std::string();
}

bool reference(const json::Value &object, const char *key, double &id) {
    const json::Value *value = object.find(key);
    return value != nullptr && value->type == json::Value::Type::Object && number(*value, "Id", id);
}

std::vector<const json::Value *> objects(const json::Value &model, const char *list) {
    std::vector<const json::Value *> out;
    const json::Value *items = model.find(list);
    if (items == nullptr || items->type != json::Value::Type::Array) return out;
    for (const json::Value &pair : items->items)
        if (pair.type == json::Value::Type::Array && pair.items.size() == 2 &&
            pair.items[1].type == json::Value::Type::Object)
            out.push_back(&pair.items[1]);
    return out;
}

const json::Value *find(const json::Value &model, const char *list, double id) {
    for (const json::Value *object : objects(model, list)) {
        double own;
        if (number(*object, "Id", own) && own == id) return object;
    }
    return nullptr;
}

Shape shape(const json::Value &cs) {
    const schema::Type *type = schema::find_type(
        cs.find("Components") != nullptr ? "CrossSectionComponent" : "CrossSectionParameter");
    return type != nullptr ? shape(model_view::DocumentObject(*type, cs)) : Shape{};
}

Drawing draw(const json::Value &model, Target target, size_t index) {
    return draw(model_view::DocumentModel(model), target, index);
}

}  // namespace marlox::cross_section
