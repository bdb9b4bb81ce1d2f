// The rules by which the model builders make their objects, each stated once: ids and the
// default names made from them, the units callers give and the units the objects hold, and
// where the strengths of a reinforcement come from when a caller leaves them out.
#pragma once

#include <cstddef>
#include <string>

namespace marlox::model {

// Ids count from 1 in each list on its own: a new object's id is the length of its list before
// the append, plus one. Both kinds of cross-section share one list and so one sequence.
constexpr std::size_t next_id(std::size_t list_length) { return list_length + 1; }

// The objects whose name defaults to a text made from their id.
enum class Named {
    ReinforcedSection,  // "R1", "R2", ...
    CheckMember,        // "M 1", "M 2", ... (with a space)
    CheckSection,       // "S1", "S2", ...
};

inline std::string default_name(Named kind, std::size_t id) {
    const char *prefix = kind == Named::ReinforcedSection ? "R"
                         : kind == Named::CheckMember     ? "M "
                                                          : "S";
    return prefix + std::to_string(id);
}

// Callers give moduli and strengths in MPa; the objects hold pascal.
constexpr double kPascalPerMegapascal = 1e6;
// Callers give the strain at maximum load (epsuk) in units of 1e-4; the objects hold a ratio.
constexpr double kStrainPerGivenUnit = 1e-4;

// The keys of a base material's row in the companion module's _MATERIAL_PROPERTIES.
namespace base {
constexpr const char *kFck = "fck";              // concrete: characteristic strength [MPa]
constexpr const char *kFyk = "fyk";              // steel: characteristic yield strength [MPa]
constexpr const char *kFtkByFyk = "ftk_by_fyk";  // steel: k = ftk / fyk
constexpr const char *kEpsuk = "epsuk";          // steel: strain at maximum load [1e-4]
}  // namespace base

// A value a caller leaves out is falsy (None, 0, empty text) and takes the base material's
// entry. The tensile strength of a reinforcement is ftk = fyk * k:
// - the OpenModel operation takes a given ftk as it is, and otherwise computes it from the
//   base material's own fyk and k, whatever fyk or k the caller gave;
// - the member-oriented Model always computes it, from fyk and k as given or defaulted.

}  // namespace marlox::model
