#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <vexa/foundation/export.h>

namespace JSON {

/// Bytes as text of 64 characters, three bytes in four characters.
class VEXA_API Base64 {
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

public:
    /// What `decode_` has for the padding character `=`, and for characters that are no part of a text.
    static constexpr unsigned char padding = 64, invalid = 77;

    static constexpr std::array<char, 64> encode_ = [] {
        std::array<char, 64> table{};
        for (std::size_t i = 0; i < table.size(); ++i) table[i] = alphabet[i];
        return table;
    }();
    /// The six bits of each character. `-` counts as `+` and `_` as `/`, so that the alphabet for addresses
    /// reads too.
    static constexpr std::array<unsigned char, 256> decode_ = [] {
        std::array<unsigned char, 256> table{};
        table.fill(invalid);
        for (std::size_t i = 0; i < alphabet.size(); ++i)
            table[static_cast<unsigned char>(alphabet[i])] = static_cast<unsigned char>(i);
        table['-'] = table['+'];
        table['_'] = table['/'];
        table['='] = padding;
        return table;
    }();

    /// The text of \p bytes, padded with `=` to a multiple of four characters.
    static std::string encode(std::span<std::byte const> bytes);
    /// The bytes of \p text, which may have its padding or leave it out.
    /// \return empty for invalid characters, blanks among them, and for a text of impossible length
    static std::optional<std::vector<std::byte>> decode(std::string_view text);
};

} // namespace JSON
