// Typed columns and the tables made of them. The memory layout is the one the Arrow columnar
// format prescribes (values, a validity bitmap, bit-packed booleans, texts as int32 indices into
// a dictionary of UTF-8 strings), so that a table is handed to other libraries without a copy
// (core/arrow_stream.hpp). Every append may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace marlox::table {

enum class Type {
    Int64,
    Int32,
    Float64,
    Bool,
    Text,  // dictionary-encoded UTF-8: int32 codes into the column's own dictionary
};

// Rows are kept in chunks of a fixed number of rows, so that a growing column never copies what
// it holds and memory stays close to the values themselves; a chunk is one Arrow record batch.
inline constexpr std::size_t kChunkBits = 16;
inline constexpr std::size_t kChunkRows = std::size_t{1} << kChunkBits;

struct Chunk {
    std::size_t size = 0;
    std::size_t nulls = 0;
    std::vector<std::uint8_t> validity;  // empty until the chunk's first missing value
    std::vector<std::int64_t> i64;
    std::vector<std::int32_t> i32;  // Int32 values, or the codes of a Text column
    std::vector<double> f64;        // a missing value is NaN here
    std::vector<std::uint8_t> bits;
};

class Column {
  public:
    // `unit`: the unit of the values ("" for none); `nullable`: whether values may be missing.
    Column(std::string name, Type type, std::string unit = {}, bool nullable = true);

    const std::string &name() const noexcept { return name_; }
    Type type() const noexcept { return type_; }
    const std::string &unit() const noexcept { return unit_; }
    bool nullable() const noexcept { return nullable_; }
    std::size_t size() const noexcept { return size_; }
    // The bytes the column holds (its buffers as allocated, and its dictionary).
    std::size_t nbytes() const noexcept;
    // Give back what the last chunk holds beyond its values (once no more rows will come).
    void shrink();

    // The appends of ints, floats and nulls are inline: a table builder makes tens of them a
    // row, and most of them only store a value at the end of a buffer with room for it.
    void append_int(std::int64_t v) {
        Chunk &c = room();
        if (type_ == Type::Int64) {
            c.i64.push_back(v);
        } else {
            c.i32.push_back((std::int32_t)v);
        }
        mark(c, true);
    }
    void append_float(double v) {
        Chunk &c = room();
        c.f64.push_back(v);
        mark(c, true);
    }
    void append_bool(bool v);
    void append_text(std::string_view v);
    void append_null() {
        if (type_ != Type::Float64) return append_null_slow();
        Chunk &c = room();
        c.f64.push_back(std::numeric_limits<double>::quiet_NaN());
        mark(c, false);
    }
    // Row `i` of `other`, a column of the same type.
    void append_from(const Column &other, std::size_t i);
    // Every row of `other`, a column of the same type.
    void append_column(const Column &other);

    bool valid(std::size_t i) const noexcept {
        const Chunk &c = at(i);
        const std::size_t j = i & (kChunkRows - 1);
        return c.validity.empty() || (c.validity[j >> 3] >> (j & 7) & 1) != 0;
    }
    std::int64_t int_at(std::size_t i) const noexcept {
        const std::size_t j = i & (kChunkRows - 1);
        return type_ == Type::Int64 ? at(i).i64[j] : at(i).i32[j];
    }
    double float_at(std::size_t i) const noexcept { return at(i).f64[i & (kChunkRows - 1)]; }
    bool bool_at(std::size_t i) const noexcept {
        const std::size_t j = i & (kChunkRows - 1);
        return (at(i).bits[j >> 3] >> (j & 7) & 1) != 0;
    }
    std::int32_t code_at(std::size_t i) const noexcept { return at(i).i32[i & (kChunkRows - 1)]; }
    std::string_view text_at(std::size_t i) const noexcept { return entry(code_at(i)); }

    // The chunks, and their buffers as Arrow lays them out: validity (null when nothing is
    // missing), values (or the codes of a text column); for a text column its dictionary, one
    // for all chunks, as offsets and UTF-8 data.
    std::size_t chunk_count() const noexcept { return chunks_.size(); }
    const Chunk &chunk(std::size_t k) const noexcept { return chunks_[k]; }
    const std::uint8_t *validity(const Chunk &c) const noexcept {
        return c.nulls == 0 ? nullptr : c.validity.data();
    }
    const void *values(const Chunk &c) const noexcept;
    std::size_t dictionary_size() const noexcept { return offsets_.size() - 1; }
    const std::int32_t *dictionary_offsets() const noexcept { return offsets_.data(); }
    const char *dictionary_data() const noexcept { return data_.data(); }
    std::string_view entry(std::int32_t code) const noexcept {
        return std::string_view(data_.data() + offsets_[(std::size_t)code],
                                (std::size_t)(offsets_[(std::size_t)code + 1] - offsets_[code]));
    }

  private:
    const Chunk &at(std::size_t i) const noexcept { return chunks_[i >> kChunkBits]; }
    // The code of a text in the dictionary, added if new.
    std::int32_t intern(std::string_view v);
    // The rows of `other` (`codes`: its text codes in this dictionary).
    template <class T>
    void append_values(const Column &other, std::vector<T> Chunk::*values,
                       const std::vector<std::int32_t> *codes);
    // The chunk the next row goes to.
    Chunk &room() {
        if (!chunks_.empty() && chunks_.back().size < kChunkRows) return chunks_.back();
        return new_chunk();
    }
    Chunk &new_chunk();
    // Count the row just stored in `c`, valid or missing.
    void mark(Chunk &c, bool valid) {
        if (!valid || !c.validity.empty()) return mark_bitmap(c, valid);
        ++c.size;
        ++size_;
    }
    void mark_bitmap(Chunk &c, bool valid);
    void append_null_slow();

    std::string name_;
    Type type_;
    std::string unit_;
    bool nullable_;
    std::size_t size_ = 0;
    std::vector<Chunk> chunks_;
    // The dictionary of a Text column: Arrow's offsets and data, and a lookup by text whose
    // keys point into `texts_` (a deque, so they stay put).
    std::vector<std::int32_t> offsets_{0};
    std::string data_;
    std::deque<std::string> texts_;
    std::unordered_map<std::string_view, std::int32_t> codes_;
    std::int32_t last_code_ = -1;  // texts repeat row after row: the last one is tried first
};

struct Table {
    std::vector<Column> columns;

    std::size_t rows() const noexcept { return columns.empty() ? 0 : columns.front().size(); }
    // Every column has the same chunks: rows are appended to all columns at once.
    std::size_t chunk_count() const noexcept {
        return columns.empty() ? 0 : columns.front().chunk_count();
    }
    std::size_t nbytes() const noexcept;
    void shrink();
    // The column of that name, or null.
    const Column *find(std::string_view name) const noexcept;
};

// Tables of the same columns one after another (none: an empty table without columns), the
// columns shared out among `threads` threads.
Table concatenate(std::vector<Table> parts, unsigned threads = 1);

// Tables of the same columns one after another, each row led by the key row of its table: row
// i of `keys` goes before every row of `parts[i]`. The result's columns are those of `keys`,
// then those of `shape`, which every part must have (name, type and unit alike); `shape` is what
// the rows look like even when there are no parts. Throws marlox::Error (Value) for a part of
// other columns, a key column named like one of `shape`, or key rows that do not match the parts.
Table stack_keyed(const Table &keys, const std::vector<const Table *> &parts, const Table &shape);

// The table as CSV (RFC 4180: comma, CRLF, quotes where a text needs them), in pieces of about
// 64 KiB handed to `sink`. A header row names the columns, each followed by its unit in
// brackets when it has one and `units_in_header` is set. Missing values are empty fields;
// floats are written in their shortest round-trip form.
void write_csv(const Table &table, bool units_in_header,
               const std::function<void(std::string_view)> &sink);

}  // namespace marlox::table
