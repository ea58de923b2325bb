// Files whose OME document is damaged.

#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/foundation/types.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/document_file.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/full_document.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Unexpected = JSON::XML_Reader::Unexpected;

constexpr char const* key = "ome_xml";

std::string repeated(std::string const& part, std::size_t times) {
    std::string text;
    text.reserve(part.size() * times);
    for (std::size_t i = 0; i < times; ++i) text += part;
    return text;
}

struct Damage {
    char const* name;
    std::string document;
    std::type_info const& type;
    char const* text;
};
void PrintTo(Damage const& damage, std::ostream* os) { *os << damage.name; }

Damage const refused[] = {
    {"EndTagOfAnother", "<OME><Image></OME>", typeid(Unexpected), "Unexpected OME end tag"},
    {"EndInsideOfAnAttribute", "<OME><Image ID=\"Im", typeid(std::bad_variant_access), "bad variant access"},
    {"OnlyText", "no document", typeid(Unexpected), "Unexpected n at the beginning"},
    {"BinaryBytes", "\x80\xff\x01", typeid(Unexpected), "Unexpected \x80 at the beginning"},
    {"ZeroBytes", std::string(100, '\0'), typeid(Unexpected), "Unexpected "},
    {"BinaryBytesInATag", "<OME \x01\xff=\"\"/>", typeid(Unexpected), "Unexpected \x01 in tag"},
    {"ManyBrackets", std::string(1 << 20, '<'), typeid(Unexpected), "Unexpected < in tag name"},
    {"MissingElement", R"(<OME><Dataset ID="Dataset:1"><ImageRef ID="Image:5"/></Dataset></OME>)",
     typeid(OME::Invalid_Argument), "Incomplete data: missing Image:5."},
    {"AttributeOfTheWrongForm",
     R"(<OME><Image ID="Image:1"><Pixels ID="Pixels:1" SizeX="many"/></Image></OME>)",
     typeid(std::bad_variant_access), "bad variant access"},
};

class DamagedDocument : public ::testing::TestWithParam<Damage> {};

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedDocument, ::testing::ValuesIn(refused),
                         [](auto const& kind) { return kind.param.name; });

/// The samples of the one stack that write_file_with_document() makes.
void expect_samples(FileInterface& file) {
    ASSERT_EQ(file.get_num_stacks(), 1U);
    std::vector<unsigned char> samples(6);
    EXPECT_EQ(file.get_stack(0)->read(types::uint8, samples.data(), nullptr), 6U);
    EXPECT_EQ(samples, std::vector<unsigned char>(6, 7));
}

/// What asking for the document throws: its type and its text.
std::string failure_of(FileInterface& file) {
    try {
        file.metadata();
    } catch (std::exception const& error) {
        return std::string(typeid(error).name()) + ": " + error.what();
    }
    return {};
}

/// Open the file, look at it, close it; it has the same bytes afterwards.
void expect_untouched(std::filesystem::path const& path, std::function<void(FileInterface&)> const& look) {
    std::string const before = read_bytes(path);
    auto const file = Vexa::open_file(path, Mode::read);
    look(*file);
    file->close();
    EXPECT_TRUE(read_bytes(path) == before);
}

} // namespace

TEST_P(DamagedDocument, IsToldEachTimeAndLeavesTheStacks) {
    TemporaryFolder folder;
    write_file_with_document(folder / "a.vbf", GetParam().document);
    expect_untouched(folder / "a.vbf", [](FileInterface& file) {
        std::string const failure = std::string(GetParam().type.name()) + ": " + GetParam().text;
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(failure_of(file), failure);
            expect_samples(file);
        }
        EXPECT_TRUE(file.tag(key) == GetParam().document);
    });
}

TEST_P(DamagedDocument, IsNoErrorForWhoDoesNotAsk) {
    TemporaryFolder folder;
    write_file_with_document(folder / "a.vbf", GetParam().document);
    expect_untouched(folder / "a.vbf", [](FileInterface& file) {
        expect_samples(file);
        EXPECT_TRUE(file.tag(key) == GetParam().document);
        file.flush();
        EXPECT_EQ(file.read_stack(0, types::uint16)->number_of_elements(), 6U);
    });
}

TEST_P(DamagedDocument, StaysInAFileThatIsWrittenWithoutAsking) {
    TemporaryFolder folder;
    auto const file = Vexa::open_file(folder / "a.vbf", Mode::create);
    file->set_tag(key, GetParam().document);
    file->set_tag("other", "kept");
    file->close();
    auto const again = Vexa::open_file(folder / "a.vbf", Mode::read);
    EXPECT_TRUE(again->tag(key) == GetParam().document);
    EXPECT_EQ(again->tag("other"), "kept");
}

TEST(DamagedDocuments, OnesThatOpenAreWhatTheyHold) {
    TemporaryFolder folder;
    auto const images_in = [&](std::string const& document) {
        write_file_with_document(folder / "a.vbf", document);
        std::size_t images = 0;
        expect_untouched(folder / "a.vbf", [&](FileInterface& file) {
            images = file.metadata().ome.images().size();
            expect_samples(file);
        });
        return images;
    };
    EXPECT_EQ(images_in(""), 0U);
    EXPECT_EQ(images_in("   \n"), 0U);
    EXPECT_EQ(images_in("<Other><Image ID=\"Image:1\"/></Other>"), 0U);
    EXPECT_EQ(images_in("<OME><Image ID=\"Image:1\"><Pixels"), 1U);
    EXPECT_EQ(images_in("<OME><Image ID=\"Image:1\"/><Image>"), 2U);
    EXPECT_EQ(images_in(repeated("<OME>", 1 << 18)), 0U);
}

TEST(DamagedDocuments, TheFirstBytesOfADocumentOpenOrAreRefused) {
    TemporaryFolder folder;
    OME::Root root("");
    fill_document(root);
    std::string const whole = root.XML();
    int opened = 0, failed = 0;
    for (std::size_t size = 0; size < whole.size(); size += 1 + size / 50) {
        write_file_with_document(folder / "a.vbf", whole.substr(0, size));
        expect_untouched(folder / "a.vbf", [&](FileInterface& file) {
            std::string const failure = failure_of(file);
            EXPECT_EQ(failure_of(file), failure) << size;
            expect_samples(file);
            ++(failure.empty() ? opened : failed);
        });
    }
    EXPECT_GT(opened, 0);
    EXPECT_GT(failed, 0);
}

namespace {

/// A new file with a stack of 2 x 3 bytes, all 7, and with this text as its document.
std::shared_ptr<FileInterface> file_in_work(std::filesystem::path const& path, std::string const& document) {
    auto const file = Vexa::open_file(path, Mode::create);
    file->set_tag(key, document);
    auto const stack = file->add_stack(types::uint8, {2, 3}, false);
    std::vector<unsigned char> const samples(6, 7);
    stack->write(types::uint8, samples.data(), nullptr, samples.size());
    return file;
}

} // namespace

TEST(DamagedDocuments, OneOfAnotherRootKeepsTheFileFromBeingClosed) {
    TemporaryFolder folder;
    auto const file = file_in_work(folder / "a.vbf", "<Other/>");
    for (int i = 0; i < 2; ++i) EXPECT_THROW(file->close(), std::invalid_argument);
    EXPECT_TRUE(file->is_open());
    file->metadata().set(*OME::Root("").value());
    file->close();
    auto const again = Vexa::open_file(folder / "a.vbf", Mode::read);
    expect_samples(*again);
    EXPECT_TRUE(again->metadata().ome.images().empty());
}

TEST(DamagedDocuments, OneThatCannotBeWrittenLeavesTheStacksOfAFileThatIsLetGo) {
    TemporaryFolder folder;
    auto file = file_in_work(folder / "a.vbf", "<Other/>");
    file->set_tag("other", "kept");
    file.reset();
    auto const other_root = Vexa::open_file(folder / "a.vbf", Mode::read);
    expect_samples(*other_root);
    EXPECT_EQ(other_root->tag(key), "<Other/>");
    EXPECT_EQ(other_root->tag("other"), "kept");

    file = file_in_work(folder / "b.vbf", "");
    file->metadata().ome.content.set(JSON::Map{{"Strange", 5}});
    file.reset();
    auto const strange = Vexa::open_file(folder / "b.vbf", Mode::read);
    expect_samples(*strange);
    EXPECT_EQ(strange->tag(key), "");
}
