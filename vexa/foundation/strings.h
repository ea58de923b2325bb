#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>

/// Conversions between narrow text, which is UTF-8, and wide text. Every sequence of bytes survives the way
/// to wide text and back, well-formed UTF-8 or not: a byte that is no part of a well-formed sequence becomes
/// one wide character of its own, 0xDC00 + byte, which no well-formed sequence yields. Safe from any thread.
namespace vx::strings {

VEXA_API std::string to_utf8(std::wstring_view text);
VEXA_API std::string to_utf8(std::filesystem::path const& path);
VEXA_API std::filesystem::path to_path(std::string_view utf8);

namespace detail {

VEXA_API std::wstring convert_encoding(std::string_view utf8);
VEXA_API std::string convert_encoding(std::wstring_view wide);

} // namespace detail
} // namespace vx::strings
