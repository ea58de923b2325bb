#include <vexa/bf/DiskFile.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <sys/types.h>

#include <fmt/format.h>

#include <vexa/foundation/error.h>

static_assert(sizeof(off_t) == 8, "Files larger than 2 GiB need 64-bit offsets.");

namespace Vexa::bf {

namespace {

constexpr unsigned long end_of_file = static_cast<unsigned long>(-1);
constexpr unsigned long top_bit = 1ul << 63;

/// No location: what() is the bare message.
VexaError disk_error(std::string message) {
    VexaError error(nullptr, nullptr, 0);
    error.message = std::move(message);
    return error;
}

char const* fopen_mode(DiskFile::Mode mode) {
    switch (mode) {
    case DiskFile::Mode::read: return "r";
    case DiskFile::Mode::create: return "w+";
    case DiskFile::Mode::modify: return "r+";
    case DiskFile::Mode::closed: break;
    }
    throw std::runtime_error("Invalid file mode.");
}

} // namespace

DiskFile::DiskFile(std::filesystem::path const& path, Mode mode) { open(path, mode); }

DiskFile::~DiskFile() {
    if (!opened_by_open_) return;
    try {
        close();
    } catch (...) {
    }
}

void DiskFile::open(std::filesystem::path const& path, Mode mode) {
    if (stream_) throw std::runtime_error("File already open or attached.");
    char const* const how = fopen_mode(mode);
    FILE* const stream = std::fopen(path.lexically_normal().c_str(), how);
    if (!stream) throw disk_error(fmt::format("Could not open file: {}", std::strerror(errno)));
    stream_ = stream;
    opened_by_open_ = true;
    mode_ = mode;
}

void DiskFile::attach(FILE*& stream, Mode mode) {
    if (stream_) throw std::runtime_error("File already open or attached.");
    stream_ = stream;
    opened_by_open_ = false;
    mode_ = stream ? mode : Mode::closed;
}

FILE* DiskFile::detach() {
    mode_ = Mode::closed;
    return std::exchange(stream_, nullptr);
}

void DiskFile::close() {
    if (!stream_) return;
    if (!opened_by_open_) throw std::runtime_error("File not opened with open(), cannot close.");
    std::fclose(detach());
}

bool DiskFile::is_open_for_reading() const { return mode_ != Mode::closed; }

bool DiskFile::is_open_for_writing() const { return mode_ == Mode::create || mode_ == Mode::modify; }

unsigned long DiskFile::tell() const { return static_cast<unsigned long>(::ftello(require_stream())); }

unsigned long DiskFile::seek(unsigned long pos) {
    FILE* const stream = require_stream();
    if (pos == end_of_file) {
        ::fseeko(stream, 0, SEEK_END);
    } else {
        if (pos & top_bit) throw std::runtime_error("The offset exceeds the maximum offset.");
        ::fseeko(stream, static_cast<off_t>(pos), SEEK_SET);
    }
    return tell();
}

void DiskFile::read(void* buffer, unsigned long n) {
    if (std::fread(buffer, 1, n, require_stream()) != n)
        throw disk_error(fmt::format("Failed reading {} bytes from file: {}", n, std::strerror(errno)));
}

void DiskFile::write(void const* buffer, unsigned long n) {
    if (std::fwrite(buffer, 1, n, require_stream()) != n)
        throw disk_error(fmt::format("Failed writing {} bytes to file: {}", n, std::strerror(errno)));
}

void DiskFile::flush_file_buffers() {
    if (std::fflush(require_stream()) != 0)
        throw disk_error(fmt::format("Failed flushing data to file: {}", std::strerror(errno)));
}

void DiskFile::set_threading_support(ThreadingSupport support) { threading_support_ = std::move(support); }

unsigned long DiskFile::size() const {
    struct stat status;
    if (::fstat(::fileno(require_stream()), &status) != 0) return 0;
    return static_cast<unsigned long>(status.st_size);
}

unsigned long DiskFile::size_on_disk(std::filesystem::path const& path) {
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) return 0;
    return static_cast<unsigned long>(status.st_blksize) * static_cast<unsigned long>(status.st_blocks);
}

void DiskFile::remove(std::filesystem::path const& path) {
    std::error_code reason;
    if (std::filesystem::remove(path, reason)) return;
    int const number = reason ? reason.value() : ENOENT;
    throw disk_error(fmt::format("Could not remove file: {}", std::strerror(number)));
}

FILE* DiskFile::require_stream() const {
    if (!stream_) throw std::runtime_error("File not open.");
    return stream_;
}

} // namespace Vexa::bf
