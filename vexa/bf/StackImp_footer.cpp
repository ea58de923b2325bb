// The footer of a stack's record: the fixed part, and what follows it.

#include <vexa/bf/StackImp.h>

#include <array>
#include <stdexcept>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/footer_reader_internal.h>
#include <vexa/bf/position_guard_internal.h>
#include <vexa/bf/record_reader_internal.h>
#include <vexa/bf/records_internal.h>
#include <vexa/bf/stack_tags_internal.h>

namespace Vexa::bf {

namespace {

using Vexa::units::RuntimeValue;

UnitRecord record_of(RuntimeValue const& unit) {
    UnitRecord record;
    for (std::size_t i = 0; i < record.exponents.size(); ++i)
        record.exponents[i] = {.numerator = unit.exponents[i].numerator,
                               .denominator = unit.exponents[i].denominator};
    record.factor = unit.value;
    return record;
}

void set_from_record(RuntimeValue& unit, UnitRecord const& record) {
    if (record == UnitRecord{}) return unit.clear();
    std::array<Vexa::units::detail::Fraction, 9> exponents;
    for (std::size_t i = 0; i < exponents.size(); ++i) {
        exponents[i] = {record.exponents[i].numerator, record.exponents[i].denominator};
        exponents[i].reduce();
    }
    unit.set_value(exponents, record.factor);
}

/// Whether an axis has a value for each of its columns. A list of another length is a left-over of a smaller
/// axis: a reader would take it for the wrong number of columns.
template <typename T>
bool has_columns(std::vector<T> const& columns, unsigned long size) {
    return !columns.empty() && columns.size() == size;
}

template <typename T>
void append(std::string& bytes, T const* values, std::size_t count) {
    bytes.append(reinterpret_cast<char const*>(values), count * sizeof(T));
}

void append_counted(std::string& bytes, std::string const& text) {
    auto const length = static_cast<std::uint32_t>(text.size());
    append(bytes, &length, 1);
    bytes.append(text, 0, length);
}

void append_pairs(std::string& bytes, auto const& pairs) {
    for (auto const& [first, second] : pairs) {
        append(bytes, &first, 1);
        append(bytes, &second, 1);
    }
}

template <typename T>
std::vector<std::pair<T, T>> read_pairs(RecordReader& in, unsigned long count) {
    in.require(count, 2 * sizeof(T));
    std::vector<std::pair<T, T>> pairs(count);
    for (auto& [first, second] : pairs) {
        auto const both = in.value<std::array<T, 2>>();
        first = both[0];
        second = both[1];
    }
    return pairs;
}

} // namespace

StackFooter StackImp::make_footer() const {
    StackFooter footer;
    footer.footer_size = FooterLayout::size;
    for (std::size_t axis = 0; axis < shape_.size(); ++axis) {
        unsigned long const size = shape_[axis];
        footer.has_col_positions[axis] = has_columns(columns_[axis].positions, size);
        footer.has_col_labels[axis] = has_columns(columns_[axis].labels, size);
        footer.has_xy_col_positions[axis] = has_columns(columns_[axis].xy_positions, size);
        footer.axis_units[axis] = record_of(units_[axis]);
    }
    footer.data_units = record_of(data_units_);
    footer.flush_position_count = flush_positions_.size();
    footer.flush_block_size = flush_block_size_;
    footer.required_reader_version = chunk_records_.size() > 1 ? 6 : 0;
    footer.samples_written = samples_written_;
    footer.chunk_record_count = chunk_records_.size();
    return footer;
}

std::string StackImp::footer_tail(std::map<std::string, std::string> const& tags) const {
    std::string bytes;
    for (std::string const& label : labels_) append_counted(bytes, label);
    for (std::size_t axis = 0; axis < shape_.size(); ++axis)
        if (has_columns(columns_[axis].positions, shape_[axis]))
            append(bytes, columns_[axis].positions.data(), shape_[axis]);
    for (std::size_t axis = 0; axis < shape_.size(); ++axis)
        if (has_columns(columns_[axis].labels, shape_[axis]))
            for (std::string const& label : columns_[axis].labels) append_counted(bytes, label);
    append(bytes, flush_positions_.data(), flush_positions_.size());
    for (auto const& [key, value] : tags) {
        append_counted(bytes, key);
        append_counted(bytes, value);
    }
    append_counted(bytes, {});
    append_pairs(bytes, chunk_records_);
    for (std::size_t axis = 0; axis < shape_.size(); ++axis)
        if (has_columns(columns_[axis].xy_positions, shape_[axis]))
            append_pairs(bytes, columns_[axis].xy_positions);
    return bytes;
}

void StackImp::write_footer(FileImp* file) {
    auto const tags = tag_texts(tags_);
    std::string const tail = footer_tail(tags);
    unsigned long const end = file->tell() + FooterLayout::size + tail.size();
    bool const in_reserved_room = status_ == stack_status::reserved && end_of_stack_position_ != 0;
    if (in_reserved_room && end > end_of_stack_position_)
        throw std::runtime_error("Trying to write beyond file segment boundary.");

    StackFooter footer = make_footer();
    footer.tag_bytes = sizeof(std::uint32_t);
    for (auto const& [key, value] : tags)
        footer.tag_bytes += 2 * sizeof(std::uint32_t) + key.size() + value.size();
    if (!in_reserved_room) end_of_stack_position_ = end;
    footer.end_of_stack_position = end_of_stack_position_;
    footer.footer_end_position = end;

    auto const block = footer.encode();
    file->write(block.data(), block.size());
    file->write(tail.data(), tail.size());
    complete_header(*file);
}

/// Enter into the header what became known since it was written.
void StackImp::complete_header(FileImp& file) const {
    PositionGuard back(file);
    file.seek(stack_position_ + StackHeaderLayout::data_length.offset);
    file.write(&data_length_, sizeof data_length_);
    if (variable_size_) {
        std::size_t const last = shape_.size() - 1;
        // Deliberate: 8 bytes over a field of 4. The high half is 0 and falls on the next size, which is 0
        // too, or for the last of 15 axes on the low half of the first length, which loses precision by it.
        std::uint64_t const size = shape_.back();
        file.seek(stack_position_ + StackHeaderLayout::shape.element(last));
        file.write(&size, sizeof size);
        file.seek(stack_position_ + StackHeaderLayout::lengths.element(last));
        file.write(&lengths_.back(), sizeof(double));
    }
    back.restore();
}

void StackImp::read_footer(FileImp* file) {
    RecordReader in(*file, file->tell(), file->end_position());
    read_footer(in);
}

void StackImp::read_footer(RecordReader& in) {
    unsigned long position = 0;
    if (__builtin_add_overflow(data_start_position_, data_length_, &position))
        throw std::runtime_error("The offset exceeds the maximum offset.");
    if (stack_format_version_ == 0) {
        end_of_stack_position_ = position;
        samples_written_ = number_of_elements();
        return;
    }
    in.seek(position);
    StackFooter const footer = read_footer_block(in);
    footer.check_reader_version();

    read_footer_tail(in, footer);
    end_of_stack_position_ = footer.end_of_stack_position ? footer.end_of_stack_position : in.position();
    samples_written_ = footer.samples_written ? footer.samples_written : number_of_elements();
}

void StackImp::read_footer_tail(RecordReader& in, StackFooter const& footer) {
    for (std::string& label : labels_) label = in.counted_string();
    for (std::size_t axis = 0; axis < shape_.size(); ++axis)
        set_from_record(units_[axis], footer.axis_units[axis]);
    set_from_record(data_units_, footer.data_units);
    read_columns(in, footer);
    in.require(footer.obsolete_text_length, 1);
    in.skip(footer.obsolete_text_length);
    flush_positions_ = in.array<unsigned long>(footer.flush_position_count);
    flush_block_size_ = flush_positions_.empty() ? 0 : footer.flush_block_size;
    if (footer.tag_bytes != 0) {
        std::map<std::string, std::string> texts;
        in.tag_list(texts);
        read_tag_texts(texts, tags_);
    }
    chunk_records_ = read_pairs<unsigned long>(in, footer.chunk_record_count);
    for (std::size_t axis = 0; axis < shape_.size(); ++axis)
        if (footer.has_xy_col_positions[axis])
            columns_[axis].xy_positions = read_pairs<double>(in, shape_[axis]);
}

void StackImp::read_columns(RecordReader& in, StackFooter const& footer) {
    for (std::size_t axis = 0; axis < shape_.size(); ++axis) {
        if (!footer.has_col_positions[axis] || shape_[axis] == 0) continue;
        columns_[axis].positions = in.array<double>(shape_[axis]);
        columns_[axis].equidistant = false;
    }
    for (std::size_t axis = 0; axis < shape_.size(); ++axis) {
        if (!footer.has_col_labels[axis]) continue;
        in.require(shape_[axis], sizeof(std::uint32_t));
        columns_[axis].labels.resize(shape_[axis]);
        for (std::string& label : columns_[axis].labels) label = in.counted_string();
    }
}

} // namespace Vexa::bf
