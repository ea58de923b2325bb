#pragma once

#include <array>
#include <cstddef>

/// The loops under sample conversion. They are in sources of their own, which are always compiled for speed,
/// once for each instruction set.
namespace Vexa::io {

/// A run of samples of one type in a buffer.
template <typename Byte>
struct Run {
    Byte* first;
    std::size_t stride; ///< in bytes
};
using Source = Run<unsigned char const>;
using Target = Run<unsigned char>;

/// Moves \p count samples, at least one. The runs must not overlap and may be unaligned. Elements between the
/// samples of the source may be read, those between the samples of the target are left alone.
using Loop = void (*)(Source source, Target target, std::size_t count);

constexpr std::size_t real_type_count = 10;

struct SizedLoop {
    std::size_t size = 0;
    Loop loop = nullptr;
};

/// All loops for one instruction set.
struct Loops {
    /// By source and target, in the order uint8, int8, uint16, int16, uint32, int32, single, double, uint64,
    /// int64.
    std::array<std::array<Loop, real_type_count>, real_type_count> real{};
    /// By the size of a sample in bytes. The buffers may be the same one.
    std::array<SizedLoop, 6> copy{};
    /// These zero samples of 4 or 8 bytes and do not look at the source.
    Loop zero_4 = nullptr;
    Loop zero_8 = nullptr;
    Loop word_to_triple = nullptr;
    Loop triple_to_word = nullptr;
    /// Runs a loop into a dense target, which begins at a cache line, with stores that do not read its lines first.
    /// Null where the instruction set has no such stores.
    void (*run_past_cache)(Loop loop, Source source, Target target, std::size_t count) = nullptr;
};

extern Loops const portable_loops;
#ifdef __x86_64__
extern Loops const avx2_loops;
#endif

/// The fastest loops that this processor runs.
Loops const& loops();

/// The loop for a pair of different type codes, both real or both of a colour; null for any other pair.
Loop find_conversion(Loops const& loops, int source_type, int target_type);

/// The loop that copies samples of a type that takes part in conversion; null for any other type.
Loop find_copy(Loops const& loops, int type);

/// Runs a conversion into a dense target, past the cache if the target is too large to stay in one: its lines
/// then need not be read before they are written.
void run_dense(Loop loop, Source source, Target target, std::size_t count);

} // namespace Vexa::io
