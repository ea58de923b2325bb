#pragma once

#include <cstdint>

#include <vexa/foundation/flags.h>

namespace Vexa::bf {

/// How the samples of a stack are written.
enum class WriteModeFlags : std::uint32_t {
    /// The data may be interleaved with other writes to the file: each write goes to where the stream stands,
    /// normally the end of the file. This lets several stacks be filled in turn.
    chunk_wise = 1,
    /// A write of zeros that finishes the stack puts nothing on disk; reading delivers the zeros.
    no_padding = 2,
    /// Leave written data in the buffer of the stream, where they are lost if the program dies.
    no_flush = 4,
};

using WriteMode = vx::utility::flags<WriteModeFlags>;

} // namespace Vexa::bf
