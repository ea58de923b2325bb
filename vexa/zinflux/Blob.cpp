#include <vexa/zinflux/Archive.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <span>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <vexa/zinflux/blob_internal.h>
#include <vexa/zinflux/blob_reader_internal.h>
#include <vexa/zinflux/descriptor_internal.h>
#include <vexa/zinflux/tree_writer_internal.h>

namespace Zinflux {
namespace detail {
namespace {

namespace fs = std::filesystem;

/// Call `function(entry, name)` for each entry of a tree, with its name relative to the root.
template <typename Function>
void for_each_entry(fs::path const& root, Function function) {
    auto const prefix = (root / "").native().size();
    for (auto const& entry : fs::recursive_directory_iterator(root))
        function(entry, std::string_view(entry.path().native()).substr(prefix));
}

/// A blob in the making, filled from front to back.
class BlobFiller {
public:
    BlobFiller(char* buffer, std::size_t size, fs::path const& root)
        : buffer_(buffer), size_(size), root_(root) {}

    /// The place of the next \p n bytes.
    char* room(std::size_t n) {
        if (n > size_ - filled_)
            throw std::runtime_error(fmt::format("the tree {} changed while it was packed", root_.string()));
        char* const place = buffer_ + filled_;
        filled_ += n;
        return place;
    }
    template <typename T>
    void put(T value) {
        std::memcpy(room(sizeof value), &value, sizeof value);
    }
    std::size_t filled() const { return filled_; }

private:
    char* buffer_;
    std::size_t size_;
    std::size_t filled_ = 0;
    fs::path const& root_;
};

void put_header(Blob::Header const& header, BlobFiller& blob) {
    auto const block = std::as_writable_bytes(std::span(blob.room(HeaderLayout::size), HeaderLayout::size));
    HeaderLayout::signature.store(block, std::to_array(header.signature));
    HeaderLayout::version.store(block, header.version);
    HeaderLayout::creation_time.store(block, header.creation_time);
    HeaderLayout::reserved.store(block, std::to_array(header.reserved));
}

[[noreturn]] void reading_failed(fs::path const& path, std::uintmax_t size) {
    throw std::runtime_error(fmt::format("error writing file {}, {} bytes", path.string(), size));
}

/// \return whether all bytes were read
bool read_all(int file, char* to, std::size_t size, Archive::Progress const& progress) {
    while (size > 0) {
        auto const n = ::read(file, to, std::min(size, piece_bytes));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        to += n;
        size -= static_cast<std::size_t>(n);
        if (progress) progress(static_cast<std::size_t>(n));
    }
    return true;
}

/// Open an ordinary file. Anything else is refused unopened; what takes its place behind the check neither
/// stops us nor counts.
Descriptor open_to_read(fs::directory_entry const& entry, std::uintmax_t& size) {
    if (!entry.is_regular_file()) size = fs::file_size(entry.path()); // throws
    Descriptor file(::open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode))
        reading_failed(entry.path(), fs::file_size(entry.path()));
    size = static_cast<std::uintmax_t>(info.st_size);
    return file;
}

void put_file(fs::directory_entry const& entry, BlobFiller& blob, Archive::Progress const& progress) {
    std::uintmax_t size = 0;
    auto const file = open_to_read(entry, size);
    blob.put(static_cast<Length>(size));
    if (!read_all(file.get(), blob.room(size), size, progress)) reading_failed(entry.path(), size);
}

} // namespace

std::size_t fill_blob(Blob::Header const& header, char* buffer, std::size_t size, fs::path const& root,
                      Archive::Progress const& progress) {
    BlobFiller blob(buffer, size, root);
    put_header(header, blob);
    for_each_entry(root, [&](fs::directory_entry const& entry, std::string_view name) {
        bool const is_directory = entry.is_directory();
        blob.put(static_cast<Length>(name.size()));
        std::copy(name.begin(), name.end(), blob.room(name.size()));
        blob.put(static_cast<Flag>(is_directory));
        if (!is_directory) put_file(entry, blob, progress);
    });
    blob.put(end_mark);
    return blob.filled();
}

Blob::Header write_tree(char const* blob, std::size_t size, fs::path const& destination,
                        Archive::Progress const& progress) {
    BlobEntry entry;
    for (BlobReader check(blob, size); check.next(entry);) continue;
    TreeWriter tree(destination);
    BlobReader reader(blob, size);
    while (reader.next(entry)) tree.write(entry, progress);
    return reader.header();
}

} // namespace detail

Blob::Header Blob::Header::make_current_zfxdta() {
    Header header;
    std::copy(std::begin(zfxdta_signature), std::end(zfxdta_signature), header.signature);
    header.version = 3;
    header.creation_time = std::time(nullptr);
    return header;
}

std::size_t Blob::get_fs_size(std::filesystem::path root) {
    std::size_t size = detail::HeaderLayout::size + sizeof detail::end_mark;
    detail::for_each_entry(root, [&](std::filesystem::directory_entry const& entry, std::string_view name) {
        size += sizeof(detail::Length) + name.size() + sizeof(detail::Flag);
        if (!entry.is_directory()) size += sizeof(detail::Length) + std::filesystem::file_size(entry.path());
    });
    return size;
}

void Blob::fs_to_buffer(Header header, char* buffer, std::size_t, std::filesystem::path const& root) {
    detail::fill_blob(header, buffer, detail::unlimited, root, {});
}

Blob::Header Blob::buffer_to_fs(char const* buffer, std::size_t, std::filesystem::path const& destination) {
    return detail::write_tree(buffer, detail::unlimited, destination, {});
}

} // namespace Zinflux
