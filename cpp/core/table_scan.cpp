#include "core/table_scan.hpp"

#include <algorithm>
#include <new>
#include <utility>

namespace marlox::results {

namespace {

// The largest piece given to expat at once: expat copies what it is given into a buffer of
// its own. Events, errors and their positions do not depend on the pieces.
constexpr std::size_t kPiece = 1 << 16;

bool ascii_space(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

}  // namespace

bool plain_section_id(const Dom &d, NodeId section, std::int64_t &out) noexcept {
    const NodeId id = d.child(section, kSectionId);
    if (id == kNoNode) return false;
    const Slice s = d.text(id);
    if (s.absent()) return false;
    std::string_view t = d.str(s);
    while (!t.empty() && ascii_space(t.front())) t.remove_prefix(1);
    while (!t.empty() && ascii_space(t.back())) t.remove_suffix(1);
    bool negative = false;
    if (!t.empty() && (t.front() == '+' || t.front() == '-')) {
        negative = t.front() == '-';
        t.remove_prefix(1);
    }
    if (t.empty()) return false;
    // Accumulated negatively, so that the most negative value fits.
    std::int64_t v = 0;
    constexpr std::int64_t kMin = INT64_MIN;
    for (const char c : t) {
        if (c < '0' || c > '9') return false;
        const int digit = c - '0';
        if (v < (kMin + digit) / 10) return false;
        v = v * 10 - digit;
    }
    if (!negative) {
        if (v == kMin) return false;
        v = -v;
    }
    out = v;
    return true;
}

TableScan::TableScan(std::unique_ptr<Scanner> scanner, CheckTableBuilder builder,
                     SectionFilter filter)
    : scanner_(std::move(scanner)), builder_(std::move(builder)), filter_(std::move(filter)) {}

std::string_view TableScan::input_xml_root() const noexcept {
    const std::string &root = scanner_->builder().root_name();
    const std::string_view name = std::string_view(root).substr(root.rfind('}') + 1);
    if (name == "OpenModel" || name == "OpenModelContainer") return name;
    return {};
}

TableScan::Status TableScan::feed(const char *data, std::size_t len, bool final) noexcept {
    if (failed_) return Status::Failed;
    std::size_t done = 0;
    bool ok = true;
    do {
        const std::size_t n = std::min(kPiece, len - done);
        ok = scanner_->feed(data + done, (int)n, final && done + n == len);
        done += n;
    } while (ok && done < len);
    failed_ = !ok;
    // An input XML document is refused once its first element is known, before its sections
    // or its parse error.
    if (!kind_checked_ && !scanner_->builder().root_name().empty()) {
        kind_checked_ = true;
        if (!input_xml_root().empty()) return Status::InputXml;
    }
    return take_sections();
}

TableScan::Status TableScan::take_sections() noexcept {
    auto &b = scanner_->builder();
    auto &ended = b.ended_sections();
    while (!ended.empty()) {
        const NodeId node = ended.front();
        std::int64_t id = 0;
        if (!plain_section_id(scanner_->dom(), node, id)) return Status::Host;
        bool keep = filter_.all;
        for (std::size_t i = 0; i < filter_.ids.size(); ++i) {
            if (filter_.fits[i] && filter_.ids[i] == id) keep = filter_.seen[i] = true;
        }
        if (keep) {
            try {
                builder_.add_section(scanner_->dom(), node, id);
            } catch (const NumberError &e) {
                try {
                    number_error_ = e;
                } catch (...) {
                    number_error_ = NumberError{};
                }
                return Status::NumberFailed;
            } catch (...) {
                return Status::Memory;
            }
        }
        pop_front();
        if (keep && stop_after_each_) return Status::Added;
    }
    b.collect();
    if (failed_) return Status::Failed;
    return Status::Ok;
}

void TableScan::pop_front() noexcept {
    auto &b = scanner_->builder();
    b.clear(b.ended_sections().front());
    b.ended_sections().pop_front();
    ++sections_;
}

}  // namespace marlox::results
