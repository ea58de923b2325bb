#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Light_Source>;
extern template class Manufacturer_Specification_with_ID<Light_Source>;

/// A light source. Each one is written as a laser, whatever it is.
class VEXA_API Light_Source : public Manufacturer_Specification_with_ID<Light_Source> {
public:
    Light_Source(JSON::Proxy& parent, Position position);

    /// Number and unit, such as "mW".
    Document<JSON::Number>& power() { return power_; }
    Document<JSON::Number> const& power() const { return power_; }
    Document<std::string>& power_unit() { return power_unit_; }
    Document<std::string> const& power_unit() const { return power_unit_; }
    /// Free texts.
    Document<std::string>& type() { return type_; }
    Document<std::string> const& type() const { return type_; }
    Document<std::string>& laser_medium() { return laser_medium_; }
    Document<std::string> const& laser_medium() const { return laser_medium_; }
    Document<std::string>& pulse() { return pulse_; }
    Document<std::string> const& pulse() const { return pulse_; }

    Document<long long>& frequency_multiplication() { return frequency_multiplication_; }
    Document<long long> const& frequency_multiplication() const { return frequency_multiplication_; }
    Document<JSON::Boolean>& tuneable() { return tuneable_; }
    Document<JSON::Boolean> const& tuneable() const { return tuneable_; }
    /// Whether a Pockels cell is in the beam.
    Document<JSON::Boolean>& pockel_cell() { return pockel_cell_; }
    Document<JSON::Boolean> const& pockel_cell() const { return pockel_cell_; }

    /// The wavelength in the unit that it is stored with. A number without a unit is one in nm.
    std::optional<Quantity<Length>> wavelength() const;
    std::optional<double> wavelength_in_meters() const;
    void set_wavelength(Quantity<Length> wavelength);
    /// A number without a unit is one in Hz.
    std::optional<double> repetition_rate_in_hertz() const;
    void set_repetition_rate(Quantity<Frequency> rate);

private:
    Document<JSON::Number> power_{*this, "Power"};
    Document<std::string> power_unit_{*this, "PowerUnit"};
    Document<std::string> type_{*this, "Type"};
    Document<std::string> laser_medium_{*this, "LaserMedium"};
    Document<JSON::Number> wavelength_{*this, "Wavelength"};
    Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>> wavelength_unit_{*this,
                                                                                          "WavelengthUnit"};
    Document<long long> frequency_multiplication_{*this, "FrequencyMultiplication"};
    Document<JSON::Boolean> tuneable_{*this, "Tuneable"};
    Document<std::string> pulse_{*this, "Pulse"};
    Document<JSON::Boolean> pockel_cell_{*this, "PockelCell"};
    Document<JSON::Number> repetition_rate_{*this, "RepetitionRate"};
    Document<std::string, JSON::Enum<Frequency>, JSON::Default<Frequency::Hz>> repetition_rate_unit_{
        *this, "RepetitionRateUnit"};
};

extern template class Array_of<Light_Source>;
extern template class Reference<Light_Source const>;

} // namespace OME
