#include <vexa/arrays/Region.h>

#include <numeric>
#include <stdexcept>

namespace Vexa::arrays {

namespace {

/// What a range selects of an axis: the lowest index and the number of samples.
struct Selection {
    std::size_t low;
    std::size_t count;
};

[[noreturn]] void throw_invalid_slice() {
    throw std::runtime_error("Cannot create slice region: Invalid slice specified.");
}

/// \param open_value what an open bound stands for
std::size_t bound(std::int64_t index, std::size_t open_value) {
    if (index == Slice::open) return open_value;
    if (index < 0) throw_invalid_slice();
    return static_cast<std::size_t>(index);
}

std::size_t magnitude(std::int64_t step) {
    return step < 0 ? std::size_t{0} - static_cast<std::size_t>(step) : static_cast<std::size_t>(step);
}

Selection select(Slice::Range const& range, std::size_t size) {
    bool const forward = range.step >= 0;
    std::size_t const low = bound(forward ? range.begin : range.end, 0);
    std::size_t const high = bound(forward ? range.end : range.begin, size);
    if (high < low || high > size) throw_invalid_slice();
    if (high == low) return {low, 0};
    if (range.step == 0) throw_invalid_slice();

    // The count is (high - low - 1) / step + 1 in signed numbers: at most 1 for a step below zero.
    std::size_t const steps = (high - low - 1) / magnitude(range.step);
    if (forward) return {low, steps + 1};
    if (steps > 1) throw std::runtime_error("Cannot create slice region: Slice too large.");
    return {low, 1 - steps};
}

/// The fields are open to everybody, so that they may not fit together.
void throw_if_inconsistent(Region const& region) {
    bool fits = region.strides.size() == region.shape.size() && region.axes.size() == region.shape.size();
    for (std::size_t const axis : region.axes)
        fits = fits && axis < region.first.size() && axis < region.step.size();
    if (!fits) throw std::invalid_argument("Invalid axis specified.");
}

} // namespace

Region::Region(std::vector<std::size_t> const& stack_shape)
    : shape(stack_shape), strides(stack_shape.size()), axes(stack_shape.size()), first(stack_shape.size(), 0),
      step(stack_shape.size(), 1), full_shape(stack_shape) {
    std::iota(axes.begin(), axes.end(), std::size_t{0});
    std::size_t stride = 1;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        strides[i] = stride;
        stride *= shape[i];
    }
}

Region::Region(Region const& source, Slice const& slice) : Region(source) {
    throw_if_inconsistent(source);
    if (slice.ranges.size() != shape.size())
        throw std::runtime_error("Cannot create slice region: Slice ranks do not match.");
    for (std::size_t i = 0; i < shape.size(); ++i) {
        Slice::Range const& range = slice.ranges[i];
        Selection const selection = select(range, shape[i]);
        std::size_t const axis = axes[i];
        shape[i] = selection.count;
        base_offset += selection.low * strides[i];
        strides[i] *= static_cast<std::size_t>(range.step);
        first[axis] += step[axis] * selection.low;
        step[axis] *= static_cast<std::size_t>(range.step);
    }
}

Region Region::permute(std::vector<std::size_t> const& order) const {
    throw_if_inconsistent(*this);
    std::vector<bool> named(shape.size(), false);
    bool valid = order.size() == shape.size();
    for (std::size_t i = 0; valid && i < order.size(); ++i) {
        valid = order[i] < named.size() && !named[order[i]];
        if (valid) named[order[i]] = true;
    }
    if (!valid) throw std::runtime_error("Cannot re-orient region: Invalid permutation specified.");

    Region result = *this;
    for (std::size_t i = 0; i < order.size(); ++i) {
        result.shape[i] = shape[order[i]];
        result.strides[i] = strides[order[i]];
        result.axes[i] = axes[order[i]];
    }
    return result;
}

std::size_t Region::offset_at(std::vector<std::size_t> const& position) const {
    if (position.size() != strides.size()) throw std::invalid_argument("Wrong number of positions.");
    return std::inner_product(position.begin(), position.end(), strides.begin(), base_offset);
}

bool Region::lies_within(std::size_t number_of_elements) const {
    if (strides.size() != shape.size()) return false;
    if (shape.empty()) return true;
    for (std::size_t const size : shape)
        if (size == 0) return true;

    // The furthest samples below and above the first one; a stride from 2^63 on leads downwards.
    std::size_t below = 0;
    std::size_t above = base_offset;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        bool const downwards = static_cast<std::int64_t>(strides[i]) < 0;
        std::size_t distance = 0;
        if (__builtin_mul_overflow(magnitude(static_cast<std::int64_t>(strides[i])), shape[i] - 1, &distance))
            return false;
        std::size_t& reach = downwards ? below : above;
        if (__builtin_add_overflow(reach, distance, &reach)) return false;
    }
    return below <= base_offset && above < number_of_elements;
}

} // namespace Vexa::arrays
