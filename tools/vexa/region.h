#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace Vexa::tool {

/// What a region takes of one axis.
struct AxisRange {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    std::uint64_t step = 1;
    bool single = false; ///< one index was named, so that the axis drops out of the shape
    friend bool operator==(AxisRange const&, AxisRange const&) = default;
};

/// Read a region as NumPy writes it, slowest axis first: "3, :, 100:200", "..., ::2", "-1". Negative numbers
/// count from the end of an axis, ends are cut to the axis, axes not named are taken whole.
/// \param shape of the stack, axis 0, the fastest, first
/// \return one range for each axis, axis 0 first
/// \throws Failure with Exit::wrong_use
std::vector<AxisRange> parse_region(std::string_view text, std::vector<unsigned long> const& shape);

/// The shape of what a region takes, axis 0 first, without the axes that drop out.
std::vector<unsigned long> region_shape(std::vector<AxisRange> const& region);

/// The number of samples that a region takes. The shape of a stack bounds it.
std::uint64_t region_size(std::vector<AxisRange> const& region);

/// Call \p run with the position and the length of each run of neighbouring samples that the region needs
/// along axis 0, in order. A step along axis 0 is left to the caller: the run then spans the samples between,
/// too.
void for_each_run(std::vector<AxisRange> const& region, std::vector<unsigned long> const& shape,
                  std::function<void(std::uint64_t position, std::uint64_t length)> const& run);

} // namespace Vexa::tool
