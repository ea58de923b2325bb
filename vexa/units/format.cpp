#include <vexa/units/RuntimeValue.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>

#include <vexa/units/BaseUnit.h>

namespace Vexa::units {

namespace {

/// The number and the unit on their way to text.
struct Printed {
    double number;
    std::string unit;
    bool use_prefix;
    int min_exponent = 0;
    int max_exponent = 0;
};

/// The power of ten of a number that is finite and not zero. The small addend lifts numbers that miss a power
/// of ten by rounding only.
int decimal_exponent(double number) {
    return static_cast<int>(std::floor(std::log(std::fabs(number)) / 2.302585092994046 + 0.0001));
}

/// number / 10^exponent, also where 10^exponent is too small for a double.
double without_exponent(double number, int exponent) {
    constexpr int smallest = -300;
    if (exponent < smallest) return number / std::pow(10.0, smallest) / std::pow(10.0, exponent - smallest);
    return number / std::pow(10.0, exponent);
}

bool needs_exponent(double magnitude) { return magnitude >= 1000 || magnitude < 0.01; }

/// Masses are printed in grams and tonnes with prefixes, in kilograms without.
void choose_mass_unit(Printed& printed) {
    if (!printed.use_prefix) {
        printed.unit = std::string("kg");
        printed.number /= 1000;
        printed.min_exponent = printed.max_exponent = 0;
    } else if (printed.number >= 1000000) {
        printed.unit = std::string("t");
        printed.number /= 1000000;
        printed.min_exponent = 0;
        printed.max_exponent = 24;
    }
}

Printed in_single_unit(double value, BaseUnit const& unit, bool use_prefix) {
    Printed printed{value / unit.value, unit.name, use_prefix, unit.min_prefix, unit.max_prefix};
    if (unit.name == "g") choose_mass_unit(printed);
    return printed;
}

std::string power_text(detail::Fraction const& exponent) {
    auto const numerator = std::abs(std::int64_t{exponent.numerator});
    auto const denominator = std::abs(std::int64_t{exponent.denominator});
    if (denominator != 1) return fmt::format("^({}/{})", numerator, denominator);
    return numerator == 1 ? std::string() : fmt::format("^{}", numerator);
}

/// The product of base units, "kg*m/s^3". The sign of a denominator does not count.
std::string compound_unit(std::array<detail::Fraction, 9> const& exponents, bool with_numerator) {
    std::string numerator;
    std::string denominator;
    for (std::size_t i = 0; i < exponents.size(); ++i) {
        if (exponents[i] == detail::Fraction()) continue;
        std::string const factor = BaseUnit::get_unit_array()[i].name + power_text(exponents[i]);
        if (exponents[i].numerator < 0)
            denominator.append("/").append(factor);
        else
            numerator.append(numerator.empty() ? "" : "*").append(factor);
    }
    if (numerator.empty() && with_numerator) numerator = std::string("1");
    return numerator + denominator;
}

/// Move a power of ten from the number into the unit, if the unit's limits allow a prefix that leaves a
/// readable number.
void apply_prefix(Printed& printed, int flags) {
    int const exponent = decimal_exponent(printed.number);
    bool const plain = (flags & format_flags::text_form) != 0 && exponent == -1;
    if (!printed.use_prefix || plain) return;

    int prefix = static_cast<int>(std::floor(exponent / 3.0)) * 3;
    if (exponent < printed.min_exponent) prefix = printed.min_exponent;
    if (exponent > printed.max_exponent) prefix = printed.max_exponent;
    double const number = printed.number / std::pow(10.0, prefix);
    if (prefix == 0 || needs_exponent(std::fabs(number))) return;
    printed.unit = BaseUnit::get_prefix(prefix, false) + printed.unit;
    printed.number = number;
}

std::string number_text(double number, int digits) {
    if (!std::isfinite(number)) return fmt::format("{}", number);
    if (number == 0) return fmt::format("{0:.{1}f}", 0.0, digits - 1);
    int const exponent = decimal_exponent(number);
    if (needs_exponent(std::fabs(number)))
        return fmt::format("{0:.{1}f}e{2}", without_exponent(number, exponent), digits - 1, exponent);
    return fmt::format("{0:.{1}f}", number, std::max(digits - exponent - 1, 0));
}

} // namespace

void RuntimeValue::format(std::string& value_text, std::string& unit_text, unsigned int digits, int flags,
                          int /*min_exponent*/, int /*max_exponent*/) const {
    bool const use_prefix = (flags & format_flags::prefixes) != 0 &&
                            (!is_dimensionless() || (flags & format_flags::prefixes_on_numbers) != 0);
    int const significant = static_cast<int>(std::clamp(digits, 1u, 16u));

    BaseUnit const* const unit = is_single_unit();
    Printed printed =
        unit ? in_single_unit(value, *unit, use_prefix)
             : Printed{value, compound_unit(exponents, (flags & format_flags::text_form) != 0), false};
    if (printed.number != 0 && std::isfinite(printed.number)) apply_prefix(printed, flags);
    value_text = number_text(printed.number, significant);
    unit_text = printed.unit;
}

std::string RuntimeValue::format(unsigned int digits, int flags, int min_exponent, int max_exponent) const {
    std::string value_text;
    std::string unit_text;
    format(value_text, unit_text, digits, flags, min_exponent, max_exponent);
    return value_text + ((flags & format_flags::text_form) != 0 ? " " : "") + unit_text;
}

} // namespace Vexa::units
