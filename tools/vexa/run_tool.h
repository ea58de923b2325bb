#pragma once

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vexa/testing/temporary_folder.h>

#include "image_testing.h"

namespace Vexa::tool {

/// The folder of real files, which may be missing.
inline std::filesystem::path sample_folder() {
    if (char const* const folder = std::getenv("VEXA_SHARED_DATA")) return folder;
    return std::filesystem::path(VEXA_SOURCE_DIR) / ".." / "shared" / "data";
}

/// What a run of the tool left.
struct ToolRun {
    int code = -1; ///< exit code, or 1000 and the number of the signal that ended it
    std::string out;
    std::string err;
};

/// Runs the built tool as a user would.
class ToolRunner {
public:
    /// \param meanwhile is called in the test with the process id, while the tool runs
    ToolRun run(std::vector<std::string> const& arguments, std::function<void(pid_t)> const& meanwhile = {},
                std::function<void()> const& in_child = {}) const {
        auto const out = folder_ / "stdout", err = folder_ / "stderr";
        pid_t const child = ::fork();
        if (child == 0) {
            redirect(out, STDOUT_FILENO);
            redirect(err, STDERR_FILENO);
            if (in_child) in_child();
            execute(arguments);
        }
        EXPECT_GT(child, 0);
        if (meanwhile) meanwhile(child);
        ToolRun result;
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
        result.out = get_file(out);
        result.err = get_file(err);
        return result;
    }

    /// In a child process: become the tool.
    [[noreturn]] static void execute(std::vector<std::string> const& arguments) {
        std::vector<char*> argv{const_cast<char*>(VEXA_TOOL)};
        for (auto const& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        ::execv(VEXA_TOOL, argv.data());
        ::_exit(127);
    }

private:
    static void redirect(std::filesystem::path const& path, int descriptor) {
        int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(file, descriptor);
        ::close(file);
    }
    Vexa::testing::TemporaryFolder folder_;
};

/// Bytes that deflate cannot make smaller.
inline std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint64_t state = 88172645463325252ull;
    for (auto& byte : bytes) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = static_cast<char>(state >> 32);
    }
    return bytes;
}

/// A test of the tool with a folder for its files.
class ToolTest : public ::testing::Test {
protected:
    ToolTest() = default;
    /// \param command what all runs begin with
    explicit ToolTest(std::string const& command) : command_{command} {}

    std::string path(std::string const& name) const { return (folder_ / name).string(); }

    ToolRun run(std::vector<std::string> const& arguments) const {
        auto all = command_;
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runner_.run(all);
    }

    /// Run and expect success; the output.
    std::string output(std::vector<std::string> const& arguments) const {
        auto const result = run(arguments);
        EXPECT_EQ(result.code, 0) << result.err;
        return result.out;
    }

    std::vector<std::string> names_in_folder() const {
        std::vector<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(folder_.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::vector<std::string> command_;
    Vexa::testing::TemporaryFolder folder_;
    ToolRunner runner_;
};

} // namespace Vexa::tool
