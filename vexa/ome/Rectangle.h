#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Shape.h>

namespace OME {

/// A rectangle along the axes of the image, or rotated by its transform. With its extension it is a box in
/// space: the schema knows X and Y only, and no units.
class VEXA_API Rectangle : public Shape {
public:
    class Extension;

    Rectangle(JSON::Proxy& parent, Position position);

    /// In the units of the extension, or in pixels where there are none.
    Document<double>& x() { return x_; }
    Document<double> const& x() const { return x_; }
    Document<double>& y() { return y_; }
    Document<double> const& y() const { return y_; }
    Document<double>& width() { return width_; }
    Document<double> const& width() const { return width_; }
    Document<double>& height() { return height_; }
    Document<double> const& height() const { return height_; }

    /// Empty where the number or its unit is missing, the unit is none of length, or the number isn't finite.
    std::optional<double> position_x_in_meters() const;
    std::optional<double> position_y_in_meters() const;
    std::optional<double> position_z_in_meters() const;
    std::optional<double> size_x_in_meters() const;
    std::optional<double> size_y_in_meters() const;
    std::optional<double> size_z_in_meters() const;
    /// The three together; empty unless all are there.
    std::optional<VX::XYZ<double>> position_in_meters() const;
    std::optional<VX::XYZ<double>> shape_in_meters() const;
    /// Store the numbers, non-finite ones as their strings, and the unit "m".
    void set_position_in_meters(VX::XYZ<double> const& position);
    void set_shape_in_meters(VX::XYZ<double> const& shape);

    /// See Shape::Transform; 0 without one.
    double rotation_angle_in_radians() const { return transform().rotation_angle_in_radians(); }
    /// \throws std::bad_variant_access unless the angle is finite, before anything changes
    void set_rotation_angle_in_radians(double angle) { transform().set_rotation_angle_in_radians(angle); }

    void resolve_references() override;

private:
    std::optional<double> in_meters(JSON::Proxy const& number,
                                    Document<std::string, JSON::Enum<Length>> Extension::*unit) const;

    Document<double> x_{*this, "X"};
    Document<double> y_{*this, "Y"};
    Document<double> width_{*this, "Width"};
    Document<double> height_{*this, "Height"};
    Reference<Extension> extension_{annotations_};
};

/// What a rectangle adds to the schema: the units of its numbers, and its place and size along Z.
class VEXA_API Rectangle::Extension : public Extension_Annotation {
public:
    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    Document<std::string, JSON::Enum<Length>> position_x_unit{extension_.element(), "position_x_unit"};
    Document<std::string, JSON::Enum<Length>> position_y_unit{extension_.element(), "position_y_unit"};
    Document<std::string, JSON::Enum<Length>> position_z_unit{extension_.element(), "position_z_unit"};
    Document<std::string, JSON::Enum<Length>> size_x_unit{extension_.element(), "size_x_unit"};
    Document<std::string, JSON::Enum<Length>> size_y_unit{extension_.element(), "size_y_unit"};
    Document<std::string, JSON::Enum<Length>> size_z_unit{extension_.element(), "size_z_unit"};
    Document<double> position_z{extension_.element(), "position_z"};
    Document<double> size_z{extension_.element(), "size_z"};
};

extern template class Reference<Rectangle::Extension>;
extern template class Array_of<Rectangle>;

} // namespace OME
