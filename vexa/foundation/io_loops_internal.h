#pragma once

#include <cstddef>

/// The loops under sample conversion. They are in a source of their own, which is always compiled for speed.
namespace Vexa::io {

/// A run of samples of one type in a buffer.
template <typename Byte>
struct Run {
    Byte* first;
    std::size_t stride; ///< in bytes
};
using Source = Run<unsigned char const>;
using Target = Run<unsigned char>;

/// Moves \p count samples. The runs must not overlap and may be unaligned.
using Loop = void (*)(Source source, Target target, std::size_t count);

/// The loop for a pair of different type codes, both real or both of a colour; null for any other pair.
Loop find_conversion(int source_type, int target_type);

/// The loop that copies samples of a type that takes part in conversion; null for any other type. The buffers
/// may be the same one.
Loop find_copy(int type);

/// The loop that zeroes samples of 4 or 8 bytes; it does not look at the source.
Loop find_zero(std::size_t size);

} // namespace Vexa::io
