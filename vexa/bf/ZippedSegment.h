#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <vector>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

class ZStream;
struct ZStreams;

/// The data section of a stack, seen as a device whose positions count uncompressed bytes.
///
/// At a level of 0 or below the section is a plain view on the device below. Above it is one zlib stream.
/// With a flush block size, that many uncompressed bytes at a time are closed by a full flush, so that a
/// block ends on a byte boundary and depends on nothing before it. Flush position i is the offset, from the
/// section's start, of the first compressed byte behind block i; there is one for each full block. They let a
/// reader inflate from the nearest block on, and they let blocks be deflated and inflated side by side.
///
/// Owns: its zlib streams. Borrows: the device below, from initialize() to end(), and the buffers of a call.
/// Units: bytes, uncompressed unless the name says file or segment. All ones in a size means "unknown".
/// Failures: std::runtime_error. Failures of the device below pass through. After a failed write of
/// compressed data the section is damaged. After a failed read the next read or seek starts afresh. Threads:
/// one at a time. With a flush block size and ThreadingSupport::number_of_threads above 1, deflation and
/// inflation go to ThreadingSupport::execute; no work is left behind when a call returns or throws.
/// \note
/// Deliberate: with several streams the output of a block is bounded by the block size, so that data that
/// does not shrink cannot be written.
class VEXA_API ZippedSegment : public DiskFileAccess {
public:
    static constexpr unsigned long unknown = std::numeric_limits<unsigned long>::max();

    ZippedSegment();
    ZippedSegment(ZippedSegment const&) = delete;
    ZippedSegment& operator=(ZippedSegment const&) = delete;
    virtual ~ZippedSegment();

    /// Start writing where \p file stands.
    /// \throws std::runtime_error "Cannot initialize: No write access to file."
    void initialize(DiskFileAccess& file, int level);
    /// Start reading.
    /// \param start position of the section in \p file.
    /// \param segment_size its length there.
    /// \throws std::runtime_error "Cannot initialize: No read access to file."
    void initialize(DiskFileAccess& file, int level, unsigned long start, unsigned long segment_size,
                    unsigned long uncompressed_size);
    /// Limit the room for writing.
    /// \param pos position in the device below, exclusive.
    /// \throws std::runtime_error "Cannot set file boundary on uninitialized zipped segment."
    /// \throws std::runtime_error "Cannot set file boundary before current write position."
    void set_file_boundary(unsigned long pos);
    /// Cut what will be written into flush blocks; 0 means none. Without effect at level 0.
    /// \throws std::runtime_error "Setting flush block size only possible in write mode."
    /// \throws std::runtime_error "Setting flush block size not possible after writing has started."
    void set_flush_block_size(unsigned long size);
    /// Tell a reader where the flush blocks end. There may be fewer positions than full blocks.
    /// \throws std::runtime_error "Cannot set flush positions: Not in read mode."
    /// \throws std::runtime_error "Invalid flush positions." if they do not ascend or lie outside of the
    ///         section; the segment is then uninitialized, as after end()
    void set_flush_positions(std::vector<unsigned long> const& positions, unsigned long block_size);
    /// Complete the section.
    /// \return its length in the device below
    unsigned long write_end();
    /// Let go of streams, flush positions and the device below.
    void end();

    /// 0 if there are no flush blocks.
    unsigned long flush_block_size() const { return flush_block_size_; }
    /// Those given to a reader, or those written so far.
    std::vector<unsigned long> const& flush_positions() const { return flush_positions_; }

    bool is_open_for_reading() const override { return file_ && !writing_; }
    bool is_open_for_writing() const override { return file_ && writing_; }
    unsigned long tell() const override { return position_; }
    /// \throws std::runtime_error "Cannot seek: Not in read mode."
    /// \throws std::runtime_error "Invalid position in segment.", also for the position behind the last byte
    unsigned long seek(unsigned long pos) override;
    /// One stream that has delivered all data and does not end there gives the warning "Inconsistency in
    /// segment.". The checksum is verified by reads of one stream that started at the first byte.
    /// \throws std::runtime_error "Cannot read from zipped segment: Not in read mode."
    /// \throws std::runtime_error "Trying to read beyond segment boundary."
    /// \throws std::runtime_error "Inconsistency in segment."
    /// \throws std::runtime_error "ZIP inflation failed: {name of the zlib code}."
    /// \throws std::runtime_error "Error in multi-threaded decompression." if a block does not end at its
    /// flush
    ///         position
    void read(void* buffer, unsigned long n) override;
    /// \param buffer null completes the section.
    /// \throws std::runtime_error "Cannot write to zipped segment: Not in write mode."
    /// \throws std::runtime_error "Trying to write beyond segment boundary."
    /// \throws std::runtime_error "Trying to write beyond file segment boundary." for set_file_boundary()
    /// \throws std::runtime_error "Stack compression cannot handle chunks larger than 4GB." from 2^32 bytes
    /// on
    /// \throws std::runtime_error "ZIP deflation failed: {name of the zlib code}."
    /// \throws std::runtime_error "ZIP buffer unexpectedly too small." with several streams
    void write(void const* buffer, unsigned long n) override;
    /// Does nothing.
    void flush_file_buffers() override {}
    /// That of the device below.
    /// \throws std::runtime_error "Zipped segment is not initialized."
    ThreadingSupport const& threading_support() const override;

private:
    struct DeflationInput;
    struct DeflationWork;
    struct InflationWork;
    struct FlushBlock;

    void initialize_imp(DiskFileAccess& file, int level, bool writing, unsigned long start,
                        unsigned long segment_size, unsigned long uncompressed_size);
    void initialize_streams(bool restart, bool raw);
    bool compressed() const { return level_ > 0; }

    DeflationInput next_input(unsigned char const* data, unsigned long n) const;
    void write_plain(void const* data, unsigned long n);
    void write_deflated(unsigned char const* data, unsigned long n);
    void write_deflated_parallel(unsigned char const* data, unsigned long n);
    std::size_t take_oldest(std::deque<DeflationWork>& queue);
    void finish_oldest(std::deque<DeflationWork>& queue);
    void write_trailer(ZStream& stream);
    void write_out(ZStream& stream);
    void write_out_block(ZStream& stream);
    void write_block(void const* bytes, unsigned long n);
    void write_bytes(void const* bytes, unsigned long n);

    unsigned long segment_left() const;
    FlushBlock block_at(unsigned long pos) const;
    void read_plain(void* data, unsigned long n);
    void read_inflated(unsigned char* data, unsigned long n);
    void read_inflated_parallel(unsigned char* data, unsigned long n);
    unsigned long fetch_size(unsigned long end) const;
    void fetch(ZStream& stream, unsigned long n);
    void finish_oldest(std::deque<InflationWork>& queue);
    void fill(InflationWork& work);
    void go_to(unsigned long pos);

    DiskFileAccess* file_ = nullptr;
    unsigned long uncompressed_size_ = unknown;
    unsigned long segment_size_ = unknown;
    unsigned long position_ = 0;
    bool writing_ = false;
    bool finished_ = false; ///< write_end() was there
    bool restart_ = false;  ///< a read has failed, the streams cannot go on
    unsigned long start_ = 0;
    unsigned long file_position_ = 0;
    int level_ = 0;
    std::unique_ptr<unsigned char[]> scratch_;
    unsigned long flush_block_size_ = 0;
    std::vector<unsigned long> flush_positions_;
    unsigned long file_boundary_ = unknown;
    std::unique_ptr<ZStreams> streams_;
    std::uint32_t checksum_ = 1;
};

} // namespace Vexa::bf
