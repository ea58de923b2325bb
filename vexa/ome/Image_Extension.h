#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Image.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Reference<Image const>;
extern template class Array_of<Reference<Image const>>;

/// What an image adds to the schema.
class VEXA_API Image::Extension : public Extension_Annotation {
public:
    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    /// The rotation of the scan; empty unless there are a number and a known unit.
    std::optional<Quantity<Angle>> rotation_angle() const;
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    void set_rotation_angle(Quantity<Angle> angle);

    void resolve_references() override;

    Document<std::string, JSON::Enum<Type>, JSON::Default<Type::original>> type{extension_.element(), "type"};
    One_of<Text> acquisition_end_date{extension_.content, "acquisition_end_date"};
    Document<JSON::Number> angle{extension_.element(), "angle"};
    Document<std::string, JSON::Enum<Angle>> angle_unit{extension_.element(), "angle_unit"};
    Document<long long> frame_step{extension_.element(), "frame_step"};
    Document<long long> line_step{extension_.element(), "line_step"};
    Document<long long> pixel_step{extension_.element(), "pixel_step"};
    Document<std::string, JSON::Enum<Scan_Curve>> scan_curve{extension_.element(), "scan_curve"};
    Document<std::string, JSON::Enum<Scan_Direction>> scan_direction{extension_.element(), "scan_direction"};
    One_of<Text> derivation_description{extension_.content, "derivation_description"};
    Array_of<Reference<Image const>> source_images{extension_.content, "source_image"};
    Array_of<Reference<Image const>> parameter_images{extension_.content, "parameter_images"};
};

} // namespace OME
