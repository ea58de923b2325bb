// Unit text: every text is read or refused, what is read prints, and what is printed reads back as the same
// value, save for the forms that RuntimeValue::format() names.

#include <cmath>
#include <limits>
#include <string>

#include <vexa/units/BaseUnit.h>

#include "fuzz.h"

using Vexa::units::BaseUnit;
using Vexa::units::RuntimeValue;
using Vexa::units::detail::Fraction;

namespace {

/// In lowest terms. Fractions with the smallest 32-bit number are left out: dividing them by -1 wraps.
bool is_reduced(Fraction const& fraction) {
    constexpr auto smallest = std::numeric_limits<std::int32_t>::min();
    if (fraction.numerator == smallest || fraction.denominator == smallest) return true;
    Fraction again = fraction;
    again.reduce();
    return again == fraction;
}

/// All exponents are whole or have the sign on the numerator, so that the printed form tells them.
bool has_printable_exponents(RuntimeValue const& value) {
    for (Fraction const& exponent : value.exponents)
        if (exponent.denominator <= 0) return false;
    return true;
}

/// Numbers whose neighbours and scaled forms are ordinary, so that no step leaves the range.
bool has_ordinary_number(RuntimeValue const& value) {
    double const magnitude = std::fabs(value.value);
    return magnitude == 0 || (magnitude > 1e-250 && magnitude < 1e250);
}

void check_reads_back(RuntimeValue const& value) {
    if (!has_printable_exponents(value) || !has_ordinary_number(value)) return;
    std::string number;
    std::string unit;
    value.format(number, unit, 16, 0, 0, 0);
    // The product keeps a power in the unit away from the number. A unit without numerator needs its own.
    if (unit.empty() || unit.front() == '/')
        number += unit;
    else
        number += "*" + unit;
    RuntimeValue const again(number);
    VEXA_FUZZ_CHECK(again == value);
}

void check_prints(RuntimeValue const& value) {
    using namespace Vexa::units;
    for (unsigned int digits : {0u, 3u, 4294967295u})
        for (int flags : {0, format_flags::text_form | format_flags::prefixes,
                          format_flags::prefixes | format_flags::prefixes_on_numbers}) {
            std::string number;
            std::string unit;
            value.format(number, unit, digits, flags, -3, 3);
            VEXA_FUZZ_CHECK(!number.empty() && number.size() < 64);
            char const* const blank = (flags & format_flags::text_form) != 0 ? " " : "";
            VEXA_FUZZ_CHECK(value.format(digits, flags, -3, 3) == number + blank + unit);
        }
}

void check_arithmetic(RuntimeValue const& value, Fraction const& power) {
    RuntimeValue result = value;
    result *= value;
    result /= value;
    result += value;
    result -= RuntimeValue(1.0);
    result ^= power;
    for (Fraction const& exponent : result.exponents) VEXA_FUZZ_CHECK(is_reduced(exponent));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    Fraction power(1, 1);
    bool const is_power = power.parse(text);
    Fraction reduced = power;
    reduced.reduce();
    VEXA_FUZZ_CHECK(is_reduced(reduced));
    VEXA_FUZZ_CHECK(is_power || power == Fraction(1, 1));

    int length = -1;
    int const prefix = BaseUnit::match_prefix(text, length);
    VEXA_FUZZ_CHECK(length >= 0 && static_cast<std::size_t>(length) <= size);
    VEXA_FUZZ_CHECK((length == 0) == (prefix == 1000 || text.empty()));

    RuntimeValue value(7.0);
    bool const is_unit = BaseUnit::parse(text, value);
    VEXA_FUZZ_CHECK(value.valid);
    VEXA_FUZZ_CHECK(is_unit || value.value == 7.0);
    VEXA_FUZZ_CHECK(RuntimeValue(text).valid == is_unit);

    check_prints(value);
    check_arithmetic(value, reduced);
    for (Fraction const& exponent : value.exponents) VEXA_FUZZ_CHECK(is_reduced(exponent));
    if (is_unit) check_reads_back(value);
    return 0;
}
