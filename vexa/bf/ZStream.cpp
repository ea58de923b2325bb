#include <vexa/bf/ZStream_internal.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

namespace Vexa::bf {

namespace {

constexpr int raw_window_bits = -15;
constexpr int default_memory_level = 8;

unsigned int as_avail(std::size_t n) {
    return static_cast<unsigned int>(std::min<std::size_t>(n, std::numeric_limits<unsigned int>::max()));
}

} // namespace

void ByteBuffer::reserve(std::size_t capacity, std::size_t used) {
    if (capacity <= capacity_) return;
    auto data = std::make_unique_for_overwrite<unsigned char[]>(capacity);
    if (used) std::memcpy(data.get(), data_.get(), used);
    data_ = std::move(data);
    capacity_ = capacity;
}

char const* z_code_name(int code) {
    switch (code) {
    case Z_OK: return "Z_OK";
    case Z_STREAM_END: return "Z_STREAM_END";
    case Z_NEED_DICT: return "Z_NEED_DICT";
    case Z_ERRNO: return "Z_ERRNO";
    case Z_STREAM_ERROR: return "Z_STREAM_ERROR";
    case Z_DATA_ERROR: return "Z_DATA_ERROR";
    case Z_MEM_ERROR: return "Z_MEM_ERROR";
    case Z_BUF_ERROR: return "Z_BUF_ERROR";
    case Z_VERSION_ERROR: return "Z_VERSION_ERROR";
    default: return "unknown code";
    }
}

void ZStream::start_deflate(int level, bool wrapped) {
    end();
    use_ = Use::deflate;
    wrapped_ = wrapped;
    if (wrapped)
        deflateInit(&z_, level);
    else
        deflateInit2(&z_, level, Z_DEFLATED, raw_window_bits, default_memory_level, Z_DEFAULT_STRATEGY);
}

void ZStream::start_inflate(bool wrapped) {
    end();
    use_ = Use::inflate;
    wrapped_ = wrapped;
    if (wrapped)
        inflateInit(&z_);
    else
        inflateInit2(&z_, raw_window_bits);
}

void ZStream::end() {
    if (use_ == Use::deflate) deflateEnd(&z_);
    if (use_ == Use::inflate) inflateEnd(&z_);
    z_ = {};
    use_ = Use::none;
    missing_end_ = false;
    begin_ = used_ = 0;
    output_left_ = 0;
}

std::size_t ZStream::exchange_output(ByteBuffer& buffer) {
    buffer.reserve(buffer_.capacity(), 0);
    std::swap(buffer, buffer_);
    return std::exchange(used_, 0);
}

int ZStream::deflate_step(int flush) {
    unsigned int const room = as_avail(buffer_.capacity() - used_);
    z_.next_out = buffer_.data() + used_;
    z_.avail_out = room;
    int const code = ::deflate(&z_, flush);
    used_ += room - z_.avail_out;
    return code;
}

void ZStream::deflate_failed(int code) {
    throw std::runtime_error(fmt::format("ZIP deflation failed: {}.", z_code_name(code)));
}

bool ZStream::grow(std::size_t limit) {
    if (buffer_.capacity() >= limit) return false;
    buffer_.reserve(std::min(limit, 2 * buffer_.capacity()), used_);
    return true;
}

void ZStream::drop_trailer() {
    if (wrapped_ && used_ >= adler_size) used_ -= adler_size;
    wrapped_ = false;
}

void ZStream::set_output(void* data, unsigned long n) {
    z_.next_out = static_cast<unsigned char*>(data);
    output_left_ = n;
}

void ZStream::restart_inflate_raw() {
    inflateReset2(&z_, raw_window_bits);
    wrapped_ = false;
}

void ZStream::fill(DiskFileAccess& file, unsigned long n) {
    buffer_.reserve(n, 0);
    file.read(buffer_.data(), n);
    begin_ = 0;
    used_ = n;
}

bool ZStream::inflate(unsigned long left) {
    unsigned int const input = as_avail(used_);
    unsigned int const room = as_avail(output_left_);
    z_.next_in = buffer_.data() + begin_;
    z_.avail_in = input;
    z_.avail_out = room;
    int const code = ::inflate(&z_, Z_SYNC_FLUSH);
    begin_ += input - z_.avail_in;
    used_ -= input - z_.avail_in;
    output_left_ -= room - z_.avail_out;

    bool const all_input_used = used_ == 0 && left == 0;
    if (code == Z_STREAM_END) {
        // A bare stream leaves the checksum behind it alone.
        bool const only_checksum_left = used_ <= adler_size && left == adler_size - used_;
        if (output_left_ == 0 && (all_input_used || only_checksum_left)) return true;
        throw std::runtime_error("Inconsistency in segment.");
    }
    if (code != Z_OK) throw std::runtime_error(fmt::format("ZIP inflation failed: {}.", z_code_name(code)));
    if (!all_input_used) return false;
    if (z_.avail_out != 0) throw std::runtime_error("Trying to read beyond segment boundary.");
    if (output_left_ != 0) return false;
    missing_end_ = ::inflate(&z_, Z_FINISH) != Z_STREAM_END;
    return true;
}

bool ZStream::take_missing_end() { return std::exchange(missing_end_, false); }

} // namespace Vexa::bf
