// Writing samples: the way of a stack from uncommitted to complete.

#include <vexa/bf/StackImp.h>

#include <algorithm>
#include <stdexcept>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/conversion_internal.h>
#include <vexa/bf/flush_blocks_internal.h>
#include <vexa/bf/position_guard_internal.h>
#include <vexa/foundation/io.h>
#include <vexa/foundation/types.h>
#include <vexa/foundation/utility.h>

namespace Vexa::bf {

/// What the caller hands in: `n` samples, or their two parts, of his own type.
struct StackImp::Samples {
    int type;
    void const* re;
    void const* im;
    unsigned long n;

    bool only_zeros() const { return re == zeros && (!im || im == zeros); }
    void advance(unsigned long count) {
        n -= count;
        std::size_t const bytes = count * vexa_dt_get_size(type);
        if (re != zeros) re = static_cast<char const*>(re) + bytes;
        if (im && im != zeros) im = static_cast<char const*>(im) + bytes;
    }
};

void StackImp::write(int type, void const* re, void const* im, unsigned long n) {
    auto const held = file();
    write_imp(type, re, im, n, held.get());
}

void StackImp::write_end(int type) { write(type, nullptr, nullptr, 0); }

void StackImp::write_imp(int type, void const* re, void const* im, unsigned long n, FileImp* file) {
    if (write_position_ == all) write_position_ = file->tell();
    PositionGuard back(*file);
    if (status_ != stack_status::reserved) {
        back.release();
        if (back.position() != write_position_ && status_ != stack_status::chunk_wise_writing)
            throw std::runtime_error("File pointer at invalid position encountered.");
    }
    {
        vx::utility::scope_exit const follow([&] {
            if (file->is_open()) write_position_ = file->tell();
        });
        write_at_position({type, re, im, n}, *file);
    }
    back.restore();
}

void StackImp::write_at_position(Samples samples, FileImp& file) {
    bool const chunk_wise = write_mode_.test(WriteModeFlags::chunk_wise);
    if (!chunk_wise && file.tell() != write_position_) file.seek(write_position_);
    if (status_ == stack_status::complete)
        throw std::runtime_error("Stack is already complete. Invalid call to write().");
    if (status_ == stack_status::unread)
        throw std::runtime_error("Stack not ready to be committed. Meta-information missing.");
    bool const committing = status_ == stack_status::uncommitted;
    if (committing) commit(samples, file);
    bool const last = check_write(samples, committing);
    if (samples.n != 0) write_samples(samples, last, file);
    if (last) finish(file);
}

// The commit

/// Settle count and type, and put the header on disk. On an exception nothing counts as committed.
void StackImp::commit(Samples& samples, FileImp& file) {
    samples_written_ = 0;
    if (variable_size_) {
        if (samples.n == all) samples.n = 0;
    } else if (!data_less_) {
        samples_left_ = number_of_elements();
        if (samples.n == all) samples.n = samples_left_;
    } else if (samples.n != 0) {
        throw std::runtime_error("Trying to write to empty stack.");
    }
    settle_type(samples);
    check_size();
    file.write_pending_header();
    write_header(&file);
    data_start_position_ = file.tell();
    open_section(file);
    if (reserving_)
        status_ = stack_status::reserved;
    else if (write_mode_.test(WriteModeFlags::chunk_wise))
        status_ = stack_status::chunk_wise_writing;
    else
        status_ = stack_status::writing;
}

/// The first write decides on an open type.
void StackImp::settle_type(Samples const& samples) {
    if (type_ == 0 && samples.type != 0)
        set_variable_type(samples.im ? samples.type | types::complex_flag : samples.type);
    bool const empty = samples.n == 0 && samples_left_ == 0;
    if (type_ == 0) {
        if (!empty || (samples.re && samples.re != zeros))
            throw std::runtime_error("Stack data type not set. Cannot commit stack to file.");
        set_type(samples.im ? types::complex_flag | types::uint8 : types::uint8);
    }
    // Samples of such a type could never be written, nor the stack be finished.
    if (!empty && vexa_dt_get_size(type_) == 0) throw std::runtime_error("Unknown type of elements.");
}

/// A stack that could neither be written to its end nor read.
void StackImp::check_size() const {
    unsigned long bytes = 0;
    if (__builtin_mul_overflow(samples_left_, vexa_dt_get_size(type_), &bytes))
        throw std::runtime_error("Invalid stack size: Larger than the addressable memory.");
}

void StackImp::open_section(FileImp& file) {
    chunked_.initialize(file, write_mode_.test(WriteModeFlags::chunk_wise),
                        write_mode_.test(WriteModeFlags::no_flush));
    zipped_.initialize(chunked_, effective_level());
    if (flush_block_size_ == all)
        flush_block_size_ = choose_flush_block_size(shape_, vexa_dt_get_size(type_));
    if (flush_block_size_ != 0) zipped_.set_flush_block_size(flush_block_size_);
}

// Checks

/// \return whether the stack is finished with these samples
bool StackImp::check_write(Samples const& samples, bool committing) const {
    if (samples.im) check_imaginary(samples);
    if (samples.n != 0) {
        unsigned long const room =
            variable_size_ ? (samples_per_plane_ ? all - samples_written_ - 1 : 0) : samples_left_;
        if (samples.n > room)
            throw std::runtime_error("Trying to write more samples than the stack is long.");
        if (!samples.re) throw std::runtime_error("No samples given.");
        return (!variable_size_ && samples.n == samples_left_) || truncating_;
    }
    if (committing && status_ != stack_status::writing) return samples_left_ == 0 || truncating_;
    if (variable_size_) {
        if (planes(samples_written_) * samples_per_plane_ != samples_written_)
            throw std::runtime_error("Not on sample boundary.");
    } else if (!data_less_ && samples_left_ != 0) {
        throw std::runtime_error("Not enough samples written.");
    }
    return true;
}

void StackImp::check_imaginary(Samples const& samples) const {
    if (types::is_complex(samples.type))
        throw std::runtime_error("Imaginary block given but buffer is already complex.");
    if (!types::is_complex(type_))
        throw std::runtime_error("Imaginary block given but stack is not complex.");
}

unsigned long StackImp::planes(unsigned long samples) const {
    return samples_per_plane_ == 0 ? 0 : samples / samples_per_plane_;
}

// Samples

void StackImp::write_samples(Samples samples, bool last, FileImp& file) {
    // Only where the footer can stand at the start of the section may the section be empty.
    bool const empty_allowed = samples_written_ != 0 || file.tell() == data_start_position_;
    if (last && samples.only_zeros() && write_mode_.test(WriteModeFlags::no_padding) && empty_allowed) {
        if (variable_size_) set_variable_size(planes(samples_written_ + samples.n), plane_length_);
        return;
    }
    std::size_t const element = vexa_dt_get_size(type_);
    unsigned long const block = std::max(file.chunk_size() / element, 1ul);
    std::vector<unsigned char> zero_block;
    if (samples.re == zeros || samples.im == zeros)
        zero_block.resize(std::min(block, samples.n) * vexa_dt_get_size(samples.type));
    while (samples.n != 0) {
        unsigned long const n = std::min(samples.n, block);
        Samples part{samples.type, samples.re, samples.im, n};
        if (part.re == zeros) part.re = zero_block.data();
        if (part.im == zeros) part.im = zero_block.data();
        zipped_.write(converted(part), n * element);
        file.report_progress(n * element);
        if (!variable_size_) samples_left_ -= n;
        samples_written_ += n;
        samples.advance(n);
    }
    if (variable_size_) set_variable_size(planes(samples_written_), plane_length_);
}

/// The samples in the type of the stack.
void const* StackImp::converted(Samples const& samples) {
    if (samples.type == type_ && !samples.im) return samples.re;
    conversion_buffer_.resize(samples.n * vexa_dt_get_size(type_));
    if (vexa_dt_convert(samples.type, type_, samples.re, conversion_buffer_.data(), samples.n, samples.im,
                        nullptr) != 0)
        throw_invalid_conversion(samples.im ? samples.type | types::complex_flag : samples.type, type_);
    return conversion_buffer_.data();
}

// The end

void StackImp::finish(FileImp& file) {
    if (!footer_written_) {
        if (samples_written_ == 0 && file.tell() == data_start_position_)
            data_length_ = 0;
        else
            close_section(file);
        write_footer(&file);
        footer_written_ = true;
    }
    status_ = stack_status::complete;
    zipped_.end();
    conversion_buffer_ = {};
}

void StackImp::close_section(FileImp& file) {
    zipped_.write_end();
    chunked_.write(nullptr, 0);
    data_length_ = file.tell() - data_start_position_;
    if (flush_block_size_ != 0) {
        flush_positions_ = zipped_.flush_positions();
        // A cancelled write may have left blocks that were not counted.
        unsigned long const blocks = samples_written_ * vexa_dt_get_size(type_) / flush_block_size_;
        if (flush_positions_.size() > blocks) flush_positions_.resize(blocks);
    }
    chunk_records_ = chunked_.chunk_positions();
}

} // namespace Vexa::bf
