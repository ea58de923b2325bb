#pragma once

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Shape>;

/// A part of a region of interest.
class VEXA_API Shape : public Element_with_ID<Shape> {
public:
    /// How a point of the shape gets to its place: x' = A00 x + A01 y + A02, y' = A10 x + A11 y + A12.
    class VEXA_API Transform : public Element<Object_of_Documents> {
    public:
        Transform(JSON::Proxy& parent, Position position);

        /// The angle of the rotation from the axis x to the axis y, from -pi to pi; 0 for a transform that is
        /// none, or is incomplete.
        double rotation_angle_in_radians() const;
        /// Become the rotation by this angle, without translation. What is read back is the very angle, less
        /// full turns beyond -pi to pi.
        /// \throws std::bad_variant_access unless the angle is finite, before anything changes
        void set_rotation_angle_in_radians(double angle);

        Document<double> A00{*this, "A00"};
        Document<double> A10{*this, "A10"};
        Document<double> A01{*this, "A01"};
        Document<double> A11{*this, "A11"};
        Document<double> A02{*this, "A02"};
        Document<double> A12{*this, "A12"};
    };

    Shape(JSON::Proxy& parent, Position position);

    /// The plane that the shape lies in; all planes along an axis without a number.
    Document<long long>& the_z() { return the_z_; }
    Document<long long> const& the_z() const { return the_z_; }
    Document<long long>& the_t() { return the_t_; }
    Document<long long> const& the_t() const { return the_t_; }
    Document<long long>& the_c() { return the_c_; }
    Document<long long> const& the_c() const { return the_c_; }
    One_of<Transform>& transform() { return transform_; }
    One_of<Transform> const& transform() const { return transform_; }

private:
    Document<long long> the_z_{*this, "TheZ"};
    Document<long long> the_t_{*this, "TheT"};
    Document<long long> the_c_{*this, "TheC"};
    One_of<Transform> transform_{content, "Transform"};

protected:
    Abstract_References annotations_{content, "AnnotationRef"};
};

extern template class One_of<Shape::Transform>;

} // namespace OME
