#include <vexa/ome/Image_Extension.h>

#include <cmath>

#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

constexpr double radians_per_degree = 0.017453292519943295;

std::vector<Image const*> referents(Array_of<Reference<Image const>> const& references) {
    std::vector<Image const*> images;
    for (auto const& reference : references)
        if (Image const* image = reference.referent()) images.push_back(image);
    return images;
}

void remove_from(Array_of<Reference<Image const>>& references, Image const& image) {
    references.remove(image.id.value_or(JSON::Value()));
}

} // namespace

std::string const& Image::Extension::namespace_text() {
    static std::string const text = std::string(ANNOTATION_NAMESPACE_ROOT) + "/ome/image/extension";
    return text;
}

Image::Extension::Extension(JSON::Proxy& parent, Position position)
    : Extension_Annotation(parent, position, namespace_text()) {}

std::optional<Quantity<Angle>> Image::Extension::rotation_angle() const {
    return Quantity<Angle>::from(angle, angle_unit);
}

void Image::Extension::set_rotation_angle(Quantity<Angle> rotation) { rotation.store(angle, angle_unit); }

void Image::Extension::resolve_references() { resolve(source_images, parameter_images); }

std::optional<JSON::Time_Point> Image::acquisition_end_date() const {
    Extension const* extension = extension_.referent();
    JSON::Value const* text = extension ? extension->acquisition_end_date.content.value() : nullptr;
    return text ? JSON::Value_Cast<JSON::Time_Point, 0>::to_if(*text) : std::nullopt;
}

void Image::set_acquisition_end_date(JSON::Time_Point date) {
    extension_->acquisition_end_date.content.set(date);
}

Image::Type Image::type() const {
    Extension const* extension = extension_.referent();
    return extension ? enumerator_in<Type>(extension->type).value() : Type::original;
}

void Image::set_type(Type type) {
    JSON::Value const name(type); // refused, if need be, before an extension is made
    extension_->type.set(name);
}

std::optional<Image::Scan_Direction> Image::scan_direction() const {
    Extension const* extension = extension_.referent();
    return extension ? enumerator_in<Scan_Direction>(extension->scan_direction) : std::nullopt;
}

void Image::set_scan_direction(Scan_Direction direction) {
    JSON::Value const name(direction);
    extension_->scan_direction.set(name);
}

std::optional<Image::Scan_Curve> Image::scan_curve() const {
    Extension const* extension = extension_.referent();
    return extension ? enumerator_in<Scan_Curve>(extension->scan_curve) : std::nullopt;
}

void Image::set_scan_curve(Scan_Curve curve) {
    JSON::Value const name(curve);
    extension_->scan_curve.set(name);
}

std::optional<long long> Image::frame_step() const {
    Extension const* extension = extension_.referent();
    return extension ? integer_in(extension->frame_step) : std::nullopt;
}

void Image::set_frame_step(long long step) { extension_->frame_step.set(step); }

std::optional<long long> Image::line_step() const {
    Extension const* extension = extension_.referent();
    return extension ? integer_in(extension->line_step) : std::nullopt;
}

void Image::set_line_step(long long step) { extension_->line_step.set(step); }

std::optional<long long> Image::pixel_step() const {
    Extension const* extension = extension_.referent();
    return extension ? integer_in(extension->pixel_step) : std::nullopt;
}

void Image::set_pixel_step(long long step) { extension_->pixel_step.set(step); }

std::string Image::derivation_description() const {
    Extension const* extension = extension_.referent();
    return extension ? extension->derivation_description.content.value_or("").get<std::string>()
                     : std::string();
}

void Image::set_derivation_description(std::string const& text) {
    extension_->derivation_description.content.set(text);
}

void Image::reset_derivation_description() {
    if (extension_.referent()) extension_->derivation_description.reset();
}

std::vector<Image const*> Image::source_images() const {
    Extension const* extension = extension_.referent();
    return extension ? referents(extension->source_images) : std::vector<Image const*>();
}

void Image::add_source_image(Image const& image) { extension_->source_images.emplace_back(image); }

void Image::remove_source_image(Image const& image) {
    if (extension_.referent()) remove_from(extension_->source_images, image);
}

void Image::clear_source_images() {
    if (extension_.referent()) extension_->source_images.clear();
}

std::vector<Image const*> Image::parameter_images() const {
    Extension const* extension = extension_.referent();
    return extension ? referents(extension->parameter_images) : std::vector<Image const*>();
}

void Image::add_parameter_image(Image const& image) { extension_->parameter_images.emplace_back(image); }

void Image::remove_parameter_image(Image const& image) {
    if (extension_.referent()) remove_from(extension_->parameter_images, image);
}

void Image::clear_parameter_images() {
    if (extension_.referent()) extension_->parameter_images.clear();
}

double Image::rotation_angle_in_radians() const {
    Extension const* extension = extension_.referent();
    auto const angle = extension ? extension->rotation_angle() : std::nullopt;
    return angle && std::isfinite(angle->value) ? angle_in_radians(*angle) : 0;
}

double Image::rotation_angle_in_degrees() const {
    Extension const* extension = extension_.referent();
    auto const angle = extension ? extension->rotation_angle() : std::nullopt;
    if (angle && angle->unit == Angle::deg && std::isfinite(angle->value)) return angle->value;
    return rotation_angle_in_radians() / radians_per_degree;
}

void Image::set_rotation_angle_in_radians(double angle) {
    extension_->set_rotation_angle({angle, Angle::rad});
}

void Image::set_rotation_angle_in_degrees(double angle) {
    extension_->set_rotation_angle({angle, Angle::deg});
}

std::pair<double, double> Image::rotation() const {
    double const angle = rotation_angle_in_radians();
    if (!rotation_ || rotation_->first != angle)
        rotation_.emplace(angle, std::pair(std::cos(angle), std::sin(angle)));
    return rotation_->second;
}

template class Reference<Image::Extension>;
template class Reference<Image const>;
template class Array_of<Reference<Image const>>;

} // namespace OME
