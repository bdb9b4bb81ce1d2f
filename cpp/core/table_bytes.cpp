#include "core/table_bytes.hpp"

#include <cstdint>
#include <cstring>

#include "core/error.hpp"

namespace marlox::table {

namespace {

constexpr std::string_view kMagic = "marlox-table-1\n";

// Little-endian fixed-width integers and doubles (the machines this runs on are).
template <typename T>
void put(std::string &out, T v) {
    char raw[sizeof(T)];
    std::memcpy(raw, &v, sizeof(T));
    out.append(raw, sizeof(T));
}

void put_text(std::string &out, std::string_view s) {
    put<std::uint64_t>(out, s.size());
    out.append(s.data(), s.size());
}

struct Reader {
    std::string_view in;
    std::size_t at = 0;

    [[noreturn]] static void bad() {
        fail(ErrorKind::Value, "the bytes are not a table written by to_bytes()");
    }
    std::string_view take(std::size_t n) {
        if (n > in.size() - at) bad();
        std::string_view s = in.substr(at, n);
        at += n;
        return s;
    }
    template <typename T>
    T get() {
        T v;
        std::memcpy(&v, take(sizeof(T)).data(), sizeof(T));
        return v;
    }
    std::string_view text() { return take(get<std::uint64_t>()); }
};

}  // namespace

std::string to_bytes(const Table &t) {
    std::string out(kMagic);
    const std::size_t rows = t.rows();
    put<std::uint64_t>(out, t.columns.size());
    put<std::uint64_t>(out, rows);
    for (const Column &c : t.columns) {
        put_text(out, c.name());
        put<std::uint8_t>(out, (std::uint8_t)c.type());
        put_text(out, c.unit());
        put<std::uint8_t>(out, c.nullable() ? 1 : 0);
        if (c.type() == Type::Text) {
            put<std::uint64_t>(out, c.dictionary_size());
            for (std::size_t k = 0; k < c.dictionary_size(); ++k) {
                put_text(out, c.entry((std::int32_t)k));
            }
        }
        for (std::size_t i = 0; i < rows; ++i) {
            const bool valid = c.valid(i);
            put<std::uint8_t>(out, valid ? 1 : 0);
            if (!valid) continue;
            switch (c.type()) {
                case Type::Int64:
                case Type::Int32:
                    put<std::int64_t>(out, c.int_at(i));
                    break;
                case Type::Float64:
                    put<double>(out, c.float_at(i));
                    break;
                case Type::Bool:
                    put<std::uint8_t>(out, c.bool_at(i) ? 1 : 0);
                    break;
                case Type::Text:
                    put<std::int32_t>(out, c.code_at(i));
                    break;
            }
        }
    }
    return out;
}

Table from_bytes(std::string_view bytes) {
    Reader r{bytes};
    if (r.take(kMagic.size()) != kMagic) Reader::bad();
    const auto columns = r.get<std::uint64_t>();
    const auto rows = r.get<std::uint64_t>();
    // Every column writes at least one byte per row: more rows than bytes is a lie.
    if (columns > bytes.size() || (columns > 0 && rows > bytes.size())) Reader::bad();
    Table t;
    for (std::uint64_t k = 0; k < columns; ++k) {
        std::string name(r.text());
        const auto type = r.get<std::uint8_t>();
        if (type > (std::uint8_t)Type::Text) Reader::bad();
        std::string unit(r.text());
        const bool nullable = r.get<std::uint8_t>() != 0;
        t.columns.emplace_back(std::move(name), (Type)type, std::move(unit), nullable);
        Column &c = t.columns.back();
        std::vector<std::string_view> dictionary;
        if (c.type() == Type::Text) {
            const auto entries = r.get<std::uint64_t>();
            if (entries > bytes.size()) Reader::bad();
            for (std::uint64_t e = 0; e < entries; ++e) dictionary.push_back(r.text());
        }
        for (std::uint64_t i = 0; i < rows; ++i) {
            if (r.get<std::uint8_t>() == 0) {
                c.append_null();
                continue;
            }
            switch (c.type()) {
                case Type::Int64:
                case Type::Int32:
                    c.append_int(r.get<std::int64_t>());
                    break;
                case Type::Float64:
                    c.append_float(r.get<double>());
                    break;
                case Type::Bool:
                    c.append_bool(r.get<std::uint8_t>() != 0);
                    break;
                case Type::Text: {
                    const auto code = r.get<std::int32_t>();
                    if (code < 0 || (std::size_t)code >= dictionary.size()) Reader::bad();
                    c.append_text(dictionary[(std::size_t)code]);
                    break;
                }
            }
        }
    }
    if (r.at != bytes.size()) Reader::bad();
    t.shrink();
    return t;
}

}  // namespace marlox::table
