#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include <vexa/foundation/field_internal.h>
#include <vexa/zinflux/Archive.h>

/// The work of Blob and Archive, with the limits that the public functions set.
namespace Zinflux::detail {

/// The block that a blob starts with.
struct HeaderLayout {
    static constexpr Vexa::Field<std::array<char, 7>> signature{0};
    static constexpr Vexa::Field<std::uint32_t> version{signature.end()};
    static constexpr Vexa::Field<std::int64_t> creation_time{version.end()};
    static constexpr Vexa::Field<std::array<char, 128>> reserved{creation_time.end()};
    static constexpr std::size_t size = reserved.end();
};
static_assert(HeaderLayout::version.offset == 7 && HeaderLayout::creation_time.offset == 11);
static_assert(HeaderLayout::reserved.offset == 19 && HeaderLayout::size == 147);
static_assert(offsetof(Blob::Header, version) == 8 && offsetof(Blob::Header, creation_time) == 16);
static_assert(offsetof(Blob::Header, reserved) == 24 && sizeof(Blob::Header) == 152);

/// Lengths in a blob are signed.
using Length = std::int64_t;
/// Behind the name of an entry: 1 for a directory.
using Flag = std::uint8_t;
/// What stands in place of the next length of a name.
inline constexpr Length end_mark = 0;

/// As a size: as much as it takes. For buffers whose owner vouches for them.
inline constexpr std::size_t unlimited = PTRDIFF_MAX;

/// What moves between two reports of progress.
inline constexpr std::size_t piece_bytes = 8 << 20;

/// Write the blob of a tree.
/// \return its size
/// \throws std::runtime_error "the tree {} changed while it was packed" when \p size bytes don't hold it
std::size_t fill_blob(Blob::Header const& header, char* buffer, std::size_t size,
                      std::filesystem::path const& root, Archive::Progress const& progress);

/// Write the tree of a blob that ends within \p size bytes. Everything is checked before anything is written.
Blob::Header write_tree(char const* blob, std::size_t size, std::filesystem::path const& destination,
                        Archive::Progress const& progress);

} // namespace Zinflux::detail
