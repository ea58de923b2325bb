#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::testing {

struct CheckOptions {
    /// Bytes of samples that are read in order over all stacks; a hostile shape has no end.
    std::uint64_t most_bytes = std::uint64_t{1} << 30;
    /// Reads at random positions for each stack, which have to agree with the reading in order.
    unsigned random_reads = 16;
    std::uint64_t seed = 1;
    bf::ThreadingSupport threading;
    /// Is told of the bytes read; false ends the check.
    std::function<bool(std::uint64_t bytes)> progress;
};

struct CheckedStack {
    std::string name;
    std::string error;            ///< the first thing that went wrong; empty when nothing did
    std::uint64_t bytes_read = 0; ///< of samples, in order
    bool read_whole = false;      ///< all samples were read in order
};

struct CheckReport {
    bool opened = false;
    std::string error; ///< why the file does not open, or what went wrong outside of the stacks
    std::vector<CheckedStack> stacks;
    bool stopped = false; ///< by the progress function

    /// Whether it opened and nothing went wrong.
    bool is_clean() const;
};

/// Open a VBF file with the library and read all it can of it: descriptions, tags, all samples in blocks,
/// random positions, and the ends of what may be asked for. Time and memory are bounded whatever the file
/// says. Never throws; what the library throws is in the report.
CheckReport check_everything(std::filesystem::path const& path, CheckOptions const& options = {});

} // namespace Vexa::testing
