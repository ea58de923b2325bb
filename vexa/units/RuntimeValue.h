#pragma once

#include <array>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/units/Fraction.h>
#include <vexa/units/Value.h>

namespace Vexa::units {

class BaseUnit;

/// What RuntimeValue::format() does; add the bits up.
namespace format_flags {
/// The form for running text: one blank between number and unit, "1/s" in place of "/s", and no prefix for
/// numbers from 0.1 up to 1.
inline constexpr int text_form = 1;
/// Use SI prefixes, within the limits of the unit.
inline constexpr int prefixes = 2;
/// With `prefixes`: also on a plain number, as in "1.5k".
inline constexpr int prefixes_on_numbers = 4;
} // namespace format_flags

/// A number with a physical dimension that is known only at run time, such as the unit of a stack axis.
///
/// The dimension is nine rational exponents, in the order metre, kilogram, second, ampere, kelvin, mole,
/// candela, radian, steradian; angles count, so a radian is not dimensionless. A failed parse and an
/// operation on incompatible values give an invalid value; nothing here throws on bad data.
///
/// Threads: a plain value; each object belongs to one thread at a time.
class VEXA_API RuntimeValue {
public:
    /// The dimensionless 1.
    RuntimeValue() = default;
    /// A dimensionless number.
    RuntimeValue(double number);
    /// As operator=(std::string const&).
    RuntimeValue(std::string const& text);
    RuntimeValue(RuntimeValue const&) = default;
    template <long long... E>
    RuntimeValue(Value<E...> const& quantity)
        : exponents{from_fixed_point(E, Value<E...>::scale)...}, value(quantity.value) {}
    virtual ~RuntimeValue() = default;

    RuntimeValue& operator=(RuntimeValue const&) = default;
    /// Become a valid dimensionless number.
    RuntimeValue& operator=(double number);
    /// Take over what BaseUnit::parse() reads. Text that it refuses gives the invalid dimensionless 1.
    RuntimeValue& operator=(std::string const& text);

    /// Back to the valid dimensionless 1.
    void clear();
    /// Set dimension and number. `valid` stays as it is, and so do the fractions: pass them reduced.
    void set_value(std::array<detail::Fraction, 9> const& new_exponents, double new_value);
    /// Assign the text, then multiply the number by \p factor: `set_value("m", 1e-6)` is a micrometre.
    void set_value(std::string const& text, double factor);

    /// Multiply or divide numbers and dimensions. Invalid if \p other is; an invalid left side stays invalid.
    /// Division by zero gives the floating-point result.
    RuntimeValue& operator*=(RuntimeValue const& other);
    RuntimeValue& operator/=(RuntimeValue const& other);
    /// Add or subtract numbers. Invalid unless is_compatible().
    RuntimeValue& operator+=(RuntimeValue const& other);
    RuntimeValue& operator-=(RuntimeValue const& other);
    /// Raise to a rational power. An invalid value stays invalid.
    RuntimeValue& operator^=(detail::Fraction const& power);

    /// Both valid, the same dimension, and numbers that differ by less than 1e-9 of either. Zero equals only
    /// zero.
    bool operator==(RuntimeValue const& other) const;
    /// Valid, and without a dimension.
    bool is_dimensionless() const;
    /// Both valid, and the same dimension.
    bool is_compatible(RuntimeValue const& other) const;

    /// The first row of the unit table with this dimension, whatever the number; "g" for masses.
    /// \return null if there is none; else it lives until process exit.
    BaseUnit const* is_single_unit() const;
    /// \param[out] name the unit's name; unchanged if the result is false.
    bool is_single_unit(std::string& name) const;

    /// The number if dimensionless, else a quiet NaN.
    operator double() const;

    /// Print the number and the unit.
    ///
    /// A dimension that has a row in the unit table is printed in that unit, "km" say, with the prefixes that
    /// the row allows; any other as a product of base units without prefix, "m/s^2". Numbers below 0.01 or
    /// from 1000 on get an exponent, "1.23e4". Infinite numbers and NaN are printed as "inf", "-inf", "nan".
    ///
    /// \param digits significant digits; above 16 counts as 16, 0 as 1.
    /// \param flags of `format_flags`.
    /// \param min_exponent,max_exponent have no effect: a single unit brings its own limits, and a product of
    ///     units takes no prefix.
    /// \note Deliberate: in a product only the sign of a numerator tells a divisor, so the exponent 1/-2 is
    /// printed like 1/2. Not every text reads back as the same value: BaseUnit::parse() does not know the
    /// prefix "a", needs a blank before "E", takes the prefixed number "2m" for metres and raises the 5 of
    /// "5 m^2" to the power as well.
    void format(std::string& value_text, std::string& unit_text, unsigned int digits, int flags,
                int min_exponent, int max_exponent) const;
    /// Number and unit in one text, with one blank between them if `text_form` is set.
    std::string format(unsigned int digits, int flags, int min_exponent, int max_exponent) const;

    /// False for the result of a failed parse or of an illegal operation.
    bool valid = true;
    std::array<detail::Fraction, 9> exponents{};
    /// The number, in base units.
    double value = 1.0;

private:
    static detail::Fraction from_fixed_point(long long exponent, long long scale);

    void invalidate();
};

} // namespace Vexa::units
