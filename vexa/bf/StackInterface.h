#pragma once

#include <utility>
#include <vector>

#include <vexa/arrays/StackInfoInterface.h>
#include <vexa/foundation/export.h>

namespace Vexa::bf {

/// Where a stack is on its way to the disk, see StackInterface::io_status(). No stack goes back.
namespace stack_status {
inline constexpr int unread = -1;            ///< made for reading, header not yet read
inline constexpr int complete = 0;           ///< footer on disk; the samples can be read
inline constexpr int uncommitted = 1;        ///< nothing on disk; settings can still change
inline constexpr int writing = 2;            ///< ordinary sequential writing
inline constexpr int reserved = 3;           ///< writing into room that reserve() set aside
inline constexpr int chunk_wise_writing = 4; ///< writing with WriteModeFlags::chunk_wise
} // namespace stack_status

/// A stack in a file: its description, and the traffic of its samples.
///
/// Counts and positions are in samples, axis 0 fastest. `type` is always the type code of the caller's
/// buffers; samples are converted on the way when the stack has another one. `re` holds whole samples, or the
/// real parts of complex samples when `im` is given, which then holds their imaginary parts.
///
/// A last axis of size 0 at creation makes a stack of variable size: it grows by one plane (the product of
/// the other axes) each time a plane is full.
///
/// The first write commits the stack: its header goes to disk and the description is locked. When the last
/// sample is there, the footer follows, and with it labels, units and tags.
///
/// Owns nothing of the file, which may be closed at any time.
/// Failures: every operation on the file throws std::runtime_error "Cannot access File_Stack, file has been
/// closed." when the file object is gone or has been opened anew, and "File not open." when it is closed.
/// What the disk layer and zlib report passes through.
/// Threads: as the file, one at a time.
class VEXA_API StackInterface : public virtual Vexa::arrays::StackInfoInterface {
public:
    /// In place of `re` or `im` when writing: as many zeros as are asked for.
    static inline void* const zeros = reinterpret_cast<void*>(-1l);
    /// As a count: all samples.
    static constexpr unsigned long all = static_cast<unsigned long>(-1);
    /// As a position: go on behind the last read.
    static constexpr unsigned long go_on = static_cast<unsigned long>(-2);
    /// What a position becomes when a read reached the end.
    static constexpr unsigned long at_end = static_cast<unsigned long>(-1);

    ~StackInterface() override;

    /// Write the next \p n samples; the last one completes the stack.
    ///
    /// A stack of open type (0) takes \p type with its first write, complex if \p im is given. A first write
    /// of \ref all samples writes the whole stack. \p n of 0 finishes the stack, which must have all its
    /// samples, and whole planes if it is of variable size. After an exception samples_written() tells what
    /// was counted before it; after a failed check the stack is committed all the same.
    /// \throws std::runtime_error "File pointer at invalid position encountered." when the stream was moved
    ///     since the last write, unless the stack is chunk wise or reserved
    /// \throws std::runtime_error "Stack is already complete. Invalid call to write()."
    /// \throws std::runtime_error "Stack not ready to be committed. Meta-information missing."
    /// \throws std::runtime_error "Trying to write to empty stack." for samples of a data-less stack
    /// \throws std::runtime_error "Stack data type not set. Cannot commit stack to file."
    /// \throws std::runtime_error "Unknown type of elements." for samples of a type without element size
    /// \throws std::runtime_error "Invalid stack size: Larger than the addressable memory."
    /// \throws std::runtime_error "Imaginary block given but buffer is already complex."
    /// \throws std::runtime_error "Imaginary block given but stack is not complex."
    /// \throws std::runtime_error "Trying to write more samples than the stack is long."
    /// \throws std::runtime_error "No samples given." for a null \p re with samples to write
    /// \throws std::runtime_error "Not enough samples written." when finishing
    /// \throws std::runtime_error "Not on sample boundary." when finishing within a plane
    /// \throws std::runtime_error "Invalid on-the-fly conversion from '{}' to '{}'." with the names of the
    ///     types
    /// \throws std::runtime_error "Cancelled by user." when the progress callback of the file returns false;
    ///     the block before it is on disk, but not counted
    virtual void write(int type, void const* re, void const* im, unsigned long n) = 0;
    /// Finish the stack: write(type, nullptr, nullptr, 0).
    virtual void write_end(int type) = 0;
    /// Finish the stack, filling what is missing with zeros: all samples, or the open plane of a stack of
    /// variable size. With WriteModeFlags::no_padding the zeros are not written.
    virtual void truncate() = 0;
    /// As truncate(), but a stack of variable size is filled up to a multiple of \p k samples.
    /// \throws std::runtime_error "Custom varsize chunk size must be multiple of default chunk size" unless
    ///     \p k is a multiple of a plane, and not 0
    virtual void truncate_at(unsigned long k) = 0;
    /// Set room aside for the rest of the samples, \p extra bytes and a margin of 2 MiB, so that the next
    /// stack can begin behind it. Commits the stack if nothing is on disk yet. A stack without samples, which
    /// is complete with that, gets no room.
    /// \throws std::runtime_error "Cannot reserve space: Stack is in an invalid state."
    /// \throws std::runtime_error "Cannot reserve space: Stack is already completely written to disk."
    /// \throws std::runtime_error "Cannot reserve space: The last dimension of the stack is variable sized."
    /// \throws std::runtime_error "Cannot reserve space: Stack was created as data less."
    /// \throws std::runtime_error "Cannot reserve space: The data type of the stack is not (yet) determined."
    /// \throws std::runtime_error "Invalid attempt to reserve space: Stack is written chunk wise."
    /// \throws std::runtime_error "Cannot reserve space: Other data stand in the way." when the room would
    ///     reach into what was written behind this stack
    /// \throws std::runtime_error "The offset exceeds the maximum offset." for room no file can have
    virtual void reserve(unsigned long extra) = 0;
    /// The samples counted so far; for a stack that was read, those in the file.
    virtual unsigned long samples_written() const = 0;

    /// Read \p n samples from \p pos on, fewer at the end of the stack. Samples that were never written are
    /// zeros. The position of the stream is restored.
    /// \param[in,out] pos becomes the position behind what was read, or \ref at_end at the end of the stack.
    ///     The value \ref go_on stands for the position behind the last read.
    /// \note Deliberate: \p pos stays as it is for a data-less stack, which delivers zeros for ever.
    /// \return the number of samples delivered
    /// \throws std::runtime_error "Invalid position (-1) passed. Possible reason: Last read call exhausted
    ///     data."
    /// \throws std::runtime_error "Stack not committed to disk. Cannot read." unless the stack is complete
    /// \throws std::runtime_error "Imaginary buffer passed but buffer type is already complex."
    /// \throws std::runtime_error "Imaginary buffer passed but stack is not complex."
    /// \throws std::runtime_error "Invalid position in segment." for a position behind the end
    /// \throws std::runtime_error "No buffer given." for a null \p re with samples to read
    /// \throws std::runtime_error "Unknown type of elements." for a type without element size
    /// \throws std::runtime_error "Invalid compression type specified." for a compression this library
    ///     doesn't know
    /// \throws std::runtime_error "Invalid chunk records.", "Invalid flush positions.", "Trying to
    ///     read beyond segment boundary." or "Invalid stack size: Larger than the addressable memory." for a
    ///     damaged stack
    /// \throws std::runtime_error "Invalid on-the-fly conversion from '{}' to '{}'."
    /// \throws std::runtime_error "Cancelled by user."
    virtual unsigned long read(int type, void* re, void* im, unsigned long n, unsigned long& pos) const = 0;
    /// Read the whole stack.
    virtual unsigned long read(int type, void* re, void* im) const = 0;

    /// Where the compressed blocks of a range of the samples' bytes stand in the file, for who copies deflate
    /// data as they are: pairs of begin and end. The header of the zlib stream is left out.
    /// \param range first and behind the last byte of the uncompressed data, both multiples of the flush
    ///     block size
    /// \throws std::runtime_error "No flush blocks available"
    /// \throws std::runtime_error "Requested range is not flush point aligned, empty or has not yet been
    ///     written"
    virtual std::vector<std::pair<unsigned long, unsigned long>>
    get_aligned_compressed_chunk_ranges(std::pair<unsigned long, unsigned long> range) = 0;

    /// \param type 0 none, 1 zlib.
    /// \param level 1 to 9 for zlib; 0 and below stand for no compression, values above 9 for 9
    /// \throws std::runtime_error "Cannot change compression mode." once the stack is committed
    virtual void set_compression(int type, int level) = 0;
    virtual void get_compression(int& type, int& level) const = 0;
    /// Set how many bytes of samples make one block that can be decompressed by itself.
    /// \param size 0 for no blocks, all ones for a choice between 64 and 256 KiB that fits the shape
    /// \throws std::runtime_error "Flush block size can only be set before starting to write."
    virtual void set_flush_block_size(unsigned long size) = 0;
    /// One of the values in Vexa::bf::stack_status.
    virtual int io_status() = 0;
};

} // namespace Vexa::bf
