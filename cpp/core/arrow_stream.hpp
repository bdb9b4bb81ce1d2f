// Tables handed to other libraries through the Arrow C data and C stream interfaces, without a
// copy: the exported arrays point into the table's own columns and keep the table alive until
// the consumer releases them.
//
// The three structs below are written out here, as the Arrow project asks producers to do: they
// are a small ABI that Arrow declares stable, specified field for field, and meant to be copied
// into a producer rather than taken from a library. A library for building arrays in general
// would bring much more than a table of five column kinds needs, and a build dependency.
#pragma once

#include <cstdint>
#include <memory>

#include "core/table.hpp"

extern "C" {

#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
    const char *format;
    const char *name;
    const char *metadata;
    int64_t flags;
    int64_t n_children;
    struct ArrowSchema **children;
    struct ArrowSchema *dictionary;
    void (*release)(struct ArrowSchema *);
    void *private_data;
};

struct ArrowArray {
    int64_t length;
    int64_t null_count;
    int64_t offset;
    int64_t n_buffers;
    int64_t n_children;
    const void **buffers;
    struct ArrowArray **children;
    struct ArrowArray *dictionary;
    void (*release)(struct ArrowArray *);
    void *private_data;
};

#endif  // ARROW_C_DATA_INTERFACE

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
    int (*get_schema)(struct ArrowArrayStream *, struct ArrowSchema *out);
    int (*get_next)(struct ArrowArrayStream *, struct ArrowArray *out);
    const char *(*get_last_error)(struct ArrowArrayStream *);
    void (*release)(struct ArrowArrayStream *);
    void *private_data;
};

#endif  // ARROW_C_STREAM_INTERFACE
}

namespace marlox::table {

// The schema of `table` into `out`: a struct whose fields are the columns, in order, each with
// its unit in the field metadata (key "unit") when it has one. Text columns are dictionary
// encoded (int32 indices, UTF-8 dictionary). Throws std::bad_alloc (`out` is then untouched).
void export_schema(const Table &table, ArrowSchema *out);

// The table as a stream into `out`: one record batch per chunk of rows (none for an empty
// table), the dictionaries of its text columns whole in every batch. Throws std::bad_alloc.
void export_stream(std::shared_ptr<const Table> table, ArrowArrayStream *out);

}  // namespace marlox::table
