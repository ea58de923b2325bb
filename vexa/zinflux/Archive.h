#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <vexa/arrays/StackImp.h>
#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace Zinflux {

/// A directory tree flattened into one run of bytes: a header, an entry for each file and directory in the
/// order of std::filesystem::recursive_directory_iterator, and an end mark.
///
/// What packing makes of each kind of file:
/// - directories and ordinary files, empty ones too, come back as such; permissions, owners and times don't;
/// - a symbolic link is taken for what it leads to: a file with that content, or a directory, which comes back
///   empty, since the walk does not descend into it (\note Deliberate: links are followed when packing only);
/// - a link that leads nowhere, a FIFO, a socket and a device are refused by std::filesystem::file_size() with
///   std::filesystem::filesystem_error. They are never opened.
///
/// What unpacking trusts: the destination, which may be reached through symbolic links, and the bytes of the
/// caller's own buffer as told at buffer_to_fs(). It does not trust what stands in the blob: all entries are
/// checked before the first one is written, and nothing is written outside the destination, whatever a blob
/// says and whatever symbolic links the destination holds.
///
/// Failures: std::runtime_error with the texts given here; std::filesystem::filesystem_error for a tree that
/// cannot be walked and for directories that cannot be made. What was written before stays.
/// Threads: no state; calls are independent of each other.
class VEXA_API Blob {
public:
    /// The first fields of a blob, aligned for use in memory.
    struct VEXA_API Header {
        /// What every blob starts with, its terminating zero included.
        static constexpr char zfxdta_signature[7] = "ZFXDTA";

        char signature[7] = {};
        std::uint32_t version = 0;
        std::int64_t creation_time = 0; ///< seconds since the epoch
        char reserved[128] = {};        ///< zero in all that this library writes; kept as read

        /// The header of a blob made now: version 3.
        static Header make_current_zfxdta();
    };

    /// A file or directory in a blob.
    struct Entry {
        std::string name; ///< relative to the root, with "/" between its parts
        bool is_directory = false;
        std::uint64_t size = 0; ///< of a file, in bytes
        bool operator==(Entry const&) const = default;
    };

    /// The bytes of the blob of a tree.
    /// \throws std::filesystem::filesystem_error
    static std::size_t get_fs_size(std::filesystem::path root);

    /// Write the blob of a tree.
    /// \param buffer has get_fs_size() bytes at least
    /// \param size is not looked at
    /// \throws std::runtime_error "error writing file {}, {} bytes" with path and size of a file that cannot be
    /// read to its end
    /// \throws std::filesystem::filesystem_error
    /// \note Deliberate: \p size is no limit, and "writing" stands for reading. A tree that grows behind
    /// get_fs_size() outgrows the buffer; Archive::pack() is guarded against that.
    static void fs_to_buffer(Header header, char* buffer, std::size_t size,
                             std::filesystem::path const& root);

    /// Write the tree of a blob. Directories that are there are used, files are overwritten in place.
    /// \param buffer is read up to the end mark; lengths in the blob that lead beyond the buffer go undetected
    /// \param size is not looked at
    /// \throws std::runtime_error "error writing file {}, {} bytes" with path and size
    /// \throws std::runtime_error "cannot unpack \"{}\": {}" with the name of an entry that is absolute, has a
    /// ".." or a zero byte in it, is too long, has a negative size, or leads through a symbolic link or
    /// to something that is no ordinary file
    /// \throws std::runtime_error "cannot unpack blob: {}"
    /// \throws std::filesystem::filesystem_error
    /// \note Deliberate: \p size is no limit; Archive::unpack() is guarded by the size of the stack.
    /// \note Deliberate: a backslash in a name separates its parts, as "/" does.
    /// \note Deliberate: missing directories are made for directories only; a file whose directory has no entry
    /// of its own fails.
    /// \note Deliberate: neither signature nor version is looked at.
    static Header buffer_to_fs(char const* buffer, std::size_t size,
                               std::filesystem::path const& destination);
};

/// A blob as the samples of a square stack of bytes, with a tag "zinflux" that says what it holds.
///
/// Unlike Blob, it knows how long its memory is: neither a tree that changes nor an archive that lies makes it
/// read or write beyond the stack. The blob is never copied: packing fills the stack, unpacking writes from it.
/// Threads: no state; a stack belongs to one thread at a time.
class VEXA_API Archive {
public:
    /// Called now and then with the bytes that were done since the last call. What it throws ends the work.
    using Progress = std::function<void(std::size_t bytes)>;

    /// Called with each entry of an archive in order.
    using Visitor = std::function<void(Blob::Entry const& entry)>;

    /// What an archive holds in all.
    struct Contents {
        Blob::Header header;
        std::size_t files = 0;
        std::size_t directories = 0;
        std::uint64_t file_bytes = 0; ///< of the content of all files
        std::size_t size = 0;         ///< of the blob in bytes, end mark included
    };

    /// Pack a tree. The stack has the shape {n, n, 1, 1}, zeros behind the blob, and a tag "zinflux" with
    /// "aid", "did", "label", "sid" (at first the same as "did") and "type" ("data").
    /// \note Deliberate: a tree without the file that read_did() reads has the empty "did", although read_did()
    /// itself fails.
    /// \throws what read_did(), Blob::get_fs_size() and Blob::fs_to_buffer() throw
    /// \throws std::runtime_error "the tree {} changed while it was packed"
    static std::shared_ptr<Vexa::arrays::StackInterface> pack(std::filesystem::path const& root,
                                                              std::string const& label, std::string aid);
    static std::shared_ptr<Vexa::arrays::StackInterface> pack(std::filesystem::path const& root,
                                                              std::string const& label, std::string aid,
                                                              Progress const& progress);

    /// Write the tree of an archive. An archive with a fault in any entry is refused before anything is
    /// written.
    /// \throws std::runtime_error "cannot unpack empty stack" for a null pointer and a stack without memory
    /// \throws std::runtime_error "signature mismatch"
    /// \throws std::runtime_error "cannot unpack blob: {}" for an archive that ends too early
    /// \throws what Blob::buffer_to_fs() throws
    static Blob::Header unpack(std::shared_ptr<Vexa::arrays::StackInterface const> stack,
                               std::filesystem::path const& destination);
    static Blob::Header unpack(std::shared_ptr<Vexa::arrays::StackInterface const> stack,
                               std::filesystem::path const& destination, Progress const& progress);

    /// Look into an archive, with the checks of unpack().
    /// \param visit is called with the entries before a fault, too
    /// \throws what unpack() throws before it writes
    static Contents contents(std::shared_ptr<Vexa::arrays::StackInterface const> stack);
    static Contents contents(std::shared_ptr<Vexa::arrays::StackInterface const> stack, Visitor const& visit);

    /// The data identifier of a tree: the text under "did" in its file zarr/zfx/.zattrs; empty without such a
    /// member.
    /// \throws std::runtime_error "Incomplete Json::Value read." when the file is missing or ends too early
    /// \throws std::bad_variant_access "bad variant access" when it holds something else than an object or
    /// null, or "did" something else than text or null
    /// \throws JSON::Reader::Unexpected
    static std::string read_did(std::filesystem::path const& root);

    /// The identifier of the data of a tag: "aid", or where there is none, "did" if "sid" is the same. Empty
    /// otherwise. Members that are no text count as empty.
    static std::string infer_data_aid(JSON::Value const& tag);
    /// "sid" if it differs from "did", otherwise empty.
    static std::string infer_liveview_sid(JSON::Value const& tag);
};

} // namespace Zinflux

namespace Vexa {

/// A copy of the tag "zinflux".
/// \throws std::invalid_argument "No stack given." for a null pointer
/// \throws std::bad_variant_access "std::get: wrong index for variant" without a JSON value under that key
/// \note Deliberate: on a stack without the tag the failed call leaves one, which holds a default VProp.
VEXA_API JSON::Value get_zinflux(std::shared_ptr<arrays::StackInterface> stack);

} // namespace Vexa
