#include "tiff_planes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace Vexa::tool {

TiffPlanes::TiffPlanes(std::shared_ptr<TiffPages> pages, ImageInfo info, std::vector<TiffPlane> planes)
    : pages_(std::move(pages)), planes_(std::move(planes)) {
    info_ = std::move(info);
    warnings_ = pages_->take_warnings();
}

void TiffPlanes::read(void* to, std::uint64_t count) {
    auto* at = static_cast<unsigned char*>(to);
    std::uint64_t bytes = count * info_.element_size();
    while (bytes != 0) {
        if (rows_.empty()) rows_ = next_rows();
        auto const n = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, rows_.size()));
        std::memcpy(at, rows_.data(), n);
        rows_ = rows_.subspan(n);
        at += n;
        bytes -= n;
    }
}

/// The next rows of the plane at hand, or the first ones of the next.
std::span<unsigned char const> TiffPlanes::next_rows() {
    auto rows = next_plane_ == 0 ? std::span<unsigned char const>() : pages_->next_rows();
    if (rows.empty()) {
        auto const& plane = planes_.at(next_plane_++);
        pages_->begin(plane.page, plane.part);
        rows = pages_->next_rows();
    }
    std::ranges::move(pages_->take_warnings(), std::back_inserter(warnings_));
    auto const sample = planes_[next_plane_ - 1].sample;
    return sample ? only(*sample, rows) : rows;
}

std::span<unsigned char const> TiffPlanes::only(std::uint16_t sample, std::span<unsigned char const> rows) {
    auto const size = info_.element_size();
    auto const pixel = size * pages_->pages()[planes_[next_plane_ - 1].page].samples;
    picked_.resize(rows.size() / pixel * size);
    for (std::size_t i = 0; i < picked_.size() / size; ++i)
        std::memcpy(picked_.data() + i * size, rows.data() + i * pixel + sample * size, size);
    return picked_;
}

} // namespace Vexa::tool
