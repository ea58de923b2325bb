// Image files that the tool imports, .npy and TIFF with and without an OME document: each is refused, or gives
// images that say what they are and deliver samples up to their end or a failure.

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include <vexa/ome/Root.h>

#include <failure.h>
#include <npy.h>
#include <ome_tiff.h>

#include "fuzz.h"
#include "memory_file.h"

namespace {

using namespace Vexa::tool;

constexpr std::uint64_t most_samples = 1 << 18; ///< of an image, that are looked at

ImageFile open(std::string const& path, std::string_view bytes) {
    if (!bytes.starts_with("\x93NUMPY")) return open_tiff_file(path);
    ImageFile file;
    file.images.push_back(open_npy(path));
    return file;
}

void read(SampleSource& image) {
    ImageInfo const& info = image.info();
    VEXA_FUZZ_CHECK(info.element_size() != 0);
    VEXA_FUZZ_CHECK(!info.shape.empty() && info.labels.size() == info.shape.size());
    auto const total = std::min(info.elements(), most_samples);
    std::array<std::uint64_t, 4> const pieces{1, 4096, 17, 1000};
    std::size_t turn = 0;
    for (std::uint64_t done = 0; done < total; ++turn) {
        auto const n = std::min(pieces[turn % pieces.size()], total - done);
        // Of just this size: the sanitizer sees more.
        std::vector<unsigned char> samples(n * info.element_size());
        image.read(samples.data(), n);
        done += n;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 1 << 16) return 0;
    MemoryFile const memory(data, size);
    try {
        auto const file = open(memory.path(), {reinterpret_cast<char const*>(data), size});
        VEXA_FUZZ_CHECK(!file.images.empty());
        if (!file.document.empty())
            VEXA_FUZZ_CHECK(OME::Root(file.document).ome.images().size() == file.images.size());
        for (auto const& image : file.images) read(*image);
    } catch (Failure const&) {
    }
    return 0;
}
