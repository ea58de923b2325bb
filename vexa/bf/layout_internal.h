#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <vexa/foundation/field_internal.h>

/// The blocks of fixed size in a VBF file, each field once. Values move through these tables; a field that is
/// patched later is patched through its name. All integers and floats are little-endian, as is the machine.
namespace Vexa::bf {

/// The most axes a stack in a file can have.
inline constexpr std::size_t max_rank = 15;

/// A value for each possible axis; entries from the rank on stay zero.
template <typename T>
using PerAxis = std::array<T, max_rank>;

inline constexpr std::uint16_t block_marker = 0xFFFF;

struct FileHeaderLayout {
    static constexpr std::array<char, 8> magic_text{'V', 'E', 'X', 'A', '_', 'B', 'F', '\n'};

    static constexpr Field<std::array<char, 8>> magic{0};
    static constexpr Field<std::uint16_t> marker{magic.end()};
    static constexpr Field<std::uint32_t> format_version{marker.end()};
    static constexpr Field<std::uint64_t> first_stack_position{format_version.end()};
    static constexpr Field<std::uint32_t> description_length{first_stack_position.end()};
    static constexpr std::size_t size = description_length.end();
};

struct StackHeaderLayout {
    static constexpr std::array<char, 14> magic_text{'V', 'E', 'X', 'A', '_', 'B', 'F',
                                                     '_', 'S', 'T', 'A', 'C', 'K', '\n'};

    static constexpr Field<std::array<char, 14>> magic{0};
    static constexpr Field<std::uint16_t> marker{magic.end()};
    static constexpr Field<std::uint32_t> stack_format_version{marker.end()};
    static constexpr Field<std::uint32_t> rank{stack_format_version.end()};
    static constexpr Field<PerAxis<std::uint32_t>> shape{rank.end()};
    static constexpr Field<PerAxis<double>> lengths{shape.end()};
    static constexpr Field<PerAxis<double>> offsets{lengths.end()};
    static constexpr Field<std::int32_t> type{offsets.end()};
    static constexpr Field<std::int32_t> compression_type{type.end()};
    static constexpr Field<std::int32_t> compression_level{compression_type.end()};
    static constexpr Field<std::uint32_t> name_length{compression_level.end()};
    static constexpr Field<std::uint32_t> description_length{name_length.end()};
    static constexpr Field<std::uint64_t> has_data{description_length.end()};
    static constexpr Field<std::uint64_t> data_length{has_data.end()};
    static constexpr Field<std::uint64_t> next_stack_position{data_length.end()};
    static constexpr std::size_t size = next_stack_position.end();
};

struct UnitRecordLayout {
    /// Nine pairs of numerator and denominator.
    static constexpr Field<std::array<std::int32_t, 18>> exponents{0};
    static constexpr Field<double> factor{exponents.end()};
    static constexpr std::size_t size = factor.end();
};

struct FooterLayout {
    using UnitBytes = std::array<std::byte, UnitRecordLayout::size>;

    static constexpr Field<std::uint32_t> footer_size{0};
    static constexpr Field<PerAxis<std::uint32_t>> has_col_positions{footer_size.end()};
    static constexpr Field<PerAxis<std::uint32_t>> has_col_labels{has_col_positions.end()};
    static constexpr Field<std::uint32_t> obsolete_text_length{has_col_labels.end()};
    static constexpr Field<UnitBytes> data_units{obsolete_text_length.end()};
    static constexpr Field<PerAxis<UnitBytes>> axis_units{data_units.end()};
    static constexpr Field<std::uint64_t> flush_position_count{axis_units.end()};
    static constexpr Field<std::uint64_t> flush_block_size{flush_position_count.end()};
    static constexpr Field<std::uint64_t> tag_bytes{flush_block_size.end()};
    static constexpr Field<std::uint64_t> end_of_stack_position{tag_bytes.end()};
    static constexpr Field<std::uint32_t> required_reader_version{end_of_stack_position.end()};
    static constexpr Field<std::uint64_t> footer_end_position{required_reader_version.end()};
    static constexpr Field<std::uint64_t> samples_written{footer_end_position.end()};
    static constexpr Field<std::uint64_t> chunk_record_count{samples_written.end()};
    static constexpr Field<PerAxis<std::uint32_t>> has_xy_col_positions{chunk_record_count.end()};
    static constexpr std::size_t size = has_xy_col_positions.end();
};

static_assert(FileHeaderLayout::format_version.offset == 10);
static_assert(FileHeaderLayout::first_stack_position.offset == 14);
static_assert(FileHeaderLayout::description_length.offset == 22);
static_assert(FileHeaderLayout::size == 26);

static_assert(StackHeaderLayout::stack_format_version.offset == 16);
static_assert(StackHeaderLayout::shape.offset == 24 && StackHeaderLayout::lengths.offset == 84);
static_assert(StackHeaderLayout::offsets.offset == 204 && StackHeaderLayout::type.offset == 324);
static_assert(StackHeaderLayout::name_length.offset == 336 && StackHeaderLayout::has_data.offset == 344);
static_assert(StackHeaderLayout::data_length.offset == 352);
static_assert(StackHeaderLayout::next_stack_position.offset == 360);
static_assert(StackHeaderLayout::size == 368);

static_assert(UnitRecordLayout::factor.offset == 72 && UnitRecordLayout::size == 80);

static_assert(FooterLayout::has_col_labels.offset == 64 && FooterLayout::obsolete_text_length.offset == 124);
static_assert(FooterLayout::data_units.offset == 128 && FooterLayout::axis_units.offset == 208);
static_assert(FooterLayout::flush_position_count.offset == 1408);
static_assert(FooterLayout::flush_block_size.offset == 1416 && FooterLayout::tag_bytes.offset == 1424);
static_assert(FooterLayout::end_of_stack_position.offset == 1432);
static_assert(FooterLayout::required_reader_version.offset == 1440);
static_assert(FooterLayout::footer_end_position.offset == 1444);
static_assert(FooterLayout::samples_written.offset == 1452);
static_assert(FooterLayout::chunk_record_count.offset == 1460);
static_assert(FooterLayout::has_xy_col_positions.offset == 1468);
static_assert(FooterLayout::size == 1528);

} // namespace Vexa::bf
