#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/ome/Image_Dimensions.h>

namespace OME {

/// How the planes of an image follow each other in storage. The sub-dimension of an axis runs faster than the
/// axis itself.
///
/// Invariants: numbers of planes and their strides that 64 bits can't hold are the greatest that they can. No
/// list is that long, so that such planes are never found.
class VEXA_API Image_Layout {
public:
    /// The axes that are divided into planes.
    enum Axis : std::size_t { Z, C, T };
    static constexpr std::size_t number_of_axes = 3;
    /// Indices, sizes or strides in the sequence of storage: of the sub-dimension of the fastest axis, of
    /// this axis itself, and so on.
    using Steps = std::array<std::uint64_t, 2 * number_of_axes>;

    struct VEXA_API Extent {
        std::uint64_t size = 0;
        std::uint64_t modulo_size = 1;
        Image_Modulo_Type modulo_type = Image_Modulo_Type::none;
    };

    std::uint64_t x = 0, y = 0;
    std::array<Extent, number_of_axes> extents{};

    void set_order(Image_Dimension_Order order);
    /// Calculate the strides anew; due after each change of sizes or order.
    void adjust_stride();

    std::array<Axis, number_of_axes> const& axes() const { return axes_; }
    Steps const& sizes() const { return sizes_; }
    std::uint64_t number_of_planes() const { return number_of_planes_; }
    /// The distance in planes from one index of an axis to the next.
    std::uint64_t plane_stride(Axis axis) const { return strides_[2 * place_of(axis) + 1]; }
    std::uint64_t modulo_plane_stride(Axis axis) const { return strides_[2 * place_of(axis)]; }
    /// The fastest axis that is divided by this type.
    std::optional<Axis> axis_of(Image_Modulo_Type type) const;

    /// The number of pixels; empty if 64 bits can't hold it.
    std::optional<std::uint64_t> number_of_pixels() const;
    /// The strides of all dimensions in pixels, from X on; empty if 64 bits can't hold one of them.
    std::optional<std::vector<std::size_t>> pixel_strides() const;

    bool contains(Image_ZCT_Tuple const& tuple) const;
    /// The place of a plane in storage; the greatest number if 64 bits can't hold it.
    std::uint64_t index_of(Image_ZCT_Tuple const& tuple) const { return index_of(steps_of(tuple)); }
    std::uint64_t index_of(Steps const& steps) const;
    /// \pre \p index is less than the number of planes
    Image_ZCT_Tuple tuple_at(std::uint64_t index) const;

    Steps steps_of(Image_ZCT_Tuple const& tuple) const;
    Image_ZCT_Tuple tuple_of(Steps const& steps) const;

private:
    std::size_t place_of(Axis axis) const;

    std::array<Axis, number_of_axes> axes_{Z, C, T};
    Steps sizes_{};
    Steps strides_{};
    std::uint64_t number_of_planes_ = 0;
};

/// Whether all indices of \p tuple are below those of \p end.
VEXA_API bool is_below(Image_Layout::Steps const& steps, Image_Layout::Steps const& end);

} // namespace OME
