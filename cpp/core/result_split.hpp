// One result document read as several that parse on their own, side by side: the document is
// cut at section start tags near equal byte offsets, and each piece is parsed as the head (the
// bytes before the first section: byte order mark, declaration, the start tags of the elements
// that hold the sections) followed by its own bytes and, for all but the last piece, the end
// tags of those elements.
//
// A piece parses as the same events as the same bytes in the whole document when the parser
// is in the same state at its start: in content, inside the head's open elements. That holds
// for the first piece; it holds for the next when a piece parses without error with the end
// tags appended (the piece ended in content, exactly the head's elements open) and never
// closed the innermost of them (it did not close one and open another of the same name, with
// other namespaces). A cut that is no section start tag (the text inside a comment, a CDATA
// section or a processing instruction; a section nested in another) leaves its piece unclosed
// and the piece fails. Whoever runs the pieces falls back to the whole document, read as one,
// when any piece fails or leaves, so that errors stay those of the whole document.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace marlox::results {

enum class Encoding { Utf8, Utf16Le, Utf16Be };

// Reads up to `n` bytes at `offset` into `into`: the bytes read (fewer only at the end), or -1
// with errno set.
using ReadAt = std::function<long long(std::uint64_t offset, char *into, std::size_t n)>;

struct SplitPlan {
    Encoding encoding = Encoding::Utf8;
    std::string head;     // the document's bytes before its first section
    std::string closers;  // the end tags of the elements open there, innermost first
    std::string leave;    // "</" and the innermost open element's name
    std::string section;  // "<SectionConcreteCheckResult"
    // The child elements that each open element (outermost first) has in the head: each but
    // the innermost has the next one as its last.
    std::vector<std::size_t> head_children;
    std::uint64_t size = 0;
    std::vector<std::uint64_t> cuts;  // where each piece begins; cuts[0] == head.size()
};

// The plan for a document of `size` bytes in at most `pieces` pieces of at least `min_piece`
// bytes each. False when the document is not split: not UTF-8 or UTF-16 with a byte order mark
// (or a declaration naming another encoding), a DOCTYPE, a comment or a processing instruction
// before the first section, no section, or too small. Reading errors are not reported here
// (the whole document's read reports them): they give false as well.
bool plan_split(const ReadAt &read, std::uint64_t size, int pieces, std::uint64_t min_piece,
                SplitPlan &plan);

// The cut that follows a piece, for a plan whose cuts are found one at a time (made by
// plan_split, its cuts then cut back to the first): the first section start tag at or after
// `target` (taken back onto a code unit), where at least `min_piece` bytes are left after it;
// else `plan.size`, and the piece runs to the end. A reading error gives `plan.size` too.
std::uint64_t next_cut(const ReadAt &read, const SplitPlan &plan, std::uint64_t target,
                       std::uint64_t min_piece);

enum class PieceEnd {
    Done,     // fed whole
    Stopped,  // the consumer said stop
    Failed,   // a read error, or the piece closed an element of the head
    Changed,  // the bytes at the piece's start are no section start any more
    Cancelled
};

// Feeds piece `k` of `plan` to `feed(data, len, final)` (which returns false to stop): the head,
// the piece's bytes in reads of `read_size`, then the closers, or for the last piece the end.
// `done` grows by the piece's bytes as they are fed (the head's for the first piece).
PieceEnd feed_piece(const SplitPlan &plan, std::size_t k, const ReadAt &read, std::size_t read_size,
                    const std::function<bool(const char *, std::size_t, bool)> &feed,
                    const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done);

// The same for a document held in memory, its bytes fed where they lie. `check_leave` false
// leaves out the search of each piece but the last for the innermost open element's end tag,
// for a consumer that tells from what the piece made that it never closed that element (a
// whole tree: the head's elements each the last child of the one before).
PieceEnd feed_piece(const SplitPlan &plan, std::size_t k, std::string_view document,
                    std::size_t read_size,
                    const std::function<bool(const char *, std::size_t, bool)> &feed,
                    const std::atomic<bool> &cancel, std::atomic<std::uint64_t> &done,
                    bool check_leave);

}  // namespace marlox::results
