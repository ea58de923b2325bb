#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>

namespace OME {

/// When and where one plane of an image was taken.
///
/// Positions are those of the stage. Without a unit they are in the reference frame, which has no meters.
class VEXA_API Plane : public Element<Object_of_Documents> {
public:
    Plane(JSON::Proxy& parent, Position position);
    /// The plane at these indices, each with its sub-dimension: of two tiles along T, the second one at time
    /// 3 is T 7.
    Plane(JSON::Proxy& parent, Position position, long long z, long long c, long long t);

    Document<long long>& z() { return z_; }
    Document<long long> const& z() const { return z_; }
    Document<long long>& c() { return c_; }
    Document<long long> const& c() const { return c_; }
    Document<long long>& t() { return t_; }
    Document<long long> const& t() const { return t_; }

    /// The time since the beginning, in seconds.
    std::optional<double> delta_t() const;
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    void set_delta_t(Quantity<Time> time);
    /// In seconds.
    std::optional<double> exposure_time() const;
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    void set_exposure_time(Quantity<Time> time);

    std::optional<double> position_x_in_meters() const;
    std::optional<double> position_y_in_meters() const;
    std::optional<double> position_z_in_meters() const;
    /// Empty unless all three are there.
    std::optional<VX::XYZ<double>> position_in_meters() const;
    void set_position_x_in_meters(double x);
    void set_position_y_in_meters(double y);
    void set_position_z_in_meters(double z);
    void set_position_in_meters(VX::XYZ<double> const& position);

private:
    using Time_Unit = Document<std::string, JSON::Enum<Time>, JSON::Default<Time::s>>;
    using Length_Unit = Document<std::string, JSON::Enum<Length>, JSON::Default<Length::reference_frame>>;

    Document<long long> z_{*this, "TheZ"};
    Document<long long> t_{*this, "TheT"};
    Document<long long> c_{*this, "TheC"};
    Document<JSON::Number> delta_t_{*this, "DeltaT"};
    Time_Unit delta_t_unit_{*this, "DeltaTUnit"};
    Document<JSON::Number> exposure_time_{*this, "ExposureTime"};
    Time_Unit exposure_time_unit_{*this, "ExposureTimeUnit"};
    Document<JSON::Number> position_x_{*this, "PositionX"};
    Document<JSON::Number> position_y_{*this, "PositionY"};
    Document<JSON::Number> position_z_{*this, "PositionZ"};
    Length_Unit position_x_unit_{*this, "PositionXUnit"};
    Length_Unit position_y_unit_{*this, "PositionYUnit"};
    Length_Unit position_z_unit_{*this, "PositionZUnit"};
};

extern template class Array_of<Plane>;

} // namespace OME
