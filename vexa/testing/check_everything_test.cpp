#include <vexa/testing/check_everything.h>

#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/temporary_folder.h>

namespace Vexa::testing {
namespace {

std::string get_file(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void put_file(std::filesystem::path const& path, std::string const& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::uint16_t> samples(std::size_t n) {
    std::vector<std::uint16_t> values(n);
    for (std::size_t i = 0; i < n; ++i) values[i] = static_cast<std::uint16_t>(i * i % 251);
    return values;
}

/// One stack of each kind that the library writes: plain, compressed with several flush blocks, two that grow
/// in turn, one without samples, one that ends early.
void write_all_kinds(std::filesystem::path const& path) {
    auto const file = open_file(path, bf::DiskFile::Mode::create);
    file->set_file_desc("all kinds");
    auto const values = samples(3000);
    auto const plain = file->add_stack(types::uint16, {30, 100}, false);
    plain->set_labels({"X", "Y"});
    plain->set_col_labels(0, std::vector<std::string>(30, "c"));
    plain->write(types::uint16, values.data(), nullptr, values.size());
    auto const zipped = file->add_stack(types::uint16, {30, 100}, false);
    zipped->set_compression(1, 6);
    zipped->set_flush_block_size(700);
    zipped->set_tag("key", JSON::Value("value"));
    zipped->write(types::uint16, values.data(), nullptr, values.size());
    bf::WriteMode const chunk_wise = bf::WriteModeFlags::chunk_wise;
    // The one that grows comes last: a stack without samples so far would be finished by the next one.
    auto const second = file->add_stack(types::uint8, {50, 6}, chunk_wise, false);
    auto const first = file->add_stack(types::uint16, {30, 0}, chunk_wise, false);
    first->set_compression(1, 1);
    for (std::size_t i = 0; i < 6; ++i) {
        first->write(types::uint16, values.data() + 30 * i, nullptr, 30);
        second->write(types::uint16, values.data() + 50 * i, nullptr, 50);
    }
    first->write_end(types::uint16);
    file->add_stack(types::single, {4, 4}, true)->write(types::single, nullptr, nullptr, 0);
    bf::WriteMode const no_padding = bf::WriteModeFlags::no_padding;
    auto const early = file->add_stack(types::uint16, {30, 100}, no_padding, false);
    early->write(types::uint16, values.data(), nullptr, 100);
    early->truncate();
    file->close();
}

TEST(CheckEverything, ReadsAllOfEachKindOfStack) {
    TemporaryFolder folder;
    write_all_kinds(folder / "a.vbf");
    auto const report = check_everything(folder / "a.vbf");
    EXPECT_TRUE(report.opened);
    EXPECT_EQ(report.error, "");
    ASSERT_EQ(report.stacks.size(), 6u);
    std::uint64_t const sizes[] = {6000, 6000, 300, 360, 64, 6000};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(report.stacks[i].error, "") << i;
        EXPECT_EQ(report.stacks[i].bytes_read, sizes[i]) << i;
        EXPECT_TRUE(report.stacks[i].read_whole) << i;
    }
    EXPECT_TRUE(report.is_clean());
}

TEST(CheckEverything, WalkerAgreesWithTheLibrary) {
    TemporaryFolder folder;
    write_all_kinds(folder / "a.vbf");
    auto const file = walk_file(folder / "a.vbf");
    EXPECT_TRUE(file.closed);
    for (auto const& fault : file.faults) ADD_FAILURE() << fault.position << ": " << fault.text;
    ASSERT_EQ(file.stacks.size(), 6u);
    EXPECT_EQ(file.description, "all kinds");
    auto const values = samples(3000);
    auto const* const bytes = reinterpret_cast<std::uint8_t const*>(values.data());
    for (std::size_t stack : {0u, 1u})
        EXPECT_EQ(section_bytes(folder / "a.vbf", stack), std::vector<std::uint8_t>(bytes, bytes + 6000));
    EXPECT_EQ(section_bytes(folder / "a.vbf", 3), std::vector<std::uint8_t>(bytes, bytes + 360));
    EXPECT_EQ(section_bytes(folder / "a.vbf", 2).size(), 300u);
    EXPECT_EQ(section_bytes(folder / "a.vbf", 5), std::vector<std::uint8_t>(bytes, bytes + 200));
    EXPECT_EQ(file.stacks[1].flush_positions.size(), 8u);
    EXPECT_FALSE(file.stacks[2].chunk_records.empty());
}

TEST(CheckEverything, MissingFileAndForeignFileAreReported) {
    TemporaryFolder folder;
    auto report = check_everything(folder / "none.vbf");
    EXPECT_FALSE(report.opened);
    EXPECT_EQ(report.error, "Could not open file: No such file or directory");
    put_file(folder / "text", "some text that is longer than the header of a file");
    report = check_everything(folder / "text");
    EXPECT_FALSE(report.opened);
    EXPECT_EQ(report.error, "No VBF file header found.");
    EXPECT_FALSE(report.is_clean());
}

TEST(CheckEverything, BytesAreBounded) {
    TemporaryFolder folder;
    write_all_kinds(folder / "a.vbf");
    CheckOptions options;
    options.most_bytes = 7000;
    auto const report = check_everything(folder / "a.vbf", options);
    EXPECT_TRUE(report.is_clean());
    EXPECT_TRUE(report.stacks[0].read_whole);
    EXPECT_FALSE(report.stacks[1].read_whole);
    EXPECT_EQ(report.stacks[1].bytes_read, 1000u);
}

TEST(CheckEverything, ProgressCanStopIt) {
    TemporaryFolder folder;
    write_all_kinds(folder / "a.vbf");
    CheckOptions options;
    options.progress = [](std::uint64_t) { return false; };
    auto const report = check_everything(folder / "a.vbf", options);
    EXPECT_TRUE(report.stopped);
    EXPECT_EQ(report.stacks.size(), 1u);
}

TEST(CheckEverything, DamagedSamplesAreReportedAndTheOtherStacksRead) {
    TemporaryFolder folder;
    write_all_kinds(folder / "a.vbf");
    auto bytes = get_file(folder / "a.vbf");
    auto const start = walk_file(folder / "a.vbf").stacks[1].data_start_position;
    for (std::size_t i = 10; i < 60; ++i) bytes[start + i] = static_cast<char>(0xEE);
    put_file(folder / "a.vbf", bytes);
    auto const report = check_everything(folder / "a.vbf");
    EXPECT_TRUE(report.opened);
    EXPECT_NE(report.stacks.at(1).error, "");
    for (std::size_t i : {0u, 2u, 3u, 4u, 5u}) EXPECT_EQ(report.stacks.at(i).error, "") << i;
}

TEST(CheckEverything, DamageOfAnyKindNeverThrowsAndNeverHangs) {
    TemporaryFolder folder;
    write_all_kinds(folder / "good.vbf");
    auto const good = get_file(folder / "good.vbf");
    CheckOptions options;
    options.most_bytes = 1 << 20;
    std::mt19937 random(9);
    for (int round = 0; round < 300; ++round) {
        auto bad = good;
        auto const length = 1 + random() % 8;
        auto const at = random() % (bad.size() - length);
        for (std::size_t i = 0; i < length; ++i)
            bad[at + i] = static_cast<char>(round % 3 == 0 ? 0xFF : random());
        if (round % 10 == 0) bad.resize(random() % bad.size());
        put_file(folder / "bad.vbf", bad);
        (void)check_everything(folder / "bad.vbf", options);
        auto const source = open_bytes(folder / "bad.vbf");
        for (auto const& stack : walk_file(*source).stacks) (void)read_section(*source, stack);
    }
}

} // namespace
} // namespace Vexa::testing
