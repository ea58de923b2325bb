#pragma once

#include <cstdint>
#include <string>

#include <vexa/foundation/export.h>

namespace Vexa::units::detail {

/// The rational exponent of one dimension, two signed 32-bit integers.
///
/// Every operation of RuntimeValue leaves its fractions as reduce() does, so comparing both integers is the
/// test of equality. Nothing here traps or throws; what does not fit 32 bits wraps like a two's complement
/// product. Threads: a plain value, each object belongs to one thread at a time.
struct VEXA_API Fraction {
    constexpr Fraction() = default;
    /// Takes the pair as it is, see reduce().
    constexpr Fraction(std::int32_t upper, std::int32_t lower) : numerator(upper), denominator(lower) {}

    /// Bring the fraction to lowest terms. Zero becomes 0/1, also 0/0; anything else over 0 becomes 1/0.
    ///
    /// \note Deliberate: the sign follows from the remainders of the division, so a negative fraction may end
    /// with the minus on the denominator: -1/2 becomes 1/-2, while -2/3 stays. Both ways of writing a value
    /// reduce to the same pair. Stored units rely on these pairs.
    void reduce();

    /// Read "3", "-3", "3/4", "(3/4)" or "3/4)". The result is not reduced; a number without digits is 0.
    ///
    /// \note Deliberate: "(3)" fails, since only a fraction may stand in brackets, and empty text is 0/1.
    /// \return false if the text is none of these; the fraction is then unchanged.
    bool parse(std::string const& text);

    friend constexpr bool operator==(Fraction const&, Fraction const&) = default;

    std::int32_t numerator = 0;
    std::int32_t denominator = 1;
};

/// Sum, difference and product by cross-multiplication, reduced.
VEXA_API Fraction operator+(Fraction const& left, Fraction const& right);
VEXA_API Fraction operator-(Fraction const& left, Fraction const& right);
VEXA_API Fraction operator*(Fraction const& left, Fraction const& right);

} // namespace Vexa::units::detail
