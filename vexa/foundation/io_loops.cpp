#include <vexa/foundation/io_loops_internal.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

#include <vexa/foundation/types.h>

namespace {

using Vexa::io::Loop;
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
    if (value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()})
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

template <typename From, typename To>
struct Cast {
    static constexpr std::size_t source_size = sizeof(From);
    static constexpr std::size_t target_size = sizeof(To);
    static void move(unsigned char const* source, unsigned char* target) {
        From value;
        std::memcpy(&value, source, sizeof value);
        To const result = cast_sample<To>(value);
        std::memcpy(target, &result, sizeof result);
    }
};

template <std::size_t Size>
struct Copy {
    static constexpr std::size_t source_size = Size;
    static constexpr std::size_t target_size = Size;
    static void move(unsigned char const* source, unsigned char* target) {
        std::memcpy(target, source, Size);
    }
};

template <std::size_t Size>
struct Zero {
    static constexpr std::size_t source_size = Size;
    static constexpr std::size_t target_size = Size;
    static void move(unsigned char const*, unsigned char* target) { std::memset(target, 0, Size); }
};

struct WordToTriple {
    static constexpr std::size_t source_size = 4;
    static constexpr std::size_t target_size = 3;
    static void move(unsigned char const* source, unsigned char* target) {
        for (std::size_t i = 0; i < 3; ++i) target[i] = source[2 - i];
    }
};

struct TripleToWord {
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

/// Strides that are known when this is compiled make SIMD code.
template <typename Step>
void run(Source source, Target target, std::size_t count) {
    constexpr std::size_t from = Step::source_size;
    constexpr std::size_t to = Step::target_size;
    if (target.stride == to && source.stride == from)
        move_all<Step>(source.first, from, target.first, to, count);
    else if (target.stride == to && source.stride == 2 * from)
        move_all<Step>(source.first, 2 * from, target.first, to, count);
    else
        move_all<Step>(source.first, source.stride, target.first, target.stride, count);
}

/// Copies samples of equal types, which may lie in the same buffer: then the order of the steps keeps each
/// sample from being overwritten before it was read.
template <std::size_t Size>
void copy(Source source, Target target, std::size_t count) {
    if (source.stride == Size && target.stride == Size) {
        std::memmove(target.first, source.first, count * Size);
    } else if (source.first != target.first) {
        run<Copy<Size>>(source, target, count);
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
constexpr std::size_t real_type_count = std::tuple_size_v<RealTypes>;

constexpr std::array<int, real_type_count> real_type_codes{
    Vexa::types::uint8, Vexa::types::int8,   Vexa::types::uint16,  Vexa::types::int16,  Vexa::types::uint32,
    Vexa::types::int32, Vexa::types::single, Vexa::types::double_, Vexa::types::uint64, Vexa::types::int64};

/// The type that gives the same bits with fewer different loops.
template <typename From, typename To>
constexpr Loop loop_for() {
    constexpr bool integers = std::is_integral_v<From> && std::is_integral_v<To>;
    if constexpr (std::is_same_v<From, To> || (integers && sizeof(From) == sizeof(To)))
        return run<Copy<sizeof(From)>>;
    else if constexpr (integers && sizeof(From) > sizeof(To))
        return run<Cast<std::make_unsigned_t<From>, std::make_unsigned_t<To>>>;
    else if constexpr (std::is_integral_v<To> && sizeof(To) < 8)
        return run<Cast<From, std::make_unsigned_t<To>>>;
    else if constexpr (integers)
        return run<Cast<From, std::make_unsigned_t<To>>>;
    else
        return run<Cast<From, To>>;
}

using Loops = std::array<std::array<Loop, real_type_count>, real_type_count>;

template <std::size_t... Pairs>
constexpr Loops all_loops(std::index_sequence<Pairs...>) {
    Loops loops{};
    ((loops[Pairs / real_type_count][Pairs % real_type_count] =
          loop_for<std::tuple_element_t<Pairs / real_type_count, RealTypes>,
                   std::tuple_element_t<Pairs % real_type_count, RealTypes>>()),
     ...);
    return loops;
}

constexpr Loops real_loops = all_loops(std::make_index_sequence<real_type_count * real_type_count>{});

std::size_t index_of(int type) {
    std::size_t index = 0;
    while (index < real_type_count && real_type_codes[index] != type) ++index;
    return index;
}

} // namespace

Loop Vexa::io::find_conversion(int source_type, int target_type) {
    using namespace Vexa::types;
    if (source_type == rgb_word && target_type == rgb_triple) return run<WordToTriple>;
    if (source_type == rgb_triple && target_type == rgb_word) return run<TripleToWord>;
    std::size_t const source = index_of(source_type);
    std::size_t const target = index_of(target_type);
    return source < real_type_count && target < real_type_count ? real_loops[source][target] : nullptr;
}

Loop Vexa::io::find_copy(int type) {
    bool const complex = type == Vexa::types::cplx_single || type == Vexa::types::cplx_double;
    bool const colour = type == Vexa::types::rgb_triple || type == Vexa::types::rgb_word;
    if (!complex && !colour && index_of(type) == real_type_count) return nullptr;
    switch (vexa_dt_get_size(type)) {
    case 1: return copy<1>;
    case 2: return copy<2>;
    case 3: return copy<3>;
    case 4: return copy<4>;
    case 8: return copy<8>;
    default: return copy<16>;
    }
}

Loop Vexa::io::find_zero(std::size_t size) { return size == 4 ? run<Zero<4>> : run<Zero<8>>; }
