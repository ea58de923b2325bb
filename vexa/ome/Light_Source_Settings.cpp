#include <vexa/ome/Light_Source_Settings.h>

namespace OME {

Light_Source_Settings::Light_Source_Settings(JSON::Proxy& parent, Position position)
    : Reference<Light_Source const>(parent, position) {}

std::optional<Quantity<Length>> Light_Source_Settings::wavelength() const {
    if (wavelength_) return Quantity<Length>::from(wavelength_, wavelength_unit_);
    return referent() ? referent()->wavelength() : std::nullopt;
}

std::optional<double> Light_Source_Settings::wavelength_in_meters() const {
    if (wavelength_) return in_coherent_SI<Length>(wavelength_, wavelength_unit_);
    return referent() ? referent()->wavelength_in_meters() : std::nullopt;
}

void Light_Source_Settings::set_wavelength(Quantity<Length> wavelength) {
    wavelength.store(wavelength_, wavelength_unit_);
}

template class One_of<Light_Source_Settings>;

} // namespace OME
