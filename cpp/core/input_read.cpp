#include "core/input_read.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "core/error.hpp"
#include "core/input_tree.hpp"
#include "core/input_xml.hpp"

namespace marlox::input_read {

// The top-level lists the model holds: wrapper element, item element, xsi:types it may carry.
struct ListEntry {
    const char *wrapper;
    const char *item;
    List list;
    std::vector<const char *> types;
};

namespace {

const std::vector<ListEntry> &lists() {
    static const std::vector<ListEntry> all = {
        {"MatConcrete", "MatConcrete", List::MatConcrete, {"MatConcreteEc2"}},
        {"MatReinforcement", "MatReinforcement", List::MatReinforcement, {"MatReinforcementEc2"}},
        {"CrossSection",
         "CrossSection",
         List::CrossSection,
         {"CrossSectionParameter", "CrossSectionComponent"}},
        {"ReinforcedCrossSection",
         "ReinforcedCrossSection",
         List::ReinforcedCrossSection,
         {"ReinforcedCrossSection"}},
        {"CheckMember", "CheckMember", List::CheckMember, {"CheckMember1D"}},
        {"ConcreteCheckSection", "CheckSection", List::CheckSection, {"StandardCheckSection"}},
        {"Attribute", "OpenAttribute", List::Attribute, {"ConcreteMemberDataEc2"}},
    };
    return all;
}

// Top-level lists of IDEA's OpenModel (any version) that an RCS model leaves empty: those the
// writer states, and those of other versions and of steel and connection models.
bool is_unused_list(std::string_view tag) {
    static const char *const others[] = {
        "OriginSettings",  "MatSteel",           "MatPrestressSteel", "MatWelding",
        "MatBoltGrade",    "MatHeadedStudGrade", "BoltAssembly",      "Pin",
        "ConnectionSetup", "SolidBlocks3D",      "SurfaceSupports3D", "BasePlates3D",
        "Anchors3D",       "DetailLoadCase",     "DetailCombination"};
    return is_one_of(tag, others) || is_one_of(tag, input_xml::kEmptyListsBeforeMaterials) ||
           is_one_of(tag, input_xml::kEmptyListsBeforeMemberData) ||
           is_one_of(tag, input_xml::kEmptyListsBeforeProjectData) ||
           is_one_of(tag, input_xml::kEmptyListsAtTheEnd);
}

constexpr const char *kXsiType = "http://www.w3.org/2001/XMLSchema-instance}type";
// IOM nests about ten levels deep; anything far deeper is not an OpenModel document.
constexpr std::size_t kMaxDepth = 32;

}  // namespace

std::string Item::element() const {
    std::string out = "<" + std::string(tag);
    if (!xsi_type.empty()) out += " xsi:type=\"" + std::string(xsi_type) + "\"";
    return out + ">";
}

int Items::add(const schema::Type &type, std::uint32_t line, std::string_view tag,
               std::string_view xsi_type) {
    if (used_ == pool_.size()) pool_.emplace_back();
    Item &item = pool_[used_];
    item.type = &type;
    item.line = line;
    item.tag = tag;
    item.xsi_type = xsi_type;
    item.library = false;
    item.derived = true;
    item.closed = false;
    item.creep_mode = -1;
    item.values.resize(type.fields.size());
    // Only the kind: a slot's buffers are cleared where a value is first written to it.
    for (Val &v : item.values) v.kind = Val::Kind::Absent;
    return (int)used_++;
}

struct Reader::State {
    enum class Top { None, List, Singleton, Unused };

    const expat::CApi *api;
    expat::Parser parser = nullptr;
    Sink &sink;
    Tree tree;      // what is being read
    Tree decoding;  // what is being decoded
    Decoder decoder{decoding};
    std::vector<Tree> kept;  // the singletons' trees
    Handoff *handoff = nullptr;
    std::unique_ptr<TopLevel> next;  // what the handoff gave back to read into
    Items items, settings;
    int project = -1, code = -1;
    std::vector<int> open;  // open elements below the root (tree indices; -1 for a wrapper)
    std::size_t depth = 0;  // including the root
    Top top = Top::None;
    const ListEntry *list = nullptr;
    std::string top_tag;
    bool started = false;
    bool rooted = false;         // the root element has begun
    std::exception_ptr failure;  // from a handler: the rest of the document is ignored

    State(const expat::Host &host, Sink &s) : api(host.api), sink(s) {
        parser = api->ParserCreate_MM(nullptr, nullptr, "}");
        if (parser == nullptr) throw std::bad_alloc();
        if (host.has_hash_salt && api->SetHashSalt != nullptr)
            api->SetHashSalt(parser, host.hash_salt);
        api->SetUserData(parser, this);
        api->SetElementHandler(parser, &State::on_start, &State::on_end);
        api->SetCharacterDataHandler(parser, &State::on_data);
        api->SetDefaultHandlerExpand(parser, &State::on_default);
        api->SetUnknownEncodingHandler(parser, host.unknown_encoding, host.unknown_encoding_data);
        project = settings.add(*schema::find_type("ProjectData"), 0, "ProjectData");
        code = settings.add(*schema::find_type("CodeSettings"), 0, "ProjectData");
    }
    ~State() { api->ParserFree(parser); }

    std::uint32_t line() const { return (std::uint32_t)api->GetErrorLineNumber(parser); }

    [[noreturn]] void fail_here(const std::string &element, const std::string &what) const {
        fail(ErrorKind::Value, "line " + std::to_string(line()) + ": <" + element + "> " + what);
    }

    int add_node(const char *name, const char **atts) {
        Node node;
        node.line = line();
        node.tag_off = tree.arena.size();
        node.tag_len = (std::uint32_t)std::strlen(name);
        tree.arena.append(name, node.tag_len);
        for (const char **a = atts; *a != nullptr; a += 2) {
            if (std::strcmp(a[0], kXsiType) != 0) continue;
            node.has_type = true;
            node.type_off = tree.arena.size();
            node.type_len = (std::uint32_t)std::strlen(a[1]);
            tree.arena.append(a[1], node.type_len);
        }
        const int index = (int)tree.nodes.size();
        if (!open.empty() && open.back() >= 0) {
            Node &parent = tree.nodes[(std::size_t)open.back()];
            if (parent.last >= 0)
                tree.nodes[(std::size_t)parent.last].next = index;
            else
                parent.first = index;
            parent.last = index;
        }
        tree.nodes.push_back(node);
        return index;
    }

    void start(const char *name, const char **atts) {
        ++depth;
        if (depth > kMaxDepth) fail_here(name, "is nested too deep for an OpenModel document");
        if (depth == 1) {
            rooted = true;
            if (std::strcmp(name, "OpenModel") != 0)
                fail_here(name, "is not an IDEA OpenModel document (its root is not <OpenModel>)");
            return;
        }
        if (depth == 2) {
            top_tag = name;
            list = nullptr;
            tree.clear();
            for (const ListEntry &entry : lists())
                if (top_tag == entry.wrapper) list = &entry;
            if (list != nullptr) {
                top = Top::List;
                open.push_back(-1);
            } else if (top_tag == "Version" || top_tag == "ProjectData" ||
                       top_tag == "ConcreteSetup" || top_tag == "ProjectDataConcrete") {
                top = Top::Singleton;
                open.push_back(add_node(name, atts));
            } else if (is_unused_list(top_tag)) {
                top = Top::Unused;
                open.push_back(-1);
            } else {
                fail_here(name, "is not part of an OpenModel document that the model can hold");
            }
            return;
        }
        if (top == Top::Unused)
            fail_here(name, "stands in <" + top_tag + ">, which an RCS model cannot hold");
        if (depth == 3 && top == Top::List) tree.clear();
        open.push_back(add_node(name, atts));
    }

    void end() {
        const std::size_t at = depth--;
        if (at == 1) return;
        const int node = open.back();
        open.pop_back();
        if (at == 3 && top == Top::List) return read(list, node);
        if (at == 2 && top == Top::Singleton) read(nullptr, node);
    }

    // A top-level element read whole: decoded now, or handed over.
    void read(const ListEntry *entry, int node) {
        if (handoff == nullptr) {
            std::swap(tree, decoding);
            return decode(entry, top_tag, node);
        }
        if (!next) next = std::make_unique<TopLevel>();
        next->list = entry;
        next->tag = entry == nullptr ? top_tag : std::string();
        next->node = node;
        std::swap(next->tree, tree);
        handoff->read(next);
    }

    void decode(const ListEntry *entry, const std::string &tag, int node) {
        if (entry == nullptr) {
            singleton(tag, node);
            // The settings' items view its text until the end.
            kept.push_back(std::move(decoding));
            decoding = Tree();
            return;
        }
        if (decoding.tag(node) != entry->item)
            decoding.fail_at(node, std::string("cannot stand in <") + entry->wrapper +
                                       "> (expected <" + entry->item + ">)");
        std::string_view type_name = decoding.xsi_type(node);
        if (!decoding.has_type(node))
            type_name = entry->item;  // allowed where the item is the type
        const schema::Type *type = nullptr;
        for (const char *name : entry->types)
            if (type_name == name) type = schema::find_type(name);
        if (type == nullptr) {
            std::string expected;
            for (const char *name : entry->types)
                expected += (expected.empty() ? "" : " or ") + std::string(name);
            decoding.fail_at(node, "is not a type the model can hold in <" +
                                       std::string(entry->wrapper) + "> (expected xsi:type " +
                                       expected + ")");
        }
        items.clear();
        const int root = decoder.entry(node, *type, items);
        sink.object(entry->list, items, root);
    }

    void singleton(const std::string &tag, int node) {
        if (tag == "Version") {
            if (decoding.first(node) >= 0) decoding.fail_at(node, "must hold a version number");
        } else if (tag == "ProjectData") {
            decoder.project_data(node, settings, project, code);
        } else if (tag == "ConcreteSetup") {
            decoder.concrete_setup(node);
        } else {
            decoder.project_data_concrete(node, settings, code);
        }
    }

    void data(const char *s, int len) {
        if (open.empty() || open.back() < 0) {
            // Text directly in the root or in a list wrapper: only white space belongs there.
            for (int i = 0; i < len; ++i)
                if (s[i] != ' ' && s[i] != '\t' && s[i] != '\n' && s[i] != '\r')
                    fail_here(depth == 1 ? "OpenModel" : top_tag, "holds text where none belongs");
            return;
        }
        Node &node = tree.nodes[(std::size_t)open.back()];
        if (node.first >= 0) {
            for (int i = 0; i < len; ++i)
                if (s[i] != ' ' && s[i] != '\t' && s[i] != '\n' && s[i] != '\r')
                    tree.fail_at(open.back(), "holds both text and elements");
            return;
        }
        if (node.text_len == 0) node.text_off = tree.arena.size();
        tree.arena.append(s, (std::size_t)len);
        node.text_len += (std::uint32_t)len;
    }

    // Every handler stops at the first failure; expat goes on to the end of the piece it was
    // given, and feed() reports the failure when it returns.
    template <class F>
    static void guarded(void *user, F &&f) {
        auto *self = static_cast<State *>(user);
        if (self->failure) return;
        try {
            f(*self);
        } catch (...) {
            self->failure = std::current_exception();
        }
    }
    static void on_start(void *user, const char *name, const char **atts) {
        guarded(user, [&](State &s) { s.start(name, atts); });
    }
    static void on_end(void *user, const char *) {
        guarded(user, [](State &s) { s.end(); });
    }
    static void on_data(void *user, const char *s, int len) {
        guarded(user, [&](State &st) { st.data(s, len); });
    }
    // As ElementTree: an entity reference that reaches the default handler (an undefined
    // entity in a document with an external subset) is an error of its own.
    static void on_default(void *user, const char *s, int len) {
        if (len < 2 || s[0] != '&') return;
        guarded(user, [&](State &st) {
            const std::string entity(s, (std::size_t)std::min(len, 100));
            const long line = (long)st.api->GetErrorLineNumber(st.parser);
            const long column = (long)st.api->GetErrorColumnNumber(st.parser);
            throw Error::parse("undefined entity " + entity + ": line " + std::to_string(line) +
                                   ", column " + std::to_string(column),
                               expat::ERROR_UNDEFINED_ENTITY, line, column);
        });
    }

    void parse(const char *data, int len, bool final) {
        const expat::Status status = api->Parse(parser, data, len, final ? 1 : 0);
        if (failure) std::rethrow_exception(failure);
        if (status == expat::STATUS_ERROR) {
            const int code = (int)api->GetErrorCode(parser);
            const long line = (long)api->GetErrorLineNumber(parser);
            const long column = (long)api->GetErrorColumnNumber(parser);
            if (code == expat::ERROR_NO_MEMORY) throw std::bad_alloc();
            const char *text = api->ErrorString((expat::Error)code);
            throw Error::parse(std::string(text ? text : "") + ": line " + std::to_string(line) +
                                   ", column " + std::to_string(column),
                               code, line, column);
        }
    }
};

Reader::Reader(const expat::Host &host, Sink &sink) : state_(std::make_unique<State>(host, sink)) {}

Reader::~Reader() = default;

bool Reader::past_prolog() const { return state_->rooted; }

void Reader::feed(const char *data, std::size_t len, bool final) {
    State &s = *state_;
    if (!s.started && len > 0) {
        s.started = true;
        // IDEA reads a file with a UTF-16 byte-order mark as UTF-16 whatever its declaration
        // says (some of its own files say utf-8); so does this reader.
        const auto *b = reinterpret_cast<const unsigned char *>(data);
        if (len >= 2 && ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == 0xFE && b[1] == 0xFF)))
            (void)s.api->SetEncoding(s.parser, "UTF-16");
    }
    // expat copies what it is given into a buffer of its own: large input goes in pieces.
    constexpr std::size_t kPiece = 1 << 16;
    std::size_t done = 0;
    do {
        const std::size_t n = std::min(kPiece, len - done);
        s.parse(data + done, (int)n, final && done + n == len);
        done += n;
    } while (done < len);
    if (final && s.handoff == nullptr) finish();
}

void Reader::hand_over(Handoff &handoff) { state_->handoff = &handoff; }

void Reader::decode(TopLevel &top) {
    State &s = *state_;
    std::swap(top.tree, s.decoding);
    s.decode(top.list, top.tag, top.node);
}

void Reader::finish() {
    State &s = *state_;
    s.decoder.finish(s.settings, s.code);
    bool project = false;
    for (const Val &v : s.settings[s.project].values) project |= v.kind != Val::Kind::Absent;
    bool code = false;
    for (const Val &v : s.settings[s.code].values) code |= v.kind != Val::Kind::Absent;
    s.sink.settings(s.settings, project ? s.project : -1, code ? s.code : -1);
}

}  // namespace marlox::input_read
