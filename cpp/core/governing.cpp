#include "core/governing.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "core/check_table.hpp"

namespace marlox::results {

using table::Column;
using table::Type;

Verdict verdict_of(std::string_view r) noexcept {
    if (r == "Failed" || r == "FailedWithError") return Verdict::Failed;
    if (r == "NotDone" || r == "CheckIsOff" || r == "CheckIsNotNecesssary") return Verdict::NotRun;
    return Verdict::Ran;
}

namespace {

struct Group {
    std::int64_t section;
    std::int32_t family;  // the family's code, or -1 for the whole section
    std::size_t worst;    // row of the worst item
    std::size_t section_index;
    std::int64_t counts[4] = {};
    std::int64_t items = 0, failed = 0, not_done = 0;
};

struct Key {
    int verdict;
    double value;  // -inf for a missing value or NaN
};

struct PairHash {
    std::size_t operator()(const std::pair<std::int64_t, std::int32_t> &k) const noexcept {
        return std::hash<std::int64_t>()(k.first) * 31u + std::hash<std::int32_t>()(k.second);
    }
};

}  // namespace

table::Table governing(const table::Table &checks, bool per_family) {
    const auto &cols = checks.columns;
    const Column &section = cols[kColSection];
    const Column &family = cols[kColFamily];
    const Column &result = cols[kColResult];
    const Column &value = cols[kColCheckValue];
    const std::size_t rows = checks.rows();

    std::vector<Key> keys(rows);
    for (std::size_t r = 0; r < rows; ++r) {
        const Verdict v = result.valid(r) ? verdict_of(result.text_at(r)) : Verdict::Ran;
        double x = value.valid(r) ? value.float_at(r) : -INFINITY;
        if (std::isnan(x)) x = -INFINITY;
        keys[r] = Key{(int)v, x};
    }
    // Whether row a is worse than row b.
    auto worse = [&](std::size_t a, std::size_t b) {
        if (keys[a].verdict != keys[b].verdict) return keys[a].verdict < keys[b].verdict;
        if (keys[a].value != keys[b].value) return keys[a].value > keys[b].value;
        return a < b;
    };

    // Groups in the order of their first row; sections likewise.
    std::vector<Group> groups;
    std::unordered_map<std::pair<std::int64_t, std::int32_t>, std::size_t, PairHash> index;
    std::unordered_map<std::int64_t, std::size_t> section_index;
    std::vector<std::size_t> section_worst;
    for (std::size_t r = 0; r < rows; ++r) {
        const std::int64_t s = section.int_at(r);
        const std::int32_t f = per_family ? family.code_at(r) : -1;
        auto [sit, snew] = section_index.emplace(s, section_worst.size());
        if (snew)
            section_worst.push_back(r);
        else if (worse(r, section_worst[sit->second]))
            section_worst[sit->second] = r;
        auto [it, fresh] = index.emplace(std::make_pair(s, f), groups.size());
        if (fresh) groups.push_back(Group{s, f, r, sit->second});
        Group &g = groups[it->second];
        if (worse(r, g.worst)) g.worst = r;
        for (int i = 0; i < 4; ++i) g.counts[i] += cols[(std::size_t)kFirstCount + i].int_at(r);
        ++g.items;
        if (keys[r].verdict == (int)Verdict::Failed) ++g.failed;
        if (result.valid(r) && result.text_at(r) == "NotDone") ++g.not_done;
    }
    std::vector<std::size_t> order(groups.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        const std::size_t sa = section_worst[groups[a].section_index];
        const std::size_t sb = section_worst[groups[b].section_index];
        if (sa != sb) return worse(sa, sb);
        return worse(groups[a].worst, groups[b].worst);
    });

    table::Table out;
    for (std::size_t c = 0; c < cols.size(); ++c) {
        const bool count = c >= (std::size_t)kFirstCount && c <= (std::size_t)kLastCount;
        out.columns.emplace_back(cols[c].name(), count ? Type::Int64 : cols[c].type(),
                                 cols[c].unit(), cols[c].nullable());
    }
    for (const char *name : {"items", "failed_items", "not_done_items"}) {
        out.columns.emplace_back(name, Type::Int64, "", false);
    }
    if (per_family) out.columns.emplace_back("governing", Type::Bool, "", false);
    for (std::size_t i : order) {
        const Group &g = groups[i];
        for (std::size_t c = 0; c < cols.size(); ++c) {
            if (c >= (std::size_t)kFirstCount && c <= (std::size_t)kLastCount) {
                out.columns[c].append_int(g.counts[c - (std::size_t)kFirstCount]);
            } else {
                out.columns[c].append_from(cols[c], g.worst);
            }
        }
        std::size_t c = cols.size();
        out.columns[c++].append_int(g.items);
        out.columns[c++].append_int(g.failed);
        out.columns[c++].append_int(g.not_done);
        if (per_family) out.columns[c].append_bool(section_worst[g.section_index] == g.worst);
    }
    out.shrink();
    return out;
}

}  // namespace marlox::results
