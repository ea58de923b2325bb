#include <vexa/bf/ChunkedSegment.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace Vexa::bf {

namespace {

using Chunk = ChunkedSegment::Chunk;
using Chunks = ChunkedSegment::Chunks;

constexpr unsigned long maximum = std::numeric_limits<unsigned long>::max();

/// Whether \p next can follow \p chunk: in order, and behind the bytes that \p chunk holds.
bool follows(Chunk const& next, Chunk const& chunk) {
    return next.first >= chunk.first && next.second >= chunk.second &&
           next.second - chunk.second >= next.first - chunk.first;
}

/// The list in memory from the records of a file, which may hold anything.
Chunks chunks_from_records(unsigned long start, Chunks const& records) {
    Chunks chunks{{start, start}};
    chunks.reserve(records.size() + 1);
    for (auto const& [logical, file] : records) {
        bool const wraps = logical > maximum - start || file > maximum - start;
        if (wraps || !follows({start + logical, start + file}, chunks.back()))
            throw std::runtime_error("Invalid chunk records.");
        chunks.emplace_back(start + logical, start + file);
    }
    return chunks;
}

/// The last chunk whose value at \p member is not above \p pos; end() if there is none.
Chunks::const_iterator last_not_above(Chunks const& chunks, unsigned long Chunk::*member, unsigned long pos) {
    auto const behind =
        std::upper_bound(chunks.begin(), chunks.end(), pos,
                         [=](unsigned long p, Chunk const& chunk) { return p < chunk.*member; });
    return behind == chunks.begin() ? chunks.end() : behind - 1;
}

} // namespace

void ChunkedSegment::initialize(DiskFileAccess& file, bool chunk_wise, bool no_flush) {
    if (!file.is_open_for_writing()) throw std::runtime_error("Cannot initialize: No write access to file.");
    initialize_chunk_positions(file.tell());
    file_ = &file;
    write_mode_ = true;
    chunk_wise_ = chunk_wise;
    no_flush_ = no_flush;
}

void ChunkedSegment::initialize(DiskFileAccess& file, unsigned long start, Chunks const& records) {
    if (!file.is_open_for_reading()) throw std::runtime_error("Cannot initialize: No read access to file.");
    Chunks chunks = chunks_from_records(start, records);
    initialize_chunk_positions(start);
    chunks_ = std::move(chunks);
    file_ = &file;
    write_mode_ = false;
    chunk_wise_ = !records.empty();
    no_flush_ = false;
}

void ChunkedSegment::initialize_chunk_positions(unsigned long start) {
    chunks_.assign(1, {start, start});
    logical_position_ = start;
    file_position_ = start;
    current_index_ = 0;
}

unsigned long ChunkedSegment::seek(unsigned long pos) {
    DiskFileAccess& file = require_file();
    if (pos == logical_position_) return pos;
    if (write_mode_ && pos > logical_position_)
        throw std::runtime_error("Cannot seek beyond current position in write mode.");
    auto const chunk = last_not_above(chunks_, &Chunk::first, pos);
    if (chunk == chunks_.end() || pos - chunk->first > maximum - chunk->second)
        throw std::runtime_error("Position out of range in chunked segment.");
    current_index_ = static_cast<std::size_t>(chunk - chunks_.begin());
    logical_position_ = pos;
    file_position_ = chunk->second + (pos - chunk->first);
    file.seek(file_position_);
    if (file.is_open_for_writing()) chunks_.resize(current_index_ + 1);
    return pos;
}

void ChunkedSegment::read(void* buffer, unsigned long n) {
    DiskFileAccess& file = require_file();
    if (n == 0) return;
    file.seek(file_position_);
    auto* data = static_cast<unsigned char*>(buffer);
    while (current_index_ + 1 < chunks_.size()) {
        Chunk const& next = chunks_[current_index_ + 1];
        unsigned long const here = next.first - logical_position_;
        if (n < here) break;
        file.read(data, here);
        data += here;
        n -= here;
        ++current_index_;
        logical_position_ = next.first;
        file_position_ = next.second;
        file.seek(file_position_);
        if (n == 0) return;
    }
    file.read(data, n);
    logical_position_ += n;
    file_position_ += n;
}

void ChunkedSegment::write(void const* buffer, unsigned long n) {
    if (n == 0) return;
    DiskFileAccess& file = require_file();
    unsigned long const stream_position = file.tell();
    if (stream_position != file_position_) {
        if (!chunk_wise_)
            throw std::runtime_error("File pointer has moved but chunk-wise writing not allowed.");
        if (stream_position < file_position_) throw std::runtime_error("File pointer moved backwards.");
        chunks_.emplace_back(logical_position_, stream_position);
        file_position_ = stream_position;
    }
    file.write(buffer, n);
    if (!no_flush_) file.flush_file_buffers();
    logical_position_ += n;
    file_position_ += n;
}

ThreadingSupport const& ChunkedSegment::threading_support() const {
    return require_file().threading_support();
}

unsigned long ChunkedSegment::to_chunk_position(unsigned long file_pos) const {
    auto const chunk = last_not_above(chunks_, &Chunk::second, file_pos);
    if (chunk == chunks_.end()) throw std::runtime_error("File position not inside chunk.");
    return chunk->first + (file_pos - chunk->second);
}

ChunkedSegment::Chunks ChunkedSegment::chunk_positions() const {
    Chunks records;
    for (std::size_t i = 1; i < chunks_.size(); ++i)
        records.emplace_back(chunks_[i].first - chunks_[0].first, chunks_[i].second - chunks_[0].second);
    return records;
}

std::vector<ChunkedSegment::Range> ChunkedSegment::get_aligned_compressed_chunk_ranges(Chunks const& records,
                                                                                       unsigned long start,
                                                                                       unsigned long size,
                                                                                       Range range) const {
    auto const [lo, hi] = range;
    if (hi < lo || hi > maximum - start) throw std::runtime_error("Unexpectedly missing chunk");
    if (chunks_.size() == 1 || (chunks_.empty() && records.empty())) return {{start + lo, start + hi}};
    std::vector<Range> ranges;
    if (lo == hi) return ranges;
    Chunks const chunks = chunks_.empty() ? chunks_from_records(start, records) : chunks_;
    unsigned long const base = chunks.front().first;
    if (hi > maximum - base) throw std::runtime_error("Unexpectedly missing chunk");
    unsigned long at = lo;
    for (auto chunk = last_not_above(chunks, &Chunk::first, base + lo); chunk != chunks.end() && at < hi;
         ++chunk) {
        bool const last = chunk + 1 == chunks.end();
        unsigned long const end = std::min(hi, last ? size : chunk[1].first - base);
        if (end <= at) continue;
        if (base + end - chunk->first > maximum - chunk->second)
            throw std::runtime_error("Unexpectedly missing chunk");
        ranges.emplace_back(chunk->second + (base + at - chunk->first),
                            chunk->second + (base + end - chunk->first));
        at = end;
    }
    if (at < hi) throw std::runtime_error("Unexpectedly missing chunk");
    return ranges;
}

DiskFileAccess& ChunkedSegment::require_file() const {
    if (!file_) throw std::runtime_error("Chunked segment is not initialized.");
    return *file_;
}

} // namespace Vexa::bf
