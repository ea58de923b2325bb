#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <vexa/zinflux/blob_reader_internal.h>
#include <vexa/zinflux/descriptor_internal.h>

namespace Zinflux::detail {

/// Writes entries below a folder, and nowhere else.
///
/// Each part of a name is opened relative to the one before, and none through a symbolic link: what was checked
/// is what is used, also if somebody puts links into the folder at the same time.
///
/// Owns: descriptors of the folder and of the directory used last, in which the next entry mostly lies.
/// Failures: std::runtime_error "cannot unpack \"{}\": {}", "error writing file {}, {} bytes";
/// std::filesystem::filesystem_error for directories that cannot be made.
class TreeWriter {
public:
    /// Makes the folder unless it is there.
    explicit TreeWriter(std::filesystem::path const& folder);

    /// \param progress called for each piece of a file; may be empty
    void write(BlobEntry const& entry, Archive::Progress const& progress);

private:
    void make_directory(BlobEntry const& entry);
    void write_file(BlobEntry const& entry, Archive::Progress const& progress);
    Descriptor open_file(BlobEntry const& entry);
    bool enter(std::string_view path, BlobEntry const& entry, bool make);
    bool step_into(std::string const& part, bool make);
    int current() const { return current_ ? current_.get() : root_.get(); }
    void refuse_what_stands_at(std::string const& part, BlobEntry const& entry, bool is_last) const;
    [[noreturn]] void writing_failed(BlobEntry const& entry) const;

    std::filesystem::path folder_;
    Descriptor root_;
    Descriptor current_; ///< none: the folder itself
    std::string current_path_;
};

} // namespace Zinflux::detail
