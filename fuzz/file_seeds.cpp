// Writes a small file of each kind into a folder, the seeds of the fuzz target `file`:
// vexa_file_seeds fuzz/regressions/file

#include <complex>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <vexa/VexaIo.h>

namespace {

namespace types = Vexa::types;
using Vexa::bf::WriteModeFlags;
using File = Vexa::bf::FileInterface;

std::vector<std::uint16_t> samples(std::size_t n) {
    std::vector<std::uint16_t> values(n);
    for (std::size_t i = 0; i < n; ++i) values[i] = static_cast<std::uint16_t>(i * i % 31);
    return values;
}

void add_plain(File& file) {
    auto const values = samples(12);
    auto const stack = file.add_stack(types::uint16, {4, 3}, false);
    stack->set_name("plain");
    stack->set_description("text");
    stack->set_labels({"X", "Y"});
    stack->set_col_positions(0, {0, 1, 4, 9});
    stack->set_col_labels(1, {"a", "b", "c"});
    stack->set_xy_col_positions(1, {{0, 1}, {2, 3}, {4, 5}});
    stack->set_units(0, Vexa::units::RuntimeValue("um"));
    stack->write(types::uint16, values.data(), nullptr, values.size());
}

void add_zipped(File& file) {
    auto const values = samples(600);
    auto const stack = file.add_stack(types::uint16, {20, 30}, false);
    stack->set_compression(1, 9);
    stack->set_flush_block_size(256);
    stack->write(types::uint16, values.data(), nullptr, values.size());
}

void add_interleaved(File& file) {
    auto const values = samples(40);
    Vexa::bf::WriteMode const mode = WriteModeFlags::chunk_wise;
    auto const fixed = file.add_stack(types::uint8, {10, 3}, mode, false);
    auto const growing = file.add_stack(types::single, {10, 0}, mode, false);
    growing->set_compression(1, 1);
    for (int i = 0; i < 3; ++i) {
        fixed->write(types::uint16, values.data() + 10 * i, nullptr, 10);
        growing->write(types::uint16, values.data() + 5 * i, nullptr, 10);
    }
    growing->write_end(types::single);
}

void add_special(File& file) {
    file.add_stack(types::single, {4, 4}, true)->write(types::single, nullptr, nullptr, 0);
    std::vector<std::complex<double>> const waves{{1, 2}, {3, 4}};
    file.add_stack(types::cplx_double, {2}, false)->write(types::cplx_double, waves.data(), nullptr, 2);
    Vexa::bf::WriteMode const mode = WriteModeFlags::no_padding;
    auto const early = file.add_stack(types::int64, {5, 5}, mode, false);
    early->write(types::uint16, samples(7).data(), nullptr, 7);
    early->truncate();
    auto const text = samples(15);
    file.add_stack(types::uint8, std::vector<unsigned long>(15, 1), false)
        ->write(types::uint16, text.data(), nullptr, 1);
}

void add_tagged(File& file) {
    file.set_tag("key", "value");
    file.set_tag("other", std::string(40, 'x'));
    auto const stack = file.add_stack(types::uint8, {2}, false);
    stack->set_tag("json", JSON::parse(R"({"a": [1, 2.5, null, "text"], "b": {"c": true}})"));
    VProp tree;
    tree["number"].set<double>() = 0.5;
    stack->set_tag("xml", tree);
    stack->write(types::uint8, "ab", nullptr, 2);
}

/// \param no_metadata neither tags nor OME document, for stacks that no image can describe
void write(std::filesystem::path const& path, std::function<void(File&)> const& fill,
           bool no_metadata = false) {
    auto const file = Vexa::create_file(no_metadata);
    file->open(path, Vexa::bf::DiskFile::Mode::create);
    file->set_file_desc("seed");
    fill(*file);
    file->close();
    std::printf("%s: %ju bytes\n", path.c_str(),
                static_cast<std::uintmax_t>(std::filesystem::file_size(path)));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    try {
        std::filesystem::path const folder = argv[1];
        std::filesystem::create_directories(folder);
        write(folder / "seed_empty.vbf", [](File&) {});
        write(folder / "seed_plain.vbf", add_plain);
        write(folder / "seed_zipped.vbf", add_zipped);
        write(folder / "seed_interleaved.vbf", add_interleaved);
        write(folder / "seed_special.vbf", add_special, true);
        write(folder / "seed_tagged.vbf", add_tagged);
        write(folder / "seed_two.vbf", [](File& file) {
            add_plain(file);
            add_zipped(file);
        });
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
