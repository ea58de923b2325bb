// The OME document of a file.

#include <vexa/bf/FileImp.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;

class FileMetadata : public ::testing::Test {
protected:
    std::shared_ptr<FileInterface> make(bool no_metadata = false) const {
        auto const file = Vexa::create_file(no_metadata);
        file->open(path, Mode::create);
        return file;
    }
    std::shared_ptr<FileInterface> reopened(Mode mode = Mode::read) const {
        return Vexa::open_file(path, mode);
    }
    static void add(FileInterface& file, std::vector<unsigned long> const& shape, std::string const& name) {
        Vexa::arrays::StackImp stack(types::uint8, shape);
        stack.set_name(name);
        file.write_stack(&stack, 0);
    }
    /// A finished file with two stacks.
    void make_two() const {
        auto const file = make();
        add(*file, {2, 3}, "first");
        add(*file, {4, 5, 6}, "second");
        file->close();
    }
    /// A finished file with a stack and this in place of a document.
    void make_with(std::string const& document) const {
        auto const file = make(true);
        file->set_write_metadata_cb([&] { file->write_tag("ome_xml", document); });
        add(*file, {2, 3}, "");
        file->close();
        file->set_write_metadata_cb({});
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
};

std::string name_of(OME::Image const& image) { return image.name().value()->get<std::string>(); }

} // namespace

TEST_F(FileMetadata, HasAnImageForEachStackInTheirOrder) {
    make_two();
    auto const file = reopened();
    auto const& images = file->metadata().ome.images();
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(name_of(images.front()), "first");
    EXPECT_EQ(images.front().storage_shape(), (std::vector<std::size_t>{2, 3, 1, 1, 1}));
    EXPECT_EQ(images.front().data_type(), OME::Image::Data_Type::uint8);
    auto const second = std::next(images.begin());
    EXPECT_EQ(name_of(*second), "second");
    EXPECT_EQ(second->storage_shape(), (std::vector<std::size_t>{4, 5, 6, 1, 1}));
}

TEST_F(FileMetadata, IsThereWhileTheFileIsWritten) {
    auto const file = make();
    file->metadata().ome.provide_first_instrument();
    file->add_stack(types::uint16, {7, 8}, false);
    EXPECT_EQ(file->metadata().ome.images().size(), 1u);
    file->metadata().ome.images().front().name().set("changed");
    std::vector<std::uint16_t> const samples(56);
    file->get_stack(0)->write(types::uint16, samples.data(), nullptr, samples.size());
    file->close();
    auto const again = reopened();
    EXPECT_EQ(again->metadata().ome.instruments().size(), 1u);
    EXPECT_EQ(name_of(again->metadata().ome.images().front()), "changed");
}

TEST_F(FileMetadata, IsTheTagThatIsWritten) {
    make_two();
    auto const file = reopened();
    std::string const stored = file->tag("ome_xml");
    EXPECT_EQ(file->metadata().XML(), stored);
    EXPECT_EQ(stored.substr(0, 43), R"(<?xml version="1.0" encoding="UTF-8"?><OME )");
}

TEST_F(FileMetadata, OfAFileWithoutStacksIsAnEmptyDocument) {
    make()->close();
    auto const file = reopened();
    EXPECT_EQ(file->tag("ome_xml"), OME::Root("").XML());
    EXPECT_TRUE(file->metadata().ome.images().empty());
}

TEST_F(FileMetadata, FileWithoutMetadataHasNeitherImagesNorTheTag) {
    auto const file = make(true);
    add(*file, {2, 3}, "first");
    EXPECT_TRUE(file->metadata().ome.images().empty());
    file->close();
    auto const again = reopened();
    EXPECT_THROW(again->tag("ome_xml"), std::out_of_range);
    EXPECT_TRUE(again->metadata().ome.images().empty());
}

TEST_F(FileMetadata, AskingForItLeavesAFileThatIsReadAsItWas) {
    for (bool no_metadata : {false, true}) {
        auto const file = make(no_metadata);
        add(*file, {2, 3}, "first");
        file->close();
        std::string const before = read_bytes(path);
        auto const again = reopened();
        again->metadata().ome.provide_first_project();
        again->close();
        EXPECT_EQ(read_bytes(path), before);
    }
}

TEST_F(FileMetadata, DamagedDocumentLeavesTheStacksWithinReach) {
    make_with("<OME><Image></OME>");
    auto const file = reopened();
    EXPECT_EQ(file->get_num_stacks(), 1u);
    std::vector<unsigned char> samples(6);
    file->get_stack(0)->read(types::uint8, samples.data(), nullptr);
    VEXA_EXPECT_THROWS(file->metadata(), JSON::XML_Reader::Unexpected, "Unexpected OME end tag");
    VEXA_EXPECT_THROWS(file->metadata(), JSON::XML_Reader::Unexpected, "Unexpected OME end tag");
    file->close();
}

TEST_F(FileMetadata, DocumentThatCannotBeReadIsKeptWhenTheFileGrows) {
    auto const file = make();
    file->set_tag("ome_xml", "<OME><Image></OME>");
    file->close();
    EXPECT_EQ(reopened()->tag("ome_xml"), "<OME><Image></OME>");
}

TEST_F(FileMetadata, StackCannotBeAddedBesideADamagedDocument) {
    auto const file = make();
    file->set_tag("ome_xml", "<OME><Image></OME>");
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {2, 3}, false), JSON::XML_Reader::Unexpected,
                       "Unexpected OME end tag");
}

TEST_F(FileMetadata, TagThatIsSetBeforeIsTheDocument) {
    OME::Root root("");
    root.ome.provide_first_project().name().set("mine");
    auto const file = make();
    file->set_tag("ome_xml", root.XML());
    add(*file, {2, 3}, "first");
    file->close();
    auto const again = reopened();
    EXPECT_EQ(*again->metadata().ome.first_project()->name().value(), "mine");
    EXPECT_EQ(again->metadata().ome.images().size(), 1u);
}

TEST_F(FileMetadata, StackOfATypeThatOmeLacksIsThereWithoutImage) {
    auto const file = make();
    VEXA_EXPECT_THROWS(file->add_stack(types::uint64, {2, 3}, false), OME::Invalid_Argument,
                       "Unsupported OME image type");
    EXPECT_EQ(file->get_num_stacks(), 1u);
    EXPECT_TRUE(file->metadata().ome.images().empty());
    std::vector<std::uint64_t> const samples(6, 5);
    file->get_stack(0)->write(types::uint64, samples.data(), nullptr, samples.size());
    file->close();
    auto const again = reopened();
    EXPECT_EQ(again->get_num_stacks(), 1u);
    EXPECT_TRUE(again->metadata().ome.images().empty());
}

TEST_F(FileMetadata, SoIsAStackOfSixAxes) {
    auto const file = make();
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1, 1, 1, 1, 1, 1}, false), std::invalid_argument,
                       "Unsupported number of 6 dimensions");
    EXPECT_EQ(file->get_num_stacks(), 1u);
    EXPECT_TRUE(file->metadata().ome.images().empty());
}

TEST_F(FileMetadata, StackWithoutTypeOrShapeHasAnImageOfOnePixel) {
    auto const file = make();
    file->add_stack(0, {}, false);
    ASSERT_EQ(file->metadata().ome.images().size(), 1u);
    EXPECT_EQ(file->metadata().ome.images().front().size(), 1u);
}

TEST_F(FileMetadata, BelongsToTheFileThatIsOpen) {
    make_two();
    auto const file = reopened();
    EXPECT_EQ(file->metadata().ome.images().size(), 2u);
    file->close();
    EXPECT_EQ(file->metadata().ome.images().size(), 2u);
    file->open(folder / "b.vbf", Mode::create);
    EXPECT_TRUE(file->metadata().ome.images().empty());
    file->close();
    file->open(path, Mode::read);
    EXPECT_EQ(file->metadata().ome.images().size(), 2u);
}

TEST_F(FileMetadata, MadeBeforeTheFileCountsForIt) {
    auto const file = Vexa::create_file(false);
    file->metadata().ome.provide_first_project().name().set("early");
    file->open(path, Mode::create);
    file->close();
    EXPECT_EQ(*reopened()->metadata().ome.first_project()->name().value(), "early");
}

TEST_F(FileMetadata, DocumentThatCannotBeWrittenIsToldBeforeTheFileIsFinished) {
    auto const file = make();
    add(*file, {2, 3}, "first");
    file->metadata().ome.content.set(JSON::Map{{"Strange", 5}});
    EXPECT_THROW(file->close(), std::invalid_argument);
    EXPECT_TRUE(file->is_open());
    file->metadata().ome.content.set(JSON::Map());
    file->close();
    EXPECT_EQ(reopened()->get_num_stacks(), 1u);
}

TEST_F(FileMetadata, OwnWriterOfTagsLeavesItOut) {
    auto const file = make();
    file->set_write_metadata_cb([&] { file->write_tag("mine", "text"); });
    add(*file, {2, 3}, "first");
    file->close();
    EXPECT_THROW(reopened()->tag("ome_xml"), std::out_of_range);
    EXPECT_EQ(reopened()->tag("mine"), "text");
}
