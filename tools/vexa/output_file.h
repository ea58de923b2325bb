#pragma once

#include <filesystem>
#include <string>

namespace Vexa::tool {

/// The place where an output grows: a file beside its target, which takes the target's name when all is
/// written. Until then the target stays as it was, and an output that is given up leaves nothing behind.
class OutputFile {
public:
    /// \param force whether an existing target may be replaced
    /// \throws Failure with Exit::wrong_use when the target exists and \p force is false, or is no ordinary
    /// file; with Exit::output_failed when no file can be made beside it
    OutputFile(std::filesystem::path const& target, bool force);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    /// Fail as the constructor does when the target stands in the way.
    static void check_target(std::filesystem::path const& target, bool force);
    /// Removes the file when it was not published.
    ~OutputFile();

    /// Where to write; the file exists and is empty.
    std::filesystem::path const& path() const { return path_; }
    std::filesystem::path const& target() const { return target_; }
    /// Give the file the target's name. A target that has come into being meanwhile is not replaced either.
    void publish();

private:
    std::filesystem::path target_;
    std::filesystem::path path_;
    bool force_;
    bool published_ = false;
};

/// The same for a folder: one that doesn't exist yet grows beside its place. One that exists is filled where it
/// is, if \p force allows that.
class OutputFolder {
public:
    /// \throws Failure with Exit::wrong_use when the target exists and \p force is false, or is no folder; with
    /// Exit::output_failed when no folder can be made beside it
    OutputFolder(std::filesystem::path const& target, bool force);
    OutputFolder(OutputFolder const&) = delete;
    OutputFolder& operator=(OutputFolder const&) = delete;
    /// Removes the folder and all in it when it is new and was not published.
    ~OutputFolder();

    std::filesystem::path const& path() const { return path_; }
    /// Give the folder the target's name. A target that has come into being meanwhile is not replaced.
    void publish();

private:
    std::filesystem::path target_;
    std::filesystem::path path_;
    bool temporary_ = false;
};

} // namespace Vexa::tool
