#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Line.h>
#include <vexa/ome/Rectangle.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<ROI>;

/// A region of interest: the union of its shapes. One that is a single rectangle stands for a box in space,
/// perhaps rotated, and is read and written as such.
///
/// Shapes other than lines and rectangles stay in the document as they are. They count for nothing here, and
/// copies of a region lack them.
class VEXA_API ROI : public Element_with_ID<ROI> {
public:
    /// A region was taken for a box that is none.
    class VEXA_API ROI_is_not_Single_Rectangle : public Invalid_Argument {
    public:
        /// "ROI is not single rectangle"
        ROI_is_not_Single_Rectangle();
        ROI_is_not_Single_Rectangle(ROI_is_not_Single_Rectangle const&) = default;
        ROI_is_not_Single_Rectangle& operator=(ROI_is_not_Single_Rectangle const&) = default;
        ~ROI_is_not_Single_Rectangle() override;
    };

    ROI(JSON::Proxy& parent, Position position);
    /// A copy of \p source, which may belong to another document, with identifiers of its own.
    ROI(JSON::Proxy& parent, Position position, ROI const& source);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }
    Array_of<Line>& lines() { return lines_; }
    Array_of<Line> const& lines() const { return lines_; }
    Array_of<Rectangle>& rectangles() { return rectangles_; }
    Array_of<Rectangle> const& rectangles() const { return rectangles_; }

    /// The rectangle, if there is exactly one and no line; else null.
    Rectangle const* single_rectangle() const;
    /// The same, but made if there is neither a line nor a rectangle.
    Rectangle* single_rectangle();

    /// What the single rectangle says; see there. Setting makes it if the region has no shapes.
    /// \throws ROI_is_not_Single_Rectangle "ROI is not single rectangle"
    double rotation_angle_in_radians() const;
    std::optional<VX::XYZ<double>> position_in_meters() const;
    std::optional<VX::XYZ<double>> shape_in_meters() const;
    void set_position_in_meters(VX::XYZ<double> const& position);
    void set_shape_in_meters(VX::XYZ<double> const& shape);
    /// \throws std::bad_variant_access unless the angle is finite, before anything changes
    void set_rotation_angle_in_radians(double angle);

    /// Take fresh identifiers for the region and its shapes.
    void reset_ID() override;
    void resolve_references() override;

private:
    Document<std::string> name_{*this, "Name"};
    One_of<Text> description_{content, "Description"};
    One_of<Element<Object_of_Documents>> union_{content, "Union"};
    Array_of<Line> lines_{union_.content, "Line"};
    Array_of<Rectangle> rectangles_{union_.content, "Rectangle"};
};

extern template class Array_of<ROI>;
extern template class Reference<ROI>;
extern template class Array_of<Reference<ROI>>;

} // namespace OME
