#include <vexa/json/Base64.h>

#include <algorithm>
#include <cstdint>

namespace JSON {

std::string Base64::encode(std::span<std::byte const> bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::size_t const count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < count ? std::to_integer<std::uint32_t>(bytes[at + i]) : 0);
        for (std::size_t i = 0; i <= count; ++i) text += encode_[bits >> (18 - 6 * i) & 63];
        text.append(3 - count, '=');
    }
    return text;
}

std::optional<std::vector<std::byte>> Base64::decode(std::string_view text) {
    std::size_t const size = std::min(text.find('='), text.size());
    std::size_t const pads = text.size() - size;
    bool const padded = pads <= 2 && text.size() % 4 == 0 && text.find_first_not_of('=', size) == text.npos;
    if (size % 4 == 1 || (pads != 0 && !padded)) return std::nullopt;

    std::vector<std::byte> bytes;
    bytes.reserve(size / 4 * 3 + 2);
    std::uint32_t bits = 0;
    unsigned have = 0;
    for (char const c : text.substr(0, size)) {
        unsigned char const six = decode_[static_cast<unsigned char>(c)];
        if (six >= padding) return std::nullopt;
        bits = bits << 6 | six;
        have += 6;
        if (have < 8) continue;
        have -= 8;
        bytes.push_back(static_cast<std::byte>(bits >> have & 255));
    }
    return bytes;
}

} // namespace JSON
