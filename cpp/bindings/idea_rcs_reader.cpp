// OpenModel.from_xml: IDEA StatiCa RCS input XML read back into an OpenModel. The core reader
// decodes the document one top-level object at a time; this file makes the objects through the
// companion module's types and the operations that own their lists, as the builder does.
#include <Python.h>
#include <nanobind/nanobind.h>

#include <string>
#include <unordered_map>

#include "bindings/idea_rcs.hpp"
#include "bindings/idea_rcs_results.hpp"
#include "bindings/model.hpp"
#include "core/error.hpp"
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

nb::object steal(PyObject *result) {
    if (result == nullptr) throw nb::python_error();
    return nb::steal(result);
}

// The operations of an owner that make the objects of its managed lists, with their parameters
// in order (each a field of the object made).
struct Operation {
    const char *list;
    const char *name;
    std::vector<const char *> parameters;
};

const std::vector<Operation> &operations() {
    static const std::vector<Operation> all = {
        {"bars", "create_bar", {"coordinates", "diameter", "material"}},
        {"stirrups",
         "create_stirrup",
         {"points", "diameter", "material", "distance", "shear_check", "torsion_check",
          "mandrel_diameter_factor", "anchorage_length"}},
        {"extremes",
         "create_extreme",
         {"description", "accidental", "fatigue", "frequent", "fundamental", "characteristic",
          "quasi_permanent"}},
        {"components", "create_component", {"outline", "material", "openings"}},
    };
    return all;
}

// How objects of one type are made: the class, the fields of its arguments in order, and its
// managed lists with the operation and the fields that each parameter takes.
struct Layout {
    nb::object cls;
    std::vector<std::size_t> arguments;
    struct List {
        std::size_t field;
        nb::object operation;  // the name, interned
        const schema::Type *type = nullptr;
        std::vector<std::size_t> parameters;
    };
    std::vector<List> lists;
    int settable_id = -1;  // an id the operation assigns and the document may state otherwise
};

class ModelSink : public input_read::Sink {
  public:
    ModelSink(nb::handle model_type, ModelBase &model)
        : model_type_(model_type),
          model_(model),
          objects_(companion()),
          reference_(objects_.attr("_ReferenceElement")) {}

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

    static nb::object point(double y, double z) { return steal(Py_BuildValue("(dd)", y, z)); }

    static nb::object polyline(const std::vector<input_read::Vertex> &line) {
        nb::object out = steal(PyTuple_New((Py_ssize_t)line.size()));
        for (std::size_t i = 0; i < line.size(); ++i) {
            const input_read::Vertex &v = line[i];
            nb::object item =
                v.arc ? nb::object(nb::make_tuple(point(v.y, v.z), point(v.arc_y, v.arc_z)))
                      : point(v.y, v.z);
            PyTuple_SET_ITEM(out.ptr(), (Py_ssize_t)i, item.release().ptr());
        }
        return out;
    }

    nb::object value(const Items &items, const Field &field, const Val &v) {
        switch (v.kind) {
            case Val::Kind::Absent:
            case Val::Kind::Objects:
            case Val::Kind::Parameters:
                return nb::none();
            case Val::Kind::Int:
                return steal(PyLong_FromLongLong(v.integer));
            case Val::Kind::Number:
                return steal(PyFloat_FromDouble(v.number));
            case Val::Kind::Bool:
                return nb::bool_(v.boolean);
            case Val::Kind::Text:
                return steal(PyUnicode_FromStringAndSize(v.text.data(), (Py_ssize_t)v.text.size()));
            case Val::Kind::Enum:
                return nb::borrow(member(field.type, v.member));
            case Val::Kind::Object:
                return make(items, v.objects[0]);
            case Val::Kind::Reference: {
                PyObject *stack[2] = {steal(PyLong_FromLongLong(v.integer)).release().ptr(),
                                      cls(v.type_name).ptr()};
                nb::object id = nb::steal(stack[0]);
                return steal(PyObject_Vectorcall(reference_.ptr(), stack, 2, nullptr));
            }
            case Val::Kind::Point:
                return point(v.vertex.y, v.vertex.z);
            case Val::Kind::Polyline:
                return polyline(v.lines[0]);
            case Val::Kind::Polylines: {
                nb::list out;
                for (const auto &line : v.lines) out.append(polyline(line));
                return std::move(out);
            }
        }
        return nb::none();
    }

    const Layout &layout(const schema::Type &type) {
        auto found = layouts_.find(&type);
        if (found != layouts_.end()) return found->second;
        Layout l;
        l.cls = nb::borrow(cls(type.name));
        for (const Field *field : type.arguments())
            l.arguments.push_back((std::size_t)type.index_of(field->name));
        for (std::size_t f = 0; f < type.fields.size(); ++f) {
            if (!type.fields[f].has(schema::Managed)) continue;
            for (const Operation &op : operations()) {
                if (std::string_view(op.list) != type.fields[f].name) continue;
                Layout::List list;
                list.field = f;
                list.operation = nb::str(op.name);
                list.type = schema::find_type(type.fields[f].type);
                for (const char *parameter : op.parameters)
                    list.parameters.push_back((std::size_t)list.type->index_of(parameter));
                l.lists.push_back(std::move(list));
            }
        }
        const int id = type.index_of("id");
        if (id >= 0 && !type.fields[(std::size_t)id].has(schema::ReadOnly)) l.settable_id = id;
        return layouts_.emplace(&type, std::move(l)).first->second;
    }

    // Positional arguments, owned, on the stack: a type has at most a few dozen fields.
    struct Args {
        static constexpr std::size_t kMax = 32;
        nb::object owned[kMax];
        PyObject *stack[kMax];
        std::size_t size = 0;

        void push(nb::object value) {
            if (size == kMax) fail(ErrorKind::Value, "an object with too many fields");
            stack[size] = value.ptr();
            owned[size++] = std::move(value);
        }
    };

    // Call, naming the element and its line when the object refuses a value.
    static nb::object call(const Item &item, nb::handle callable, const Args &args,
                           nb::handle kwargs = nb::handle()) {
        PyObject *made = nullptr;
        if (kwargs.is_valid()) {
            nb::object positional = steal(PyTuple_New((Py_ssize_t)args.size));
            for (std::size_t i = 0; i < args.size; ++i)
                PyTuple_SET_ITEM(positional.ptr(), (Py_ssize_t)i, Py_NewRef(args.stack[i]));
            made = PyObject_Call(callable.ptr(), positional.ptr(), kwargs.ptr());
        } else {
            made = PyObject_Vectorcall(callable.ptr(), args.stack, args.size, nullptr);
        }
        if (made != nullptr) return nb::steal(made);
        if (!PyErr_ExceptionMatches(PyExc_ValueError) && !PyErr_ExceptionMatches(PyExc_TypeError))
            throw nb::python_error();
        nb::python_error error;
        fail(ErrorKind::Value, "line " + std::to_string(item.line) + ": " + item.element() + " " +
                                   nb::str(error.value()).c_str());
    }

    nb::object make(const Items &items, int index) {
        const Item &item = items[index];
        const schema::Type &type = *item.type;
        if (item.library) return library_material(item);
        const Layout &l = layout(type);
        Args args;
        nb::object kwargs;  // made when a default or the shape parameters need it
        bool keywords = false;
        for (std::size_t f : l.arguments) {
            const Field &field = type.fields[f];
            const Val &v = item.values[f];
            if (!keywords && (field.kind == Kind::Parameters ||
                              (v.kind == Val::Kind::Absent && field.default_ != nullptr))) {
                keywords = true;
                kwargs = nb::dict();
            }
            if (field.kind == Kind::Parameters) {
                for (const auto &[name, number] : v.parameters)
                    kwargs[name.c_str()] = nb::float_(number);
            } else if (v.kind == Val::Kind::Absent && field.default_ != nullptr) {
                continue;  // the type's default
            } else if (keywords) {
                kwargs[field.name] = value(items, field, v);
            } else {
                args.push(value(items, field, v));
            }
        }
        nb::object made = call(item, l.cls, args, kwargs);
        for (const Layout::List &list : l.lists) {
            if (item.values[list.field].kind != Val::Kind::Objects) continue;
            nb::object operation = made.attr(list.operation);
            const Layout &part_layout = layout(*list.type);
            for (int child : item.values[list.field].objects) {
                const Item &part = items[child];
                Args parameters;
                for (std::size_t f : list.parameters)
                    parameters.push(value(items, list.type->fields[f], part[f]));
                nb::object piece = call(part, operation, parameters);
                const int id = part_layout.settable_id;
                if (id >= 0 && part[(std::size_t)id].kind == Val::Kind::Int)
                    piece.attr("id") = part[(std::size_t)id].integer;
            }
        }
        return made;
    }

    // A material that IDEA takes from its library by name: the builder's material of that name.
    nb::object library_material(const Item &item) {
        const schema::Type &type = *item.type;
        const bool concrete = std::string_view(type.name) == "MatConcreteEc2";
        const char *table = concrete ? "ConcreteMaterial" : "ReinforcementMaterial";
        const Val &name = item[(std::size_t)type.index_of("name")];
        const schema::EnumMember *base = schema::find_enumeration(table)->find_value(name.text);
        if (base == nullptr)
            fail(ErrorKind::Value, "line " + std::to_string(item.line) + ": " + item.element() +
                                       " takes its values from IDEA's library by its name, and '" +
                                       name.text + "' is not a " + table + " the model knows");
        nb::object scratch = model_type_();
        nb::object made =
            scratch.attr(concrete ? "_create_matconcrete_ec2" : "_create_matreinforcement_ec2")(
                member(table, base), name.text.c_str());
        Args args;
        args.push(nb::int_(item[(std::size_t)type.index_of("id")].integer));
        for (const Field *field : type.arguments())
            if (std::string_view(field->name) != "id") args.push(made.attr(field->name));
        return call(item, cls(type.name), args);
    }

    nb::handle model_type_;
    ModelBase &model_;
    nb::module_ objects_;
    nb::object reference_;
    std::unordered_map<const char *, nb::object> classes_;
    std::unordered_map<const schema::EnumMember *, nb::object> members_;
    std::unordered_map<const schema::Type *, Layout> layouts_;
};

void feed_buffer(input_read::Reader &reader, nb::handle data) {
    Py_buffer view{};
    if (PyObject_GetBuffer(data.ptr(), &view, PyBUF_SIMPLE) != 0) throw nb::python_error();
    try {
        reader.feed(static_cast<const char *>(view.buf), (std::size_t)view.len, false);
    } catch (...) {
        PyBuffer_Release(&view);
        throw;
    }
    PyBuffer_Release(&view);
}

void read_stream(input_read::Reader &reader, nb::handle stream) {
    nb::object read = stream.attr("read");
    for (;;) {
        nb::object chunk = read(1 << 20);
        if (!PyObject_CheckBuffer(chunk.ptr()))
            fail(ErrorKind::Type, std::string("from_xml() needs a binary stream; read() gave ") +
                                      nb::inst_name(chunk).c_str());
        if (PyObject_Length(chunk.ptr()) == 0) break;
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

nb::object from_xml(nb::handle cls, nb::handle source) {
    CollectorPaused paused;
    nb::object model = cls();
    ModelSink sink(cls, nb::cast<ModelBase &>(model));
    input_read::Reader reader(results::expat_host(), sink);
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
    reader.feed("", 0, true);
    return model;
}

}  // namespace

void bind_reader(nb::module_ &m) {
    nb::object open_model = m.attr("OpenModel");
    nb::setattr(open_model, "from_xml",
                steal(PyClassMethod_New(
                    nb::cpp_function(
                        &from_xml, nb::name("from_xml"), nb::scope(open_model), "cls"_a, "source"_a,
                        nb::sig("def from_xml(cls, source: str | os.PathLike[str] | "
                                "typing.BinaryIO | bytes) -> OpenModel"),
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
                        "Raises xml.etree.ElementTree.ParseError for a document that is "
                        "not XML (as ElementTree reports it, billion-laughs expansion "
                        "included), and ValueError naming the element and its line for "
                        "anything the model cannot hold: an element or xsi:type it does "
                        "not know, a value that does not parse or that the object refuses, "
                        "a duplicated id, a reference to an id the document lacks, a "
                        "value that the model states only one way.")
                        .ptr())));
}

}  // namespace marlox::py
