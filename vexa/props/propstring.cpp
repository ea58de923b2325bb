#include <vexa/props/propstring.h>

#include <vexa/foundation/strings.h>

std::atomic<std::uint32_t> VPropstring::conversions_to{0};
std::atomic<std::uint32_t> VPropstring::conversions_from{0};

std::string VPropstring::to_utf8() const {
    conversions_to.fetch_add(1, std::memory_order_relaxed);
    return vx::strings::detail::convert_encoding(std::wstring_view(*this));
}

VPropstring VPropstring::from_utf8(char const* utf8) {
    conversions_from.fetch_add(1, std::memory_order_relaxed);
    return vx::strings::detail::convert_encoding(std::string_view(utf8));
}

VPropstring VPropstring::from_utf8(std::string const& utf8) {
    conversions_from.fetch_add(1, std::memory_order_relaxed);
    return vx::strings::detail::convert_encoding(std::string_view(utf8));
}
