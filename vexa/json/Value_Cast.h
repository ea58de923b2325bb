#pragma once

#include <cmath>
#include <complex>
#include <concepts>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <vexa/foundation/strings.h>
#include <vexa/json/Value.h>

namespace JSON {

namespace detail {

template <std::floating_point To, typename From>
std::optional<To> narrowed_to_real(From from) {
    To const to = static_cast<To>(from);
    if constexpr (std::floating_point<From>) {
        if (std::isinf(to) && !std::isinf(from)) return std::nullopt;
    } else {
        // The nearest real to the greatest integers is one above them, so it has no way back.
        constexpr To limit = static_cast<To>(std::numeric_limits<From>::max() / 2 + 1) * To{2};
        if (to >= limit || static_cast<From>(to) != from) return std::nullopt;
    }
    return to;
}

template <std::integral To, typename From>
std::optional<To> narrowed_to_integer(From from) {
    using Limits = std::numeric_limits<To>;
    if constexpr (std::floating_point<From>) {
        // Both limits are powers of two, exact in From; a NaN fails the comparison.
        constexpr From limit = static_cast<From>(Limits::max() / 2 + 1) * From{2};
        constexpr From least = std::is_signed_v<To> ? -limit : From{0};
        if (!(from >= least && from < limit) || from != std::trunc(from)) return std::nullopt;
    } else if (!std::in_range<To>(from)) {
        return std::nullopt;
    }
    return static_cast<To>(from);
}

[[noreturn]] VEXA_API void throw_not_narrow(Number from, std::string_view to);
[[noreturn]] VEXA_API void throw_mismatch(Value const& found, std::string_view expected);
/// The three strings that stand for the numbers without a JSON form.
VEXA_API std::optional<double> non_finite(std::string_view text) noexcept;
VEXA_API Value from_real(double value);

template <typename T>
constexpr std::string_view type_word() {
    if constexpr (std::same_as<T, double>) return "double";
    if constexpr (std::same_as<T, float>) return "float";
    return std::is_signed_v<T> ? "signed integer" : "unsigned integer";
}

} // namespace detail

/// The value as a To, if it is the same number there. An integer becomes a real only where that is exact, a
/// real an integer only if it is whole and in range. A `double` is rounded to `float`, but not to infinity.
template <typename To, typename From>
std::optional<To> narrow_if(From from) {
    if constexpr (std::same_as<From, Number>)
        return std::visit([](auto value) { return narrow_if<To>(value); }, from.variant());
    else if constexpr (std::floating_point<To>)
        return detail::narrowed_to_real<To>(from);
    else
        return detail::narrowed_to_integer<To>(from);
}

/// As narrow_if().
/// \throws Bad_Access "Type mismatch: found {}, expected {}", with the number and the kind of To
template <typename To, typename From>
To narrow_cast(From from) {
    if (std::optional<To> const to = narrow_if<To>(from)) return *to;
    detail::throw_not_narrow(from, detail::type_word<To>());
}

/// Numbers, and the strings of the non-finite ones. Integers only if T holds them exactly.
template <std::floating_point T>
requires(std::same_as<T, float> || std::same_as<T, double>) struct Value_Cast<T, 0> {
    static Value from(T value) { return detail::from_real(static_cast<double>(value)); }
    static std::optional<T> to_if(Value const& value) {
        if (Number const* number = value.get_if<Number>()) return narrow_if<T>(*number);
        std::string const* text = value.get_if<std::string>();
        std::optional<double> const special = text ? detail::non_finite(*text) : std::nullopt;
        return special ? std::optional<T>(static_cast<T>(*special)) : std::nullopt;
    }
    /// \throws Bad_Access with the found and the expected type, or as narrow_cast() does
    static T to(Value const& value) {
        if (Number const* number = value.get_if<Number>()) return narrow_cast<T>(*number);
        if (std::optional<T> const special = to_if(value)) return *special;
        detail::throw_mismatch(value, detail::type_word<T>());
    }
};

/// Numbers that T can hold, whole reals included.
template <std::integral T>
requires(!std::same_as<T, bool>) struct Value_Cast<T, 0> {
    static Number from(T value) { return value; }
    static std::optional<T> to_if(Value const& value) {
        Number const* number = value.get_if<Number>();
        return number ? narrow_if<T>(*number) : std::nullopt;
    }
    /// \throws Bad_Access with the found and the expected type, or as narrow_cast() does
    static T to(Value const& value) {
        if (Number const* number = value.get_if<Number>()) return narrow_cast<T>(*number);
        detail::throw_mismatch(value, detail::type_word<T>());
    }
};

/// Booleans alone; numbers are no truth values.
template <>
struct Value_Cast<bool, 0> {
    static Boolean from(bool value) { return value; }
    static std::optional<bool> to_if(Value const& value) {
        Boolean const* boolean = value.get_if<Boolean>();
        return boolean ? std::optional<bool>(static_cast<bool>(*boolean)) : std::nullopt;
    }
};

/// A map with the real part under the empty key and the imaginary part under "i"; other members don't matter.
template <typename T>
struct Value_Cast<std::complex<T>, 0> {
    static Value from(std::complex<T> value) {
        Map parts;
        parts.emplace("", Value(value.real()));
        parts.emplace("i", Value(value.imag()));
        return parts;
    }
    static std::optional<std::complex<T>> to_if(Value const& value) {
        std::optional<T> const real = part(value, ""), imaginary = part(value, "i");
        if (!real || !imaginary) return std::nullopt;
        return std::complex<T>(*real, *imaginary);
    }
    /// \throws Bad_Access with the found type and "complex"
    static std::complex<T> to(Value const& value) {
        if (auto const found = to_if(value)) return *found;
        detail::throw_mismatch(value, "complex");
    }

private:
    static std::optional<T> part(Value const& value, char const* key) {
        Value const* member = value.find(key);
        return member ? Value_Cast<T, 0>::to_if(*member) : std::nullopt;
    }
};

/// Paths are strings in UTF-8.
/// \throws std::bad_variant_access from to() unless the value is a string
template <>
struct Value_Cast<std::filesystem::path, 0> {
    static std::string from(std::filesystem::path const& path) { return vx::strings::to_utf8(path); }
    static std::optional<std::filesystem::path> to_if(Value const& value) {
        std::string const* text = value.get_if<std::string>();
        return text ? std::optional(vx::strings::to_path(*text)) : std::nullopt;
    }
    static std::filesystem::path to(Value const& value) {
        return vx::strings::to_path(value.get<std::string>());
    }
};

/// Wide text, as UTF-8.
template <>
struct Key_Cast<std::wstring, 0> {
    static std::string from(std::wstring_view text) { return vx::strings::to_utf8(text); }
    static std::optional<std::wstring> to_if(Value const& value) {
        std::string const* text = value.get_if<std::string>();
        return text ? std::optional(vx::strings::detail::convert_encoding(std::string_view(*text)))
                    : std::nullopt;
    }
};
template <>
struct Key_Cast<wchar_t const*, 0> : Key_Cast<std::wstring, 0> {};

} // namespace JSON
