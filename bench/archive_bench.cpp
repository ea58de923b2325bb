// Archives beside tar: a tree into memory and back, against a tree into a file in the page cache and back. All of it
// stands in a file system in memory, where there is one, since making files on a disk takes longer than all else.
// --files=N sets how many small files there are, --mib=N how large the large one is.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/testing/temporary_folder.h>
#include <vexa/zinflux/Archive.h>

#include "bench.h"

namespace {

namespace fs = std::filesystem;
using Zinflux::Archive;
using Stack = std::shared_ptr<Vexa::arrays::StackInterface>;

/// Run tar and wait for it.
void tar(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "tar");
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (::posix_spawnp(&child, "tar", nullptr, nullptr, argv.data(), environ) != 0 ||
        ::waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("tar failed.");
}

/// A value of /proc/self/status in MiB.
double status_mib(std::string const& key) {
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind(key + ":", 0) == 0) return std::stod(line.substr(key.size() + 1)) / 1024;
    return 0;
}

void forget_peak_memory() { std::ofstream("/proc/self/clear_refs") << "5"; }

void put_noise(fs::path const& path, std::size_t size) {
    static std::string block;
    for (unsigned state = 1; block.size() < 1 << 20;) {
        state = state * 1664525 + 1013904223;
        block += static_cast<char>(state >> 24);
    }
    std::ofstream out(path, std::ios::binary);
    for (std::size_t done = 0; done < size; done += block.size())
        out.write(block.data(), static_cast<std::streamsize>(std::min(block.size(), size - done)));
    if (!out.flush()) throw std::runtime_error("Cannot write " + path.string());
}

/// A tree, both ways.
class Trip {
public:
    Trip(std::string name, fs::path const& folder)
        : name_(std::move(name)), tree_(folder / "tree"), tar_(folder / "tree.tar"), out_(folder / "out") {
        fs::create_directories(tree_);
    }
    fs::path const& tree() const { return tree_; }

    void compare(Vexa::bench::Table& table) {
        table.compare({.name = "pack/" + name_,
                       .target = 0.8,
                       .candidate = [this] { stack_ = Archive::pack(tree_, "label", "aid"); },
                       .baseline =
                           [this] {
                               tar({"-cf", tar_, "-C", tree_, "."});
                           },
                       .before =
                           [this] {
                               stack_.reset();
                               fs::remove(tar_);
                           }});
        table.compare({.name = "unpack/" + name_,
                       .target = 0.8,
                       .candidate = [this] { Archive::unpack(stack_, out_); },
                       .baseline =
                           [this] {
                               tar({"-xf", tar_, "-C", out_});
                           },
                       .before =
                           [this] {
                               if (!stack_) stack_ = Archive::pack(tree_, "label", "aid");
                               if (!fs::exists(tar_)) tar({"-cf", tar_, "-C", tree_, "."});
                               fs::remove_all(out_);
                               fs::create_directory(out_);
                           }});
    }

    /// Print what both ways take beyond the stack.
    void report_memory() {
        stack_.reset();
        fs::remove_all(out_);
        ::malloc_trim(0);
        forget_peak_memory();
        double const before = status_mib("VmRSS");
        stack_ = Archive::pack(tree_, "label", "aid");
        double const packed = status_mib("VmHWM") - before;
        forget_peak_memory();
        double const held = status_mib("VmRSS");
        Archive::unpack(stack_, out_);
        double const stack = static_cast<double>(stack_->number_of_elements()) / (1 << 20);
        std::printf("memory/%s: stack %.1f MiB, packing took %.1f MiB more, unpacking %.1f MiB\n",
                    name_.c_str(), stack, packed - stack, status_mib("VmHWM") - held);
        stack_.reset();
        fs::remove_all(out_);
    }

private:
    std::string name_;
    fs::path tree_, tar_, out_;
    Stack stack_;
};

void make_small_files(fs::path const& tree, std::size_t count) {
    constexpr std::size_t per_folder = 100;
    for (std::size_t i = 0; i < count; ++i) {
        auto const folder = tree / std::to_string(i / per_folder);
        if (i % per_folder == 0) fs::create_directory(folder);
        put_noise(folder / (std::to_string(i % per_folder) + ".chunk"), 100 + i * 37 % 4000);
    }
}

/// Take an option of our own out of the arguments.
std::size_t take_option(std::vector<char*>& arguments, std::string const& name, std::size_t value) {
    std::erase_if(arguments, [&](std::string const argument) {
        if (argument.rfind(name, 0) != 0) return false;
        value = std::stoul(argument.substr(name.size()));
        return true;
    });
    return value;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    auto const files = take_option(arguments, "--files=", 10000);
    auto const mib = take_option(arguments, "--mib=", 256);
    Vexa::bench::Table table(static_cast<int>(arguments.size()), arguments.data());
    if (fs::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 0);
    Vexa::testing::TemporaryFolder folder;
    Trip small("files:" + std::to_string(files), folder / "small");
    make_small_files(small.tree(), files);
    Trip large("MiB:" + std::to_string(mib), folder / "large");
    put_noise(large.tree() / "data", mib << 20);
    small.compare(table);
    large.compare(table);
    int const result = table.run();
    small.report_memory();
    large.report_memory();
    return result;
}
