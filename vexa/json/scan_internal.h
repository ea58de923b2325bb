#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

/// How the reader and the writer pass over runs of bytes that need no care.
namespace JSON::detail {

inline constexpr std::uint64_t each_byte = 0x0101010101010101, high_bits = 0x8080808080808080;

/// Eight bytes at \p pos, the first in the lowest bits.
inline std::uint64_t load_eight(char const* pos) {
    std::uint64_t word;
    std::memcpy(&word, pos, sizeof word);
    return word;
}

/// The high bit of each byte that is \p c, and perhaps of bytes behind the first such one.
inline std::uint64_t match(std::uint64_t word, char c) {
    std::uint64_t const zeros = word ^ each_byte * static_cast<unsigned char>(c);
    return (zeros - each_byte) & ~zeros & high_bits;
}
/// The same for bytes below 0x20.
inline std::uint64_t match_controls(std::uint64_t word) {
    return (word - each_byte * 0x20) & ~word & high_bits;
}

/// The first byte for which \p word_has marks a high bit, or \p end. \p is_it decides over single bytes.
template <typename Word_Has, typename Is_It>
char const* find_run_end(char const* pos, char const* end, Word_Has word_has, Is_It is_it) {
    while (end - pos >= 8) {
        if (std::uint64_t const found = word_has(load_eight(pos)))
            return pos + (std::countr_zero(found) >> 3);
        pos += 8;
    }
    while (pos != end && !is_it(*pos)) ++pos;
    return pos;
}

/// The end of the run of bytes that stand for themselves inside a string.
inline char const* end_of_plain_text(char const* pos, char const* end) {
    return find_run_end(
        pos, end, [](std::uint64_t word) { return match(word, '"') | match(word, '\\'); },
        [](char c) { return c == '"' || c == '\\'; });
}

/// The end of the run of bytes that are written as they are.
inline char const* end_of_unescaped(char const* pos, char const* end) {
    return find_run_end(
        pos, end,
        [](std::uint64_t word) { return match(word, '"') | match(word, '\\') | match_controls(word); },
        [](char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; });
}

/// The end of the run of bytes that stand for themselves inside an XML value that \p delimiter ends.
inline char const* end_of_value_text(char const* pos, char const* end, char delimiter) {
    return find_run_end(
        pos, end, [delimiter](std::uint64_t word) { return match(word, '&') | match(word, delimiter); },
        [delimiter](char c) { return c == '&' || c == delimiter; });
}

/// The end of the run of bytes that are written to XML as they are.
inline char const* end_of_unescaped_xml(char const* pos, char const* end) {
    return find_run_end(
        pos, end,
        [](std::uint64_t word) {
            // The last bit tells & from ', the one before it < from >.
            return match(word, '"') | match(word | each_byte, '\'') | match(word | each_byte * 2, '>');
        },
        [](char c) { return c == '"' || c == '&' || c == '\'' || c == '<' || c == '>'; });
}

inline bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// What a byte is to a number: nothing, a part of it, or a part that makes it a real.
enum class Number_Byte : unsigned char { none, part, real };

inline constexpr std::array<Number_Byte, 256> number_bytes = [] {
    std::array<Number_Byte, 256> table{};
    for (char const c : std::string_view("0123456789+-"))
        table[static_cast<unsigned char>(c)] = Number_Byte::part;
    for (char const c : std::string_view(".eE")) table[static_cast<unsigned char>(c)] = Number_Byte::real;
    return table;
}();

/// Whether a byte may stand in the name of an XML element or attribute.
inline constexpr std::array<bool, 256> name_characters = [] {
    std::array<bool, 256> table{};
    for (char const c :
         std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.:"))
        table[static_cast<unsigned char>(c)] = true;
    return table;
}();

inline bool is_name_character(char c) { return name_characters[static_cast<unsigned char>(c)]; }

inline Number_Byte number_byte(char c) { return number_bytes[static_cast<unsigned char>(c)]; }

} // namespace JSON::detail
