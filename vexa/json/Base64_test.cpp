#include <vexa/json/Base64.h>

#include <cstring>
#include <random>

#include <gtest/gtest.h>

using JSON::Base64;

namespace {

std::vector<std::byte> bytes(std::string_view text) {
    std::vector<std::byte> result(text.size());
    if (!text.empty()) std::memcpy(result.data(), text.data(), text.size());
    return result;
}

} // namespace

TEST(Base64, TheTablesAreInverse) {
    std::string_view const alphabet(Base64::encode_.data(), Base64::encode_.size());
    EXPECT_EQ(alphabet, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    for (std::size_t i = 0; i < 64; ++i)
        EXPECT_EQ(Base64::decode_[static_cast<unsigned char>(Base64::encode_[i])], i);
}

TEST(Base64, TheDecodingTableKnowsBothAlphabetsAndPadding) {
    EXPECT_EQ(Base64::decode_['-'], 62);
    EXPECT_EQ(Base64::decode_['_'], 63);
    EXPECT_EQ(Base64::decode_['='], 64);
    int invalid = 0;
    for (unsigned char const code : Base64::decode_) invalid += code == 77;
    EXPECT_EQ(invalid, 256 - 67);
    EXPECT_EQ(Base64::decode_[0], 77);
    EXPECT_EQ(Base64::decode_[255], 77);
    EXPECT_EQ(Base64::decode_[' '], 77);
}

TEST(Base64, KnownTexts) {
    char const* const pairs[][2] = {{"", ""},         {"f", "Zg=="},          {"fo", "Zm8="},
                                    {"foo", "Zm9v"},  {"foob", "Zm9vYg=="},   {"fooba", "Zm9vYmE="},
                                    {"\xff", "/w=="}, {"foobar", "Zm9vYmFy"}, {"\xfb\xff\xbf", "+/+/"}};
    for (auto const& [plain, text] : pairs) {
        EXPECT_EQ(Base64::encode(bytes(plain)), text);
        EXPECT_EQ(Base64::decode(text), bytes(plain));
    }
}

TEST(Base64, DecodesTheAlphabetForAddressesAndTextsWithoutPadding) {
    EXPECT_EQ(Base64::decode("-_-_"), bytes("\xfb\xff\xbf"));
    EXPECT_EQ(Base64::decode("Zg"), bytes("f"));
    EXPECT_EQ(Base64::decode("Zm8"), bytes("fo"));
    EXPECT_EQ(Base64::decode("_w"), bytes("\xff"));
}

TEST(Base64, RefusesDamagedTexts) {
    for (char const* text : {"Z", "Zm9vY", "Zg=", "Z===", "=", "==", "====", "Zg==Zg==", "Zg=g",
                             "Zm9v=", "Zm9v====", "Zm9 ", "Zm\n9v", "Zm9\x80", "Zm8==", "Zg===", "Zm9*"})
        EXPECT_EQ(Base64::decode(text), std::nullopt) << text;
    EXPECT_EQ(Base64::decode(std::string_view("Zm9\0", 4)), std::nullopt);
}

TEST(Base64, AllLengthsReadBack) {
    std::mt19937 random(1);
    std::vector<std::byte> data;
    for (int size = 0; size < 300; ++size) {
        EXPECT_EQ(Base64::decode(Base64::encode(data)), data);
        data.push_back(static_cast<std::byte>(random()));
    }
}
