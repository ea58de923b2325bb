#pragma once

#include <cstdlib>
#include <filesystem>

namespace Vexa::testing {

/// The folder of real files outside of the project, which may be missing.
/// \param source_dir the root of the project
inline std::filesystem::path sample_folder(std::filesystem::path const& source_dir) {
    if (char const* const folder = std::getenv("VEXA_SHARED_DATA")) return folder;
    return source_dir / ".." / "shared" / "data";
}

} // namespace Vexa::testing
