// Reading samples at any position.

#include <vexa/bf/StackImp.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/conversion_internal.h>
#include <vexa/bf/position_guard_internal.h>
#include <vexa/bf/read_only_view_internal.h>
#include <vexa/foundation/io.h>
#include <vexa/foundation/types.h>

namespace Vexa::bf {

/// Where samples go: `re` takes whole samples, or their real parts if there is `im`; both of the caller's
/// type.
struct StackImp::Target {
    int type;
    char* re;
    char* im;

    void advance(unsigned long count) {
        std::size_t const bytes = count * vexa_dt_get_size(type);
        re += bytes;
        if (im) im += bytes;
    }
    void zero(unsigned long count) const {
        if (count == 0) return;
        std::size_t const bytes = count * vexa_dt_get_size(type);
        std::memset(re, 0, bytes);
        if (im) std::memset(im, 0, bytes);
    }
};

unsigned long StackImp::read(int type, void* re, void* im, unsigned long n, unsigned long& pos) const {
    auto const held = file();
    return read_imp(type, re, im, n, pos, held.get());
}

unsigned long StackImp::read(int type, void* re, void* im) const {
    unsigned long pos = 0;
    return read(type, re, im, all, pos);
}

unsigned long StackImp::read_imp(int type, void* re, void* im, unsigned long n, unsigned long& pos,
                                 FileImp* file) const {
    if (pos == go_on) pos = read_position_;
    if (pos == at_end)
        throw std::runtime_error(
            "Invalid position (-1) passed. Possible reason: Last read call exhausted data.");
    if (status_ != stack_status::complete)
        throw std::runtime_error("Stack not committed to disk. Cannot read.");
    PositionGuard back(*file);
    Target target{type, static_cast<char*>(re), static_cast<char*>(im)};
    check_read(target);

    unsigned long const total = number_of_elements();
    if (pos > total) throw std::runtime_error("Invalid position in segment.");
    bool const reaches_end = total - pos <= n;
    if (reaches_end) n = total - pos;
    if (n != 0 && !re) throw std::runtime_error("No buffer given.");
    if (n != 0 && vexa_dt_get_size(type) == 0) throw std::runtime_error("Unknown type of elements.");
    if (data_less_) {
        target.zero(n);
        return n;
    }
    unsigned long const present = samples_written_ > pos ? std::min(samples_written_ - pos, n) : 0;
    if (present != 0) read_samples(target, present, pos, *file);
    target.advance(present);
    target.zero(n - present);
    if (reaches_end) zipped_.end();
    pos = reaches_end ? at_end : pos + n;
    read_position_ = pos;
    back.restore();
    return n;
}

void StackImp::check_read(Target const& target) const {
    if (!target.im) return;
    if (types::is_complex(target.type))
        throw std::runtime_error("Imaginary buffer passed but buffer type is already complex.");
    if (!types::is_complex(type_))
        throw std::runtime_error("Imaginary buffer passed but stack is not complex.");
}

/// \p n samples that are in the file.
void StackImp::read_samples(Target target, unsigned long n, unsigned long pos, FileImp& file) const {
    if (!zipped_.is_open_for_reading()) open_section_for_reading(file);
    std::size_t const element = vexa_dt_get_size(type_);
    zipped_.seek(element * pos);
    unsigned long const block = std::max(file.chunk_size() / element, 1ul);
    bool const direct = target.type == type_ && !target.im;
    while (n != 0) {
        unsigned long const part = std::min(n, block);
        file.report_progress(part * element);
        if (direct) {
            zipped_.read(target.re, part * element);
        } else {
            conversion_buffer_.resize(part * element);
            zipped_.read(conversion_buffer_.data(), part * element);
            if (vexa_dt_convert(type_, target.type, conversion_buffer_.data(), target.re, part, nullptr,
                                target.im) != 0)
                throw_invalid_conversion(type_, target.im ? target.type | types::complex_flag : target.type);
        }
        target.advance(part);
        n -= part;
    }
}

void StackImp::open_section_for_reading(FileImp& file) const {
    if (zipped_.is_open_for_writing())
        throw std::runtime_error("Zipped segment unexpectedly initialized in write mode.");
    if (static_cast<std::uint32_t>(compression_type_) > 1)
        throw std::runtime_error("Invalid compression type specified.");
    std::size_t const element = vexa_dt_get_size(type_);
    if (element == 0) throw std::runtime_error("Unknown type of elements.");
    unsigned long bytes = 0;
    unsigned long end = 0;
    if (__builtin_mul_overflow(element, number_of_elements(), &bytes))
        throw std::runtime_error("Invalid stack size: Larger than the addressable memory.");
    if (__builtin_add_overflow(data_start_position_, data_length_, &end))
        throw std::runtime_error("The offset exceeds the maximum offset.");

    if (!view_) view_ = std::make_unique<ReadOnlyView>(file);
    chunked_.initialize(*view_, data_start_position_, chunk_records_);
    unsigned long const length = chunked_.to_chunk_position(end) - data_start_position_;
    zipped_.initialize(chunked_, effective_level(), data_start_position_, length, bytes);
    if (flush_block_size_ == 0) return;
    // There is no block behind the last sample.
    auto positions = flush_positions_;
    positions.resize(std::min(positions.size(), bytes / flush_block_size_));
    zipped_.set_flush_positions(positions, flush_block_size_);
}

std::vector<std::pair<unsigned long, unsigned long>>
StackImp::get_aligned_compressed_chunk_ranges(std::pair<unsigned long, unsigned long> range) {
    auto const held = file();
    auto const& positions = zipped_.flush_positions().empty() ? flush_positions_ : zipped_.flush_positions();
    if (flush_block_size_ == 0) throw std::runtime_error("No flush blocks available");
    auto const [first, last] = range;
    if (first % flush_block_size_ != 0 || last % flush_block_size_ != 0 ||
        first / flush_block_size_ > positions.size() || last / flush_block_size_ > positions.size() ||
        first == last)
        throw std::runtime_error(
            "Requested range is not flush point aligned, empty or has not yet been written");
    auto const offset_of = [&](unsigned long at) {
        return at < flush_block_size_ ? 0 : positions[at / flush_block_size_ - 1];
    };
    unsigned long size = 0;
    if (__builtin_mul_overflow(samples_written_, vexa_dt_get_size(type_), &size))
        size = std::numeric_limits<unsigned long>::max();
    unsigned long const lo = offset_of(first);
    auto ranges = chunked_.get_aligned_compressed_chunk_ranges(chunk_records_, data_start_position_, size,
                                                               {lo, offset_of(last)});
    constexpr unsigned long zlib_header_size = 2;
    if (lo == 0 && !ranges.empty()) ranges.front().first += zlib_header_size;
    return ranges;
}

} // namespace Vexa::bf
