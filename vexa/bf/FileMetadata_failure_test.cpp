// Stacks that no image can describe, in a file that keeps a document.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/bf/FileImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Large = std::vector<std::uint64_t>;

constexpr char const* no_type = "Unsupported OME image type";

class StackWithoutImage : public ::testing::Test {
protected:
    StackWithoutImage() { file->open(path, Mode::create); }

    /// Add a stack of 2 x 3 samples of 64 bits, whose image fails.
    void add_failing(WriteMode mode = {}, bool data_less = false) {
        VEXA_EXPECT_THROWS(file->add_stack(types::uint64, {2, 3}, mode, data_less), OME::Invalid_Argument,
                           no_type);
    }
    void add_good() {
        Vexa::arrays::StackImp const stack(types::uint8, {4});
        file->write_stack(&stack, 0);
    }
    std::shared_ptr<StackInterface> last() { return file->get_stack(file->get_num_stacks() - 1); }
    void write(StackInterface& stack, std::uint64_t sample) {
        Large const samples(6, sample);
        stack.write(types::uint64, samples.data(), nullptr, samples.size());
    }
    Large samples_of(FileInterface& of, unsigned long index) {
        Large samples(of.get_stack(index)->number_of_elements());
        of.get_stack(index)->read(types::uint64, samples.data(), nullptr);
        return samples;
    }
    std::size_t images() { return file->metadata().ome.images().size(); }
    std::shared_ptr<FileInterface> reopened() const { return Vexa::open_file(path, Mode::read); }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
    std::shared_ptr<FileImp> file = std::make_shared<FileImp>(false);
};

} // namespace

TEST_F(StackWithoutImage, IsInMemoryOnly) {
    ByteStream stream;
    auto const attached = std::make_shared<FileImp>(false);
    attached->attach(stream.get(), Mode::create);
    Vexa::arrays::StackImp const good(types::uint8, {4});
    attached->write_stack(&good, 0);
    std::string const before = stream.bytes();
    unsigned long const position = attached->tell();
    VEXA_EXPECT_THROWS(attached->add_stack(types::uint64, {2, 3}, false), OME::Invalid_Argument, no_type);
    EXPECT_TRUE(stream.bytes() == before);
    EXPECT_EQ(attached->tell(), position);
    EXPECT_EQ(attached->get_num_stacks(), 2U);
    EXPECT_EQ(attached->get_stack(1)->io_status(), stack_status::uncommitted);
    EXPECT_EQ(attached->get_stack(1)->shape(), (std::vector<unsigned long>{2, 3}));
    EXPECT_EQ(attached->get_stack(1)->type(), types::uint64);
    EXPECT_EQ(attached->metadata().ome.images().size(), 1U);
    attached->get_stack(1)->truncate();
    attached->detach();
}

TEST_F(StackWithoutImage, IsInTheFileOnceItIsWritten) {
    add_good();
    add_failing();
    last()->set_name("large");
    write(*last(), 1ULL << 63);
    EXPECT_EQ(last()->io_status(), stack_status::complete);
    add_good();
    EXPECT_EQ(images(), 2U);
    file->close();
    EXPECT_TRUE(walk_file(path).faults.empty());
    auto const again = reopened();
    ASSERT_EQ(again->get_num_stacks(), 3U);
    EXPECT_EQ(again->get_stack(1)->name(), "large");
    EXPECT_EQ(samples_of(*again, 1), Large(6, 1ULL << 63));
    EXPECT_EQ(again->metadata().ome.images().size(), 2U);
}

TEST_F(StackWithoutImage, SettlesEarlierStacksAsAnyOther) {
    file->add_stack(types::uint8, {4}, false);
    VEXA_EXPECT_THROWS(file->add_stack(types::uint64, {2, 3}, false), VexaError,
                       "Cannot add next stack: Could not start chunk wise writing on previous stack.");
    EXPECT_EQ(file->get_num_stacks(), 1U);
    std::vector<unsigned char> const samples(4);
    file->get_stack(0)->write(types::uint8, samples.data(), nullptr, 4);
    add_failing();
    EXPECT_EQ(file->get_num_stacks(), 2U);
}

TEST_F(StackWithoutImage, StandsInTheWayOfTheNextUntilItIsWritten) {
    add_failing();
    for (int i = 0; i < 2; ++i)
        VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {4}, false), VexaError,
                           "Cannot add next stack: Could not start chunk wise writing on previous stack.");
    EXPECT_EQ(file->get_num_stacks(), 1U);
    EXPECT_EQ(images(), 0U);
    write(*last(), 5);
    add_good();
    file->close();
    auto const again = reopened();
    EXPECT_EQ(again->get_num_stacks(), 2U);
    EXPECT_EQ(samples_of(*again, 0), Large(6, 5));
}

TEST_F(StackWithoutImage, CanGrowBesideTheNextIfBothAreChunkWise) {
    add_failing(WriteModeFlags::chunk_wise);
    auto const large = last();
    auto const small = file->add_stack(types::uint8, {4}, WriteModeFlags::chunk_wise, false);
    EXPECT_EQ(large->io_status(), stack_status::chunk_wise_writing);
    EXPECT_EQ(images(), 1U);
    std::vector<unsigned char> const samples(4, 9);
    small->write(types::uint8, samples.data(), nullptr, 2);
    write(*large, 6);
    small->write(types::uint8, samples.data(), nullptr, 2);
    file->close();
    auto const again = reopened();
    EXPECT_EQ(samples_of(*again, 0), Large(6, 6));
    EXPECT_EQ(samples_of(*again, 1), Large(4, 9));
}

TEST_F(StackWithoutImage, KeepsTheFileFromBeingClosedUntilItIsComplete) {
    add_good();
    add_failing();
    for (int i = 0; i < 2; ++i)
        VEXA_EXPECT_THROWS((file->close(), 0), std::runtime_error, "Not enough samples written.");
    EXPECT_TRUE(file->is_open());
    EXPECT_EQ(file->get_num_stacks(), 2U);
    last()->truncate();
    file->close();
    auto const again = reopened();
    ASSERT_EQ(again->get_num_stacks(), 2U);
    EXPECT_EQ(samples_of(*again, 1), Large(6, 0));
    EXPECT_EQ(again->metadata().ome.images().size(), 1U);
}

TEST_F(StackWithoutImage, IsPaddedByTheDestructor) {
    add_good();
    add_failing();
    file->set_tag("other", "kept");
    file.reset();
    EXPECT_TRUE(walk_file(path).faults.empty());
    auto const again = reopened();
    ASSERT_EQ(again->get_num_stacks(), 2U);
    EXPECT_EQ(samples_of(*again, 1), Large(6, 0));
    EXPECT_EQ(again->metadata().ome.images().size(), 1U);
    EXPECT_EQ(again->tag("other"), "kept");
}

TEST_F(StackWithoutImage, IsClosedWithTheFileIfItHasNoData) {
    add_failing({}, true);
    file->close();
    EXPECT_EQ(reopened()->get_num_stacks(), 1U);
    EXPECT_EQ(reopened()->tag("ome_xml"), OME::Root("").XML());
}

TEST_F(StackWithoutImage, HasNoSamplesAfterWritingAWholeStack) {
    Vexa::arrays::StackImp source(types::int64, {2, 3});
    VEXA_EXPECT_THROWS((file->write_stack(&source, 0), 0), OME::Invalid_Argument, no_type);
    ASSERT_EQ(file->get_num_stacks(), 1U);
    EXPECT_EQ(last()->io_status(), stack_status::uncommitted);
    last()->write(source.type(), source.get_data_ptr(), nullptr, StackInterface::all);
    file->close();
    EXPECT_EQ(reopened()->read_stack(0, 0)->number_of_elements(), 6U);
}

TEST_F(StackWithoutImage, MayBeStoredAsATypeThatHasOne) {
    Vexa::arrays::StackImp const source(types::int64, {2, 3});
    EXPECT_EQ(Vexa::why_no_image(source), no_type);
    file->write_stack(&source, types::double_);
    EXPECT_EQ(images(), 1U);
    EXPECT_EQ(file->get_num_stacks(), 1U);
}

TEST_F(StackWithoutImage, OfEachKindIsThere) {
    for (int const type : {types::rgb_triple, types::uint64, types::int64, types::logical}) {
        VEXA_EXPECT_THROWS(file->add_stack(type, {2, 3}, false), OME::Invalid_Argument, no_type);
        last()->truncate();
    }
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, std::vector<unsigned long>(15, 1), false),
                       std::invalid_argument, "Unsupported number of 15 dimensions");
    last()->truncate();
    EXPECT_EQ(file->get_num_stacks(), 5U);
    EXPECT_EQ(images(), 0U);
    file->close();
    EXPECT_EQ(reopened()->get_num_stacks(), 5U);
}

TEST_F(StackWithoutImage, IsMadeByADamagedDocumentToo) {
    constexpr char const* damaged = "<OME><Image></OME>";
    file->set_tag("ome_xml", damaged);
    for (unsigned long i = 1; i < 3; ++i) {
        VEXA_EXPECT_THROWS(file->add_stack(types::uint64, {2, 3}, false), OME::Invalid_Argument, no_type);
        write(*last(), i);
        VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {6}, false), JSON::XML_Reader::Unexpected,
                           "Unexpected OME end tag");
        ASSERT_EQ(file->get_num_stacks(), 2 * i);
        write(*last(), i);
    }
    file->close();
    auto const again = reopened();
    EXPECT_EQ(again->get_num_stacks(), 4U);
    EXPECT_EQ(samples_of(*again, 3), Large(6, 2));
    EXPECT_EQ(again->tag("ome_xml"), damaged);
}

TEST_F(StackWithoutImage, IsMadeByADocumentThatTakesNoImages) {
    file->set_tag("ome_xml", "<OME>text</OME>");
    JSON::Value const before = *file->metadata().value();
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {6}, false), JSON::Bad_Access,
                       "Type mismatch: found string, expected map");
    EXPECT_EQ(file->get_num_stacks(), 1U);
    EXPECT_TRUE(*file->metadata().value() == before);
}

TEST_F(StackWithoutImage, IsNoFailureInAFileWithoutDocument) {
    auto const plain = Vexa::create_file(true);
    plain->open(folder / "b.vbf", Mode::create);
    auto const stack = plain->add_stack(types::uint64, {1, 1, 1, 1, 1, 6}, false);
    write(*stack, 3);
    plain->close();
    EXPECT_EQ(samples_of(*Vexa::open_file(folder / "b.vbf", Mode::read), 0), Large(6, 3));
}
