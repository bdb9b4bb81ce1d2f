#include "core/result_split.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace marlox::results {

namespace {

constexpr std::size_t kHeadMax = 1 << 20;      // the first section must start within this
constexpr std::size_t kWindow = 1 << 20;       // the search for a cut reads this much at a time
constexpr std::uint64_t kSearchMax = 1 << 26;  // a cut is searched this far past its target
constexpr const char *kSectionTag = "<SectionConcreteCheckResult";

std::size_t unit_width(Encoding e) noexcept { return e == Encoding::Utf8 ? 1 : 2; }

std::size_t bom_size(Encoding e, std::string_view block) noexcept {
    if (e != Encoding::Utf8) return 2;
    return block.size() >= 3 && block.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
}

// ASCII text in the document's encoding.
std::string encode(std::string_view ascii, Encoding e) {
    if (e == Encoding::Utf8) return std::string(ascii);
    std::string out;
    out.reserve(ascii.size() * 2);
    for (char c : ascii) {
        if (e == Encoding::Utf16Le) {
            out.push_back(c);
            out.push_back('\0');
        } else {
            out.push_back('\0');
            out.push_back(c);
        }
    }
    return out;
}

// The code unit at byte `at` as a char: itself below 0x80, else 0x80 (a name character that is
// no markup).
char unit_at(std::string_view bytes, std::size_t at, Encoding e) noexcept {
    unsigned v;
    switch (e) {
        case Encoding::Utf8:
            return (unsigned char)bytes[at] < 0x80 ? bytes[at] : '\x80';
        case Encoding::Utf16Le:
            v = (unsigned char)bytes[at] | (unsigned)(unsigned char)bytes[at + 1] << 8;
            break;
        default:
            v = (unsigned)(unsigned char)bytes[at] << 8 | (unsigned char)bytes[at + 1];
            break;
    }
    return v < 0x80 ? (char)v : '\x80';
}

bool name_end(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '>' || c == '/';
}

bool lower_equals(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char c = a[i];
        if (c >= 'A' && c <= 'Z') c = (char)(c - 'A' + 'a');
        if (c != b[i]) return false;
    }
    return true;
}

// The first occurrence of `needle` in `hay` at or after `from`, or npos. glibc's memmem reads
// 100 MB of UTF-16 for an end tag in 15 ms, where a search by the first byte (the "<" of every
// tag) takes several times as long.
std::size_t find_bytes(std::string_view hay, std::string_view needle, std::size_t from) noexcept {
    if (from > hay.size()) return std::string_view::npos;
#if defined(__GLIBC__) || defined(__APPLE__)
    const void *at = memmem(hay.data() + from, hay.size() - from, needle.data(), needle.size());
    return at == nullptr ? std::string_view::npos
                         : (std::size_t)(static_cast<const char *>(at) - hay.data());
#else
    return hay.find(needle, from);
#endif
}

// The first match of `pattern` in `bytes` at or after `from` that starts on a code unit (at
// `origin` modulo the width) and is followed by a unit for which `after` holds; npos if none
// (a match too close to the end to see the unit after it counts as none).
template <class After>
std::size_t find_unit(std::string_view bytes, std::string_view pattern, std::size_t from,
                      std::size_t origin, Encoding e, After after) noexcept {
    const std::size_t w = unit_width(e);
    for (std::size_t at = find_bytes(bytes, pattern, from); at != std::string_view::npos;
         at = find_bytes(bytes, pattern, at + 1)) {
        if (at < origin || (at - origin) % w != 0) continue;
        const std::size_t next = at + pattern.size();
        if (next + w > bytes.size()) return std::string_view::npos;
        if (after(unit_at(bytes, next, e))) return at;
    }
    return std::string_view::npos;
}

// Reads [offset, offset + n) whole (short only at the end); false for a read error.
bool read_block(const ReadAt &read, std::uint64_t offset, std::size_t n, std::string &out) {
    out.resize(n);
    std::size_t got = 0;
    while (got < n) {
        const long long r = read(offset + got, out.data() + got, n - got);
        if (r < 0) return false;
        if (r == 0) break;
        got += (std::size_t)r;
    }
    out.resize(got);
    return true;
}

// The offset of the first section start tag at or after `from` (an offset on a code unit), or
// `limit` when there is none before it.
std::uint64_t find_section(const ReadAt &read, const SplitPlan &plan, std::uint64_t from,
                           std::uint64_t limit) {
    const std::size_t w = unit_width(plan.encoding);
    std::string block;
    std::uint64_t at = from;
    while (at < limit) {
        const std::size_t n =
            (std::size_t)std::min<std::uint64_t>(kWindow + plan.section.size() + w, plan.size - at);
        if (!read_block(read, at, n, block) || block.size() < plan.section.size() + w) {
            return limit;
        }
        const std::size_t found =
            find_unit(block, plan.section, 0, 0, plan.encoding, [](char c) { return name_end(c); });
        if (found != std::string_view::npos) return std::min(limit, at + found);
        if (block.size() < n) return limit;
        at += kWindow;
    }
    return limit;
}

}  // namespace

std::uint64_t next_cut(const ReadAt &read, const SplitPlan &plan, std::uint64_t target,
                       std::uint64_t min_piece) {
    const std::size_t w = unit_width(plan.encoding);
    const std::size_t bom = bom_size(plan.encoding, plan.head);
    target -= (target - bom) % w;
    if (target + min_piece > plan.size) return plan.size;
    const std::uint64_t limit = std::min(plan.size - min_piece, target + kSearchMax);
    const std::uint64_t cut = find_section(read, plan, target, limit);
    return cut >= limit ? plan.size : cut;
}

bool plan_split(const ReadAt &read, std::uint64_t size, int pieces, std::uint64_t min_piece,
                SplitPlan &plan) {
    if (pieces < 2 || size < 2 * min_piece) return false;
    std::string block;
    if (!read_block(read, 0, (std::size_t)std::min<std::uint64_t>(kHeadMax, size), block)) {
        return false;
    }
    const std::string_view b(block);
    Encoding e;
    if (b.size() >= 2 && b.compare(0, 2, "\xFF\xFE") == 0) {
        e = Encoding::Utf16Le;
    } else if (b.size() >= 2 && b.compare(0, 2, "\xFE\xFF") == 0) {
        e = Encoding::Utf16Be;
    } else {
        e = Encoding::Utf8;
        // UTF-16 or UTF-32 without a byte order mark, or anything that is no markup at once.
        if (b.size() < 2 || b[0] == '\0' || b[1] == '\0') return false;
    }
    if (e == Encoding::Utf16Le && b.size() >= 4 && b[2] == '\0' && b[3] == '\0') return false;
    const std::size_t w = unit_width(e);
    const std::size_t bom = bom_size(e, b);
    // The text of the block as ASCII, one char a code unit.
    std::string a;
    a.reserve((b.size() - bom) / w);
    for (std::size_t at = bom; at + w <= b.size(); at += w) a.push_back(unit_at(b, at, e));
    std::size_t pos = 0;
    if (a.compare(0, 5, "<?xml") == 0 && a.size() > 5 && name_end(a[5]) && a[5] != '>') {
        const std::size_t end = a.find("?>");
        if (end == std::string::npos) return false;
        const std::string_view decl = std::string_view(a).substr(0, end);
        const std::size_t enc = decl.find("encoding");
        if (enc != std::string_view::npos) {
            std::size_t q = decl.find_first_of("\"'", enc);
            if (q == std::string_view::npos) return false;
            const std::size_t close = decl.find(decl[q], q + 1);
            if (close == std::string_view::npos) return false;
            const std::string_view name = decl.substr(q + 1, close - q - 1);
            if (!lower_equals(name, e == Encoding::Utf8 ? "utf-8" : "utf-16")) return false;
        }
        pos = end + 2;
    }
    const std::size_t first =
        find_unit(a, kSectionTag, pos, 0, Encoding::Utf8, [](char c) { return name_end(c); });
    if (first == std::string::npos) return false;
    const std::string_view head(std::string_view(a).substr(pos, first - pos));
    if (head.find("<!") != std::string_view::npos || head.find("<?") != std::string_view::npos) {
        return false;
    }
    // The elements open at the first section: start tags push, end tags pop.
    struct Open {
        std::size_t at, len;       // of the name, in units of `a`
        std::size_t children = 0;  // its child elements so far
    };
    std::vector<Open> open;
    for (std::size_t i = a.find('<', pos); i < first; i = a.find('<', i + 1)) {
        if (a[i + 1] == '/') {
            if (open.empty()) return false;
            open.pop_back();
            i = a.find('>', i);
            if (i >= first) return false;
            continue;
        }
        std::size_t j = i + 1;
        while (j < first && !name_end(a[j])) ++j;
        const Open name{i + 1, j - i - 1, 0};
        char quote = 0;
        for (; j < first; ++j) {
            if (quote != 0) {
                if (a[j] == quote) quote = 0;
            } else if (a[j] == '"' || a[j] == '\'') {
                quote = a[j];
            } else if (a[j] == '>') {
                break;
            }
        }
        if (j >= first || name.len == 0) return false;
        if (!open.empty()) ++open.back().children;
        if (a[j - 1] != '/') open.push_back(name);
        i = j;
    }
    if (open.empty()) return false;

    plan.encoding = e;
    plan.size = size;
    plan.head.assign(block, 0, bom + first * w);
    const auto raw_name = [&](const Open &o) { return block.substr(bom + o.at * w, o.len * w); };
    plan.closers.clear();
    for (auto it = open.rbegin(); it != open.rend(); ++it) {
        plan.closers += encode("</", e) + raw_name(*it) + encode(">", e);
    }
    plan.leave = encode("</", e) + raw_name(open.back());
    plan.head_children.clear();
    for (const Open &o : open) plan.head_children.push_back(o.children);
    plan.section = encode(kSectionTag, e);
    plan.cuts.assign(1, plan.head.size());
    for (int k = 1; k < pieces; ++k) {
        std::uint64_t target = size / (std::uint64_t)pieces * (std::uint64_t)k;
        target = std::max(target, plan.cuts.back() + min_piece);
        target -= (target - bom) % w;
        if (target + min_piece > size) break;
        const std::uint64_t limit = std::min(size - min_piece, target + kSearchMax);
        const std::uint64_t cut = find_section(read, plan, target, limit);
        if (cut >= limit) break;
        plan.cuts.push_back(cut);
    }
    return plan.cuts.size() >= 2;
}

namespace {

// feed_piece over blocks that `next(at, n, block)` gives: [at, at + n) whole (short only at
// the end), false for a read error.
template <class Next>
PieceEnd feed_blocks(const SplitPlan &plan, std::size_t k, std::size_t read_size, Next &&next,
                     const std::function<bool(const char *, std::size_t, bool)> &feed,
                     const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done,
                     bool check_leave) {
    const std::size_t w = unit_width(plan.encoding);
    const bool last = k + 1 == plan.cuts.size();
    const std::uint64_t begin = plan.cuts[k];
    const std::uint64_t end = last ? plan.size : plan.cuts[k + 1];
    if (!feed(plan.head.data(), plan.head.size(), false)) return PieceEnd::Stopped;
    if (k == 0) done += plan.head.size();
    std::string_view buffer;
    // The end of the last read, to find the innermost open element's end tag across reads.
    std::string carry;
    const std::size_t keep = plan.leave.size() + w;
    const auto leaves = [&](std::string_view bytes) {
        return find_unit(bytes, plan.leave, 0, 0, plan.encoding,
                         [](char c) { return name_end(c) && c != '/'; }) != std::string_view::npos;
    };
    for (std::uint64_t at = begin; at < end;) {
        if (cancel.load(std::memory_order_relaxed)) return PieceEnd::Cancelled;
        const std::size_t n = (std::size_t)std::min<std::uint64_t>(read_size, end - at);
        if (!next(at, n, buffer)) return PieceEnd::Failed;
        if (buffer.size() < n) return PieceEnd::Changed;
        if (at == begin && buffer.compare(0, plan.section.size(), plan.section) != 0) {
            return PieceEnd::Changed;
        }
        if (!last && check_leave) {
            // Reads are whole code units: the piece's bounds and the read size are.
            if (!carry.empty()) {
                carry.append(buffer, 0, std::min(buffer.size(), keep));
                if (leaves(carry)) return PieceEnd::Failed;
            }
            if (leaves(buffer)) return PieceEnd::Failed;
            const std::size_t tail = std::min(buffer.size(), keep);
            carry.assign(buffer, buffer.size() - tail, tail);
        }
        if (!feed(buffer.data(), buffer.size(), false)) return PieceEnd::Stopped;
        done += buffer.size();
        at += buffer.size();
    }
    if (last) {
        if (!feed("", 0, true)) return PieceEnd::Stopped;
    } else {
        if (!feed(plan.closers.data(), plan.closers.size(), true)) return PieceEnd::Stopped;
    }
    return PieceEnd::Done;
}

}  // namespace

PieceEnd feed_piece(const SplitPlan &plan, std::size_t k, const ReadAt &read, std::size_t read_size,
                    const std::function<bool(const char *, std::size_t, bool)> &feed,
                    const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done) {
    std::string block;
    return feed_blocks(
        plan, k, read_size,
        [&](std::uint64_t at, std::size_t n, std::string_view &out) {
            if (!read_block(read, at, n, block)) return false;
            out = block;
            return true;
        },
        feed, cancel, done, true);
}

PieceEnd feed_piece(const SplitPlan &plan, std::size_t k, std::string_view document,
                    std::size_t read_size,
                    const std::function<bool(const char *, std::size_t, bool)> &feed,
                    const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done,
                    bool check_leave) {
    return feed_blocks(
        plan, k, read_size,
        [&](std::uint64_t at, std::size_t n, std::string_view &out) {
            out = at < document.size() ? document.substr((std::size_t)at, n) : std::string_view();
            return true;
        },
        feed, cancel, done, check_leave);
}

}  // namespace marlox::results
