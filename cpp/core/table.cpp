#include "core/table.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <exception>
#include <limits>
#include <new>
#include <thread>

#include "core/error.hpp"

namespace marlox::table {

namespace {

constexpr std::size_t kFirstChunkRows = 1024;

}  // namespace

Column::Column(std::string name, Type type, std::string unit, bool nullable)
    : name_(std::move(name)), type_(type), unit_(std::move(unit)), nullable_(nullable) {}

// A new chunk has room for all its rows at once: what is never written is never touched (so
// not resident), and nothing is copied while it fills. The first chunk starts small and grows:
// a table of a small file would otherwise take and give back megabytes of address space per
// column, and threads reading many small files would queue for the process's memory map.
Chunk &Column::new_chunk() {
    const std::size_t rows = chunks_.empty() ? kFirstChunkRows : kChunkRows;
    Chunk c;
    switch (type_) {
        case Type::Int64:
            c.i64.reserve(rows);
            break;
        case Type::Int32:
        case Type::Text:
            c.i32.reserve(rows);
            break;
        case Type::Float64:
            c.f64.reserve(rows);
            break;
        case Type::Bool:
            c.bits.reserve(rows / 8);
            break;
    }
    chunks_.push_back(std::move(c));
    return chunks_.back();
}

void Column::mark_bitmap(Chunk &c, bool valid) {
    const std::size_t j = c.size;
    if (!valid && c.validity.empty()) {
        // The first missing value of the chunk: every earlier one was present.
        c.validity.reserve((chunks_.size() == 1 ? kFirstChunkRows : kChunkRows) / 8);
        c.validity.assign((j >> 3) + 1, 0xff);
        c.validity.back() = (std::uint8_t)((1u << (j & 7)) - 1);
    }
    if (!c.validity.empty()) {
        if ((j & 7) == 0 && (j >> 3) >= c.validity.size()) c.validity.push_back(0);
        if (valid) c.validity[j >> 3] |= (std::uint8_t)(1u << (j & 7));
    }
    if (!valid) ++c.nulls;
    ++c.size;
    ++size_;
}

void Column::append_bool(bool v) {
    Chunk &c = room();
    if ((c.size & 7) == 0) c.bits.push_back(0);
    if (v) c.bits.back() |= (std::uint8_t)(1u << (c.size & 7));
    mark(c, true);
}

std::int32_t Column::intern(std::string_view v) {
    std::int32_t code = last_code_;
    if (code >= 0 && entry(code) == v) return code;  // the same text as last time
    if (auto found = codes_.find(v); found != codes_.end()) return found->second;
    if (data_.size() + v.size() > (std::size_t)std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_alloc();
    }
    code = (std::int32_t)texts_.size();
    texts_.emplace_back(v);
    data_.append(v.data(), v.size());
    offsets_.push_back((std::int32_t)data_.size());
    try {
        codes_.emplace(std::string_view(texts_.back()), code);
    } catch (...) {
        texts_.pop_back();
        offsets_.pop_back();
        data_.resize((std::size_t)offsets_.back());
        throw;
    }
    return code;
}

void Column::append_text(std::string_view v) {
    const std::int32_t code = intern(v);
    Chunk &c = room();
    c.i32.push_back(code);
    last_code_ = code;
    mark(c, true);
}

template <class T>
void Column::append_values(const Column &other, std::vector<T> Chunk::*values,
                           const std::vector<std::int32_t> *codes) {
    for (const Chunk &from : other.chunks_) {
        const std::vector<T> &src = from.*values;
        for (std::size_t j = 0; j < from.size;) {
            Chunk &c = room();
            const std::size_t n = std::min(kChunkRows - c.size, from.size - j);
            std::vector<T> &dst = c.*values;
            if (codes == nullptr) {
                dst.insert(dst.end(), src.begin() + (std::ptrdiff_t)j,
                           src.begin() + (std::ptrdiff_t)(j + n));
            } else {
                // A missing text's code is 0, which an empty dictionary does not hold.
                for (std::size_t i = j; i < j + n; ++i) {
                    dst.push_back(codes->empty() ? 0 : (*codes)[(std::size_t)src[i]]);
                }
            }
            if (from.nulls == 0 && c.validity.empty()) {
                c.size += n;
                size_ += n;
            } else {
                for (std::size_t i = j; i < j + n; ++i) {
                    mark(c, from.validity.empty() || (from.validity[i >> 3] >> (i & 7) & 1) != 0);
                }
            }
            j += n;
        }
    }
}

void Column::append_column(const Column &other) {
    switch (type_) {
        case Type::Int64:
            return append_values(other, &Chunk::i64, nullptr);
        case Type::Int32:
            return append_values(other, &Chunk::i32, nullptr);
        case Type::Float64:
            return append_values(other, &Chunk::f64, nullptr);
        case Type::Bool:
            for (std::size_t r = 0; r < other.size(); ++r) append_from(other, r);
            return;
        case Type::Text:
            break;
    }
    // Each text of the other's dictionary looked up once.
    std::vector<std::int32_t> codes(other.dictionary_size());
    for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = intern(other.entry((std::int32_t)i));
    last_code_ = -1;
    append_values(other, &Chunk::i32, &codes);
}

void Column::append_null_slow() {
    Chunk &c = room();
    switch (type_) {
        case Type::Int64:
            c.i64.push_back(0);
            break;
        case Type::Int32:
        case Type::Text:
            c.i32.push_back(0);
            break;
        case Type::Float64:
            c.f64.push_back(std::numeric_limits<double>::quiet_NaN());
            break;
        case Type::Bool:
            if ((c.size & 7) == 0) c.bits.push_back(0);
            break;
    }
    mark(c, false);
}

void Column::append_from(const Column &other, std::size_t i) {
    if (!other.valid(i)) return append_null();
    switch (type_) {
        case Type::Int64:
        case Type::Int32:
            return append_int(other.int_at(i));
        case Type::Float64:
            return append_float(other.float_at(i));
        case Type::Bool:
            return append_bool(other.bool_at(i));
        case Type::Text:
            return append_text(other.text_at(i));
    }
}

const void *Column::values(const Chunk &c) const noexcept {
    switch (type_) {
        case Type::Int64:
            return c.i64.data();
        case Type::Int32:
        case Type::Text:
            return c.i32.data();
        case Type::Float64:
            return c.f64.data();
        case Type::Bool:
            return c.bits.data();
    }
    return nullptr;
}

std::size_t Column::nbytes() const noexcept {
    std::size_t n = offsets_.capacity() * 4 + data_.capacity();
    for (const std::string &t : texts_) n += sizeof t + t.capacity();
    for (const Chunk &c : chunks_) {
        n += sizeof c + c.validity.capacity() + c.i64.capacity() * 8 + c.i32.capacity() * 4 +
             c.f64.capacity() * 8 + c.bits.capacity();
    }
    return n;
}

void Column::shrink() {
    if (chunks_.empty()) return;
    Chunk &c = chunks_.back();
    c.validity.shrink_to_fit();
    c.i64.shrink_to_fit();
    c.i32.shrink_to_fit();
    c.f64.shrink_to_fit();
    c.bits.shrink_to_fit();
}

void Table::shrink() {
    for (Column &c : columns) c.shrink();
}

std::size_t Table::nbytes() const noexcept {
    std::size_t n = 0;
    for (const Column &c : columns) n += c.nbytes();
    return n;
}

const Column *Table::find(std::string_view name) const noexcept {
    for (const Column &c : columns) {
        if (c.name() == name) return &c;
    }
    return nullptr;
}

namespace {

void csv_text(std::string &out, std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        out.append(text.data(), text.size());
        return;
    }
    out.push_back('"');
    for (char c : text) {
        if (c == '"') out.push_back('"');
        out.push_back(c);
    }
    out.push_back('"');
}

void csv_float(std::string &out, double v) {
    if (std::isnan(v)) {
        out += "nan";
    } else if (std::isinf(v)) {
        out += v > 0 ? "inf" : "-inf";
    } else {
        char buf[32];
        const auto r = std::to_chars(buf, buf + sizeof buf, v);
        out.append(buf, (std::size_t)(r.ptr - buf));
    }
}

}  // namespace

void write_csv(const Table &table, bool units_in_header,
               const std::function<void(std::string_view)> &sink) {
    constexpr std::size_t kPiece = 1 << 16;
    std::string out;
    out.reserve(kPiece + 1024);
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        const Column &col = table.columns[c];
        if (c > 0) out.push_back(',');
        std::string name = col.name();
        if (units_in_header && !col.unit().empty() && col.unit() != "1") {
            name += " [" + col.unit() + "]";
        }
        csv_text(out, name);
    }
    out += "\r\n";
    const std::size_t rows = table.rows();
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < table.columns.size(); ++c) {
            const Column &col = table.columns[c];
            if (c > 0) out.push_back(',');
            if (!col.valid(r)) continue;
            switch (col.type()) {
                case Type::Int64:
                case Type::Int32: {
                    char buf[24];
                    const auto res = std::to_chars(buf, buf + sizeof buf, col.int_at(r));
                    out.append(buf, (std::size_t)(res.ptr - buf));
                    break;
                }
                case Type::Float64:
                    csv_float(out, col.float_at(r));
                    break;
                case Type::Bool:
                    out += col.bool_at(r) ? "true" : "false";
                    break;
                case Type::Text:
                    csv_text(out, col.text_at(r));
                    break;
            }
        }
        out += "\r\n";
        if (out.size() >= kPiece) {
            sink(out);
            out.clear();
        }
    }
    if (!out.empty()) sink(out);
}

Table stack_keyed(const Table &keys, const std::vector<const Table *> &parts, const Table &shape) {
    if (keys.rows() != parts.size()) {
        fail(ErrorKind::Value, std::to_string(keys.rows()) + " key rows for " +
                                   std::to_string(parts.size()) + " tables");
    }
    for (const Column &k : keys.columns) {
        if (shape.find(k.name()) != nullptr) {
            fail(ErrorKind::Value, "the key column '" + k.name() + "' is a column of the table");
        }
    }
    for (const Table *part : parts) {
        bool same = part->columns.size() == shape.columns.size();
        for (std::size_t c = 0; same && c < shape.columns.size(); ++c) {
            const Column &a = part->columns[c], &b = shape.columns[c];
            same = a.name() == b.name() && a.type() == b.type() && a.unit() == b.unit();
        }
        if (!same) fail(ErrorKind::Value, "the tables to stack differ in their columns");
    }
    Table out;
    for (const Column &k : keys.columns) out.columns.emplace_back(k.name(), k.type(), k.unit());
    for (const Column &c : shape.columns) {
        out.columns.emplace_back(c.name(), c.type(), c.unit(), c.nullable());
    }
    const std::size_t width = keys.columns.size();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Table &part = *parts[i];
        for (std::size_t r = 0; r < part.rows(); ++r) {
            for (std::size_t c = 0; c < width; ++c) out.columns[c].append_from(keys.columns[c], i);
            for (std::size_t c = 0; c < part.columns.size(); ++c) {
                out.columns[width + c].append_from(part.columns[c], r);
            }
        }
    }
    out.shrink();
    return out;
}

Table concatenate(std::vector<Table> parts, unsigned threads) {
    if (parts.empty()) return Table{};
    Table out = std::move(parts.front());
    // Columns are independent: each thread appends its share of them.
    const auto append = [&](std::size_t first, std::size_t step) {
        for (std::size_t c = first; c < out.columns.size(); c += step) {
            for (std::size_t p = 1; p < parts.size(); ++p) {
                out.columns[c].append_column(parts[p].columns[c]);
            }
            out.columns[c].shrink();
        }
    };
    const std::size_t step =
        std::max(1u, std::min<unsigned>(threads, (unsigned)out.columns.size()));
    std::vector<std::thread> workers;
    std::vector<std::exception_ptr> errors(step);
    for (std::size_t t = 1; t < step; ++t) {
        try {
            workers.emplace_back([&, t] {
                try {
                    append(t, step);
                } catch (...) {
                    errors[t] = std::current_exception();
                }
            });
        } catch (...) {
            errors[t] = std::current_exception();
        }
    }
    try {
        append(0, step);
    } catch (...) {
        errors[0] = std::current_exception();
    }
    for (std::thread &w : workers) w.join();
    for (const std::exception_ptr &e : errors) {
        if (e) std::rethrow_exception(e);
    }
    return out;
}

}  // namespace marlox::table
