#include <vexa/bf/ZippedSegment.h>

#include <array>
#include <stdexcept>

#include <vexa/bf/WorkItem_internal.h>
#include <vexa/bf/ZStream_internal.h>

namespace Vexa::bf {

/// What one call of deflate takes: at most the rest of a flush block.
struct ZippedSegment::DeflationInput {
    unsigned char const* data;
    unsigned int n;
    int flush;
};

struct ZippedSegment::DeflationWork {
    /// \param limit of the output; the buffer cannot be written out from another thread.
    DeflationWork(ThreadingSupport const& threads, ZStream& stream_, DeflationInput input, std::size_t limit)
        : stream(stream_), flush(input.flush), item(threads, [&stream = stream_, input, limit] {
              stream.deflate(input.flush, input.data, input.n, [&] {
                  if (!stream.grow(limit)) throw std::runtime_error("ZIP buffer unexpectedly too small.");
              });
          }) {}

    ZStream& stream;
    int flush;
    WorkItem item;
};

void ZippedSegment::write(void const* buffer, unsigned long n) {
    if (!is_open_for_writing())
        throw std::runtime_error("Cannot write to zipped segment: Not in write mode.");
    if (uncompressed_size_ != unknown &&
        (position_ > uncompressed_size_ || n > uncompressed_size_ - position_))
        throw std::runtime_error("Trying to write beyond segment boundary.");
    if (!compressed()) {
        if (buffer && n) write_plain(buffer, n);
        return;
    }
    if (n > std::numeric_limits<unsigned int>::max())
        throw std::runtime_error("Stack compression cannot handle chunks larger than 4GB.");
    initialize_streams(false, false);
    if (buffer ? n == 0 : finished_) return;
    auto const* const data = static_cast<unsigned char const*>(buffer);
    if (streams_->all.size() == 1)
        write_deflated(data, buffer ? n : 0);
    else
        write_deflated_parallel(data, buffer ? n : 0);
    finished_ = !buffer;
}

void ZippedSegment::write_plain(void const* data, unsigned long n) {
    write_bytes(data, n);
    position_ += n;
}

/// The next piece of the \p n bytes that are left; null \p data finishes.
ZippedSegment::DeflationInput ZippedSegment::next_input(unsigned char const* data, unsigned long n) const {
    if (!data) return {nullptr, 0, Z_FINISH};
    if (flush_block_size_) {
        unsigned long const room = flush_block_size_ - position_ % flush_block_size_;
        if (n >= room) return {data, static_cast<unsigned int>(room), Z_FULL_FLUSH};
    }
    return {data, static_cast<unsigned int>(n), Z_NO_FLUSH};
}

void ZippedSegment::write_deflated(unsigned char const* data, unsigned long n) {
    ZStream& stream = streams_->stream();
    do {
        DeflationInput const input = next_input(data, n);
        stream.deflate(input.flush, input.data, input.n, [&] { write_out(stream); });
        if (input.flush == Z_FULL_FLUSH) write_out_block(stream);
        if (input.flush == Z_FINISH) write_out(stream);
        position_ += input.n;
        data += input.n;
        n -= input.n;
    } while (n);
}

/// Keep every stream busy: when the oldest item is done, its stream gets the next one before its output is
/// written. The streams take turns, so that the one that is next is the one whose item was the oldest. The
/// last block stays open in the current stream for the next call.
void ZippedSegment::write_deflated_parallel(unsigned char const* data, unsigned long n) {
    std::deque<DeflationWork> queue;
    for (;;) {
        std::size_t const finished = queue.size() == streams_->all.size() ? take_oldest(queue) : 0;
        DeflationInput const input = next_input(data, n);
        queue.emplace_back(threading_support(), streams_->stream(), input, flush_block_size_);
        position_ += input.n;
        data += input.n;
        n -= input.n;
        if (finished) write_block(streams_->spare.data(), finished);
        if (input.data) checksum_ = static_cast<std::uint32_t>(::adler32_z(checksum_, input.data, input.n));
        if (n == 0) break;
        streams_->advance();
    }
    while (!queue.empty()) finish_oldest(queue);
}

/// Wait for the oldest item, a whole block, and move its output into the spare buffer.
/// \return how many bytes it has, which is never 0
std::size_t ZippedSegment::take_oldest(std::deque<DeflationWork>& queue) {
    DeflationWork& work = queue.front();
    work.item.get();
    std::size_t const size = work.stream.exchange_output(streams_->spare);
    queue.pop_front();
    return size;
}

void ZippedSegment::finish_oldest(std::deque<DeflationWork>& queue) {
    DeflationWork& work = queue.front();
    work.item.get();
    switch (work.flush) {
    case Z_FINISH: write_trailer(work.stream); break;
    case Z_FULL_FLUSH: write_out_block(work.stream); break;
    default: write_out(work.stream);
    }
    queue.pop_front();
}

/// The checksum of all data, in place of the one that a wrapped stream has made of its share.
void ZippedSegment::write_trailer(ZStream& stream) {
    stream.drop_trailer();
    write_out(stream);
    std::array<unsigned char, adler_size> trailer;
    for (std::size_t i = 0; i < adler_size; ++i)
        trailer[i] = static_cast<unsigned char>(checksum_ >> (8 * (adler_size - 1 - i)));
    write_bytes(trailer.data(), trailer.size());
}

void ZippedSegment::write_out_block(ZStream& stream) {
    write_block(stream.bytes(), stream.used());
    stream.clear();
}

void ZippedSegment::write_block(void const* bytes, unsigned long n) {
    if (n) write_bytes(bytes, n);
    flush_positions_.push_back(file_position_ - start_);
}

void ZippedSegment::write_out(ZStream& stream) {
    if (stream.used() == 0) return;
    write_bytes(stream.bytes(), stream.used());
    stream.clear();
}

void ZippedSegment::write_bytes(void const* bytes, unsigned long n) {
    if (file_boundary_ != unknown && (file_position_ > file_boundary_ || n > file_boundary_ - file_position_))
        throw std::runtime_error("Trying to write beyond file segment boundary.");
    file_->seek(file_position_);
    file_->write(bytes, n);
    file_position_ += n;
}

} // namespace Vexa::bf
