#include "core/validate.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <unordered_map>

#include "core/cross_section_geometry.hpp"
#include "core/schema.hpp"
#include "core/section_shapes.hpp"

namespace marlox::validate {

namespace {

using cross_section::kFarthest;
using cross_section::kTolerance;
using cross_section::number;
using cross_section::show;
using cross_section::text;
using geometry::Point;
using model_view::Model;
using model_view::Number;
using model_view::Object;
using schema::Field;
using schema::Kind;

// The list type each list holds; member data have no ids and are never referred to.
constexpr const char *kListTypes[Model::kLists] = {
    "MatConcrete", "MatReinforcement", "CrossSection", "ReinforcedCrossSection",
    "CheckMember", "CheckSection",     nullptr};

// Shape parameters that are a section's main dimensions: zero is as wrong as negative. Others
// (haunches, chamfers) may be zero.
bool main_dimension(std::string_view name) {
    static const char *names[] = {"D", "Width", "Height", "H", "TopFlangeWidth", "WallWidth"};
    for (const char *n : names)
        if (name == n) return true;
    return false;
}

// Lengths beyond this [m] are no cross-section's in metres: most likely millimetres.
constexpr double kLongest = 50.0;
// Bar and stirrup diameters beyond this [m] (100 mm) are most likely millimetres.
constexpr double kThickest = 0.1;
// The least clear spacing of bars, whatever their diameter and aggregate (Eurocode 2, 8.2).
constexpr double kLeastSpacing = 0.020;

// A length for a message: metres rounded to the micrometre.
std::string metres(double value) { return show(std::round(value * 1e6) / 1e6); }
std::string millimetres(double value) { return show(std::round(value * 1e5) / 1e2 + 0.0) + " mm"; }
std::string at(Point p) { return "(" + metres(p.y) + ", " + metres(p.z) + ") m"; }
std::string index(const char *name, size_t i) {
    return std::string(name) + "[" + std::to_string(i) + "]";
}

// A field's description for a message: its documentation without the final full stop.
std::string what(const Field &field) {
    std::string doc = field.doc;
    if (!doc.empty() && doc.back() == '.') doc.pop_back();
    const size_t cut = doc.find("; ");
    return cut == std::string::npos ? doc : doc.substr(0, cut);
}

// The object that findings concern, read for its type, id and name only when there is one.
struct Context {
    const Object *object = nullptr;  // nullptr: project data or code settings, by type alone
    const char *type = "";
};

// Where in an object a value lies ("bars[2]." of "bars[2].diameter"), made into text only for a
// finding.
struct Path {
    const Path *parent = nullptr;
    const char *name = nullptr;
    long index = -1;  // the entry of a list, or -1

    std::string text() const {
        std::string out = parent != nullptr ? parent->text() : std::string();
        if (name == nullptr) return out;
        out += name;
        if (index >= 0) out += "[" + std::to_string(index) + "]";
        return out + ".";
    }
};

struct Bar {
    size_t index;
    Point centre;
    double radius;
};

class Checker {
  public:
    // `whole`: every object will be checked, so the ids of every list are indexed once;
    // otherwise references are looked up one by one.
    Checker(const Model &model, bool whole) : model_(model), whole_(whole) {
        if (!whole) return;
        for (size_t list = 0; list < Model::kLists; ++list) {
            if (kListTypes[list] == nullptr) continue;
            auto &ids = index_[list];
            const Model::List l = static_cast<Model::List>(list);
            bool dense = true;  // ids 1, 2, 3, ... in list order, as the model gives them
            for (size_t i = 0; i < model.count(l); ++i)
                model.object(l, i, [&](const Object &o) {
                    double id;
                    if (!number(o, "id", id)) {
                        dense = false;
                        return;
                    }
                    dense = dense && id == static_cast<double>(i + 1);
                    ids.emplace(id, i);
                });
            dense_[list] = dense;
            if (dense) ids.clear();
        }
    }

    void object(Model::List list, size_t i) {
        model_.object(list, i, [&](const Object &o) {
            const Context context{&o, o.type().name};
            values(context, o, Path{});
            const std::string_view type = o.type().name;
            if (type == "CrossSectionComponent" || type == "CrossSectionParameter")
                cross_section(context, o);
            else if (type == "ReinforcedCrossSection")
                reinforced_section(context, o);
            else if (o.type().base != nullptr && std::string_view(o.type().base) == "CheckSection")
                check_section(context, o);
        });
    }

    void settings() {
        auto whole = [&](const Object &o) { values({nullptr, o.type().name}, o, Path{}); };
        model_.project_data(whole);
        model_.code_settings(whole);
    }

    std::vector<Finding> take() { return std::move(out_); }

  private:
    // The entry of a list with the id: the first one, as a reference finds it.
    bool lookup(Model::List list, double id, size_t &at) const {
        if (!whole_) return cross_section::find(model_, list, id, at);
        if (dense_[list]) {
            if (!(id >= 1 && id <= static_cast<double>(model_.count(list))) || id != std::floor(id))
                return false;
            at = static_cast<size_t>(id) - 1;
            return true;
        }
        const auto &ids = index_[list];
        const auto it = ids.find(id);
        if (it == ids.end()) return false;
        at = it->second;
        return true;
    }

    void add(Severity severity, const Context &c, const std::string &field,
             const std::string &message, const Point *where = nullptr) {
        Finding f{severity, c.type, false, 0, "", field, message, false, {}};
        if (c.object != nullptr) {
            const Object &o = *c.object;
            f.name = text(o, "name");
            if (f.name.empty()) f.name = text(o, "description");
            f.has_id = number(o, "id", f.id);
            double member;
            size_t at;
            if (std::string_view(o.type().name) == "ConcreteMemberDataEc2" &&
                cross_section::reference(o, "member", member)) {
                f.has_id = true;
                f.id = member;
                if (lookup(Model::CheckMember, member, at))
                    model_.object(Model::CheckMember, at,
                                  [&](const Object &m) { f.name = text(m, "name"); });
            }
        }
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

    void warning(const Context &c, const std::string &field, const std::string &message,
                 const Point *where = nullptr) {
        add(Severity::Warning, c, field, message, where);
    }

    // --- values and references, by the vocabulary's tables --------------------------------

    void values(const Context &c, const Object &o, const Path &prefix) {
        const std::vector<Field> &fields = o.type().fields;
        for (size_t i = 0; i < fields.size(); ++i) {
            const Field &field = fields[i];
            if (!o.present(i)) continue;
            switch (field.kind) {
                case Kind::Number:
                case Kind::Int: {
                    Number n;
                    if (o.number(i, n)) number_value(c, field, prefix, n);
                    break;
                }
                case Kind::Reference: {
                    model_view::Reference r;
                    if (o.reference(i, r)) reference_value(c, field, prefix, r);
                    break;
                }
                case Kind::Object:
                    o.object(i, [&](const Object &inner) {
                        values(c, inner, Path{&prefix, field.name, -1});
                    });
                    break;
                case Kind::ObjectList:
                    for (size_t k = 0, n = o.count(i); k < n; ++k)
                        o.object_at(i, k, [&](const Object &inner) {
                            values(c, inner, Path{&prefix, field.name, static_cast<long>(k)});
                        });
                    break;
                case Kind::Parameters:
                    for (const auto &[key, value] : o.parameters(i))
                        parameter(c, prefix.text() + field.name + "['" + key + "']", key, value);
                    break;
                case Kind::Point:
                case Kind::Polyline: {
                    model_view::Coordinates points;
                    if (o.vertices(i, points)) coordinates(c, prefix.text() + field.name, points);
                    break;
                }
                case Kind::Polylines:  // one finding for all of them
                    for (size_t k = 0, n = o.count(i), before = out_.size();
                         k < n && out_.size() == before; ++k) {
                        model_view::Coordinates points;
                        if (o.vertices_at(i, k, points))
                            coordinates(c, prefix.text() + field.name, points);
                    }
                    break;
                default:
                    break;
            }
        }
    }

    void number_value(const Context &c, const Field &field, const Path &prefix,
                      const Number &value) {
        const double x = value.value;
        const std::string_view key = field.key;
        auto name = [&] { return prefix.text() + field.name; };
        auto shown = [&] { return model_view::python_text(value); };
        if (!std::isfinite(x)) {
            error(c, name(), what(field) + " is " + shown() + ", not a finite number.");
        } else if (key == "Poisson") {
            if (x < 0 || x >= 0.5)
                error(c, name(),
                      "Poisson's ratio must lie in [0, 0.5), but it is " + shown() + ".");
        } else if (key == "RelativeHumidity") {
            if (x <= 0 || x > 100)
                error(c, name(),
                      "The relative humidity is in per cent and must be above 0 and at most 100, "
                      "but it is " +
                          shown() + ".");
        } else if (field.has(schema::Positive) && x <= 0) {
            error(c, name(),
                  what(field) + " must be greater than zero, but it is " + shown() + ".");
        } else if (field.has(schema::NonNegative) && x < 0) {
            error(c, name(), what(field) + " must not be negative, but it is " + shown() + ".");
        } else if (key == "Fck" && (x < 1.2e6 || x > 900e6)) {
            // More than ten times off the strengths Eurocode 2 knows: another unit.
            warning(c, name(),
                    what(field) + " is " + shown() +
                        ", far outside the 12 to 90 MPa of Eurocode 2: strengths are given in "
                        "MPa.");
        } else if (key == "Fyk" && (x < 40e6 || x > 6000e6)) {
            warning(c, name(),
                    what(field) + " is " + shown() +
                        ", far outside the 400 to 600 MPa of Eurocode 2: strengths are given in "
                        "MPa.");
        } else if (key == "Diameter" && x > kThickest) {
            warning(c, name(),
                    what(field) + " is " + shown() +
                        ", which looks like millimetres: lengths are given in metres.");
        }
    }

    void parameter(const Context &c, const std::string &name, const std::string &key,
                   const Number &value) {
        const double x = value.value;
        const std::string shown = model_view::python_text(value);
        const std::string label = "The shape parameter " + key + " [m]";
        if (!std::isfinite(x))
            error(c, name, label + " is " + shown + ", not a finite number.");
        else if (x < 0 || (x == 0 && main_dimension(key)))
            error(c, name, label + " must be greater than zero, but it is " + shown + ".");
        else if (x > kFarthest)
            error(c, name, label + " is " + shown + ", far beyond any cross-section.");
        else if (x > kLongest)
            warning(c, name,
                    label + " is " + shown +
                        ", which looks like millimetres: lengths are given in metres.");
    }

    void coordinates(const Context &c, const std::string &name,
                     const model_view::Coordinates &points) {
        if (!points.finite) {
            error(c, name, "A coordinate is " + show(points.bad.value) + ", not a finite number.");
            return;
        }
        for (const geometry::Vertex &v : points.vertices) {
            for (const Point &p : {v.point, v.on_arc}) {
                for (double x : {p.y, p.z}) {
                    if (std::fabs(x) > kFarthest) {
                        error(c, name,
                              "A coordinate is " + show(x) + " m, far beyond any cross-section.");
                        return;
                    }
                }
            }
        }
    }

    void reference_value(const Context &c, const Field &field, const Path &prefix,
                         const model_view::Reference &r) {
        auto name = [&] { return prefix.text() + field.name; };
        if (r.made_from != nullptr && field.type != nullptr) {
            const schema::Type *from = schema::find_type(r.made_from);
            if (from != nullptr && !schema::derives_from(*from, field.type)) {
                error(c, name(),
                      std::string("It was made from a ") + r.made_from + ", but a " + field.type +
                          " is required here.");
                return;
            }
        }
        const std::string_view target = r.type.empty() ? std::string_view(field.type) : r.type;
        for (size_t list = 0; list < Model::kLists; ++list) {
            if (kListTypes[list] == nullptr || target != kListTypes[list]) continue;
            size_t found;
            if (!lookup(static_cast<Model::List>(list), r.id, found))
                error(c, name(),
                      "It refers to " + std::string(target) + " " + show(r.id) +
                          ", which is not in the model.");
            return;
        }
    }

    // --- geometry ----------------------------------------------------------------------

    // Whether the polyline `vertices` (the field `name`) encloses an area and does not cross
    // itself, with its points in `polygon`; otherwise a finding that names it as `what`.
    bool ring(const Context &c, const std::string &name, std::vector<geometry::Vertex> vertices,
              std::vector<Point> &polygon, const char *what) {
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

    void cross_section(const Context &c, const Object &cs) {
        if (cs.type().index_of("components") < 0) {
            tee_proportions(c, cs);
            std::string parameter, message;
            if (cs.type().index_of("parameters") >= 0 &&
                shapes::parametric_fault(text(cs, "cross_section_type"),
                                         cs.parameters(cs.field("parameters")), parameter, message))
                error(c, "parameters['" + parameter + "']",
                      "The shape cannot be formed: " + message + ".");
            return;
        }
        const size_t components = cs.field("components");
        const size_t n = cs.count(components);
        if (n == 0)
            error(c, "components", "The cross-section has no component: it has no concrete.");
        for (size_t i = 0; i < n; ++i)
            cs.object_at(components, i,
                         [&](const Object &component) { this->component(c, i, component); });
    }

    void component(const Context &c, size_t i, const Object &component) {
        const std::string name = index("components", i);
        std::vector<geometry::Vertex> outline;
        std::vector<Point> border;
        const bool closed = cross_section::vertices(component, "outline", outline) &&
                            ring(c, name + ".outline", outline, border, "outline");
        if (closed) {
            double low_y = INFINITY, high_y = -INFINITY, low_z = INFINITY, high_z = -INFINITY;
            for (const Point &p : border) {
                low_y = std::min(low_y, p.y), high_y = std::max(high_y, p.y);
                low_z = std::min(low_z, p.z), high_z = std::max(high_z, p.z);
            }
            const double span = std::max(high_y - low_y, high_z - low_z);
            if (span > kLongest)
                warning(c, name + ".outline",
                        "The outline spans " + metres(span) +
                            " m, which looks like millimetres: lengths are given in metres.");
        }
        const size_t openings = component.field("openings");
        bool whole = closed;  // every opening read, closed and inside: the area can be told
        double holes = 0;
        for (size_t k = 0, n = component.count(openings); k < n; ++k) {
            const std::string where = name + "." + index("openings", k);
            model_view::Coordinates points;
            std::vector<Point> hole;
            bool fine = component.vertices_at(openings, k, points) && points.finite;
            for (const geometry::Vertex &v : points.vertices)
                fine = fine && cross_section::near(v.point) && cross_section::near(v.on_arc);
            fine = fine && ring(c, where, points.vertices, hole, "opening");
            if (fine && closed) fine = opening_inside(c, where, hole, border);
            if (fine) holes += cross_section::area(hole);
            whole = whole && fine;
        }
        const double concrete = whole ? cross_section::area(border) : 0;
        if (whole && concrete - holes <= 1e-9 * concrete)
            error(c, name,
                  "The component has no concrete: its openings take up the whole of its "
                  "outline.");
    }

    // Whether the opening stays inside the outline; a finding at the first vertex or segment
    // that leaves it. Near-linear: vertices on the outline are found by a sweep, segments
    // that cross it likewise, and of the rest only the first vertex of each run between
    // vertices on the outline is tested for containment (a run that does not cross the
    // outline stays on one side of it).
    bool opening_inside(const Context &c, const std::string &name, const std::vector<Point> &hole,
                        const std::vector<Point> &border) {
        const size_t n = hole.size();
        size_t first = n;
        std::vector<char> on_border(n, 0), touches(n, 0);
        geometry::near_segments(hole, border, kTolerance, [&](size_t i, size_t j) {
            const Point p = border[j], q = border[j + 1];
            for (size_t k : {i, i + 1})
                if (!on_border[k] && geometry::distance(hole[k], hole[k], p, q) <= kTolerance)
                    on_border[k] = 1;
            if (geometry::distance(hole[i], hole[i + 1], p, q) <= kTolerance) touches[i] = 1;
            if (i < first && geometry::cross(hole[i], hole[i + 1], p, q)) first = i;
            return false;
        });
        for (size_t i = 0; i + 1 < n && i < first; ++i) {
            const bool starts_run = i == 0 || on_border[i - 1] || touches[i - 1];
            if (starts_run && !on_border[i] && !geometry::inside(hole[i], border)) first = i;
        }
        if (first < n) {
            const Point p = hole[first];
            error(c, name, "The opening reaches outside its outline near " + at(p) + ".", &p);
            return false;
        }
        return true;
    }

    void tee_proportions(const Context &c, const Object &cs) {
        if (text(cs, "cross_section_type") != "Tg") return;
        double height = NAN, width = NAN, flange = NAN, web = NAN;
        for (const auto &[key, value] : cs.parameters(cs.field("parameters"))) {
            if (key == "Height") height = value.value;
            if (key == "Width") width = value.value;
            if (key == "TopFlangeWidth") flange = value.value;
            if (key == "WallWidth") web = value.value;
        }
        if (std::isnan(height) || std::isnan(width) || std::isnan(flange) || std::isnan(web))
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

    void reinforced_section(const Context &c, const Object &rcs) {
        cross_section::Shape shape;
        double aggregate = 0, id, material;
        size_t at;
        if (cross_section::reference(rcs, "cross_section", id) &&
            lookup(Model::CrossSection, id, at))
            model_.object(Model::CrossSection, at, [&](const Object &cs) {
                shape = cross_section::shape(cs);
                bool known = cross_section::reference(cs, "material", material);
                if (!known && cs.type().index_of("components") >= 0 &&
                    cs.count(cs.field("components")) > 0)
                    cs.object_at(cs.field("components"), 0, [&](const Object &component) {
                        known = cross_section::reference(component, "material", material);
                    });
                size_t concrete;
                if (known && lookup(Model::MatConcrete, material, concrete))
                    model_.object(Model::MatConcrete, concrete, [&](const Object &m) {
                        if (!number(m, "stone_diameter", aggregate) || !std::isfinite(aggregate))
                            aggregate = 0;
                    });
            });
        if (rcs.count(rcs.field("bars")) == 0)
            warning(c, "bars", "The reinforced cross-section has no bars.");
        const std::vector<Bar> placed = bars(c, rcs, shape, aggregate);
        stirrups(c, rcs, shape, placed);
    }

    std::vector<Bar> bars(const Context &c, const Object &rcs, const cross_section::Shape &shape,
                          double aggregate) {
        const size_t field = rcs.field("bars");
        std::vector<Bar> placed;
        for (size_t i = 0, n = rcs.count(field); i < n; ++i) {
            rcs.object_at(field, i, [&](const Object &item) {
                std::vector<geometry::Vertex> centre;
                double diameter;
                if (!cross_section::vertices(item, "coordinates", centre) || centre.size() != 1 ||
                    !number(item, "diameter", diameter) || !std::isfinite(diameter) ||
                    diameter <= 0 || diameter > kFarthest)
                    return;
                const Bar bar{i, centre[0].point, diameter / 2};
                placed.push_back(bar);
                if (shape.known) bar_in_concrete(c, bar, shape);
            });
        }
        std::vector<Bar> sorted = placed;
        spacing(c, sorted, aggregate);
        return placed;
    }

    void bar_in_concrete(const Context &c, const Bar &bar, const cross_section::Shape &shape) {
        const std::string name = index("bars", bar.index);
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
            warning(c, name,
                    bar_text + " has a concrete cover of " + millimetres(clear - bar.radius) +
                        ", less than its diameter.",
                    &p);
        }
    }

    // Bars that overlap (an error) or lie closer than Eurocode 2 (8.2) allows: a clear
    // spacing of at least the bar diameter, the aggregate size + 5 mm and 20 mm (a warning).
    void spacing(const Context &c, std::vector<Bar> &bars, double aggregate) {
        std::sort(bars.begin(), bars.end(),
                  [](const Bar &a, const Bar &b) { return a.centre.y < b.centre.y; });
        double widest = 0;
        for (const Bar &b : bars) widest = std::max(widest, b.radius);
        const double floor = std::max(aggregate + 0.005, kLeastSpacing);
        const double reach = std::max(2 * widest, floor);
        std::map<std::pair<size_t, size_t>, double> close;  // pair -> least clear spacing
        for (size_t i = 0; i < bars.size(); ++i) {
            for (size_t j = i + 1; j < bars.size(); ++j) {
                const Bar &a = bars[i], &b = bars[j];
                if (b.centre.y - a.centre.y >= a.radius + widest + reach) break;
                const double least = std::max(2 * std::max(a.radius, b.radius), floor);
                const double clear = geometry::distance(a.centre, b.centre) - a.radius - b.radius;
                if (clear < least - kTolerance) close[std::minmax(a.index, b.index)] = least;
            }
        }
        auto bar = [&](size_t index) {
            return *std::find_if(bars.begin(), bars.end(),
                                 [&](const Bar &b) { return b.index == index; });
        };
        for (const auto &[pair, least] : close) {
            const Bar a = bar(pair.first), b = bar(pair.second);
            const double apart = geometry::distance(a.centre, b.centre);
            const std::string name = index("bars", pair.first);
            const std::string other = index("bars", pair.second) + " at " + at(b.centre);
            if (apart < a.radius + b.radius - kTolerance)
                error(c, name,
                      "The bar at " + at(a.centre) + " overlaps " + other + ": their centres are " +
                          millimetres(apart) + " apart.",
                      &a.centre);
            else
                warning(c, name,
                        "The bar at " + at(a.centre) + " is " +
                            millimetres(apart - a.radius - b.radius) + " clear of " + other +
                            ", less than the " + millimetres(least) +
                            " that Eurocode 2 (8.2) asks: the largest of the bar diameter, the "
                            "aggregate size + 5 mm and 20 mm.",
                        &a.centre);
        }
    }

    void stirrups(const Context &c, const Object &rcs, const cross_section::Shape &shape,
                  const std::vector<Bar> &bars) {
        const size_t field = rcs.field("stirrups");
        struct Leg {
            size_t index;
            std::vector<geometry::Edge> path;
            double radius;
        };
        std::vector<Leg> legs;
        for (size_t i = 0, n = rcs.count(field); i < n; ++i) {
            rcs.object_at(field, i, [&](const Object &item) {
                const std::string name = index("stirrups", i);
                std::vector<geometry::Vertex> vertices;
                if (!cross_section::vertices(item, "points", vertices)) return;
                std::vector<geometry::Edge> path = geometry::path(vertices, false);
                if (path.empty()) {
                    error(c, name, "The stirrup has no length: it needs at least two points.");
                    return;
                }
                bool torsion = false;
                const bool closed = geometry::distance(path.front().a, path.back().b) == 0;
                if (item.boolean(item.field("torsion_check"), torsion) && torsion && !closed)
                    warning(c, name,
                            "The stirrup counts in the torsion check but is not closed: it "
                            "should end where it starts.");
                double diameter;
                if (!number(item, "diameter", diameter) || !std::isfinite(diameter) ||
                    diameter <= 0 || diameter > kFarthest)
                    return;
                if (shape.known && shape.regions.size() == 1)
                    stirrup_in_concrete(c, name, path, diameter / 2, shape.regions[0]);
                legs.push_back({i, std::move(path), diameter / 2});
            });
        }
        for (const Bar &bar : bars) {
            for (const Leg &leg : legs) {
                const double apart = geometry::distance(bar.centre, leg.path);
                if (apart >= bar.radius + leg.radius - kTolerance) continue;
                error(c, index("bars", bar.index),
                      "The bar of " + millimetres(2 * bar.radius) + " at " + at(bar.centre) +
                          " overlaps " + index("stirrups", leg.index) + ": its centre is " +
                          millimetres(apart) + " from the stirrup's axis, less than the " +
                          millimetres(bar.radius + leg.radius) + " that their radii need.",
                      &bar.centre);
            }
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

    void check_section(const Context &c, const Object &cs) {
        if (cs.type().index_of("extremes") < 0) return;
        const size_t field = cs.field("extremes");
        const size_t n = cs.count(field);
        if (n == 0)
            error(c, "extremes",
                  "The check section has no extremes: IDEA StatiCa RCS has no load to check it "
                  "for.");
        static const char *loadings[] = {"fundamental",     "accidental", "characteristic",
                                         "quasi_permanent", "frequent",   "fatigue"};
        for (size_t i = 0; i < n; ++i) {
            cs.object_at(field, i, [&](const Object &extreme) {
                bool any = false;
                for (const char *loading : loadings)
                    any = any || (extreme.type().index_of(loading) >= 0 &&
                                  extreme.present(extreme.field(loading)));
                if (!any)
                    error(c, index("extremes", i),
                          "The extreme '" + text(extreme, "description") + "' has no loading.");
            });
        }
    }

    const Model &model_;
    const bool whole_;
    std::unordered_map<double, size_t> index_[Model::kLists];
    bool dense_[Model::kLists] = {};
    std::vector<Finding> out_;
};

}  // namespace

std::vector<Finding> check(const Model &model) {
    Checker checker(model, true);
    for (size_t list = 0; list < Model::kLists; ++list)
        for (size_t i = 0, n = model.count(static_cast<Model::List>(list)); i < n; ++i)
            checker.object(static_cast<Model::List>(list), i);
    checker.settings();
    return checker.take();
}

std::vector<Finding> check(const Model &model, std::vector<Place> places) {
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    Checker checker(model, false);
    for (const auto &[list, i] : places) checker.object(list, i);
    return checker.take();
}

}  // namespace marlox::validate
