#pragma once

#include <string>

#include <vexa/props/props.h>

namespace Vexa::props {

/// What a number of look-ups that create may cost together. A path is short and can still make an array of
/// millions of elements, or search a structure of millions of members, so paths that come from a text have a
/// budget.
struct PathBudget {
    unsigned long elements = 1ul << 16; ///< that arrays may grow by
    unsigned long members = 1ul << 24;  ///< that may be looked at
};

/// VPropstruct::getp() that creates, and takes what that costs from \p budget.
/// \throws std::runtime_error "Invalid property path '{}': {}", with "Property array of {} elements is too
/// large." or "Too many names to search." if the budget is used up
VProp& create_place(VPropstruct& root, std::string const& path, PathBudget& budget);

} // namespace Vexa::props
