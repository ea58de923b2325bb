#pragma once

#include <cstdint>
#include <optional>

#include <vexa/foundation/export.h>
#include <vexa/json/Proxy.h>
#include <vexa/json/String_Cast.h>

namespace OME {

namespace detail {
/// The factor 10^exponent, or its inverse in the form that the units below have.
constexpr std::int64_t power_of_ten(int exponent) {
    std::int64_t power = 1;
    for (int i = exponent < 0 ? -exponent : exponent; i > 0; --i) power *= 10;
    return exponent < 0 ? -power : power;
}
} // namespace detail

/// Units. The value of an enumerator is its scale to the coherent unit of the SI: n > 0 is the factor n, n < 0
/// the factor -1/n. There is no conversion to and from 0 and, for lengths, -1.
enum class VEXA_API Length : std::int64_t {
    m = 1,
    Em = detail::power_of_ten(18),
    Pm = detail::power_of_ten(15),
    Tm = detail::power_of_ten(12),
    Gm = detail::power_of_ten(9),
    Mm = detail::power_of_ten(6),
    km = 1000,
    hm = 100,
    dam = 10,
    dm = -10,
    cm = -100,
    mm = -1000,
    um = detail::power_of_ten(-6),
    nm = detail::power_of_ten(-9),
    pm = detail::power_of_ten(-12),
    fm = detail::power_of_ten(-15),
    am = detail::power_of_ten(-18),
    pixel = 0,
    reference_frame = -1
};

enum class VEXA_API Time : std::int64_t {
    s = 1,
    Es = detail::power_of_ten(18),
    Ps = detail::power_of_ten(15),
    Ts = detail::power_of_ten(12),
    Gs = detail::power_of_ten(9),
    Ms = detail::power_of_ten(6),
    ks = 1000,
    hs = 100,
    das = 10,
    ds = -10,
    cs = -100,
    ms = -1000,
    us = detail::power_of_ten(-6),
    ns = detail::power_of_ten(-9),
    ps = detail::power_of_ten(-12),
    fs = detail::power_of_ten(-15),
    as = detail::power_of_ten(-18),
    min = 60,
    h = 3600,
    d = 86400
};

enum class VEXA_API Frequency : std::int64_t {
    Hz = 1,
    EHz = detail::power_of_ten(18),
    PHz = detail::power_of_ten(15),
    THz = detail::power_of_ten(12),
    GHz = detail::power_of_ten(9),
    MHz = detail::power_of_ten(6),
    kHz = 1000,
    hHz = 100,
    daHz = 10,
    dHz = -10,
    cHz = -100,
    mHz = -1000,
    uHz = detail::power_of_ten(-6),
    nHz = detail::power_of_ten(-9),
    pHz = detail::power_of_ten(-12),
    fHz = detail::power_of_ten(-15),
    aHz = detail::power_of_ten(-18)
};

/// The scale rule doesn't hold for angles; see angle_in_radians().
enum class VEXA_API Angle : std::int64_t { rad = 1, deg = -57, gon = -64 };

/// A number with its unit.
template <typename Unit>
struct VEXA_API Quantity {
    double value;
    Unit unit;

    /// Read a number and the name of its unit, which may be defaults; empty unless both are there.
    static std::optional<Quantity> from(JSON::Proxy const& value, JSON::Proxy const& unit);
    /// Store the number, non-finite ones as their strings, and the name of the unit.
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    void store(JSON::Proxy& to_value, JSON::Proxy& to_unit) const;

    /// The value in m, s or Hz; empty for a unit without a factor. 0 is 0 in any unit.
    std::optional<double> value_in_coherent_SI() const requires(!std::same_as<Unit, Angle>);
};

/// What a number in the unit \p source is multiplied with to get one in the unit \p target; empty if either
/// has no factor.
template <typename Unit>
VEXA_API std::optional<double> get_factor_to(Unit target, Unit source);

/// A number and its unit in m, s or Hz; empty if either is missing, without a factor, or not finite.
template <typename Unit>
VEXA_API std::optional<double> in_coherent_SI(JSON::Proxy const& value, JSON::Proxy const& unit);

/// The angle in radians. 0 is 0 in any unit; a unit that isn't known gives 0.
VEXA_API double angle_in_radians(Quantity<Angle> angle);

extern template struct Quantity<Length>;
extern template struct Quantity<Time>;
extern template struct Quantity<Frequency>;
extern template struct Quantity<Angle>;
extern template std::optional<double> get_factor_to(Length, Length);
extern template std::optional<double> get_factor_to(Time, Time);
extern template std::optional<double> get_factor_to(Frequency, Frequency);
extern template std::optional<double> in_coherent_SI<Length>(JSON::Proxy const&, JSON::Proxy const&);
extern template std::optional<double> in_coherent_SI<Time>(JSON::Proxy const&, JSON::Proxy const&);
extern template std::optional<double> in_coherent_SI<Frequency>(JSON::Proxy const&, JSON::Proxy const&);

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Length, 0> : JSON::Enum_Cast<OME::Length> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Time, 0> : JSON::Enum_Cast<OME::Time> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Frequency, 0> : JSON::Enum_Cast<OME::Frequency> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Angle, 0> : JSON::Enum_Cast<OME::Angle> {
    static Map const& map();
};
