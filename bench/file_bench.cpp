// Opening a file of many stacks, beside a bare loop that seeks and reads the same blocks.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <bench/bench.h>
#include <vexa/bf/FileImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using Mode = DiskFile::Mode;

constexpr int stack_count = 10000;

// The walk needs these few places, as docs/format.md gives them.
constexpr std::size_t file_header_size = 26, first_stack_offset = 14;
constexpr std::size_t stack_header_size = 368, name_length_offset = 336, data_length_offset = 352,
                      next_stack_offset = 360;
constexpr std::size_t footer_size = 1528, footer_end_offset = 1444;

/// A file of stacks of `size` x `size` bytes.
std::filesystem::path make_file(std::filesystem::path const& path, unsigned long size) {
    auto const file = Vexa::create_file(true);
    file->open(path, Mode::create);
    std::vector<unsigned char> const samples(size * size, 1);
    for (int i = 0; i < stack_count; ++i) {
        auto const stack = file->add_stack(Vexa::types::uint8, {size, size}, false);
        stack->set_name("stack");
        stack->set_labels({"x", "y"});
        stack->write(Vexa::types::uint8, samples.data(), nullptr, samples.size());
    }
    file->close();
    return path;
}

template <typename T>
T value_at(std::vector<char> const& block, std::size_t offset) {
    T value;
    std::memcpy(&value, block.data() + offset, sizeof value);
    return value;
}

void get(FILE* stream, std::vector<char>& block, std::size_t n) {
    block.resize(n);
    if (std::fread(block.data(), 1, n, stream) != n) std::abort();
}

/// The blocks of each record: header, name, footer, and what follows the footer.
void walk_plainly(std::filesystem::path const& path) {
    FILE* const stream = std::fopen(path.c_str(), "r");
    std::vector<char> block;
    get(stream, block, file_header_size);
    auto position = value_at<std::uint64_t>(block, first_stack_offset);
    while (position != 0) {
        ::fseeko(stream, static_cast<off_t>(position), SEEK_SET);
        get(stream, block, stack_header_size);
        auto const next = value_at<std::uint64_t>(block, next_stack_offset);
        auto const name = value_at<std::uint32_t>(block, name_length_offset);
        auto const data = value_at<std::uint64_t>(block, data_length_offset);
        get(stream, block, name);
        std::uint64_t const footer = position + stack_header_size + name + data;
        ::fseeko(stream, static_cast<off_t>(footer), SEEK_SET);
        get(stream, block, footer_size);
        auto const end = value_at<std::uint64_t>(block, footer_end_offset);
        get(stream, block, end - footer - footer_size);
        Vexa::bench::keep(block);
        position = next;
    }
    std::fclose(stream);
}

/// What stands for the stacks of the file in memory, and nothing else.
std::vector<std::shared_ptr<Vexa::bf::StackImp>> make_stacks(unsigned long size) {
    std::vector<std::shared_ptr<Vexa::bf::StackImp>> stacks;
    for (int i = 0; i < stack_count; ++i) {
        stacks.push_back(std::make_shared<Vexa::bf::StackImp>(Vexa::types::uint8, std::vector{size, size},
                                                              false, std::shared_ptr<Vexa::bf::FileImp>()));
        stacks.back()->set_name("stack");
        stacks.back()->set_labels({"x", "y"});
    }
    return stacks;
}

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    Vexa::testing::TemporaryFolder const folder;
    std::shared_ptr<FileInterface> file;
    for (unsigned long size : {16ul, 100ul}) {
        auto const path = make_file(folder / (std::to_string(size) + ".vbf"), size);
        table.compare({.name = "open/10000 stacks of " + std::to_string(size * size) + " bytes",
                       .target = 0.5,
                       .candidate = [path, &file] { file = Vexa::open_file(path, Mode::read); },
                       .baseline = [path] { walk_plainly(path); },
                       .before = [&file] { file.reset(); },
                       .clock = Vexa::bench::Clock::thread});
        table.compare(
            {.name = "make/10000 stacks, beside reading those of " + std::to_string(size * size) + " bytes",
             .candidate = [size] { Vexa::bench::keep(make_stacks(size)); },
             .baseline = [path] { walk_plainly(path); },
             .clock = Vexa::bench::Clock::thread});
    }
    return table.run();
}
