#pragma once

#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>

/// Conversions between narrow text, which is UTF-8, and wide text. Safe from any thread.
///
/// Every sequence of bytes survives the way to wide text and back, well-formed UTF-8 or not: a byte that is
/// no part of a well-formed sequence becomes one wide character of its own, 0xDC00 + byte. Other surrogates
/// have the three bytes that their number would have, in both directions. So wide text survives the other way
/// round as well, as long as it has no such characters for bytes that together are well-formed. Wide values
/// above 0x10FFFF, which are no characters, become U+FFFD.
namespace vx::strings {

VEXA_API std::string to_utf8(std::wstring_view text);

/// The bytes of a path as they are. Takes paths only, so that wide text is never taken for a path.
template <typename Path>
requires std::same_as<Path, std::filesystem::path> std::string to_utf8(Path const& path) {
    return path.native();
}

/// The path with these bytes.
VEXA_API std::filesystem::path to_path(std::string_view utf8);

namespace detail {

VEXA_API std::wstring convert_encoding(std::string_view utf8);
VEXA_API std::string convert_encoding(std::wstring_view wide);

} // namespace detail
} // namespace vx::strings
