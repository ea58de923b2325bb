#include <vexa/zinflux/tree_writer_internal.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace Zinflux::detail {
namespace {

namespace fs = std::filesystem;

/// Only to lead somewhere: such a descriptor needs no permission to read.
constexpr int as_way = O_PATH | O_DIRECTORY | O_CLOEXEC;
/// Neither a FIFO nor a device that stands where a file should be may stop us or become a terminal of ours.
constexpr int as_file = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

std::error_code system_error() { return {errno, std::generic_category()}; }

/// \return whether all bytes were written
bool write_all(int file, char const* from, std::size_t size, Archive::Progress const& progress) {
    while (size > 0) {
        auto const n = ::write(file, from, std::min(size, piece_bytes));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        from += n;
        size -= static_cast<std::size_t>(n);
        if (progress) progress(static_cast<std::size_t>(n));
    }
    return true;
}

} // namespace

TreeWriter::TreeWriter(fs::path const& folder) : folder_(folder) {
    fs::create_directories(folder);
    root_ = Descriptor(::open(folder.c_str(), as_way));
    if (!root_) throw fs::filesystem_error("cannot open directory", folder, system_error());
}

void TreeWriter::write(BlobEntry const& entry, Archive::Progress const& progress) {
    if (entry.is_directory)
        make_directory(entry);
    else
        write_file(entry, progress);
}

void TreeWriter::make_directory(BlobEntry const& entry) {
    if (!enter(entry.name, entry, true))
        throw fs::filesystem_error("cannot create directory", folder_ / entry.name, system_error());
}

void TreeWriter::write_file(BlobEntry const& entry, Archive::Progress const& progress) {
    auto file = open_file(entry);
    bool const written = write_all(file.get(), entry.content, entry.size, progress);
    if (!file.close() || !written) writing_failed(entry);
}

/// Make the file of an entry, or empty the one that is there.
Descriptor TreeWriter::open_file(BlobEntry const& entry) {
    auto const slash = entry.name.rfind('/');
    bool const nested = slash != std::string::npos;
    auto const leaf = nested ? entry.name.substr(slash + 1) : entry.name;
    if (!enter(nested ? std::string_view(entry.name).substr(0, slash) : std::string_view(), entry, false))
        writing_failed(entry);
    Descriptor file(::openat(current(), leaf.c_str(), as_file, 0666));
    struct stat info {};
    bool const known = file && ::fstat(file.get(), &info) == 0;
    if (!known || !S_ISREG(info.st_mode)) {
        refuse_what_stands_at(leaf, entry, true);
        writing_failed(entry);
    }
    if (info.st_size != 0 && ::ftruncate(file.get(), 0) != 0) writing_failed(entry);
    return file;
}

/// Make the directory the current one, by way of the current one if that leads there.
/// \param make whether missing directories are made
/// \return false with errno set if that fails
bool TreeWriter::enter(std::string_view path, BlobEntry const& entry, bool make) {
    bool const below = path.size() > current_path_.size() && path.starts_with(current_path_) &&
                       (current_path_.empty() || path[current_path_.size()] == '/');
    if (!below && path != current_path_) {
        current_ = Descriptor();
        current_path_.clear();
    }
    while (current_path_.size() < path.size()) {
        auto const begin = current_path_.empty() ? 0 : current_path_.size() + 1;
        std::string const part(path.substr(begin, std::min(path.find('/', begin), path.size()) - begin));
        if (!step_into(part, make)) {
            int const reason = errno;
            refuse_what_stands_at(part, entry, false);
            errno = reason;
            return false;
        }
        current_path_ = path.substr(0, begin + part.size());
    }
    return true;
}

bool TreeWriter::step_into(std::string const& part, bool make) {
    auto const open = [&] { return Descriptor(::openat(current(), part.c_str(), as_way | O_NOFOLLOW)); };
    auto next = open();
    if (!next && errno == ENOENT && make) {
        if (::mkdirat(current(), part.c_str(), 0777) != 0 && errno != EEXIST) return false;
        next = open();
    }
    if (!next) return false;
    current_ = std::move(next);
    return true;
}

/// Say why something that exists cannot be used, if it is of a kind that never can.
/// \param is_last whether a file is wanted, not a directory on the way to one
void TreeWriter::refuse_what_stands_at(std::string const& part, BlobEntry const& entry, bool is_last) const {
    struct stat info {};
    if (::fstatat(current(), part.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return;
    auto const path = current_path_.empty() ? part : current_path_ + "/" + part;
    if (S_ISLNK(info.st_mode))
        refuse_entry(entry.name, fmt::format("\"{}\" in the destination is a symbolic link", shown(path)));
    if (is_last && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode))
        refuse_entry(entry.name, fmt::format("\"{}\" in the destination is no ordinary file", shown(path)));
}

void TreeWriter::writing_failed(BlobEntry const& entry) const {
    throw std::runtime_error(
        fmt::format("error writing file {}, {} bytes", (folder_ / entry.name).string(), entry.size));
}

} // namespace Zinflux::detail
