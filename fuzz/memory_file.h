#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fuzz.h"

/// A file in memory that has a path.
class MemoryFile {
public:
    MemoryFile(std::uint8_t const* data, std::size_t size) : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) {
        VEXA_FUZZ_CHECK(fd_ >= 0);
        VEXA_FUZZ_CHECK(::write(fd_, data, size) == static_cast<ssize_t>(size));
    }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;
    ~MemoryFile() { ::close(fd_); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }
    std::size_t size() const {
        struct stat status {};
        VEXA_FUZZ_CHECK(::fstat(fd_, &status) == 0);
        return static_cast<std::size_t>(status.st_size);
    }
    std::string bytes() const {
        std::string all(size(), '\0');
        VEXA_FUZZ_CHECK(::pread(fd_, all.data(), all.size(), 0) == static_cast<ssize_t>(all.size()));
        return all;
    }

private:
    int fd_;
};
