#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <vexa/zinflux/blob_internal.h>

namespace Zinflux::detail {

/// Bytes of a name, ends included.
inline constexpr std::size_t longest_name = 4095;
/// Bytes between two separators.
inline constexpr std::size_t longest_part = 255;

/// An entry of a blob, its name checked.
struct BlobEntry {
    std::string
        name; ///< relative, "/" between its parts, none of them empty, "." or ".."; empty for the root
    bool is_directory = false;
    char const* content = nullptr;
    std::size_t size = 0;
};

/// Walks through the entries of a blob.
///
/// Borrows: the blob. Every length is read once and a name is copied before it is looked at, so that a blob in
/// shared memory that changes meanwhile is caught too.
class BlobReader {
public:
    /// \param size the blob must end within as many bytes
    /// \throws std::runtime_error "cannot unpack blob: {}"
    BlobReader(char const* blob, std::size_t size);

    Blob::Header const& header() const { return header_; }
    /// Read the next entry.
    /// \return false at the end mark
    /// \throws std::runtime_error "cannot unpack blob: {}" or "cannot unpack \"{}\": {}" with its name
    bool next(BlobEntry& entry);
    /// Bytes up to and with the last thing read.
    std::size_t position() const { return position_; }

private:
    char const* take(std::size_t n, char const* what);
    template <typename T>
    T value(char const* what);
    std::string name(Length n);

    char const* blob_;
    std::size_t size_;
    std::size_t position_ = 0;
    Blob::Header header_;
};

/// A name as it is shown in messages: shortened, control characters as \xNN.
std::string shown(std::string_view name);
/// \throws std::runtime_error "cannot unpack \"{}\": {}"
[[noreturn]] void refuse_entry(std::string_view name, std::string_view reason);

} // namespace Zinflux::detail
