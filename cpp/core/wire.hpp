// The wire forms of what the system sends: base64 text, gzip streams, and the conversion
// request that carries a serialised model to the platform's conversion service.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marlox::wire {

// Standard base64 (RFC 4648 alphabet, with padding, no line breaks).
std::string base64(std::string_view bytes);

// One gzip member of `bytes` at compression level 9, written as the interpreter's
// gzip.compress writes it: no file name, `mtime` in the header, extra flags 2 (best
// compression), operating system 255 (unknown). Memory failure is ErrorKind::Memory.
std::string gzip(std::string_view bytes, std::uint32_t mtime);

// The "input" text of a conversion request: base64 of the gzip of the UTF-8 JSON text of the
// serialised model, stamped with the current time.
std::string conversion_request(std::string_view json_text);

}  // namespace marlox::wire
