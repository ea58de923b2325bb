#include <vexa/bf/FileImp.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/foundation/error.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
using Mode = DiskFile::Mode;
using Locations = std::map<std::string, FileInterface::TagFileLocation>;

std::shared_ptr<FileImp> make_file(bool no_metadata = false) {
    return std::make_shared<FileImp>(no_metadata);
}

std::string const magic("VEXA_BF\n\xFF\xFF", 10);

/// A file without stacks.
/// What every file with metadata has among its tags: a document without images.
std::string const empty_document =
    counted("ome_xml") +
    counted(
        R"(<?xml version="1.0" encoding="UTF-8"?><OME xmlns="http://www.openmicroscopy.org/Schemas/OME/2016-06" )"
        R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
        R"(xsi:schemaLocation="http://www.openmicroscopy.org/Schemas/OME/2016-06 )"
        R"(http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd"/>)");

std::string plain_file(std::string const& description, std::string const& tag_list,
                       std::uint32_t version = 2) {
    std::string file = magic + bytes_of(version) + zero_bytes(8) + counted(description);
    if (version > 1) file += bytes_of(std::uint64_t{34 + description.size()});
    return file + tag_list;
}

class FileImpTest : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
    std::string text;
};

// Literal bytes

TEST_F(FileImpTest, WithoutStacksHasTheseBytes) {
    auto const file = Vexa::open_file(path, Mode::create);
    file->set_file_desc("cells");
    file->set_tag("b", "second");
    file->set_tag("a", "");
    file->close();
    EXPECT_EQ(read_bytes(path), std::string("VEXA_BF\n\xFF\xFF\2\0\0\0"
                                            "\0\0\0\0\0\0\0\0"
                                            "\5\0\0\0cells"
                                            "\x27\0\0\0\0\0\0\0"
                                            "\1\0\0\0a"
                                            "\0\0\0\0"
                                            "\1\0\0\0b"
                                            "\6\0\0\0second",
                                            63) +
                                    empty_document + zero_bytes(4));
}

TEST_F(FileImpTest, WithoutMetadataEndsInAnEmptyTagList) {
    auto const file = Vexa::create_file(true);
    file->open(path, Mode::create);
    file->set_tag("a", "not written");
    file->close();
    std::string const bytes = read_bytes(path);
    EXPECT_EQ(bytes, plain_file("", zero_bytes(4)));
    EXPECT_EQ(value_at<std::uint64_t>(bytes, 26), 34u);
}

TEST_F(FileImpTest, OpenedToCreateWritesNothingYet) {
    auto const file = Vexa::open_file(path, Mode::create);
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
    EXPECT_EQ(std::dynamic_pointer_cast<FileImp>(file)->tell(), 0u);
}

TEST_F(FileImpTest, FinishedByItsDestructorIsWhole) {
    Vexa::open_file(path, Mode::create)->set_tag("k", "v");
    EXPECT_EQ(read_bytes(path), plain_file("", counted("k") + counted("v") + empty_document + zero_bytes(4)));
}

TEST_F(FileImpTest, CreatedInAStreamPutsAbsolutePositionsBehindWhatIsThere) {
    ByteStream stream("front");
    std::fseek(stream.get(), 5, SEEK_SET);
    auto const file = make_file();
    file->attach(stream.get(), Mode::create);
    EXPECT_EQ(file->detach(), stream.get());
    std::string const bytes = stream.bytes();
    EXPECT_EQ(bytes, "front" + magic + bytes_of(2u) + zero_bytes(12) + bytes_of(std::uint64_t{39}) +
                         empty_document + zero_bytes(4));
    EXPECT_EQ(stream.position(), 343);
}

// Reading

TEST_F(FileImpTest, ReadsDescriptionAndTags) {
    write_bytes(path, plain_file("Zellen \xC3\xA4", counted("k") + counted("v") + counted("")));
    auto const file = Vexa::open_file(path, Mode::read);
    file->get_file_desc(text);
    EXPECT_EQ(text, "Zellen \xC3\xA4");
    EXPECT_EQ(file->tag("k"), "v");
    EXPECT_EQ(file->get_num_stacks(), 0u);
}

TEST_F(FileImpTest, ReadsTheLastOfARepeatedTag) {
    write_bytes(path,
                plain_file("", counted("k") + counted("1") + counted("k") + counted("2") + counted("")));
    EXPECT_EQ(Vexa::open_file(path, Mode::read)->tag("k"), "2");
}

TEST_F(FileImpTest, HasNoTagOfAnUnknownKey) {
    auto const file = make_file();
    EXPECT_THROW(file->tag("x"), std::out_of_range);
    file->set_tag("x", "1");
    file->set_tag("x", "2");
    EXPECT_EQ(file->tag("x"), "2");
}

TEST_F(FileImpTest, ReadsLaterVersionsAsVersionTwo) {
    write_bytes(path, plain_file("d", counted("k") + counted("v") + counted(""), 0xFFFFFFFF));
    EXPECT_EQ(Vexa::open_file(path, Mode::read)->tag("k"), "v");
}

TEST_F(FileImpTest, OfVersionOneHasNoTagsAndStaysWhereItStandsWhenClosed) {
    for (std::uint32_t version : {0u, 1u}) {
        ByteStream stream(plain_file("old", "", version));
        auto const file = make_file();
        file->attach(stream.get(), Mode::read);
        EXPECT_EQ(stream.position(), 29);
        std::fseek(stream.get(), 7, SEEK_SET);
        file->detach();
        EXPECT_EQ(stream.position(), 7);
    }
}

TEST_F(FileImpTest, IsReadFromWhereTheStreamStands) {
    std::string bytes = "front" + plain_file("", counted("k") + counted("v") + counted(""));
    put(bytes, 5 + 26, std::uint64_t{39});
    ByteStream stream(bytes + "behind");
    std::fseek(stream.get(), 5, SEEK_SET);
    auto const file = make_file();
    file->attach(stream.get(), Mode::read);
    EXPECT_EQ(stream.position(), 5 + 34) << "behind the header";
    EXPECT_EQ(file->tag("k"), "v");
    file->detach();
    EXPECT_EQ(stream.position(), static_cast<long>(bytes.size())) << "behind the last byte of the file";
}

TEST_F(FileImpTest, WithoutMetadataReadsNoTagsAndDetachesAtTheirStart) {
    ByteStream stream(plain_file("", counted("k") + counted("v") + counted("")));
    auto const file = make_file(true);
    file->attach(stream.get(), Mode::read);
    EXPECT_THROW(file->tag("k"), std::out_of_range);
    file->detach();
    EXPECT_EQ(stream.position(), 34);
}

// Settings

TEST_F(FileImpTest, TakesADescriptionOnlyBeforeItsHeaderIsWritten) {
    auto const file = Vexa::create_file(false);
    VEXA_EXPECT_THROWS(file->set_file_desc("x"), std::runtime_error,
                       "Read-only handle specified in write function.");
    file->open(path, Mode::create);
    file->set_file_desc("first");
    file->flush();
    VEXA_EXPECT_THROWS(file->set_file_desc("second"), std::runtime_error,
                       "Header already written. Cannot set file description.");
    file->close();
    file->open(path, Mode::read);
    VEXA_EXPECT_THROWS(file->set_file_desc("x"), std::runtime_error,
                       "Read-only handle specified in write function.");
    file->get_file_desc(text);
    EXPECT_EQ(text, "first");
    file->close();
    file->open(path, Mode::modify);
    VEXA_EXPECT_THROWS(file->set_file_desc("x"), std::runtime_error,
                       "Header already written. Cannot set file description.");
}

TEST_F(FileImpTest, StartsWithTheseDefaults) {
    auto const file = Vexa::create_file(false);
    EXPECT_EQ(file->default_write_mode, WriteMode{});
    EXPECT_EQ(file->default_compression_type, 0);
    EXPECT_EQ(file->default_compression_level, 1);
}

TEST_F(FileImpTest, HandsOutTheThreadingSupportOfTheDevice) {
    auto const file = make_file();
    file->set_threading_support({.number_of_threads = 3, .execute = {}});
    EXPECT_EQ(file->threading_support().number_of_threads, 3u);
}

// Opening and closing

struct ModeState {
    Mode mode;
    bool writable;
};

class FileImpMode : public FileImpTest, public ::testing::WithParamInterface<ModeState> {};

TEST_P(FileImpMode, ShowsInItsState) {
    write_bytes(path, plain_file("", zero_bytes(4)));
    auto const file = Vexa::create_file(false);
    EXPECT_FALSE(file->is_open());
    EXPECT_FALSE(file->is_attached());
    EXPECT_EQ(file->mode(), Mode::closed);
    file->open(path, GetParam().mode);
    EXPECT_TRUE(file->is_open());
    EXPECT_FALSE(file->is_attached());
    EXPECT_EQ(file->mode(), GetParam().mode);
    EXPECT_EQ(std::dynamic_pointer_cast<FileImp>(file)->is_open_for_writing(), GetParam().writable);
    file->close();
    EXPECT_FALSE(file->is_open());
    EXPECT_EQ(file->mode(), Mode::closed);
    EXPECT_NO_THROW(file->close());
}

INSTANTIATE_TEST_SUITE_P(Modes, FileImpMode,
                         ::testing::Values(ModeState{Mode::read, false}, ModeState{Mode::create, true},
                                           ModeState{Mode::modify, true}));

TEST_F(FileImpTest, IsNotOpenedTwice) {
    auto const file = Vexa::open_file(path, Mode::create);
    VEXA_EXPECT_THROWS(file->open(path, Mode::create), std::runtime_error, "File already open or attached.");
    ByteStream stream;
    VEXA_EXPECT_THROWS(file->attach(stream.get(), Mode::create), std::runtime_error,
                       "File already open or attached.");
    EXPECT_FALSE(file->is_attached());
}

TEST_F(FileImpTest, RefusesOtherModes) {
    auto const file = Vexa::create_file(false);
    VEXA_EXPECT_THROWS(file->open(path, static_cast<Mode>(3)), std::runtime_error, "Invalid file mode.");
    VEXA_EXPECT_THROWS(file->open(path, Mode::closed), std::runtime_error, "Invalid file mode.");
    ByteStream stream;
    VEXA_EXPECT_THROWS(file->attach(stream.get(), static_cast<Mode>(3)), std::runtime_error,
                       "Invalid opening mode.");
    EXPECT_TRUE(file->is_attached());
    EXPECT_EQ(file->detach(), stream.get());
    VEXA_EXPECT_THROWS(file->attach(nullptr, Mode::read), std::runtime_error, "File not open.");
    EXPECT_FALSE(file->is_open());
}

TEST_F(FileImpTest, ThatCannotBeReadStaysClosedWhenOpenedAndAttachedWhenAttached) {
    write_bytes(path, "no VBF file at all, but long enough");
    auto const file = Vexa::create_file(false);
    VEXA_EXPECT_THROWS(file->open(path, Mode::read), std::runtime_error, "No VBF file header found.");
    EXPECT_FALSE(file->is_open());
    ByteStream stream(read_bytes(path));
    VEXA_EXPECT_THROWS(file->attach(stream.get(), Mode::read), std::runtime_error,
                       "No VBF file header found.");
    EXPECT_TRUE(file->is_open());
    EXPECT_TRUE(file->is_attached());
    EXPECT_EQ(file->detach(), stream.get());
    EXPECT_FALSE(file->is_attached());
}

TEST_F(FileImpTest, ThatIsAttachedIsNotClosed) {
    ByteStream stream;
    auto const file = make_file();
    file->attach(stream.get(), Mode::create);
    VEXA_EXPECT_THROWS(file->close(), std::runtime_error, "File not opened with open(), cannot close.");
    EXPECT_TRUE(file->is_open());
    file->detach();
    EXPECT_EQ(stream.bytes(), plain_file("", empty_document + zero_bytes(4)));
    EXPECT_EQ(file->detach(), nullptr);
}

TEST_F(FileImpTest, GivesAwayAStreamItOpened) {
    auto const file = Vexa::open_file(path, Mode::create);
    FILE* const stream = file->detach();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(read_bytes(path), plain_file("", empty_document + zero_bytes(4))) << "flushed";
    std::fclose(stream);
}

TEST_F(FileImpTest, ThatWasNeverClosedDoesNotOpen) {
    ByteStream stream;
    auto const file = make_file();
    file->attach(stream.get(), Mode::create);
    file->flush();
    write_bytes(path, stream.bytes());
    EXPECT_EQ(read_bytes(path), magic + bytes_of(2u) + zero_bytes(20));
    for (Mode mode : {Mode::read, Mode::modify})
        VEXA_EXPECT_THROWS(Vexa::open_file(path, mode), std::runtime_error,
                           "File incomplete. Metadata missing.");
    file->detach();
}

TEST_F(FileImpTest, FlushIsWithoutEffectUnlessWritable) {
    auto const file = Vexa::create_file(false);
    EXPECT_NO_THROW(file->flush());
    write_bytes(path, plain_file("", zero_bytes(4)));
    file->open(path, Mode::read);
    EXPECT_NO_THROW(file->flush());
}

/// Deliberate: nobody knows the place of the position field of a header that was written earlier.
TEST_F(FileImpTest, ClosedAfterModifyingLosesItsMagic) {
    std::string const before = plain_file("d", counted("k") + counted("v") + zero_bytes(4));
    write_bytes(path, before);
    auto const file = Vexa::open_file(path, Mode::modify);
    file->close();
    std::string expected = before + counted("k") + counted("v") + empty_document + zero_bytes(4);
    put(expected, 0, std::uint64_t{before.size()});
    EXPECT_EQ(read_bytes(path), expected);
    VEXA_EXPECT_THROWS(Vexa::open_file(path, Mode::read), std::runtime_error, "No VBF file header found.");
}

TEST_F(FileImpTest, CreatedAndModifiedByOneObjectLosesItsMagicToo) {
    auto const file = Vexa::open_file(path, Mode::create);
    file->close();
    file->open(path, Mode::modify);
    file->close();
    EXPECT_EQ(value_at<std::uint64_t>(read_bytes(path), 0), 338u);
}

TEST_F(FileImpTest, ShowsNothingOfAFileOpenedEarlier) {
    write_bytes(path, plain_file("old", counted("k") + counted("v") + zero_bytes(4), 2));
    auto const old_version = folder / "old.vbf";
    write_bytes(old_version, plain_file("older", "", 1));
    auto const file = Vexa::open_file(path, Mode::read);
    file->close();
    EXPECT_EQ(file->tag("k"), "v") << "still there after closing";
    file->open(old_version, Mode::read);
    EXPECT_THROW(file->tag("k"), std::out_of_range);
    file->close();
    file->open(path, Mode::read);
    file->close();
    file->set_tag("n", "w");
    auto const second = folder / "b.vbf";
    file->open(second, Mode::create);
    file->close();
    EXPECT_EQ(read_bytes(second),
              plain_file("", counted("n") + counted("w") + empty_document + zero_bytes(4)));
}

// Tags

TEST_F(FileImpTest, StreamsATagOfUnknownLength) {
    ByteStream stream;
    auto const file = make_file();
    file->attach(stream.get(), Mode::create);
    file->flush();
    unsigned long const start = file->tell();
    file->start_tag("movie");
    file->write_tag_data("some", 4);
    file->write_tag_data(" data", 5);
    file->end_tag();
    EXPECT_EQ(file->tell(), start + 4 + 5 + 4 + 9);
    file->start_tag("empty");
    file->end_tag();
    file->write_tags({{"x", "1"}, {"w", "2"}});
    file->write_sentinel_tag();
    EXPECT_EQ(stream.bytes().substr(start), counted("movie") + counted("some data") + counted("empty") +
                                                counted("") + counted("w") + counted("2") + counted("x") +
                                                counted("1") + zero_bytes(4));
    file->seek(start);
    std::map<std::string, std::string> tags{{"x", "old"}, {"z", "kept"}};
    file->read_tags(tags);
    EXPECT_EQ(tags, (std::map<std::string, std::string>{
                        {"empty", ""}, {"movie", "some data"}, {"w", "2"}, {"x", "1"}, {"z", "kept"}}));
    file->detach();
}

TEST_F(FileImpTest, HandsTagLocationsOverInPlaceOfValues) {
    write_bytes(path,
                plain_file("", counted("k") + counted("value") + counted("l") + counted("") + counted("")));
    auto const file = make_file();
    Locations found;
    file->set_read_metadata_cb([&](Locations locations) { found = std::move(locations); });
    file->open(path, Mode::read);
    EXPECT_THROW(file->tag("k"), std::out_of_range);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found["k"].position, 34u + 5 + 4);
    EXPECT_EQ(found["k"].length, 5u);
    EXPECT_EQ(found["l"].position, 34u + 5 + 9 + 5 + 4);
    EXPECT_EQ(found["l"].length, 0u);

    unsigned long const before = file->tell();
    EXPECT_EQ(file->read_tag(found["k"]), "value");
    EXPECT_EQ(file->read_tag(found["l"]), "");
    EXPECT_EQ(file->tell(), before);
    EXPECT_THROW(file->read_tag({.position = 40, .length = 0xFFFFFFFF}), VexaError);
    EXPECT_EQ(file->tell(), before);
    file->close();
    file->set_read_metadata_cb({});
    file->open(path, Mode::read);
    EXPECT_EQ(file->tag("k"), "value");
}

TEST_F(FileImpTest, DetachesBehindTheTagListWhoseLocationsItHandedOver) {
    std::string const bytes = plain_file("", counted("k") + counted("value") + counted(""));
    ByteStream stream(bytes + "behind");
    auto const file = make_file();
    file->set_read_metadata_cb([](Locations) {});
    file->attach(stream.get(), Mode::read);
    file->detach();
    EXPECT_EQ(stream.position(), static_cast<long>(bytes.size()));
}

TEST_F(FileImpTest, LetsACallbackWriteTheTags) {
    auto const file = Vexa::open_file(path, Mode::create);
    file->set_tag("a", "not this");
    file->set_write_metadata_cb([&] {
        file->write_tag("b", "this");
        file->start_tag("c");
        file->write_tag_data("and this", 8);
        file->end_tag();
    });
    file->close();
    file->set_write_metadata_cb({});
    EXPECT_EQ(read_bytes(path), plain_file("", counted("b") + counted("this") + counted("c") +
                                                   counted("and this") + zero_bytes(4)));
}

TEST_F(FileImpTest, LetsACallbackWriteTagsOfAFileWithoutMetadataToo) {
    auto const file = Vexa::create_file(true);
    file->set_write_metadata_cb([&] { file->write_tag("b", "this"); });
    file->open(path, Mode::create);
    file->close();
    EXPECT_EQ(read_bytes(path), plain_file("", counted("b") + counted("this") + zero_bytes(4)));
}

TEST_F(FileImpTest, RefusesAnEmptyKeySinceItWouldEndTheList) {
    auto const file = Vexa::open_file(path, Mode::create);
    VEXA_EXPECT_THROWS(file->set_tag("", "v"), std::invalid_argument, "Empty tag key.");
    VEXA_EXPECT_THROWS(file->write_tag("", "v"), std::invalid_argument, "Empty tag key.");
    VEXA_EXPECT_THROWS(file->start_tag(""), std::invalid_argument, "Empty tag key.");
}

TEST_F(FileImpTest, NeedsAStream) {
    auto const file = make_file();
    std::map<std::string, std::string> tags;
    VEXA_EXPECT_THROWS(file->tell(), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->seek(0), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->write_tag("k", "v"), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->start_tag("k"), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->write_tag_data("v", 1), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->end_tag(), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->read_tags(tags), std::runtime_error, "File not open.");
    VEXA_EXPECT_THROWS(file->read_tag({}), std::runtime_error, "File not open.");
}

// Damage

TEST_F(FileImpTest, CutAnywhereIsRefused) {
    std::string const whole = plain_file("desc", counted("key") + counted("value") + zero_bytes(4));
    for (std::size_t n = 0; n < whole.size(); ++n) {
        write_bytes(path, whole.substr(0, n));
        EXPECT_THROW(Vexa::open_file(path, Mode::read), VexaError) << n << " bytes";
    }
    write_bytes(path, whole);
    EXPECT_NO_THROW(Vexa::open_file(path, Mode::read));
}

/// The first of several faults is the one that is told.
TEST_F(FileImpTest, TellsFaultsInTheOrderOfItsParts) {
    std::string bytes = plain_file("d", counted("k") + bytes_of(0xFFFFFFFFu));
    put(bytes, 14, std::uint64_t{1ul << 63}); // chain
    auto const fault = [&] {
        write_bytes(path, bytes);
        try {
            Vexa::open_file(path, Mode::read);
        } catch (std::exception const& e) {
            return std::string(e.what()).substr(0, 40);
        }
        return std::string("none");
    };
    EXPECT_EQ(fault(), std::string("Failed reading 4294967295 bytes from file: ").substr(0, 40))
        << "tag list";
    put(bytes, 27, std::uint64_t{0});
    EXPECT_EQ(fault(), "File incomplete. Metadata missing.") << "metadata position";
    put(bytes, 22, 0xFFFFFFF0u);
    EXPECT_EQ(fault(), std::string("Failed reading 4294967280 bytes from file: ").substr(0, 40))
        << "description";
    bytes[0] = 'v';
    EXPECT_EQ(fault(), "No VBF file header found.");
    bytes = plain_file("d", zero_bytes(4));
    put(bytes, 14, std::uint64_t{1ul << 63});
    EXPECT_EQ(fault(), "The offset exceeds the maximum offset.") << "chain";
}

TEST_F(FileImpTest, RefusesAMetadataPositionThatLeadsNowhere) {
    std::string bytes = plain_file("", zero_bytes(4));
    for (std::uint64_t position : {std::uint64_t{36}, std::uint64_t{39}, std::uint64_t{1} << 40}) {
        put(bytes, 26, position);
        write_bytes(path, bytes);
        EXPECT_THROW(Vexa::open_file(path, Mode::read), VexaError) << position;
    }
    put(bytes, 26, std::uint64_t{1} << 63);
    write_bytes(path, bytes);
    VEXA_EXPECT_THROWS(Vexa::open_file(path, Mode::read), std::runtime_error,
                       "The offset exceeds the maximum offset.");
}

} // namespace
