#include <vexa/bf/stack_tags_internal.h>

#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_builder.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Vexa::arrays::Tag;
using Tags = std::map<std::string, Tag>;
using Texts = std::map<std::string, std::string>;

std::string const xml_of_seven = "<root idx=\"1\" type=\"int32\" size=\"1 1\" vprop_version=\"1\">7</root>\n";

TEST(StackTags, AreXmlForPropertyTreesAndJsonForJsonValues) {
    JSON::Value const map = JSON::parse("{\"a\":1}");
    Texts const texts =
        tag_texts({{"p", VProp(7)}, {"j", map}, {"s", JSON::Value("x")}, {"n", JSON::Value()}});
    EXPECT_EQ(texts, (Texts{{"j", "{\"a\":1}"}, {"n", "null"}, {"p", xml_of_seven}, {"s", "\"x\""}}));
}

TEST(StackTags, WithAnEmptyKeyHaveNoPlaceInAFile) {
    EXPECT_EQ(tag_texts({{"", JSON::Value(1)}, {"k", JSON::Value(2)}}), (Texts{{"k", "2"}}));
}

TEST(StackTags, OfNeitherKindAreRefused) {
    struct Throws {
        operator VProp() const { throw 1; }
    };
    Tag broken = JSON::Value(1);
    try {
        broken.emplace<VProp>(Throws{});
    } catch (int) {
    }
    ASSERT_TRUE(broken.valueless_by_exception());
    EXPECT_THROW(tag_texts({{"k", broken}}), std::bad_variant_access);
}

TEST(StackTags, ComeBackAsTheKindTheyWere) {
    Tags tags;
    read_tag_texts({{"p", xml_of_seven}, {"j", "{\"a\":[1,2]}"}, {"s", "\"<no xml>\""}}, tags);
    ASSERT_EQ(tags.size(), 3u);
    ASSERT_TRUE(std::holds_alternative<VProp>(tags["p"]));
    EXPECT_EQ(tag_texts({{"p", tags["p"]}}).at("p"), xml_of_seven);
    EXPECT_EQ(JSON::dump(std::get<JSON::Value>(tags["j"]), false), "{\"a\":[1,2]}");
    EXPECT_EQ(JSON::dump(std::get<JSON::Value>(tags["s"]), false), "\"<no xml>\"");
}

TEST(StackTags, ThatCannotBeParsedAreSkipped) {
    Tags tags;
    read_tag_texts({{"empty", ""},
                    {"no xml", "<"},
                    {"half xml", "<root>"},
                    {"json behind a less-than sign", "<{\"a\":1}"},
                    {"blank before xml", " " + xml_of_seven},
                    {"no json", "{a:1}"},
                    {"half json", "{\"a\":"},
                    {"blanks", "  "},
                    {"good", "true"}},
                   tags);
    ASSERT_EQ(tags.size(), 1u);
    EXPECT_EQ(tags.begin()->first, "good");
}

TEST(StackTags, StandInTheFooterWithTheirLength) {
    TemporaryFolder folder;
    auto const path = folder / "a.vbf";
    auto const file = Vexa::open_file(path, Mode::create);
    auto const stack = file->add_stack(types::uint8, {1}, false);
    stack->set_tag("b", JSON::Value(12));
    stack->set_tag("a", VProp(7));
    stack->tag("c");
    unsigned char const sample = 1;
    stack->write(types::uint8, &sample, nullptr, 1);
    file->close();

    auto const walked = walk_file(path);
    EXPECT_TRUE(walked.faults.empty());
    auto const& texts = walked.stacks.at(0).tags;
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts.at("a"), xml_of_seven);
    EXPECT_EQ(texts.at("b"), "12");
    std::uint64_t length = 4;
    for (auto const& [key, text] : texts) length += 8 + key.size() + text.size();
    EXPECT_EQ(walked.stacks.at(0).footer.tag_bytes, length);

    auto const again = Vexa::open_file(path, Mode::read);
    auto const read = again->get_stack(0);
    EXPECT_EQ(read->tag_keys(), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_TRUE(std::holds_alternative<VProp>(read->tag("a")));
    EXPECT_EQ(std::get<JSON::Value>(read->tag("b")), JSON::Value(12));
}

TEST(StackTags, OfAFileThatCannotBeParsedLeaveTheStackReadable) {
    TemporaryFolder folder;
    RawStack raw(types::uint8, {1}, "a");
    raw.tail = counted("label") + counted("bad") + counted("<nothing") + counted("empty") + counted("") +
               counted("good") + counted("[1]") + counted("");
    write_bytes(folder / "a.vbf", file_of({raw}));
    auto const file = Vexa::open_file(folder / "a.vbf", Mode::read);
    EXPECT_EQ(file->get_stack(0)->tag_keys(), std::vector<std::string>{"good"});
    EXPECT_EQ(file->get_stack(0)->label(0), "label");
}

} // namespace
