#include <vexa/units/RuntimeValue.h>

#include <cmath>
#include <limits>

#include <vexa/units/BaseUnit.h>

namespace Vexa::units {

RuntimeValue::RuntimeValue(double number) : value(number) {}

RuntimeValue::RuntimeValue(std::string const& text) { *this = text; }

RuntimeValue& RuntimeValue::operator=(double number) {
    clear();
    value = number;
    return *this;
}

RuntimeValue& RuntimeValue::operator=(std::string const& text) {
    clear();
    if (!BaseUnit::parse(text, *this)) invalidate();
    return *this;
}

void RuntimeValue::clear() {
    valid = true;
    exponents.fill(detail::Fraction());
    value = 1.0;
}

void RuntimeValue::invalidate() {
    clear();
    valid = false;
}

void RuntimeValue::set_value(std::array<detail::Fraction, 9> const& new_exponents, double new_value) {
    exponents = new_exponents;
    value = new_value;
}

void RuntimeValue::set_value(std::string const& text, double factor) {
    *this = text;
    value *= factor;
}

RuntimeValue& RuntimeValue::operator*=(RuntimeValue const& other) {
    if (!other.valid) {
        invalidate();
        return *this;
    }
    for (std::size_t i = 0; i < exponents.size(); ++i) exponents[i] = exponents[i] + other.exponents[i];
    value *= other.value;
    return *this;
}

RuntimeValue& RuntimeValue::operator/=(RuntimeValue const& other) {
    if (!other.valid) {
        invalidate();
        return *this;
    }
    for (std::size_t i = 0; i < exponents.size(); ++i) exponents[i] = exponents[i] - other.exponents[i];
    value /= other.value;
    return *this;
}

RuntimeValue& RuntimeValue::operator+=(RuntimeValue const& other) {
    if (is_compatible(other))
        value += other.value;
    else
        invalidate();
    return *this;
}

RuntimeValue& RuntimeValue::operator-=(RuntimeValue const& other) {
    if (is_compatible(other))
        value -= other.value;
    else
        invalidate();
    return *this;
}

RuntimeValue& RuntimeValue::operator^=(detail::Fraction const& power) {
    for (detail::Fraction& exponent : exponents) exponent = exponent * power;
    value = std::pow(value, static_cast<double>(power.numerator) / static_cast<double>(power.denominator));
    return *this;
}

bool RuntimeValue::operator==(RuntimeValue const& other) const {
    if (!is_compatible(other)) return false;
    double const a = value;
    double const b = other.value;
    if (a == 0) return b == 0;
    if (b == 0) return false;
    double const difference = std::fabs(a - b);
    return difference / std::fabs(a) < 1e-9 && difference / std::fabs(b) < 1e-9;
}

bool RuntimeValue::is_dimensionless() const {
    return valid && exponents == std::array<detail::Fraction, 9>{};
}

bool RuntimeValue::is_compatible(RuntimeValue const& other) const {
    return valid && other.valid && exponents == other.exponents;
}

BaseUnit const* RuntimeValue::is_single_unit() const {
    for (BaseUnit const& unit : BaseUnit::get_unit_array())
        if (is_compatible(unit) && unit.name != "kg") return &unit;
    return nullptr;
}

bool RuntimeValue::is_single_unit(std::string& name) const {
    BaseUnit const* const unit = is_single_unit();
    if (unit) name = unit->name;
    return unit != nullptr;
}

RuntimeValue::operator double() const {
    return is_dimensionless() ? value : std::numeric_limits<double>::quiet_NaN();
}

detail::Fraction RuntimeValue::from_fixed_point(long long exponent, long long scale) {
    detail::Fraction fraction(static_cast<std::int32_t>(exponent), static_cast<std::int32_t>(scale));
    fraction.reduce();
    return fraction;
}

} // namespace Vexa::units
