#pragma once

#include <cstdint>
#include <limits>

namespace Vexa::units {

/// A quantity whose dimension is known to the compiler: a number in base units, and the exponents of metre,
/// kilogram, second, ampere, kelvin, mole, candela, radian and steradian as fixed-point template arguments.
/// Converts to RuntimeValue.
template <long long E0, long long E1, long long E2, long long E3, long long E4, long long E5, long long E6,
          long long E7, long long E8>
struct Value {
    /// The argument that stands for the exponent 1: 2^6 * 3^3 * 5^3 * 7, so that common fractions are exact.
    static constexpr long long scale = 1512000;

    static constexpr bool fits(long long exponent) {
        return exponent >= std::numeric_limits<std::int32_t>::min() &&
               exponent <= std::numeric_limits<std::int32_t>::max();
    }
    static_assert(fits(E0) && fits(E1) && fits(E2) && fits(E3) && fits(E4) && fits(E5) && fits(E6) &&
                      fits(E7) && fits(E8),
                  "exponents are 32-bit");

    double value;
};

} // namespace Vexa::units
