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

[[noreturn]] void refuse(std::filesystem::path const& target) {
    throw Failure(Exit::wrong_use, fmt::format("{}: exists already; --force replaces it.", target.string()));
}

/// The permissions that an ordinary new file gets.
mode_t new_file_mode() {
    mode_t const mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(std::filesystem::path const& target, bool force) : target_(target), force_(force) {
    std::error_code error;
    auto const status = std::filesystem::status(target, error);
    if (std::filesystem::exists(status)) {
        if (!std::filesystem::is_regular_file(status))
            throw Failure(Exit::wrong_use, fmt::format("{}: not an ordinary file.", target.string()));
        if (!force) refuse(target);
    }
    auto name = (target.parent_path() / fmt::format(".{}.XXXXXX", target.filename().string())).string();
    int const fd = ::mkstemp(name.data());
    if (fd < 0)
        throw Failure(Exit::output_failed,
                      fmt::format("{}: cannot be written: {}", target.string(), std::strerror(errno)));
    ::fchmod(fd, new_file_mode());
    ::close(fd);
    path_ = name;
}

OutputFile::~OutputFile() {
    if (!published_) ::unlink(path_.c_str());
}

void OutputFile::publish() {
    int result = 0;
    if (force_) {
        result = ::rename(path_.c_str(), target_.c_str());
    } else {
        result = ::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE);
        if (result != 0 && errno == EEXIST) refuse(target_);
        // Some file systems don't know the exclusive form.
        if (result != 0 && errno == EINVAL) result = ::rename(path_.c_str(), target_.c_str());
    }
    if (result != 0)
        throw Failure(Exit::output_failed,
                      fmt::format("{}: cannot be written: {}", target_.string(), std::strerror(errno)));
    published_ = true;
}

} // namespace Vexa::tool
