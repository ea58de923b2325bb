#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// A data section that may lie in pieces, seen as one continuous device.
///
/// Positions are logical: those the bytes would have in the file without the gaps between the pieces. The
/// section starts at the same value in both counts.
/// Borrows: the device below, from initialize() on; it must outlive the use of the segment.
/// Invariants: chunks, pairs of (logical position, file position), ascend in both values and do not overlap;
/// the first is (start, start). Chunk records are the others, relative to the first. Failures:
/// std::runtime_error; before initialize() every operation that needs the device below throws "Chunked
/// segment is not initialized.".
class VEXA_API ChunkedSegment final : public DiskFileAccess {
public:
    using Chunk = std::pair<unsigned long, unsigned long>;
    using Chunks = std::vector<Chunk>;
    using Range = std::pair<unsigned long, unsigned long>;

    ChunkedSegment() = default;
    ChunkedSegment(ChunkedSegment const&) = delete;
    ChunkedSegment& operator=(ChunkedSegment const&) = delete;

    /// Start writing where \p file stands.
    /// \param chunk_wise whether \p file may be moved forward between two writes, which starts a new chunk.
    /// \param no_flush whether to leave out flush_file_buffers() after each write.
    /// \throws std::runtime_error "Cannot initialize: No write access to file."
    void initialize(DiskFileAccess& file, bool chunk_wise, bool no_flush);
    /// Start reading.
    /// \param start file position of the section.
    /// \param records as chunk_positions() gave them.
    /// \throws std::runtime_error "Cannot initialize: No read access to file."
    /// \throws std::runtime_error "Invalid chunk records." if they are unsorted, overlap or exceed 64 bits;
    ///         nothing is changed then
    void initialize(DiskFileAccess& file, unsigned long start, Chunks const& records);
    /// The same; keeps an empty pair of braces from being taken for a false `no_flush`.
    void initialize(DiskFileAccess& file, unsigned long start, std::initializer_list<Chunk> records) {
        initialize(file, start, Chunks(records));
    }

    bool is_open_for_reading() const override { return file_ && !write_mode_; }
    bool is_open_for_writing() const override { return file_ && write_mode_; }
    /// The logical position.
    unsigned long tell() const override { return logical_position_; }
    /// \note Deliberate: if the file is open for writing, this forgets all chunks behind \p pos, also while
    /// the segment only reads.
    /// \throws std::runtime_error "Cannot seek beyond current position in write mode."
    /// \throws std::runtime_error "Position out of range in chunked segment."
    unsigned long seek(unsigned long pos) override;
    /// \note Deliberate: a read that ends where a chunk starts moves on to that chunk.
    void read(void* buffer, unsigned long n) override;
    /// Write where the file stands, which must be behind the last byte written. A new chunk is recorded
    /// before its bytes go out, and stays if that fails.
    /// \throws std::runtime_error "File pointer has moved but chunk-wise writing not allowed."
    /// \throws std::runtime_error "File pointer moved backwards."
    void write(void const* buffer, unsigned long n) override;
    /// Does nothing: each write flushes, unless told not to.
    void flush_file_buffers() override {}
    ThreadingSupport const& threading_support() const override;

    /// The logical position of a file position. A position in a gap counts from the chunk before it.
    /// \throws std::runtime_error "File position not inside chunk." before the first chunk
    unsigned long to_chunk_position(unsigned long file_pos) const;
    /// The records to keep: all chunks but the first, relative to it.
    Chunks chunk_positions() const;
    /// Where a part of the section lies in the file.
    /// \param records,start what initialize() would take; used only while there are no chunks in memory.
    /// \param size end of the last chunk, as an offset from the section's start.
    /// \param range begin and end as logical offsets from the section's start.
    /// \return absolute file positions of begin and end, in order.
    /// \note Deliberate: a section in one piece yields one range, even if it is empty.
    /// \throws std::runtime_error "Unexpectedly missing chunk" if \p range does not lie inside of the section
    /// \throws std::runtime_error "Invalid chunk records."
    std::vector<Range> get_aligned_compressed_chunk_ranges(Chunks const& records, unsigned long start,
                                                           unsigned long size, Range range) const;

private:
    void initialize_chunk_positions(unsigned long start);
    DiskFileAccess& require_file() const;

    bool write_mode_ = false;
    bool chunk_wise_ = false;
    bool no_flush_ = false;
    DiskFileAccess* file_ = nullptr;
    Chunks chunks_;
    unsigned long logical_position_ = 0;
    unsigned long file_position_ = 0;
    std::size_t current_index_ = 0;
};

} // namespace Vexa::bf
