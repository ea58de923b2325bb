#include <vexa/ome/ROI.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

template <typename The_Rectangle>
The_Rectangle& demanded(The_Rectangle* rectangle) {
    if (!rectangle) throw ROI::ROI_is_not_Single_Rectangle();
    return *rectangle;
}

} // namespace

ROI::ROI_is_not_Single_Rectangle::ROI_is_not_Single_Rectangle()
    : Invalid_Argument("ROI is not single rectangle") {}
ROI::ROI_is_not_Single_Rectangle::~ROI_is_not_Single_Rectangle() = default;

ROI::ROI(JSON::Proxy& parent, Position position) : Element_with_ID<ROI>(parent, position) {}

ROI::ROI(JSON::Proxy& parent, Position position, ROI const& source) : ROI(parent, position) {
    *this = source;
    ROI::reset_ID();
}

Rectangle const* ROI::single_rectangle() const {
    return lines_.empty() && rectangles_.size() == 1 ? &rectangles_.front() : nullptr;
}

Rectangle* ROI::single_rectangle() {
    if (lines_.empty() && rectangles_.empty()) rectangles_.emplace_back();
    return const_cast<Rectangle*>(std::as_const(*this).single_rectangle());
}

double ROI::rotation_angle_in_radians() const {
    return demanded(single_rectangle()).rotation_angle_in_radians();
}

std::optional<VX::XYZ<double>> ROI::position_in_meters() const {
    return demanded(single_rectangle()).position_in_meters();
}

std::optional<VX::XYZ<double>> ROI::shape_in_meters() const {
    return demanded(single_rectangle()).shape_in_meters();
}

void ROI::set_position_in_meters(VX::XYZ<double> const& position) {
    demanded(single_rectangle()).set_position_in_meters(position);
}

void ROI::set_shape_in_meters(VX::XYZ<double> const& shape) {
    demanded(single_rectangle()).set_shape_in_meters(shape);
}

void ROI::set_rotation_angle_in_radians(double angle) {
    Document<double>::check(JSON::Value(angle)); // before a rectangle is made
    demanded(single_rectangle()).set_rotation_angle_in_radians(angle);
}

void ROI::reset_ID() {
    Element_with_ID<ROI>::reset_ID();
    for (Line& line : lines_) line.reset_ID();
    for (Rectangle& rectangle : rectangles_) rectangle.reset_ID();
}

void ROI::resolve_references() { resolve(rectangles_); }

template class Element_with_ID<ROI>;
template class Array_of<ROI>;
template class Reference<ROI>;
template class Array_of<Reference<ROI>>;

} // namespace OME
