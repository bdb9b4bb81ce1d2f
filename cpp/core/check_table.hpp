// The check table of a result file: one row per check item of every extreme of every check
// section, read from the head that every item carries (its internal forces, non-conformities,
// verdict, check value, limit and calculation type), for every family the file holds, whether a
// reader knows it or not; then the values behind the check that the item states (capacity Fu,
// shear and torsion forces and resistances, crack width and its limit, stress and its limit,
// detailing ratios, fatigue method), and with a model the names of section, member, reinforced
// section and extreme. Built one section at a time while the scan goes on, so that memory
// holds the table and one section, never the document. The per-extreme overview items
// ("Overall") make a second, smaller table.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/model_context.hpp"
#include "core/result_dom.hpp"
#include "core/table.hpp"

namespace marlox::results {

enum class Units {
    SI,           // as the file writes them: N, N·m
    Engineering,  // kN, kN·m
};

// The columns of the check table, in order.
enum CheckColumn : int {
    kColSection,
    kColExtreme,
    kColFamily,
    kColCheck,
    kColTypeCheck,
    kColResult,
    kColCheckValue,
    kColLimitCheckValue,
    kColN,
    kColQy,
    kColQz,
    kColMx,
    kColMy,
    kColMz,
    kColInfo,
    kColWarning,
    kColError,
    kColTerminated,
    // The values behind the check, where the item states them (null elsewhere).
    kColFuN,  // capacity: the ultimate forces "Fu", N ... Mz
    kColFuQy,
    kColFuQz,
    kColFuMx,
    kColFuMy,
    kColFuMz,
    kColVEd,  // shear (also the shear items of fatigue, and interaction's VEd)
    kColVRd,
    kColVRdC,
    kColVRdS,
    kColVRdMax,
    kColTEd,  // torsion (and interaction's TEd)
    kColTRd,
    kColTRdC,
    kColTRdS,
    kColTRdMax,
    kColW,  // crack width and its limit
    kColWLim,
    kColStress,  // stress limitation: the stress and its limit
    kColStressLimit,
    kColLongitudinal,  // detailing: longitudinal and shear reinforcement ratios
    kColShearReinforcement,
    kColDecisionMethod,  // fatigue
    // What the model names (null without one: the result file names nothing).
    kColSectionName,
    kColMember,
    kColPosition,
    kColReinforcedSection,
    kColExtremeName,
    kCheckColumnCount
};

// The first and the last of the non-conformity counts, which governing rows sum.
inline constexpr int kFirstCount = kColInfo;
inline constexpr int kLastCount = kColTerminated;

// A result file and a model that do not belong together: the ids of the result file's
// sections that the model lacks, and the sections with more extremes than the model gives them.
struct ModelMismatch {
    std::vector<std::int64_t> missing_sections;
    std::vector<std::int64_t> extra_extremes;
};

// The check families that RCS writes (the "ResultType" texts), in its own order.
inline constexpr const char *kKnownFamilies[] = {
    "Capacity",         "Response",   "Shear",     "Torsion",   "Interaction", "Fatigue",
    "StressLimitation", "CrackWidth", "Detailing", "Stiffness", "Deflection",
};

// A value where the table needs a number and the text is none.
struct NumberError {
    std::int64_t section = 0;
    std::int64_t extreme = 0;
    std::string family;
    std::string field;
    std::string text;
};

// Converts a number text that the builder does not read itself (underscores, digits or spaces
// outside ASCII, exponents out of range) exactly as the host's float() does; false if it is not
// a number.
using NumberReader = std::function<bool(std::string_view text, double &out)>;

// float(text) for the plain forms: ASCII white space around an optional sign and a decimal or
// exponent number, or inf, infinity and nan in any case. False for everything else (left to
// the NumberReader).
bool read_plain_number(std::string_view text, double &out) noexcept;

// A non-conformity that a check item states: its severity (0 info, 1 warning, 2 error,
// 3 terminated error), its GUID (the file gives no text) and the row of the item.
struct NonConformity {
    std::size_t row = 0;
    int severity = 0;
    std::string guid;
};

class CheckTableBuilder {
  public:
    // `families`: the family texts whose rows are kept (all when empty); `model`: the names of
    // the sections (null: none), which must outlive the builder.
    CheckTableBuilder(Units units, std::vector<std::string> families, NumberReader slow,
                      const ModelContext *model = nullptr);

    // The rows of one section whose subtree `dom` holds complete. Throws NumberError (the rows
    // of the section are then incomplete) and std::bad_alloc.
    void add_section(const Dom &dom, NodeId section, std::int64_t section_id);

    // The tables, their buffers trimmed to their rows.
    table::Table take_checks();
    table::Table take_overall();
    // The rows added so far, leaving the builder empty for more (their "Overall" rows let go):
    // a consumer that writes each section as it comes holds one section, never the table.
    table::Table take_rows();
    // With `keep`, each non-conformity of the rows is kept too, to be taken with them (its row
    // counted from the last take_rows()).
    void keep_non_conformities(bool keep) noexcept { keep_non_conformities_ = keep; }
    std::vector<NonConformity> take_non_conformities() { return std::move(non_conformities_); }
    // What did not match the model so far.
    const ModelMismatch &mismatch() const noexcept { return mismatch_; }

  private:
    struct Tags {
        std::size_t known = 0;  // the dom's tag count when they were last looked up
        std::uint32_t internal_forces, non_conformities, severity, guid, limit, overall_item,
            limit_stress;
    };
    void resolve_tags(const Dom &d);
    bool wanted(std::string_view family) const;
    void add_section_rows(const Dom &d, NodeId section, std::int64_t section_id);
    void flush_numbers();
    void add_item(const Dom &d, NodeId item, std::int64_t section, std::int64_t extreme,
                  std::string_view family);
    void add_values(const Dom &d, NodeId item);
    void add_names(std::int64_t section, std::int64_t extreme);
    void add_overall(const Dom &d, NodeId item, std::int64_t section, std::int64_t extreme,
                     std::string_view family);
    // The number of a leaf, times `scale`; false when the leaf or its text is missing.
    bool number(const Dom &d, NodeId leaf, double scale, std::string_view field, double &out) const;

    Units units_;
    double force_scale_, length_scale_, stress_scale_;
    const ModelContext *model_;
    ModelMismatch mismatch_;
    std::vector<std::string> families_;
    NumberReader slow_;
    Tags tags_{};
    // The float columns of the rows not yet appended (rows of the current section only): check
    // value and limit, the six forces, then the columns from kColFuN to kColDecisionMethod.
    struct Number {
        double value;
        bool present;
    };
    static constexpr int kBufferedColumns = 8 + (kColDecisionMethod - kColFuN);
    static constexpr std::size_t kPendingRows = 128;
    std::vector<std::array<Number, kBufferedColumns>> pending_;
    table::Table checks_;
    table::Table overall_;
    bool keep_non_conformities_ = false;
    std::vector<NonConformity> non_conformities_;
    // Where add_item is, for a NumberError.
    struct Where {
        std::int64_t section = 0, extreme = 0;
        std::string_view family;
    } where_;
};

// A text as ElementTree's "".join(element.itertext()) gives it.
std::string itertext(const Dom &d, NodeId id);

}  // namespace marlox::results
