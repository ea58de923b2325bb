#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

#include <vexa/foundation/io_loops_internal.h>

#ifdef __SSE2__
#include <emmintrin.h>
#endif
#ifdef __AVX2__
#include <vexa/foundation/io_lanes_internal.h>
#endif

/// The loops of one instruction set, that for which the including source is compiled. Everything here is
/// local to that source, so that no code is shared between instruction sets.
namespace {

using Vexa::io::Loop;
using Vexa::io::Loops;
using Vexa::io::real_type_count;
using Vexa::io::Source;
using Vexa::io::Target;

/// Truncate to a signed integer; what does not fit, NaN included, gives the most negative value. Two
/// selections bring the value into range before the cast, so that the cast is defined and loops over this
/// become SIMD code.
template <typename Integer, typename Real>
inline Integer truncate(Real value) {
    constexpr Real lowest = static_cast<Real>(std::numeric_limits<Integer>::min());
    Real const below_limit = value < -lowest ? value : lowest;
    return static_cast<Integer>(below_limit > lowest ? below_limit : lowest);
}

#ifdef __SSE2__
// The processor's own truncation to 64 bits gives just that.
template <>
inline std::int64_t truncate<std::int64_t>(float value) {
    return _mm_cvttss_si64(_mm_set_ss(value));
}
template <>
inline std::int64_t truncate<std::int64_t>(double value) {
    return _mm_cvttsd_si64(_mm_set_sd(value));
}
#endif

template <typename Real>
inline std::uint64_t truncate_to_uint64(Real value) {
    constexpr Real half_range = 0x1p63;
    constexpr std::uint64_t top_bit = std::uint64_t{1} << 63;
    if (value >= half_range)
        return static_cast<std::uint64_t>(truncate<std::int64_t>(value - half_range)) | top_bit;
    return static_cast<std::uint64_t>(truncate<std::int64_t>(value));
}

/// Above the signed range the halved value is converted, its low bit kept so that it rounds as the whole one
/// does.
template <typename Real>
inline Real real_of_uint64(std::uint64_t value) {
    if (value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}) [[likely]]
        return static_cast<Real>(static_cast<std::int64_t>(value));
    return 2 * static_cast<Real>(static_cast<std::int64_t>(value >> 1 | (value & 1)));
}

template <typename To, typename From>
inline To cast_sample(From value) {
    if constexpr (std::is_same_v<From, std::uint64_t> && std::is_floating_point_v<To>)
        return real_of_uint64<To>(value);
    else if constexpr (std::is_integral_v<From> || std::is_floating_point_v<To>)
        return static_cast<To>(value);
    else if constexpr (std::is_same_v<To, std::uint64_t>)
        return truncate_to_uint64(value);
    else if constexpr (sizeof(To) == 8)
        return truncate<std::int64_t>(value);
    else
        return static_cast<To>(truncate<std::int32_t>(value));
}

/// A step moves one sample. From and To are what lanes can do the same with; void when they cannot.
template <typename F, typename T>
struct Cast {
    using From = F;
    using To = T;
    static constexpr std::size_t source_size = sizeof(From);
    static constexpr std::size_t target_size = sizeof(To);
    static void move(unsigned char const* source, unsigned char* target) {
        From value;
        std::memcpy(&value, source, sizeof value);
        To const result = cast_sample<To>(value);
        std::memcpy(target, &result, sizeof result);
    }
};

template <std::size_t Size, typename Bits = void>
struct Copy {
    using From = Bits;
    using To = Bits;
    static constexpr std::size_t source_size = Size;
    static constexpr std::size_t target_size = Size;
    static void move(unsigned char const* source, unsigned char* target) {
        std::memcpy(target, source, Size);
    }
};

template <std::size_t Size>
struct Zero {
    using From = void;
    using To = void;
    static constexpr std::size_t source_size = Size;
    static constexpr std::size_t target_size = Size;
    static void move(unsigned char const*, unsigned char* target) { std::memset(target, 0, Size); }
};

struct WordToTriple {
    using From = void;
    using To = void;
    static constexpr std::size_t source_size = 4;
    static constexpr std::size_t target_size = 3;
    static void move(unsigned char const* source, unsigned char* target) {
        for (std::size_t i = 0; i < 3; ++i) target[i] = source[2 - i];
    }
};

struct TripleToWord {
    using From = void;
    using To = void;
    static constexpr std::size_t source_size = 3;
    static constexpr std::size_t target_size = 4;
    static void move(unsigned char const* source, unsigned char* target) {
        std::memcpy(target, source, 3);
        target[3] = 0;
    }
};

template <typename Step>
inline void move_all(unsigned char const* __restrict source, std::size_t source_stride,
                     unsigned char* __restrict target, std::size_t target_stride, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        Step::move(source + i * source_stride, target + i * target_stride);
}

/// As move_all(), one sample after the other: with strides that are not known before, what the compiler makes
/// of it as SIMD code is slower than that.
template <typename Step>
inline void move_each(unsigned char const* source, std::size_t source_stride, unsigned char* target,
                      std::size_t target_stride, std::size_t count) {
#pragma GCC unroll 4
    for (; count != 0; --count, source += source_stride, target += target_stride) {
        Step::move(source, target);
        asm volatile(""); // keeps the steps apart
    }
}

#ifdef __AVX2__
template <typename T>
constexpr bool fits_lanes = std::is_same_v<T, double> || (!std::is_void_v<T> && sizeof(T) <= 4);
template <>
constexpr bool fits_lanes<void> = false;

/// Whether lanes beat what the compiler makes of a plain loop over dense samples.
template <typename From, typename To>
constexpr bool lanes_when_dense() {
    if constexpr (std::is_integral_v<To>)
        return std::is_floating_point_v<From> || (sizeof(From) <= 2 && sizeof(To) == 4);
    else
        return std::is_integral_v<From> && !std::is_same_v<From, std::int32_t>;
}

template <typename Step, std::size_t Stride>
std::size_t run_lanes(Source source, Target target, std::size_t count) {
    using From = typename Step::From;
    using To = typename Step::To;
    if (target.stride != sizeof(To)) {
        if constexpr (std::is_same_v<From, To>)
            return 0; // a copy: samples that are stored one by one may as well be loaded so
        else
            return lanes::convert<From, To, Stride, false>(source.first, target.first, target.stride, count);
    }
    if constexpr (Stride != 1 || lanes_when_dense<From, To>())
        return lanes::convert<From, To, Stride, true>(source.first, target.first, target.stride, count);
    else
        return 0;
}

/// Let lanes convert what they can.
/// \return how many samples that were, from the first on
template <typename Step>
std::size_t start(Source source, Target target, std::size_t count) {
    if constexpr (fits_lanes<typename Step::From> && fits_lanes<typename Step::To>) {
        if (source.stride == Step::source_size) return run_lanes<Step, 1>(source, target, count);
        if (source.stride == 2 * Step::source_size) return run_lanes<Step, 2>(source, target, count);
        if (source.stride == 3 * Step::source_size) return run_lanes<Step, 3>(source, target, count);
    }
    return 0;
}
#else
template <typename Step>
std::size_t start(Source, Target, std::size_t) {
    return 0;
}
#endif

/// Whether the instruction set has no SIMD cast for this pair: reals to and from integers of 64 bits.
template <typename From, typename To>
constexpr bool one_by_one = (std::is_floating_point_v<From> && std::is_integral_v<To> && sizeof(To) == 8) ||
                            (std::is_integral_v<From> && sizeof(From) == 8 && std::is_floating_point_v<To>);
template <>
constexpr bool one_by_one<void, void> = false;

/// Dense samples, and those with a gap of one, have strides that are known here, which makes SIMD code.
template <typename Step>
void run(Source source, Target target, std::size_t count) {
    constexpr std::size_t from = Step::source_size;
    constexpr std::size_t to = Step::target_size;
    std::size_t const done = start<Step>(source, target, count);
    unsigned char const* const first = source.first + done * source.stride;
    unsigned char* const to_first = target.first + done * target.stride;
    if constexpr (one_by_one<typename Step::From, typename Step::To>)
        move_each<Step>(first, source.stride, to_first, target.stride, count - done);
    else if (target.stride == to && source.stride == from)
        move_all<Step>(first, from, to_first, to, count - done);
    else if (target.stride == to && source.stride == 2 * from)
        move_all<Step>(first, 2 * from, to_first, to, count - done);
    else
        move_each<Step>(first, source.stride, to_first, target.stride, count - done);
}

/// The step that copies this many bytes.
template <std::size_t Size>
constexpr auto copy_step() {
    if constexpr (Size == 1)
        return Copy<1, std::uint8_t>{};
    else if constexpr (Size == 2)
        return Copy<2, std::uint16_t>{};
    else if constexpr (Size == 4)
        return Copy<4, std::uint32_t>{};
    else if constexpr (Size == 8)
        return Copy<8, double>{}; // lanes of doubles are moved, never computed with
    else
        return Copy<Size>{};
}

template <std::size_t Size>
void copy_apart(Source source, Target target, std::size_t count) {
    if (source.stride == Size && target.stride == Size)
        std::memcpy(target.first, source.first, count * Size);
    else
        run<decltype(copy_step<Size>())>(source, target, count);
}

/// Copies samples of equal types, which may lie in the same buffer: then the order of the steps keeps each
/// sample from being overwritten before it was read.
template <std::size_t Size>
void copy(Source source, Target target, std::size_t count) {
    if (source.stride == Size && target.stride == Size) {
        std::memmove(target.first, source.first, count * Size);
    } else if (source.first != target.first) {
        copy_apart<Size>(source, target, count);
    } else if (target.stride < source.stride) {
        for (std::size_t i = 0; i < count; ++i)
            std::memmove(target.first + i * target.stride, source.first + i * source.stride, Size);
    } else if (target.stride > source.stride) {
        for (std::size_t i = count; i-- > 0;)
            std::memmove(target.first + i * target.stride, source.first + i * source.stride, Size);
    }
}

using RealTypes = std::tuple<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t,
                             std::int32_t, float, double, std::uint64_t, std::int64_t>;
static_assert(real_type_count == std::tuple_size_v<RealTypes>);

/// The type that gives the same bits with fewer different loops.
template <typename From, typename To>
constexpr Loop loop_for() {
    constexpr bool integers = std::is_integral_v<From> && std::is_integral_v<To>;
    if constexpr (std::is_same_v<From, To> || (integers && sizeof(From) == sizeof(To)))
        return copy_apart<sizeof(From)>;
    else if constexpr (integers && sizeof(From) > sizeof(To))
        return run<Cast<std::make_unsigned_t<From>, std::make_unsigned_t<To>>>;
    else if constexpr (std::is_integral_v<To> && sizeof(To) < 8)
        return run<Cast<From, std::make_unsigned_t<To>>>;
    else if constexpr (integers)
        return run<Cast<From, std::make_unsigned_t<To>>>;
    else
        return run<Cast<From, To>>;
}

template <std::size_t... Pairs>
constexpr void add_real_loops(Loops& loops, std::index_sequence<Pairs...>) {
    ((loops.real[Pairs / real_type_count][Pairs % real_type_count] =
          loop_for<std::tuple_element_t<Pairs / real_type_count, RealTypes>,
                   std::tuple_element_t<Pairs % real_type_count, RealTypes>>()),
     ...);
}

constexpr Loops all_loops() {
    Loops loops{};
    add_real_loops(loops, std::make_index_sequence<real_type_count * real_type_count>{});
    loops.copy = {{{1, copy<1>}, {2, copy<2>}, {3, copy<3>}, {4, copy<4>}, {8, copy<8>}, {16, copy<16>}}};
    loops.zero_4 = run<Zero<4>>;
    loops.zero_8 = run<Zero<8>>;
    loops.word_to_triple = run<WordToTriple>;
    loops.triple_to_word = run<TripleToWord>;
#ifdef __AVX2__
    loops.run_past_cache = lanes::run_past_cache;
#endif
    return loops;
}

} // namespace
