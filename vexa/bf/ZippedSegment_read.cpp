#include <vexa/bf/ZippedSegment.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

#include <vexa/bf/WorkItem_internal.h>
#include <vexa/bf/ZStream_internal.h>
#include <vexa/foundation/error.h>

namespace Vexa::bf {

namespace {

/// Bytes that one work item may inflate.
constexpr unsigned long largest_piece = 1ul << 30;

constexpr char inconsistency[] = "Inconsistency in segment.";

/// Not to be done where the end was found, which may be another thread.
void warn_about_missing_end(ZStream& stream) {
    if (stream.take_missing_end()) vexa_warn(inconsistency, nullptr, nullptr, 0);
}

} // namespace

/// A flush block, or what lies behind the last flush position.
struct ZippedSegment::FlushBlock {
    unsigned long begin; ///< uncompressed
    unsigned long left;  ///< uncompressed, to the block's end; unknown behind the last flush position
    unsigned long file_end;
    bool ends_at_flush;
};

struct ZippedSegment::InflationWork {
    InflationWork(ZStream& stream_, unsigned long file_next_, FlushBlock const& block, unsigned long n)
        : stream(stream_), file_next(file_next_), file_end(block.file_end),
          completes_block(block.ends_at_flush && n == block.left),
          largest_fill(std::max(buffer_size, 2 * n)) {}

    ZStream& stream;
    unsigned long file_next; ///< file position of the input that is not in the stream's buffer
    unsigned long file_end;
    bool completes_block;
    unsigned long largest_fill; ///< what a false flush position can make us allocate
    std::optional<WorkItem> item;
};

void ZippedSegment::read(void* buffer, unsigned long n) {
    if (!is_open_for_reading())
        throw std::runtime_error("Cannot read from zipped segment: Not in read mode.");
    if (uncompressed_size_ != unknown &&
        (position_ > uncompressed_size_ || n > uncompressed_size_ - position_))
        throw std::runtime_error("Trying to read beyond segment boundary.");
    if (n == 0) return;
    if (!compressed()) return read_plain(buffer, n);
    if (restart_) go_to(position_);
    initialize_streams(false, false);
    auto* const data = static_cast<unsigned char*>(buffer);
    try {
        if (streams_->all.size() == 1)
            read_inflated(data, n);
        else
            read_inflated_parallel(data, n);
    } catch (...) {
        restart_ = true;
        throw;
    }
    position_ += n;
}

void ZippedSegment::read_plain(void* data, unsigned long n) {
    if (n > segment_left()) throw std::runtime_error("Trying to read beyond segment boundary.");
    file_->seek(file_position_);
    file_->read(data, n);
    file_position_ += n;
    position_ += n;
}

/// Compressed bytes of the section that were not fetched yet.
unsigned long ZippedSegment::segment_left() const {
    unsigned long const done = file_position_ - start_;
    return done < segment_size_ ? segment_size_ - done : 0;
}

/// How much input to fetch for a read that ends at \p end: no more than to the end of the last flush block it
/// needs, but with the data's end also the trailer.
unsigned long ZippedSegment::fetch_size(unsigned long end) const {
    unsigned long wanted = segment_left();
    if (flush_block_size_ && end != uncompressed_size_) {
        unsigned long const last = (end - 1) / flush_block_size_;
        if (last < flush_positions_.size() && start_ + flush_positions_[last] > file_position_)
            wanted = start_ + flush_positions_[last] - file_position_;
    }
    return std::min(wanted, buffer_size);
}

void ZippedSegment::fetch(ZStream& stream, unsigned long n) {
    if (n == 0) return;
    file_->seek(file_position_);
    stream.fill(*file_, n);
    file_position_ += n;
}

void ZippedSegment::read_inflated(unsigned char* data, unsigned long n) {
    ZStream& stream = streams_->stream();
    unsigned long const end = position_ + n;
    stream.set_output(data, n);
    for (bool ended = false; !ended;) {
        if (stream.used() == 0) fetch(stream, fetch_size(end));
        ended = stream.inflate(segment_left());
        if (ended || stream.output_left()) continue;
        // The data are complete. Where they should end the stream must end too, its checksum included.
        if (end != uncompressed_size_) break;
        if (stream.used() != 0) {
            vexa_warn(inconsistency, nullptr, nullptr, 0);
            break;
        }
    }
    warn_about_missing_end(stream);
}

ZippedSegment::FlushBlock ZippedSegment::block_at(unsigned long pos) const {
    unsigned long const index = std::min(pos / flush_block_size_, flush_positions_.size());
    unsigned long const begin = index * flush_block_size_;
    if (index == flush_positions_.size()) return {begin, unknown, start_ + segment_size_, false};
    return {begin, flush_block_size_ - (pos - begin), start_ + flush_positions_[index], true};
}

/// As for writing: the oldest item is waited for and the next one handed out. All file access is on this
/// thread.
void ZippedSegment::read_inflated_parallel(unsigned char* data, unsigned long n) {
    std::deque<InflationWork> queue;
    for (unsigned long pos = position_; n;) {
        if (queue.size() == streams_->all.size()) finish_oldest(queue);
        FlushBlock const block = block_at(pos);
        unsigned long const piece = std::min({n, block.left, largest_piece});
        ZStream& stream = streams_->stream();
        if (pos == block.begin && pos != 0) stream.restart_inflate_raw();
        stream.set_output(data, piece);
        InflationWork& work = queue.emplace_back(stream, file_position_, block, piece);
        fill(work);
        unsigned long const left = start_ + segment_size_ - work.file_next;
        work.item.emplace(threading_support(), [&stream, left] { stream.inflate(left); });
        pos += piece;
        data += piece;
        n -= piece;
        if (work.completes_block) {
            file_position_ = block.file_end;
            if (n) streams_->advance();
        } else {
            // The block stays open in this stream, and nobody else knows where its input ends.
            while (!queue.empty()) finish_oldest(queue);
        }
    }
    while (!queue.empty()) finish_oldest(queue);
}

void ZippedSegment::fill(InflationWork& work) {
    unsigned long const size = std::min(work.file_end - work.file_next, work.largest_fill);
    if (work.stream.used() != 0 || size == 0) return;
    file_->seek(work.file_next);
    work.stream.fill(*file_, size);
    work.file_next += size;
}

void ZippedSegment::finish_oldest(std::deque<InflationWork>& queue) {
    InflationWork& work = queue.front();
    ZStream& stream = work.stream;
    work.item->get();
    // A block whose input is longer than one fill is completed here.
    while (stream.output_left() ||
           (work.completes_block && stream.used() == 0 && work.file_next < work.file_end)) {
        if (stream.used() == 0 && work.file_next == work.file_end)
            throw std::runtime_error("Error in multi-threaded decompression.");
        fill(work);
        stream.inflate(start_ + segment_size_ - work.file_next);
    }
    if (work.completes_block && stream.used() != 0)
        throw std::runtime_error("Error in multi-threaded decompression.");
    if (!work.completes_block) file_position_ = work.file_next;
    warn_about_missing_end(stream);
    queue.pop_front();
}

unsigned long ZippedSegment::seek(unsigned long pos) {
    if (!is_open_for_reading()) throw std::runtime_error("Cannot seek: Not in read mode.");
    if (uncompressed_size_ != unknown && pos >= uncompressed_size_)
        throw std::runtime_error("Invalid position in segment.");
    if (compressed()) {
        if (pos != position_ || restart_) go_to(pos);
    } else {
        if (pos > unknown - start_) throw std::runtime_error("Invalid position in segment.");
        position_ = pos;
        file_position_ = start_ + pos;
    }
    return pos;
}

/// Inflate up to \p pos, from where we are or from the nearest flush position that saves work.
void ZippedSegment::go_to(unsigned long pos) {
    bool const backward = pos < position_ || restart_;
    unsigned long from = backward ? 0 : position_;
    unsigned long file_from = backward ? start_ : file_position_;
    if (flush_block_size_) {
        unsigned long const index = std::min(pos / flush_block_size_, flush_positions_.size());
        if (index != 0 && flush_block_size_ * index > from) {
            from = flush_block_size_ * index;
            file_from = start_ + flush_positions_[index - 1];
        }
    }
    bool const jump = backward || from != position_;
    restart_ = jump;
    initialize_streams(jump, from != 0);
    if (jump) {
        position_ = from;
        file_position_ = file_from;
        restart_ = false;
    }
    while (position_ < pos) {
        unsigned long const piece = std::min(pos - position_, buffer_size);
        if (!scratch_) scratch_ = std::make_unique_for_overwrite<unsigned char[]>(buffer_size);
        read(scratch_.get(), piece);
    }
}

} // namespace Vexa::bf
