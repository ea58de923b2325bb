#include <vexa/testing/file_walker.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <type_traits>

#include <fmt/format.h>

namespace Vexa::testing {
namespace {

/// Why a part of the file can't be walked any further.
struct Damage {
    std::uint64_t position;
    std::string text;
};

/// Reads fields one after the other and never leaves the file.
class Cursor {
public:
    /// \param budget bytes that may still be read in the whole walk: records that overlap, made by hand,
    /// could otherwise make it read the same bytes over and over
    Cursor(ByteSource const& source, std::uint64_t position, std::uint64_t& budget)
        : source_(source), position_(position), budget_(budget) {}

    std::uint64_t position() const { return position_; }
    std::uint64_t left() const { return source_.size() - std::min(position_, source_.size()); }

    void skip(std::uint64_t n, std::string_view what) {
        if (n > left())
            throw Damage{position_,
                         fmt::format("{} needs {} bytes and the file has {} left", what, n, left())};
        position_ += n;
    }
    void bytes(void* to, std::uint64_t n, std::string_view what) {
        auto const from = position_;
        skip(n, what);
        if (n > budget_) throw Damage{from, "records overlap so often that the walk ends here"};
        budget_ -= n;
        source_.read(from, to, static_cast<std::size_t>(n));
    }
    template <typename T>
    T number(std::string_view what) {
        static_assert(std::is_arithmetic_v<T>);
        T value{};
        bytes(&value, sizeof value, what);
        return value;
    }
    std::string text(std::uint64_t n, std::string_view what) {
        if (n > left()) skip(n, what);
        if (n > budget_) throw Damage{position_, "records overlap so often that the walk ends here"};
        std::string value(static_cast<std::size_t>(n), '\0');
        bytes(value.data(), n, what);
        return value;
    }
    std::string counted(std::string_view what) { return text(number<std::uint32_t>(what), what); }
    template <typename T>
    std::vector<T> list(std::uint64_t count, std::string_view what) {
        if (count > left() / sizeof(T))
            throw Damage{position_,
                         fmt::format("{}: {} entries and the file has {} bytes left", what, count, left())};
        if (count * sizeof(T) > budget_)
            throw Damage{position_, "records overlap so often that the walk ends here"};
        std::vector<T> values(static_cast<std::size_t>(count));
        bytes(values.data(), count * sizeof(T), what);
        return values;
    }

private:
    ByteSource const& source_;
    std::uint64_t position_;
    std::uint64_t& budget_;
};

/// Takes fields out of a block that has been read as a whole, in their order.
class Block {
public:
    explicit Block(std::span<std::uint8_t const> bytes) : bytes_(bytes) {}
    template <typename T>
    void take(T& value) {
        std::memcpy(&value, bytes_.data() + at_, sizeof value);
        at_ += sizeof value;
    }
    template <typename T, std::size_t n>
    void take(std::array<T, n>& values) {
        for (auto& value : values) take(value);
    }
    void take(WalkedUnit& unit) {
        for (auto& [numerator, denominator] : unit.exponents) {
            take(numerator);
            take(denominator);
        }
        take(unit.factor);
    }

private:
    std::span<std::uint8_t const> bytes_;
    std::size_t at_ = 0;
};

constexpr std::uint32_t footer_bytes = 1528;
constexpr std::uint32_t header_bytes = 368;
constexpr std::uint32_t newest_reader = 7;

std::uint64_t size_of_type(std::uint32_t type) {
    switch (type) {
    case 0x1:
    case 0x2:
    case 0x10000: return 1;
    case 0x4:
    case 0x8: return 2;
    case 0x400: return 3;
    case 0x10:
    case 0x20:
    case 0x40:
    case 0x800: return 4;
    case 0x80:
    case 0x1000:
    case 0x2000:
    case 0x40000040: return 8;
    case 0x40000080: return 16;
    default: return 0;
    }
}

/// Footer bytes as the writer presets them: no units, everything else zero.
std::array<std::uint8_t, footer_bytes> preset_footer() {
    std::array<std::uint8_t, footer_bytes> block{};
    std::int32_t const denominator = 1;
    double const factor = 1.0;
    for (std::size_t unit = 0; unit < 16; ++unit) {
        auto* record = block.data() + 128 + 80 * unit;
        for (std::size_t i = 0; i < 9; ++i) std::memcpy(record + 8 * i + 4, &denominator, 4);
        std::memcpy(record + 72, &factor, 8);
    }
    return block;
}

class Walker {
public:
    explicit Walker(ByteSource const& source) : source_(source), budget_(4 * source.size() + 65536) {
        file_.size = source.size();
    }

    WalkedFile walk() {
        try {
            walk_header();
            walk_file_tags();
        } catch (Damage const& damage) {
            fault(damage.position, damage.text);
        }
        if (file_.is_vbf) {
            walk_chain();
            find_overlaps();
        }
        return std::move(file_);
    }

private:
    void fault(std::uint64_t position, std::string text) {
        file_.faults.push_back({position, std::move(text)});
    }
    Cursor at(std::uint64_t position) { return {source_, position, budget_}; }

    void walk_header() {
        auto cursor = at(0);
        std::array<std::uint8_t, 26> block{};
        cursor.bytes(block.data(), block.size(), "the file header");
        if (std::memcmp(block.data(), "VEXA_BF\n\xFF\xFF", 10) != 0) throw Damage{0, "no VBF file header"};
        file_.is_vbf = true;
        std::uint32_t description_length = 0;
        Block fields(std::span<std::uint8_t const>(block).subspan(10));
        fields.take(file_.format_version);
        fields.take(file_.first_stack_position);
        fields.take(description_length);
        file_.description = cursor.text(description_length, "the file description");
        if (file_.format_version > 1)
            file_.metadata_position = cursor.number<std::uint64_t>("the metadata position");
        used_.push_back({0, cursor.position(), "the file header"});
    }

    void walk_file_tags() {
        if (file_.format_version <= 1) {
            file_.closed = true;
            return;
        }
        if (file_.metadata_position == 0) return;
        file_.closed = true;
        auto cursor = at(file_.metadata_position);
        file_.tags = tag_list(cursor, "the file's tag list");
        file_.metadata_end = cursor.position();
        used_.push_back({file_.metadata_position, file_.metadata_end, "the file's tag list"});
    }

    std::map<std::string, std::string> tag_list(Cursor& cursor, std::string_view what) {
        std::map<std::string, std::string> tags;
        for (;;) {
            auto const begin = cursor.position();
            auto key = cursor.counted(what);
            if (key.empty()) return tags;
            auto value = cursor.counted(what);
            if (tags.count(key)) fault(begin, fmt::format("{}: the key \"{}\" comes twice", what, key));
            tags[std::move(key)] = std::move(value);
        }
    }

    void walk_chain() {
        std::set<std::uint64_t> visited;
        auto position = file_.first_stack_position;
        std::uint64_t link = 14;
        while (position != 0) {
            if (!visited.insert(position).second)
                return fault(link, fmt::format("the chain of stacks comes back to position {}", position));
            if (position >= source_.size())
                return fault(link, fmt::format("a stack is linked at position {}, behind the end", position));
            file_.stacks.emplace_back();
            auto& stack = file_.stacks.back();
            stack.position = position;
            name_ = fmt::format("stack {}", file_.stacks.size() - 1);
            if (!walk_stack(stack)) return;
            link = position + 360;
            position = stack.next_stack_position;
        }
    }

    /// \return whether the link to the next stack can be trusted
    bool walk_stack(WalkedStack& stack) {
        try {
            walk_stack_header(stack);
        } catch (Damage const& damage) {
            fault(damage.position, fmt::format("{}: {}", name_, damage.text));
            return false;
        }
        try {
            walk_footer(stack);
        } catch (Damage const& damage) {
            fault(damage.position, fmt::format("{}: {}", name_, damage.text));
        }
        derive(stack);
        find_data(stack);
        check_flush_positions(stack);
        return true;
    }

    void walk_stack_header(WalkedStack& stack) {
        auto cursor = at(stack.position);
        std::array<std::uint8_t, header_bytes> block{};
        cursor.bytes(block.data(), block.size(), "the stack header");
        if (std::memcmp(block.data(), "VEXA_BF_STACK\n\xFF\xFF", 16) != 0)
            throw Damage{stack.position, "no stack header"};
        std::uint32_t name_length = 0, description_length = 0;
        Block fields(std::span<std::uint8_t const>(block).subspan(16));
        fields.take(stack.stack_format_version);
        fields.take(stack.rank);
        fields.take(stack.shape);
        fields.take(stack.lengths);
        fields.take(stack.offsets);
        fields.take(stack.type);
        fields.take(stack.compression_type);
        fields.take(stack.compression_level);
        fields.take(name_length);
        fields.take(description_length);
        fields.take(stack.has_data);
        fields.take(stack.data_length);
        fields.take(stack.next_stack_position);
        if (stack.rank > 15) throw Damage{stack.position + 20, fmt::format("the rank is {}", stack.rank)};
        stack.name = cursor.text(name_length, "the name");
        stack.description = cursor.text(description_length, "the description");
        stack.data_start_position = cursor.position();
        used_.push_back({stack.position, cursor.position(), name_ + ": the header"});
        if (stack.data_length > cursor.left())
            return fault(stack.position + 352,
                         fmt::format("{}: the data section has {} bytes and the file {} left", name_,
                                     stack.data_length, cursor.left()));
        stack.footer_position = stack.data_start_position + stack.data_length;
    }

    void walk_footer(WalkedStack& stack) {
        if (stack.stack_format_version == 0 || stack.footer_position == 0) return;
        auto cursor = at(stack.footer_position);
        auto block = preset_footer();
        cursor.bytes(block.data(), 4, "the footer");
        std::uint32_t size = 0;
        std::memcpy(&size, block.data(), 4);
        if (size < 4) throw Damage{stack.footer_position, fmt::format("the footer has {} bytes", size)};
        cursor.bytes(block.data() + 4, std::min(size, footer_bytes) - 4, "the footer");
        if (size > footer_bytes) cursor.skip(size - footer_bytes, "the footer");
        take_footer(block, stack.footer);
        if (stack.footer.required_reader_version > newest_reader &&
            stack.footer.required_reader_version != 0xFFFFFFFF)
            throw Damage{stack.footer_position + 1440, fmt::format("a reader of version {} is needed",
                                                                   stack.footer.required_reader_version)};
        walk_variable_part(cursor, stack);
        stack.footer_end = cursor.position();
        stack.footer_found = true;
        used_.push_back({stack.footer_position, stack.footer_end, name_ + ": the footer"});
        check_ends(stack);
    }

    static void take_footer(std::span<std::uint8_t const> block, WalkedFooter& footer) {
        Block fields(block);
        fields.take(footer.footer_size);
        fields.take(footer.has_col_positions);
        fields.take(footer.has_col_labels);
        fields.take(footer.obsolete_text_length);
        fields.take(footer.data_unit);
        fields.take(footer.units);
        fields.take(footer.flush_position_count);
        fields.take(footer.flush_block_size);
        fields.take(footer.tag_bytes);
        fields.take(footer.end_of_stack_position);
        fields.take(footer.required_reader_version);
        fields.take(footer.footer_end_position);
        fields.take(footer.samples_written);
        fields.take(footer.chunk_record_count);
        fields.take(footer.has_xy_col_positions);
    }

    void walk_variable_part(Cursor& cursor, WalkedStack& stack) {
        auto const& footer = stack.footer;
        stack.col_positions.resize(stack.rank);
        stack.col_labels.resize(stack.rank);
        stack.xy_col_positions.resize(stack.rank);
        for (std::uint32_t axis = 0; axis < stack.rank; ++axis)
            stack.labels.push_back(cursor.counted("an axis label"));
        for (std::uint32_t axis = 0; axis < stack.rank; ++axis)
            if (footer.has_col_positions[axis])
                stack.col_positions[axis] = cursor.list<double>(stack.shape[axis], "the column positions");
        for (std::uint32_t axis = 0; axis < stack.rank; ++axis)
            for (std::uint32_t i = 0; footer.has_col_labels[axis] && i < stack.shape[axis]; ++i)
                stack.col_labels[axis].push_back(cursor.counted("a column label"));
        cursor.skip(footer.obsolete_text_length, "the obsolete text");
        stack.flush_positions =
            cursor.list<std::uint64_t>(footer.flush_position_count, "the flush positions");
        walk_stack_tags(cursor, stack);
        walk_pairs(cursor, stack);
    }

    void walk_stack_tags(Cursor& cursor, WalkedStack& stack) {
        if (stack.footer.tag_bytes == 0) return;
        auto const begin = cursor.position();
        stack.tags = tag_list(cursor, name_ + ": the tag list");
        if (cursor.position() - begin != stack.footer.tag_bytes)
            fault(begin, fmt::format("{}: the tag list has {} bytes where {} are announced", name_,
                                     cursor.position() - begin, stack.footer.tag_bytes));
    }

    static void walk_pairs(Cursor& cursor, WalkedStack& stack) {
        auto const count = stack.footer.chunk_record_count;
        if (count > cursor.left() / 16)
            throw Damage{cursor.position(), fmt::format("{} chunk records and the file has {} bytes left",
                                                        count, cursor.left())};
        auto const records = cursor.list<std::uint64_t>(2 * count, "the chunk records");
        for (std::size_t i = 0; i < records.size(); i += 2)
            stack.chunk_records.emplace_back(records[i], records[i + 1]);
        for (std::uint32_t axis = 0; axis < stack.rank; ++axis) {
            if (!stack.footer.has_xy_col_positions[axis]) continue;
            auto const values = cursor.list<double>(std::uint64_t{2} * stack.shape[axis], "the xy positions");
            for (std::size_t i = 0; i < values.size(); i += 2)
                stack.xy_col_positions[axis].emplace_back(values[i], values[i + 1]);
        }
    }

    void check_ends(WalkedStack const& stack) {
        auto const& footer = stack.footer;
        if (footer.footer_end_position != 0 && footer.footer_end_position != stack.footer_end)
            fault(stack.footer_position + 1444,
                  fmt::format("{}: the footer ends at {} where {} is noted", name_, stack.footer_end,
                              footer.footer_end_position));
        if (footer.end_of_stack_position != 0 && footer.end_of_stack_position < stack.footer_end)
            fault(stack.footer_position + 1432,
                  fmt::format("{}: the footer ends at {}, behind the end of the stack at {}", name_,
                              stack.footer_end, footer.end_of_stack_position));
    }

    void derive(WalkedStack& stack) {
        stack.element_size = size_of_type(stack.type);
        stack.elements = stack.rank == 0 ? 0 : 1;
        for (std::uint32_t axis = 0; axis < stack.rank && stack.elements != 0; ++axis) {
            if (!__builtin_mul_overflow(stack.elements, std::uint64_t{stack.shape[axis]}, &stack.elements))
                continue;
            fault(stack.position + 24,
                  fmt::format("{}: the shape has more samples than 64 bits count", name_));
            stack.elements = 0;
        }
        if (stack.compression_type > 1)
            fault(stack.position + 328,
                  fmt::format("{}: the compression type is {}", name_, stack.compression_type));
        if (stack.data_length == 0) return;
        stack.samples_on_disk = stack.elements;
        if (stack.footer_found && stack.footer.samples_written != 0)
            stack.samples_on_disk = stack.footer.samples_written;
        if (stack.samples_on_disk > stack.elements)
            fault(stack.footer_position + 1452, fmt::format("{}: {} samples are written and the shape has {}",
                                                            name_, stack.samples_on_disk, stack.elements));
    }

    /// Lay out the pieces of the data section.
    void find_data(WalkedStack& stack) {
        if (stack.data_length == 0 || stack.footer_position == 0) return;
        if (stack.stack_format_version != 0 && !stack.footer_found) return;
        std::uint64_t logical = 0, offset = 0;
        std::vector<WalkedRange> pieces;
        for (auto const& [next_logical, next_offset] : stack.chunk_records) {
            if (next_logical < logical || next_offset < offset || next_offset > stack.data_length ||
                next_logical - logical > next_offset - offset)
                return fault(stack.footer_position,
                             fmt::format("{}: the chunk record ({}, {}) does not fit behind ({}, {})", name_,
                                         next_logical, next_offset, logical, offset));
            add_piece(pieces, stack.data_start_position + offset, next_logical - logical);
            logical = next_logical;
            offset = next_offset;
        }
        add_piece(pieces, stack.data_start_position + offset, stack.data_length - offset);
        if (!stack.compressed()) cut_to_samples(stack, pieces);
        stack.data = pieces;
        for (auto const& piece : pieces)
            used_.push_back({piece.begin, piece.end, name_ + ": the data section"});
    }

    static void add_piece(std::vector<WalkedRange>& pieces, std::uint64_t begin, std::uint64_t length) {
        if (length != 0) pieces.push_back({begin, begin + length});
    }

    /// A stack that was finished while the stream stood elsewhere has foreign bytes before its footer;
    /// without compression nothing but the number of samples tells where its own end.
    static void cut_to_samples(WalkedStack const& stack, std::vector<WalkedRange>& pieces) {
        std::uint64_t left = 0;
        if (stack.element_size == 0 ||
            __builtin_mul_overflow(stack.samples_on_disk, stack.element_size, &left))
            return;
        for (auto& piece : pieces) {
            piece.end = piece.begin + std::min(left, piece.end - piece.begin);
            left -= piece.end - piece.begin;
        }
        std::erase_if(pieces, [](auto const& piece) { return piece.begin == piece.end; });
    }

    void check_flush_positions(WalkedStack const& stack) {
        if (stack.flush_positions.empty() || stack.data.empty()) return;
        std::uint64_t length = 0, previous = 0;
        for (auto const& piece : stack.data) length += piece.end - piece.begin;
        for (auto const position : stack.flush_positions) {
            if (position <= previous || (stack.compressed() && position > length))
                return fault(stack.footer_position,
                             fmt::format("{}: the flush position {} comes behind {} in a section of {} bytes",
                                         name_, position, previous, length));
            previous = position;
        }
        auto const block = stack.footer.flush_block_size;
        if (block == 0)
            return fault(stack.footer_position + 1416, name_ + ": flush positions without a block size");
        std::uint64_t bytes = 0;
        if (__builtin_mul_overflow(stack.samples_on_disk, stack.element_size, &bytes)) return;
        auto const full = bytes / block, count = static_cast<std::uint64_t>(stack.flush_positions.size());
        if (count != full && !(count + 1 == full && bytes % block == 0))
            fault(stack.footer_position + 1408,
                  fmt::format("{}: {} flush positions for {} full blocks", name_, count, full));
    }

    void find_overlaps() {
        std::sort(used_.begin(), used_.end(), [](Used const& a, Used const& b) {
            return std::tie(a.begin, a.end) < std::tie(b.begin, b.end);
        });
        Used const* last = nullptr;
        for (auto const& range : used_) {
            if (range.begin == range.end) continue;
            if (last && range.begin < last->end)
                fault(range.begin, fmt::format("{} overlaps {}", range.what, last->what));
            if (!last || range.end > last->end) last = &range;
        }
    }

    struct Used {
        std::uint64_t begin, end;
        std::string what;
    };

    ByteSource const& source_;
    std::uint64_t budget_;
    WalkedFile file_;
    std::string name_; ///< of the stack at hand, for faults
    std::vector<Used> used_;
};

} // namespace

WalkedFile walk_file(ByteSource const& source) { return Walker(source).walk(); }

WalkedFile walk_file(std::filesystem::path const& path) { return walk_file(*open_bytes(path)); }

} // namespace Vexa::testing
