#include <vexa/bf/StackImp.h>

#include <stdexcept>

#include <fmt/format.h>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/layout_internal.h>
#include <vexa/bf/read_only_view_internal.h>
#include <vexa/foundation/types.h>

namespace Vexa::bf {

namespace {

std::vector<unsigned long> const& checked_rank(std::vector<unsigned long> const& shape) {
    if (shape.size() > max_rank) throw std::invalid_argument("A stack in a file can have at most 15 axes.");
    return shape;
}

Vexa::arrays::StackInfoInterface const& checked_rank(Vexa::arrays::StackInfoInterface const& info) {
    checked_rank(info.shape());
    return info;
}

} // namespace

StackInterface::~StackInterface() = default;

StackImp::StackImp(int type, std::vector<unsigned long> const& shape, bool data_less,
                   std::shared_ptr<FileImp> const& file)
    : StackInfoImp(type, checked_rank(shape)), file_(file) {
    apply_file_defaults(file);
    start_uncommitted(data_less);
}

StackImp::StackImp(Vexa::arrays::StackInfoInterface const& info, int type, bool data_less,
                   std::shared_ptr<FileImp> const& file)
    : StackInfoImp(checked_rank(info), type), file_(file) {
    apply_file_defaults(file);
    start_uncommitted(data_less);
}

StackImp::StackImp(std::shared_ptr<FileImp> const& file)
    : StackInfoImp(0, {}), file_(file), session_(file ? file->session() : 0) {}

StackImp::~StackImp() = default;

void StackImp::start_uncommitted(bool data_less) {
    data_less_ = data_less;
    status_ = stack_status::uncommitted;
    variable_size_ = !shape_.empty() && shape_.back() == 0;
    samples_per_plane_ = 1;
    if (variable_size_)
        for (std::size_t axis = 0; axis + 1 < shape_.size(); ++axis) samples_per_plane_ *= shape_[axis];
}

void StackImp::apply_file_defaults(std::shared_ptr<FileImp> const& file) {
    if (!file) return;
    session_ = file->session();
    compression_type_ = file->default_compression_type;
    compression_level_ = file->default_compression_level;
    write_mode_ = file->default_write_mode;
}

std::shared_ptr<FileImp> StackImp::file() const {
    auto file = file_.lock();
    if (!file || file->session() != session_)
        throw std::runtime_error("Cannot access File_Stack, file has been closed.");
    return file;
}

// Settings

void StackImp::set_compression(int type, int level) {
    auto const held = file();
    if (status_ != stack_status::uncommitted && status_ != stack_status::unread)
        throw std::runtime_error("Cannot change compression mode.");
    compression_type_ = type;
    compression_level_ = level;
}

void StackImp::get_compression(int& type, int& level) const {
    type = compression_type_;
    level = compression_level_;
}

void StackImp::set_flush_block_size(unsigned long size) {
    auto const held = file();
    if (status_ != stack_status::uncommitted)
        throw std::runtime_error("Flush block size can only be set before starting to write.");
    flush_block_size_ = size;
}

void StackImp::set_write_mode(WriteMode mode) {
    auto const held = file();
    if (status_ != stack_status::uncommitted)
        throw std::runtime_error("Invalid attempt to change write flags.");
    write_mode_ = mode;
}

int StackImp::io_status() { return status_; }

unsigned long StackImp::samples_written() const { return samples_written_; }

void StackImp::set_type(int type) {
    throw_if_locked();
    type_ = type;
}

void StackImp::set_variable_type(int type) {
    if (type_ != 0) throw std::runtime_error(fmt::format("The type is already set to '{}'.", type_));
    set_type(type);
}

void StackImp::set_shape(std::vector<unsigned long> const& shape) {
    StackInfoImp::set_shape(checked_rank(shape));
}

void StackImp::set_variable_size(unsigned long n, double step) {
    set_last_axis(n, static_cast<double>(n) * step);
}

void StackImp::set_bare_samples(unsigned long position, std::vector<double> const& lengths) {
    if (__builtin_mul_overflow(number_of_elements(), vexa_dt_get_size(type_), &data_length_) ||
        __builtin_add_overflow(position, data_length_, &end_of_stack_position_))
        throw std::runtime_error("Invalid stack size: Larger than the addressable memory.");
    set_lengths(lengths);
    data_start_position_ = position;
    compression_type_ = 0;
    flush_block_size_ = 0;
    samples_written_ = number_of_elements();
    chunk_records_ = {{position, position}};
    locked_ = true;
    set_complete();
}

StackRecord StackImp::record() const {
    StackRecord record;
    record.stack_position = stack_position_;
    record.data_start_position = data_start_position_;
    record.data_length = data_length_;
    record.end_of_stack_position = end_of_stack_position_;
    record.stack_format_version = stack_format_version_;
    record.samples_written = samples_written_;
    if (flush_block_size_ != static_cast<unsigned long>(-1)) record.flush_block_size = flush_block_size_;
    record.flush_positions = flush_positions_;
    record.chunk_records = chunk_records_;
    record.compression_type = compression_type_;
    record.compression_level = compression_level_;
    record.data_less = data_less_;
    record.variable_size = variable_size_;
    return record;
}

/// What the data section is compressed with; 0 for a plain one. zlib knows nothing above 9.
int StackImp::effective_level() const {
    if (compression_type_ != 1 || compression_level_ < 0) return 0;
    return compression_level_ > 9 ? 9 : compression_level_;
}

} // namespace Vexa::bf
