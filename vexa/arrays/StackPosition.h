#pragma once

namespace Vexa::arrays {

/// Where a stack stands in its surroundings. A place in the interface that holds no data so far: setting
/// it stores nothing, and all positions are equal.
struct StackPosition {
    friend constexpr bool operator==(StackPosition const&, StackPosition const&) = default;
};

} // namespace Vexa::arrays
