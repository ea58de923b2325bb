#include <vexa/foundation/io.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/foundation/io_loops_internal.h>
#include <vexa/foundation/types.h>

namespace {

namespace types = Vexa::types;

template <typename T>
constexpr int code_of() {
    if constexpr (std::is_same_v<T, std::uint8_t>) return types::uint8;
    if constexpr (std::is_same_v<T, std::int8_t>) return types::int8;
    if constexpr (std::is_same_v<T, std::uint16_t>) return types::uint16;
    if constexpr (std::is_same_v<T, std::int16_t>) return types::int16;
    if constexpr (std::is_same_v<T, std::uint32_t>) return types::uint32;
    if constexpr (std::is_same_v<T, std::int32_t>) return types::int32;
    if constexpr (std::is_same_v<T, std::uint64_t>) return types::uint64;
    if constexpr (std::is_same_v<T, std::int64_t>) return types::int64;
    if constexpr (std::is_same_v<T, float>) return types::single;
    if constexpr (std::is_same_v<T, double>) return types::double_;
    if constexpr (std::is_same_v<T, std::complex<float>>) return types::cplx_single;
    if constexpr (std::is_same_v<T, std::complex<double>>) return types::cplx_double;
}

constexpr std::array real_codes{types::uint8, types::int8,   types::uint16, types::int16,  types::uint32,
                                types::int32, types::uint64, types::int64,  types::single, types::double_};
constexpr std::array complex_codes{types::cplx_single, types::cplx_double};

template <typename To, typename From>
To convert_one(From value) {
    To result{};
    EXPECT_EQ(vexa_dt_convert(code_of<From>(), code_of<To>(), &value, &result, 1, nullptr, nullptr), 0);
    return result;
}

// The reference: conversions worked out on the bits of a value, with no floating-point to integer cast.

/// The integer part of a real as sign and magnitude; magnitudes from 2^64 on are cut to "huge".
struct Whole {
    bool negative;
    bool huge;
    std::uint64_t magnitude;
};

Whole whole_part(double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    bool const negative = bits >> 63 != 0;
    int const exponent = static_cast<int>(bits >> 52 & 0x7FF) - 1023;
    std::uint64_t const mantissa = (bits & 0xFFFFFFFFFFFFFu) | 0x10000000000000u;
    if (exponent < 0) return {negative, false, 0};
    if (exponent >= 64) return {negative, true, 0};
    return {negative, false, exponent <= 52 ? mantissa >> (52 - exponent) : mantissa << (exponent - 52)};
}

/// Truncated to a signed integer of this many bits, as its low 64 bits.
std::uint64_t reference_truncate(double value, int bits) {
    std::uint64_t const lowest = ~std::uint64_t{0} << (bits - 1);
    std::uint64_t const limit = std::uint64_t{1} << (bits - 1);
    Whole const whole = whole_part(value);
    if (whole.huge || whole.magnitude > limit || (whole.magnitude == limit && !whole.negative)) return lowest;
    return whole.negative ? 0 - whole.magnitude : whole.magnitude;
}

std::uint64_t reference_uint64(double value) {
    Whole const whole = whole_part(value);
    if (!whole.negative && !whole.huge) return whole.magnitude;
    return reference_truncate(value, 64);
}

template <typename To, typename From>
To reference(From value) {
    if constexpr (std::is_integral_v<From> && std::is_integral_v<To>) {
        std::uint64_t wide = 0;
        std::memcpy(&wide, &value, sizeof value);
        if (std::is_signed_v<From> && value < From{}) wide |= ~std::uint64_t{0} << (8 * sizeof value - 1);
        To result;
        std::memcpy(&result, &wide, sizeof result);
        return result;
    } else if constexpr (std::is_integral_v<To>) {
        std::uint64_t const wide =
            std::is_same_v<To, std::uint64_t>
                ? reference_uint64(static_cast<double>(value))
                : reference_truncate(static_cast<double>(value), sizeof(To) == 8 ? 64 : 32);
        To result;
        std::memcpy(&result, &wide, sizeof result);
        return result;
    } else if constexpr (sizeof(From) == 8 && std::is_integral_v<From>) {
        // The 80-bit type holds every 64-bit integer, so that there is one rounding.
        return static_cast<To>(static_cast<long double>(value));
    } else {
        return static_cast<To>(static_cast<double>(value));
    }
}

template <typename T>
std::vector<T> integers_of_interest() {
    std::vector<T> values;
    for (int shift = 0; shift < static_cast<int>(8 * sizeof(T)); ++shift)
        for (std::uint64_t offset : {0ull, 1ull, ~0ull, 300ull}) {
            std::uint64_t const positive = (std::uint64_t{1} << shift) + offset;
            values.push_back(static_cast<T>(positive));
            values.push_back(static_cast<T>(0 - positive));
        }
    values.push_back(std::numeric_limits<T>::min());
    values.push_back(std::numeric_limits<T>::max());
    return values;
}

template <typename T>
std::vector<T> reals_of_interest() {
    using Limits = std::numeric_limits<T>;
    std::vector<T> values{0,
                          Limits::denorm_min(),
                          Limits::min(),
                          Limits::max(),
                          Limits::infinity(),
                          Limits::epsilon(),
                          T(0.5),
                          T(0.999),
                          T(1.9),
                          T(44.5),
                          T(300.7),
                          T(3e9),
                          T(1e19),
                          T(1e30)};
    for (int exponent = 0; exponent <= 66; ++exponent) {
        T const power = std::ldexp(T{1}, exponent);
        T const below = std::nextafter(power, T{0});
        T const above = std::nextafter(power, Limits::infinity());
        for (T const value : {power, below, above, power - T(0.5), power + T(0.5), power - 1, power + 1})
            values.push_back(value);
    }
    std::size_t const positive = values.size();
    for (std::size_t i = 0; i < positive; ++i) values.push_back(-values[i]);
    values.push_back(Limits::quiet_NaN());
    values.push_back(-Limits::quiet_NaN());
    return values;
}

/// Values where conversions change their behaviour; for types of up to 16 bits, all there are.
template <typename T>
std::vector<T> values_of_interest() {
    if constexpr (std::is_floating_point_v<T>) {
        return reals_of_interest<T>();
    } else if constexpr (sizeof(T) <= 2) {
        std::vector<T> values;
        for (int i = std::numeric_limits<T>::min(); i <= std::numeric_limits<T>::max(); ++i)
            values.push_back(static_cast<T>(i));
        return values;
    } else {
        return integers_of_interest<T>();
    }
}

/// Equal bits, but any NaN equals any NaN.
template <typename T>
bool same(T a, T b) {
    if constexpr (std::is_floating_point_v<T>)
        if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Samples of a type with a stride, at an address that is off by some bytes, in a buffer of exactly that
/// length.
template <typename T>
class Spread {
public:
    Spread(std::size_t count, std::size_t stride, std::size_t offset)
        : stride_(stride), offset_(offset),
          bytes_(offset + (count == 0 ? 0 : ((count - 1) * stride + 1) * sizeof(T)), 0xA5) {}

    void* data() { return bytes_.data() + offset_; }
    T get(std::size_t i) const {
        T value;
        std::memcpy(&value, bytes_.data() + offset_ + i * stride_ * sizeof(T), sizeof value);
        return value;
    }
    void set(std::size_t i, T value) {
        std::memcpy(bytes_.data() + offset_ + i * stride_ * sizeof(T), &value, sizeof value);
    }
    /// Whether every byte between the samples is as it was made.
    bool gaps_untouched() const {
        for (std::size_t i = offset_; i < bytes_.size(); ++i)
            if ((i - offset_) / sizeof(T) % stride_ != 0 && bytes_[i] != 0xA5) return false;
        return std::all_of(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset_),
                           [](unsigned char byte) { return byte == 0xA5; });
    }

    friend bool operator==(Spread const& a, Spread const& b) { return a.bytes_ == b.bytes_; }

private:
    std::size_t stride_, offset_;
    std::vector<unsigned char> bytes_;
};

template <typename From, typename To>
void expect_converted(std::vector<From> const& values, std::size_t from_stride, std::size_t to_stride,
                      std::size_t offset = 0) {
    Spread<From> from(values.size(), from_stride, offset);
    Spread<To> to(values.size(), to_stride, offset);
    for (std::size_t i = 0; i < values.size(); ++i) from.set(i, values[i]);
    ASSERT_EQ(vexa_dt_convert_with_strides(code_of<From>(), code_of<To>(), from.data(), from_stride,
                                           to.data(), to_stride, values.size(), nullptr, nullptr),
              0);
    if (values.empty()) return;
    Spread<To> portable(values.size(), to_stride, offset);
    bool const equal = code_of<From>() == code_of<To>();
    Vexa::io::Loop const loop =
        equal ? Vexa::io::find_copy(Vexa::io::portable_loops, code_of<From>())
              : Vexa::io::find_conversion(Vexa::io::portable_loops, code_of<From>(), code_of<To>());
    loop({static_cast<unsigned char const*>(from.data()), from_stride * sizeof(From)},
         {static_cast<unsigned char*>(portable.data()), to_stride * sizeof(To)}, values.size());
    ASSERT_TRUE(portable == to) << "the portable loops differ, strides " << from_stride << " and "
                                << to_stride;
    for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_TRUE(same(to.get(i), reference<To>(values[i])))
            << "sample " << i << " of " << values.size() << ", strides " << from_stride << " and "
            << to_stride << ": " << +values[i] << " gives " << +to.get(i) << ", expected "
            << +reference<To>(values[i]);
    ASSERT_TRUE(to.gaps_untouched());
}

template <typename Pair>
class RealPair : public ::testing::Test {};

template <typename F, typename T>
struct Pair {
    using From = F;
    using To = T;
};

template <typename From>
using PairsFrom =
    ::testing::Types<Pair<From, std::uint8_t>, Pair<From, std::int8_t>, Pair<From, std::uint16_t>,
                     Pair<From, std::int16_t>, Pair<From, std::uint32_t>, Pair<From, std::int32_t>,
                     Pair<From, std::uint64_t>, Pair<From, std::int64_t>, Pair<From, float>,
                     Pair<From, double>>;

struct PairNames {
    template <typename P>
    static std::string GetName(int) {
        return std::string(vexa_dt_get_name(code_of<typename P::From>())) + "_to_" +
               vexa_dt_get_name(code_of<typename P::To>());
    }
};

} // namespace

TYPED_TEST_SUITE_P(RealPair);

TYPED_TEST_P(RealPair, ConvertsValuesOfInterestByTheElementRule) {
    using From = typename TypeParam::From;
    using To = typename TypeParam::To;
    auto const values = values_of_interest<From>();
    expect_converted<From, To>(values, 1, 1);
    expect_converted<From, To>(values, 2, 1);
    expect_converted<From, To>(values, 5, 3);
}

TYPED_TEST_P(RealPair, ConvertsRunsOfEveryLengthAndStrideWithoutTouchingAnythingElse) {
    using From = typename TypeParam::From;
    using To = typename TypeParam::To;
    auto const all = values_of_interest<From>();
    std::vector<From> values;
    // Steps through the list with a stride that meets all kinds of values early.
    for (std::size_t i = 0; i < 140; ++i) values.push_back(all[i * 37 % all.size()]);
    for (std::size_t from_stride = 1; from_stride <= 4; ++from_stride)
        for (std::size_t to_stride = 1; to_stride <= 4; ++to_stride)
            for (std::size_t count = 0; count <= values.size(); count += count < 36 ? 1 : 13)
                expect_converted<From, To>(
                    {values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count)}, from_stride,
                    to_stride);
}

TYPED_TEST_P(RealPair, AcceptsUnalignedBuffers) {
    using From = typename TypeParam::From;
    using To = typename TypeParam::To;
    auto const values = values_of_interest<From>();
    for (std::size_t stride = 1; stride <= 3; ++stride) expect_converted<From, To>(values, stride, stride, 1);
}

REGISTER_TYPED_TEST_SUITE_P(RealPair, ConvertsValuesOfInterestByTheElementRule,
                            ConvertsRunsOfEveryLengthAndStrideWithoutTouchingAnythingElse,
                            AcceptsUnalignedBuffers);
INSTANTIATE_TYPED_TEST_SUITE_P(FromUint8, RealPair, PairsFrom<std::uint8_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromInt8, RealPair, PairsFrom<std::int8_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromUint16, RealPair, PairsFrom<std::uint16_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromInt16, RealPair, PairsFrom<std::int16_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromUint32, RealPair, PairsFrom<std::uint32_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromInt32, RealPair, PairsFrom<std::int32_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromUint64, RealPair, PairsFrom<std::uint64_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromInt64, RealPair, PairsFrom<std::int64_t>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromSingle, RealPair, PairsFrom<float>, PairNames);
INSTANTIATE_TYPED_TEST_SUITE_P(FromDouble, RealPair, PairsFrom<double>, PairNames);

TEST(Convert, NarrowingIntegersWrap) {
    EXPECT_EQ((convert_one<std::uint8_t, std::int32_t>(300)), 44);
    EXPECT_EQ((convert_one<std::uint8_t, std::int32_t>(-1)), 255);
    EXPECT_EQ((convert_one<std::int8_t, std::uint8_t>(200)), -56);
    EXPECT_EQ((convert_one<std::uint32_t, std::int8_t>(-2)), 0xFFFFFFFEu);
    EXPECT_EQ((convert_one<std::uint64_t, std::int32_t>(-1)), ~std::uint64_t{0});
    EXPECT_EQ((convert_one<std::uint64_t, std::uint32_t>(0xFFFFFFFFu)), 0xFFFFFFFFull);
}

TEST(Convert, RealsTruncateTowardsZeroAndWrap) {
    EXPECT_EQ((convert_one<std::int32_t, double>(-1.9)), -1);
    EXPECT_EQ((convert_one<std::uint8_t, double>(300.7)), 44);
    EXPECT_EQ((convert_one<std::uint8_t, float>(-1.5f)), 255);
    EXPECT_EQ((convert_one<std::int16_t, float>(70000.0f)), 4464);
}

TEST(Convert, RealsBeyondTheTruncatedIntegerGiveItsMostNegativeValue) {
    constexpr auto nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ((convert_one<std::int32_t, double>(3e9)), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ((convert_one<std::uint32_t, double>(3e9)), 0x80000000u);
    EXPECT_EQ((convert_one<std::uint32_t, double>(-3e9)), 0x80000000u);
    EXPECT_EQ((convert_one<std::uint16_t, double>(3e9)), 0);
    EXPECT_EQ((convert_one<std::int8_t, double>(3e9)), 0);
    EXPECT_EQ((convert_one<std::int32_t, double>(nan)), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ((convert_one<std::uint8_t, double>(nan)), 0);
    EXPECT_EQ((convert_one<std::int64_t, double>(nan)), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ((convert_one<std::int64_t, double>(1e19)), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ((convert_one<std::int64_t, float>(-std::numeric_limits<float>::infinity())),
              std::numeric_limits<std::int64_t>::min());
}

TEST(Convert, RealsNextToTheLimitsOf32BitsAreExact) {
    EXPECT_EQ((convert_one<std::int32_t, double>(2147483647.75)), 2147483647);
    EXPECT_EQ((convert_one<std::int32_t, double>(-2147483648.75)), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ((convert_one<std::uint16_t, double>(2147483647.75)), 0xFFFF);
    EXPECT_EQ((convert_one<std::int32_t, float>(2147483520.0f)), 2147483520);
}

TEST(Convert, RealsToUint64UseTheUpperHalfOfItsRange) {
    EXPECT_EQ((convert_one<std::uint64_t, double>(0x1p63)), 0x8000000000000000u);
    EXPECT_EQ((convert_one<std::uint64_t, double>(0x1.fffffffffffffp63)), 0xFFFFFFFFFFFFF800u);
    EXPECT_EQ((convert_one<std::uint64_t, float>(0x1.8p63f)), 0xC000000000000000u);
    EXPECT_EQ((convert_one<std::uint64_t, double>(-1.5)), 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ((convert_one<std::uint64_t, double>(0x1p64)), 0x8000000000000000u);
    EXPECT_EQ((convert_one<std::uint64_t, double>(std::numeric_limits<double>::infinity())),
              0x8000000000000000u);
}

TEST(Convert, LargeIntegersToRealsRoundOnce) {
    EXPECT_EQ((convert_one<double, std::uint64_t>(~std::uint64_t{0})), 0x1p64);
    EXPECT_EQ((convert_one<double, std::uint64_t>(0x8000000000000401u)), 0x1.0000000000001p63);
    EXPECT_EQ((convert_one<double, std::uint64_t>(0x8000000000000400u)), 0x1p63);
    EXPECT_EQ((convert_one<float, std::uint64_t>(0x8000008000000001u)), 0x1.000002p63f);
    EXPECT_EQ((convert_one<float, std::int32_t>(16777217)), 16777216.0f);
    EXPECT_EQ((convert_one<float, std::uint32_t>(0xFFFFFFFFu)), 4294967296.0f);
}

/// A count of samples whose target is too large for a cache, and does not end with a line.
constexpr std::size_t large_count = (std::size_t{32} << 20) + 77;

class LargeTargetAt : public ::testing::TestWithParam<std::size_t> {};

TEST_P(LargeTargetAt, IsWrittenWholeAndNothingBesideIt) {
    std::size_t const offset = GetParam();
    std::vector<unsigned char> target((large_count + 2) * 2 + 64, 0xA5);
    std::vector<std::uint32_t> source(large_count);
    for (std::size_t i = 0; i < large_count; ++i) source[i] = static_cast<std::uint32_t>(i * 2654435761u);
    ASSERT_EQ(vexa_dt_convert(types::uint32, types::uint16, source.data(), target.data() + offset,
                              large_count, nullptr, nullptr),
              0);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < large_count; ++i) {
        std::uint16_t sample;
        std::memcpy(&sample, target.data() + offset + 2 * i, 2);
        if (sample != static_cast<std::uint16_t>(source[i])) ++wrong;
    }
    EXPECT_EQ(wrong, 0u);
    auto const untouched = [](unsigned char byte) { return byte == 0xA5; };
    auto const first = target.begin() + static_cast<std::ptrdiff_t>(offset);
    EXPECT_TRUE(std::all_of(target.begin(), first, untouched));
    EXPECT_TRUE(std::all_of(first + 2 * large_count, target.end(), untouched));
}
INSTANTIATE_TEST_SUITE_P(Convert, LargeTargetAt, ::testing::Values(0, 1, 2, 48, 63));

TEST(Convert, LargeTargetTakesSamplesOfThreeBytesAndSourcesWithGaps) {
    std::vector<std::uint32_t> const words(2 * large_count / 3, 0x00010203u);
    std::vector<unsigned char> triples(large_count);
    std::size_t const count = words.size() / 2;
    ASSERT_EQ(vexa_dt_convert_with_strides(types::rgb_word, types::rgb_triple, words.data(), 2,
                                           triples.data(), 1, count, nullptr, nullptr),
              0);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < 3 * count; ++i)
        if (triples[i] != i % 3 + 1) ++wrong;
    EXPECT_EQ(wrong, 0u);
}

TEST(Convert, RealsRoundAsTheProcessorIsSetTo) {
    std::vector<std::int32_t> const integers(50, 16777217);
    std::vector<std::uint64_t> const large(50, 0x8000000000000401u);
    std::vector<double> const reals(50, 0.1);
    std::vector<float> from_integers(50), from_large(50), from_reals(50);
    std::fesetround(FE_UPWARD);
    vexa_dt_convert(types::int32, types::single, integers.data(), from_integers.data(), 50, nullptr, nullptr);
    vexa_dt_convert(types::uint64, types::single, large.data(), from_large.data(), 50, nullptr, nullptr);
    vexa_dt_convert(types::double_, types::single, reals.data(), from_reals.data(), 50, nullptr, nullptr);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(from_integers, std::vector<float>(50, 16777218.0f));
    EXPECT_EQ(from_large, std::vector<float>(50, 0x1.000002p63f));
    EXPECT_EQ(from_reals, std::vector<float>(50, 0x1.99999ap-4f));
}

TEST(Convert, DoublesBeyondSingleBecomeInfinite) {
    EXPECT_EQ((convert_one<float, double>(1e300)), std::numeric_limits<float>::infinity());
    EXPECT_EQ((convert_one<float, double>(-1e300)), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(convert_one<float, double>(std::numeric_limits<double>::quiet_NaN())));
    EXPECT_EQ((convert_one<double, float>(std::numeric_limits<float>::denorm_min())), 0x1p-149);
}

TEST(Convert, EqualTypesKeepTheBitsOfASignallingNaN) {
    std::uint32_t const bits = 0x7F800001u;
    for (std::size_t stride : {1u, 2u, 3u}) {
        std::uint32_t target[4] = {};
        std::uint32_t const source[4] = {bits, bits, bits, bits};
        std::size_t const count = stride == 1 ? 4 : 2;
        ASSERT_EQ(vexa_dt_convert_with_strides(types::single, types::single, source, stride, target, stride,
                                               count, nullptr, nullptr),
                  0);
        EXPECT_EQ(target[stride * (count - 1)], bits);
    }
}

TEST(Convert, EqualTypesMayShareTheBuffer) {
    std::vector<std::int32_t> samples{1, 2, 3, 4, 5, 6};
    auto const convert = [&samples](std::size_t from, std::size_t to, std::size_t count) {
        return vexa_dt_convert_with_strides(types::int32, types::int32, samples.data(), from, samples.data(),
                                            to, count, nullptr, nullptr);
    };
    EXPECT_EQ(convert(1, 1, 6), 0);
    EXPECT_EQ(convert(2, 2, 3), 0);
    EXPECT_EQ(samples, (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(convert(2, 1, 3), 0);
    EXPECT_EQ(samples, (std::vector<std::int32_t>{1, 3, 5, 4, 5, 6}));
    EXPECT_EQ(convert(1, 2, 3), 0);
    EXPECT_EQ(samples, (std::vector<std::int32_t>{1, 3, 3, 4, 5, 6}));
}

TEST(Convert, ASourceStrideOfZeroRepeatsOneSample) {
    double const value = 7.9;
    std::vector<std::uint8_t> target(5);
    EXPECT_EQ(vexa_dt_convert_with_strides(types::double_, types::uint8, &value, 0, target.data(), 1, 5,
                                           nullptr, nullptr),
              0);
    EXPECT_EQ(target, std::vector<std::uint8_t>(5, 7));
}

TEST(Convert, RealsBecomeComplexWithoutImaginaryPart) {
    std::vector<double> const source{1, -2.5, 1e300};
    std::vector<std::complex<float>> target(3, {9, 9});
    EXPECT_EQ(vexa_dt_convert(types::double_, types::cplx_single, source.data(), target.data(), 3, nullptr,
                              nullptr),
              0);
    EXPECT_EQ(target[0], std::complex<float>(1, 0));
    EXPECT_EQ(target[1], std::complex<float>(-2.5f, 0));
    EXPECT_EQ(target[2], std::complex<float>(std::numeric_limits<float>::infinity(), 0));
}

TEST(Convert, EveryRealTypeBecomesComplex) {
    for (int const from : real_codes)
        for (int const to : complex_codes) {
            SCOPED_TRACE(std::string(vexa_dt_get_name(from)) + " to " + vexa_dt_get_name(to));
            std::vector<std::int64_t> const one{1, 1, 1, 1};
            std::vector<unsigned char> source(64);
            vexa_dt_convert(types::int64, from, one.data(), source.data(), 4, nullptr, nullptr);
            std::vector<std::complex<double>> pairs(4), wide(4);
            ASSERT_EQ(vexa_dt_convert(from, to, source.data(), pairs.data(), 4, nullptr, nullptr), 0);
            ASSERT_EQ(vexa_dt_convert(to, types::cplx_double, pairs.data(), wide.data(), 4, nullptr, nullptr),
                      0);
            EXPECT_EQ(wide, std::vector<std::complex<double>>(4, 1.0));
        }
}

TEST(Convert, ComplexToComplexCastsBothParts) {
    std::vector<std::complex<double>> const source{{1.25, -2}, {1e300, 0.1}, {3, 4}};
    std::vector<std::complex<float>> target(3);
    EXPECT_EQ(vexa_dt_convert(types::cplx_double, types::cplx_single, source.data(), target.data(), 3,
                              nullptr, nullptr),
              0);
    EXPECT_EQ(target[0], std::complex<float>(1.25f, -2));
    EXPECT_EQ(target[1], std::complex<float>(std::numeric_limits<float>::infinity(), 0.1f));
    std::vector<std::complex<double>> back(3);
    EXPECT_EQ(vexa_dt_convert(types::cplx_single, types::cplx_double, target.data(), back.data(), 3, nullptr,
                              nullptr),
              0);
    EXPECT_EQ(back[2], std::complex<double>(3, 4));
}

TEST(Convert, ComplexStridesCountPairs) {
    std::vector<std::complex<float>> const source{{1, 2}, {0, 0}, {3, 4}, {0, 0}, {5, 6}};
    std::vector<std::complex<double>> target(7, {9, 9});
    EXPECT_EQ(vexa_dt_convert_with_strides(types::cplx_single, types::cplx_double, source.data(), 2,
                                           target.data(), 3, 3, nullptr, nullptr),
              0);
    std::complex<double> const gap{9, 9};
    EXPECT_EQ(target, (std::vector<std::complex<double>>{{1, 2}, gap, gap, {3, 4}, gap, gap, {5, 6}}));
    std::vector<std::complex<float>> copy(5, {9, 9});
    EXPECT_EQ(vexa_dt_convert_with_strides(types::cplx_single, types::cplx_single, source.data(), 2,
                                           copy.data(), 2, 3, nullptr, nullptr),
              0);
    EXPECT_EQ(copy, (std::vector<std::complex<float>>{{1, 2}, {9, 9}, {3, 4}, {9, 9}, {5, 6}}));
}

TEST(Convert, TwoBuffersJoinIntoPairs) {
    std::vector<std::int16_t> const real{1, -2, 3}, imaginary{-4, 5, -6};
    std::vector<std::complex<float>> pairs(3);
    EXPECT_EQ(vexa_dt_convert(types::int16, types::cplx_single, real.data(), pairs.data(), 3,
                              imaginary.data(), nullptr),
              0);
    EXPECT_EQ(pairs, (std::vector<std::complex<float>>{{1, -4}, {-2, 5}, {3, -6}}));
}

TEST(Convert, PairsSplitIntoTwoBuffersByTheElementRule) {
    std::vector<std::complex<double>> const pairs{{300.7, -1.5}, {3e9, 2}};
    std::vector<std::uint8_t> real(2), imaginary(2);
    EXPECT_EQ(vexa_dt_convert(types::cplx_double, types::uint8, pairs.data(), real.data(), 2, nullptr,
                              imaginary.data()),
              0);
    EXPECT_EQ(real, (std::vector<std::uint8_t>{44, 0}));
    EXPECT_EQ(imaginary, (std::vector<std::uint8_t>{255, 2}));
}

TEST(Convert, ImaginaryBuffersUseTheStrideOfTheirPartner) {
    std::vector<double> const real{1, 0, 2, 0, 3}, imaginary{4, 0, 5, 0, 6};
    std::vector<std::complex<double>> pairs(7, {9, 9});
    EXPECT_EQ(vexa_dt_convert_with_strides(types::double_, types::cplx_double, real.data(), 2, pairs.data(),
                                           3, 3, imaginary.data(), nullptr),
              0);
    std::complex<double> const gap{9, 9};
    EXPECT_EQ(pairs, (std::vector<std::complex<double>>{{1, 4}, gap, gap, {2, 5}, gap, gap, {3, 6}}));
    std::vector<std::int32_t> real_back(5, 9), imaginary_back(5, 9);
    EXPECT_EQ(vexa_dt_convert_with_strides(types::cplx_double, types::int32, pairs.data(), 3,
                                           real_back.data(), 2, 3, nullptr, imaginary_back.data()),
              0);
    EXPECT_EQ(real_back, (std::vector<std::int32_t>{1, 9, 2, 9, 3}));
    EXPECT_EQ(imaginary_back, (std::vector<std::int32_t>{4, 9, 5, 9, 6}));
}

TEST(Convert, LongRunsJoinAndSplitBackForEveryType) {
    constexpr std::size_t count = 2600;
    for (int const type : real_codes)
        for (int const pair_type : complex_codes) {
            SCOPED_TRACE(std::string(vexa_dt_get_name(type)) + " and " + vexa_dt_get_name(pair_type));
            std::vector<std::uint8_t> real(count), imaginary(count);
            for (std::size_t i = 0; i < count; ++i) {
                real[i] = static_cast<std::uint8_t>(i % 101);
                imaginary[i] = static_cast<std::uint8_t>(i % 127);
            }
            std::vector<unsigned char> typed_real(8 * count), typed_imaginary(8 * count), pairs(16 * count);
            vexa_dt_convert(types::uint8, type, real.data(), typed_real.data(), count, nullptr, nullptr);
            vexa_dt_convert(types::uint8, type, imaginary.data(), typed_imaginary.data(), count, nullptr,
                            nullptr);
            ASSERT_EQ(vexa_dt_convert(type, pair_type, typed_real.data(), pairs.data(), count,
                                      typed_imaginary.data(), nullptr),
                      0);
            std::vector<std::uint8_t> real_back(count), imaginary_back(count);
            ASSERT_EQ(vexa_dt_convert(pair_type, types::uint8, pairs.data(), real_back.data(), count, nullptr,
                                      imaginary_back.data()),
                      0);
            EXPECT_EQ(real_back, real);
            EXPECT_EQ(imaginary_back, imaginary);
        }
}

TEST(Convert, ColoursGoThereAndBackWithFirstAndLastByteSwapped) {
    std::array<unsigned char, 3> triple{1, 2, 3};
    std::uint32_t word = 0xFFFFFFFFu;
    EXPECT_EQ(vexa_dt_convert(0x400, 0x800, triple.data(), &word, 1, nullptr, nullptr), 0);
    EXPECT_EQ(word, 0x00030201u);
    EXPECT_EQ(vexa_dt_convert(0x800, 0x400, &word, triple.data(), 1, nullptr, nullptr), 0);
    EXPECT_EQ(triple, (std::array<unsigned char, 3>{3, 2, 1}));
}

TEST(Convert, AColourWordsTopByteIsCopiedButNotConverted) {
    std::vector<std::uint32_t> const words{0xAA112233u, 0xBB445566u};
    std::vector<std::uint32_t> copied(2);
    EXPECT_EQ(vexa_dt_convert(0x800, 0x800, words.data(), copied.data(), 2, nullptr, nullptr), 0);
    EXPECT_EQ(copied, words);
    std::vector<unsigned char> triples(6);
    EXPECT_EQ(vexa_dt_convert(0x800, 0x400, words.data(), triples.data(), 2, nullptr, nullptr), 0);
    EXPECT_EQ(triples, (std::vector<unsigned char>{0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
}

TEST(Convert, ColourStridesCountTriples) {
    std::vector<unsigned char> const triples{1, 2, 3, 0, 0, 0, 4, 5, 6};
    std::vector<unsigned char> copied(9, 9);
    EXPECT_EQ(
        vexa_dt_convert_with_strides(0x400, 0x400, triples.data(), 2, copied.data(), 2, 2, nullptr, nullptr),
        0);
    EXPECT_EQ(copied, (std::vector<unsigned char>{1, 2, 3, 9, 9, 9, 4, 5, 6}));
    std::vector<std::uint32_t> words(3, 9);
    EXPECT_EQ(
        vexa_dt_convert_with_strides(0x400, 0x800, triples.data(), 2, words.data(), 2, 2, nullptr, nullptr),
        0);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0x030201u, 9, 0x060504u}));
}

namespace {

enum class Imaginary { none, source, target, both };

int convert_sixteen_bytes(int from, int to, Imaginary imaginary, std::size_t count = 1) {
    std::array<unsigned char, 16> const source{}, source_imaginary{};
    std::array<unsigned char, 16> target{}, target_imaginary{};
    target.fill(0xA5);
    target_imaginary.fill(0xA5);
    auto const target_before = target;
    bool const has_source = imaginary == Imaginary::source || imaginary == Imaginary::both;
    bool const has_target = imaginary == Imaginary::target || imaginary == Imaginary::both;
    int const result = vexa_dt_convert(from, to, source.data(), target.data(), count,
                                       has_source ? source_imaginary.data() : nullptr,
                                       has_target ? target_imaginary.data() : nullptr);
    if (result != 0 || count == 0) {
        EXPECT_EQ(target, target_before);
        EXPECT_EQ(target_imaginary, target_before);
    }
    return result;
}

bool is_real(int type) { return std::find(real_codes.begin(), real_codes.end(), type) != real_codes.end(); }
bool is_pair(int type) { return type == types::cplx_single || type == types::cplx_double; }
bool is_colour(int type) { return type == 0x400 || type == 0x800; }

bool supported(int from, int to, Imaginary imaginary) {
    switch (imaginary) {
    case Imaginary::none:
        return (is_real(from) && (is_real(to) || is_pair(to))) || (is_pair(from) && is_pair(to)) ||
               (is_colour(from) && is_colour(to));
    case Imaginary::source: return is_real(from) && is_pair(to);
    case Imaginary::target: return is_pair(from) && is_real(to);
    default: return false;
    }
}

} // namespace

TEST(Convert, SupportsExactlyTheListedPairsAndWritesNothingForOthers) {
    std::vector<int> codes{types::none,
                           types::cell,
                           types::struct_,
                           types::logical,
                           types::char_,
                           types::empty,
                           0x400,
                           0x800,
                           0x40000001,
                           0x40001000,
                           0x40010000,
                           0x400 | types::complex_flag,
                           0x800 | types::complex_flag,
                           types::complex_flag,
                           3,
                           -1,
                           0x100,
                           0x200};
    codes.insert(codes.end(), real_codes.begin(), real_codes.end());
    codes.insert(codes.end(), complex_codes.begin(), complex_codes.end());
    std::vector<int> const without_flag = codes;
    for (int const code : without_flag) codes.push_back(code | types::array_flag);
    for (int const from : codes)
        for (int const to : codes)
            for (auto const imaginary :
                 {Imaginary::none, Imaginary::source, Imaginary::target, Imaginary::both})
                for (std::size_t const count : {0u, 1u})
                    EXPECT_EQ(convert_sixteen_bytes(from, to, imaginary, count),
                              supported(from, to, imaginary) ? 0 : -1)
                        << std::hex << from << " to " << to << ", imaginary " << static_cast<int>(imaginary);
}

TEST(Convert, ComplexToRealWithoutASecondBufferIsRefused) {
    EXPECT_EQ(convert_sixteen_bytes(types::cplx_double, types::double_, Imaginary::none), -1);
}

TEST(Convert, LogicalIsRefused) {
    EXPECT_EQ(convert_sixteen_bytes(types::logical, types::uint8, Imaginary::none), -1);
    EXPECT_EQ(convert_sixteen_bytes(types::logical, types::logical, Imaginary::none), -1);
}

TEST(Convert, NoSamplesSucceedWithNullBuffers) {
    for (int const from : real_codes)
        for (int const to : real_codes)
            EXPECT_EQ(vexa_dt_convert(from, to, nullptr, nullptr, 0, nullptr, nullptr), 0);
    for (int const to : complex_codes)
        EXPECT_EQ(vexa_dt_convert(types::int8, to, nullptr, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(vexa_dt_convert(0x400, 0x800, nullptr, nullptr, 0, nullptr, nullptr), 0);
}
