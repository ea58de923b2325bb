#include <vexa/bf/Compacter.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <vexa/bf/FileInterface.h>
#include <vexa/bf/footer_reader_internal.h>
#include <vexa/bf/visited_positions_internal.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/utility.h>

namespace Vexa {

namespace bf {

namespace {

constexpr unsigned long block_size = 4194304;
constexpr unsigned long position_size = sizeof(std::uint64_t);

std::runtime_error corrupt() { return std::runtime_error("Corrupt VBF file."); }

/// \throws unless there are \p n bytes from \p position on
void require_bytes(unsigned long position, unsigned long n, unsigned long size) {
    if (position > size || size - position < n) throw corrupt();
}

StackHeader decode_stack_header(StackHeader::Bytes const& block) {
    try {
        return StackHeader::decode(block);
    } catch (std::runtime_error const&) {
        throw corrupt();
    }
}

template <typename T>
bool has_field(Field<T> const& field, std::uint32_t footer_size) {
    return footer_size >= field.end();
}

/// Whether a footer ends within a field that may have to be changed.
template <typename T>
bool is_cut(Field<T> const& field, std::uint32_t footer_size) {
    return footer_size > field.offset && footer_size < field.end();
}

} // namespace

/// What is to be known of a stack's record. Positions are absolute, those of the source.
struct Compacter::Record {
    unsigned long stack_position = 0;
    unsigned long footer_position = 0;
    std::uint32_t footer_size = 0;         ///< of the fixed part; 0 without a footer
    unsigned long footer_end = 0;          ///< as noted: here the copy stops
    unsigned long end_of_stack = 0;        ///< as noted: here it goes on
    std::optional<unsigned long> used_end; ///< where the footer really ends, if that is in the file

    unsigned long gap() const { return end_of_stack - footer_end; }
};

Compacter::Compacter(std::filesystem::path source, std::filesystem::path destination)
    : destination_path_(std::move(destination)), source_path_(std::move(source)) {}

Compacter::~Compacter() = default;

void Compacter::set_progress_cb(std::function<bool(unsigned long)> const& callback) {
    progress_cb_ = callback;
}

bool Compacter::compact() {
    refuse_same_file();
    vx::utility::scope_exit const over([this] {
        source_.close();
        destination_.close();
    });
    source_.open(source_path_, DiskFile::Mode::read);
    source_size_ = source_.size();
    RecordReader in(source_, 0, source_size_);
    FileHeader const header = FileHeader::decode(in.value<FileHeader::Bytes>());
    if (header.format_version < 2 || header.first_stack_position == 0) return false;
    scan_chain(in, header.first_stack_position);
    if (unused_room() == 0) return false;
    unsigned long const header_end = FileHeaderLayout::size + header.description_length;
    check_layout(in, header_end);

    destination_.open(destination_path_, DiskFile::Mode::create);
    copy(header_end);
    destination_.flush_file_buffers();
    return true;
}

void Compacter::refuse_same_file() const {
    std::error_code neither_exists;
    if (std::filesystem::equivalent(source_path_.lexically_normal(), destination_path_.lexically_normal(),
                                    neither_exists))
        throw std::invalid_argument("Cannot compact a file into itself.");
}

// What is there

void Compacter::scan_chain(RecordReader& in, unsigned long first_position) {
    records_.clear();
    VisitedPositions visited;
    for (unsigned long position = first_position; position != 0;) {
        if (!visited.add(position)) throw corrupt();
        position = scan_record(in, position);
        // Each byte can belong to one record only, which also limits how long a made up chain is followed.
        if (in.consumed() > source_size_) throw corrupt();
    }
}

/// \return the position of the next record
unsigned long Compacter::scan_record(RecordReader& in, unsigned long position) {
    require_bytes(position, StackHeaderLayout::size, source_size_);
    in.seek(position);
    StackHeader const header = decode_stack_header(in.value<StackHeader::Bytes>());
    if (header.stack_format_version > StackHeader::current_version)
        throw VexaError(nullptr, nullptr,
                        0)("Cannot reliably compact: File stack version newer than compacter version.");

    Record record;
    record.stack_position = position;
    unsigned long const data_start =
        position + StackHeaderLayout::size + header.name_length + header.description_length;
    if (__builtin_add_overflow(data_start, header.data_length, &record.footer_position)) throw corrupt();
    scan_footer(in, header, record);
    records_.push_back(record);
    return header.next_stack_position;
}

void Compacter::scan_footer(RecordReader& in, StackHeader const& header, Record& record) const {
    unsigned long const position = record.footer_position;
    if (header.stack_format_version == 0) {
        require_bytes(position, 0, source_size_);
        record.used_end = record.footer_end = record.end_of_stack = position;
        return;
    }
    require_bytes(position, FooterLayout::footer_size.end(), source_size_);
    in.seek(position);
    StackFooter const footer = read_footer_block(in);
    record.footer_size = footer.footer_size;
    record.used_end = skip_footer_tail(in, header, footer);
    record.end_of_stack = footer.end_of_stack_position;
    record.footer_end = footer.footer_end_position;
    // Older writers noted one of the two, and before that none.
    if (record.footer_end == 0) record.footer_end = record.end_of_stack;
    if (record.end_of_stack < record.footer_end)
        throw VexaError(nullptr, nullptr,
                        0)("Cannot compact file: VBF file is corrupt: Invalid size of used data section.");
    if (record.end_of_stack == 0)
        record.footer_end = record.end_of_stack = record.used_end.value_or(position + footer.footer_size);
}

unsigned long Compacter::unused_room() const {
    unsigned long sum = 0;
    for (Record const& record : records_)
        if (__builtin_add_overflow(sum, record.gap(), &sum)) throw corrupt();
    return sum;
}

/// What is left out must be unused, and what is changed must be what it seems to be: records that follow each
/// other, the tag list behind them.
void Compacter::check_layout(RecordReader& in, unsigned long header_end) const {
    unsigned long behind = header_end + position_size;
    for (Record const& record : records_) {
        bool const room_is_unused = record.used_end && *record.used_end <= record.footer_end;
        if (record.stack_position < behind || !room_is_unused ||
            is_cut(FooterLayout::end_of_stack_position, record.footer_size) ||
            is_cut(FooterLayout::footer_end_position, record.footer_size))
            throw corrupt();
        behind = record.end_of_stack;
    }
    in.seek(header_end);
    auto const metadata_position = in.value<std::uint64_t>();
    bool const metadata_inside = metadata_position >= behind && metadata_position <= source_size_;
    if (behind > source_size_ || (metadata_position != 0 && !metadata_inside)) throw corrupt();
}

// The copy

void Compacter::copy(unsigned long header_end) {
    buffer_.resize(block_size);
    source_.seek(0);
    read_position_ = filled_ = 0;
    copy_to(header_end);
    copy_pos_with_offset(unused_room());
    unsigned long moved = 0;
    for (Record const& record : records_) {
        copy_record(record, moved);
        moved += record.gap();
    }
    copy_to(source_size_);
    write_buffer();
}

/// \param moved how much nearer to the start the record stands in the copy
void Compacter::copy_record(Record const& record, unsigned long moved) {
    copy_to(record.stack_position + StackHeaderLayout::next_stack_position.offset);
    copy_pos_with_offset(moved + record.gap());
    auto const move = [&](Field<std::uint64_t> const& field) {
        if (moved == 0 || !has_field(field, record.footer_size)) return;
        copy_to(record.footer_position + field.offset);
        copy_pos_with_offset(moved);
    };
    // Deliberate: the end of the stack keeps its distance from the footer, though the room in between is gone.
    move(FooterLayout::end_of_stack_position);
    move(FooterLayout::footer_end_position);
    copy_to(record.footer_end);
    if (record.gap() == 0) return;
    read_position_ += record.gap();
    source_.seek(record.end_of_stack);
}

void Compacter::copy_to(unsigned long position) {
    if (position < read_position_) throw corrupt();
    while (read_position_ != position) {
        make_space(1);
        unsigned long const n = std::min<unsigned long>(position - read_position_, buffer_.size() - filled_);
        source_.read(buffer_.data() + filled_, n);
        filled_ += n;
        read_position_ += n;
    }
}

/// Copy a position, less by \p offset; 0 stays, since it means "none".
void Compacter::copy_pos_with_offset(unsigned long offset) {
    std::uint64_t position = 0;
    source_.read(&position, sizeof position);
    if (position != 0) position -= offset;
    make_space(sizeof position);
    std::memcpy(buffer_.data() + filled_, &position, sizeof position);
    filled_ += sizeof position;
    read_position_ += sizeof position;
}

void Compacter::make_space(unsigned long n) {
    if (buffer_.size() - filled_ < n) write_buffer();
}

void Compacter::write_buffer() {
    destination_.write(buffer_.data(), filled_);
    if (progress_cb_ && !progress_cb_(filled_)) throw std::runtime_error("Cancelled by user.");
    filled_ = 0;
}

} // namespace bf

bool copy_file_if_sparse(std::filesystem::path const& source, std::filesystem::path const& destination) {
    return bf::Compacter(source, destination).compact();
}

} // namespace Vexa
