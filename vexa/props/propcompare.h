#pragma once

#include <functional>

#include <vexa/foundation/export.h>
#include <vexa/props/props.h>

namespace Vexa::props {

/// How is_equal() compares.
struct CompareTraits {
    /// Real numbers may differ by a rounding error: by twice the machine epsilon of the larger magnitude.
    bool tolerant = false;
    /// If set, is asked first for each pair of handles; true means that they are equal without further
    /// looking.
    std::function<bool(VProp const&, VProp const&)> custom;
};

/// Compare two trees of any depth: types, shapes as get_size(true) has them, values, and members by name in
/// any order. An empty handle and a vexa_EMPTY are equal. Identical bit patterns are equal, and so are two
/// NaN; the two zeros differ unless tolerant.
/// \note Deliberate: an infinite number in \p b equals any number in \p a.
/// \throws std::runtime_error "Invalid size vector in property array."; whatever `custom` throws
VEXA_API bool is_equal(VProp const& a, VProp const& b, CompareTraits traits);

} // namespace Vexa::props
