#include <vexa/foundation/types.h>

#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/foundation/types_internal.h>
#include <vexa/testing/expect_throws.h>

namespace {

struct Row {
    unsigned code;
    char const* name; ///< null: none
    std::size_t size;
    char const* words;
    char const* array_words;
};
void PrintTo(Row const& row, std::ostream* out) { *out << std::hex << row.code; }

constexpr Row rows[] = {
    {0x00000000, "none", 0, "unsupported", "unsupported"},
    {0x00000001, "uint8", 1, "8 bit unsigned integer", "8 bit unsigned integer array"},
    {0x00000002, "int8", 1, "8 bit signed integer", "8 bit signed integer array"},
    {0x00000004, "uint16", 2, "16 bit unsigned integer", "16 bit unsigned integer array"},
    {0x00000008, "int16", 2, "16 bit signed integer", "16 bit signed integer array"},
    {0x00000010, "uint32", 4, "32 bit unsigned integer", "32 bit unsigned integer array"},
    {0x00000020, "int32", 4, "32 bit signed integer", "32 bit signed integer array"},
    {0x00000040, "single", 4, "32 bit real", "32 bit real array"},
    {0x00000080, "double", 8, "64 bit real", "64 bit real array"},
    {0x00000400, nullptr, 3, "unsupported", "unsupported"},
    {0x00000800, nullptr, 4, "unsupported", "unsupported"},
    {0x00001000, "uint64", 8, "64 bit unsigned integer", "64 bit unsigned integer array"},
    {0x00002000, "int64", 8, "64 bit signed integer", "64 bit signed integer array"},
    {0x00004000, "cell", 0, "unsupported", "array"},
    {0x00008000, "struct", 0, "structure", "structure array"},
    {0x00010000, "logical", 1, "boolean", "boolean array"},
    {0x00020000, "char", 0, "string", "string array"},
    {0x00040000, "empty", 0, "empty", "unsupported"},
    {0x40000040, "cplx_single", 8, "32 bit complex", "32 bit complex array"},
    {0x40000080, "cplx_double", 16, "64 bit complex", "64 bit complex array"},
    {0x40000001, "cplx_uint8", 0, "unsupported", "unsupported"},
    {0x40000002, "cplx_int8", 0, "unsupported", "unsupported"},
    {0x40000004, "cplx_uint16", 0, "unsupported", "unsupported"},
    {0x40000008, "cplx_int16", 0, "unsupported", "unsupported"},
    {0x40000010, "cplx_uint32", 0, "unsupported", "unsupported"},
    {0x40000020, "cplx_int32", 0, "unsupported", "unsupported"},
    {0x40001000, "cplx_uint64", 0, "unsupported", "unsupported"},
    {0x40002000, "cplx_int64", 0, "unsupported", "unsupported"},
    {0x40010000, "cplx_logical", 0, "unsupported", "unsupported"},
};

class EveryType : public ::testing::TestWithParam<Row> {
protected:
    int const code = static_cast<int>(GetParam().code);
    int const array_code = static_cast<int>(GetParam().code | 0x80000000u);
};
INSTANTIATE_TEST_SUITE_P(, EveryType, ::testing::ValuesIn(rows));

constexpr char const* no_entry = "Map entry not found and no default specified.";

} // namespace

TEST_P(EveryType, HasItsSizeAndNoneAsAnArray) {
    EXPECT_EQ(vexa_dt_get_size(code), GetParam().size);
    EXPECT_EQ(vexa_dt_get_size(array_code), 0u);
}

TEST_P(EveryType, HasItsNameAlsoAsAnArray) {
    if (!GetParam().name) {
        VEXA_EXPECT_THROWS(vexa_dt_get_name(code), std::runtime_error, no_entry);
        VEXA_EXPECT_THROWS(vexa_dt_get_name(array_code), std::runtime_error, no_entry);
        return;
    }
    EXPECT_STREQ(vexa_dt_get_name(code), GetParam().name);
    EXPECT_EQ(vexa_dt_get_name(array_code), vexa_dt_get_name(code));
    EXPECT_EQ(vexa_dt_from_name(GetParam().name), code);
}

TEST_P(EveryType, HasItsWordsInMessages) {
    EXPECT_STREQ(Vexa::types::message_words(code), GetParam().words);
    EXPECT_STREQ(Vexa::types::message_words(array_code), GetParam().array_words);
}

TEST(TypeSize, OfUnknownCodesIsZero) {
    for (int const code : {0x100, 0x200, 3, 0x7FFFFFFF, -1, 0x40000400, 0x00080000})
        EXPECT_EQ(vexa_dt_get_size(code), 0u);
}

TEST(TypeSize, TakesTheCodeExactlyAsGiven) {
    EXPECT_EQ(vexa_dt_get_size(static_cast<int>(0x80000001)), 0u);
    EXPECT_STREQ(vexa_dt_get_name(static_cast<int>(0x80000001)), "uint8");
    EXPECT_EQ(vexa_dt_get_size(0x40000001), 0u);
    EXPECT_STREQ(vexa_dt_get_name(0x40000001), "cplx_uint8");
}

TEST(TypeName, OfACodeWithoutANameThrows) {
    EXPECT_EQ(vexa_dt_get_size(0x400), 3u);
    for (int const code : {0x400, 0x800, 3, 0x100, -1, 0x40004000})
        VEXA_EXPECT_THROWS(vexa_dt_get_name(code), std::runtime_error, no_entry);
}

TEST(TypeFromName, OfAnUnknownNameIsNone) {
    EXPECT_EQ(vexa_dt_from_name("none"), 0);
    for (char const* const name : {"", "UINT8", "Double", "uint8 ", " uint8", "float", "cplx_"})
        EXPECT_EQ(vexa_dt_from_name(name), 0) << name;
}

TEST(TypeFromName, OfANullPointerThrows) {
    VEXA_EXPECT_THROWS(vexa_dt_from_name(nullptr), std::logic_error, "A type name must not be null.");
}

TEST(TypeWords, OfUnknownCodesAreUnsupported) {
    for (int const code : {3, 0x100, 0x7FFFFFFF, -1, 0x40004000})
        EXPECT_STREQ(Vexa::types::message_words(code), "unsupported");
}

TEST(TypeFlags, AreTheTopTwoBits) {
    using namespace Vexa::types;
    EXPECT_EQ(static_cast<unsigned>(complex_flag), 0x40000000u);
    EXPECT_EQ(array_flag, std::numeric_limits<int>::min());
    EXPECT_TRUE(is_complex(cplx_double) && !is_complex(double_));
    EXPECT_TRUE(is_array(array_flag | uint8) && !is_array(uint8));
    EXPECT_EQ(element_type(array_flag | cplx_single), cplx_single);
}

TEST(Typemap, MasksKeysAndOverwritesRepeatedOnes) {
    VTypemap<std::string> map(0x0F, [](VTypemap<std::string>& self) {
        self.add(0x11, "one");
        self.add(0x21, "uno");
        self.add(0x02, "uno");
    });
    EXPECT_EQ(map.mask, 0x0F);
    EXPECT_EQ(map.forward, (std::map<int, std::string>{{1, "uno"}, {2, "uno"}}));
    EXPECT_EQ(map.reverse, (std::map<std::string, int>{{"one", 1}, {"uno", 2}}));
}

TEST(TypeName, IsSafeFromManyThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (Row const& row : rows)
                EXPECT_TRUE(!row.name || vexa_dt_from_name(vexa_dt_get_name(static_cast<int>(row.code))) ==
                                             static_cast<int>(row.code));
        });
    for (std::thread& thread : threads) thread.join();
}
