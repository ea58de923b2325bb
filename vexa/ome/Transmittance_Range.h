#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/One_of.h>

namespace OME {

/// The wavelengths that a filter lets through, between its two edges. Numbers without a unit are in nm.
class VEXA_API Transmittance_Range : public Element<Object_of_Documents> {
public:
    Transmittance_Range(JSON::Proxy& parent, Position position);

    std::optional<double> cut_in_in_meters() const;
    void set_cut_in(Quantity<Length> edge);
    std::optional<double> cut_out_in_meters() const;
    void set_cut_out(Quantity<Length> edge);
    std::optional<double> cut_in_tolerance_in_meters() const;
    void set_cut_in_tolerance(Quantity<Length> tolerance);
    std::optional<double> cut_out_tolerance_in_meters() const;
    void set_cut_out_tolerance(Quantity<Length> tolerance);
    /// The fraction of the light that passes, from 0 to 1.
    Document<JSON::Number>& transmittance() { return transmittance_; }
    Document<JSON::Number> const& transmittance() const { return transmittance_; }

private:
    using Unit = Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>>;

    Document<JSON::Number> cut_in_{*this, "CutIn"};
    Document<JSON::Number> cut_out_{*this, "CutOut"};
    Document<JSON::Number> cut_in_tolerance_{*this, "CutInTolerance"};
    Document<JSON::Number> cut_out_tolerance_{*this, "CutOutTolerance"};
    Unit cut_in_unit_{*this, "CutInUnit"};
    Unit cut_out_unit_{*this, "CutOutUnit"};
    Unit cut_in_tolerance_unit_{*this, "CutInToleranceUnit"};
    Unit cut_out_tolerance_unit_{*this, "CutOutToleranceUnit"};
    Document<JSON::Number> transmittance_{*this, "Transmittance"};
};

extern template class One_of<Transmittance_Range>;

} // namespace OME
