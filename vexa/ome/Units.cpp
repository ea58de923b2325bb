#include <vexa/ome/Units.h>

#include <cmath>
#include <string>

JSON::String_Cast<OME::Length, 0>::Map const& JSON::String_Cast<OME::Length, 0>::map() {
    using enum OME::Length;
    static Map const names{{m, "m"},
                           {Em, "Em"},
                           {Pm, "Pm"},
                           {Tm, "Tm"},
                           {Gm, "Gm"},
                           {Mm, "Mm"},
                           {km, "km"},
                           {hm, "hm"},
                           {dam, "dam"},
                           {dm, "dm"},
                           {cm, "cm"},
                           {mm, "mm"},
                           {um, "µm"},
                           {nm, "nm"},
                           {pm, "pm"},
                           {fm, "fm"},
                           {am, "am"},
                           {pixel, "pixel"},
                           {reference_frame, "reference frame"}};
    return names;
}

JSON::String_Cast<OME::Time, 0>::Map const& JSON::String_Cast<OME::Time, 0>::map() {
    using enum OME::Time;
    static Map const names{{s, "s"},   {Es, "Es"}, {Ps, "Ps"},   {Ts, "Ts"},   {Gs, "Gs"},
                           {Ms, "Ms"}, {ks, "ks"}, {hs, "hs"},   {das, "das"}, {ds, "ds"},
                           {cs, "cs"}, {ms, "ms"}, {us, "µs"},   {ns, "ns"},   {ps, "ps"},
                           {fs, "fs"}, {as, "as"}, {min, "min"}, {h, "h"},     {d, "d"}};
    return names;
}

JSON::String_Cast<OME::Frequency, 0>::Map const& JSON::String_Cast<OME::Frequency, 0>::map() {
    using enum OME::Frequency;
    static Map const names{{Hz, "Hz"},   {EHz, "EHz"}, {PHz, "PHz"}, {THz, "THz"},   {GHz, "GHz"},
                           {MHz, "MHz"}, {kHz, "kHz"}, {hHz, "hHz"}, {daHz, "daHz"}, {dHz, "dHz"},
                           {cHz, "cHz"}, {mHz, "mHz"}, {uHz, "µHz"}, {nHz, "nHz"},   {pHz, "pHz"},
                           {fHz, "fHz"}, {aHz, "aHz"}};
    return names;
}

JSON::String_Cast<OME::Angle, 0>::Map const& JSON::String_Cast<OME::Angle, 0>::map() {
    using enum OME::Angle;
    static Map const names{{rad, "rad"}, {deg, "deg"}, {gon, "gon"}};
    return names;
}

namespace OME {

namespace {

template <typename Unit>
constexpr bool has_factor(Unit unit) {
    if constexpr (std::same_as<Unit, Length>)
        if (unit == Length::reference_frame) return false;
    return unit != Unit{};
}

double factor(std::int64_t scale) {
    return scale > 0 ? static_cast<double>(scale) : -1.0 / static_cast<double>(scale);
}

} // namespace

template <typename Unit>
std::optional<Quantity<Unit>> Quantity<Unit>::from(JSON::Proxy const& value, JSON::Proxy const& unit) {
    JSON::Value const *held_value = value.value(), *held_unit = unit.value();
    std::string const* name = held_unit ? held_unit->get_if<std::string>() : nullptr;
    if (!held_value || !name) return std::nullopt;
    auto const number = JSON::Value_Cast<double, 0>::to_if(*held_value);
    auto const known_unit = JSON::String_Cast<Unit, 0>::to_if(*name);
    if (!number || !known_unit) return std::nullopt;
    return Quantity{*number, *known_unit};
}

template <typename Unit>
void Quantity<Unit>::store(JSON::Proxy& to_value, JSON::Proxy& to_unit) const {
    JSON::Value const name(unit);
    to_value.JSON::Proxy::set(JSON::Value(value));
    to_unit.set(name);
}

template <typename Unit>
std::optional<double> Quantity<Unit>::value_in_coherent_SI() const requires(!std::same_as<Unit, Angle>) {
    if (value == 0 || unit == Unit{1}) return value;
    if (!has_factor(unit)) return std::nullopt;
    auto const scale = static_cast<double>(unit);
    // One rounding less than by a factor below 1, so that 5 µm are 5e-6 m.
    return scale > 0 ? value * scale : value * -1.0 / scale;
}

template <typename Unit>
std::optional<double> get_factor_to(Unit target, Unit source) {
    if (!has_factor(target) || !has_factor(source)) return std::nullopt;
    return factor(static_cast<std::int64_t>(source)) / factor(static_cast<std::int64_t>(target));
}

template <typename Unit>
std::optional<double> in_coherent_SI(JSON::Proxy const& value, JSON::Proxy const& unit) {
    auto const quantity = Quantity<Unit>::from(value, unit);
    auto const to_coherent = quantity ? get_factor_to(Unit{1}, quantity->unit) : std::nullopt;
    if (!to_coherent || !std::isfinite(quantity->value)) return std::nullopt;
    return quantity->value * *to_coherent;
}

double angle_in_radians(Quantity<Angle> angle) {
    if (angle.value == 0) return angle.value;
    switch (angle.unit) {
    case Angle::rad: return angle.value;
    case Angle::deg: return angle.value * 0.017453292519943295;
    case Angle::gon: return angle.value * 0.015707963267948967;
    }
    return 0;
}

template struct Quantity<Length>;
template struct Quantity<Time>;
template struct Quantity<Frequency>;
template struct Quantity<Angle>;
template std::optional<double> get_factor_to(Length, Length);
template std::optional<double> get_factor_to(Time, Time);
template std::optional<double> get_factor_to(Frequency, Frequency);
template std::optional<double> in_coherent_SI<Length>(JSON::Proxy const&, JSON::Proxy const&);
template std::optional<double> in_coherent_SI<Time>(JSON::Proxy const&, JSON::Proxy const&);
template std::optional<double> in_coherent_SI<Frequency>(JSON::Proxy const&, JSON::Proxy const&);

} // namespace OME
