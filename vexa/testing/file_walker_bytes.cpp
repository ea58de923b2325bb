#include <vexa/testing/file_walker.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace Vexa::testing {
namespace {

class FileBytes : public ByteSource {
public:
    explicit FileBytes(std::filesystem::path const& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) fail(path);
        struct stat info {};
        if (::fstat(fd_, &info) == 0 && S_ISDIR(info.st_mode))
            errno = EISDIR;
        else if (off_t const end = ::lseek(fd_, 0, SEEK_END); end >= 0) {
            size_ = static_cast<std::uint64_t>(end);
            return;
        }
        int const reason = errno;
        ::close(fd_);
        errno = reason;
        fail(path);
    }
    FileBytes(FileBytes const&) = delete;
    FileBytes& operator=(FileBytes const&) = delete;
    ~FileBytes() override { ::close(fd_); }

    std::uint64_t size() const override { return size_; }
    void read(std::uint64_t position, void* to, std::size_t n) const override {
        auto* at = static_cast<char*>(to);
        while (n != 0) {
            ssize_t const got = ::pread(fd_, at, n, static_cast<off_t>(position));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0)
                throw std::runtime_error(
                    fmt::format("Cannot read at position {}: {}", position, std::strerror(errno)));
            if (got == 0)
                throw std::runtime_error(
                    fmt::format("Cannot read at position {}: the file has shrunk", position));
            at += got;
            position += static_cast<std::uint64_t>(got);
            n -= static_cast<std::size_t>(got);
        }
    }

private:
    [[noreturn]] static void fail(std::filesystem::path const& path) {
        throw std::runtime_error(fmt::format("Cannot open {}: {}", path.string(), std::strerror(errno)));
    }

    int fd_;
    std::uint64_t size_ = 0;
};

class MemoryBytes : public ByteSource {
public:
    explicit MemoryBytes(std::span<std::uint8_t const> bytes) : bytes_(bytes.begin(), bytes.end()) {}
    std::uint64_t size() const override { return bytes_.size(); }
    void read(std::uint64_t position, void* to, std::size_t n) const override {
        if (position > bytes_.size() || n > bytes_.size() - position)
            throw std::runtime_error(fmt::format("Cannot read at position {}: behind the end", position));
        if (n != 0) std::memcpy(to, bytes_.data() + position, n);
    }

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace

std::unique_ptr<ByteSource> open_bytes(std::filesystem::path const& path) {
    return std::make_unique<FileBytes>(path);
}

std::unique_ptr<ByteSource> bytes_in_memory(std::span<std::uint8_t const> bytes) {
    return std::make_unique<MemoryBytes>(bytes);
}

} // namespace Vexa::testing
