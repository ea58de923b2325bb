// Acquires a specimen into VBF files as an instrument would, opens the files again, reads them at random and
// looks at them. Without --input the specimen is simulated.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <future>
#include <optional>
#include <random>
#include <thread>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "acquisition.h"
#include "checks.h"
#include "console.h"
#include "failure.h"
#include "image.h"
#include "output_file.h"
#include "picture.h"
#include "specimen.h"
#include "survey.h"
#include "workers.h"

extern char** environ;

namespace {

using Vexa::tool::byte_text;
namespace types = Vexa::types;

class Clock {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
    }

private:
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

/// Photographs the simulated specimen, one plane ahead of the reader.
class SimulatedCamera : public Camera {
public:
    explicit SimulatedCamera(Specimen const& specimen) : specimen_(specimen) {
        width = specimen.width();
        height = specimen.height();
        planes = specimen.planes();
        type = types::uint16;
        pixel_metres = Specimen::pixel_metres;
        plane_metres = Specimen::plane_metres;
        expose();
    }
    std::vector<unsigned char> next() override {
        auto const photons = exposure_.get();
        if (++plane_ < planes) expose();
        auto const* const bytes = reinterpret_cast<unsigned char const*>(photons.data());
        return {bytes, bytes + photons.size() * sizeof photons[0]};
    }

private:
    void expose() {
        exposure_ = std::async(std::launch::async, [this, index = plane_] { return specimen_.plane(index); });
    }

    Specimen const& specimen_;
    std::uint32_t plane_ = 0;
    std::future<std::vector<std::uint16_t>> exposure_;
};

/// Takes the planes of an image file.
class FileCamera : public Camera {
public:
    explicit FileCamera(std::filesystem::path const& path) : source_(Vexa::tool::open_image(path)) {
        auto const& info = source_->info();
        auto const fits = [](unsigned long size) { return size != 0 && size <= 0xFFFF; };
        auto const size_of = [&](std::size_t axis) {
            return axis < info.shape.size() ? info.shape[axis] : 1;
        };
        auto const rest = info.elements() / std::max(size_of(0) * size_of(1), 1ul);
        if (!fits(size_of(0)) || !fits(size_of(1)) || rest == 0 || rest > 0xFFFFFFFF ||
            types::is_complex(info.type))
            throw std::runtime_error("The input is no stack of planes of real numbers.");
        width = static_cast<std::uint32_t>(size_of(0));
        height = static_cast<std::uint32_t>(size_of(1));
        planes = static_cast<std::uint32_t>(rest);
        type = info.type;
        if (!info.pixel_lengths.empty()) pixel_metres = plane_metres = info.pixel_lengths[0];
    }
    std::vector<unsigned char> next() override {
        std::vector<unsigned char> plane(std::size_t{width} * height * source_->info().element_size());
        source_->read(plane.data(), std::size_t{width} * height);
        return plane;
    }

private:
    std::unique_ptr<Vexa::tool::SampleSource> source_;
};

struct Options {
    std::optional<std::filesystem::path> input;
    std::filesystem::path output = std::filesystem::temp_directory_path() / "vexa_demo";
    std::string tool = VEXA_TOOL;
    std::uint32_t planes = 300, size = 512;
    std::uint64_t seed = 1;
    unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 16u);
};

void acquire(Acquisition& acquisition, Camera const& camera) {
    Clock const clock;
    bool const terminal = ::isatty(STDERR_FILENO);
    acquisition.run([&](std::uint32_t plane) {
        if (terminal && (plane % 10 == 0 || plane == camera.planes))
            fmt::print(stderr, "\r\x1b[Kplane {} of {}, {:.0f} planes/s", plane, camera.planes,
                       plane / clock.seconds());
    });
    if (terminal) fmt::print(stderr, "\r\x1b[K");
    std::uint64_t bytes = 0;
    for (auto const& channel : acquisition.channels()) bytes += channel.bytes;
    fmt::print("Acquired {} planes of {} x {} into three stacks at once: {} of samples in {:.1f} s, {}/s\n",
               camera.planes, camera.width, camera.height, byte_text(bytes), clock.seconds(),
               byte_text(static_cast<std::uint64_t>(static_cast<double>(bytes) / clock.seconds())));
}

/// Read all windows of a channel, in an order that jumps about, as 32-bit reals.
void check_windows(Vexa::bf::StackInterface const& stack, Channel const& channel) {
    auto windows = channel.windows;
    std::shuffle(windows.begin(), windows.end(), std::mt19937(5));
    Clock const clock;
    std::size_t same = 0;
    for (auto const& window : windows) {
        std::vector<float> samples(window.samples.size(), -1.0f);
        auto position = window.position;
        stack.read(types::single, samples.data(), nullptr, samples.size(), position);
        // Bytes, since a NaN differs from itself.
        same += std::memcmp(samples.data(), window.samples.data(), samples.size() * sizeof samples[0]) == 0;
    }
    check(same == windows.size(),
          fmt::format("{}: {} random windows read as written, {:.2f} ms each", channel.name, same,
                      1e3 * clock.seconds() / static_cast<double>(windows.size())));
}

void check_stack(Vexa::bf::StackInterface& stack, Channel const& channel, Camera const& camera) {
    check(stack.name() == channel.name && stack.shape().back() == camera.planes && stack.io_status() == 0,
          fmt::format("{}: complete, with {} planes", channel.name, stack.shape().back()));
    check_windows(stack, channel);
    Clock const clock;
    std::vector<float> plane(stack.shape()[0] * stack.shape()[1]);
    double sum = 0;
    unsigned long position = 0;
    for (std::uint32_t i = 0; i < camera.planes; ++i) {
        stack.read(types::single, plane.data(), nullptr, plane.size(), position);
        sum += plane[plane.size() / 2];
    }
    check(position == Vexa::bf::StackInterface::at_end && std::isfinite(sum),
          fmt::format(
              "{}: read from end to end, {}/s", channel.name,
              byte_text(static_cast<std::uint64_t>(static_cast<double>(channel.bytes) / clock.seconds()))));
}

/// The plane in the middle, as a picture with a scale bar.
void draw(Vexa::bf::StackInterface const& stack, Camera const& camera, std::filesystem::path const& path) {
    std::vector<double> values(std::size_t{camera.width} * camera.height);
    unsigned long position = camera.planes / 2 * values.size();
    stack.read(types::double_, values.data(), nullptr, values.size(), position);
    auto contrast = Vexa::tool::find_contrast(values);
    // A few bright beads would leave the filaments in the dark.
    auto sorted = values;
    auto const rank = static_cast<std::ptrdiff_t>(sorted.size() - 1 - sorted.size() / 500);
    std::nth_element(sorted.begin(), sorted.begin() + rank, sorted.end());
    contrast.white = std::max(sorted[static_cast<std::size_t>(rank)], contrast.black);
    auto picture = Vexa::tool::make_picture(values, camera.width, camera.height, 8, contrast);
    bool const calibrated = camera.pixel_metres > 0;
    double const micrometres =
        std::pow(10, std::floor(std::log10(camera.pixel_metres * 1e6 * camera.width / 4)));
    auto const bar = calibrated ? std::lround(micrometres / (camera.pixel_metres * 1e6)) : camera.width / 5;
    Vexa::tool::draw_scale_bar(picture, static_cast<std::uint32_t>(bar));
    Vexa::tool::OutputFile output(path, true);
    Vexa::tool::write_png(output, picture);
    output.publish();
    fmt::print("\nPlane {} is in {}; black is {:g}, white is {:g}, the bar is {}.\n", camera.planes / 2,
               path.string(), contrast.black, contrast.white,
               calibrated ? fmt::format("{:g} um", micrometres) : fmt::format("{} pixels", bar));
}

/// Run the tool with its output on ours.
/// \return its exit code
int run_tool(std::string const& tool, std::vector<std::string> arguments) {
    std::fflush(stdout);
    std::vector<char*> argv{const_cast<char*>(tool.c_str())};
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (::posix_spawn(&child, tool.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void print_sizes(std::filesystem::path const& path, std::vector<Channel> const& channels) {
    std::uint64_t bytes = 0;
    for (auto const& channel : channels) bytes += channel.bytes;
    auto const size = std::filesystem::file_size(path);
    fmt::print("{}: {} hold {} of samples, ratio {:.2f}\n", path.filename().string(), byte_text(size),
               byte_text(bytes), static_cast<double>(bytes) / static_cast<double>(size));
}

/// Show a file as the tool sees it.
void show(std::string const& tool, std::filesystem::path const& path) {
    fmt::print("\n$ vexa info {}\n", path.string());
    check(run_tool(tool, {"info", path.string()}) == 0, "vexa info");
    check(run_tool(tool, {"verify", path.string()}) == 0, "vexa verify");
}

/// Where the stage stood for the last tile of a survey.
void show_position(std::string const& tool, std::filesystem::path const& path) {
    std::string const place = "Image/3/Pixels/Plane/0";
    fmt::print("\n$ vexa meta get {} {}\n", path.string(), place);
    check(run_tool(tool, {"meta", "get", path.string(), place}) == 0, "vexa meta get");
}

/// One tile for other programs, with its part of the document.
void export_tile(std::string const& tool, std::filesystem::path const& path) {
    auto const tiff = path.parent_path() / "tile.ome.tif";
    fmt::print("\n$ vexa export {} 0 {}\n", path.string(), tiff.string());
    check(run_tool(tool, {"export", "--force", path.string(), "0", tiff.string()}) == 0, "vexa export");
}

/// Look the specimen over, open the file again and look at it.
void survey(Specimen const& specimen, Options const& options) {
    Clock const clock;
    auto const path = options.output / "survey.vbf";
    Survey survey(specimen);
    survey.run(path);
    fmt::print("Surveyed the specimen in {} tiles of {} x {} with {} channels, in {:.1f} s\n\n",
               survey.tiles().size(), survey.tile_size(), survey.tile_size(), Survey::stains.size(),
               clock.seconds());
    fmt::print("Opening the survey again\n");
    survey.check_file(path);
    show(options.tool, path);
    show_position(options.tool, path);
    export_tile(options.tool, path);
    fmt::print("\n");
}

int run(Options const& options) {
    Clock const clock;
    std::filesystem::create_directories(options.output);
    auto const path = options.output / "specimen.vbf", preview_path = options.output / "preview.vbf";
    std::optional<Specimen> specimen;
    std::unique_ptr<Camera> camera;
    fmt::print("Compressing with {} threads, files in {}\n\n", options.threads, options.output.string());
    if (options.input) {
        fmt::print("No survey: an image file does not say where the stage stood.\n\n");
        camera = std::make_unique<FileCamera>(*options.input);
    } else {
        specimen.emplace(options.size, options.size, options.planes, options.seed);
        survey(*specimen, options);
        camera = std::make_unique<SimulatedCamera>(*specimen);
    }
    Vexa::tool::Workers workers(options.threads);
    Acquisition acquisition(*camera, path.string(), preview_path.string(), workers.support());
    acquire(acquisition, *camera);
    auto const& channels = acquisition.channels();
    print_sizes(path, {channels[0], channels[1]});
    print_sizes(preview_path, {channels[2]});
    fmt::print("The room that was reserved there is for samples that don't compress at all.\n");

    fmt::print("\nOpening the files again\n");
    auto const file = Vexa::open_file(path, Vexa::bf::DiskFile::Mode::read);
    auto const preview_file = Vexa::open_file(preview_path, Vexa::bf::DiskFile::Mode::read);
    file->set_threading_support(workers.support());
    check_stack(*file->get_stack(0), channels[0], *camera);
    check_stack(*file->get_stack(1), channels[1], *camera);
    check_stack(*preview_file->get_stack(0), channels[2], *camera);
    draw(*file->get_stack(0), *camera, options.output / "plane.png");

    for (auto const& vbf : {path, preview_path}) show(options.tool, vbf);
    fmt::print("\n{} in {:.1f} s\n",
               failed_checks() == 0 ? "All checks passed" : fmt::format("{} checks FAILED", failed_checks()),
               clock.seconds());
    return failed_checks() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Acquire a specimen into VBF files, read them back and look at them.");
    app.add_option("--input", options.input, "A TIFF or NumPy file in place of the simulated specimen");
    app.add_option("--output", options.output, "Folder for the files")->capture_default_str();
    app.add_option("--tool", options.tool, "The vexa program");
    app.add_option("--planes", options.planes, "Planes of the simulated specimen")
        ->check(CLI::Range(2, 100000))
        ->capture_default_str();
    app.add_option("--size", options.size, "Width and height of the simulated specimen")
        ->check(CLI::Range(16, 8192))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "Seed of the simulated specimen")->capture_default_str();
    app.add_option("-j,--threads", options.threads, "Threads that compress and decompress")
        ->check(CLI::Range(1, 256));
    CLI11_PARSE(app, argc, argv);
    try {
        return run(options);
    } catch (std::exception const& error) {
        fmt::print(stderr, "vexa_demo: {}\n", error.what());
        return 1;
    }
}
