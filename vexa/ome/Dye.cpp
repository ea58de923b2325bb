#include <vexa/ome/Dye.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

constexpr unsigned white = 0xFFFFFFFF;

JSON::Value node(double position, unsigned red, unsigned green, unsigned blue) {
    return JSON::List{position, red, green, blue};
}

} // namespace

Dye::Dye(JSON::Proxy& parent, Position position) : Element_with_ID<Dye>(parent, position) {}

std::string Dye::color_name(unsigned argb) {
    switch (argb) {
    case 0xFF0000FF: return "blue";
    case 0xFF00FF00: return "lime";
    case 0xFF00FFFF: return "cyan";
    case 0xFFFF0000: return "red";
    case 0xFFFF00FF: return "magenta";
    case 0xFFFFA500: return "orange";
    case 0xFFFFFF00: return "yellow";
    case white: return "white";
    default: return "unknown";
    }
}

JSON::Value Dye::RGB_node(double position, unsigned argb) {
    return node(position, argb >> 16 & 0xFF, argb >> 8 & 0xFF, argb & 0xFF);
}

JSON::Value Dye::color_map(unsigned argb, bool overlay) {
    JSON::List nodes{node(0, 0, 0, 0)};
    if (argb != white && !overlay) {
        nodes.push_back(RGB_node(0.5, argb));
        nodes.push_back(node(1, 255, 255, 255));
    } else {
        nodes.push_back(RGB_node(1, argb));
    }
    return JSON::Map{{color_name(argb), std::move(nodes)}};
}

std::optional<double> Dye::lifetime_in_seconds() const {
    return in_coherent_SI<Time>(lifetime_, lifetime_unit_);
}

void Dye::set_lifetime(Quantity<Time> lifetime) { lifetime.store(lifetime_, lifetime_unit_); }

std::optional<double> Dye::emission_wavelength_in_meters() const {
    return in_coherent_SI<Length>(emission_wavelength_, emission_wavelength_unit_);
}

void Dye::set_emission_wavelength(Quantity<Length> wavelength) {
    wavelength.store(emission_wavelength_, emission_wavelength_unit_);
}

template class Element_with_ID<Dye>;
template class Array_of<Dye>;
template class Reference<Dye>;
template class Array_of<Reference<Dye>>;

} // namespace OME
