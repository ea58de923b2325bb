#include <vexa/ome/Light_Source.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

Light_Source::Light_Source(JSON::Proxy& parent, Position position)
    : Manufacturer_Specification_with_ID<Light_Source>(parent, position) {}

std::optional<Quantity<Length>> Light_Source::wavelength() const {
    return Quantity<Length>::from(wavelength_, wavelength_unit_);
}

std::optional<double> Light_Source::wavelength_in_meters() const {
    return in_coherent_SI<Length>(wavelength_, wavelength_unit_);
}

void Light_Source::set_wavelength(Quantity<Length> wavelength) {
    wavelength.store(wavelength_, wavelength_unit_);
}

std::optional<double> Light_Source::repetition_rate_in_hertz() const {
    return in_coherent_SI<Frequency>(repetition_rate_, repetition_rate_unit_);
}

void Light_Source::set_repetition_rate(Quantity<Frequency> rate) {
    rate.store(repetition_rate_, repetition_rate_unit_);
}

template class Element_with_ID<Light_Source>;
template class Manufacturer_Specification_with_ID<Light_Source>;
template class Array_of<Light_Source>;
template class Reference<Light_Source const>;

} // namespace OME
