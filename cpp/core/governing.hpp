// The governing check: for each check section, the worst check item of the check table, over
// the whole section or in each of its families.
#pragma once

#include <string_view>

#include "core/table.hpp"

namespace marlox::results {

// What a verdict ("Result" text) says, worst first.
enum class Verdict {
    Failed,  // Failed, FailedWithError
    Ran,     // Passed, PassedWithWarnings, and any text RCS does not write
    NotRun,  // NotDone, CheckIsOff, CheckIsNotNecesssary
};
Verdict verdict_of(std::string_view result) noexcept;

// The governing rows of a check table (the columns of CheckTableBuilder): one row per section,
// or with `per_family` one per section and family, each the worst item of its group with that
// item's columns, except that the four non-conformity counts are the sums over the group; then
// "items", "failed_items" and "not_done_items" (the group's item count, those with a failed
// verdict and those that RCS did not do), and with `per_family` "governing" (true on the worst
// row of each section).
//
// An item is worse than another when its verdict failed and the other's did not; else when it
// ran and the other did not; else when its check value is larger (a missing value or NaN is the
// least); on a tie the earlier in the file governs. Sections come worst first, by their
// governing item, and with `per_family` their families worst first below them.
table::Table governing(const table::Table &checks, bool per_family);

}  // namespace marlox::results
