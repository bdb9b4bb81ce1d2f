#include "core/check_table.hpp"

#include <charconv>
#include <limits>
#include <utility>

namespace marlox::results {

using table::Column;
using table::Type;

namespace {

constexpr std::uint32_t kNoTag = ~std::uint32_t{0};
constexpr const char *kForces[] = {"N", "Qy", "Qz", "Mx", "My", "Mz"};
constexpr Name kForceNames[] = {kN, kQy, kQz, kMx, kMy, kMz};
constexpr const char *kFuFields[] = {"Fu/N", "Fu/Qy", "Fu/Qz", "Fu/Mx", "Fu/My", "Fu/Mz"};

bool space(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view text_view(const Dom &d, NodeId id) {
    const Slice s = d.text(id);
    return d.str(s);
}

// Past the subtree of `at`, within the subtree of `top`.
NodeId next_after_subtree(const Dom &d, NodeId top, NodeId at) noexcept {
    while (at != top) {
        const Node &n = d.node(at);
        if (n.next_sibling != kNoNode) return n.next_sibling;
        at = n.parent;
    }
    return kNoNode;
}

std::vector<Column> check_columns(Units units) {
    const bool eng = units == Units::Engineering;
    const std::string force = eng ? "kN" : "N";
    const std::string moment = eng ? "kN\u00b7m" : "N\u00b7m";
    const std::string length = eng ? "mm" : "m";
    const std::string stress = eng ? "MPa" : "Pa";
    std::vector<Column> c;
    c.emplace_back("section", Type::Int64, "", false);
    c.emplace_back("extreme", Type::Int32, "", false);
    c.emplace_back("family", Type::Text, "", false);
    c.emplace_back("check", Type::Text);
    c.emplace_back("type_check", Type::Text);
    c.emplace_back("result", Type::Text);
    c.emplace_back("check_value", Type::Float64, "1");
    c.emplace_back("limit_check_value", Type::Float64, "1");
    for (int i = 0; i < 6; ++i) c.emplace_back(kForces[i], Type::Float64, i < 3 ? force : moment);
    c.emplace_back("info_count", Type::Int32, "", false);
    c.emplace_back("warning_count", Type::Int32, "", false);
    c.emplace_back("error_count", Type::Int32, "", false);
    c.emplace_back("terminated_error_count", Type::Int32, "", false);
    for (int i = 0; i < 6; ++i) {
        c.emplace_back(std::string("Fu_") + kForces[i], Type::Float64, i < 3 ? force : moment);
    }
    for (const char *name : {"VEd", "VRd", "VRd_c", "VRd_s", "VRd_max"})
        c.emplace_back(name, Type::Float64, force);
    for (const char *name : {"TEd", "TRd", "TRd_c", "TRd_s", "TRd_max"})
        c.emplace_back(name, Type::Float64, moment);
    c.emplace_back("w", Type::Float64, length);
    c.emplace_back("w_lim", Type::Float64, length);
    c.emplace_back("stress", Type::Float64, stress);
    c.emplace_back("stress_limit", Type::Float64, stress);
    c.emplace_back("check_value_longitudinal", Type::Float64, "1");
    c.emplace_back("check_value_shear_reinforcement", Type::Float64, "1");
    c.emplace_back("decision_method", Type::Text);
    c.emplace_back("section_name", Type::Text);
    c.emplace_back("member", Type::Text);
    c.emplace_back("position", Type::Int32);
    c.emplace_back("reinforced_section", Type::Text);
    c.emplace_back("extreme_name", Type::Text);
    return c;
}

std::vector<Column> overall_columns() {
    std::vector<Column> c;
    c.emplace_back("section", Type::Int64, "", false);
    c.emplace_back("extreme", Type::Int32, "", false);
    c.emplace_back("family", Type::Text, "", false);
    c.emplace_back("result", Type::Text);
    c.emplace_back("check_value", Type::Float64, "1");
    return c;
}

void append_number(Column &c, bool present, double value) {
    if (present) {
        c.append_float(value);
    } else {
        c.append_null();
    }
}

// The severity of a non-conformity, by name or by number: 0 Info ... 3 TerminatedError.
int severity(std::string_view s) noexcept {
    while (!s.empty() && space(s.front())) s.remove_prefix(1);
    while (!s.empty() && space(s.back())) s.remove_suffix(1);
    if (s == "Info" || s == "0") return 0;
    if (s == "Warning" || s == "1") return 1;
    if (s == "Error" || s == "2") return 2;
    if (s == "TerminatedError" || s == "3") return 3;
    return -1;
}

}  // namespace

bool read_plain_number(std::string_view text, double &out) noexcept {
    std::size_t b = 0, e = text.size();
    while (b < e && space(text[b])) ++b;
    while (e > b && space(text[e - 1])) --e;
    if (b == e) return false;
    const char *first = text.data() + b;
    const char *last = text.data() + e;
    if (*first == '+') {
        if (last - first < 2 || first[1] == '+' || first[1] == '-') return false;
        ++first;
    }
    // from_chars stops at what the host's float() reads and it does not (underscores, digits
    // outside ASCII), so those texts are not consumed whole and go to the host; only
    // "nan(...)", which from_chars reads and float() refuses, needs a look of its own.
    double value = 0.0;
    const auto [ptr, ec] = std::from_chars(first, last, value);
    if (ec != std::errc() || ptr != last) return false;
    if (value != value && last[-1] == ')') return false;
    out = value;
    return true;
}

std::string itertext(const Dom &d, NodeId id) {
    std::string out(text_view(d, id));
    NodeId at = d.node(id).first_child;
    while (at != kNoNode) {
        out += text_view(d, at);
        if (d.node(at).first_child != kNoNode) {
            at = d.node(at).first_child;
            continue;
        }
        for (;;) {
            out += d.str(d.tail(at));
            if (d.node(at).next_sibling != kNoNode) {
                at = d.node(at).next_sibling;
                break;
            }
            at = d.node(at).parent;
            if (at == id) {
                at = kNoNode;
                break;
            }
        }
    }
    return out;
}

CheckTableBuilder::CheckTableBuilder(Units units, std::vector<std::string> families,
                                     NumberReader slow, const ModelContext *model)
    : units_(units),
      force_scale_(units == Units::Engineering ? 1e-3 : 1.0),
      length_scale_(units == Units::Engineering ? 1e3 : 1.0),
      stress_scale_(units == Units::Engineering ? 1e-6 : 1.0),
      model_(model),
      families_(std::move(families)),
      slow_(std::move(slow)) {
    checks_.columns = check_columns(units);
    overall_.columns = overall_columns();
}

table::Table CheckTableBuilder::take_checks() {
    checks_.shrink();
    return std::move(checks_);
}

table::Table CheckTableBuilder::take_rows() {
    table::Table out = std::move(checks_);
    checks_ = table::Table{};
    checks_.columns = check_columns(units_);
    overall_ = table::Table{};
    overall_.columns = overall_columns();
    return out;
}

table::Table CheckTableBuilder::take_overall() {
    overall_.shrink();
    return std::move(overall_);
}

void CheckTableBuilder::resolve_tags(const Dom &d) {
    if (tags_.known == d.tag_count()) return;
    tags_.known = d.tag_count();
    std::pair<std::uint32_t *, std::string_view> wanted[] = {
        {&tags_.internal_forces, "InternalFores"},
        {&tags_.non_conformities, "NonConformities"},
        {&tags_.severity, "Severity"},
        {&tags_.guid, "Guid"},
        {&tags_.limit, "LimitCheckValue"},
        {&tags_.overall_item, "ConcreteCheckResultOverallItem"},
        {&tags_.limit_stress, "LimitStress"},
    };
    for (auto &[tag, name] : wanted) *tag = kNoTag;
    for (std::uint32_t t = 0; t < d.tag_count(); ++t) {
        for (auto &[tag, name] : wanted) {
            if (*tag == kNoTag && d.tag_name(t) == name) *tag = t;
        }
    }
}

bool CheckTableBuilder::wanted(std::string_view family) const {
    if (families_.empty()) return true;
    for (const std::string &f : families_) {
        if (f == family) return true;
    }
    return false;
}

bool CheckTableBuilder::number(const Dom &d, NodeId leaf, double scale, std::string_view field,
                               double &out) const {
    if (leaf == kNoNode || d.text(leaf).absent()) return false;
    const std::string_view text = text_view(d, leaf);
    if (!read_plain_number(text, out) && !(slow_ && slow_(text, out))) {
        throw NumberError{where_.section, where_.extreme, std::string(where_.family),
                          std::string(field), std::string(text)};
    }
    out *= scale;
    return true;
}

void CheckTableBuilder::add_item(const Dom &d, NodeId item, std::int64_t section,
                                 std::int64_t extreme, std::string_view family) {
    // The head every item has, then the values behind the check that this one states, each the
    // first leaf of its name as the readers take it (the capacity's "Fu": its last, as the
    // reader's force set keeps it).
    constexpr int kHead = 7, kValues = kColDecisionMethod - kColVEd;
    NodeId check = kNoNode, type_check = kNoNode, result = kNoNode, value = kNoNode;
    NodeId limit = kNoNode, forces = kNoNode, conformities = kNoNode, fu = kNoNode;
    NodeId method = kNoNode;
    NodeId values[kValues];
    for (NodeId &v : values) v = kNoNode;
    const std::pair<std::uint32_t, NodeId *> slots[] = {
        {kCheck, &check},
        {kTypeCheck, &type_check},
        {kResult, &result},
        {kCheckValue, &value},
        {tags_.limit, &limit},
        {tags_.internal_forces, &forces},
        {tags_.non_conformities, &conformities},
        {kFu, &fu},
        {kDecissionMethod, &method},
        {kVed, &values[kColVEd - kColVEd]},
        {kVrd, &values[kColVRd - kColVEd]},
        {kVrdc, &values[kColVRdC - kColVEd]},
        {kVrds, &values[kColVRdS - kColVEd]},
        {kVrdmax, &values[kColVRdMax - kColVEd]},
        {kTed, &values[kColTEd - kColVEd]},
        {kTrd, &values[kColTRd - kColVEd]},
        {kTrdc, &values[kColTRdC - kColVEd]},
        {kTrds, &values[kColTRdS - kColVEd]},
        {kTrdmax, &values[kColTRdMax - kColVEd]},
        {kW, &values[kColW - kColVEd]},
        {kWlim, &values[kColWLim - kColVEd]},
        {kStress, &values[kColStress - kColVEd]},
        {tags_.limit_stress, &values[kColStressLimit - kColVEd]},
        {kCheckValueLongReinf, &values[kColLongitudinal - kColVEd]},
        {kCheckValueShearReinf, &values[kColShearReinforcement - kColVEd]},
    };
    static_assert(sizeof(slots) / sizeof(slots[0]) == kHead + 2 + kValues);
    for (NodeId c = d.node(item).first_child; c != kNoNode; c = d.node(c).next_sibling) {
        const std::uint32_t t = d.tag(c);
        for (const auto &[tag, slot] : slots) {
            if (t != tag) continue;
            if (*slot == kNoNode) *slot = c;  // the first of each name
            break;
        }
    }
    where_ = Where{section, extreme, family};
    // Numbers first: a failure leaves no partial row behind.
    double numbers[8];
    bool present[8];
    NodeId leaves[8] = {value, limit};
    const char *fields[8] = {"CheckValue", "LimitCheckValue"};
    for (int i = 0; i < 6; ++i) {
        leaves[2 + i] = kNoNode;
        fields[2 + i] = kForces[i];
    }
    if (forces != kNoNode) {  // the first leaf of each name, in one pass
        for (NodeId c = d.node(forces).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            const std::uint32_t t = d.tag(c);
            for (int i = 0; i < 6; ++i) {
                if (t == kForceNames[i] && leaves[2 + i] == kNoNode) leaves[2 + i] = c;
            }
        }
    }
    for (int i = 0; i < 8; ++i) {
        present[i] = number(d, leaves[i], i < 2 ? 1.0 : force_scale_, fields[i], numbers[i]);
    }
    NodeId fu_leaves[6] = {kNoNode, kNoNode, kNoNode, kNoNode, kNoNode, kNoNode};
    if (fu != kNoNode) {
        for (NodeId c = d.node(fu).first_child; c != kNoNode; c = d.node(c).next_sibling) {
            const std::uint32_t t = d.tag(c);
            for (int i = 0; i < 6; ++i) {
                if (t == kForceNames[i]) fu_leaves[i] = c;
            }
        }
    }
    double fu_numbers[6];
    bool fu_present[6];
    for (int i = 0; i < 6; ++i) {
        fu_present[i] = number(d, fu_leaves[i], force_scale_, kFuFields[i], fu_numbers[i]);
    }
    double value_numbers[kValues];
    bool value_present[kValues];
    for (int i = 0; i < kValues; ++i) {
        const int col = kColVEd + i;
        const double scale = col <= kColTRdMax        ? force_scale_
                             : col <= kColWLim        ? length_scale_
                             : col <= kColStressLimit ? stress_scale_
                                                      : 1.0;
        const std::string_view field =
            values[i] == kNoNode ? std::string_view() : d.tag_name(d.tag(values[i]));
        value_present[i] = number(d, values[i], scale, field, value_numbers[i]);
    }
    int counts[4] = {};
    if (conformities != kNoNode) {
        for (NodeId nc = d.node(conformities).first_child; nc != kNoNode;
             nc = d.node(nc).next_sibling) {
            const NodeId sev = d.child(nc, tags_.severity);
            if (sev == kNoNode) continue;
            const int s = severity(text_view(d, sev));
            if (s < 0) continue;
            ++counts[s];
            if (keep_non_conformities_) {
                const NodeId guid = d.child(nc, tags_.guid);
                non_conformities_.push_back(NonConformity{
                    checks_.rows(), s,
                    guid == kNoNode ? std::string() : std::string(text_view(d, guid))});
            }
        }
    }
    auto &col = checks_.columns;
    col[kColSection].append_int(section);
    col[kColExtreme].append_int(extreme);
    col[kColFamily].append_text(family);
    auto text_or_null = [&](Column &c, NodeId n, bool whole) {
        if (n == kNoNode || (!whole && d.text(n).absent())) return c.append_null();
        if (whole && d.has_children(n)) return c.append_text(itertext(d, n));
        c.append_text(text_view(d, n));
    };
    text_or_null(col[kColCheck], check, true);
    text_or_null(col[kColTypeCheck], type_check, true);
    text_or_null(col[kColResult], result, false);
    // The float columns wait in a small row buffer (see flush_numbers), never larger than
    // kPendingRows: a large one, once freed, would raise the allocator's threshold for giving
    // memory back to the system and so keep other large buffers resident.
    if (pending_.size() == kPendingRows) flush_numbers();
    if (pending_.capacity() < kPendingRows) pending_.reserve(kPendingRows);
    Number *row = pending_.emplace_back().data();
    for (int i = 0; i < 8; ++i) row[i] = Number{numbers[i], present[i]};
    for (int i = 0; i < 4; ++i) col[(std::size_t)kColInfo + (std::size_t)i].append_int(counts[i]);
    // A value stated as NaN (a check that RCS did not compute) is missing.
    for (int i = 0; i < 6; ++i) {
        row[8 + i] = Number{fu_numbers[i], fu_present[i] && fu_numbers[i] == fu_numbers[i]};
    }
    for (int i = 0; i < kValues; ++i) {
        row[14 + i] =
            Number{value_numbers[i], value_present[i] && value_numbers[i] == value_numbers[i]};
    }
    text_or_null(col[kColDecisionMethod], method, false);
    add_names(section, extreme);
}

// The model's names of the row's section and extreme; what the model lacks is noted (once per
// section and per section's extreme count) for the caller to report.
void CheckTableBuilder::add_names(std::int64_t section, std::int64_t extreme) {
    auto &col = checks_.columns;
    const SectionContext *s = model_ == nullptr ? nullptr : model_->find(section);
    if (model_ != nullptr && s == nullptr) {
        auto &missing = mismatch_.missing_sections;
        if (missing.empty() || missing.back() != section) missing.push_back(section);
    }
    if (s == nullptr) {
        for (int c = kColSectionName; c <= kColExtremeName; ++c) col[(std::size_t)c].append_null();
        return;
    }
    auto text_or_null = [](Column &c, const std::string &t) {
        if (t.empty()) return c.append_null();
        c.append_text(t);
    };
    text_or_null(col[kColSectionName], s->name);
    text_or_null(col[kColMember], s->member);
    if (s->position > 0) {
        col[kColPosition].append_int(s->position);
    } else {
        col[kColPosition].append_null();
    }
    text_or_null(col[kColReinforcedSection], s->reinforced_section);
    if (extreme >= 1 && (std::size_t)extreme <= s->extremes.size()) {
        text_or_null(col[kColExtremeName], s->extremes[(std::size_t)extreme - 1]);
    } else {
        auto &extra = mismatch_.extra_extremes;
        if (extra.empty() || extra.back() != section) extra.push_back(section);
        col[kColExtremeName].append_null();
    }
}

void CheckTableBuilder::add_overall(const Dom &d, NodeId item, std::int64_t section,
                                    std::int64_t extreme, std::string_view family) {
    where_ = Where{section, extreme, family};
    double value = 0.0;
    const bool present = number(d, d.child(item, kCheckValue), 1.0, "CheckValue", value);
    auto &col = overall_.columns;
    col[0].append_int(section);
    col[1].append_int(extreme);
    col[2].append_text(family);
    const NodeId result = d.child(item, kResult);
    if (result == kNoNode || d.text(result).absent()) {
        col[3].append_null();
    } else {
        col[3].append_text(text_view(d, result));
    }
    append_number(col[4], present, value);
}

// The float columns of the rows buffered so far, one column after the other: appended row by
// row, the stores went to some thirty buffers at once and waited on memory at every row.
void CheckTableBuilder::flush_numbers() {
    static_assert(kColMz == kColCheckValue + 7 && kColVEd == kColFuN + 6);
    auto &col = checks_.columns;
    for (int k = 0; k < kBufferedColumns; ++k) {
        const int c = k < 8 ? kColCheckValue + k : kColFuN + (k - 8);
        Column &column = col[(std::size_t)c];
        for (const auto &row : pending_) append_number(column, row[k].present, row[k].value);
    }
    pending_.clear();
}

// Every element below an extreme that has a "ResultType" child and a "CheckResults" child is
// the result of one check family (RCS writes it as "ConcreteCheckResult", one level below the
// extreme); each non-empty "ConcreteCheckResultBase" in its "CheckResults" is one row. These
// are the elements the family readers locate with ".//*[ResultType=...]/CheckResults", in the
// same (document) order. Overview items ("ConcreteCheckResultOverallItem") go to the overall
// table. Neither kind is searched for more of either inside it.
void CheckTableBuilder::add_section(const Dom &d, NodeId section, std::int64_t section_id) {
    try {
        add_section_rows(d, section, section_id);
    } catch (...) {
        flush_numbers();  // the rows made before the failure stay whole
        throw;
    }
    flush_numbers();
}

void CheckTableBuilder::add_section_rows(const Dom &d, NodeId section, std::int64_t section_id) {
    resolve_tags(d);
    const NodeId extremes = d.child(section, kExtremeResults);
    if (extremes == kNoNode) return;
    std::int64_t number = 0;
    std::string scratch;
    for (NodeId ex = d.node(extremes).first_child; ex != kNoNode; ex = d.node(ex).next_sibling) {
        ++number;
        NodeId at = d.next_in_subtree(ex, ex);
        while (at != kNoNode) {
            NodeId result_type = kNoNode;
            bool has_results = false;
            for (NodeId c = d.node(at).first_child; c != kNoNode; c = d.node(c).next_sibling) {
                if (d.tag(c) == kResultType && result_type == kNoNode) result_type = c;
                if (d.tag(c) == kCheckResults) has_results = true;
            }
            const bool overall = d.tag(at) == tags_.overall_item && result_type != kNoNode;
            if (result_type == kNoNode || (!has_results && !overall)) {
                at = d.next_in_subtree(ex, at);
                continue;
            }
            std::string_view family = d.str(d.text(result_type));
            if (d.has_children(result_type)) {
                scratch = itertext(d, result_type);
                family = scratch;
            }
            if (wanted(family)) {
                if (overall) {
                    add_overall(d, at, section_id, number, family);
                } else {
                    for (NodeId cr = d.node(at).first_child; cr != kNoNode;
                         cr = d.node(cr).next_sibling) {
                        if (d.tag(cr) != kCheckResults) continue;
                        for (NodeId item = d.node(cr).first_child; item != kNoNode;
                             item = d.node(item).next_sibling) {
                            if (d.tag(item) == kConcreteCheckResultBase && d.has_children(item)) {
                                add_item(d, item, section_id, number, family);
                            }
                        }
                    }
                }
            }
            at = next_after_subtree(d, ex, at);
        }
    }
}

}  // namespace marlox::results
