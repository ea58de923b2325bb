#include "npy.h"

#include <complex>
#include <random>

#include <gmock/gmock.h>

#include <vexa/foundation/types.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>

#include "image_testing.h"
#include "raw.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;
using Vexa::testing::TemporaryFolder;

std::string npy(std::string const& header, std::string const& data, int version = 1) {
    std::string file("\x93NUMPY", 6);
    file += static_cast<char>(version);
    file += '\0';
    auto const length = static_cast<std::uint32_t>(header.size());
    file.append(reinterpret_cast<char const*>(&length), version == 1 ? 2 : 4);
    return file + header + data;
}

std::string dict(std::string const& descr, std::string const& shape, bool fortran = false) {
    return "{'descr': '" + descr + "', 'fortran_order': " + (fortran ? "True" : "False") +
           ", 'shape': " + shape + ", }\n";
}

class Npy : public ::testing::Test {
protected:
    std::filesystem::path put(std::string const& bytes) {
        put_file(folder_ / "a.npy", bytes);
        return folder_ / "a.npy";
    }
    std::string name() const { return (folder_ / "a.npy").string(); }
    TemporaryFolder folder_;
};

TEST_F(Npy, AxesAreTurnedAroundSoThatTheFastestComesFirst) {
    auto const source = open_npy(put(npy(dict("|u1", "(2, 3)"), "\1\2\3\4\5\6")));
    EXPECT_EQ(source->info().type, types::uint8);
    EXPECT_THAT(source->info().shape, ElementsAre(3, 2));
    EXPECT_THAT(read_all<std::uint8_t>(*source), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(source->warnings(), ElementsAre());
}

TEST_F(Npy, LaterVersionsHaveALongerLength) {
    for (int version : {2, 3}) {
        auto const source = open_npy(put(npy(dict("|u1", "(2,)"), "\1\2", version)));
        EXPECT_THAT(read_all<std::uint8_t>(*source), ElementsAre(1, 2));
    }
}

TEST_F(Npy, FortranOrderIsTurnedIntoTheOrderOfAStack) {
    // The array [[1, 2, 3], [4, 5, 6]], columns one after the other.
    auto const source = open_npy(put(npy(dict("|u1", "(2, 3)", true), "\1\4\2\5\3\6")));
    EXPECT_THAT(source->info().shape, ElementsAre(3, 2));
    EXPECT_THAT(read_all<std::uint8_t>(*source), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(Npy, FortranOrderOfFourAxesAgreesWithAPlainLoop) {
    std::size_t const n0 = 3, n1 = 2, n2 = 4, n3 = 5;
    std::vector<std::uint16_t> file(n0 * n1 * n2 * n3), expected;
    for (std::size_t i = 0; i < file.size(); ++i) file[i] = static_cast<std::uint16_t>(i * 17);
    for (std::size_t a = 0; a < n0; ++a)
        for (std::size_t b = 0; b < n1; ++b)
            for (std::size_t c = 0; c < n2; ++c)
                for (std::size_t d = 0; d < n3; ++d)
                    expected.push_back(file[a + n0 * (b + n1 * (c + n2 * d))]);
    std::string data(reinterpret_cast<char const*>(file.data()), file.size() * 2);
    auto const source = open_npy(put(npy(dict("<u2", "(3, 2, 4, 5)", true), data)));
    EXPECT_THAT(source->info().shape, ElementsAre(5, 4, 2, 3));
    EXPECT_EQ(read_all<std::uint16_t>(*source), expected);
}

TEST_F(Npy, FortranOrderOfOneAxisIsPlain) {
    auto const source = open_npy(put(npy(dict("|i1", "(3,)", true), "\1\xFF\3")));
    EXPECT_THAT(read_all<std::int8_t>(*source), ElementsAre(1, -1, 3));
}

TEST_F(Npy, BigEndianNumbersAreTurnedAround) {
    auto const source = open_npy(put(npy(dict(">u2", "(2,)"), std::string("\x01\x02\x03\x04", 4))));
    EXPECT_THAT(read_all<std::uint16_t>(*source), ElementsAre(0x0102, 0x0304));
}

TEST_F(Npy, BigEndianComplexNumbersAreTurnedAroundPartByPart) {
    std::string const data("\x3F\x80\x00\x00\x40\x00\x00\x00", 8);
    auto const source = open_npy(put(npy(dict(">c8", "(1,)"), data)));
    EXPECT_EQ(source->info().type, types::cplx_single);
    EXPECT_THAT(read_all<std::complex<float>>(*source), ElementsAre(std::complex<float>(1, 2)));
}

TEST_F(Npy, BigEndianFortranOrderIsTurnedAroundToo) {
    std::string const data("\0\1\0\3\0\2\0\4", 8);
    auto const source = open_npy(put(npy(dict(">i2", "(2, 2)", true), data)));
    EXPECT_THAT(read_all<std::int16_t>(*source), ElementsAre(1, 2, 3, 4));
}

TEST_F(Npy, ScalarIsOneSample) {
    auto const source = open_npy(put(npy(dict("<f8", "()"), std::string(8, '\0'))));
    EXPECT_THAT(source->info().shape, ElementsAre(1));
    EXPECT_THAT(read_all<double>(*source), ElementsAre(0.0));
}

TEST_F(Npy, EmptyArrayHasNoSamples) {
    for (bool fortran : {false, true}) {
        auto const source = open_npy(put(npy(dict("<f8", "(0, 4)", fortran), "")));
        EXPECT_THAT(source->info().shape, ElementsAre(4, 0));
        EXPECT_EQ(source->info().elements(), 0u);
    }
}

struct TypeCase {
    char const* descr;
    int type;
};

TEST(NpyTypes, EveryDescrHasItsType) {
    for (auto const& [descr, type] :
         {TypeCase{"|u1", types::uint8}, TypeCase{"<u2", types::uint16}, TypeCase{"<u4", types::uint32},
          TypeCase{"<u8", types::uint64}, TypeCase{"|i1", types::int8}, TypeCase{"<i2", types::int16},
          TypeCase{"<i4", types::int32}, TypeCase{"<i8", types::int64}, TypeCase{"<f4", types::single},
          TypeCase{"<f8", types::double_}, TypeCase{"<c8", types::cplx_single},
          TypeCase{"<c16", types::cplx_double}}) {
        EXPECT_EQ(npy_type(descr), type) << descr;
        EXPECT_EQ(npy_descr(type), descr);
    }
    EXPECT_EQ(npy_type("|b1"), types::uint8);
    EXPECT_EQ(npy_descr(types::logical), "|b1");
    EXPECT_EQ(npy_descr(types::rgb_word), "<u4");
    for (char const* descr : {"<f2", "|O", "<U7", "|S7", "<M8[ns]", "u1", "", "<", "<f16", "?u1"})
        EXPECT_EQ(npy_type(descr), types::none) << descr;
    EXPECT_EQ(npy_descr(types::char_), "");
}

struct BadHeader {
    char const* name;
    char const* text;
    char const* message;
};
void PrintTo(BadHeader const& bad, std::ostream* os) { *os << bad.name; }
class NpyHeaders : public ::testing::TestWithParam<BadHeader> {};

TEST_P(NpyHeaders, AreRefusedWithTheReason) {
    VEXA_EXPECT_THROWS(parse_npy_header(GetParam().text), std::runtime_error, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Bad, NpyHeaders,
    ::testing::Values(
        BadHeader{"Empty", "", "the header lacks a '{' at byte 0."},
        BadHeader{"NoKeys", "{}", "the header lacks one of descr, fortran_order and shape."},
        BadHeader{"NoShape", "{'descr': '<u2', 'fortran_order': True}",
                  "the header lacks one of descr, fortran_order and shape."},
        BadHeader{"Unknown", "{'what': 1}", "the header has the unknown key 'what'."},
        BadHeader{"Twice", "{'shape': (), 'shape': ()}", "the header has the key 'shape' twice."},
        BadHeader{"Structured", "{'descr': [('a', '<u2')]}", "structured types can't be read."},
        BadHeader{"Object", "{'descr': '|O'}", "the type '|O' can't be read."},
        BadHeader{"Unterminated", "{'descr", "the header has a text without an end."},
        BadHeader{"NoText", "{descr: 1}", "the header lacks a text at byte 1."},
        BadHeader{"Boolean", "{'fortran_order': 1}", "the header's fortran_order is neither True nor False."},
        BadHeader{"Negative", "{'shape': (-1,)}", "the header lacks a size at byte 11."},
        BadHeader{"TooLarge", "{'shape': (99999999999999999999,)}", "the header lacks a size at byte 11."},
        BadHeader{"OpenTuple", "{'shape': (1", "the header lacks a ')' at byte 12."},
        BadHeader{"Axes", "{'shape': (1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1)}", "the array has more than 15 axes."},
        BadHeader{"GoesOn", "{'descr': '<u2', 'fortran_order': True, 'shape': ()} x",
                  "the header goes on behind its dictionary."}),
    [](auto const& test) { return test.param.name; });

TEST(NpyHeaders, OrderQuotesAndOldLongNumbersDoNotMatter) {
    auto const header = parse_npy_header("{\"shape\": (3L, 4), 'fortran_order': True,'descr':'=u4'}  \n");
    EXPECT_THAT(header.shape, ElementsAre(3, 4));
    EXPECT_TRUE(header.fortran_order);
    EXPECT_EQ(header.type, types::uint32);
    EXPECT_FALSE(header.swapped);
}

TEST_F(Npy, OtherFilesAreRefused) {
    VEXA_EXPECT_FAILURE(open_npy(put("")), Exit::no_input, name() + ": not a .npy file.");
    VEXA_EXPECT_FAILURE(open_npy(put("PK\3\4 something else")), Exit::no_input,
                        name() + ": not a .npy file.");
    VEXA_EXPECT_FAILURE(open_npy(put(npy(dict("|u1", "(1,)"), "\1", 4))), Exit::no_input,
                        name() + ": version 4 of the .npy form is not known.");
    VEXA_EXPECT_FAILURE(open_npy(folder_ / "none"), Exit::no_input,
                        (folder_ / "none").string() + ": cannot be read: No such file or directory");
    VEXA_EXPECT_FAILURE(open_npy(folder_.path()), Exit::no_input,
                        folder_.path().string() + ": not an ordinary file.");
}

TEST_F(Npy, DamageIsTold) {
    VEXA_EXPECT_FAILURE(open_npy(put(npy(dict("<u2", "(2, 3)"), "12345678901"))), Exit::damaged,
                        name() + ": the array needs 12 bytes and the file has 11 left.");
    VEXA_EXPECT_FAILURE(open_npy(put(npy(dict("<u2", "(4294967296, 4294967296)"), ""))), Exit::damaged,
                        name() + ": the array has more bytes than 64 bits count.");
    VEXA_EXPECT_FAILURE(open_npy(put(std::string("\x93NUMPY\1\0\xFF\xFF{", 11))), Exit::damaged,
                        name() + ": the header has 65535 bytes and 1 are left.");
}

TEST_F(Npy, BytesBehindTheArrayAreTold) {
    auto const source = open_npy(put(npy(dict("|u1", "(2,)"), "\1\2\3")));
    EXPECT_THAT(source->warnings(), ElementsAre(name() + ": 1 bytes behind the array are left out."));
    EXPECT_THAT(read_all<std::uint8_t>(*source), ElementsAre(1, 2));
}

TEST_F(Npy, EveryTruncationAndDamagedHeaderIsAFailure) {
    auto const good = npy(dict("<u2", "(2, 2)"), "12345678");
    for (std::size_t n = 0; n < good.size(); ++n)
        EXPECT_THROW(open_npy(put(good.substr(0, n))), Failure) << n;
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round) {
        auto bad = good;
        bad[random() % (good.size() - 8)] = static_cast<char>(random());
        try {
            auto const source = open_npy(put(bad));
            all_bytes(*source);
        } catch (Failure const&) {
        }
    }
}

TEST_F(Npy, WrittenHeaderIsAlignedAndReadsBack) {
    ImageInfo info;
    info.type = types::single;
    info.shape = {3, 2};
    OutputFile output(folder_ / "out.npy", false);
    auto const sink = write_npy(output, info);
    std::vector<float> const values{1, 2, 3, 4, 5, 6};
    sink->write(values.data(), 4);
    sink->write(values.data() + 4, 2);
    sink->finish();
    output.publish();
    auto const bytes = get_file(folder_ / "out.npy");
    EXPECT_EQ(bytes.size(), 128u + 24);
    EXPECT_EQ(bytes.substr(0, 10), std::string("\x93NUMPY\1\0\x76\0", 10));
    EXPECT_EQ(bytes.substr(10, 60),
              "{'descr': '<f4', 'fortran_order': False, 'shape': (2, 3), }" + std::string(1, ' '));
    EXPECT_EQ(bytes[127], '\n');
    auto const source = open_npy(folder_ / "out.npy");
    EXPECT_THAT(source->info().shape, ElementsAre(3, 2));
    EXPECT_EQ(read_all<float>(*source), values);
}

TEST_F(Npy, ColourTripleIsWrittenAsAnAxisOfBytes) {
    ImageInfo info;
    info.type = types::rgb_triple;
    info.shape = {2};
    OutputFile output(folder_ / "out.npy", false);
    auto const sink = write_npy(output, info);
    sink->write("abcdef", 2);
    sink->finish();
    output.publish();
    auto const source = open_npy(folder_ / "out.npy");
    EXPECT_THAT(source->info().shape, ElementsAre(3, 2));
    EXPECT_EQ(all_bytes(*source), "abcdef");
}

TEST_F(Npy, TypeWithoutDescrIsRefused) {
    ImageInfo info;
    info.type = types::char_;
    info.shape = {2};
    OutputFile output(folder_ / "out.npy", false);
    VEXA_EXPECT_FAILURE(write_npy(output, info), Exit::wrong_use,
                        "A .npy file can't hold samples of type 0x20000.");
}

TEST(Raw, SizeMustFitTheShape) {
    TemporaryFolder folder;
    put_file(folder / "a.raw", "123456");
    ImageInfo info;
    info.type = types::uint16;
    info.shape = {3};
    EXPECT_EQ(all_bytes(*open_raw(folder / "a.raw", info)), "123456");
    info.shape = {4};
    VEXA_EXPECT_FAILURE(open_raw(folder / "a.raw", info), Exit::damaged,
                        (folder / "a.raw").string() + ": the shape needs 8 bytes and the file has 6.");
    info.shape = {1ul << 62, 8};
    VEXA_EXPECT_FAILURE(open_raw(folder / "a.raw", info), Exit::wrong_use,
                        "The shape has more bytes than 64 bits count.");
}

TEST(Image, UnknownEndingIsWrongUse) {
    VEXA_EXPECT_FAILURE(
        open_image("a.jpg"), Exit::wrong_use,
        "a.jpg: don't know how to read '.jpg' files; .npy, .tif, .tiff, .dbl and .raw are known.");
    EXPECT_EQ(lower_ending("/x/Y.TiF"), ".tif");
}

} // namespace
} // namespace Vexa::tool
