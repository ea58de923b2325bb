#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "image.h"
#include "input_file.h"
#include "output_file.h"

namespace Vexa::tool {

/// Bare little-endian samples, axis 0 fastest, of which the caller says what they are.
/// \throws Failure with Exit::damaged when the file has another size
std::unique_ptr<SampleSource> open_raw(std::filesystem::path const& path, ImageInfo const& info);
/// The same behind a header of this many bytes, in a file that may hold more. \p file stands at its start.
std::unique_ptr<SampleSource> open_raw(InputFile file, std::size_t header_size, ImageInfo const& info);

/// Write \p header and then bare samples.
/// \param file must outlive the result
std::unique_ptr<SampleSink> write_bytes(OutputFile const& file, std::string const& header,
                                        std::size_t element_size);

} // namespace Vexa::tool
