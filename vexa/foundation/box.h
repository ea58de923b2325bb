#pragma once

#include <cstddef>
#include <vector>

#include <vexa/foundation/export.h>

/// \file
/// Boxes along the axes of space, as sets of points that can be cut and joined.

namespace VX {

/// One value for each axis of space.
template <typename T>
struct VEXA_API XYZ {
    static constexpr std::size_t axes = 3;

    T x{}, y{}, z{};

    constexpr T& operator[](std::size_t axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    constexpr T const& operator[](std::size_t axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    friend constexpr bool operator==(XYZ const&, XYZ const&) = default;
};

/// What lies between two ends, both included.
template <typename T>
struct VEXA_API Interval {
    T low{}, high{};

    friend constexpr bool operator==(Interval const&, Interval const&) = default;
};

/// The points between two corners. A corner that is NaN bounds its axis no more than an infinite one does; a
/// low corner above the high one on any axis makes the box empty.
using Box = Interval<XYZ<double>>;

/// Whether two numbers are the same or no further apart than \p tolerance.
///
/// A tolerance that isn't positive allows for rounding only: 5 times the machine epsilon of the smaller
/// magnitude, or the smallest normal number where that is more. NaN equals nothing.
VEXA_API bool is_equal(double a, double b, double tolerance = 0);

// The functions below neglect what is_equal() doesn't see: gaps, overlaps and slices up to the tolerance. A box
// that is itself that thin on an axis is a sheet there, and lies in whatever comes that close to it.

/// Whether there is no gap between them on any axis. A box that contains one of them touches the other as
/// well.
VEXA_API bool touch(Box const& a, Box const& b, double tolerance = 0);
/// Whether both together are a box: they are the same on two axes at least and touch on the third.
VEXA_API bool fit_together(Box const& a, Box const& b, double tolerance = 0);
/// The least box that contains both.
VEXA_API Box enclosing(Box const& a, Box const& b);

/// The part of \p box outside of \p hole: no box, up to six that don't overlap, or the box itself if the two
/// don't touch or \p hole takes no more than a slice of it.
VEXA_API std::vector<Box> complement(Box const& box, Box const& hole, double tolerance = 0);
/// What both have in common: no box or one.
VEXA_API std::vector<Box> intersect(Box const& a, Box const& b, double tolerance = 0);
/// Boxes that don't overlap and cover both: one if they fit together or one contains the other.
VEXA_API std::vector<Box> unite(Box const& a, Box const& b, double tolerance = 0);

} // namespace VX
