#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <immintrin.h>

#include <vexa/foundation/io_loops_internal.h>

/// AVX2 conversion of eight samples at a time. Only for sources that are compiled for AVX2: everything here
/// is local to the source that includes it, so that none of its code is shared with those that are not.
///
/// Samples of up to 32 bits, single and double are gathered into lanes of the register type that suits the
/// source, cast there, and stored. The casts are the processor's own, truncation included, which gives the
/// same bits as the portable loops.
namespace {
namespace lanes {

constexpr std::size_t count = 8;

struct Doubles {
    __m256d low, high;
};

/// Eight integers of 32 bits in two registers, as doubles are made of them and they of doubles.
struct Halves {
    __m128i low, high;
};

inline __m256i load(unsigned char const* from) {
    return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
}
inline __m128i load_half(unsigned char const* from) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(from));
}
inline __m256d load_doubles(unsigned char const* from) { return _mm256_castsi256_pd(load(from)); }

/// Eight 32-bit samples; all of them lie in the first 8 * Stride elements, which are read as a whole.
template <std::size_t Stride>
__m256i gather_32(unsigned char const* from) {
    __m256i const a = load(from);
    if constexpr (Stride == 1) return a;
    __m256i const b = load(from + 32);
    if constexpr (Stride == 2) {
        __m256 const mixed = _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0x88);
        return _mm256_permute4x64_epi64(_mm256_castps_si256(mixed), 0xD8);
    } else {
        __m256i const mixed = _mm256_blend_epi32(_mm256_blend_epi32(a, b, 0x92), load(from + 64), 0x24);
        return _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5));
    }
}

template <std::size_t Stride>
__m128i gather_16(unsigned char const* from) {
    __m128i const a = load_half(from);
    if constexpr (Stride == 1) return a;
    __m128i const b = load_half(from + 16);
    if constexpr (Stride == 2) {
        __m128i const low_half = _mm_set1_epi32(0xFFFF);
        return _mm_packus_epi32(_mm_and_si128(a, low_half), _mm_and_si128(b, low_half));
    } else {
        __m128i const mixed = _mm_blend_epi16(_mm_blend_epi16(a, b, 0x92), load_half(from + 32), 0x24);
        return _mm_shuffle_epi8(mixed, _mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11));
    }
}

/// In the low half of the register.
template <std::size_t Stride>
__m128i gather_8(unsigned char const* from) {
    if constexpr (Stride == 1) return _mm_loadl_epi64(reinterpret_cast<__m128i const*>(from));
    __m128i const a = load_half(from);
    if constexpr (Stride == 2) {
        return _mm_packus_epi16(_mm_and_si128(a, _mm_set1_epi16(0xFF)), _mm_setzero_si128());
    } else {
        __m128i const b = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(from + 16));
        __m128i const first =
            _mm_shuffle_epi8(a, _mm_setr_epi8(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
        __m128i const rest =
            _mm_shuffle_epi8(b, _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 2, 5, -1, -1, -1, -1, -1, -1, -1, -1));
        return _mm_or_si128(first, rest);
    }
}

/// Four doubles.
template <std::size_t Stride>
__m256d gather_64(unsigned char const* from) {
    __m256d const a = load_doubles(from);
    if constexpr (Stride == 1) return a;
    __m256d const b = load_doubles(from + 32);
    if constexpr (Stride == 2)
        return _mm256_permute4x64_pd(_mm256_unpacklo_pd(a, b), 0xD8);
    else
        return _mm256_permute4x64_pd(_mm256_blend_pd(_mm256_blend_pd(a, b, 4), load_doubles(from + 64), 2),
                                     0x6C);
}

/// Four integers of 16 or 32 bits side by side, extended by their sign.
template <typename From>
__m128i load_four(unsigned char const* from) {
    if constexpr (std::is_same_v<From, std::uint16_t>)
        return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(from)));
    else if constexpr (std::is_same_v<From, std::int16_t>)
        return _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(from)));
    else
        return load_half(from);
}

/// Eight samples as lanes that suit the target: 32-bit integers extended by their sign, singles or doubles. What
/// becomes doubles is loaded in halves where it lies in halves, which saves taking a register apart.
template <typename To, typename From, std::size_t Stride>
auto gather(unsigned char const* from) {
    if constexpr (std::is_same_v<To, double> && std::is_integral_v<From> && sizeof(From) != 1 && Stride == 1)
        return Halves{load_four<From>(from), load_four<From>(from + 4 * sizeof(From))};
    else if constexpr (std::is_same_v<From, std::uint8_t>)
        return _mm256_cvtepu8_epi32(gather_8<Stride>(from));
    else if constexpr (std::is_same_v<From, std::int8_t>)
        return _mm256_cvtepi8_epi32(gather_8<Stride>(from));
    else if constexpr (std::is_same_v<From, std::uint16_t>)
        return _mm256_cvtepu16_epi32(gather_16<Stride>(from));
    else if constexpr (std::is_same_v<From, std::int16_t>)
        return _mm256_cvtepi16_epi32(gather_16<Stride>(from));
    else if constexpr (std::is_same_v<From, float>)
        return _mm256_castsi256_ps(gather_32<Stride>(from));
    else if constexpr (std::is_same_v<From, double>)
        return Doubles{gather_64<Stride>(from), gather_64<Stride>(from + 32 * Stride)};
    else
        return gather_32<Stride>(from);
}

inline __m256i to_integers(__m256i value) { return value; }
inline __m256i to_integers(__m256 value) { return _mm256_cvttps_epi32(value); }
inline Halves to_integers(Doubles value) {
    return {_mm256_cvttpd_epi32(value.low), _mm256_cvttpd_epi32(value.high)};
}

inline Doubles to_doubles(__m256i value) {
    return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(value)),
            _mm256_cvtepi32_pd(_mm256_extracti128_si256(value, 1))};
}
inline Doubles to_doubles(Halves value) {
    return {_mm256_cvtepi32_pd(value.low), _mm256_cvtepi32_pd(value.high)};
}
inline Doubles to_doubles(__m256 value) {
    return {_mm256_cvtps_pd(_mm256_castps256_ps128(value)), _mm256_cvtps_pd(_mm256_extractf128_ps(value, 1))};
}
inline Doubles to_doubles(Doubles value) { return value; }

inline __m256 to_singles(__m256i value) { return _mm256_cvtepi32_ps(value); }
inline __m256 to_singles(__m256 value) { return value; }
inline __m256 to_singles(Doubles value) {
    return _mm256_set_m128(_mm256_cvtpd_ps(value.high), _mm256_cvtpd_ps(value.low));
}

// Unsigned 32-bit integers become reals by way of the mantissa: their bits under a suitable exponent are the
// value plus a constant, which is taken off again. There is one rounding, in the last addition.

inline __m256d unsigned_to_doubles(__m128i value) {
    __m256i const exponent = _mm256_castpd_si256(_mm256_set1_pd(0x1p52));
    __m256i const bits = _mm256_or_si256(_mm256_cvtepu32_epi64(value), exponent);
    return _mm256_sub_pd(_mm256_castsi256_pd(bits), _mm256_set1_pd(0x1p52));
}
inline Doubles unsigned_to_doubles(Halves value) {
    return {unsigned_to_doubles(value.low), unsigned_to_doubles(value.high)};
}
inline Doubles unsigned_to_doubles(__m256i value) {
    return {unsigned_to_doubles(_mm256_castsi256_si128(value)),
            unsigned_to_doubles(_mm256_extracti128_si256(value, 1))};
}

inline __m256 unsigned_to_singles(__m256i value) {
    __m256i const low_exponent = _mm256_castps_si256(_mm256_set1_ps(0x1p23f));
    __m256i const high_exponent = _mm256_castps_si256(_mm256_set1_ps(0x1p39f));
    __m256i const low = _mm256_blend_epi16(value, low_exponent, 0xAA);
    __m256i const high = _mm256_blend_epi16(_mm256_srli_epi32(value, 16), high_exponent, 0xAA);
    __m256 const exact = _mm256_sub_ps(_mm256_castsi256_ps(high), _mm256_set1_ps(0x1p39f + 0x1p23f));
    return _mm256_add_ps(exact, _mm256_castsi256_ps(low));
}

template <typename To, typename From, typename Lanes>
auto cast(Lanes value) {
    constexpr bool large_unsigned = std::is_same_v<From, std::uint32_t>;
    if constexpr (std::is_integral_v<To>)
        return to_integers(value);
    else if constexpr (std::is_same_v<To, double> && large_unsigned)
        return unsigned_to_doubles(value);
    else if constexpr (std::is_same_v<To, double>)
        return to_doubles(value);
    else if constexpr (large_unsigned)
        return unsigned_to_singles(value);
    else
        return to_singles(value);
}

inline void store_half(unsigned char* to, __m128i value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}
inline void store(unsigned char* to, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}

/// Sixteen samples side by side, of integers the low bits.
template <typename To>
void store_all(unsigned char* to, __m256i a, __m256i b) {
    if constexpr (sizeof(To) == 4) {
        store(to, a);
        store(to + 32, b);
        return;
    }
    __m256i const mask = _mm256_set1_epi32(sizeof(To) == 1 ? 0xFF : 0xFFFF);
    __m256i const mixed = _mm256_packus_epi32(_mm256_and_si256(a, mask), _mm256_and_si256(b, mask));
    if constexpr (sizeof(To) == 2) {
        store(to, _mm256_permute4x64_epi64(mixed, 0xD8));
    } else {
        __m256i const bytes = _mm256_packus_epi16(mixed, mixed);
        __m256i const order = _mm256_setr_epi32(0, 4, 1, 5, 0, 4, 1, 5);
        store_half(to, _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(bytes, order)));
    }
}
template <typename To>
void store_all(unsigned char* to, Halves a, Halves b) {
    if constexpr (sizeof(To) == 4) {
        store_half(to, a.low);
        store_half(to + 16, a.high);
        store_half(to + 32, b.low);
        store_half(to + 48, b.high);
        return;
    }
    __m128i const mask = _mm_set1_epi32(sizeof(To) == 1 ? 0xFF : 0xFFFF);
    __m128i const first = _mm_packus_epi32(_mm_and_si128(a.low, mask), _mm_and_si128(a.high, mask));
    __m128i const second = _mm_packus_epi32(_mm_and_si128(b.low, mask), _mm_and_si128(b.high, mask));
    if constexpr (sizeof(To) == 2) {
        store_half(to, first);
        store_half(to + 16, second);
    } else {
        store_half(to, _mm_packus_epi16(first, second));
    }
}
template <typename To>
void store_all(unsigned char* to, __m256 a, __m256 b) {
    store(to, _mm256_castps_si256(a));
    store(to + 32, _mm256_castps_si256(b));
}
template <typename To>
void store_all(unsigned char* to, Doubles a, Doubles b) {
    store(to, _mm256_castpd_si256(a.low));
    store(to + 32, _mm256_castpd_si256(a.high));
    store(to + 64, _mm256_castpd_si256(b.low));
    store(to + 96, _mm256_castpd_si256(b.high));
}

/// Convert as many samples as whole steps of lanes can.
/// \return how many those were
/// With a stride, the elements after the last sample may lie outside the buffer, so the last sample is left
/// out.
template <typename From, typename To, std::size_t SourceStride, bool Dense>
std::size_t convert(unsigned char const* __restrict source, unsigned char* __restrict target,
                    std::size_t target_stride, std::size_t samples) {
    constexpr std::size_t step = 2 * count;
    std::size_t const usable = SourceStride == 1 || samples == 0 ? samples : samples - 1;
    std::size_t const whole = usable / step * step;
    for (std::size_t i = 0; i < whole; i += step) {
        unsigned char const* const from = source + i * SourceStride * sizeof(From);
        auto const a = cast<To, From>(gather<To, From, SourceStride>(from));
        auto const b =
            cast<To, From>(gather<To, From, SourceStride>(from + count * SourceStride * sizeof(From)));
        if constexpr (Dense) {
            store_all<To>(target + i * sizeof(To), a, b);
        } else {
            unsigned char results[step * sizeof(To)];
            store_all<To>(results, a, b);
            unsigned char* to = target + i * target_stride;
#pragma GCC unroll 16
            for (std::size_t k = 0; k < step; ++k, to += target_stride)
                std::memcpy(to, results + k * sizeof(To), sizeof(To));
        }
    }
    return whole;
}

/// Copies a block past the cache. Both sides are aligned to a register.
inline void stream(unsigned char const* block, unsigned char* target, std::size_t bytes) {
    std::size_t const whole = bytes / sizeof(__m256i) * sizeof(__m256i);
    for (std::size_t i = 0; i < whole; i += sizeof(__m256i))
        _mm256_stream_si256(reinterpret_cast<__m256i*>(target + i), load(block + i));
    std::memcpy(target + whole, block + whole, bytes - whole);
}

constexpr std::size_t block_samples = 256;

/// Runs the loop into a block that stays in the first cache, and streams that on.
inline void run_block(Vexa::io::Loop loop, Vexa::io::Source source, Vexa::io::Target target,
                      std::size_t first, std::size_t samples) {
    constexpr std::size_t largest_sample = 8;
    alignas(64) unsigned char block[block_samples * largest_sample];
    loop({source.first + first * source.stride, source.stride}, {block, target.stride}, samples);
    stream(block, target.first + first * target.stride, samples * target.stride);
}

/// Goes through four parts of the run in turns: memory serves several rows of addresses faster than one.
inline void run_past_cache(Vexa::io::Loop loop, Vexa::io::Source source, Vexa::io::Target target,
                           std::size_t samples) {
    constexpr std::size_t parts = 4;
    std::size_t const part = samples / parts / block_samples * block_samples;
    for (std::size_t done = 0; done < part; done += block_samples)
        for (std::size_t k = 0; k < parts; ++k)
            run_block(loop, source, target, k * part + done, block_samples);
    for (std::size_t done = parts * part; done < samples; done += block_samples)
        run_block(loop, source, target, done,
                  samples - done < block_samples ? samples - done : block_samples);
    _mm_sfence();
}

} // namespace lanes
} // namespace
