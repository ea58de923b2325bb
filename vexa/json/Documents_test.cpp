// Reads collections of JSON documents that are kept outside of the project, if they are there.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>

using namespace JSON;
namespace fs = std::filesystem;

namespace {

fs::path documents() {
    char const* const shared = std::getenv("VEXA_SHARED_DATA");
    return (shared ? fs::path(shared) : fs::path(VEXA_SOURCE_DIR) / ".." / "shared" / "data") / "json";
}

std::map<std::string, std::string> texts_in(fs::path const& folder) {
    std::map<std::string, std::string> texts;
    if (!fs::is_directory(folder)) return texts;
    for (auto const& entry : fs::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios_base::binary);
        texts.emplace(entry.path().filename().string(),
                      std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
    }
    return texts;
}

std::optional<Value> read_all(std::string const& text, std::size_t piece) {
    Reader reader;
    char const* pos = text.data();
    char const* const end = pos + text.size();
    while (pos != end) {
        char const* const stop = pos + std::min(piece, static_cast<std::size_t>(end - pos));
        while (pos != stop)
            if (auto value = reader.read(pos, stop)) return value;
    }
    char const blank = ' ';
    pos = &blank;
    return reader.read(pos, &blank + 1);
}

/// The compact text of the value, or the error.
std::string outcome(std::string const& text, std::size_t piece) {
    try {
        auto const value = read_all(text, piece);
        return value ? dump(*value, false) : "incomplete";
    } catch (Reader::Unexpected const& error) {
        return error.what();
    }
}

bool parses(std::string const& text) {
    try {
        parse(text);
        return true;
    } catch (std::runtime_error const&) {
        return false;
    }
}

/// Texts that strict JSON refuses and this reader takes, by the reason.
std::map<std::string, std::set<std::string>> const taken = {
    {"a number may have any form that reads in full",
     {"n_number_0.e1.json", "n_number_2.e+3.json", "n_number_2.e-3.json", "n_number_2.e3.json",
      "n_number_-01.json", "n_number_-2..json", "n_number_neg_int_starting_with_zero.json",
      "n_number_neg_real_without_int_part.json", "n_number_real_without_fractional_part.json",
      "n_number_with_leading_zero.json", "fail13.json"}},
    {"what follows a complete value is not looked at",
     {"n_object_trailing_comment.json", "n_object_trailing_comment_open.json",
      "n_object_trailing_comment_slash_open.json", "n_object_with_trailing_garbage.json",
      "n_string_with_trailing_garbage.json", "n_structure_array_trailing_garbage.json",
      "n_structure_number_with_trailing_garbage.json", "n_structure_object_with_trailing_garbage.json",
      "n_structure_trailing_#.json", "fail08.json", "fail10.json"}},
    {"strings may hold control characters",
     {"n_string_unescaped_ctrl_char.json", "n_string_unescaped_tab.json", "n_string_unescaped_newline.json",
      "fail25.json"}},
    {"vertical tabs and form feeds are white space", {"n_structure_whitespace_formfeed.json"}},
    {"any value may stand at the top, at any depth", {"fail01_EXCLUDE.json", "fail18_EXCLUDE.json"}}};

bool is_taken(std::string const& name) {
    for (auto const& [reason, names] : taken)
        if (names.contains(name)) return true;
    return false;
}

class JsonDocuments : public testing::Test {
protected:
    void SetUp() override {
        if (!fs::is_directory(documents())) GTEST_SKIP() << "There is no folder " << documents();
    }
};

} // namespace

TEST_F(JsonDocuments, ValidTextsParseAndInvalidOnesFail) {
    int valid = 0, invalid = 0;
    for (auto const& [name, text] : texts_in(documents() / "JSONTestSuite" / "test_parsing")) {
        if (name.starts_with("y_")) {
            ++valid;
            EXPECT_TRUE(parses(text)) << name;
        } else if (name.starts_with("n_")) {
            ++invalid;
            EXPECT_EQ(parses(text), is_taken(name)) << name;
        }
    }
    EXPECT_GT(valid, 0);
    EXPECT_GT(invalid, 0);
}

TEST_F(JsonDocuments, TheTextsOfTheCheckerPassOrFail) {
    auto const texts = texts_in(documents() / "jsonchecker");
    EXPECT_FALSE(texts.empty());
    for (auto const& [name, text] : texts)
        EXPECT_EQ(parses(text), name.starts_with("pass") || is_taken(name)) << name;
}

TEST_F(JsonDocuments, RoundTripTextsWriteBackUnchanged) {
    // Whole reals lose their point.
    std::map<std::string, std::string> const different = {{"roundtrip20.json", "[0]"},
                                                          {"roundtrip21.json", "[-0]"}};
    auto const texts = texts_in(documents() / "roundtrip");
    EXPECT_FALSE(texts.empty());
    for (auto const& [name, text] : texts) {
        auto const found = different.find(name);
        EXPECT_EQ(dump(parse(text), false), found == different.end() ? text : found->second) << name;
    }
}

TEST_F(JsonDocuments, LargeTextsReadBackInBothForms) {
    auto const texts = texts_in(documents() / "large");
    EXPECT_FALSE(texts.empty());
    for (auto const& [name, text] : texts) {
        Value const value = parse(text);
        EXPECT_TRUE(parse(dump(value, false)) == value) << name;
        EXPECT_TRUE(parse(dump(value, true)) == value) << name;
        EXPECT_TRUE(read(documents() / "large" / name) == value) << name;
    }
}

TEST_F(JsonDocuments, PiecesDoNotChangeTheOutcome) {
    for (char const* folder : {"JSONTestSuite/test_parsing", "JSONTestSuite/test_transform", "jsonchecker",
                               "roundtrip", "large"}) {
        for (auto const& [name, text] : texts_in(documents() / folder)) {
            std::string const whole = outcome(text, text.size() + 1);
            for (std::size_t const piece : {1u, 2u, 3u, 7u, 1000u})
                EXPECT_TRUE(outcome(text, piece) == whole) << name << " in pieces of " << piece;
        }
    }
}
