#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <vector>

#include <vexa/bf/DiskFile.h>
#include <vexa/foundation/export.h>

namespace Vexa::bf {

class RecordReader;
struct StackHeader;

/// Copies a VBF file and leaves out the room that its stacks reserved and did not use.
///
/// Works on the bytes as they stand: nothing is inflated, and only the positions that the copy moves are
/// changed. The source need not have been closed as a VBF file. It is never written, and all that can be known
/// to be wrong with it is found before the destination is opened. A failure behind that point leaves an
/// incomplete destination.
///
/// Owns: both files, while compact() runs. Memory: one block of 4 MiB, and a few words for each stack.
/// Threads: one at a time.
class VEXA_API Compacter {
public:
    /// Nothing is opened yet.
    Compacter(std::filesystem::path source, std::filesystem::path destination);
    Compacter(Compacter const&) = delete;
    Compacter& operator=(Compacter const&) = delete;
    ~Compacter();

    /// Have a function called with the bytes of each copied block; if it returns false, compact() throws. An
    /// empty function ends this.
    void set_progress_cb(std::function<bool(unsigned long)> const& callback);

    /// Write the copy, in place of an existing destination.
    /// \return false when no stack has unused room; the destination is not touched then
    /// \throws std::invalid_argument "Cannot compact a file into itself." when both paths lead to one file
    /// \throws VexaError "Could not open file: {reason}", "Failed reading {n} bytes from file: {reason}",
    ///     "Failed writing {n} bytes to file: {reason}", "Failed flushing data to file: {reason}"
    /// \throws std::runtime_error "No VBF file header found."
    /// \throws std::runtime_error "Corrupt VBF file." for records that are none, that overlap or do not follow
    ///     each other in the file, and for positions outside of it
    /// \throws std::runtime_error "Invalid footer size {}."
    /// \throws VexaError "Cannot reliably compact: File stack version newer than compacter version."
    /// \throws VexaError "Cannot compact file: VBF file is corrupt: Invalid size of used data section."
    /// \throws std::runtime_error "Cancelled by user."
    /// \note Deliberate: the copy of a stack with unused room still says where that room ended, which is now
    ///     inside of what follows. Compacting the copy again ends with "Corrupt VBF file.".
    /// \note Deliberate: stacks whose records lie interleaved, as those written chunk wise in turn, do not
    ///     follow each other: in a file that has unused room as well they are "Corrupt VBF file.".
    bool compact();

private:
    struct Record;

    void refuse_same_file() const;
    void scan_chain(RecordReader& in, unsigned long first_position);
    unsigned long scan_record(RecordReader& in, unsigned long position);
    void scan_footer(RecordReader& in, StackHeader const& header, Record& record) const;
    unsigned long unused_room() const;
    void check_layout(RecordReader& in, unsigned long header_end) const;
    void copy(unsigned long header_end);
    void copy_record(Record const& record, unsigned long moved);
    void copy_to(unsigned long position);
    void copy_pos_with_offset(unsigned long offset);
    void make_space(unsigned long n);
    void write_buffer();

    std::filesystem::path destination_path_;
    std::filesystem::path source_path_;
    std::vector<std::byte> buffer_; ///< many small records make one large write
    DiskFile source_;
    DiskFile destination_;
    unsigned long source_size_ = 0;
    std::vector<Record> records_; ///< in the order of the chain
    unsigned long read_position_ = 0;
    unsigned long filled_ = 0; ///< of the buffer; it goes out when it is full, whatever it holds
    std::function<bool(unsigned long)> progress_cb_;
};

} // namespace Vexa::bf
