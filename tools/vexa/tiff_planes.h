#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "image.h"
#include "tiff_pages.h"

namespace Vexa::tool {

/// What a plane of a stack is in a TIFF file.
struct TiffPlane {
    std::size_t page = 0;
    std::uint16_t part = 0;
    std::optional<std::uint16_t> sample; ///< the only one to take of each pixel, instead of all of them
};

/// A stack whose planes are in a TIFF file, in any order.
class TiffPlanes : public SampleSource {
public:
    /// \param planes all of the same form, of pages that have passed TiffPages::check()
    TiffPlanes(std::shared_ptr<TiffPages> pages, ImageInfo info, std::vector<TiffPlane> planes);
    void read(void* to, std::uint64_t count) override;

private:
    std::span<unsigned char const> next_rows();
    std::span<unsigned char const> only(std::uint16_t sample, std::span<unsigned char const> rows);

    std::shared_ptr<TiffPages> pages_;
    std::vector<TiffPlane> planes_;
    std::size_t next_plane_ = 0;
    std::span<unsigned char const> rows_; ///< those that have not been delivered
    std::vector<unsigned char> picked_;
};

} // namespace Vexa::tool
