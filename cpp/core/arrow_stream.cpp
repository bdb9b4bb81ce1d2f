#include "core/arrow_stream.hpp"

#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace marlox::table {

namespace {

// What a buffer of length zero points to: consumers may read its address.
alignas(64) const std::uint8_t kEmpty[64] = {};

const void *or_empty(const void *p) { return p != nullptr ? p : kEmpty; }

// Release and free a node that was handed out (null, or already moved by its consumer: only
// freed).
template <class S>
void drop(S *s) {
    if (s == nullptr) return;
    if (s->release != nullptr) s->release(s);
    delete s;
}

// The release callback of a schema or array node: its children and dictionary, then itself.
template <class S, class Data>
void release_node(S *s) {
    auto *data = static_cast<Data *>(s->private_data);
    for (S *child : data->children) drop(child);
    drop(data->dictionary);
    delete data;
    s->release = nullptr;
}

// Nodes made so far while more are made: dropped if something fails before they are adopted.
template <class S>
struct Owned {
    std::vector<S *> items;
    ~Owned() {
        for (S *s : items) drop(s);
    }
};

// ---------------------------------------------------------------------------------------------
// Schemas

struct SchemaData {
    std::string format, name, metadata;
    std::vector<ArrowSchema *> children;
    ArrowSchema *dictionary = nullptr;
};

// A schema node owned by a unique_ptr until it is handed over.
struct SchemaNode {
    std::unique_ptr<ArrowSchema> schema{new ArrowSchema{}};
    std::unique_ptr<SchemaData> data{new SchemaData};
};

// Arrow's metadata encoding: int32 pair count, then each key and value as int32 length + bytes.
std::string metadata(const std::string &unit) {
    if (unit.empty()) return {};
    std::string out;
    auto put_int = [&](std::int32_t v) { out.append(reinterpret_cast<const char *>(&v), 4); };
    put_int(1);
    put_int(4);
    out += "unit";
    put_int((std::int32_t)unit.size());
    out += unit;
    return out;
}

// Fill `node` and give its schema the release callback; children are adopted.
ArrowSchema *finish(SchemaNode &node, std::vector<ArrowSchema *> children, ArrowSchema *dictionary,
                    std::int64_t flags) {
    SchemaData *d = node.data.get();
    d->children = std::move(children);
    d->dictionary = dictionary;
    ArrowSchema *s = node.schema.get();
    s->format = d->format.c_str();
    s->name = d->name.c_str();
    s->metadata = d->metadata.empty() ? nullptr : d->metadata.data();
    s->flags = flags;
    s->n_children = (std::int64_t)d->children.size();
    s->children = d->children.empty() ? nullptr : d->children.data();
    s->dictionary = dictionary;
    s->release = &release_node<ArrowSchema, SchemaData>;
    s->private_data = node.data.release();
    return node.schema.release();
}

const char *format_of(Type t) {
    switch (t) {
        case Type::Int64:
            return "l";
        case Type::Int32:
        case Type::Text:
            return "i";
        case Type::Float64:
            return "g";
        case Type::Bool:
            return "b";
    }
    return "n";
}

ArrowSchema *column_schema(const Column &c) {
    ArrowSchema *dictionary = nullptr;
    if (c.type() == Type::Text) {
        SchemaNode dict;
        dict.data->format = "u";
        dictionary = finish(dict, {}, nullptr, 0);
    }
    try {
        SchemaNode node;
        node.data->format = format_of(c.type());
        node.data->name = c.name();
        node.data->metadata = metadata(c.unit());
        return finish(node, {}, dictionary, c.nullable() ? ARROW_FLAG_NULLABLE : 0);
    } catch (...) {
        drop(dictionary);
        throw;
    }
}

// ---------------------------------------------------------------------------------------------
// Arrays

struct ArrayData {
    std::shared_ptr<const Table> keep;
    std::vector<const void *> buffers;
    std::vector<ArrowArray *> children;
    ArrowArray *dictionary = nullptr;
};

ArrowArray *make_array(const std::shared_ptr<const Table> &keep, std::int64_t length,
                       std::int64_t nulls, std::vector<const void *> buffers,
                       std::vector<ArrowArray *> children, ArrowArray *dictionary) {
    std::unique_ptr<ArrowArray> array(new ArrowArray{});
    std::unique_ptr<ArrayData> data(new ArrayData{keep, std::move(buffers), {}, nullptr});
    data->children = std::move(children);
    data->dictionary = dictionary;
    ArrowArray *a = array.get();
    a->length = length;
    a->null_count = nulls;
    a->offset = 0;
    a->n_buffers = (std::int64_t)data->buffers.size();
    a->buffers = data->buffers.data();
    a->n_children = (std::int64_t)data->children.size();
    a->children = data->children.empty() ? nullptr : data->children.data();
    a->dictionary = dictionary;
    a->release = &release_node<ArrowArray, ArrayData>;
    a->private_data = data.release();
    return array.release();
}

// Chunk `k` of a column.
ArrowArray *column_array(const std::shared_ptr<const Table> &keep, const Column &c, std::size_t k) {
    const Chunk &chunk = c.chunk(k);
    ArrowArray *dictionary = nullptr;
    if (c.type() == Type::Text) {
        dictionary = make_array(keep, (std::int64_t)c.dictionary_size(), 0,
                                {nullptr, c.dictionary_offsets(), or_empty(c.dictionary_data())},
                                {}, nullptr);
    }
    try {
        return make_array(keep, (std::int64_t)chunk.size, (std::int64_t)chunk.nulls,
                          {c.validity(chunk), or_empty(c.values(chunk))}, {}, dictionary);
    } catch (...) {
        drop(dictionary);
        throw;
    }
}

// ---------------------------------------------------------------------------------------------
// The stream

struct StreamData {
    std::shared_ptr<const Table> table;
    std::size_t next = 0;  // the chunk that the next batch holds
    std::string error;
};

int stream_schema(ArrowArrayStream *s, ArrowSchema *out) {
    auto *d = static_cast<StreamData *>(s->private_data);
    try {
        export_schema(*d->table, out);
        return 0;
    } catch (...) {
        d->error = "out of memory";
        return ENOMEM;
    }
}

int stream_next(ArrowArrayStream *s, ArrowArray *out) {
    auto *d = static_cast<StreamData *>(s->private_data);
    const Table &t = *d->table;
    if (d->next >= t.chunk_count()) {
        std::memset(out, 0, sizeof *out);  // release == nullptr: the end of the stream
        return 0;
    }
    try {
        const std::size_t k = d->next;
        Owned<ArrowArray> columns;
        columns.items.reserve(t.columns.size());
        for (const Column &c : t.columns) columns.items.push_back(column_array(d->table, c, k));
        std::vector<ArrowArray *> children = std::move(columns.items);
        columns.items.clear();
        ArrowArray *batch;
        try {
            const auto rows = (std::int64_t)t.columns.front().chunk(k).size;
            batch = make_array(d->table, rows, 0, {nullptr}, children, nullptr);
        } catch (...) {
            columns.items = std::move(children);
            throw;
        }
        *out = *batch;  // moved: the struct is copied, the heap shell freed
        delete batch;
        ++d->next;
        return 0;
    } catch (...) {
        d->error = "out of memory";
        return ENOMEM;
    }
}

const char *stream_error(ArrowArrayStream *s) {
    auto *d = static_cast<StreamData *>(s->private_data);
    return d->error.empty() ? nullptr : d->error.c_str();
}

void stream_release(ArrowArrayStream *s) {
    delete static_cast<StreamData *>(s->private_data);
    s->release = nullptr;
}

}  // namespace

void export_schema(const Table &table, ArrowSchema *out) {
    Owned<ArrowSchema> fields;
    fields.items.reserve(table.columns.size());
    for (const Column &c : table.columns) fields.items.push_back(column_schema(c));
    SchemaNode root;
    root.data->format = "+s";
    std::vector<ArrowSchema *> children = std::move(fields.items);
    fields.items.clear();
    ArrowSchema *s;
    try {
        s = finish(root, children, nullptr, 0);
    } catch (...) {
        fields.items = std::move(children);
        throw;
    }
    *out = *s;
    delete s;
}

void export_stream(std::shared_ptr<const Table> table, ArrowArrayStream *out) {
    auto *data = new StreamData{std::move(table), 0, {}};
    out->get_schema = &stream_schema;
    out->get_next = &stream_next;
    out->get_last_error = &stream_error;
    out->release = &stream_release;
    out->private_data = data;
}

}  // namespace marlox::table
