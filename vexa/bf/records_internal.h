#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <vexa/bf/layout_internal.h>

/// The blocks of a VBF file as plain values with their codecs. No I/O happens here, and decoding checks only
/// what makes a block the block it claims to be; whether its values can be true is asked by check().
namespace Vexa::bf {

struct FileHeader {
    std::uint32_t format_version = 2;
    std::uint64_t first_stack_position = 0; ///< 0: no stack
    std::uint32_t description_length = 0;

    using Bytes = std::array<std::byte, FileHeaderLayout::size>;
    Bytes encode() const;
    /// \throws std::runtime_error "No VBF file header found." for a wrong magic or marker
    static FileHeader decode(Bytes const& block);

    friend bool operator==(FileHeader const&, FileHeader const&) = default;
};

struct StackHeader {
    static constexpr std::uint32_t current_version = 7;

    std::uint32_t stack_format_version = current_version;
    std::uint32_t rank = 0;
    PerAxis<std::uint32_t> shape{};
    PerAxis<double> lengths{};
    PerAxis<double> offsets{};
    std::int32_t type = 0;
    std::int32_t compression_type = 0;
    std::int32_t compression_level = 0;
    std::uint32_t name_length = 0;
    std::uint32_t description_length = 0;
    std::uint64_t has_data = 0;
    std::uint64_t data_length = 0;
    std::uint64_t next_stack_position = 0; ///< 0: the last stack

    using Bytes = std::array<std::byte, StackHeaderLayout::size>;
    Bytes encode() const;
    /// \throws std::runtime_error "Stack header not in VBF format." for a wrong magic or marker
    static StackHeader decode(Bytes const& block);
    /// \throws std::runtime_error "Invalid stack rank {}." for a rank above 15
    void check() const;

    friend bool operator==(StackHeader const&, StackHeader const&) = default;
};

/// A physical unit: nine exponents as fractions and a scale factor.
struct UnitRecord {
    struct Exponent {
        std::int32_t numerator = 0;
        std::int32_t denominator = 1;
        friend bool operator==(Exponent const&, Exponent const&) = default;
    };

    std::array<Exponent, 9> exponents{};
    double factor = 1.0;

    using Bytes = FooterLayout::UnitBytes;
    Bytes encode() const;
    static UnitRecord decode(Bytes const& block);

    friend bool operator==(UnitRecord const&, UnitRecord const&) = default;
};

/// The fixed part of a stack's footer. A default value is what an absent field reads as.
struct StackFooter {
    /// What this library reads.
    static constexpr std::uint32_t reader_version = 7;

    std::uint32_t footer_size = 0;
    PerAxis<std::uint32_t> has_col_positions{};
    PerAxis<std::uint32_t> has_col_labels{};
    std::uint32_t obsolete_text_length = 0;
    UnitRecord data_units;
    PerAxis<UnitRecord> axis_units{};
    std::uint64_t flush_position_count = 0;
    std::uint64_t flush_block_size = 0;
    std::uint64_t tag_bytes = 0;
    std::uint64_t end_of_stack_position = 0;
    std::uint32_t required_reader_version = 0;
    std::uint64_t footer_end_position = 0;
    std::uint64_t samples_written = 0;
    std::uint64_t chunk_record_count = 0;
    PerAxis<std::uint32_t> has_xy_col_positions{};

    using Bytes = std::array<std::byte, FooterLayout::size>;
    Bytes encode() const;
    static StackFooter decode(Bytes const& block);
    /// \throws std::runtime_error "Invalid footer size {}." for a footer that ends within its own size field
    static void check_size(std::uint32_t footer_size);
    /// \throws std::runtime_error "Cannot read stack with file format reader version {}. Need >= {}.", filled
    ///     with our version and the one needed; all ones in the field asks for nothing
    void check_reader_version() const;

    friend bool operator==(StackFooter const&, StackFooter const&) = default;
};

} // namespace Vexa::bf
