#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// A second reader of VBF files that shares no code with the library: it goes through the bytes by the
/// documented layout and writes down what it finds. Tests use it to see what the library really put on disk,
/// and the tool uses it to tell where a damaged file is damaged.
///
/// Every position and length is compared with the size of the file before it is used; whatever is wrong
/// becomes a fault in a list. Memory stays within a few times the size of the file's headers and footers, and
/// data sections are read in pieces.
namespace Vexa::testing {

/// Random access to bytes that do not change while they are walked.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    /// Copy \p n bytes from \p position on; the caller has made sure that they exist.
    /// \throws std::runtime_error when they can't be read
    virtual void read(std::uint64_t position, void* to, std::size_t n) const = 0;
};

/// \throws std::runtime_error "Cannot open <path>: <reason>"
std::unique_ptr<ByteSource> open_bytes(std::filesystem::path const& path);
/// The bytes are copied.
std::unique_ptr<ByteSource> bytes_in_memory(std::span<std::uint8_t const> bytes);

/// Something that isn't as it should be, and the position in the file where that shows.
struct WalkedFault {
    std::uint64_t position = 0;
    std::string text;
};

/// File bytes from begin up to but without end.
struct WalkedRange {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    friend bool operator==(WalkedRange const&, WalkedRange const&) = default;
};

/// A unit as it stands on disk: nine (numerator, denominator) and the factor.
struct WalkedUnit {
    std::array<std::pair<std::int32_t, std::int32_t>, 9> exponents{};
    double factor = 1.0;
};

/// The fields of the footer's fixed part, as found; fields that a short footer lacks keep these defaults.
struct WalkedFooter {
    std::uint32_t footer_size = 0;
    std::array<std::uint32_t, 15> has_col_positions{};
    std::array<std::uint32_t, 15> has_col_labels{};
    std::uint32_t obsolete_text_length = 0;
    WalkedUnit data_unit;
    std::array<WalkedUnit, 15> units{};
    std::uint64_t flush_position_count = 0;
    std::uint64_t flush_block_size = 0;
    std::uint64_t tag_bytes = 0;
    std::uint64_t end_of_stack_position = 0;
    std::uint32_t required_reader_version = 0;
    std::uint64_t footer_end_position = 0;
    std::uint64_t samples_written = 0;
    std::uint64_t chunk_record_count = 0;
    std::array<std::uint32_t, 15> has_xy_col_positions{};
};

/// One stack record. Per-axis vectors have `rank` entries, axis 0 first.
struct WalkedStack {
    // header
    std::uint64_t position = 0;
    std::uint32_t stack_format_version = 0;
    std::uint32_t rank = 0;
    std::array<std::uint32_t, 15> shape{};
    std::array<double, 15> lengths{};
    std::array<double, 15> offsets{};
    std::uint32_t type = 0;
    std::uint32_t compression_type = 0;
    std::int32_t compression_level = 0;
    std::uint64_t has_data = 0;
    std::uint64_t data_length = 0;
    std::uint64_t next_stack_position = 0;
    std::string name;
    std::string description;
    std::uint64_t data_start_position = 0;

    // footer; found is false when there is none to read or it could not be read to its end
    bool footer_found = false;
    std::uint64_t footer_position = 0; ///< 0 when the data section does not fit into the file
    std::uint64_t footer_end = 0;      ///< where its variable part really ends
    WalkedFooter footer;
    std::vector<std::string> labels;
    std::vector<std::vector<double>> col_positions;
    std::vector<std::vector<std::string>> col_labels;
    std::vector<std::uint64_t> flush_positions;
    std::map<std::string, std::string> tags;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> chunk_records;
    std::vector<std::vector<std::pair<double, double>>> xy_col_positions;

    // derived
    std::uint64_t element_size = 0;    ///< 0 for types without one
    std::uint64_t elements = 0;        ///< product of the shape; 0 for rank 0 and when it exceeds 64 bits
    std::uint64_t samples_on_disk = 0; ///< what the data section should hold
    std::vector<WalkedRange> data; ///< the pieces of the data section in logical order; empty when unusable

    bool compressed() const { return compression_type == 1 && compression_level > 0; }
};

/// All that the walk found.
struct WalkedFile {
    std::uint64_t size = 0;
    bool is_vbf = false; ///< magic and marker are there
    bool closed = false; ///< false: the metadata position is still 0
    std::uint32_t format_version = 0;
    std::uint64_t first_stack_position = 0;
    std::string description;
    std::uint64_t metadata_position = 0;
    std::uint64_t metadata_end = 0;
    std::map<std::string, std::string> tags;
    std::vector<WalkedStack> stacks;
    std::vector<WalkedFault> faults;
};

/// Walk all but the data sections.
/// \throws std::runtime_error only when the bytes can't be read
WalkedFile walk_file(ByteSource const& source);
WalkedFile walk_file(std::filesystem::path const& path);

/// What the data section of a stack holds.
struct WalkedSection {
    std::uint64_t stored_bytes = 0; ///< compressed length
    std::uint64_t sample_bytes = 0; ///< what came out
    std::vector<WalkedFault> faults;
};

/// Takes the uncompressed bytes of a section, piece by piece and in order; false ends the reading.
using SectionSink = std::function<bool(std::span<std::uint8_t const>)>;

/// Read a data section to its end with plain zlib. Checked: its length, the Adler-32, that each flush
/// position is where its block ends, and that each block inflates from there without what precedes it.
WalkedSection read_section(ByteSource const& source, WalkedStack const& stack, SectionSink const& sink = {});

/// The whole section in memory, for small files in tests.
/// \throws std::runtime_error the text of the first fault
std::vector<std::uint8_t> section_bytes(ByteSource const& source, WalkedStack const& stack);
std::vector<std::uint8_t> section_bytes(std::filesystem::path const& path, std::size_t stack);

} // namespace Vexa::testing
