#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <vexa/bf/DiskFile.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/bf/WriteModeFlags.h>
#include <vexa/foundation/export.h>

namespace Vexa::arrays {
class StackInterface;
}
namespace OME {
class Root;
}

namespace Vexa::bf {

/// A VBF file: stacks in the order they were added, a description, and named tags.
///
/// Made by Vexa::create_file() or Vexa::open_file() and held by std::shared_ptr. A file is finished by
/// close() or detach(). The destructor finishes it too, with unfinished stacks padded and without a document that
/// can't be written, but swallows what goes wrong. A file that was never finished can't be opened.
///
/// Owns: its stacks, and a stream from open(). Borrows: a stream from attach(), until detach().
/// Failures: std::runtime_error "File not open." without a stream; VexaError "Failed reading {n} bytes from
/// file: {reason}", "Failed writing {n} bytes to file: {reason}", "Failed flushing data to file: {reason}",
/// "Failed seeking in file: {reason}". A length or count in a file that the file cannot hold is told like a
/// read that comes up short, before any memory is taken for it.
/// Threads: a file and all of its stacks belong to one thread at a time. The library starts none.
class VEXA_API FileInterface {
public:
    /// Where the value of a tag stands in the file.
    struct TagFileLocation {
        std::uint64_t position = 0;
        std::uint32_t length = 0;
    };

    /// What new stacks start with.
    WriteMode default_write_mode;
    std::int32_t default_compression_type = 0;
    std::int32_t default_compression_level = 1;

    /// Work on a stream of the caller, from where it stands; positions in the file stay absolute. After an
    /// exception the stream stays attached.
    /// \throws what open() throws
    virtual void attach(FILE* stream, DiskFile::Mode mode) = 0;
    /// Open a file. One that can't be read as VBF is closed again. To read, a path that ends in ".dbl" is taken
    /// for a file of the older array format, which has one stack and no tags.
    /// \throws std::runtime_error "File already open or attached."
    /// \throws std::runtime_error "Invalid file mode."; "Invalid opening mode." from attach()
    /// \throws VexaError "Could not open file: {reason}"
    /// \throws std::runtime_error "Error reading .dbl file."
    /// \throws std::runtime_error "No VBF file header found."
    /// \throws std::runtime_error "File incomplete. Metadata missing." for a file that was never finished
    /// \throws std::runtime_error "Invalid stack position specified in header." for a chain of stacks that
    ///     leads nowhere or in circles
    /// \throws std::runtime_error "Corrupt VBF file." when the stacks' records share bytes
    /// \throws std::runtime_error of a stack's record: "Stack header not in VBF format.", "Invalid stack rank
    ///     {}.", "The product exceeds the maximum size.", "Invalid footer size {}.", "Cannot read stack with
    ///     file format reader version {}. Need >= {}."
    virtual void open(std::filesystem::path const& path, DiskFile::Mode mode) = 0;
    /// Write the file header and finish every unfinished stack, which must have all its samples. Leaves the
    /// buffer of the stream alone; without effect on a file that is not writable.
    virtual void flush() = 0;
    /// Finish stacks and file, flush the stream and close it. On an exception the file stays open.
    /// \throws std::runtime_error "Not enough samples written." for a stack that lacks samples
    /// \throws VexaError "Failed flushing data to file: {reason}"
    /// \throws std::runtime_error "File not opened with open(), cannot close."
    /// \note Deliberate: closing a file that was opened with mode modify writes the position of its new tag
    ///     list over the first 8 bytes, so that it can't be opened again.
    virtual void close() = 0;
    /// As close(), but hand the stream over in place of closing it: behind the last byte written, or behind
    /// the tag list of a file that was read.
    /// \return null without a stream
    virtual FILE* detach() = 0;
    /// Set how many bytes are moved between two progress reports, 4 MiB at first. It bounds the buffers too;
    /// a block has one sample at least.
    virtual void set_chunk_size(unsigned long n) = 0;
    /// \throws std::runtime_error "Read-only handle specified in write function."
    /// \throws std::runtime_error "Header already written. Cannot set file description."
    virtual void set_file_desc(std::string const& description) = 0;
    virtual void get_file_desc(std::string& description) const = 0;
    virtual unsigned long get_num_stacks() const = 0;
    /// Whether the stream came with attach().
    virtual bool is_attached() const = 0;
    /// Have a function called with the bytes of each moved block; if it returns false, the write or read
    /// throws. An empty function ends this, here and below.
    virtual void set_progress_cb(std::function<bool(unsigned long)> const& callback) = 0;
    /// Read the value of a tag. The position of the stream stays.
    virtual std::string read_tag(TagFileLocation location) = 0;
    /// Have the locations of all tags handed over when a file is opened, instead of their values being
    /// loaded.
    virtual void
    set_read_metadata_cb(std::function<void(std::map<std::string, TagFileLocation>)> const& callback) = 0;
    /// Begin a tag of a length not yet known, at the current position.
    /// \throws std::invalid_argument "Empty tag key."
    virtual void start_tag(std::string const& key) = 0;
    /// Add to the value of the open tag.
    /// \note Deliberate: its length counts modulo 4 GiB.
    virtual void write_tag_data(char const* data, unsigned long n) = 0;
    /// End the open tag.
    virtual void end_tag() = 0;
    /// Have a function called when the file is finished, which writes tags with write_tag() or start_tag(),
    /// write_tag_data() and end_tag() in place of those from set_tag().
    virtual void set_write_metadata_cb(std::function<void()> const& callback) = 0;
    /// Move the stream to the end of a stack.
    /// \return the position
    /// \throws std::runtime_error "File must be open in read mode to allow seeking to end of file."
    /// \throws std::runtime_error "Invalid stack number."
    virtual unsigned long seek_to_end_of_stack(unsigned int index) = 0;

    /// Add a stack. Earlier stacks are finished, except those that may stay open beside it: reserved ones,
    /// and chunk wise ones if the new one is chunk wise too. Nothing of the new stack is written before its
    /// first write().
    /// \param type 0 leaves the type to the first write
    /// \param shape up to 15 axes; a last axis of 0 makes the stack grow
    /// \param data_less the stack has a description only and reads as zeros
    /// \throws std::runtime_error "File not open for writing."
    /// \throws std::invalid_argument "A stack in a file can have at most 15 axes."
    /// \throws std::runtime_error "The product exceeds the maximum size."
    /// \throws VexaError "Cannot add next stack: Previous stack has undetermined data type."
    /// \throws VexaError "Cannot add next stack: Could not start chunk wise writing on previous stack."
    /// \throws what write_end() of an earlier stack throws
    /// \throws what metadata() throws, in a file that keeps a document; and what fill_type() and fill_shape() throw
    ///     for a stack that no image can describe, see why_no_image()
    /// \note Deliberate: the stack is there after a failure of its image. It is the last one, nothing of it is on
    ///     disk, and like any other it must be written, or truncated, before the next is added or the file closed.
    virtual std::shared_ptr<StackInterface> add_stack(int type, std::vector<unsigned long> const& shape,
                                                      bool data_less) = 0;
    /// Add a stack with a copy of a description.
    /// \param type 0 takes the type of the description
    virtual std::shared_ptr<StackInterface> add_stack(Vexa::arrays::StackInfoInterface const& info, int type,
                                                      bool data_less) = 0;
    /// Add a stack with a write mode of its own.
    virtual std::shared_ptr<StackInterface> add_stack(int type, std::vector<unsigned long> const& shape,
                                                      WriteMode write_mode, bool data_less) = 0;
    virtual std::shared_ptr<StackInterface> add_stack(Vexa::arrays::StackInfoInterface const& info,
                                                      WriteMode write_mode, int type, bool data_less) = 0;
    /// \throws VexaError "Invalid stack index '{}'."
    virtual std::shared_ptr<StackInterface> get_stack(unsigned long index) const = 0;
    /// Add a stack with the description and all samples of \p source, which is not kept.
    /// \param type the stored type; 0 takes the source's
    /// \throws std::invalid_argument "No stack given."
    virtual void write_stack(Vexa::arrays::StackInterface const* source, int type) = 0;
    /// Read a whole stack into memory.
    /// \param type the type in memory; 0 takes the stored one
    virtual std::shared_ptr<Vexa::arrays::StackInterface> read_stack(unsigned long index, int type) const = 0;
    /// Write a tag at the current position.
    /// \throws std::invalid_argument "Empty tag key."
    virtual void write_tag(std::string const& key, std::string const& value) = 0;
    /// Set who compresses and decompresses.
    virtual void set_threading_support(ThreadingSupport support) = 0;
    virtual DiskFile::Mode mode() = 0;
    virtual bool is_open() = 0;

    virtual ~FileInterface();

    /// The file's OME document, which has an image for each stack that was added, in their order. It is the
    /// tag "ome_xml", read when it is first asked for, or a new one without that tag; in a file that can be
    /// written it becomes that tag again when the file is finished.
    ///
    /// To put another document in its place, set the tag before the document is asked for and before stacks are
    /// added. Assigning to it copies only what has a class.
    ///
    /// Owns: the file, until it is opened anew or, once closed, until a tag is set.
    /// \throws what OME::Root::Root() throws for a damaged document; the stacks stay within reach
    virtual OME::Root& metadata() = 0;
    /// Set a tag in memory; it reaches the disk when the file is finished, unless the file was made without
    /// metadata. Tags set before open() count for the file opened next; those of a file that was closed are
    /// forgotten with the next open() or set_tag().
    /// \throws std::invalid_argument "Empty tag key.", since an empty key ends the list on disk
    virtual void set_tag(std::string const& key, std::string const& value) = 0;
    /// \throws std::out_of_range for an unknown key
    virtual std::string tag(std::string const& key) const = 0;
};

} // namespace Vexa::bf

namespace Vexa {

/// Make a file object, not yet open.
/// \param no_metadata neither write nor load tags, and keep no OME document in line with the stacks. Without
/// it, stacks need a type and a shape that OME knows, see why_no_image().
VEXA_API std::shared_ptr<bf::FileInterface> create_file(bool no_metadata);

/// Make a file object and open it.
/// \throws what bf::FileInterface::open() throws
VEXA_API std::shared_ptr<bf::FileInterface> open_file(std::filesystem::path const& path,
                                                      bf::DiskFile::Mode mode);

/// Copy a VBF file without the room that its stacks reserved and did not use, see bf::Compacter.
/// \return false when there is no such room; the destination is not touched then
/// \throws what bf::Compacter::compact() throws
VEXA_API bool copy_file_if_sparse(std::filesystem::path const& source,
                                  std::filesystem::path const& destination);

} // namespace Vexa
