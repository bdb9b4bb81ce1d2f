// OpenModel.from_xml: IDEA StatiCa RCS input XML read back into an OpenModel. The core reader
// decodes the document one top-level object at a time; this file makes the objects through the
// companion module's factory: the objects the constructors make, their parts added as the
// owners' operations add them, without a Python call per object.
#include <Python.h>
#include <nanobind/nanobind.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

#include "bindings/helpers.hpp"
#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_pieces.hpp"
#include "bindings/idea_rcs_results.hpp"
#include "bindings/model.hpp"
#include "bindings/objects_factory.hpp"
#include "core/error.hpp"
#include "core/input_pipeline.hpp"
#include "core/input_read.hpp"

namespace nb = nanobind;
using namespace nb::literals;

namespace marlox::py {

namespace {

using input_read::Item;
using input_read::Items;
using input_read::List;
using input_read::Val;
using schema::Field;
using schema::Kind;

// How objects of one type are made: the fields its constructor takes, and its managed lists with
// the type of their parts.
struct Layout {
    std::size_t index = 0;           // in schema::types()
    std::vector<char> arguments;     // per field: the constructor takes it (0 or 1)
    std::vector<std::size_t> lists;  // managed lists
    int settable_id = -1;  // an id the owner's operation assigns and the document may state
    int description = -1;  // a text the operation makes up when it is empty
};

// The objects module's factory (objects_factory.hpp).
const objects::Factory &factory() {
    static const objects::Factory *table = [] {
        auto *found =
            static_cast<const objects::Factory *>(PyCapsule_Import(objects::kFactoryCapsule, 0));
        if (found == nullptr) throw_python();
        if (found->size != sizeof(objects::Factory))
            fail(ErrorKind::SdkInternal, "the objects module does not match this module");
        return found;
    }();
    return *table;
}

// Immutable values that repeat through a model (numbers, ids, points) are made once and shared,
// as far as the table reaches: fewer objects to allocate, the same values.
template <class Key, class Hash = std::hash<Key>>
class Shared {
  public:
    template <class Make>
    nb::object get(const Key &key, Make &&make) {
        auto found = made_.find(key);
        if (found != made_.end()) return found->second;
        nb::object value = make();
        if (made_.size() < kMax) made_.emplace(key, value);
        return value;
    }

  private:
    static constexpr std::size_t kMax = 1 << 16;
    std::unordered_map<Key, nb::object, Hash> made_;
};

struct PairHash {
    std::size_t operator()(const std::pair<std::uint64_t, std::uint64_t> &p) const {
        return std::hash<std::uint64_t>()(p.first * 0x9E3779B97F4A7C15ull ^ p.second);
    }
};

class ModelSink : public input_read::Sink {
  public:
    ModelSink(nb::handle model_type, ModelBase &model)
        : model_type_(model_type), model_(model), objects_(companion()) {}

    void object(List list, const Items &items, int root) override {
        list_of(list).append(make(items, root));
    }

    void settings(const Items &items, int project_data, int code_settings) override {
        if (project_data >= 0) model_.project_data = make(items, project_data);
        if (code_settings >= 0) model_.code_settings = make(items, code_settings);
    }

  private:
    nb::list &list_of(List list) {
        switch (list) {
            case List::MatConcrete:
                return model_.mat_concrete;
            case List::MatReinforcement:
                return model_.mat_reinforcement;
            case List::CrossSection:
                return model_.cross_section;
            case List::ReinforcedCrossSection:
                return model_.reinforced_cross_section;
            case List::CheckMember:
                return model_.check_member;
            case List::CheckSection:
                return model_.check_section;
            case List::Attribute:
                break;
        }
        return model_.attribute;
    }

    nb::handle cls(const char *name) {  // names are the schema's own strings
        auto found = classes_.find(name);
        if (found != classes_.end()) return found->second;
        return classes_.emplace(name, objects_.attr(name)).first->second;
    }

    nb::handle member(const char *enumeration, const schema::EnumMember *m) {
        auto found = members_.find(m);
        if (found != members_.end()) return found->second;
        return members_.emplace(m, cls(enumeration).attr(m->name)).first->second;
    }

    static std::uint64_t bits_of(double d) {
        std::uint64_t bits;
        std::memcpy(&bits, &d, sizeof bits);  // -0.0 and 0.0 stay apart
        return bits;
    }

    nb::object number(double d) {
        return numbers_.get(bits_of(d), [d] { return steal_or_throw(PyFloat_FromDouble(d)); });
    }

    nb::object integer(long long i) {
        return integers_.get(i, [i] { return steal_or_throw(PyLong_FromLongLong(i)); });
    }

    nb::object point(double y, double z) {
        return points_.get({bits_of(y), bits_of(z)}, [&] {
            nb::object out = steal_or_throw(PyTuple_New(2));
            PyTuple_SET_ITEM(out.ptr(), 0, number(y).release().ptr());
            PyTuple_SET_ITEM(out.ptr(), 1, number(z).release().ptr());
            return out;
        });
    }

    nb::object polyline(const std::vector<input_read::Vertex> &line) {
        nb::object out = steal_or_throw(PyTuple_New((Py_ssize_t)line.size()));
        for (std::size_t i = 0; i < line.size(); ++i) {
            const input_read::Vertex &v = line[i];
            nb::object item =
                v.arc ? nb::object(nb::make_tuple(point(v.y, v.z), point(v.arc_y, v.arc_z)))
                      : point(v.y, v.z);
            PyTuple_SET_ITEM(out.ptr(), (Py_ssize_t)i, item.release().ptr());
        }
        return out;
    }

    nb::object value(const Items &items, const Item &item, const Field &field, const Val &v) {
        switch (v.kind) {
            case Val::Kind::Absent:
            case Val::Kind::Objects:
            case Val::Kind::Parameters:
                return nb::none();
            case Val::Kind::Int:
                return integer(v.integer);
            case Val::Kind::Number:
                return number(v.number);
            case Val::Kind::Bool:
                return nb::bool_(v.boolean);
            case Val::Kind::Text:
                return steal_or_throw(
                    PyUnicode_FromStringAndSize(v.text.data(), (Py_ssize_t)v.text.size()));
            case Val::Kind::Enum:
                return nb::borrow(member(field.type, v.member));
            case Val::Kind::Object:
                return make(items, v.objects[0]);
            case Val::Kind::Reference: {
                Fields values(reference_);
                values.set(reference_type_, nb::borrow(cls(v.type_name)));
                values.set(reference_id_, integer(v.integer));
                return create(item, reference_, values);
            }
            case Val::Kind::Point:
                return point(v.vertex.y, v.vertex.z);
            case Val::Kind::Polyline:
                return polyline(v.lines[0]);
            case Val::Kind::Polylines: {
                nb::object out = steal_or_throw(PyTuple_New((Py_ssize_t)v.lines.size()));
                for (std::size_t i = 0; i < v.lines.size(); ++i)
                    PyTuple_SET_ITEM(out.ptr(), (Py_ssize_t)i,
                                     polyline(v.lines[i]).release().ptr());
                return out;
            }
        }
        return nb::none();
    }

    const Layout &layout(const schema::Type &type) {
        auto found = layouts_.find(&type);
        if (found != layouts_.end()) return found->second;
        Layout l;
        l.index = (std::size_t)(&type - schema::types().data());
        l.arguments.assign(type.fields.size(), false);
        for (const Field *field : type.arguments())
            l.arguments[(std::size_t)(field - &type.fields[0])] = true;
        for (std::size_t f = 0; f < type.fields.size(); ++f)
            if (type.fields[f].has(schema::Managed)) l.lists.push_back(f);
        const int id = type.index_of("id");
        if (id >= 0 && !type.fields[(std::size_t)id].has(schema::ReadOnly)) l.settable_id = id;
        if (std::string_view(type.name) == "CheckSectionExtreme")
            l.description = type.index_of("description");
        return layouts_.emplace(&type, std::move(l)).first->second;
    }

    // The values of an object's fields in table order, owned until they are handed over.
    class Fields {
      public:
        explicit Fields(std::size_t type) : n_(schema::types()[type].fields.size()) {
            if (n_ > kMax) fail(ErrorKind::Value, "an object with too many fields");
            std::fill(values_, values_ + n_, nullptr);
        }
        ~Fields() {
            for (std::size_t i = 0; i < n_; ++i) Py_XDECREF(values_[i]);
        }
        Fields(const Fields &) = delete;
        Fields &operator=(const Fields &) = delete;

        void set(std::size_t field, nb::object value) {
            if (field >= n_) fail(ErrorKind::Value, "no such field");
            Py_XDECREF(values_[field]);
            values_[field] = value.release().ptr();
        }
        // Hand the values over to the factory, which releases them in any case.
        PyObject **give() {
            n_ = 0;
            return values_;
        }

      private:
        static constexpr std::size_t kMax = 64;  // a type has a few dozen fields at most
        PyObject *values_[kMax];
        std::size_t n_;
    };

    // Make an object of the type at `index`, naming the element and its line when it refuses
    // a value.
    static nb::object create(const Item &item, std::size_t index, Fields &fields) {
        PyObject *made = factory().make(index, fields.give());
        if (made != nullptr) return nb::steal(made);
        if (!PyErr_ExceptionMatches(PyExc_ValueError) && !PyErr_ExceptionMatches(PyExc_TypeError))
            throw_python();
        nb::python_error error;
        fail(ErrorKind::Value, "line " + std::to_string(item.line) + ": " + item.element() + " " +
                                   nb::str(error.value()).c_str());
    }

    // The constructor's arguments of an item: an absent value with a default is left to the
    // default, the shape parameters go into their own field.
    void fill(const Items &items, const Item &item, const Layout &l, Fields &fields) {
        const schema::Type &type = *item.type;
        for (std::size_t f = 0; f < type.fields.size(); ++f) {
            const Field &field = type.fields[f];
            const Val &v = item.values[f];
            if (!l.arguments[f] || (v.kind == Val::Kind::Absent && field.default_ != nullptr))
                continue;
            if (field.kind != Kind::Parameters) {
                fields.set(f, value(items, item, field, v));
                continue;
            }
            nb::dict parameters;
            for (const auto &[name, number] : v.parameters) {
                // Every other field of a shape is a required argument of its constructor.
                const int other = type.index_of(name);
                if (other >= 0 && (std::size_t)other != f)
                    fail(ErrorKind::Value,
                         "line " + std::to_string(item.line) + ": " + item.element() + " " +
                             type.name + "() got multiple values for argument '" + name + "'");
                parameters[name.c_str()] = this->number(number);
            }
            fields.set(f, std::move(parameters));
        }
    }

    nb::object make(const Items &items, int index) {
        const Item &item = items[index];
        if (item.library) return library_material(item);
        const schema::Type &type = *item.type;
        const Layout &l = layout(type);
        Fields fields(l.index);
        fill(items, item, l, fields);
        nb::object made = create(item, l.index, fields);
        // The parts of the managed lists, as the owner's operations make and add them.
        for (std::size_t list : l.lists) {
            const Val &parts = item.values[list];
            if (parts.kind != Val::Kind::Objects) continue;
            std::size_t count = 0;
            for (int child : parts.objects) {
                const Item &part = items[child];
                const Layout &pl = layout(*part.type);
                Fields values(pl.index);
                fill(items, part, pl, values);
                ++count;
                const int id = pl.settable_id;
                if (id >= 0 && part[(std::size_t)id].kind != Val::Kind::Int)
                    values.set((std::size_t)id, steal_or_throw(PyLong_FromSize_t(count)));
                const int text = pl.description;
                if (text >= 0 && !(part[(std::size_t)text].kind == Val::Kind::Text &&
                                   !part[(std::size_t)text].text.empty()))
                    values.set((std::size_t)text,
                               nb::str("{} - E {}").format(made.attr("description"), count));
                nb::object piece = create(part, pl.index, values);
                if (factory().append(made.ptr(), list, piece.ptr()) != 0) throw_python();
            }
        }
        return made;
    }

    // A material that IDEA takes from its library by name: the builder's material of that name.
    nb::object library_material(const Item &item) {
        const schema::Type &type = *item.type;
        const bool concrete = std::string_view(type.name) == "MatConcreteEc2";
        const char *table = concrete ? "ConcreteMaterial" : "ReinforcementMaterial";
        const Val &value = item[(std::size_t)type.index_of("name")];
        const std::string name = value.kind == Val::Kind::Text ? value.text : "";
        const schema::EnumMember *base = schema::find_enumeration(table)->find_value(name);
        if (base == nullptr)
            fail(ErrorKind::Value, "line " + std::to_string(item.line) + ": " + item.element() +
                                       " takes its values from IDEA's library by its name, and '" +
                                       name + "' is not a " + table + " the model knows");
        nb::object scratch = model_type_();
        nb::object made =
            scratch.attr(concrete ? "_create_matconcrete_ec2" : "_create_matreinforcement_ec2")(
                member(table, base), name.c_str());
        const Layout &l = layout(type);
        Fields fields(l.index);
        for (std::size_t f = 0; f < type.fields.size(); ++f) {
            const Field &field = type.fields[f];
            if (std::string_view(field.name) == "id")
                fields.set(f, nb::int_(item[f].integer));
            else if (l.arguments[f])
                fields.set(f, made.attr(field.name));
        }
        return create(item, l.index, fields);
    }

    nb::handle model_type_;
    ModelBase &model_;
    nb::module_ objects_;
    const std::size_t reference_ =
        (std::size_t)(schema::find_type("_ReferenceElement") - schema::types().data());
    const std::size_t reference_type_ = (std::size_t)schema::types()[reference_].index_of("type");
    const std::size_t reference_id_ = (std::size_t)schema::types()[reference_].index_of("id");
    Shared<std::uint64_t> numbers_;
    Shared<long long> integers_;
    Shared<std::pair<std::uint64_t, std::uint64_t>, PairHash> points_;
    std::unordered_map<const char *, nb::object> classes_;
    std::unordered_map<const schema::EnumMember *, nb::object> members_;
    std::unordered_map<const schema::Type *, Layout> layouts_;
};

// reader.feed. The interpreter's handler for an encoding that expat does not know leaves its
// exception set when it cannot make a table (LookupError for an unknown codec, ValueError for a
// multi-byte one); expat then stops with an error of its own. The handler's exception is the
// one ElementTree raises for the document, so it is raised here, before anything else calls
// into the interpreter with it still set.
void feed(input_read::Pipeline &reader, const char *data, std::size_t len, bool final) {
    try {
        reader.feed(data, len, final);
    } catch (...) {
        if (PyErr_Occurred()) throw_python();
        throw;
    }
}

void feed_buffer(input_read::Pipeline &reader, nb::handle data) {
    Py_buffer view{};
    if (PyObject_GetBuffer(data.ptr(), &view, PyBUF_SIMPLE) != 0) throw_python();
    try {
        feed(reader, static_cast<const char *>(view.buf), (std::size_t)view.len, false);
    } catch (...) {
        PyBuffer_Release(&view);
        throw;
    }
    PyBuffer_Release(&view);
}

void read_stream(input_read::Pipeline &reader, nb::handle stream) {
    nb::object read = stream.attr("read");
    for (;;) {
        nb::object chunk = read(1 << 20);
        if (!PyObject_CheckBuffer(chunk.ptr()))
            fail(ErrorKind::Type, std::string("from_xml() needs a binary stream; read() gave ") +
                                      nb::inst_name(chunk).c_str());
        const Py_ssize_t size = PyObject_Length(chunk.ptr());
        if (size < 0) throw_python();
        if (size == 0) break;
        feed_buffer(reader, chunk);
    }
}

// The collector stays off while the objects are made (they form no cycles to collect), as
// json and pickle readers do: hundreds of thousands of new objects would otherwise run it
// again and again over the growing model.
struct CollectorPaused {
    int was_enabled = PyGC_Disable();
    ~CollectorPaused() {
        if (was_enabled) PyGC_Enable();
    }
};

nb::object from_xml(nb::handle cls, nb::handle source, nb::handle threads) {
    const int n = results::table_scan::threads_argument(threads);
    CollectorPaused paused;
    nb::object model = cls();
    ModelSink sink(cls, nb::cast<ModelBase &>(model));
    input_read::Pipeline reader(results::expat_host(), sink, std::min(n, 2),
                                [](const std::function<void()> &wait) {
                                    nb::gil_scoped_release unlocked;
                                    wait();
                                });
    if (PyUnicode_Check(source.ptr()) || PyObject_HasAttrString(source.ptr(), "__fspath__")) {
        nb::object file = nb::module_::import_("io").attr("open")(source, "rb");
        try {
            read_stream(reader, file);
        } catch (...) {
            file.attr("close")();
            throw;
        }
        file.attr("close")();
    } else if (PyObject_CheckBuffer(source.ptr())) {
        feed_buffer(reader, source);
    } else if (nb::hasattr(source, "read")) {
        read_stream(reader, source);
    } else {
        fail(ErrorKind::Type,
             std::string("from_xml() takes a path, a binary stream or bytes, not ") +
                 nb::inst_name(source).c_str());
    }
    feed(reader, "", 0, true);
    return model;
}

}  // namespace

void bind_reader(nb::module_ &m) {
    nb::object open_model = m.attr("OpenModel");
    nb::setattr(
        open_model, "from_xml",
        steal_or_throw(PyClassMethod_New(
            nb::cpp_function(&from_xml, nb::name("from_xml"), nb::scope(open_model), "cls"_a,
                             "source"_a, nb::kw_only(), "threads"_a = nb::none(),
                             nb::sig("def from_xml(cls, source: str | os.PathLike[str] | "
                                     "typing.BinaryIO | bytes, *, threads: int | None = None) -> "
                                     "OpenModel"),
                             "Read IDEA StatiCa RCS input XML (an OpenModel document) into a "
                             "new model.\n\n"
                             "``source`` is a path, a binary stream or the document's bytes; "
                             "UTF-8 and UTF-16 (with its byte-order mark, whatever the "
                             "declaration says) are read. The objects are those the builder "
                             "makes, with the document's ids; what our writer writes reads back "
                             "to the same XML, and to the same model but for the member data's "
                             "absent values, which come back as the XML states them (relative "
                             "humidity 65, kx 1.0, the default checks). A material that IDEA "
                             "takes from its library by name becomes the builder's material of "
                             "that name.\n\n"
                             "Past its first 256 KiB, a document is parsed on a thread of its own "
                             "while the calling thread decodes it and makes the objects, when "
                             "``threads`` (by default the cores available) is 2 or more; "
                             "``threads=1`` reads it on the calling thread alone. The model and "
                             "every failure are the same either way.\n\n"
                             "Raises xml.etree.ElementTree.ParseError for a document that is "
                             "not XML (as ElementTree reports it, billion-laughs expansion "
                             "included), what ElementTree raises for a declared encoding that the "
                             "interpreter cannot read (LookupError, ValueError), and ValueError "
                             "naming the element and its line for "
                             "anything the model cannot hold: an element or xsi:type it does "
                             "not know, a value that does not parse or that the object refuses, "
                             "a duplicated id, a reference to an id the document lacks, a "
                             "value that the model states only one way.")
                .ptr())));
}

}  // namespace marlox::py
