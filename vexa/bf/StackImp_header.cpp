// The header of a stack's record.

#include <vexa/bf/StackImp.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/record_reader_internal.h>
#include <vexa/bf/records_internal.h>

namespace Vexa::bf {

void StackImp::write_header(FileImp* file) {
    if (static_cast<std::uint32_t>(compression_type_) > 1)
        throw std::runtime_error("Invalid compression type specified.");
    StackHeader header;
    header.rank = static_cast<std::uint32_t>(shape_.size());
    for (std::size_t axis = 0; axis < shape_.size(); ++axis) {
        header.shape[axis] = static_cast<std::uint32_t>(shape_[axis]);
        header.lengths[axis] = lengths_[axis];
        header.offsets[axis] = offsets_[axis];
    }
    header.type = type_;
    header.compression_type = compression_type_;
    header.compression_level = compression_level_;
    header.name_length = static_cast<std::uint32_t>(name_.size());
    header.description_length = static_cast<std::uint32_t>(description_.size());
    header.has_data = data_less_ ? 0 : 1;

    stack_format_version_ = header.stack_format_version;
    stack_position_ = file->tell();
    auto const block = header.encode();
    file->write(block.data(), block.size());
    file->write_str(name_, false);
    file->write_str(description_, false);

    plane_length_ = variable_size_ ? lengths_.back() : 0.0;
    locked_ = true;
    file->on_stack_header_written(stack_position_);
}

unsigned long StackImp::read_header(FileImp* file) {
    RecordReader in(*file, file->tell(), file->end_position());
    return read_header(in);
}

unsigned long StackImp::read_header(RecordReader& in) {
    stack_position_ = in.position();
    StackHeader const header = StackHeader::decode(in.value<StackHeader::Bytes>());
    if (status_ != stack_status::unread) throw std::runtime_error("Cannot set data layout.");
    header.check();
    stack_format_version_ = header.stack_format_version;

    type_ = header.type;
    set_shape({header.shape.begin(), header.shape.begin() + header.rank});
    start_uncommitted(header.data_length == 0);
    for (std::size_t axis = 0; axis < header.rank; ++axis) {
        lengths_[axis] = std::isnan(header.lengths[axis]) ? 1.0 : header.lengths[axis];
        offsets_[axis] = header.offsets[axis];
    }
    name_ = in.text(header.name_length);
    description_ = in.text(header.description_length);

    data_start_position_ = in.position();
    data_length_ = header.data_length;
    compression_type_ = header.compression_type;
    compression_level_ = header.compression_level;
    flush_block_size_ = 0;
    flush_positions_.clear();
    chunk_records_.clear();
    return header.next_stack_position;
}

unsigned long StackImp::read_info() {
    auto const file = this->file();
    RecordReader in(*file, file->tell(), file->end_position());
    unsigned long const next = read_header(in);
    read_footer(in);
    file->count_record_bytes(in.consumed());
    return next;
}

} // namespace Vexa::bf
