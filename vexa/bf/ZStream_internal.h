#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#ifndef ZLIB_CONST
#define ZLIB_CONST
#endif
#include <zlib.h>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// Compressed bytes that are kept in memory before they are written, or fetched at a time.
constexpr unsigned long buffer_size = 4194304;
/// Length of the checksum behind the deflate data.
constexpr std::size_t adler_size = 4;

/// A buffer that grows without ever touching memory that holds nothing yet.
class ByteBuffer {
public:
    unsigned char* data() const { return data_.get(); }
    std::size_t capacity() const { return capacity_; }
    /// Make room for \p capacity bytes and keep the first \p used. Never shrinks.
    void reserve(std::size_t capacity, std::size_t used);

private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t capacity_ = 0;
};

/// The name of a zlib return code, such as "Z_DATA_ERROR".
char const* z_code_name(int code);

/// A zlib stream for one direction and its buffer of compressed bytes: output on the way to the file, or
/// input that came from it.
///
/// Not movable, since zlib keeps the address of its stream.
/// Threads: one at a time, any.
class ZStream {
public:
    ZStream() = default;
    ZStream(ZStream const&) = delete;
    ZStream& operator=(ZStream const&) = delete;
    ~ZStream() { end(); }

    /// Start over, with the zlib wrapper (header and trailer) or as bare deflate data. The buffer is emptied
    /// but keeps its memory. A failure shows at the first use.
    void start_deflate(int level, bool wrapped);
    void start_inflate(bool wrapped);
    void end();

    /// The compressed bytes in the buffer.
    unsigned char const* bytes() const { return buffer_.data() + begin_; }
    std::size_t used() const { return used_; }

    /// Deflate \p n bytes; with Z_FULL_FLUSH or Z_FINISH until all of the output is in the buffer.
    /// \param make_room called while the buffer is full; must free some of it, or throw.
    /// \throws std::runtime_error "ZIP deflation failed: {name of the code}."
    template <typename MakeRoom>
    void deflate(int flush, unsigned char const* data, unsigned int n, MakeRoom make_room);
    /// Let the output buffer hold \p capacity bytes.
    void reserve(std::size_t capacity) { buffer_.reserve(capacity, used_); }
    /// Double the output buffer up to \p limit.
    /// \return false if it is there
    bool grow(std::size_t limit);
    /// All output has been written.
    void clear() { used_ = 0; }
    /// Give the output away for another buffer, which is empty.
    /// \return how many bytes the output has
    std::size_t exchange_output(ByteBuffer& buffer);
    /// Take the trailer of a finished stream's wrapper out of the output, once.
    void drop_trailer();

    /// Where inflate() puts its output.
    void set_output(void* data, unsigned long n);
    /// Bytes of the output that are still missing.
    unsigned long output_left() const { return output_left_; }
    /// Go on as bare deflate data that depends on nothing before.
    void restart_inflate_raw();
    /// Read \p n bytes of input from \p file into the buffer, which must be empty.
    void fill(DiskFileAccess& file, unsigned long n);
    /// Inflate from the buffer, until the output is complete or the buffer empty.
    /// \param left compressed bytes of the section that are not in the buffer yet.
    /// \return whether the stream has ended
    /// \throws std::runtime_error "ZIP inflation failed: {name of the code}."
    /// \throws std::runtime_error "Inconsistency in segment." if the stream ends where it should not
    /// \throws std::runtime_error "Trying to read beyond segment boundary." if the section has no more input
    bool inflate(unsigned long left);
    /// Whether a section ended without an end of its stream. Resets the answer.
    bool take_missing_end();

private:
    enum class Use { none, deflate, inflate };

    int deflate_step(int flush);
    [[noreturn]] static void deflate_failed(int code);

    z_stream z_{};
    Use use_ = Use::none;
    bool wrapped_ = false;
    bool missing_end_ = false;
    ByteBuffer buffer_;
    std::size_t begin_ = 0;
    std::size_t used_ = 0;
    unsigned long output_left_ = 0;
};

/// The streams of a segment, and which one holds the open flush block.
struct ZStreams {
    explicit ZStreams(std::size_t count) : all(count) {}

    ZStream& stream() { return all[current]; }
    void advance() { current = (current + 1) % all.size(); }

    std::vector<ZStream> all;
    std::size_t current = 0;
    ByteBuffer spare; ///< for the output of a block that is written while its stream is at the next one
};

template <typename MakeRoom>
void ZStream::deflate(int flush, unsigned char const* data, unsigned int n, MakeRoom make_room) {
    z_.next_in = data;
    z_.avail_in = n;
    for (;;) {
        if (used_ == buffer_.capacity()) make_room();
        int const code = deflate_step(flush);
        if (code == Z_STREAM_END) return;
        // With room for output, a buffer error means that there was nothing left to do.
        if (code != Z_OK && (code != Z_BUF_ERROR || z_.avail_in != 0)) deflate_failed(code);
        bool const complete = used_ < buffer_.capacity() || flush == Z_NO_FLUSH;
        if (flush != Z_FINISH && z_.avail_in == 0 && complete) return;
    }
}

} // namespace Vexa::bf
