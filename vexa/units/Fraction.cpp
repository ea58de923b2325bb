#include <vexa/units/Fraction.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace {

using Vexa::units::detail::Fraction;

/// Keeps the low 32 bits. Sums of two 32-bit products may leave the range of 64 bits, hence unsigned.
std::int32_t wrapped(std::uint64_t number) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

std::uint64_t wide(std::int32_t number) { return static_cast<std::uint64_t>(std::int64_t{number}); }

Fraction reduced(std::uint64_t numerator, std::uint64_t denominator) {
    Fraction result(wrapped(numerator), wrapped(denominator));
    result.reduce();
    return result;
}

/// Take the digits at the start of the text off it. No digits are 0; numbers beyond 64 bits are the largest.
std::uint64_t take_digits(std::string_view& text) {
    std::int64_t number = 0;
    std::size_t const count = std::min(text.find_first_not_of("0123456789"), text.size());
    auto const status = std::from_chars(text.data(), text.data() + count, number).ec;
    if (status == std::errc::result_out_of_range) number = std::numeric_limits<std::int64_t>::max();
    text.remove_prefix(count);
    return static_cast<std::uint64_t>(number);
}

bool take(std::string_view& text, char character) {
    if (!text.starts_with(character)) return false;
    text.remove_prefix(1);
    return true;
}

} // namespace

namespace Vexa::units::detail {

void Fraction::reduce() {
    if (numerator == 0) {
        denominator = 1;
        return;
    }
    if (denominator == 0) {
        numerator = 1;
        return;
    }
    // In 64 bits, where dividing the smallest 32-bit number by -1 is an ordinary division.
    std::int64_t dividend = numerator;
    std::int64_t divisor = denominator;
    while (std::int64_t const remainder = dividend % divisor) {
        dividend = divisor;
        divisor = remainder;
    }
    numerator = wrapped(static_cast<std::uint64_t>(numerator / divisor));
    denominator = wrapped(static_cast<std::uint64_t>(denominator / divisor));
}

bool Fraction::parse(std::string const& text) {
    std::string_view rest = text;
    if (rest.starts_with('(') && !rest.ends_with(')')) return false;
    take(rest, '(');

    bool const negative = take(rest, '-');
    std::uint64_t const digits = take_digits(rest);
    std::uint64_t const upper = negative ? 0 - digits : digits;
    std::uint64_t lower = 1;
    if (!rest.empty()) {
        if (!take(rest, '/')) return false;
        lower = take_digits(rest);
        take(rest, ')');
        if (!rest.empty()) return false;
    }
    *this = Fraction(wrapped(upper), wrapped(lower));
    return true;
}

Fraction operator+(Fraction const& left, Fraction const& right) {
    return reduced(wide(left.numerator) * wide(right.denominator) +
                       wide(right.numerator) * wide(left.denominator),
                   wide(left.denominator) * wide(right.denominator));
}

Fraction operator-(Fraction const& left, Fraction const& right) {
    return reduced(wide(left.numerator) * wide(right.denominator) -
                       wide(right.numerator) * wide(left.denominator),
                   wide(left.denominator) * wide(right.denominator));
}

Fraction operator*(Fraction const& left, Fraction const& right) {
    return reduced(wide(left.numerator) * wide(right.numerator),
                   wide(left.denominator) * wide(right.denominator));
}

} // namespace Vexa::units::detail
