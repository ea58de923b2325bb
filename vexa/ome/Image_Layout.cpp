#include <vexa/ome/Image_Layout.h>

#include <algorithm>
#include <functional>
#include <limits>

namespace OME {

namespace {

constexpr std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();

std::optional<std::uint64_t> product(std::optional<std::uint64_t> left, std::uint64_t right) {
    std::uint64_t result = 0;
    if (!left || __builtin_mul_overflow(*left, right, &result)) return std::nullopt;
    return result;
}

std::uint64_t limited_product(std::uint64_t left, std::uint64_t right) {
    return product(left, right).value_or(greatest);
}

std::uint64_t limited_sum(std::uint64_t left, std::uint64_t right) {
    return left > greatest - right ? greatest : left + right;
}

} // namespace

void Image_Layout::set_order(Image_Dimension_Order order) {
    using enum Image_Dimension_Order;
    switch (order) {
    case XYZCT: axes_ = {Z, C, T}; break;
    case XYZTC: axes_ = {Z, T, C}; break;
    case XYCTZ: axes_ = {C, T, Z}; break;
    case XYCZT: axes_ = {C, Z, T}; break;
    case XYTCZ: axes_ = {T, C, Z}; break;
    case XYTZC: axes_ = {T, Z, C}; break;
    }
}

void Image_Layout::adjust_stride() {
    for (std::size_t i = 0; i < number_of_axes; ++i) {
        sizes_[2 * i] = extents[axes_[i]].modulo_size;
        sizes_[2 * i + 1] = extents[axes_[i]].size;
    }
    std::uint64_t stride = 1;
    for (std::size_t i = 0; i < sizes_.size(); ++i) {
        strides_[i] = stride;
        stride = limited_product(stride, sizes_[i]);
    }
    bool const has_none = std::count(sizes_.begin(), sizes_.end(), 0u) != 0;
    number_of_planes_ = has_none ? 0 : stride;
}

std::size_t Image_Layout::place_of(Axis axis) const {
    return static_cast<std::size_t>(std::find(axes_.begin(), axes_.end(), axis) - axes_.begin());
}

std::optional<Image_Layout::Axis> Image_Layout::axis_of(Image_Modulo_Type type) const {
    auto const found = std::find_if(axes_.begin(), axes_.end(),
                                    [&](Axis axis) { return extents[axis].modulo_type == type; });
    return found == axes_.end() ? std::nullopt : std::optional<Axis>(*found);
}

std::optional<std::uint64_t> Image_Layout::number_of_pixels() const {
    if (x == 0 || y == 0 || number_of_planes_ == 0) return 0;
    std::optional<std::uint64_t> pixels = product(x, y);
    for (std::uint64_t const size : sizes_) pixels = product(pixels, size);
    return pixels;
}

std::optional<std::vector<std::size_t>> Image_Layout::pixel_strides() const {
    std::vector<std::size_t> strides{1, x};
    std::optional<std::uint64_t> stride = product(x, y);
    for (std::uint64_t const size : sizes_) {
        if (!stride) return std::nullopt;
        strides.push_back(*stride);
        stride = product(stride, size);
    }
    return strides;
}

bool Image_Layout::contains(Image_ZCT_Tuple const& tuple) const { return is_below(steps_of(tuple), sizes_); }

std::uint64_t Image_Layout::index_of(Steps const& steps) const {
    std::uint64_t index = 0;
    for (std::size_t i = 0; i < steps.size(); ++i)
        index = limited_sum(index, limited_product(steps[i], strides_[i]));
    return index;
}

Image_ZCT_Tuple Image_Layout::tuple_at(std::uint64_t index) const {
    Steps steps{};
    for (std::size_t i = 0; i < steps.size(); ++i) {
        steps[i] = index % sizes_[i];
        index /= sizes_[i];
    }
    return tuple_of(steps);
}

Image_Layout::Steps Image_Layout::steps_of(Image_ZCT_Tuple const& tuple) const {
    std::uint64_t const indices[] = {tuple.z, tuple.c, tuple.t};
    std::uint64_t const modulo_indices[] = {tuple.modulo_z, tuple.modulo_c, tuple.modulo_t};
    Steps steps{};
    for (std::size_t i = 0; i < number_of_axes; ++i) {
        steps[2 * i] = modulo_indices[axes_[i]];
        steps[2 * i + 1] = indices[axes_[i]];
    }
    return steps;
}

Image_ZCT_Tuple Image_Layout::tuple_of(Steps const& steps) const {
    std::uint64_t const z = 2 * place_of(Z), c = 2 * place_of(C), t = 2 * place_of(T);
    return {steps[z + 1], steps[c + 1], steps[t + 1], steps[z], steps[c], steps[t]};
}

bool is_below(Image_Layout::Steps const& steps, Image_Layout::Steps const& end) {
    return std::equal(steps.begin(), steps.end(), end.begin(), std::less<>());
}

} // namespace OME
