#include <vexa/foundation/strings.h>

#include <cstdint>

namespace {

constexpr std::uint32_t raw_byte_base = 0xDC00; // + a byte from 0x80 on: surrogates, which UTF-8 never yields
constexpr std::uint32_t largest_code_point = 0x10FFFF;

constexpr bool is_raw_byte(std::uint32_t c) { return c >= raw_byte_base + 0x80 && c <= raw_byte_base + 0xFF; }

struct Decoded {
    wchar_t character;
    std::size_t length;
};

/// The number of bytes that a sequence with this first byte has; 0 for a byte that starts none.
std::size_t sequence_length(unsigned char first) {
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF) return 2;
    if (first >= 0xE0 && first <= 0xEF) return 3;
    if (first >= 0xF0 && first <= 0xF4) return 4;
    return 0;
}

Decoded decode_first(std::string_view text) {
    auto const byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    Decoded const raw{static_cast<wchar_t>(raw_byte_base + byte(0)), 1};
    std::size_t const length = sequence_length(byte(0));
    if (length == 1) return {static_cast<wchar_t>(byte(0)), 1};
    if (length == 0 || length > text.size()) return raw;

    std::uint32_t value = byte(0) & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return raw;
        value = value << 6 | (byte(i) & 0x3Fu);
    }
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < smallest[length] || value > largest_code_point || is_raw_byte(value)) return raw;
    return {static_cast<wchar_t>(value), length};
}

void append_utf8(std::string& out, std::uint32_t c) {
    auto const put = [&out](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | (c >> 18 & 0x07));
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

} // namespace

namespace vx::strings {

std::wstring detail::convert_encoding(std::string_view utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    while (!utf8.empty()) {
        Decoded const next = decode_first(utf8);
        wide.push_back(next.character);
        utf8.remove_prefix(next.length);
    }
    return wide;
}

std::string detail::convert_encoding(std::wstring_view wide) {
    std::string utf8;
    utf8.reserve(wide.size());
    for (wchar_t const character : wide) {
        auto const c = static_cast<std::uint32_t>(character);
        if (is_raw_byte(c))
            utf8.push_back(static_cast<char>(c - raw_byte_base));
        else
            append_utf8(utf8, c <= largest_code_point ? c : 0xFFFD);
    }
    return utf8;
}

std::string to_utf8(std::wstring_view text) { return detail::convert_encoding(text); }

std::filesystem::path to_path(std::string_view utf8) { return std::filesystem::path(std::string(utf8)); }

} // namespace vx::strings
