#pragma once

#include <cstdint>
#include <type_traits>

namespace vx::utility {

/// A typed word of flags. `Enum` names the bits; its enumerators are bit values.
template <typename Enum>
class flags {
public:
    using value_type = std::uint32_t;

    constexpr flags() = default;
    constexpr flags(Enum bit) : value_(static_cast<value_type>(bit)) {}
    constexpr explicit flags(value_type value) : value_(value) {}

    constexpr value_type value() const { return value_; }
    /// True when every bit of \p bit is set.
    constexpr bool test(Enum bit) const {
        return (value_ & static_cast<value_type>(bit)) == static_cast<value_type>(bit);
    }
    constexpr flags& set(Enum bit, bool on = true) {
        value_ = on ? value_ | static_cast<value_type>(bit) : value_ & ~static_cast<value_type>(bit);
        return *this;
    }
    constexpr explicit operator bool() const { return value_ != 0; }

    friend constexpr flags operator|(flags a, flags b) { return flags(a.value_ | b.value_); }
    friend constexpr flags operator&(flags a, flags b) { return flags(a.value_ & b.value_); }
    friend constexpr bool operator==(flags, flags) = default;

private:
    value_type value_ = 0;
};

} // namespace vx::utility
