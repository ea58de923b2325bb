#pragma once

#include <filesystem>
#include <string>

#include <vexa/json/Value.h>

#include "image.h"

namespace Vexa::tool {

/// The JSON file that says what the samples of a .raw file are: beside it, with the ending .json.
std::filesystem::path sidecar_path(std::filesystem::path const& raw);

/// What stands in it.
JSON::Value sidecar_json(ImageInfo const& info);

/// Read it.
/// \throws Failure with Exit::no_input when it is missing, Exit::damaged when it makes no sense
ImageInfo read_sidecar(std::filesystem::path const& raw);

} // namespace Vexa::tool
