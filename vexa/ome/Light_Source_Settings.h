#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Light_Source.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Reference.h>

namespace OME {

/// A reference to a light source, and how it is set for one channel.
class VEXA_API Light_Source_Settings : public Reference<Light_Source const> {
public:
    Light_Source_Settings(JSON::Proxy& parent, Position position);

    /// The fraction that is taken away from the light, from 0 to 1.
    Document<JSON::Number>& attenuation() { return attenuation_; }
    Document<JSON::Number> const& attenuation() const { return attenuation_; }
    /// The wavelength that is set here, or else that of the light source, in the unit that it is stored with. A
    /// number without a unit is one in nm.
    std::optional<Quantity<Length>> wavelength() const;
    std::optional<double> wavelength_in_meters() const;
    void set_wavelength(Quantity<Length> wavelength);

private:
    Document<JSON::Number> attenuation_{*this, "Attenuation"};
    Document<JSON::Number> wavelength_{*this, "Wavelength"};
    Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>> wavelength_unit_{*this,
                                                                                          "WavelengthUnit"};
};

extern template class One_of<Light_Source_Settings>;

} // namespace OME
