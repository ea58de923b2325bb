// The OME document of a file.

#include <vexa/bf/FileImp.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/bytes.h>
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

TEST_F(FileMetadata, TakesAnyByteInNamesAndDescriptions) {
    auto const file = make();
    for (int byte = 0; byte < 256; ++byte) {
        Vexa::arrays::StackImp stack(types::uint8, {1});
        stack.set_name(std::string(1, static_cast<char>(byte)));
        stack.set_description("d" + stack.name());
        file->write_stack(&stack, 0);
    }
    file->close();
    auto const again = reopened();
    auto const& images = again->metadata().ome.images();
    ASSERT_EQ(images.size(), 256u);
    int byte = 0;
    for (OME::Image const& image : images) {
        std::string const name(1, static_cast<char>(byte));
        EXPECT_EQ(name_of(image), name) << byte;
        EXPECT_EQ(image.description().value_or(JSON::Value()), JSON::Value("d" + name)) << byte;
        EXPECT_EQ(again->get_stack(static_cast<unsigned long>(byte++))->name(), name);
    }
}

TEST_F(FileMetadata, DescriptionOfBlanksIsLostInTheDocumentOnly) {
    auto const file = make();
    for (char const* const description : {" ", "\n\t", " x "}) {
        Vexa::arrays::StackImp stack(types::uint8, {1});
        stack.set_description(description);
        file->write_stack(&stack, 0);
    }
    file->close();
    auto const again = reopened();
    auto const& images = again->metadata().ome.images();
    ASSERT_EQ(images.size(), 3u);
    EXPECT_FALSE(images.front().description());
    EXPECT_FALSE(std::next(images.begin())->description());
    EXPECT_EQ(std::next(images.begin(), 2)->description().value_or(JSON::Value()), JSON::Value("x "));
    EXPECT_EQ(again->get_stack(1)->description(), "\n\t");
    EXPECT_EQ(again->get_stack(2)->description(), " x ");
}

TEST_F(FileMetadata, LengthsThatAreNoNumbersLeaveItReadable) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    auto const file = make();
    Vexa::arrays::StackImp stack(types::uint8, {2, 2, 2});
    stack.set_lengths({std::numeric_limits<double>::quiet_NaN(), inf, -inf});
    file->write_stack(&stack, 0);
    stack.set_lengths({1e308, 5e-324, -0.0});
    file->write_stack(&stack, 0);
    JSON::Value const tree = *file->metadata().value();
    file->close();
    auto const again = reopened();
    EXPECT_EQ(*again->metadata().value(), tree);
    auto const& image = again->metadata().ome.images().front();
    EXPECT_FALSE(image.voxel_size_x_in_meters());
    EXPECT_FALSE(image.voxel_size_y_in_meters());
    EXPECT_FALSE(image.voxel_size_z_in_meters());
}
