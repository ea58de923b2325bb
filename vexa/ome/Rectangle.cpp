#include <vexa/ome/Rectangle.h>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

std::optional<VX::XYZ<double>> together(std::optional<double> x, std::optional<double> y,
                                        std::optional<double> z) {
    if (!x || !y || !z) return std::nullopt;
    return VX::XYZ<double>{*x, *y, *z};
}

void store_meters(double number, JSON::Proxy& to_number, JSON::Proxy& to_unit) {
    Quantity<Length>{number, Length::m}.store(to_number, to_unit);
}

} // namespace

Rectangle::Rectangle(JSON::Proxy& parent, Position position) : Shape(parent, position) {}

std::optional<double> Rectangle::in_meters(JSON::Proxy const& number,
                                           Document<std::string, JSON::Enum<Length>> Extension::*unit) const {
    Extension const* extension = extension_.referent();
    return extension ? in_coherent_SI<Length>(number, extension->*unit) : std::nullopt;
}

std::optional<double> Rectangle::position_x_in_meters() const {
    return in_meters(x_, &Extension::position_x_unit);
}

std::optional<double> Rectangle::position_y_in_meters() const {
    return in_meters(y_, &Extension::position_y_unit);
}

std::optional<double> Rectangle::position_z_in_meters() const {
    Extension const* extension = extension_.referent();
    return extension ? in_meters(extension->position_z, &Extension::position_z_unit) : std::nullopt;
}

std::optional<double> Rectangle::size_x_in_meters() const {
    return in_meters(width_, &Extension::size_x_unit);
}

std::optional<double> Rectangle::size_y_in_meters() const {
    return in_meters(height_, &Extension::size_y_unit);
}

std::optional<double> Rectangle::size_z_in_meters() const {
    Extension const* extension = extension_.referent();
    return extension ? in_meters(extension->size_z, &Extension::size_z_unit) : std::nullopt;
}

std::optional<VX::XYZ<double>> Rectangle::position_in_meters() const {
    return together(position_x_in_meters(), position_y_in_meters(), position_z_in_meters());
}

std::optional<VX::XYZ<double>> Rectangle::shape_in_meters() const {
    return together(size_x_in_meters(), size_y_in_meters(), size_z_in_meters());
}

void Rectangle::set_position_in_meters(VX::XYZ<double> const& position) {
    Extension& extension = *extension_;
    store_meters(position.x, x_, extension.position_x_unit);
    store_meters(position.y, y_, extension.position_y_unit);
    store_meters(position.z, extension.position_z, extension.position_z_unit);
}

void Rectangle::set_shape_in_meters(VX::XYZ<double> const& shape) {
    Extension& extension = *extension_;
    store_meters(shape.x, width_, extension.size_x_unit);
    store_meters(shape.y, height_, extension.size_y_unit);
    store_meters(shape.z, extension.size_z, extension.size_z_unit);
}

void Rectangle::resolve_references() { resolve(extension_); }

std::string const& Rectangle::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/rectangle/extension";
    return text;
}

Rectangle::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

template class Reference<Rectangle::Extension>;
template class Array_of<Rectangle>;

} // namespace OME
