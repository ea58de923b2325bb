#pragma once

#include <filesystem>
#include <memory>

#include "image.h"

namespace Vexa::tool {

/// A file of the older array format. All of its samples are delivered, also those behind a dimension of 1, which
/// the library leaves out; dimensions of 1 at the end are none.
std::unique_ptr<SampleSource> open_dbl(std::filesystem::path const& path);

} // namespace Vexa::tool
