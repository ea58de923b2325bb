#include <vexa/bf/dbl.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexa/testing/bytes.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::testing;
using ::testing::Each;
using ::testing::ElementsAre;

using Dims = std::array<int, 4>;
using Lengths = std::array<float, 4>;

/// A header, whose values the file has in another order than their indices.
std::string header_of(Dims const& dims, bool single) {
    std::string bytes;
    for (int i : {2, 1, 0, 3}) {
        bytes += static_cast<char>(dims[static_cast<std::size_t>(i)] >> 8);
        bytes += static_cast<char>(dims[static_cast<std::size_t>(i)]);
    }
    for (float length : {3.0f, 2.0f, 1.0f, 4.0f}) bytes += bytes_of(length);
    bytes += single ? '\1' : '\0';
    return bytes + zero_bytes(103);
}

template <typename T>
std::string samples_of(std::vector<T> const& samples) {
    return {reinterpret_cast<char const*>(samples.data()), samples.size() * sizeof(T)};
}

/// What a call of vexa_dbl_read() left.
struct Outcome {
    int result = -1;
    Dims dims{-1, -1, -1, -1};
    Lengths lengths{-1, -1, -1, -1};
    unsigned long mode_and_result = 0;
    std::unique_ptr<void, decltype(&std::free)> memory{nullptr, &std::free};

    template <typename T>
    std::vector<T> samples(std::size_t n) const {
        auto const* const first = static_cast<T const*>(memory.get());
        return {first, first + n};
    }
};

class DblTest : public ::testing::Test {
protected:
    /// A call that delivers dimensions: with the header only, or with new memory.
    Outcome read(unsigned long mode) const {
        Outcome outcome;
        outcome.mode_and_result = mode;
        outcome.result = vexa_dbl_read(path.c_str(), outcome.dims.data(), outcome.lengths.data(),
                                       &outcome.mode_and_result);
        bool const header_only = mode == 160 || mode == 173;
        if (outcome.result != 0 && !header_only)
            outcome.memory.reset(std::bit_cast<void*>(outcome.mode_and_result));
        return outcome;
    }

    /// A call with a buffer of exactly \p bytes, so that a sanitizer sees what is written beyond.
    template <typename T>
    int read_into(unsigned long mode, std::vector<T>& buffer) const {
        unsigned long mode_and_result = mode;
        Lengths lengths{};
        int const result = vexa_dbl_read(path.c_str(), buffer.data(), lengths.data(), &mode_and_result);
        EXPECT_EQ(mode_and_result, result == 0 ? mode : std::bit_cast<unsigned long>(buffer.data()));
        EXPECT_EQ(lengths, result == 0 ? Lengths{} : (Lengths{1, 2, 3, 4}));
        return result;
    }

    int write(Dims dims, void const* data, int mode) const {
        Lengths lengths{1, 2, 3, 4};
        return vexa_dbl_write(path.c_str(), dims.data(), lengths.data(), data, mode);
    }

    void put_file(Dims const& dims, bool single, std::string const& samples) const {
        write_bytes(path, header_of(dims, single) + samples);
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.dbl";
    std::vector<double> const doubles{1.5, -2.25, 3e300, 0.1, -0.0, 6};
    std::vector<float> const floats{1.5f, -2.25f, std::numeric_limits<float>::infinity(), 0.1f, -0.0f, 6};
};

// Writing

TEST_F(DblTest, WritesTheseBytes) {
    ASSERT_EQ(write({3, 0x102, 1, 0}, nullptr, 0), 1);
    EXPECT_EQ(read_bytes(path), std::string("\0\1\1\2\0\3\0\0"
                                            "\0\0\x40\x40\0\0\0\x40\0\0\x80\x3F\0\0\x80\x40"
                                            "\0",
                                            25) +
                                    zero_bytes(103));
    ASSERT_EQ(write({3, 2, 1, 1}, doubles.data(), 0), 1);
    EXPECT_EQ(read_bytes(path), header_of({3, 2, 1, 1}, false) + samples_of(doubles));
}

TEST_F(DblTest, ModesOfWritingChooseTheSamples) {
    ASSERT_EQ(write({6, 1, 1, 1}, doubles.data(), 1), 1);
    EXPECT_EQ(read_bytes(path), header_of({6, 1, 1, 1}, true) + samples_of(floats));
    for (int mode : {2, -1, 1000}) {
        std::filesystem::remove(path);
        ASSERT_EQ(write({1, 6, 1, 1}, floats.data(), mode), 1);
        EXPECT_EQ(read_bytes(path), header_of({1, 6, 1, 1}, true) + samples_of(floats)) << mode;
    }
}

TEST_F(DblTest, OldFileKeepsItsTail) {
    write_bytes(path, std::string(200, 'o'));
    ASSERT_EQ(write({1, 1, 1, 1}, doubles.data(), 0), 1);
    EXPECT_EQ(read_bytes(path), header_of({1, 1, 1, 1}, false) + bytes_of(1.5) + std::string(200 - 136, 'o'));
}

TEST_F(DblTest, NewFileHasTheMode0755) {
    mode_t const mask = ::umask(022);
    ASSERT_EQ(write({1, 1, 1, 1}, doubles.data(), 0), 1);
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0755u);
}

TEST_F(DblTest, DimensionAbove65535LosesItsHighBits) {
    std::vector<float> const samples(65536 + 3, 0.5f);
    ASSERT_EQ(write({65536 + 3, 1, 1, 1}, samples.data(), 2), 1);
    EXPECT_EQ(read_bytes(path).size(), 128 + 4 * samples.size()) << "all samples are there";
    EXPECT_EQ(read(160).dims, (Dims{3, 1, 1, 1}));
}

TEST_F(DblTest, ManyBlocksAreWrittenAndNarrowed) {
    std::vector<double> samples(700001);
    std::iota(samples.begin(), samples.end(), 0.25);
    ASSERT_EQ(write({static_cast<int>(samples.size()), 1, 1, 1}, samples.data(), 1), 1);
    auto const bytes = read_bytes(path);
    ASSERT_EQ(bytes.size(), 128 + 4 * samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(value_at<float>(bytes, 128 + 4 * i), static_cast<float>(samples[i]));
    ASSERT_EQ(write({static_cast<int>(samples.size()), 1, 1, 1}, samples.data(), 0), 1);
    EXPECT_EQ(read_bytes(path).substr(128), samples_of(samples));
}

TEST_F(DblTest, WhatCannotBeWrittenGivesZero) {
    Dims dims{2, 1, 1, 1};
    Lengths lengths{};
    char const* const name = path.c_str();
    EXPECT_EQ(vexa_dbl_write(nullptr, dims.data(), lengths.data(), doubles.data(), 0), 0);
    EXPECT_EQ(vexa_dbl_write(name, nullptr, lengths.data(), doubles.data(), 0), 0);
    EXPECT_EQ(vexa_dbl_write(name, dims.data(), nullptr, doubles.data(), 0), 0);
    EXPECT_EQ(vexa_dbl_write(name, dims.data(), lengths.data(), nullptr, 0), 0);
    constexpr int most = std::numeric_limits<int>::max();
    for (Dims const& wrong : {Dims{-1, 1, 1, 1}, Dims{1, 1, 1, -5}, Dims{most, most, most, most},
                              Dims{most, most, 1, 1}, Dims{-1, -1, 1, 1}, Dims{65536, 65536, 65536, 65536}})
        EXPECT_EQ(write(wrong, doubles.data(), 0), 0);
    EXPECT_FALSE(std::filesystem::exists(path)) << "nothing is opened for that";
    EXPECT_EQ(
        vexa_dbl_write((folder / "no/such.dbl").c_str(), dims.data(), lengths.data(), doubles.data(), 0), 0);
    for (int mode : {0, 1, 2})
        EXPECT_EQ(vexa_dbl_write("/dev/full", dims.data(), lengths.data(), doubles.data(), mode), 0);
}

// Reading

TEST_F(DblTest, HeaderModesDeliverDimensionsAndLengths) {
    for (unsigned long mode : {160ul, 173ul})
        for (bool single : {false, true}) {
            put_file({5, 0xFFFE, 7, 300}, single, "");
            auto const outcome = read(mode);
            EXPECT_EQ(outcome.result, single ? 2 : 1);
            EXPECT_EQ(outcome.dims, (Dims{5, 0xFFFE, 7, 300}));
            EXPECT_EQ(outcome.lengths, (Lengths{1, 2, 3, 4}));
            EXPECT_EQ(outcome.mode_and_result, mode);
        }
}

TEST_F(DblTest, SampleFormatsOtherThan1AreDouble) {
    auto bytes = header_of({6, 1, 1, 1}, false) + samples_of(doubles);
    for (int format : {0, 2, 255}) {
        bytes[24] = static_cast<char>(format);
        write_bytes(path, bytes);
        EXPECT_EQ(read(160).result, 1);
        EXPECT_EQ(read(175).samples<double>(6), doubles);
    }
}

TEST_F(DblTest, NewMemoryHoldsWhatTheModeSays) {
    std::vector<double> const widened(floats.begin(), floats.end());
    put_file({3, 2, 1, 1}, false, samples_of(doubles));
    auto outcome = read(174);
    EXPECT_EQ(outcome.result, 2);
    EXPECT_EQ(outcome.samples<float>(6), floats);
    EXPECT_EQ(outcome.dims, (Dims{3, 2, 1, 1}));
    EXPECT_EQ(outcome.lengths, (Lengths{1, 2, 3, 4}));
    for (unsigned long mode : {175ul, 176ul, 0ul, 169ul}) {
        outcome = read(mode);
        EXPECT_EQ(outcome.result, 1) << mode;
        EXPECT_EQ(outcome.samples<double>(6), doubles) << mode;
    }
    put_file({3, 2, 1, 1}, true, samples_of(floats));
    for (unsigned long mode : {174ul, 175ul}) {
        outcome = read(mode);
        EXPECT_EQ(outcome.result, 2) << mode;
        EXPECT_EQ(outcome.samples<float>(6), floats) << mode;
    }
    for (unsigned long mode : {176ul, 0ul, ~0ul}) {
        outcome = read(mode);
        EXPECT_EQ(outcome.result, 1) << mode;
        EXPECT_EQ(outcome.samples<double>(6), widened) << mode;
    }
}

TEST_F(DblTest, CallersBufferHoldsWhatTheModeSays) {
    std::vector<float> singles(6);
    std::vector<double> reals(6);
    put_file({3, 2, 1, 1}, false, samples_of(doubles));
    EXPECT_EQ(read_into(170, singles), 2);
    EXPECT_EQ(singles, floats);
    EXPECT_EQ(read_into(171, reals), 1);
    EXPECT_EQ(reals, doubles);
    reals.assign(6, 0);
    EXPECT_EQ(read_into(172, reals), 1);
    EXPECT_EQ(reals, doubles);
    put_file({3, 2, 1, 1}, true, samples_of(floats));
    singles.assign(6, 0);
    EXPECT_EQ(read_into(170, singles), 2);
    EXPECT_EQ(singles, floats);
    singles.assign(6, 0);
    EXPECT_EQ(read_into(171, singles), 2);
    EXPECT_EQ(singles, floats);
}

TEST_F(DblTest, FloatFileIsWidenedIntoABufferForDoubles) {
    put_file({6, 1, 1, 1}, true, samples_of(floats));
    std::vector<double> buffer(6);
    EXPECT_EQ(read_into(172, buffer), 1);
    EXPECT_EQ(buffer, std::vector<double>(floats.begin(), floats.end()));
}

TEST_F(DblTest, DoublesWrittenAsFloatReadAsFloat) {
    ASSERT_EQ(write({6, 1, 1, 1}, doubles.data(), 1), 1);
    auto const outcome = read(175);
    EXPECT_EQ(outcome.result, 2);
    EXPECT_EQ(outcome.samples<float>(6), floats);
}

TEST_F(DblTest, NotANumberSurvivesEveryConversion) {
    std::vector<double> const nan{std::numeric_limits<double>::quiet_NaN()};
    for (int mode : {0, 1}) {
        ASSERT_EQ(write({1, 1, 1, 1}, nan.data(), mode), 1);
        EXPECT_TRUE(std::isnan(read(174).samples<float>(1)[0]));
        EXPECT_TRUE(std::isnan(read(176).samples<double>(1)[0]));
    }
}

TEST_F(DblTest, ManyBlocksAreConverted) {
    std::vector<float> singles(3 * 8192 + 17);
    std::iota(singles.begin(), singles.end(), 0.5f);
    std::vector<double> const reals(singles.begin(), singles.end());
    put_file({static_cast<int>(singles.size()), 1, 1, 1}, true, samples_of(singles));
    EXPECT_EQ(read(176).samples<double>(singles.size()), reals);
    put_file({static_cast<int>(singles.size()), 1, 1, 1}, false, samples_of(reals));
    EXPECT_EQ(read(174).samples<float>(singles.size()), singles);
}

TEST_F(DblTest, NoSamplesAreDeliveredAsMemoryToFree) {
    put_file({3, 0, 5, 1}, false, "");
    auto const outcome = read(175);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_NE(outcome.memory, nullptr);
    EXPECT_EQ(outcome.dims, (Dims{3, 0, 5, 1}));
}

TEST_F(DblTest, LengthsMayBeLeftOut) {
    put_file({3, 2, 1, 1}, true, "");
    Dims dims{};
    unsigned long mode = 160;
    EXPECT_EQ(vexa_dbl_read(path.c_str(), dims.data(), nullptr, &mode), 2);
    EXPECT_EQ(dims, (Dims{3, 2, 1, 1}));
}

// Files that are too short

TEST_F(DblTest, ShortFileLeavesTheRestOfABufferAsItWas) {
    std::vector<double> const first{1.5, -2.25};
    put_file({6, 1, 1, 1}, false, samples_of(first));
    std::vector<double> reals(6, 7);
    EXPECT_EQ(read_into(171, reals), 1);
    EXPECT_THAT(reals, ElementsAre(1.5, -2.25, 7, 7, 7, 7));
    std::vector<float> singles(6, 7);
    EXPECT_EQ(read_into(170, singles), 2);
    EXPECT_THAT(singles, ElementsAre(1.5f, -2.25f, 7, 7, 7, 7));
    put_file({6, 1, 1, 1}, true, samples_of(std::vector<float>{1.5f, -2.25f}) + "ab");
    reals.assign(6, 7);
    EXPECT_EQ(read_into(172, reals), 1);
    EXPECT_THAT(reals, ElementsAre(1.5, -2.25, 7, 7, 7, 7)) << "half a sample does not count";
}

TEST_F(DblTest, ShortFileLeavesZerosInNewMemory) {
    put_file({6, 1, 1, 1}, false, samples_of(std::vector<double>{1.5, -2.25}));
    EXPECT_THAT(read(175).samples<double>(6), ElementsAre(1.5, -2.25, 0, 0, 0, 0));
    EXPECT_THAT(read(174).samples<float>(6), ElementsAre(1.5f, -2.25f, 0, 0, 0, 0));
    put_file({100, 100, 10, 1}, true, "");
    EXPECT_THAT(read(176).samples<double>(100000), Each(0.0));
}

TEST_F(DblTest, MemoryIsNotTakenForSamplesThatAreNotThere) {
    // 16 MiB may be missing, and not a byte more.
    int const floats_in_16_mib = (16 << 20) / 4;
    put_file({floats_in_16_mib / 256, 256, 1, 1}, true, "");
    EXPECT_EQ(read(175).result, 2);
    put_file({floats_in_16_mib / 256, 256, 2, 1}, true, "");
    EXPECT_EQ(read(175).result, 0);
    put_file({65535, 65535, 2, 1}, false, "");
    for (unsigned long mode : {174ul, 175ul, 176ul}) {
        auto const outcome = read(mode);
        EXPECT_EQ(outcome.result, 0) << mode;
        EXPECT_EQ(outcome.mode_and_result, mode) << "nothing is changed";
        EXPECT_EQ(outcome.dims, (Dims{-1, -1, -1, -1}));
        EXPECT_EQ(outcome.lengths, (Lengths{-1, -1, -1, -1}));
    }
}

TEST_F(DblTest, ProductsBeyond32BitsDeliverNoMoreThanTheFileHas) {
    put_file({65535, 65535, 1, 1}, false, samples_of(doubles));
    std::vector<double> reals(6);
    EXPECT_EQ(read_into(171, reals), 1);
    EXPECT_EQ(reals, doubles);
    std::vector<float> singles(6);
    EXPECT_EQ(read_into(170, singles), 2);
    EXPECT_EQ(singles, floats);
}

TEST_F(DblTest, ProductsBeyond63BitsOfBytesGiveZero) {
    for (bool single : {false, true}) {
        put_file({65535, 65535, 65535, 65535}, single, samples_of(doubles));
        std::vector<double> buffer(6, 7);
        for (unsigned long mode : {170ul, 171ul, 172ul}) EXPECT_EQ(read_into(mode, buffer), 0) << mode;
        EXPECT_THAT(buffer, Each(7.0));
        for (unsigned long mode : {174ul, 175ul, 176ul}) EXPECT_EQ(read(mode).result, 0) << mode;
        EXPECT_EQ(read(160).dims, (Dims{65535, 65535, 65535, 65535})) << "the header can be had";
    }
}

TEST_F(DblTest, WhatIsNoFileGivesZero) {
    EXPECT_EQ(read(160).result, 0);
    write_bytes(path, header_of({1, 1, 1, 1}, false).substr(0, 127));
    EXPECT_EQ(read(160).result, 0);
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(read(160).result, 0);
    Dims dims{};
    unsigned long mode = 160;
    EXPECT_EQ(vexa_dbl_read(nullptr, dims.data(), nullptr, &mode), 0);
    EXPECT_EQ(vexa_dbl_read(path.c_str(), nullptr, nullptr, &mode), 0);
    EXPECT_EQ(vexa_dbl_read(path.c_str(), dims.data(), nullptr, nullptr), 0);
    EXPECT_EQ(mode, 160u);
}

} // namespace
