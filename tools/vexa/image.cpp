#include "image.h"

#include <algorithm>

#include <fmt/format.h>
#include <vexa/foundation/types.h>

#include "dbl_image.h"
#include "failure.h"
#include "npy.h"
#include "tiff_image.h"

namespace Vexa::tool {

std::uint64_t ImageInfo::elements() const {
    std::uint64_t count = 1;
    for (auto const size : shape) count *= size;
    return count;
}

std::size_t ImageInfo::element_size() const { return vexa_dt_get_size(type); }

bool has_colour_axis(ImageInfo const& info) {
    return !info.labels.empty() && info.labels.front() == colour_label && info.shape.size() > 1;
}

std::string lower_ending(std::filesystem::path const& path) {
    auto ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return ending;
}

std::unique_ptr<SampleSource> open_image(std::filesystem::path const& path) {
    auto const ending = lower_ending(path);
    if (ending == ".npy") return open_npy(path);
    if (ending == ".tif" || ending == ".tiff") return open_tiff(path);
    if (ending == ".dbl") return open_dbl(path);
    throw Failure(
        Exit::wrong_use,
        fmt::format("{}: don't know how to read '{}' files; .npy, .tif, .tiff, .dbl and .raw are known.",
                    path.string(), ending));
}

} // namespace Vexa::tool
