#include <vexa/json/Number.h>

#include <cmath>
#include <functional>

namespace JSON {

namespace {

using Signed = long long;
using Unsigned = unsigned long long;

template <typename A, typename B>
std::partial_ordering compare(A a, B b) {
    if constexpr (std::is_same_v<A, B>) {
        return a <=> b;
    } else if constexpr (std::is_same_v<A, double> || std::is_same_v<B, double>) {
        return static_cast<double>(a) <=> static_cast<double>(b);
    } else if constexpr (std::is_same_v<A, Signed>) {
        return a < 0 ? std::strong_ordering::less : static_cast<Unsigned>(a) <=> b;
    } else {
        return b < 0 ? std::strong_ordering::greater : a <=> static_cast<Unsigned>(b);
    }
}

/// Operands as the operation sees them: two doubles, or two bit patterns, in which integers wrap.
template <typename Operation>
Number calculate(Number const& left, Number const& right, Operation operation) {
    return std::visit(
        [&](auto a, auto b) -> Number {
            using A = decltype(a);
            using B = decltype(b);
            if constexpr (std::is_same_v<A, double> || std::is_same_v<B, double>) {
                return operation(static_cast<double>(a), static_cast<double>(b));
            } else {
                Unsigned const bits = operation(static_cast<Unsigned>(a), static_cast<Unsigned>(b));
                if constexpr (std::is_same_v<A, Signed> && std::is_same_v<B, Signed>)
                    return static_cast<Signed>(bits);
                else
                    return bits;
            }
        },
        left.variant(), right.variant());
}

Number divide(Signed a, Signed b) {
    // The one quotient that doesn't fit wraps like all other results.
    return b == -1 ? static_cast<Signed>(-static_cast<Unsigned>(a)) : a / b;
}

} // namespace

double Number::to_double() const noexcept {
    return std::visit([](auto value) { return static_cast<double>(value); }, data_);
}

Number::operator bool() const noexcept {
    return std::visit([](auto value) { return value != decltype(value){}; }, data_);
}

std::partial_ordering Number::operator<=>(Number const& other) const noexcept {
    return std::visit([](auto a, auto b) { return compare(a, b); }, data_, other.data_);
}

Number& Number::operator+=(Number const& other) noexcept {
    return *this = calculate(*this, other, std::plus<>{});
}

Number& Number::operator-=(Number const& other) noexcept {
    return *this = calculate(*this, other, std::minus<>{});
}

Number& Number::operator*=(Number const& other) noexcept {
    return *this = calculate(*this, other, std::multiplies<>{});
}

Number& Number::operator/=(Number const& other) noexcept {
    auto const* a = std::get_if<Signed>(&data_);
    auto const* b = std::get_if<Signed>(&other.data_);
    return *this = a && b ? divide(*a, *b) : calculate(*this, other, std::divides<>{});
}

Number Number::absolute() const noexcept {
    if (auto const* real = std::get_if<double>(&data_)) return std::fabs(*real);
    if (auto const* integer = std::get_if<Signed>(&data_); integer && *integer < 0)
        return static_cast<Signed>(-static_cast<Unsigned>(*integer));
    return *this;
}

} // namespace JSON
