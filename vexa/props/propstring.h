#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <vexa/foundation/export.h>

/// Text inside a property value: wide characters, with conversions from and to UTF-8. Any sequence of bytes
/// survives from_utf8() and back, well-formed UTF-8 or not (see vx::strings).
///
/// Threads: distinct objects are independent.
class VEXA_API VPropstring : public std::wstring {
public:
    using std::wstring::wstring;
    VPropstring() = default;
    VPropstring(std::wstring text) : std::wstring(std::move(text)) {}

    std::string to_utf8() const;
    /// \param utf8 ends at its first zero byte; must not be null.
    static VPropstring from_utf8(char const* utf8);
    static VPropstring from_utf8(std::string const& utf8);

    /// How often the process has converted, for whoever watches it with a debugger. The counts wrap.
    static std::atomic<std::uint32_t> conversions_to;
    static std::atomic<std::uint32_t> conversions_from;
};
