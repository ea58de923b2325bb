#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

#include <vexa/foundation/export.h>

namespace Vexa::arrays {

/// One range of indices per axis of a region, to narrow it with.
class VEXA_API Slice {
public:
    /// Marks a begin or an end that is left open.
    static constexpr std::int64_t open = std::numeric_limits<std::int64_t>::min();

    /// The indices from `begin` up to, not including, `end`, every `step`-th of them.
    struct Range {
        std::int64_t begin = open;
        std::int64_t end = open;
        std::int64_t step = 1;

        friend bool operator==(Range const&, Range const&) = default;
    };

    Slice() = default;
    /// The whole of \p rank axes.
    explicit Slice(std::size_t rank) : ranges(rank) {}
    Slice(std::initializer_list<Range> list) : ranges(list) {}

    friend bool operator==(Slice const&, Slice const&) = default;

    std::vector<Range> ranges; ///< one per axis
};

/// Which samples of a stack a piece of work touches, and in what axis order, without copying them.
///
/// Axes: axis 0 varies fastest in a region of a whole stack; permute() gives another order. `shape`,
/// `strides` and `axes` have one entry per axis of the region; `first`, `step` and `full_shape` one per
/// axis of the stack below, which is `axes[i]` for axis `i` of the region.
/// Units: everything counts samples. Strides and offsets are unsigned and wrap: a step below zero is the
/// stride that leads back modulo 2^64.
/// Owns: values only; the stack is not known. StackView couples the two.
/// Failures: slicing and permuting a region whose vectors do not fit together throws std::invalid_argument
/// "Invalid axis specified."
class VEXA_API Region {
public:
    /// All samples of a stack of this shape.
    explicit Region(std::vector<std::size_t> const& shape);
    /// The part of \p source that \p slice selects. With begin and end in samples of the source, an open
    /// begin is 0 and an open end the size of the axis.
    /// \note Deliberate: bounds below zero do not count from the end; they are invalid. With a step below
    /// zero, `end` is the lower bound and `begin` the upper one, exclusive, and the region starts at the
    /// lower bound. So such a range selects one sample when it is no longer than the step, none when it
    /// is no longer than twice the step, and is too large otherwise.
    /// \throws std::runtime_error "Cannot create slice region: Slice ranks do not match."
    /// \throws std::runtime_error "Cannot create slice region: Invalid slice specified." for bounds
    /// outside the axis or in the wrong order, and for a step of 0 over a range that is not empty.
    /// \throws std::runtime_error "Cannot create slice region: Slice too large."
    Region(Region const& source, Slice const& slice);

    /// The same samples with the axes in another order: axis `i` of the result is axis `order[i]` of this
    /// region.
    /// \throws std::runtime_error "Cannot re-orient region: Invalid permutation specified." unless the
    /// order names each axis exactly once.
    Region permute(std::vector<std::size_t> const& order) const;
    /// Where in the stack below the sample at a position of this region stands. Positions outside the
    /// region are not refused.
    /// \throws std::invalid_argument "Wrong number of positions." unless there is one index per axis.
    std::size_t offset_at(std::vector<std::size_t> const& position) const;
    /// Whether every sample of the region stands within the first \p number_of_elements samples. True for
    /// an empty region, which rank 0 is too, and false for one whose vectors do not match in size.
    bool lies_within(std::size_t number_of_elements) const;

    friend bool operator==(Region const&, Region const&) = default;

    std::vector<std::size_t> shape;
    std::vector<std::size_t> strides; ///< the distance of neighbours along each axis
    std::vector<std::size_t> axes;    ///< the axis of the stack below
    std::vector<std::size_t> first;   ///< the start index, per axis of the stack below
    std::vector<std::size_t> step;    ///< the index step, per axis of the stack below
    std::vector<std::size_t> full_shape;
    std::size_t base_offset = 0; ///< where the first sample stands
};

} // namespace Vexa::arrays
