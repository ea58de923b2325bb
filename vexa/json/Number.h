#pragma once

#include <compare>
#include <concepts>
#include <type_traits>
#include <variant>

#include <vexa/foundation/export.h>

namespace JSON {

/// A number that keeps integers exact: a `double`, a `long long` or an `unsigned long long`.
///
/// The alternative decides how the number is written and how it calculates, but it is no part of its
/// identity: comparisons look at the numeric value alone.
class VEXA_API Number {
public:
    using Variant = std::variant<double, long long, unsigned long long>;

    /// The integer 0.
    constexpr Number() noexcept : data_(0LL) {}
    template <std::floating_point T>
    requires(std::same_as<T, double> || std::same_as<T, float>) constexpr Number(T value) noexcept
        : data_(static_cast<double>(value)) {}
    /// Signed integers are held as `long long`, unsigned ones as `unsigned long long`. A `bool` is no number.
    template <std::integral T>
    requires(!std::same_as<T, bool>) constexpr Number(T value) noexcept
        : data_(static_cast<std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>>(value)) {}

    constexpr Variant const& variant() const noexcept { return data_; }
    /// The number as a `double`, an integer rounded to the nearest one.
    double to_double() const noexcept;

    /// Whether the number differs from 0, which a NaN does.
    explicit operator bool() const noexcept;

    /// Two integers compare exactly, also a signed one with an unsigned one. An integer and a `double`
    /// compare as two doubles, unordered if there is a NaN.
    std::partial_ordering operator<=>(Number const& other) const noexcept;
    bool operator==(Number const& other) const noexcept { return (*this <=> other) == 0; }

    /// If one side is a `double` the result is one; else it is unsigned if one side is. Integers wrap.
    Number& operator+=(Number const& other) noexcept;
    Number& operator-=(Number const& other) noexcept;
    Number& operator*=(Number const& other) noexcept;
    /// Integers divide towards zero.
    /// \pre \p other is not the integer 0, unless this is a `double`.
    Number& operator/=(Number const& other) noexcept;

    friend Number operator+(Number left, Number const& right) noexcept { return left += right; }
    friend Number operator-(Number left, Number const& right) noexcept { return left -= right; }
    friend Number operator*(Number left, Number const& right) noexcept { return left *= right; }
    friend Number operator/(Number left, Number const& right) noexcept { return left /= right; }

    /// The magnitude, in the same alternative. The least `long long` stays as it is.
    Number absolute() const noexcept;

private:
    Variant data_;
};

} // namespace JSON
