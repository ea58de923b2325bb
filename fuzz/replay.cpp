// The main function of the replay tests: runs a fuzz target on empty input and on every file of a folder, so
// that a past finding is tested by every compiler and sanitizer. A finding ends the program; the last name
// printed is the culprit.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "fuzz.h"

namespace {

std::vector<std::filesystem::path> files_of(std::filesystem::path const& folder) {
    std::vector<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    if (files.empty()) throw std::runtime_error("The folder has no files: " + folder.string());
    return files;
}

std::vector<char> contents_of(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("Cannot open " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

void run(char const* name, std::vector<char> const& input) {
    std::printf("%s (%zu bytes)\n", name, input.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(input.data()), input.size());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    try {
        run("empty input", {});
        for (auto const& path : files_of(argv[1])) run(path.c_str(), contents_of(path));
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
