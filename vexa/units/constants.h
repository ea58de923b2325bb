#pragma once

#include <vexa/units/Value.h>

/// The named units of the unit table as typed quantities: `RuntimeValue width = Vexa::units::angstrom;`.
namespace Vexa::units {

namespace detail {

/// The Value type for whole exponents of metre, kilogram, second, ampere, kelvin, mole, candela, radian and
/// steradian.
template <long long M, long long Kg = 0, long long S = 0, long long A = 0, long long K = 0, long long Mol = 0,
          long long Cd = 0, long long Rad = 0, long long Sr = 0>
using Quantity = Value<M * 1512000, Kg * 1512000, S * 1512000, A * 1512000, K * 1512000, Mol * 1512000,
                       Cd * 1512000, Rad * 1512000, Sr * 1512000>;

} // namespace detail

inline constexpr detail::Quantity<1> m{1};
inline constexpr detail::Quantity<0, 1> kg{1};
inline constexpr detail::Quantity<0, 0, 1> s{1};
inline constexpr detail::Quantity<0, 0, 0, 1> A{1};
inline constexpr detail::Quantity<0, 0, 0, 0, 1> K{1};
inline constexpr detail::Quantity<0, 0, 0, 0, 0, 1> mol{1};
inline constexpr detail::Quantity<0, 0, 0, 0, 0, 0, 1> cd{1};
inline constexpr detail::Quantity<0, 0, 0, 0, 0, 0, 0, 1> rad{1};
inline constexpr detail::Quantity<0, 0, 0, 0, 0, 0, 0, 0, 1> sr{1};

inline constexpr detail::Quantity<0, 0, -1> Hz{1};
inline constexpr detail::Quantity<1, 1, -2> N{1};
inline constexpr detail::Quantity<-1, 1, -2> Pa{1};
inline constexpr detail::Quantity<2, 1, -2> J{1};
inline constexpr detail::Quantity<2, 1, -3> W{1};
inline constexpr detail::Quantity<0, 0, 1, 1> C{1};
inline constexpr detail::Quantity<2, 1, -3, -1> V{1};
inline constexpr detail::Quantity<-2, -1, 4, 2> F{1};
inline constexpr detail::Quantity<2, 1, -3, -2> ohm{1};
inline constexpr detail::Quantity<-2, -1, 3, 2> S{1};
inline constexpr detail::Quantity<2, 1, -2, -1> Wb{1};
inline constexpr detail::Quantity<0, 1, -2, -1> T{1};
inline constexpr detail::Quantity<2, 1, -2, -2> H{1};
inline constexpr detail::Quantity<0, 0, 0, 0, 0, 0, 1, 0, 1> lm{1};
inline constexpr detail::Quantity<-2, 0, 0, 0, 0, 0, 1, 0, 1> lux{1};
inline constexpr detail::Quantity<0, 0, -1> Bq{1};
inline constexpr detail::Quantity<2, 0, -2> Gy{1};

inline constexpr detail::Quantity<0, 1> g{0.001};
inline constexpr detail::Quantity<0, 1> t{1000};
inline constexpr detail::Quantity<0, 0, 0, 0, 0, 0, 0, 1> deg{0.017453292519943295};
inline constexpr detail::Quantity<1> pc{3.0856775807e16};
inline constexpr detail::Quantity<1> angstrom{1e-10};
inline constexpr detail::Quantity<1> fermi{1e-15};
inline constexpr detail::Quantity<2> barn{1e-28};
inline constexpr detail::Quantity<0, 0, 1> h{3600};
inline constexpr detail::Quantity<0, 0, 1, 1> e{1.60217733e-19};
inline constexpr detail::Quantity<2, 1, -2> eV{1.60217733e-19};
inline constexpr detail::Quantity<-1, 1, -2> bar{100000};
inline constexpr detail::Quantity<0, 1, -2, -1> G{0.0001};
inline constexpr detail::Quantity<0, 0, -1> Ci{3.7e10};

} // namespace Vexa::units
