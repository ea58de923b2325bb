#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <vexa/bf/layout_internal.h>

namespace Vexa::bf {

/// The header of an older array file. Its dimensions alone are big-endian, and neither they nor the lengths
/// stand in the order of their indices.
struct DblHeaderLayout {
    static constexpr std::array<std::size_t, 4> order{2, 1, 0, 3}; ///< index of each value, as it stands

    static constexpr Field<std::array<std::uint16_t, 4>> dims{0};
    static constexpr Field<std::array<float, 4>> lengths{dims.end()};
    static constexpr Field<std::uint8_t> sample_format{lengths.end()}; ///< 1: float, any other: double
    static constexpr std::size_t size = 128;
};

static_assert(DblHeaderLayout::lengths.offset == 8 && DblHeaderLayout::sample_format.offset == 24);

} // namespace Vexa::bf
