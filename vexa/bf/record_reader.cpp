#include <vexa/bf/record_reader_internal.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fmt/format.h>

#include <vexa/foundation/error.h>

namespace Vexa::bf {

namespace {

[[noreturn]] void throw_short_read(unsigned long n) {
    VexaError error(nullptr, nullptr, 0);
    error.message = fmt::format("Failed reading {} bytes from file: {}", n, std::strerror(errno));
    throw error;
}

} // namespace

void RecordReader::seek(unsigned long position) {
    if (position == position_) return;
    // A buffered stream passes over a few bytes faster than it moves.
    std::array<char, 4096> passed;
    unsigned long const distance = position - position_;
    if (position > position_ && distance <= passed.size() && distance <= left())
        device_.read(passed.data(), distance);
    else
        device_.seek(position);
    position_ = position;
}

void RecordReader::read(void* to, unsigned long n) {
    if (n == 0) return;
    if (n > left()) throw_short_read(n);
    device_.read(to, n);
    position_ += n;
    consumed_ += n;
}

void RecordReader::skip(unsigned long n) {
    if (n == 0) return;
    consumed_ += n < left() ? n : left();
    seek(position_ + n);
}

void RecordReader::require(unsigned long count, unsigned long size) const {
    unsigned long bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes)) bytes = static_cast<unsigned long>(-1);
    if (bytes > left()) throw_short_read(bytes);
}

std::string RecordReader::text(unsigned long n) {
    require(n, 1);
    std::string result(n, '\0');
    read(result.data(), n);
    return result;
}

std::string RecordReader::counted_string() { return text(value<std::uint32_t>()); }

void RecordReader::tag_list(std::map<std::string, std::string>& tags) {
    for (std::string key = counted_string(); !key.empty(); key = counted_string())
        tags[key] = counted_string();
}

} // namespace Vexa::bf
