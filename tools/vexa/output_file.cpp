#include "output_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "failure.h"

namespace Vexa::tool {
namespace {

[[noreturn]] void refuse(std::filesystem::path const& target, char const* what_force_does) {
    throw Failure(Exit::wrong_use,
                  fmt::format("{}: exists already; --force {}.", target.string(), what_force_does));
}
constexpr char const* replaces = "replaces it";
constexpr char const* unpacks_into = "unpacks into it";

[[noreturn]] void cannot_write(std::filesystem::path const& target) {
    throw Failure(Exit::output_failed,
                  fmt::format("{}: cannot be written: {}", target.string(), std::strerror(errno)));
}

/// The permissions that an ordinary new file or folder gets.
mode_t new_mode(mode_t wanted) {
    mode_t const mask = ::umask(0);
    ::umask(mask);
    return wanted & ~mask;
}

/// A name beside the target, which mkstemp() and mkdtemp() complete.
std::string name_beside(std::filesystem::path const& target) {
    return (target.parent_path() / fmt::format(".{}.XXXXXX", target.filename().string())).string();
}

/// Rename unless the target exists.
/// \return false with errno set
bool rename_to_new(std::filesystem::path const& from, std::filesystem::path const& target) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return true;
    // Some file systems don't know the exclusive form.
    return errno == EINVAL && ::rename(from.c_str(), target.c_str()) == 0;
}

} // namespace

void OutputFile::check_target(std::filesystem::path const& target, bool force) {
    std::error_code error;
    auto const status = std::filesystem::status(target, error);
    if (!std::filesystem::exists(status)) return;
    if (!std::filesystem::is_regular_file(status))
        throw Failure(Exit::wrong_use, fmt::format("{}: not an ordinary file.", target.string()));
    if (!force) refuse(target, replaces);
}

OutputFile::OutputFile(std::filesystem::path const& target, bool force) : target_(target), force_(force) {
    check_target(target, force);
    auto name = name_beside(target);
    int const fd = ::mkstemp(name.data());
    if (fd < 0) cannot_write(target);
    ::fchmod(fd, new_mode(0666));
    ::close(fd);
    path_ = name;
}

OutputFile::~OutputFile() {
    if (!published_) ::unlink(path_.c_str());
}

void OutputFile::publish() {
    bool const done = force_ ? ::rename(path_.c_str(), target_.c_str()) == 0 : rename_to_new(path_, target_);
    if (!done && !force_ && errno == EEXIST) refuse(target_, replaces);
    if (!done) cannot_write(target_);
    published_ = true;
}

OutputFolder::OutputFolder(std::filesystem::path const& target, bool force)
    : target_(target.has_filename() ? target : target.parent_path()), path_(target_) {
    std::error_code error;
    auto const status = std::filesystem::status(target_, error);
    if (std::filesystem::exists(status)) {
        if (!std::filesystem::is_directory(status))
            throw Failure(Exit::wrong_use, fmt::format("{}: not a folder.", target_.string()));
        if (!force) refuse(target_, unpacks_into);
        return;
    }
    auto name = name_beside(target_);
    if (!::mkdtemp(name.data())) cannot_write(target_);
    ::chmod(name.c_str(), new_mode(0777));
    path_ = name;
    temporary_ = true;
}

OutputFolder::~OutputFolder() {
    std::error_code ignored;
    if (temporary_) std::filesystem::remove_all(path_, ignored);
}

void OutputFolder::publish() {
    if (!temporary_) return;
    if (!rename_to_new(path_, target_)) {
        if (errno == EEXIST) refuse(target_, unpacks_into);
        cannot_write(target_);
    }
    temporary_ = false;
}

} // namespace Vexa::tool
