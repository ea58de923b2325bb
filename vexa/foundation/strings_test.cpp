#include <vexa/foundation/strings.h>

#include <cstdint>
#include <random>
#include <string>
#include <utility>

#include <gtest/gtest.h>

using vx::strings::to_path;
using vx::strings::to_utf8;
using vx::strings::detail::convert_encoding;

namespace {

std::string back_and_forth(std::string const& bytes) { return convert_encoding(convert_encoding(bytes)); }

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (int const value : values) text.push_back(static_cast<char>(value));
    return text;
}

} // namespace

TEST(ConvertEncoding, KnownTextsHaveTheirUtf8) {
    std::pair<std::wstring, std::string> const texts[] = {
        {L"", ""},
        {L"abc", "abc"},
        {L"\u00b5m", "\xC2\xB5m"},
        {L"\u20ac", "\xE2\x82\xAC"},
        {L"\U0001F52C", "\xF0\x9F\x94\xAC"},
        {L"\u007f\u0080\u07ff\u0800\uffff", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
        {L"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    };
    for (auto const& [wide, narrow] : texts) {
        EXPECT_EQ(convert_encoding(wide), narrow);
        EXPECT_EQ(convert_encoding(narrow), wide);
    }
}

TEST(ConvertEncoding, NullCharactersAreKept) {
    EXPECT_EQ(convert_encoding(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(convert_encoding(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(ConvertEncoding, BytesOutsideWellFormedSequencesBecomeCharactersOfTheirOwn) {
    EXPECT_EQ(convert_encoding(bytes({0xFF})), std::wstring({wchar_t{0xDCFF}}));
    EXPECT_EQ(convert_encoding(bytes({'a', 0x80, 'b'})), std::wstring({L'a', wchar_t{0xDC80}, L'b'}));
    EXPECT_EQ(convert_encoding(bytes({0xC3})), std::wstring({wchar_t{0xDCC3}}));
    EXPECT_EQ(convert_encoding(bytes({0xE2, 0x82})), std::wstring({wchar_t{0xDCE2}, wchar_t{0xDC82}}));
    EXPECT_EQ(convert_encoding(bytes({0xC3, 0xC3, 0xA9})), std::wstring({wchar_t{0xDCC3}, L'\u00e9'}));
}

TEST(ConvertEncoding, OverlongAndTooLargeSequencesAreNoCharacters) {
    for (auto const& text :
         {bytes({0xC0, 0x80}), bytes({0xC1, 0xBF}), bytes({0xE0, 0x80, 0x80}), bytes({0xE0, 0x9F, 0xBF}),
          bytes({0xF0, 0x80, 0x80, 0x80}), bytes({0xF0, 0x8F, 0xBF, 0xBF}), bytes({0xF4, 0x90, 0x80, 0x80}),
          bytes({0xF5, 0x80, 0x80, 0x80}), bytes({0xF8, 0x88, 0x80, 0x80, 0x80})}) {
        std::wstring const wide = convert_encoding(text);
        ASSERT_EQ(wide.size(), text.size());
        for (std::size_t i = 0; i < text.size(); ++i)
            EXPECT_EQ(static_cast<std::uint32_t>(wide[i]), 0xDC00u + static_cast<unsigned char>(text[i]));
        EXPECT_EQ(convert_encoding(wide), text);
    }
}

TEST(ConvertEncoding, SurrogatesSurviveInBothDirections) {
    EXPECT_EQ(convert_encoding(std::wstring({wchar_t{0xD83D}})), bytes({0xED, 0xA0, 0xBD}));
    for (std::uint32_t c = 0xD800; c <= 0xDFFF; ++c) {
        std::wstring const wide(1, static_cast<wchar_t>(c));
        EXPECT_EQ(convert_encoding(convert_encoding(wide)), wide) << std::hex << c;
        std::string const narrow =
            bytes({0xED, static_cast<int>(0x80 | (c >> 6 & 0x3F)), static_cast<int>(0x80 | (c & 0x3F))});
        EXPECT_EQ(back_and_forth(narrow), narrow) << std::hex << c;
    }
}

TEST(ConvertEncoding, WideValuesThatAreNoCharactersAreReplaced) {
    EXPECT_EQ(convert_encoding(std::wstring({wchar_t{0x110000}})), "\xEF\xBF\xBD");
    EXPECT_EQ(convert_encoding(std::wstring({wchar_t{-1}})), "\xEF\xBF\xBD");
}

TEST(ConvertEncoding, EveryCodePointSurvives) {
    std::wstring all;
    for (std::uint32_t c = 0; c <= 0x10FFFF; ++c)
        if (c < 0xD800 || c > 0xDFFF) all.push_back(static_cast<wchar_t>(c));
    EXPECT_TRUE(convert_encoding(convert_encoding(all)) == all);
}

TEST(ConvertEncoding, EveryPairOfBytesSurvives) {
    for (int first = 0; first < 256; ++first)
        for (int second = 0; second < 256; ++second) {
            std::string const text = bytes({first, second});
            ASSERT_EQ(back_and_forth(text), text) << first << ' ' << second;
            std::string const inside = "a" + text + "z";
            ASSERT_EQ(back_and_forth(inside), inside) << first << ' ' << second;
        }
}

TEST(ConvertEncoding, RandomBytesSurvive) {
    std::mt19937 random(20240521);
    // Mostly bytes of multi-byte sequences, so that many are nearly well-formed.
    int const choices[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xB2, 0xBF,
                           0xC2, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xFF};
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t length = random() % 12; length > 0; --length)
            text.push_back(static_cast<char>(choices[random() % std::size(choices)]));
        ASSERT_EQ(back_and_forth(text), text);
    }
}

TEST(ToUtf8, TakesWideTextOfEveryKindAndPaths) {
    std::wstring const text = L"\u00b5";
    EXPECT_EQ(to_utf8(text), "\xC2\xB5");
    EXPECT_EQ(to_utf8(L"\u00b5"), "\xC2\xB5");
    EXPECT_EQ(to_utf8(std::wstring_view(text)), "\xC2\xB5");
    EXPECT_EQ(to_utf8(std::filesystem::path("/data/\xC2\xB5.vbf")), "/data/\xC2\xB5.vbf");
}

TEST(ToPath, KeepsEveryByte) {
    std::string const name = bytes({'/', 0xFF, 0xC3, 0xA9, 0x80});
    EXPECT_EQ(to_path(name).native(), name);
    EXPECT_EQ(to_utf8(to_path(name)), name);
    EXPECT_TRUE(to_path("").empty());
}
