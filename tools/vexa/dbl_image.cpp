#include "dbl_image.h"

#include <array>

#include <fmt/format.h>
#include <vexa/bf/dbl.h>
#include <vexa/foundation/types.h>

#include "failure.h"
#include "raw.h"

namespace Vexa::tool {
namespace {

constexpr unsigned long header_only = 160;
constexpr std::uint64_t header_bytes = 128;

} // namespace

std::unique_ptr<SampleSource> open_dbl(std::filesystem::path const& path) {
    InputFile file(path);
    std::array<int, 4> dims{};
    std::array<float, 4> lengths{};
    unsigned long mode = header_only;
    int const kind = vexa_dbl_read(path.c_str(), dims.data(), lengths.data(), &mode);
    if (kind < 1) throw Failure(Exit::damaged, fmt::format("{}: Error reading .dbl file.", path.string()));
    std::size_t rank = 4;
    while (rank > 1 && dims[rank - 1] == 1) --rank;
    ImageInfo info;
    info.type = kind == 1 ? types::double_ : types::single;
    for (std::size_t axis = 0; axis < rank; ++axis) {
        info.shape.push_back(static_cast<unsigned long>(dims[axis]));
        info.lengths.push_back(lengths[axis]);
    }
    info.labels.resize(rank);
    return open_raw(std::move(file), header_bytes, info);
}

} // namespace Vexa::tool
