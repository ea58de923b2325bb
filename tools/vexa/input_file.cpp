#include "input_file.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

#include <fmt/format.h>

#include "failure.h"

namespace Vexa::tool {

InputFile::InputFile(std::filesystem::path const& path) : path_(path), file_(std::fopen(path.c_str(), "rb")) {
    if (!file_)
        throw Failure(Exit::no_input,
                      fmt::format("{}: cannot be read: {}", path.string(), std::strerror(errno)));
    struct stat info {};
    if (::fstat(descriptor(), &info) != 0 || !S_ISREG(info.st_mode))
        throw Failure(Exit::no_input, fmt::format("{}: not an ordinary file.", path.string()));
    size_ = static_cast<std::uint64_t>(info.st_size);
}

void InputFile::read(void* to, std::size_t n) {
    if (n == 0) return;
    if (n > left() || std::fread(to, 1, n, file_.get()) != n)
        throw Failure(Exit::damaged, fmt::format("{}: ends in the middle, {} bytes are missing.",
                                                 path_.string(), n > left() ? n - left() : n));
    position_ += n;
}

} // namespace Vexa::tool
