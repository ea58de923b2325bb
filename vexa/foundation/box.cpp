#include <vexa/foundation/box.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace VX {

namespace {

constexpr std::size_t axes = XYZ<double>::axes;
constexpr double infinity = std::numeric_limits<double>::infinity();

using Range = Interval<double>;

/// The extent on one axis, in which NaN has become infinite.
Range range_of(Box const& box, std::size_t axis) {
    double const low = box.low[axis], high = box.high[axis];
    return {std::isnan(low) ? -infinity : low, std::isnan(high) ? infinity : high};
}

/// From the greater low end to the lesser high end; upside down if there is a gap.
Range overlap(Range const& a, Range const& b) { return {std::max(a.low, b.low), std::min(a.high, b.high)}; }

bool is_thin(Range const& range, double tolerance) { return is_equal(range.low, range.high, tolerance); }

bool is_thick(Range const& range, double tolerance) {
    return range.low < range.high && !is_thin(range, tolerance);
}

bool touch(Range const& a, Range const& b, double tolerance) {
    Range const common = overlap(a, b);
    return common.low <= common.high || is_thin(common, tolerance);
}

bool is_empty(Box const& box) {
    return box.low.x > box.high.x || box.low.y > box.high.y || box.low.z > box.high.z;
}

bool is_same(Range const& a, Range const& b, double tolerance) {
    return is_equal(a.low, b.low, tolerance) && is_equal(a.high, b.high, tolerance);
}

/// Whether the hole takes more than a slice of the range.
bool takes_of(Range const& range, Range const& hole, double tolerance) {
    if (is_thin(range, tolerance)) return touch(range, hole, tolerance);
    return is_thick(overlap(range, hole), tolerance);
}

bool takes_of(Box const& box, Box const& hole, double tolerance) {
    for (std::size_t axis = 0; axis < axes; ++axis)
        if (!takes_of(range_of(box, axis), range_of(hole, axis), tolerance)) return false;
    return true;
}

} // namespace

bool is_equal(double a, double b, double tolerance) {
    if (a == b) return true;
    double const distance = std::abs(a - b);
    if (tolerance > 0) return distance <= tolerance;
    constexpr double relative = 5 * std::numeric_limits<double>::epsilon();
    double const rounding =
        std::max(relative * std::min(std::abs(a), std::abs(b)), std::numeric_limits<double>::min());
    return distance <= rounding && distance < infinity;
}

bool touch(Box const& a, Box const& b, double tolerance) {
    for (std::size_t axis = 0; axis < axes; ++axis)
        if (!touch(range_of(a, axis), range_of(b, axis), tolerance)) return false;
    return true;
}

bool fit_together(Box const& a, Box const& b, double tolerance) {
    std::size_t differing = 0;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        Range const first = range_of(a, axis), second = range_of(b, axis);
        if (is_same(first, second, tolerance)) continue;
        if (++differing > 1 || !touch(first, second, tolerance)) return false;
    }
    return true;
}

Box enclosing(Box const& a, Box const& b) {
    Box result = a;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        // A comparison with NaN fails, so that one in the result stays; one in b is taken over.
        double const low = b.low[axis], high = b.high[axis];
        if (low < result.low[axis] || std::isnan(low)) result.low[axis] = low;
        if (high > result.high[axis] || std::isnan(high)) result.high[axis] = high;
    }
    return result;
}

std::vector<Box> complement(Box const& box, Box const& hole, double tolerance) {
    if (is_empty(box)) return {};
    if (is_empty(hole) || !takes_of(box, hole, tolerance)) return {box};
    std::vector<Box> pieces;
    Box rest = box;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        Range const range = range_of(box, axis), cut = overlap(range, range_of(hole, axis));
        if (is_thin(range, tolerance)) continue;
        if (is_thick({range.low, cut.low}, tolerance)) {
            pieces.push_back(rest);
            pieces.back().high[axis] = rest.low[axis] = cut.low;
        }
        if (is_thick({cut.high, range.high}, tolerance)) {
            pieces.push_back(rest);
            pieces.back().low[axis] = rest.high[axis] = cut.high;
        }
    }
    return pieces;
}

std::vector<Box> intersect(Box const& a, Box const& b, double tolerance) {
    if (is_empty(a) || is_empty(b)) return {};
    Box result;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        Range const first = range_of(a, axis), second = range_of(b, axis);
        if (!takes_of(first, second, tolerance) && !takes_of(second, first, tolerance)) return {};
        Range const common = overlap(first, second);
        // Sheets at a distance within the tolerance have it turned round.
        result.low[axis] = std::min(common.low, common.high);
        result.high[axis] = std::max(common.low, common.high);
    }
    return {result};
}

std::vector<Box> unite(Box const& a, Box const& b, double tolerance) {
    if (is_empty(a)) return is_empty(b) ? std::vector<Box>{} : std::vector<Box>{b};
    if (is_empty(b)) return {a};
    if (fit_together(a, b, tolerance)) return {enclosing(a, b)};
    if (complement(a, b, tolerance).empty()) return {b};
    std::vector<Box> result = complement(b, a, tolerance);
    result.insert(result.begin(), a);
    return result;
}

} // namespace VX
