#pragma once

#include <filesystem>
#include <memory>

#include "image.h"
#include "output_file.h"

namespace Vexa::tool {

/// Open a TIFF file as one stack: axis 0 is X, then Y, then the pages. Colour samples become an axis of their
/// own: axis 0, with the label `colour_label`, where they stand side by side, and the axis behind Y where
/// each colour has its own plane. A note of the shape, as write_tiff() leaves it, splits the pages into
/// several axes.
std::unique_ptr<SampleSource> open_tiff(std::filesystem::path const& path);

/// Write a stack as pages of its first two axes, uncompressed, with a note of its shape. An axis 0 with the
/// label `colour_label` becomes the samples of a pixel. Files that may pass 4 GiB are BigTIFF.
/// \param file must outlive the result
std::unique_ptr<SampleSink> write_tiff(OutputFile const& file, ImageInfo const& info);

} // namespace Vexa::tool
