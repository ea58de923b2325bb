#include <vexa/bf/records_internal.h>

#include <bit>
#include <cstddef>
#include <stdexcept>
#include <type_traits>

#include <fmt/format.h>

namespace Vexa::bf {

FileHeader::Bytes FileHeader::encode() const {
    using L = FileHeaderLayout;
    Bytes block{};
    L::magic.store(block, L::magic_text);
    L::marker.store(block, block_marker);
    L::format_version.store(block, format_version);
    L::first_stack_position.store(block, first_stack_position);
    L::description_length.store(block, description_length);
    return block;
}

FileHeader FileHeader::decode(Bytes const& block) {
    using L = FileHeaderLayout;
    if (L::magic.load(block) != L::magic_text || L::marker.load(block) != block_marker)
        throw std::runtime_error("No VBF file header found.");
    return {.format_version = L::format_version.load(block),
            .first_stack_position = L::first_stack_position.load(block),
            .description_length = L::description_length.load(block)};
}

StackHeader::Bytes StackHeader::encode() const {
    using L = StackHeaderLayout;
    Bytes block{};
    L::magic.store(block, L::magic_text);
    L::marker.store(block, block_marker);
    L::stack_format_version.store(block, stack_format_version);
    L::rank.store(block, rank);
    L::shape.store(block, shape);
    L::lengths.store(block, lengths);
    L::offsets.store(block, offsets);
    L::type.store(block, type);
    L::compression_type.store(block, compression_type);
    L::compression_level.store(block, compression_level);
    L::name_length.store(block, name_length);
    L::description_length.store(block, description_length);
    L::has_data.store(block, has_data);
    L::data_length.store(block, data_length);
    L::next_stack_position.store(block, next_stack_position);
    return block;
}

StackHeader StackHeader::decode(Bytes const& block) {
    using L = StackHeaderLayout;
    if (L::magic.load(block) != L::magic_text || L::marker.load(block) != block_marker)
        throw std::runtime_error("Stack header not in VBF format.");
    return {.stack_format_version = L::stack_format_version.load(block),
            .rank = L::rank.load(block),
            .shape = L::shape.load(block),
            .lengths = L::lengths.load(block),
            .offsets = L::offsets.load(block),
            .type = L::type.load(block),
            .compression_type = L::compression_type.load(block),
            .compression_level = L::compression_level.load(block),
            .name_length = L::name_length.load(block),
            .description_length = L::description_length.load(block),
            .has_data = L::has_data.load(block),
            .data_length = L::data_length.load(block),
            .next_stack_position = L::next_stack_position.load(block)};
}

void StackHeader::check() const {
    if (rank > max_rank) throw std::runtime_error(fmt::format("Invalid stack rank {}.", rank));
}

// A unit record in memory is laid out like its block.
static_assert(sizeof(UnitRecord) == UnitRecordLayout::size && std::is_trivially_copyable_v<UnitRecord>);
static_assert(offsetof(UnitRecord, exponents) == UnitRecordLayout::exponents.offset);
static_assert(offsetof(UnitRecord, factor) == UnitRecordLayout::factor.offset);
static_assert(sizeof(UnitRecord::Exponent) == 2 * sizeof(std::int32_t));

UnitRecord::Bytes UnitRecord::encode() const { return std::bit_cast<Bytes>(*this); }

UnitRecord UnitRecord::decode(Bytes const& block) { return std::bit_cast<UnitRecord>(block); }

StackFooter::Bytes StackFooter::encode() const {
    using L = FooterLayout;
    Bytes block{};
    L::footer_size.store(block, footer_size);
    L::has_col_positions.store(block, has_col_positions);
    L::has_col_labels.store(block, has_col_labels);
    L::obsolete_text_length.store(block, obsolete_text_length);
    L::data_units.store(block, data_units.encode());
    L::axis_units.store(block, std::bit_cast<PerAxis<UnitRecord::Bytes>>(axis_units));
    L::flush_position_count.store(block, flush_position_count);
    L::flush_block_size.store(block, flush_block_size);
    L::tag_bytes.store(block, tag_bytes);
    L::end_of_stack_position.store(block, end_of_stack_position);
    L::required_reader_version.store(block, required_reader_version);
    L::footer_end_position.store(block, footer_end_position);
    L::samples_written.store(block, samples_written);
    L::chunk_record_count.store(block, chunk_record_count);
    L::has_xy_col_positions.store(block, has_xy_col_positions);
    return block;
}

StackFooter StackFooter::decode(Bytes const& block) {
    using L = FooterLayout;
    return {.footer_size = L::footer_size.load(block),
            .has_col_positions = L::has_col_positions.load(block),
            .has_col_labels = L::has_col_labels.load(block),
            .obsolete_text_length = L::obsolete_text_length.load(block),
            .data_units = UnitRecord::decode(L::data_units.load(block)),
            .axis_units = std::bit_cast<PerAxis<UnitRecord>>(L::axis_units.load(block)),
            .flush_position_count = L::flush_position_count.load(block),
            .flush_block_size = L::flush_block_size.load(block),
            .tag_bytes = L::tag_bytes.load(block),
            .end_of_stack_position = L::end_of_stack_position.load(block),
            .required_reader_version = L::required_reader_version.load(block),
            .footer_end_position = L::footer_end_position.load(block),
            .samples_written = L::samples_written.load(block),
            .chunk_record_count = L::chunk_record_count.load(block),
            .has_xy_col_positions = L::has_xy_col_positions.load(block)};
}

void StackFooter::check_size(std::uint32_t footer_size) {
    if (footer_size < FooterLayout::footer_size.end())
        throw std::runtime_error(fmt::format("Invalid footer size {}.", footer_size));
}

void StackFooter::check_reader_version() const {
    if (required_reader_version <= reader_version || required_reader_version == 0xFFFFFFFF) return;
    throw std::runtime_error(fmt::format("Cannot read stack with file format reader version {}. Need >= {}.",
                                         reader_version, required_reader_version));
}

} // namespace Vexa::bf
