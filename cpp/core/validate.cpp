#include "core/validate.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>

#include "core/cross_section_geometry.hpp"
#include "core/schema.hpp"
#include "core/section_shapes.hpp"

namespace marlox::validate {

namespace {

using cross_section::kTolerance;
using cross_section::number;
using cross_section::show;
using geometry::Point;
using json::Value;
using schema::Field;
using schema::Kind;

constexpr const char *kLists[][2] = {
    {"mat_concrete_list", "MatConcrete"},
    {"mat_reinforcement_list", "MatReinforcement"},
    {"cross_section_list", "CrossSection"},
    {"reinforced_cross_section_list", "ReinforcedCrossSection"},
    {"check_member_list", "CheckMember"},
    {"check_section_list", "CheckSection"},
    {"attribute_list", nullptr},
};

// Shape parameters that are a section's main dimensions: zero is as wrong as negative. Others
// (haunches, chamfers) may be zero.
bool main_dimension(std::string_view name) {
    static const char *names[] = {"D", "Width", "Height", "H", "TopFlangeWidth", "WallWidth"};
    for (const char *n : names)
        if (name == n) return true;
    return false;
}

// A length for a message: metres rounded to the micrometre.
std::string metres(double value) { return show(std::round(value * 1e6) / 1e6); }
std::string millimetres(double value) { return show(std::round(value * 1e5) / 1e2 + 0.0) + " mm"; }
std::string at(Point p) { return "(" + metres(p.y) + ", " + metres(p.z) + ") m"; }

// A field's description for a message: its documentation without the final full stop.
std::string what(const Field &field) {
    std::string doc = field.doc;
    if (!doc.empty() && doc.back() == '.') doc.pop_back();
    const size_t cut = doc.find("; ");
    return cut == std::string::npos ? doc : doc.substr(0, cut);
}

struct Context {
    std::string type;
    bool has_id = false;
    double id = 0;
    std::string name;
};

class Checker {
  public:
    explicit Checker(const Value &model) : model_(model) {
        for (const auto &[list, list_type] : kLists) {
            auto &ids = index_[list];
            for (const Value *object : cross_section::objects(model, list)) {
                double id;
                if (number(*object, "Id", id)) ids.emplace(id, object);
            }
        }
    }

    std::vector<Finding> run() {
        for (const auto &[list, list_type] : kLists) {
            const Value *items = model_.find(list);
            if (items == nullptr || items->type != Value::Type::Array) continue;
            for (const Value &pair : items->items) {
                if (pair.type != Value::Type::Array || pair.items.size() != 2 ||
                    pair.items[0].type != Value::Type::String)
                    continue;
                const schema::Type *type = schema::find_type(pair.items[0].text);
                const Value &object = pair.items[1];
                if (type == nullptr || object.type != Value::Type::Object) continue;
                const Context context = context_of(*type, object);
                values(context, *type, object, "");
                if (std::string_view(type->name) == "CrossSectionComponent" ||
                    std::string_view(type->name) == "CrossSectionParameter")
                    cross_section(context, object);
                else if (std::string_view(type->name) == "ReinforcedCrossSection")
                    reinforced_section(context, object);
                else if (schema::derives_from(*type, "CheckSection"))
                    check_section(context, object);
            }
        }
        for (const char *key : {"project_data", "code_settings"}) {
            const Value *object = model_.find(key);
            const schema::Type *type =
                schema::find_type(key[0] == 'p' ? "ProjectData" : "CodeSettings");
            if (object != nullptr && object->type == Value::Type::Object)
                values({type->name, false, 0, ""}, *type, *object, "");
        }
        return std::move(out_);
    }

  private:
    // The object of a list with the id, or nullptr: the first one, as a reference finds it.
    const Value *lookup(const char *list, double id) const {
        const auto &ids = index_.at(list);
        const auto it = ids.find(id);
        return it == ids.end() ? nullptr : it->second;
    }

    Context context_of(const schema::Type &type, const Value &object) const {
        Context c{type.name, false, 0, cross_section::text(object, "Name")};
        if (c.name.empty()) c.name = cross_section::text(object, "Description");
        c.has_id = number(object, "Id", c.id);
        double member;
        if (std::string_view(type.name) == "ConcreteMemberDataEc2" &&
            cross_section::reference(object, "Element", member)) {
            c.has_id = true;
            c.id = member;
            if (const Value *m = lookup("check_member_list", member))
                c.name = cross_section::text(*m, "Name");
        }
        return c;
    }

    void add(Severity severity, const Context &c, const std::string &field,
             const std::string &message, const Point *where = nullptr) {
        Finding f{severity, c.type, c.has_id, c.id, c.name, field, message, false, {}};
        if (where != nullptr) {
            f.located = true;
            f.at = *where;
        }
        out_.push_back(std::move(f));
    }

    void error(const Context &c, const std::string &field, const std::string &message,
               const Point *where = nullptr) {
        add(Severity::Error, c, field, message, where);
    }

    // --- values and references, by the vocabulary's tables --------------------------------

    void values(const Context &c, const schema::Type &type, const Value &object,
                const std::string &prefix) {
        for (const Field &field : type.fields) {
            const Value *value = object.find(field.key);
            if (value == nullptr || value->is_null()) continue;
            const std::string name = prefix + field.name;
            switch (field.kind) {
                case Kind::Number:
                case Kind::Int:
                    if (value->type == Value::Type::Number) number_value(c, field, name, *value);
                    break;
                case Kind::Reference:
                    reference_value(c, field, name, *value);
                    break;
                case Kind::Object:
                    if (const schema::Type *inner = schema::find_type(field.type);
                        inner && value->type == Value::Type::Object)
                        values(c, *inner, *value, name + ".");
                    break;
                case Kind::ObjectList:
                    if (const schema::Type *inner = schema::find_type(field.type);
                        inner && value->type == Value::Type::Array)
                        for (size_t i = 0; i < value->items.size(); ++i)
                            if (value->items[i].type == Value::Type::Object)
                                values(c, *inner, value->items[i],
                                       name + "[" + std::to_string(i) + "].");
                    break;
                case Kind::Parameters:
                    for (const auto &[key, number] : value->members)
                        parameter(c, name + "['" + key + "']", key, number);
                    break;
                case Kind::Point:
                case Kind::Polyline:
                case Kind::Polylines:
                    coordinates(c, name, *value);
                    break;
                default:
                    break;
            }
        }
    }

    void number_value(const Context &c, const Field &field, const std::string &name,
                      const Value &value) {
        const double x = value.number;
        const std::string key = field.key;
        const std::string shown = std::isfinite(x) ? value.text : show(x);  // as Python wrote it
        if (!std::isfinite(x)) {
            error(c, name, what(field) + " is " + shown + ", not a finite number.");
        } else if (key == "Poisson") {
            if (x < 0 || x >= 0.5)
                error(c, name, "Poisson's ratio must lie in [0, 0.5), but it is " + shown + ".");
        } else if (key == "RelativeHumidity") {
            if (x <= 0 || x > 100)
                error(c, name,
                      "The relative humidity is in per cent and must be above 0 and at most 100, "
                      "but it is " +
                          shown + ".");
        } else if (field.has(schema::Positive) && x <= 0) {
            error(c, name, what(field) + " must be greater than zero, but it is " + shown + ".");
        } else if (field.has(schema::NonNegative) && x < 0) {
            error(c, name, what(field) + " must not be negative, but it is " + shown + ".");
        }
    }

    void parameter(const Context &c, const std::string &name, const std::string &key,
                   const Value &value) {
        if (value.type != Value::Type::Number) return;
        const double x = value.number;
        const std::string shown = std::isfinite(x) ? value.text : show(x);
        const std::string label = "The shape parameter " + key + " [m]";
        if (!std::isfinite(x))
            error(c, name, label + " is " + shown + ", not a finite number.");
        else if (x < 0 || (x == 0 && main_dimension(key)))
            error(c, name, label + " must be greater than zero, but it is " + shown + ".");
    }

    void coordinates(const Context &c, const std::string &name, const Value &value) {
        if (value.type == Value::Type::Number) {
            if (!std::isfinite(value.number))
                error(c, name, "A coordinate is " + show(value.number) + ", not a finite number.");
            return;
        }
        for (const Value &item : value.items) {
            const size_t before = out_.size();
            coordinates(c, name, item);
            if (out_.size() != before) return;  // one finding per polyline
        }
    }

    void reference_value(const Context &c, const Field &field, const std::string &name,
                         const Value &value) {
        double id;
        if (value.type != Value::Type::Object || !number(value, "Id", id)) return;
        std::string target = cross_section::text(value, "TypeName");
        if (target.empty()) target = field.type;
        for (const auto &[list, list_type] : kLists) {
            if (list_type == nullptr || target != list_type) continue;
            if (lookup(list, id) == nullptr)
                error(c, name,
                      "It refers to " + target + " " + show(id) + ", which is not in the model.");
            return;
        }
    }

    // --- geometry ----------------------------------------------------------------------

    // Whether the polyline `value` (the field `name`) encloses an area and does not cross
    // itself, with its points in `polygon`; otherwise a finding that names it as `what`.
    bool ring(const Context &c, const std::string &name, const Value &value,
              std::vector<Point> &polygon, const char *what) {
        std::vector<geometry::Vertex> vertices;
        if (!cross_section::vertices(value, vertices)) return false;  // reported with the values
        size_t count = vertices.size();
        if (count > 1 && !vertices.back().arc &&
            vertices.back().point.y == vertices.front().point.y &&
            vertices.back().point.z == vertices.front().point.z)
            --count;  // given closed
        if (count < 3) {
            error(c, name,
                  std::string("The ") + what + " has " + std::to_string(count) +
                      (count == 1 ? " point" : " points") +
                      "; it needs at least three to enclose an area.");
            return false;
        }
        polygon = geometry::polyline(geometry::path(vertices, true), cross_section::kArcTolerance);
        Point where;
        if (geometry::self_intersects(polygon, kTolerance, where)) {
            error(c, name,
                  std::string("The ") + what + " crosses or touches itself near " + at(where) + ".",
                  &where);
            return false;
        }
        return true;
    }

    void cross_section(const Context &c, const Value &cs) {
        const Value *components = cs.find("Components");
        if (components == nullptr) {
            tee_proportions(c, cs);
            std::string parameter, message;
            if (const Value *p = cs.find("Parameters");
                p && shapes::parametric_fault(cross_section::text(cs, "CrossSectionType"), *p,
                                              parameter, message))
                error(c, "parameters['" + parameter + "']",
                      "The shape cannot be formed: " + message + ".");
            return;
        }
        if (components->type != Value::Type::Array) return;
        if (components->items.empty())
            error(c, "components", "The cross-section has no component: it has no concrete.");
        for (size_t i = 0; i < components->items.size(); ++i) {
            const Value &component = components->items[i];
            const std::string name = "components[" + std::to_string(i) + "]";
            const Value *outline = component.find("Outline");
            std::vector<Point> border;
            const bool closed = outline && ring(c, name + ".outline", *outline, border, "outline");
            const Value *openings = component.find("Openings");
            if (openings == nullptr || openings->type != Value::Type::Array) continue;
            for (size_t k = 0; k < openings->items.size(); ++k) {
                const std::string where = name + ".openings[" + std::to_string(k) + "]";
                std::vector<Point> hole;
                if (ring(c, where, openings->items[k], hole, "opening") && closed)
                    opening_inside(c, where, hole, border);
            }
        }
    }

    void opening_inside(const Context &c, const std::string &name, const std::vector<Point> &hole,
                        const std::vector<Point> &border) {
        size_t first = hole.size();
        for (size_t i = 0; i + 1 < hole.size() && first == hole.size(); ++i) {
            const Point p = hole[i];
            double d = INFINITY;
            for (size_t j = 0; !geometry::inside(p, border) && j + 1 < border.size(); ++j)
                d = std::min(d, geometry::distance(p, p, border[j], border[j + 1]));
            if (d != INFINITY && d > kTolerance) first = i;
        }
        geometry::near_segments(hole, border, 0.0, [&](size_t i, size_t j) {
            if (i < first && geometry::cross(hole[i], hole[i + 1], border[j], border[j + 1]))
                first = i;
            return false;
        });
        if (first < hole.size()) {
            const Point p = hole[first];
            error(c, name, "The opening reaches outside its outline near " + at(p) + ".", &p);
        }
    }

    void tee_proportions(const Context &c, const Value &cs) {
        const Value *p = cs.find("Parameters");
        double height, width, flange, web;
        if (cross_section::text(cs, "CrossSectionType") != "Tg" || p == nullptr ||
            !number(*p, "Height", height) || !number(*p, "Width", width) ||
            !number(*p, "TopFlangeWidth", flange) || !number(*p, "WallWidth", web))
            return;
        if (flange >= height)
            error(c, "parameters['TopFlangeWidth']",
                  "The flange (TopFlangeWidth " + show(flange) +
                      " m, its thickness) must be thinner than the section is high (Height " +
                      show(height) + " m).");
        if (web > width)
            error(c, "parameters['WallWidth']",
                  "The web (WallWidth " + show(web) +
                      " m) must not be wider than the flange (Width " + show(width) + " m).");
    }

    void reinforced_section(const Context &c, const Value &rcs) {
        cross_section::Shape shape;
        double id;
        if (cross_section::reference(rcs, "CrossSection", id))
            if (const Value *cs = lookup("cross_section_list", id))
                shape = cross_section::shape(*cs);
        bars(c, rcs, shape);
        stirrups(c, rcs, shape);
    }

    struct Bar {
        size_t index;
        Point centre;
        double radius;
    };

    void bars(const Context &c, const Value &rcs, const cross_section::Shape &shape) {
        const Value *list = rcs.find("Bars");
        if (list == nullptr || list->type != Value::Type::Array) return;
        std::vector<Bar> placed;
        for (size_t i = 0; i < list->items.size(); ++i) {
            const Value &item = list->items[i];
            const Value *point = item.find("Point");
            Point centre;
            double diameter;
            if (point == nullptr || !cross_section::point(*point, centre) ||
                !number(item, "Diameter", diameter) || !std::isfinite(diameter) || diameter <= 0)
                continue;
            const Bar bar{i, centre, diameter / 2};
            placed.push_back(bar);
            if (shape.known) bar_in_concrete(c, bar, shape);
        }
        overlaps(c, placed);
    }

    void bar_in_concrete(const Context &c, const Bar &bar, const cross_section::Shape &shape) {
        const std::string name = "bars[" + std::to_string(bar.index) + "]";
        const std::string bar_text =
            "The bar of " + millimetres(2 * bar.radius) + " at " + at(bar.centre);
        const Point p = bar.centre;
        if (shape.regions.size() != 1) {
            if (cross_section::region_holding(shape, p) < 0)
                error(c, name, bar_text + " lies outside the concrete.", &p);
            return;
        }
        const cross_section::Region &r = shape.regions[0];
        if (!geometry::inside(p, r.outline_polygon) &&
            geometry::distance(p, r.outline) > kTolerance) {
            error(c, name, bar_text + " lies outside the concrete outline.", &p);
            return;
        }
        for (size_t k = 0; k < r.openings.size(); ++k) {
            if (geometry::inside(p, r.opening_polygons[k]) &&
                geometry::distance(p, r.openings[k]) > kTolerance) {
                error(c, name, bar_text + " lies inside opening " + std::to_string(k) + ".", &p);
                return;
            }
        }
        const double clear = cross_section::clearance(r, p);
        if (clear < bar.radius - kTolerance) {
            error(c, name,
                  bar_text + " reaches " + millimetres(bar.radius - clear) +
                      " beyond the concrete edge.",
                  &p);
        } else if (clear - bar.radius < 2 * bar.radius - kTolerance) {
            add(Severity::Warning, c, name,
                bar_text + " has a concrete cover of " + millimetres(clear - bar.radius) +
                    ", less than its diameter.",
                &p);
        }
    }

    void overlaps(const Context &c, std::vector<Bar> &bars) {
        std::sort(bars.begin(), bars.end(),
                  [](const Bar &a, const Bar &b) { return a.centre.y < b.centre.y; });
        double widest = 0;
        for (const Bar &b : bars) widest = std::max(widest, b.radius);
        std::set<std::pair<size_t, size_t>> pairs;
        for (size_t i = 0; i < bars.size(); ++i) {
            for (size_t j = i + 1; j < bars.size(); ++j) {
                const Bar &a = bars[i], &b = bars[j];
                if (b.centre.y - a.centre.y >= a.radius + widest) break;
                const double apart = geometry::distance(a.centre, b.centre);
                if (apart < a.radius + b.radius - kTolerance)
                    pairs.insert(std::minmax(a.index, b.index));
            }
        }
        for (const auto &[first, second] : pairs) {
            auto bar = [&](size_t index) {
                return *std::find_if(bars.begin(), bars.end(),
                                     [&](const Bar &b) { return b.index == index; });
            };
            const Bar a = bar(first), b = bar(second);
            error(c, "bars[" + std::to_string(first) + "]",
                  "The bar at " + at(a.centre) + " overlaps bars[" + std::to_string(second) +
                      "] at " + at(b.centre) + ": their centres are " +
                      millimetres(geometry::distance(a.centre, b.centre)) + " apart.",
                  &a.centre);
        }
    }

    void stirrups(const Context &c, const Value &rcs, const cross_section::Shape &shape) {
        const Value *list = rcs.find("Stirrups");
        if (list == nullptr || list->type != Value::Type::Array) return;
        for (size_t i = 0; i < list->items.size(); ++i) {
            const Value &item = list->items[i];
            const std::string name = "stirrups[" + std::to_string(i) + "]";
            const Value *geometry = item.find("Geometry");
            std::vector<geometry::Vertex> vertices;
            if (geometry == nullptr || !cross_section::vertices(*geometry, vertices)) continue;
            const std::vector<geometry::Edge> path = geometry::path(vertices, false);
            if (path.empty()) {
                error(c, name, "The stirrup has no length: it needs at least two points.");
                continue;
            }
            const Value *torsion = item.find("TorsionCheck");
            const bool closed = geometry::distance(path.front().a, path.back().b) == 0;
            if (torsion && torsion->type == Value::Type::Bool && torsion->boolean && !closed)
                add(Severity::Warning, c, name,
                    "The stirrup counts in the torsion check but is not closed: it should end "
                    "where it starts.");
            double diameter;
            if (shape.known && shape.regions.size() == 1 && number(item, "Diameter", diameter) &&
                std::isfinite(diameter) && diameter > 0)
                stirrup_in_concrete(c, name, path, diameter / 2, shape.regions[0]);
        }
    }

    void stirrup_in_concrete(const Context &c, const std::string &name,
                             const std::vector<geometry::Edge> &path, double radius,
                             const cross_section::Region &r) {
        const std::vector<Point> points = geometry::polyline(path, cross_section::kArcTolerance);
        // A path that starts in the concrete and never comes near its edges stays inside.
        size_t first = points.size();
        const Point start = points[0];
        bool out = !geometry::inside(start, r.outline_polygon) &&
                   geometry::distance(start, r.outline) > kTolerance;
        for (size_t k = 0; !out && k < r.openings.size(); ++k)
            out = geometry::inside(start, r.opening_polygons[k]) &&
                  geometry::distance(start, r.openings[k]) > kTolerance;
        if (out) first = 0;
        // Arcs as polylines stray up to the arc tolerance from the true curves.
        const double reach = radius - 2 * cross_section::kArcTolerance - kTolerance;
        std::vector<const std::vector<Point> *> borders{&r.outline_polygon};
        for (const auto &opening : r.opening_polygons) borders.push_back(&opening);
        for (const auto *border : borders)
            geometry::near_segments(points, *border, radius, [&](size_t i, size_t j) {
                const Point a = points[i], b = points[i + 1], p = (*border)[j],
                            q = (*border)[j + 1];
                if (i < first &&
                    (geometry::cross(a, b, p, q) || geometry::distance(a, b, p, q) < reach))
                    first = i;
                return false;
            });
        if (first < points.size()) {
            const Point p = points[first];
            error(c, name,
                  "The stirrup of " + millimetres(2 * radius) + " leaves the concrete near " +
                      at(p) + ".",
                  &p);
        }
    }

    void check_section(const Context &c, const Value &cs) {
        const Value *extremes = cs.find("Extremes");
        if (extremes == nullptr || extremes->type != Value::Type::Array) return;
        if (extremes->items.empty())
            error(c, "extremes",
                  "The check section has no extremes: IDEA StatiCa RCS has no load to check it "
                  "for.");
        static const char *loadings[] = {"Fundamental",    "Accidental", "Characteristic",
                                         "QuasiPermanent", "Frequent",   "Fatigue"};
        for (size_t i = 0; i < extremes->items.size(); ++i) {
            const Value &extreme = extremes->items[i];
            bool any = false;
            for (const char *key : loadings) {
                const Value *loading = extreme.find(key);
                any = any || (loading != nullptr && !loading->is_null());
            }
            if (!any)
                error(c, "extremes[" + std::to_string(i) + "]",
                      "The extreme '" + cross_section::text(extreme, "Description") +
                          "' has no loading.");
        }
    }

    const Value &model_;
    std::map<std::string, std::unordered_map<double, const Value *>> index_;
    std::vector<Finding> out_;
};

}  // namespace

std::vector<Finding> check(const json::Value &model) { return Checker(model).run(); }

}  // namespace marlox::validate
