#include "core/wire.hpp"

#include <zlib.h>

#include <algorithm>
#include <ctime>
#include <limits>

#include "core/error.hpp"

namespace marlox::wire {

namespace {

void put_le32(std::string &out, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) out.push_back(char((value >> shift) & 0xFF));
}

// The raw deflate stream of `bytes` (no zlib or gzip framing), level 9 with zlib's default
// window and memory level, as zlib.compress(data, 9, wbits=-15) makes it.
void deflate_raw(std::string_view bytes, std::string &out) {
    if (bytes.size() > std::numeric_limits<uInt>::max())
        fail(ErrorKind::Memory, "gzip input too large");
    z_stream stream{};
    if (deflateInit2(&stream, 9, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        fail(ErrorKind::Memory, "zlib could not start");
    struct End {
        z_stream *s;
        ~End() { deflateEnd(s); }
    } end{&stream};
    const std::size_t start = out.size();
    const uLong bound = deflateBound(&stream, (uLong)bytes.size());
    out.resize(start + bound);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = (uInt)bytes.size();
    stream.next_out = reinterpret_cast<Bytef *>(&out[start]);
    stream.avail_out = (uInt)bound;
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) fail(ErrorKind::Memory, "zlib could not end");
    out.resize(start + stream.total_out);
}

}  // namespace

std::string base64(std::string_view bytes) {
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.data());
    const std::size_t size = bytes.size();
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const unsigned long triple =
            (unsigned long)in[i] << 16 | (unsigned long)in[i + 1] << 8 | (unsigned long)in[i + 2];
        out.push_back(kAlphabet[(triple >> 18) & 63]);
        out.push_back(kAlphabet[(triple >> 12) & 63]);
        out.push_back(kAlphabet[(triple >> 6) & 63]);
        out.push_back(kAlphabet[triple & 63]);
    }
    if (i < size) {
        const bool two = i + 1 < size;
        const unsigned long triple =
            (unsigned long)in[i] << 16 | (two ? (unsigned long)in[i + 1] << 8 : 0UL);
        out.push_back(kAlphabet[(triple >> 18) & 63]);
        out.push_back(kAlphabet[(triple >> 12) & 63]);
        out.push_back(two ? kAlphabet[(triple >> 6) & 63] : '=');
        out.push_back('=');
    }
    return out;
}

std::string gzip(std::string_view bytes, std::uint32_t mtime) {
    std::string out = {'\x1f', '\x8b', '\x08', '\x00'};  // magic, deflate, no flags
    put_le32(out, mtime);
    out.push_back('\x02');  // extra flags: best compression
    out.push_back('\xff');  // operating system: unknown
    deflate_raw(bytes, out);
    uLong crc = crc32(0L, Z_NULL, 0);
    // crc32 takes at most uInt bytes at a time.
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t piece = std::min<std::size_t>(bytes.size() - done, 1u << 30);
        crc = crc32(crc, reinterpret_cast<const Bytef *>(bytes.data() + done), (uInt)piece);
        done += piece;
    }
    put_le32(out, (std::uint32_t)crc);
    put_le32(out, (std::uint32_t)(bytes.size() & 0xFFFFFFFFu));
    return out;
}

std::string conversion_request(std::string_view json_text) {
    return base64(gzip(json_text, (std::uint32_t)std::time(nullptr)));
}

}  // namespace marlox::wire
