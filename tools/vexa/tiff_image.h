#pragma once

#include <filesystem>
#include <memory>

#include "image.h"
#include "output_file.h"

namespace Vexa::tool {

class TiffPages;

/// Open a TIFF file as one stack: axis 0 is X, then Y, then the pages. Colour samples become an axis of their
/// own: axis 0, with the label `colour_label`, where they stand side by side, and the axis behind Y where
/// each colour has its own plane. A note of the shape, as write_tiff() leaves it, splits the pages into
/// several axes.
std::unique_ptr<SampleSource> open_tiff(std::filesystem::path const& path);
std::unique_ptr<SampleSource> stack_of_pages(std::shared_ptr<TiffPages> file);

/// Write a stack as pages of its first two axes, uncompressed. An axis 0 with the label `colour_label` becomes the
/// samples of a pixel. Files that may pass 4 GiB are BigTIFF.
/// \param file must outlive the result
/// \param description of the first page
std::unique_ptr<SampleSink> write_tiff(OutputFile const& file, ImageInfo const& info,
                                       std::string const& description);
/// The same with a note of the shape as description.
std::unique_ptr<SampleSink> write_shaped_tiff(OutputFile const& file, ImageInfo const& info);

} // namespace Vexa::tool
