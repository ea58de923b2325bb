#include <vexa/bf/ZippedSegment.h>

#include <algorithm>
#include <stdexcept>

#include <vexa/bf/ZStream_internal.h>

namespace Vexa::bf {

namespace {

bool valid_flush_positions(std::vector<unsigned long> const& positions, unsigned long segment_size) {
    unsigned long before = 0;
    for (unsigned long const position : positions) {
        if (position <= before || position > segment_size) return false;
        before = position;
    }
    return true;
}

} // namespace

ZippedSegment::ZippedSegment() = default;

ZippedSegment::~ZippedSegment() = default;

void ZippedSegment::initialize(DiskFileAccess& file, int level) {
    initialize_imp(file, level, true, file.tell(), unknown, unknown);
}

void ZippedSegment::initialize(DiskFileAccess& file, int level, unsigned long start,
                               unsigned long segment_size, unsigned long uncompressed_size) {
    initialize_imp(file, level, false, start, segment_size, uncompressed_size);
}

void ZippedSegment::initialize_imp(DiskFileAccess& file, int level, bool writing, unsigned long start,
                                   unsigned long segment_size, unsigned long uncompressed_size) {
    end();
    if (writing && !file.is_open_for_writing())
        throw std::runtime_error("Cannot initialize: No write access to file.");
    if (!writing && !file.is_open_for_reading())
        throw std::runtime_error("Cannot initialize: No read access to file.");
    file_ = &file;
    uncompressed_size_ = uncompressed_size;
    // No section reaches beyond the last file position, so that sums with start stay in range.
    segment_size_ = std::min(segment_size, unknown - start);
    position_ = 0;
    writing_ = writing;
    finished_ = false;
    restart_ = false;
    start_ = start;
    file_position_ = start;
    level_ = level;
    file_boundary_ = unknown;
    checksum_ = 1;
}

void ZippedSegment::set_file_boundary(unsigned long pos) {
    if (!file_) throw std::runtime_error("Cannot set file boundary on uninitialized zipped segment.");
    if (pos <= file_position_)
        throw std::runtime_error("Cannot set file boundary before current write position.");
    file_boundary_ = pos;
}

void ZippedSegment::set_flush_block_size(unsigned long size) {
    if (!is_open_for_writing())
        throw std::runtime_error("Setting flush block size only possible in write mode.");
    if (position_ != 0)
        throw std::runtime_error("Setting flush block size not possible after writing has started.");
    flush_block_size_ = size;
}

void ZippedSegment::set_flush_positions(std::vector<unsigned long> const& positions,
                                        unsigned long block_size) {
    if (!is_open_for_reading()) throw std::runtime_error("Cannot set flush positions: Not in read mode.");
    if (!valid_flush_positions(positions, segment_size_)) {
        end();
        throw std::runtime_error("Invalid flush positions.");
    }
    flush_positions_ = positions;
    flush_block_size_ = block_size;
    restart_ = streams_ != nullptr; // their place in the old blocks says nothing now
}

unsigned long ZippedSegment::write_end() {
    write(nullptr, 0);
    return file_position_ - start_;
}

void ZippedSegment::end() {
    streams_.reset();
    scratch_.reset();
    flush_block_size_ = 0;
    flush_positions_.clear();
    file_ = nullptr;
}

ThreadingSupport const& ZippedSegment::threading_support() const {
    if (!file_) throw std::runtime_error("Zipped segment is not initialized.");
    return file_->threading_support();
}

/// \param restart also when there are streams.
/// \param raw start without the zlib wrapper.
void ZippedSegment::initialize_streams(bool restart, bool raw) {
    if (!compressed() || (streams_ && !restart)) return;
    unsigned long const threads = flush_block_size_ ? threading_support().number_of_threads : 1;
    std::size_t const count = std::max<std::size_t>(threads, 1);
    if (!streams_ || streams_->all.size() != count) streams_ = std::make_unique<ZStreams>(count);
    streams_->current = 0;
    bool wrapped = !raw;
    for (ZStream& stream : streams_->all) {
        if (writing_) {
            stream.start_deflate(level_, wrapped);
            stream.reserve(count == 1 ? buffer_size : std::min(buffer_size, flush_block_size_));
        } else {
            stream.start_inflate(wrapped);
        }
        wrapped = false;
    }
}

} // namespace Vexa::bf
