// The result parsers of the idea_rcs module: RcsOutputFileParser (streaming, with its nested
// SectionResult) and OutputFileParser (whole document).
#include "bindings/idea_rcs_results.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstring>
#include <thread>

#include "bindings/idea_rcs.hpp"
#include "bindings/translate.hpp"
#include "core/error.hpp"

namespace marlox::py::results {

using marlox::results::DomBuilder;
using marlox::results::Node;
using marlox::results::ScanFailure;
using marlox::results::Scanner;

// ---------------------------------------------------------------------------------------------
// Python helpers

PyObject *interned(const char *text) {
    // Keys are string literals: their addresses identify them.
    static std::unordered_map<const void *, PyObject *> cache;
    auto found = cache.find(text);
    if (found != cache.end()) return found->second;
    PyObject *s = PyUnicode_InternFromString(text);
    if (s == nullptr) throw_python();
    cache.emplace(text, s);
    return s;
}

PyObject *name_key(Name name) {
    static PyObject *keys[marlox::results::kNameCount] = {};
    PyObject *&k = keys[name];
    if (k == nullptr) {
        k = PyUnicode_InternFromString(marlox::results::name_text(name));
        if (k == nullptr) throw_python();
    }
    return k;
}

PyObject *path_string(const std::string &path) {
    static std::unordered_map<std::string, PyObject *> cache;
    auto found = cache.find(path);
    if (found != cache.end()) return found->second;
    PyObject *s = PyUnicode_FromStringAndSize(path.data(), (Py_ssize_t)path.size());
    if (s == nullptr) throw_python();
    cache.emplace(path, s);
    return s;
}

nb::object float_from_text(std::string_view text) {
    // float() of a str, without making the str when the text is plain: ASCII white space
    // around an optional sign, digits, a point and an exponent. Such text is converted with
    // std::from_chars, which rounds correctly, as the interpreter's own conversion does, so the
    // value is the same to the bit. Anything else, and every failure, goes through float()
    // itself, for its exact result or message.
    auto space = [](char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    };
    std::size_t b = 0, e = text.size();
    while (b < e && space(text[b])) ++b;
    while (e > b && space(text[e - 1])) --e;
    // 2 for a digit, 1 for the other characters of a plain number, 0 for anything else.
    static const auto kPlain = [] {
        std::array<unsigned char, 256> t{};
        for (int c = '0'; c <= '9'; ++c) t[(std::size_t)c] = 2;
        for (unsigned char c : {'.', 'e', 'E', '+', '-'}) t[c] = 1;
        return t;
    }();
    bool plain = b < e;
    unsigned seen = 0;
    for (std::size_t i = b; i < e; ++i) {
        const unsigned k = kPlain[(unsigned char)text[i]];
        if (k == 0) {
            plain = false;
            break;
        }
        seen |= k;
    }
    const bool digit = (seen & 2) != 0;
    if (plain && digit) {
        const char *first = text.data() + b;
        const char *last = text.data() + e;
        // from_chars takes no leading '+'.
        if (*first == '+' && first + 1 < last && first[1] != '+' && first[1] != '-') ++first;
        double value = 0.0;
        const auto [ptr, ec] = std::from_chars(first, last, value);
        if (ec == std::errc() && ptr == last) return steal_or_throw(PyFloat_FromDouble(value));
    }
    nb::object s = str_from(text);
    return steal_or_throw(PyFloat_FromString(s.ptr()));
}

const Et &et() {
    static Et value{};
    if (value.module == nullptr) {
        PyObject *module = PyImport_ImportModule("xml.etree.ElementTree");
        if (module == nullptr) throw_python();
        Et v{module, PyObject_GetAttrString(module, "Element"),
             PyObject_GetAttrString(module, "SubElement"),
             PyObject_GetAttrString(module, "ParseError")};
        if (v.element == nullptr || v.sub_element == nullptr || v.parse_error == nullptr) {
            throw_python();
        }
        value = v;
    }
    return value;
}

// ---------------------------------------------------------------------------------------------
// The interpreter's expat

namespace {

const expat::CApi *g_api = nullptr;

// The host's handler for encodings that expat does not know builds its table with the
// interpreter's codecs: it needs the interpreter lock, which a scan may have released.
int unknown_encoding_with_gil(void *data, const char *name, expat::Encoding *info) {
    PyGILState_STATE state = PyGILState_Ensure();
    const int result = g_api->DefaultUnknownEncodingHandler(data, name, info);
    PyGILState_Release(state);
    return result;
}

const expat::Host &expat_host() {
    static expat::Host host;
    if (host.api == nullptr) {
        auto *api = static_cast<const expat::CApi *>(PyCapsule_Import(expat::kCapsuleName, 0));
        if (api == nullptr) throw_python();
        if (api->magic == nullptr || std::strcmp(api->magic, expat::kCapiMagic) != 0 ||
            api->size < expat::kCapiMinimumSize) {
            PyErr_SetString(PyExc_ImportError, "pyexpat.expat_CAPI has an unknown layout");
            throw_python();
        }
        g_api = api;
        host.unknown_encoding = &unknown_encoding_with_gil;
        host.unknown_encoding_data = nullptr;
#if PY_VERSION_HEX < 0x030D0000
        // The salt ElementTree gives its parsers; later versions keep it internal, and expat
        // then draws a random salt of its own.
        host.has_hash_salt = true;
        host.hash_salt = (unsigned long)_Py_HashSecret.expat.hashsalt;
#endif
        host.api = api;
    }
    return host;
}

std::unique_ptr<Scanner> new_scanner(bool keep_all) {
    auto scanner = std::make_unique<Scanner>(expat_host(), keep_all);
    if (!scanner->created()) {
        PyErr_NoMemory();
        throw_python();
    }
    return scanner;
}

// ElementTree's ParseError for a failed feed: "<message>: line L, column C", with `code` and
// `position` set as ElementTree sets them. A memory failure is raised as MemoryError at once.
nb::object parse_error_object(const ScanFailure &f) {
    if (f.kind == ScanFailure::Kind::Memory) {
        PyErr_NoMemory();
        throw_python();
    }
    const Et &e = et();
    nb::object message = steal_or_throw(PyUnicode_FromFormat(
        "%s: line %zd, column %zd", f.message.c_str(), (Py_ssize_t)f.line, (Py_ssize_t)f.column));
    nb::object error = steal_or_throw(PyObject_CallOneArg(e.parse_error, message.ptr()));
    nb::object code = steal_or_throw(PyLong_FromLong(f.code));
    if (PyObject_SetAttrString(error.ptr(), "code", code.ptr()) != 0) throw_python();
    nb::object position =
        steal_or_throw(Py_BuildValue("(nn)", (Py_ssize_t)f.line, (Py_ssize_t)f.column));
    if (PyObject_SetAttrString(error.ptr(), "position", position.ptr()) != 0) throw_python();
    return error;
}

[[noreturn]] void raise_object(const nb::object &error) {
    PyErr_SetObject((PyObject *)Py_TYPE(error.ptr()), error.ptr());
    throw_python();
}

thread_local std::vector<const DocState *> t_reading;

// Wait until no other thread reads the tree natively (they hold the interpreter lock while
// they do, so this gives it up while it waits).
void wait_for_readers(DocState &doc) {
    while (doc.active_reads > 0) {
        if (std::find(t_reading.begin(), t_reading.end(), &doc) != t_reading.end()) {
            PyErr_SetString(PyExc_ValueError, "generator already executing");
            throw_python();
        }
        nb::gil_scoped_release release;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

// ElementTree's XMLParser.feed (and close, with `final`): str is parsed as UTF-8 with the
// protocol encoding set so; anything else through the buffer protocol. Parsing runs without
// the interpreter lock. Returns false for a parse failure (see the scanner); raises what
// XMLParser.feed raises directly.
bool feed_object(DocState &doc, PyObject *data, bool final) {
    Scanner &scanner = *doc.scanner;
    if (data == nullptr) {
        wait_for_readers(doc);
        bool ok;
        {
            nb::gil_scoped_release release;
            ok = scanner.feed("", 0, final);
        }
        if (PyErr_Occurred()) throw_python();
        return ok;
    }
    const char *ptr = nullptr;
    Py_ssize_t len = 0;
    Py_buffer view{};
    bool have_view = false;
    std::string copy;
    if (PyUnicode_Check(data)) {
        ptr = PyUnicode_AsUTF8AndSize(data, &len);
        if (ptr == nullptr) throw_python();
        if (len > INT_MAX) {
            PyErr_SetString(PyExc_OverflowError, "size does not fit in an int");
            throw_python();
        }
        scanner.set_encoding_utf8();
    } else {
        if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) != 0) throw_python();
        have_view = true;
        if (view.len > INT_MAX) {
            PyBuffer_Release(&view);
            PyErr_SetString(PyExc_OverflowError, "size does not fit in an int");
            throw_python();
        }
        ptr = static_cast<const char *>(view.buf);
        len = view.len;
        if (!PyBytes_CheckExact(data)) {
            // A mutable buffer could change while the lock is released: parse a copy.
            try {
                copy.assign(ptr, (std::size_t)len);
            } catch (...) {
                PyBuffer_Release(&view);
                PyErr_NoMemory();
                throw_python();
            }
            ptr = copy.data();
        }
    }
    bool ok;
    try {
        wait_for_readers(doc);
    } catch (...) {
        if (have_view) PyBuffer_Release(&view);
        throw;
    }
    {
        // Large content goes to expat in pieces: expat copies what it is given into a buffer of
        // its own, and one piece of the whole document would double the memory. The outcome
        // (events, errors and their positions) does not depend on the pieces.
        constexpr Py_ssize_t kPiece = 1 << 16;
        nb::gil_scoped_release release;
        ok = true;
        Py_ssize_t done = 0;
        do {
            const Py_ssize_t n = std::min(kPiece, len - done);
            ok = scanner.feed(ptr + done, (int)n, final && done + n == len);
            done += n;
        } while (ok && done < len);
    }
    if (have_view) PyBuffer_Release(&view);
    if (PyErr_Occurred()) throw_python();  // from the host's unknown-encoding handler
    return ok;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Document state

DocState::~DocState() {
    for (PyObject *t : tags) Py_XDECREF(t);
}

PyObject *DocState::tag_object(std::uint32_t tag) {
    if (tag >= tags.size()) tags.resize(dom().tag_count(), nullptr);
    PyObject *&t = tags[tag];
    if (t == nullptr) {
        if (tag < marlox::results::kNameCount) {
            t = name_key((Name)tag);
            Py_INCREF(t);
        } else {
            t = str_from(dom().tag_name(tag)).release().ptr();
        }
    }
    return t;
}

void DocState::shift_nodes(NodeId shift) {
    if (shift <= 0 || materialized.empty()) return;
    std::unordered_map<NodeId, nb::object> moved;
    for (auto &[id, element] : materialized) {
        if (id >= shift) moved.emplace(id - shift, std::move(element));
    }
    materialized.swap(moved);
}

ReadGuard::ReadGuard(DocState &doc) : doc_(doc) {
    ++doc_.active_reads;
    t_reading.push_back(&doc_);
}

ReadGuard::~ReadGuard() {
    --doc_.active_reads;
    auto found = std::find(t_reading.rbegin(), t_reading.rend(), &doc_);
    if (found != t_reading.rend()) t_reading.erase(std::next(found).base());
}

nb::object materialize(DocState &doc, NodeId id) {
    auto found = doc.materialized.find(id);
    if (found != doc.materialized.end()) return found->second;
    ReadGuard guard(doc);
    const Dom &d = doc.dom();
    const Et &e = et();
    PyObject *k_text = interned("text");
    PyObject *k_tail = interned("tail");
    std::vector<std::pair<NodeId, nb::object>> made_sections;
    auto make = [&](NodeId n, PyObject *parent) -> nb::object {
        PyObject *tag = doc.tag_object(d.tag(n));
        nb::object attrib;
        d.for_each_attr(n, [&](const marlox::results::Attr &a) {
            if (!attrib.is_valid()) attrib = new_dict();
            nb::object key = str_from(d.str(a.name));
            nb::object value = str_from(d.str(a.value));
            dict_set(attrib.ptr(), key.ptr(), value.ptr());
        });
        nb::object element;
        if (parent == nullptr) {
            element = steal_or_throw(attrib.is_valid() ? PyObject_CallFunctionObjArgs(
                                                             e.element, tag, attrib.ptr(), nullptr)
                                                       : PyObject_CallOneArg(e.element, tag));
        } else {
            element = steal_or_throw(
                attrib.is_valid()
                    ? PyObject_CallFunctionObjArgs(e.sub_element, parent, tag, attrib.ptr(),
                                                   nullptr)
                    : PyObject_CallFunctionObjArgs(e.sub_element, parent, tag, nullptr));
        }
        const Slice node_text = d.text(n);
        if (!node_text.absent()) {
            nb::object text = str_from(d.str(node_text));
            if (PyObject_SetAttr(element.ptr(), k_text, text.ptr()) != 0) throw_python();
        }
        const Slice node_tail = d.tail(n);
        if (!node_tail.absent()) {
            nb::object tail = str_from(d.str(node_tail));
            if (PyObject_SetAttr(element.ptr(), k_tail, tail.ptr()) != 0) throw_python();
        }
        if ((d.flags(n) & Node::kSection) != 0) made_sections.emplace_back(n, element);
        return element;
    };
    nb::object top = make(id, nullptr);
    std::vector<std::pair<NodeId, nb::object>> stack;
    stack.emplace_back(id, top);
    while (!stack.empty()) {
        auto [n, element] = std::move(stack.back());
        stack.pop_back();
        for (NodeId c = d.node(n).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            auto existing = doc.materialized.find(c);
            if (existing != doc.materialized.end()) {
                // Made before (a section inside this one): the same element, with the tail that
                // the parser gave it after it was cleared.
                nb::object r = steal_or_throw(PyObject_CallMethodOneArg(
                    element.ptr(), interned("append"), existing->second.ptr()));
                const Slice tail = d.tail(c);
                if (!tail.absent()) {
                    nb::object text = str_from(d.str(tail));
                    if (PyObject_SetAttr(existing->second.ptr(), k_tail, text.ptr()) != 0) {
                        throw_python();
                    }
                }
                continue;
            }
            nb::object child = make(c, element.ptr());
            if (d.node(c).first_child != kNoNode) stack.emplace_back(c, std::move(child));
        }
    }
    for (auto &[n, element] : made_sections) doc.materialized.emplace(n, element);
    doc.materialized.emplace(id, top);
    return top;
}

// ---------------------------------------------------------------------------------------------
// SectionResult

struct SectionHandle {
    std::shared_ptr<DocState> doc;
    NodeId node = kNoNode;
    std::uint64_t generation = 0;
};

struct SectionResult {
    nb::object id;
    nb::object element;  // the ElementTree element once there is one (or the caller's object)
    std::shared_ptr<DocState> doc;
    NodeId node = kNoNode;
    std::uint64_t generation = 0;

    bool native() const { return doc != nullptr; }
    bool stale() const { return doc->streaming && generation != doc->generation; }
};

namespace {

nb::handle g_section_result_type;

PyObject *section_tag() { return name_key(marlox::results::kSectionConcreteCheckResult); }

nb::object section_element(SectionResult &s) {
    if (!s.element.is_valid() && s.native()) {
        if (s.stale()) {
            // The element of a section the scan has moved past: emptied, as clear() leaves it.
            s.element = steal_or_throw(PyObject_CallOneArg(et().element, section_tag()));
        } else {
            s.element = materialize(*s.doc, s.node);
        }
    }
    if (!s.element.is_valid()) return nb::none();
    return s.element;
}

std::vector<EtNode> et_extremes(const nb::object &element) {
    std::vector<EtNode> extremes;
    EtNode er = et_call(EtNode{element}, "find", name_key(marlox::results::kExtremeResults));
    if (er.null()) return extremes;
    for_each_child(er, [&](const EtNode &n) { extremes.push_back(n); });
    return extremes;
}

// Run `reader` over the section's extremes: native nodes while the section is an untouched
// part of the native tree, else its ElementTree element. `all_families`: the reader reads every
// family, so each extreme is walked once for all of them.
template <class R>
nb::object read_section(SectionResult &s, R &&reader, bool all_families = false) {
    if (!s.element.is_valid() && s.native()) {
        DocState &doc = *s.doc;
        if (s.stale()) return reader(std::vector<NativeNode>{});
        auto found = doc.materialized.find(s.node);
        if (found != doc.materialized.end()) {
            s.element = found->second;
        } else if ((doc.dom().flags(s.node) & Node::kContainsSection) != 0) {
            s.element = materialize(doc, s.node);
        } else {
            ReadGuard guard(doc);
            std::vector<NativeNode> extremes;
            NativeNode er =
                find_child(NativeNode{&doc, s.node, nullptr}, marlox::results::kExtremeResults);
            if (!er.null()) for_each_child(er, [&](const NativeNode &n) { extremes.push_back(n); });
            std::vector<NodeId> located;
            if (all_families) {
                located.resize(extremes.size() * kFamilyCount);
                for (std::size_t i = 0; i < extremes.size(); ++i) {
                    NodeId *out = located.data() + i * kFamilyCount;
                    marlox::results::locate_families(doc.dom(), extremes[i].id, out);
                    extremes[i].located = out;
                }
            }
            return reader(extremes);
        }
    }
    nb::object element = s.element.is_valid() ? s.element : nb::none();
    return reader(et_extremes(element));
}

// Whether the type of `self` (a subclass) replaces the method `name` of `base`.
bool overrides(nb::handle self, nb::handle base, const char *name) {
    if ((PyObject *)Py_TYPE(self.ptr()) == base.ptr()) return false;
    nb::object mine = steal_or_throw(PyObject_GetAttrString((PyObject *)Py_TYPE(self.ptr()), name));
    nb::object original = steal_or_throw(PyObject_GetAttrString(base.ptr(), name));
    return !mine.is(original);
}

// A reader on a section: over the subclass's own _iter_extreme_results() if it has one, as
// the plain readers take their extremes from it.
template <class R>
nb::object read_section_of(nb::handle self, R &&reader, bool all_families = false) {
    if (overrides(self, g_section_result_type, "_iter_extreme_results")) {
        nb::object extremes =
            steal_or_throw(PyObject_CallMethod(self.ptr(), "_iter_extreme_results", nullptr));
        std::vector<EtNode> nodes;
        for_each_child(EtNode{extremes}, [&](const EtNode &n) { nodes.push_back(n); });
        return reader(nodes);
    }
    return read_section(nb::cast<SectionResult &>(self), reader, all_families);
}

const char *const kReaderNames[8] = {"capacity",    "shear",     "torsion",           "interaction",
                                     "crack_width", "detailing", "stress_limitation", "fatigue"};

// extremes() of a subclass that replaces readers: its own readers, zipped.
nb::object extremes_of(nb::handle self) {
    bool replaced = overrides(self, g_section_result_type, "_iter_extreme_results");
    for (const char *name : kReaderNames) {
        replaced = replaced || overrides(self, g_section_result_type, name);
    }
    if (!replaced) {
        return read_section_of(self, [](const auto &ex) { return read_extremes(ex); }, true);
    }
    nb::object lists[8];
    for (int k = 0; k < 8; ++k) {
        lists[k] = steal_or_throw(PyObject_CallMethod(self.ptr(), kReaderNames[k], nullptr));
    }
    nb::object iterators[8];
    for (int k = 0; k < 8; ++k) iterators[k] = steal_or_throw(PyObject_GetIter(lists[k].ptr()));
    nb::object results = new_list();
    for (;;) {
        nb::object values[8];
        for (int k = 0; k < 8; ++k) {
            PyObject *item = PyIter_Next(iterators[k].ptr());
            if (item == nullptr) {
                if (PyErr_Occurred()) throw_python();
                return results;
            }
            values[k] = nb::steal(item);
        }
        nb::object combined = new_dict();
        for (int k = 0; k < 8; ++k) {
            dict_set(combined.ptr(), interned(kReaderNames[k]), values[k].ptr());
        }
        list_append(results.ptr(), combined.ptr());
    }
}

#define MARLOX_READER(fn) \
    [](nb::handle self) { return read_section_of(self, [](const auto &ex) { return fn(ex); }); }

nb::object make_section(nb::handle cls, nb::object id, const SectionHandle &handle) {
    if (cls.is(g_section_result_type)) {
        SectionResult s;
        s.id = std::move(id);
        s.doc = handle.doc;
        s.node = handle.node;
        s.generation = handle.generation;
        return nb::cast(std::move(s));
    }
    int sub = PyObject_IsSubclass(cls.ptr(), g_section_result_type.ptr());
    if (sub < 0) PyErr_Clear();
    if (sub == 1) {
        nb::object h = nb::cast(handle);
        return steal_or_throw(PyObject_CallFunctionObjArgs(cls.ptr(), id.ptr(), h.ptr(), nullptr));
    }
    nb::object element = materialize(*handle.doc, handle.node);
    return steal_or_throw(
        PyObject_CallFunctionObjArgs(cls.ptr(), id.ptr(), element.ptr(), nullptr));
}

// int(section.find("SectionId").text) on a native section.
nb::object native_section_id(DocState &doc, NodeId node) {
    NativeNode id_el = find_child(NativeNode{&doc, node, nullptr}, marlox::results::kSectionId);
    if (id_el.null()) raise_none_attribute("text");
    nb::object text = text_of(id_el);
    return steal_or_throw(PyNumber_Long(text.ptr()));
}

bool equals(PyObject *a, PyObject *b) {
    nb::object r = steal_or_throw(PyObject_RichCompare(a, b, Py_EQ));
    return is_truthy(r.ptr());
}

// int(section.find("SectionId").text) == wanted on a native section. When `wanted` is an
// exact int and the text is plain (ASCII white space around an optional sign and decimal
// digits), the two are compared directly; otherwise through int() and ==, with their errors.
bool native_section_id_equals(DocState &doc, NodeId node, PyObject *wanted) {
    if (PyLong_CheckExact(wanted)) {
        int overflow = 0;
        const long long w = PyLong_AsLongLongAndOverflow(wanted, &overflow);
        if (w == -1 && PyErr_Occurred()) throw_python();
        const Dom &d = doc.dom();
        const NodeId id_el = d.child(node, marlox::results::kSectionId);
        const Slice t = id_el == kNoNode ? Slice{} : d.text(id_el);
        if (overflow == 0 && !t.absent()) {
            std::string_view text = d.str(t);
            auto space = [](char c) {
                return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
            };
            while (!text.empty() && space(text.front())) text.remove_prefix(1);
            while (!text.empty() && space(text.back())) text.remove_suffix(1);
            const bool negative = !text.empty() && text.front() == '-';
            if (!text.empty() && (text.front() == '+' || text.front() == '-'))
                text.remove_prefix(1);
            const bool digits =
                !text.empty() && text.size() < 19 &&
                std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
            if (digits) {
                long long value = 0;
                for (char c : text) value = value * 10 + (c - '0');
                return (negative ? -value : value) == w;
            }
        }
    }
    nb::object id = native_section_id(doc, node);
    return equals(id.ptr(), wanted);
}

// int(section.find("SectionId").text) on any element.
nb::object et_section_id(const nb::object &section) {
    EtNode id_el = et_call(EtNode{section}, "find", name_key(marlox::results::kSectionId));
    if (id_el.null()) raise_none_attribute("text");
    nb::object text = text_of(id_el);
    return steal_or_throw(PyNumber_Long(text.ptr()));
}

[[noreturn]] void raise_not_available(PyObject *id) {
    nb::object formatted = steal_or_throw(PyObject_Format(id, nullptr));
    nb::object message = steal_or_throw(PyUnicode_FromFormat(
        "section with id '%U' is not available in the result file.", formatted.ptr()));
    Py_ssize_t size = 0;
    const char *utf8 = PyUnicode_AsUTF8AndSize(message.ptr(), &size);
    if (utf8 != nullptr)
        throw marlox::Error(ErrorKind::SdkParsing, std::string(utf8, (std::size_t)size));
    PyErr_Clear();
    nb::object errors = steal_or_throw(PyImport_ImportModule("marlox.errors"));
    nb::object cls = steal_or_throw(PyObject_GetAttrString(errors.ptr(), "ParsingError"));
    nb::object error = steal_or_throw(PyObject_CallOneArg(cls.ptr(), message.ptr()));
    PyErr_SetObject(cls.ptr(), error.ptr());
    throw_python();
}

// ElementTree's _element_to_dict, without the C stack: {tag: [children...] or text}. The
// interpreter's recursion limit is honoured as the plain recursive method would meet it:
// `frames` is the number of calls that the recursion adds before the root's.
int recursion_room() {
    PyThreadState *ts = PyThreadState_Get();
#if PY_VERSION_HEX >= 0x030C0000
    return ts->py_recursion_remaining;
#else
    return ts->recursion_remaining;
#endif
}

template <class N, class Children>
nb::object element_to_dict_impl(const N &root, int frames, Children &&children_of) {
    const long room = recursion_room();
    // Python frames per level of the plain method: the call, and before 3.12 also its list
    // comprehension.
    const long per_level = PY_VERSION_HEX >= 0x030C0000 ? 1 : 2;
    struct Frame {
        N node;
        std::vector<N> children;
        std::size_t next = 0;
        nb::object list;
    };
    std::vector<Frame> stack;
    auto enter = [&](const N &n) {
        if (per_level * ((long)stack.size() + 1) + frames > room) {
            PyErr_SetString(PyExc_RecursionError, "maximum recursion depth exceeded");
            throw_python();
        }
        Frame f{n, children_of(n), 0, new_list()};
        stack.push_back(std::move(f));
    };
    auto finish = [&](Frame &f) {
        nb::object value;
        if (PyList_GET_SIZE(f.list.ptr()) > 0) {
            value = f.list;
        } else {
            value = text_of(f.node);
        }
        nb::object tag = tag_of(f.node);
        nb::object d = new_dict();
        dict_set(d.ptr(), tag.ptr(), value.ptr());
        return d;
    };
    enter(root);
    nb::object result;
    while (!stack.empty()) {
        Frame &top = stack.back();
        if (top.next < top.children.size()) {
            N child = top.children[top.next++];
            enter(child);
            continue;
        }
        nb::object d = finish(top);
        stack.pop_back();
        if (stack.empty()) {
            result = d;
        } else {
            list_append(stack.back().list.ptr(), d.ptr());
        }
    }
    return result;
}

nb::object et_element_to_dict(const nb::object &e, int frames) {
    return element_to_dict_impl(EtNode{e}, frames, [](const EtNode &n) {
        std::vector<EtNode> children;
        for_each_child(n, [&](const EtNode &c) { children.push_back(c); });
        return children;
    });
}

}  // namespace

// The extremes of a section as a generator gives them: nothing happens before the first item,
// then the children of "ExtremeResults" are iterated as the element holds them.
struct ExtremeIterator {
    nb::object section;
    nb::object children;  // iterator over "ExtremeResults", once started
    bool done = false;

    nb::object next() {
        if (done) return nb::object();
        if (!children.is_valid()) {
            done = true;  // an error on the way ends it, as it ends a generator
            nb::object element = steal_or_throw(PyObject_GetAttrString(section.ptr(), "_element"));
            EtNode er =
                et_call(EtNode{element}, "find", name_key(marlox::results::kExtremeResults));
            if (er.null()) return nb::object();
            children = steal_or_throw(PyObject_GetIter(er.o.ptr()));
            done = false;
        }
        PyObject *item = PyIter_Next(children.ptr());
        if (item == nullptr) {
            done = true;
            if (PyErr_Occurred()) throw_python();
            return nb::object();
        }
        return nb::steal(item);
    }
};

// ---------------------------------------------------------------------------------------------
// RcsOutputFileParser

struct StreamParser {
    nb::object file;
    nb::object pos;
};

struct SectionIterator {
    enum class State { NotStarted, Running, Finished };
    nb::object parser;
    std::shared_ptr<DocState> doc;
    nb::object source;
    bool close_source = false;
    State state = State::NotStarted;
    bool busy = false;
    bool closed_input = false;  // the final parse has run
    NodeId current = kNoNode;   // the section handed out last, cleared when resumed
    nb::object pending_error;   // a ParseError raised after the sections parsed before it
    nb::object read_size;       // the argument of the next read
    long read_bytes = 0;

    ~SectionIterator() {
        if (close_source && source.is_valid() && state != State::Finished) {
            nb::object r = nb::steal(PyObject_CallMethod(source.ptr(), "close", nullptr));
            if (!r.is_valid()) PyErr_WriteUnraisable(source.ptr());
        }
        // The tree stays for the sections handed out; expat's parser is not needed any more.
        if (doc) doc->scanner->close();
    }

    void finish() {
        state = State::Finished;
        pending_error = nb::object();
        if (doc) doc->scanner->close();
        if (close_source && source.is_valid()) {
            close_source = false;
            nb::object r = steal_or_throw(PyObject_CallMethod(source.ptr(), "close", nullptr));
        }
    }

    // The next section, or an empty object at the end.
    nb::object next() {
        if (busy) {
            PyErr_SetString(PyExc_ValueError, "generator already executing");
            throw_python();
        }
        if (state == State::Finished) return nb::object();
        busy = true;
        struct Unbusy {
            bool &b;
            ~Unbusy() { b = false; }
        } unbusy{busy};
        try {
            return step();
        } catch (...) {
            // An exception ends the scan, as it ends a generator; iterparse closes a file it
            // opened itself.
            state = State::Finished;
            if (close_source && source.is_valid()) {
                close_source = false;
                PyObject *type, *value, *tb;
                PyErr_Fetch(&type, &value, &tb);
                PyObject *r = PyObject_CallMethod(source.ptr(), "close", nullptr);
                if (r == nullptr) {
                    Py_XDECREF(type);
                    Py_XDECREF(value);
                    Py_XDECREF(tb);
                    throw_python();
                }
                Py_DECREF(r);
                PyErr_Restore(type, value, tb);
            }
            throw;
        }
    }

    nb::object step() {
        if (state == State::NotStarted) {
            state = State::Running;
            // self._file.seek(0); ET.iterparse(self._file, events=("end",))
            nb::object file = steal_or_throw(PyObject_GetAttrString(parser.ptr(), "_file"));
            nb::object r = steal_or_throw(PyObject_CallMethod(file.ptr(), "seek", "i", 0));
            source = steal_or_throw(PyObject_GetAttrString(parser.ptr(), "_file"));
            if (!PyObject_HasAttrString(source.ptr(), "read")) {
                nb::object builtins = steal_or_throw(PyImport_ImportModule("builtins"));
                source = steal_or_throw(
                    PyObject_CallMethod(builtins.ptr(), "open", "Os", source.ptr(), "rb"));
                close_source = true;
            }
            doc = std::make_shared<DocState>(new_scanner(false), true);
        } else if (current != kNoNode) {
            // element.clear() on the section handed out last; from now on it is stale.
            auto found = doc->materialized.find(current);
            if (found != doc->materialized.end()) {
                nb::object element = found->second;
                // A section inside another stays in that one's tree, as this same element.
                if (doc->dom().node(current).parent == kNoNode) doc->materialized.erase(found);
                nb::object r = steal_or_throw(PyObject_CallMethod(element.ptr(), "clear", nullptr));
            }
            doc->scanner->builder().clear(current);
            current = kNoNode;
            ++doc->generation;
            // What the consumer has moved past goes before the next waiting section is handed out.
            wait_for_readers(*doc);
            doc->shift_nodes(doc->scanner->builder().collect());
        }
        DomBuilder &builder = doc->scanner->builder();
        for (;;) {
            auto &ended = builder.ended_sections();
            if (!ended.empty()) {
                const NodeId node = ended.front();
                ended.pop_front();
                nb::object section_id;
                {
                    ReadGuard guard(*doc);
                    section_id = native_section_id(*doc, node);
                }
                nb::object cls =
                    steal_or_throw(PyObject_GetAttrString(parser.ptr(), "SectionResult"));
                current = node;
                return make_section(cls, section_id, SectionHandle{doc, node, doc->generation});
            }
            if (pending_error.is_valid()) {
                nb::object error = std::move(pending_error);
                raise_object(error);
            }
            if (closed_input) {
                finish();
                nb::object reset =
                    steal_or_throw(PyObject_CallMethod(parser.ptr(), "_reset_file", nullptr));
                return nb::object();
            }
            // Nothing waits: whatever the tree still holds of earlier sections can go.
            wait_for_readers(*doc);
            doc->shift_nodes(builder.collect());
            // source.read(n), without a format string or a bound method per call: 16 KiB at
            // first, as iterparse reads, then twice as much each time up to 1 MiB, so that a
            // large file takes few reads and few handovers of the interpreter lock.
            if (!read_size.is_valid() || read_bytes < (1 << 20)) {
                read_bytes = read_size.is_valid() ? read_bytes * 2 : 16 * 1024;
                read_size = steal_or_throw(PyLong_FromLong(read_bytes));
            }
            PyObject *args[] = {nullptr, source.ptr(), read_size.ptr()};
            nb::object data = steal_or_throw(PyObject_VectorcallMethod(
                interned("read"), args + 1, 2 | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr));
            if (!is_truthy(data.ptr())) {
                closed_input = true;
                const bool ok = feed_object(*doc, nullptr, true);
                doc->scanner->close();
                if (!ok) raise_object(parse_error_object(doc->scanner->failure()));
                continue;
            }
            if (!feed_object(*doc, data.ptr(), false)) {
                // XMLPullParser.feed queues a SyntaxError after the events parsed before it.
                pending_error = parse_error_object(doc->scanner->failure());
                doc->scanner->close();
            }
        }
    }
};

// ---------------------------------------------------------------------------------------------
// OutputFileParser

struct WholeParser {
    std::shared_ptr<DocState> doc;
    NodeId root_node = kNoNode;
    nb::object root;  // _root once made (or set by the caller): from then on all reads use it

    nb::object root_element() {
        if (!root.is_valid()) root = materialize(*doc, root_node);
        return root;
    }

    // The sections of the root, as (node, element-or-empty) in document order, until `f`
    // returns true.
    template <class F>
    void for_each_section(F &&f, const nb::object &root_override = nb::object()) {
        if (root_override.is_valid() || root.is_valid()) {
            const nb::object &r = root_override.is_valid() ? root_override : root;
            nb::object it = steal_or_throw(PyObject_GetIter(r.ptr()));
            while (PyObject *item = PyIter_Next(it.ptr())) {
                nb::object child = nb::steal(item);
                nb::object tag = tag_of(EtNode{child});
                if (equals(tag.ptr(), section_tag()) && f(kNoNode, child)) return;
            }
            if (PyErr_Occurred()) throw_python();
            return;
        }
        const Dom &d = doc->dom();
        for (NodeId c = d.node(root_node).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            if (d.tag(c) != marlox::results::kSectionConcreteCheckResult) continue;
            auto found = doc->materialized.find(c);
            if (f(c, found != doc->materialized.end() ? found->second : nb::object())) return;
        }
    }

    nb::object section_id_of(NodeId node, const nb::object &element) {
        if (element.is_valid()) return et_section_id(element);
        ReadGuard guard(*doc);
        return native_section_id(*doc, node);
    }

    // The section whose id equals `section_id`: its node (native) or its element.
    std::pair<NodeId, nb::object> find_section(PyObject *section_id,
                                               const nb::object &root_override = nb::object()) {
        std::pair<NodeId, nb::object> result{kNoNode, nb::object()};
        bool found = false;
        for_each_section(
            [&](NodeId node, const nb::object &element) {
                bool same;
                if (element.is_valid()) {
                    nb::object id = et_section_id(element);
                    same = equals(id.ptr(), section_id);
                } else {
                    ReadGuard guard(*doc);
                    same = native_section_id_equals(*doc, node, section_id);
                }
                if (!same) return false;
                result = {node, element};
                found = true;
                return true;
            },
            root_override);
        if (!found) raise_not_available(section_id);
        return result;
    }

    template <class R>
    nb::object section_results(PyObject *section_id, R &&reader) {
        auto [node, element] = find_section(section_id);
        SectionResult s;
        s.id = nb::borrow(section_id);
        if (element.is_valid()) {
            s.element = element;
        } else {
            s.doc = doc;
            s.node = node;
        }
        return read_section(s, reader);
    }
};

nb::handle g_whole_parser_type;

// self._root when a subclass replaces it, else an empty object.
nb::object overriding_root(nb::handle self) {
    if (!overrides(self, g_whole_parser_type, "_root")) return nb::object();
    return steal_or_throw(PyObject_GetAttrString(self.ptr(), "_root"));
}

// An accessor: natively, unless a subclass replaces _section_element or _root; then as the
// plain class does it, through those and RcsOutputFileParser.SectionResult.
template <class R>
nb::object accessor(nb::handle self, nb::handle section_id, const char *reader_name, R &&reader) {
    if (overrides(self, g_whole_parser_type, "_section_element") ||
        overrides(self, g_whole_parser_type, "_root")) {
        nb::object element = steal_or_throw(
            PyObject_CallMethod(self.ptr(), "_section_element", "O", section_id.ptr()));
        nb::object module =
            steal_or_throw(PyImport_ImportModule("marlox.external.idea_rcs.idea_rcs"));
        nb::object parser =
            steal_or_throw(PyObject_GetAttrString(module.ptr(), "RcsOutputFileParser"));
        nb::object cls = steal_or_throw(PyObject_GetAttrString(parser.ptr(), "SectionResult"));
        nb::object section = steal_or_throw(
            PyObject_CallFunctionObjArgs(cls.ptr(), section_id.ptr(), element.ptr(), nullptr));
        return steal_or_throw(PyObject_CallMethod(section.ptr(), reader_name, nullptr));
    }
    return nb::cast<WholeParser &>(self).section_results(section_id.ptr(), reader);
}

#define MARLOX_ACCESSOR(fn, name)                                                       \
    [](nb::handle self, nb::handle section_id) {                                        \
        return accessor(self, section_id, name, [](const auto &ex) { return fn(ex); }); \
    }

namespace {

const char *const kParserDoc =
    R"(Parser to extract results from an IDEA-RCS output file (.xml).

The following results can be read per check section (see SectionResult):

- capacity
- shear
- torsion
- interaction
- crack width
- detailing
- stress limitation
- fatigue

Example using a File, opened as a binary stream:

.. code-block:: python

    output_file = analysis.get_output_file(as_file=True)
    with output_file.open_binary() as f:
        parser = RcsOutputFileParser(f)
        for section in parser.section_results():
            capacity = section.capacity()

Example using the BytesIO that get_output_file() returns:

.. code-block:: python

    output_file = analysis.get_output_file()
    parser = RcsOutputFileParser(output_file)
    section = parser.section_result(1)
    shear = section.shear())";

const char *const kWholeDoc =
    R"(Parser to extract results from an IDEA-RCS output file (.xml), read as a whole.

The complete document is parsed into an element tree when the parser is made, and every query
is answered from memory. For very large result files use RcsOutputFileParser instead, which
streams through the document one check section at a time.)";

#define NOT_PRESENT "\n\n:raises ParsingError: if 'section_id' is not present in the output file."

}  // namespace

void bind_results(nb::module_ &m) {
    using namespace nb::literals;

    nb::class_<SectionHandle>(m, "_SectionHandle",
                              "Internal: a check section of a running scan, before it is "
                              "given to a SectionResult.");

    nb::class_<StreamParser> parser(m, "RcsOutputFileParser", nb::dynamic_attr(), kParserDoc);

    nb::class_<SectionResult> section(parser, "SectionResult", nb::dynamic_attr(),
                                      "Parsed result section, on which specific results can be "
                                      "retrieved.");
    g_section_result_type = nb::type<SectionResult>();
    section
        .def(
            "__init__",
            [](SectionResult *self, nb::object id, nb::object element) {
                SectionResult *s = new (self) SectionResult();
                s->id = std::move(id);
                if (nb::isinstance<SectionHandle>(element)) {
                    const SectionHandle &h = nb::cast<const SectionHandle &>(element);
                    s->doc = h.doc;
                    s->node = h.node;
                    s->generation = h.generation;
                } else {
                    s->element = std::move(element);
                }
            },
            "id_"_a, "element"_a.none(),
            nb::sig("def __init__(self, id_: int, element: xml.etree.ElementTree.Element) -> None"))
        .def_prop_ro(
            "id_", [](SectionResult &s) { return s.id; },
            nb::for_getter(nb::sig("def id_(self, /) -> int")), "The id of the check section.")
        .def_prop_rw(
            "_id", [](SectionResult &s) { return s.id; },
            [](SectionResult &s, nb::object v) { s.id = std::move(v); }, nb::arg("value").none())
        .def_prop_rw(
            "_element", [](SectionResult &s) { return section_element(s); },
            [](SectionResult &s, nb::object v) {
                s.element = std::move(v);
                s.doc.reset();
                s.node = kNoNode;
            },
            nb::arg("value").none())
        .def(
            "_iter_extreme_results",
            [](nb::handle self) {
                ExtremeIterator it;
                it.section = nb::borrow(self);
                return it;
            },
            "The result elements of the section's extremes, in document order.")
        .def("capacity", MARLOX_READER(read_capacity),
             nb::sig("def capacity(self) -> list[dict[str, typing.Any] | None]"),
             "Get the capacity results of all extremes for the current section.")
        .def("shear", MARLOX_READER(read_shear),
             nb::sig("def shear(self) -> list[dict[str, typing.Any] | None]"),
             "Get the shear resistances for all extremes for the current section.")
        .def("torsion", MARLOX_READER(read_torsion),
             nb::sig("def torsion(self) -> list[dict[str, typing.Any] | None]"),
             "Get the torsion results for all extremes for the current section.")
        .def("interaction", MARLOX_READER(read_interaction),
             nb::sig("def interaction(self) -> list[dict[str, typing.Any] | None]"),
             "Get the interaction results for all extremes for the current section.")
        .def("crack_width", MARLOX_READER(read_crack_width),
             nb::sig(
                 "def crack_width(self) -> list[dict[str, dict[str, typing.Any] | None] | None]"),
             "Get the crack width results of all extremes for the current section.")
        .def("detailing", MARLOX_READER(read_detailing),
             nb::sig("def detailing(self) -> list[dict[str, typing.Any] | None]"),
             "Get the detailing results of all extremes for the current section.")
        .def("stress_limitation", MARLOX_READER(read_stress_limitation),
             nb::sig("def stress_limitation(self) -> list[dict[str, typing.Any] | None]"),
             "Get the stress limitation results of all extremes for the current section.")
        .def("fatigue", MARLOX_READER(read_fatigue),
             nb::sig("def fatigue(self) -> list[dict[str, dict[str, typing.Any]] | None]"),
             "Get the fatigue results of all extremes for the current section.")
        .def(
            "extremes", [](nb::handle self) { return extremes_of(self); },
            nb::sig("def extremes(self) -> list[dict[str, typing.Any]]"),
            "Get all results combined per extreme for the current section.");

    nb::class_<ExtremeIterator>(m, "_ExtremeResultIterator",
                                "Iterator over the extremes of a check section.")
        .def("__iter__", [](nb::handle self) { return nb::borrow(self); })
        .def("__next__", [](ExtremeIterator &it) {
            nb::object item = it.next();
            if (!item.is_valid()) throw nb::stop_iteration();
            return item;
        });

    nb::class_<SectionIterator>(m, "_SectionResultIterator",
                                "Iterator over the check sections of a result file.")
        .def("__iter__", [](nb::handle self) { return nb::borrow(self); })
        .def("__next__",
             [](SectionIterator &it) {
                 nb::object section = it.next();
                 if (!section.is_valid()) throw nb::stop_iteration();
                 return section;
             })
        .def(
            "send",
            [](SectionIterator &it, nb::handle value) {
                if (it.state == SectionIterator::State::NotStarted && !value.is_none()) {
                    PyErr_SetString(PyExc_TypeError,
                                    "can't send non-None value to a just-started generator");
                    throw_python();
                }
                nb::object section = it.next();  // the value itself is not used
                if (!section.is_valid()) throw nb::stop_iteration();
                return section;
            },
            "value"_a.none())
        .def(
            "throw",
            [](SectionIterator &it, nb::handle type, nb::handle value, nb::handle traceback) {
                // Raised where the scan waits, and not caught there: the scan ends with it.
                if (it.busy) {
                    PyErr_SetString(PyExc_ValueError, "generator already executing");
                    throw_python();
                }
                if (it.state != SectionIterator::State::Finished) it.finish();
                nb::object error;
                if (PyExceptionInstance_Check(type.ptr())) {
                    error = nb::borrow(type);
                } else {
                    error = steal_or_throw(PyObject_CallNoArgs(type.ptr()));
                    if (!value.is_none()) {
                        error = steal_or_throw(PyObject_CallOneArg(type.ptr(), value.ptr()));
                    }
                }
                if (!traceback.is_none()) PyException_SetTraceback(error.ptr(), traceback.ptr());
                PyErr_SetObject((PyObject *)Py_TYPE(error.ptr()), error.ptr());
                throw_python();
            },
            "typ"_a, "val"_a.none() = nb::none(), "tb"_a.none() = nb::none())
        .def("close", [](SectionIterator &it) {
            if (it.busy) {
                PyErr_SetString(PyExc_ValueError, "generator already executing");
                throw_python();
            }
            if (it.state != SectionIterator::State::Finished) it.finish();
        });

    parser
        .def(
            "__init__",
            [](StreamParser *self, nb::object xml_file) {
                nb::object pos =
                    steal_or_throw(PyObject_CallMethod(xml_file.ptr(), "tell", nullptr));
                StreamParser *p = new (self) StreamParser();
                p->pos = std::move(pos);
                p->file = std::move(xml_file);
            },
            "xml_file"_a.none(), nb::sig("def __init__(self, xml_file: typing.BinaryIO) -> None"))
        .def_prop_rw(
            "_file", [](StreamParser &p) { return p.file; },
            [](StreamParser &p, nb::object v) { p.file = std::move(v); }, nb::arg("value").none())
        .def_prop_rw(
            "_pos", [](StreamParser &p) { return p.pos; },
            [](StreamParser &p, nb::object v) { p.pos = std::move(v); }, nb::arg("value").none())
        .def(
            "_reset_file",
            [](nb::handle self) {
                nb::object file = steal_or_throw(PyObject_GetAttrString(self.ptr(), "_file"));
                nb::object pos = steal_or_throw(PyObject_GetAttrString(self.ptr(), "_pos"));
                nb::object r =
                    steal_or_throw(PyObject_CallMethod(file.ptr(), "seek", "O", pos.ptr()));
            },
            "Seek the stream back to where it was when the parser was made.")
        .def(
            "section_results",
            [](nb::handle self) {
                SectionIterator it;
                it.parser = nb::borrow(self);
                return it;
            },
            nb::sig("def section_results(self) -> "
                    "collections.abc.Iterator[marlox.external.idea_rcs.idea_rcs."
                    "RcsOutputFileParser.SectionResult]"),
            "Iterates through all section results.")
        .def(
            "section_result",
            [](nb::handle self, nb::handle id_) {
                // for section in self.section_results(): ... (a subclass may replace it)
                nb::object sections =
                    steal_or_throw(PyObject_CallMethod(self.ptr(), "section_results", nullptr));
                nb::object it = steal_or_throw(PyObject_GetIter(sections.ptr()));
                while (PyObject *item = PyIter_Next(it.ptr())) {
                    nb::object section = nb::steal(item);
                    nb::object sid = steal_or_throw(PyObject_GetAttrString(section.ptr(), "id_"));
                    if (equals(sid.ptr(), id_.ptr())) {
                        nb::object r =
                            steal_or_throw(PyObject_CallMethod(self.ptr(), "_reset_file", nullptr));
                        // The scan is abandoned here: the section keeps its element.
                        return section;
                    }
                }
                if (PyErr_Occurred()) throw_python();
                raise_not_available(id_.ptr());
            },
            "id_"_a.none(),
            nb::sig("def section_result(self, id_: int) -> "
                    "marlox.external.idea_rcs.idea_rcs.RcsOutputFileParser.SectionResult"),
            "Get the result of the check section with the given id.\n\n"
            ":raises ParsingError: if no section has that id.");

    nb::class_<WholeParser> whole(m, "OutputFileParser", nb::dynamic_attr(), kWholeDoc);
    g_whole_parser_type = whole;
    whole
        .def(
            "__init__",
            [](WholeParser *self, nb::object xml_file) {
                nb::object getvalue =
                    steal_or_throw(PyObject_GetAttrString(xml_file.ptr(), "getvalue"));
                nb::object content = steal_or_throw(PyObject_CallNoArgs(getvalue.ptr()));
                auto doc = std::make_shared<DocState>(new_scanner(true), false);
                bool ok = feed_object(*doc, content.ptr(), false);
                if (ok) ok = feed_object(*doc, nullptr, true);
                doc->scanner->close();
                if (!ok) {
                    nb::object cause = parse_error_object(doc->scanner->failure());
                    set_python_error(marlox::Error(ErrorKind::SdkParsing,
                                                   "Provided 'xml_file' is not a valid XML file."));
                    PyObject *type, *value, *tb;
                    PyErr_Fetch(&type, &value, &tb);
                    PyErr_NormalizeException(&type, &value, &tb);
                    if (value != nullptr) {
                        PyException_SetCause(value, cause.inc_ref().ptr());
                        PyException_SetContext(value, cause.inc_ref().ptr());
                    }
                    PyErr_Restore(type, value, tb);
                    throw_python();
                }
                WholeParser *p = new (self) WholeParser();
                p->doc = std::move(doc);
                p->root_node = p->doc->scanner->builder().root();
            },
            "xml_file"_a.none(),
            nb::sig("def __init__(self, xml_file: io.StringIO | io.BytesIO) -> None"))
        .def_prop_rw(
            "_root", [](WholeParser &p) { return p.root_element(); },
            [](WholeParser &p, nb::object v) { p.root = std::move(v); }, nb::arg("value").none())
        .def_prop_ro(
            "section_ids",
            [](nb::handle self) {
                WholeParser &p = nb::cast<WholeParser &>(self);
                nb::object ids = new_list();
                p.for_each_section(
                    [&](NodeId node, const nb::object &element) {
                        nb::object id = p.section_id_of(node, element);
                        list_append(ids.ptr(), id.ptr());
                        return false;
                    },
                    overriding_root(self));
                return ids;
            },
            nb::for_getter(nb::sig("def section_ids(self, /) -> list[int]")),
            "The ids of all check sections in the result file, in document order.")
        .def(
            "_element_to_dict",
            [](WholeParser &, nb::object e) { return et_element_to_dict(e, 0); }, "e"_a.none(),
            "The element as nested dicts: {tag: [child dicts] or text}.")
        .def(
            "raw_results",
            [](nb::handle self) {
                if (overrides(self, g_whole_parser_type, "_root") ||
                    overrides(self, g_whole_parser_type, "_element_to_dict")) {
                    nb::object root = steal_or_throw(PyObject_GetAttrString(self.ptr(), "_root"));
                    return steal_or_throw(
                        PyObject_CallMethod(self.ptr(), "_element_to_dict", "O", root.ptr()));
                }
                WholeParser &p = nb::cast<WholeParser &>(self);
                if (p.root.is_valid()) return et_element_to_dict(p.root, 1);
                // Elements already handed out may have been changed: then the tree is read as
                // ElementTree elements, with those elements in it.
                DocState &doc = *p.doc;
                if (!doc.materialized.empty()) return et_element_to_dict(p.root_element(), 1);
                ReadGuard guard(doc);
                return element_to_dict_impl(
                    NativeNode{&doc, p.root_node, nullptr}, 1, [&](const NativeNode &n) {
                        std::vector<NativeNode> children;
                        for_each_child(n, [&](const NativeNode &c) { children.push_back(c); });
                        return children;
                    });
            },
            nb::sig("def raw_results(self) -> dict[str, typing.Any]"),
            "The whole result file as nested dicts (see _element_to_dict).")
        .def(
            "_section_element",
            [](nb::handle self, nb::handle section_id) {
                WholeParser &p = nb::cast<WholeParser &>(self);
                auto [node, element] = p.find_section(section_id.ptr(), overriding_root(self));
                if (element.is_valid()) return element;
                return materialize(*p.doc, node);
            },
            "section_id"_a.none())
        .def("capacity_results", MARLOX_ACCESSOR(read_capacity, "capacity"), "section_id"_a.none(),
             nb::sig("def capacity_results(self, section_id: int) -> list[dict[str, typing.Any] | "
                     "None]"),
             "Get the capacity results of all extremes of a check section." NOT_PRESENT)
        .def("shear_results", MARLOX_ACCESSOR(read_shear, "shear"), "section_id"_a.none(),
             nb::sig(
                 "def shear_results(self, section_id: int) -> list[dict[str, typing.Any] | None]"),
             "Get the shear results of all extremes of a check section." NOT_PRESENT)
        .def("crack_width_results", MARLOX_ACCESSOR(read_crack_width, "crack_width"),
             "section_id"_a.none(),
             nb::sig("def crack_width_results(self, section_id: int) -> list[dict[str, dict[str, "
                     "typing.Any] | None] | None]"),
             "Get the crack width results of all extremes of a check section." NOT_PRESENT)
        .def("detailing_results", MARLOX_ACCESSOR(read_detailing, "detailing"),
             "section_id"_a.none(),
             nb::sig("def detailing_results(self, section_id: int) -> list[dict[str, float | None] "
                     "| None]"),
             "Get the detailing results of all extremes of a check section." NOT_PRESENT)
        .def("stress_limitation_results",
             MARLOX_ACCESSOR(read_stress_limitation, "stress_limitation"), "section_id"_a.none(),
             nb::sig("def stress_limitation_results(self, section_id: int) -> list[dict[str, float "
                     "| None] | None]"),
             "Get the stress limitation results of all extremes of a check section." NOT_PRESENT)
        .def("fatigue_results", MARLOX_ACCESSOR(read_fatigue, "fatigue"), "section_id"_a.none(),
             nb::sig("def fatigue_results(self, section_id: int) -> list[dict | None]"),
             "Get the fatigue results of all extremes of a check section." NOT_PRESENT);
}

}  // namespace marlox::py::results

namespace marlox::py {
void bind_results(nb::module_ &m) { results::bind_results(m); }
}  // namespace marlox::py
