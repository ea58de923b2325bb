// The sizes of an image: what the document says of them, and how the layout follows it.

#include <cmath>

#include <fmt/format.h>

#include <vexa/ome/Image.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Modulo.h>

namespace OME {

namespace {

constexpr Image_Layout::Axis all_axes[] = {Image_Layout::Z, Image_Layout::C, Image_Layout::T};

std::optional<double> size_in_meters(JSON::Proxy const& number, JSON::Proxy const& unit) {
    auto const size = in_coherent_SI<Length>(number, unit);
    return size && std::isfinite(*size) ? size : std::nullopt;
}

/// How many seconds a unit has; empty if it is no time. Without a unit it is seconds.
std::optional<double> seconds_in(std::string const& unit) {
    if (unit.empty()) return 1.0;
    auto const known = JSON::String_Cast<Time, 0>::to_if(unit);
    return known ? get_factor_to(Time::s, *known) : std::nullopt;
}

} // namespace

Image::Dimension Image::dimension_at(Image_Modulo_Type type) {
    auto const number = static_cast<unsigned char>(type);
    if (number < 1 || number > 6) throw Invalid_Argument("Unsupported modulo type {}.", number);
    return static_cast<Dimension>(static_cast<unsigned char>(Dimension::t) + number);
}

void Image::adjust() {
    adjust_dimensions();
    adjust_shape();
    adjust_stride();
    forget_tiles_from(0);
}

void Image::adjust_dimensions() {
    layout_.set_order(enumerator_in<Dimension_Order>(dimension_order_).value_or(Dimension_Order::XYZCT));
    for (auto const axis : all_axes) {
        auto const type = modulo() ? modulo()->type(axis) : std::nullopt;
        layout_.extents[axis].modulo_type = type.value_or(Image_Modulo_Type::none);
    }
}

void Image::adjust_shape() {
    layout_.x = read_size(size_x_);
    layout_.y = read_size(size_y_);
    for (auto const axis : all_axes) {
        auto& extent = layout_.extents[axis];
        bool const is_divided = extent.modulo_type != Image_Modulo_Type::none && modulo();
        extent.modulo_size = is_divided ? modulo()->count(axis) : 1;
        extent.size = read_size(size_of(axis)) / extent.modulo_size;
    }
}

std::uint64_t Image::read_size(Document<long long> const& size) const {
    JSON::Value const* value = size.value();
    if (!value) return 0;
    auto const read = JSON::Value_Cast<unsigned long long, 0>::to_if(*value);
    if (!read) throw std::bad_variant_access();
    return *read;
}

Document<long long>& Image::size_of(Image_Layout::Axis axis) {
    return axis == Image_Layout::Z ? size_z_ : axis == Image_Layout::C ? size_c_ : size_t_;
}

std::uint64_t Image::size() const {
    auto const pixels = layout_.number_of_pixels();
    if (!pixels) throw Invalid_Data("Image is too large.");
    return *pixels;
}

std::vector<std::size_t> Image::stride() const {
    auto const strides = layout_.pixel_strides();
    if (!strides) throw Invalid_Data("Image is too large.");
    return *strides;
}

std::vector<std::size_t> Image::storage_shape() const {
    std::vector<std::size_t> shape{layout_.x, layout_.y};
    for (auto const axis : layout_.axes())
        shape.push_back(layout_.extents[axis].size * layout_.extents[axis].modulo_size);
    return shape;
}

VX::XYZ<std::uint64_t> Image::tile_shape_in_voxels() const {
    return {layout_.x, layout_.y, layout_.extents[Image_Layout::Z].size};
}

std::optional<double> Image::voxel_size_x_in_meters() const {
    return size_in_meters(physical_size_x_, physical_size_x_unit_);
}

std::optional<double> Image::voxel_size_y_in_meters() const {
    return size_in_meters(physical_size_y_, physical_size_y_unit_);
}

std::optional<double> Image::voxel_size_z_in_meters() const {
    return size_in_meters(physical_size_z_, physical_size_z_unit_);
}

std::optional<VX::XYZ<double>> Image::voxel_shape_in_meters() const {
    auto const x = voxel_size_x_in_meters(), y = voxel_size_y_in_meters(), z = voxel_size_z_in_meters();
    if (!x || !y || !z) return std::nullopt;
    return VX::XYZ<double>{*x, *y, *z};
}

VX::XYZ<double> Image::finite_voxel_shape_in_meters() const {
    return {voxel_size_x_in_meters().value_or(0), voxel_size_y_in_meters().value_or(0),
            voxel_size_z_in_meters().value_or(0)};
}

void Image::set_voxel_size_x_in_meters(double size) {
    Quantity<Length>{size, Length::m}.store(physical_size_x_, physical_size_x_unit_);
}

void Image::set_voxel_size_y_in_meters(double size) {
    Quantity<Length>{size, Length::m}.store(physical_size_y_, physical_size_y_unit_);
}

void Image::set_voxel_size_z_in_meters(double size) {
    Quantity<Length>{size, Length::m}.store(physical_size_z_, physical_size_z_unit_);
}

void Image::set_voxel_shape_in_meters(VX::XYZ<double> const& shape) {
    set_voxel_size_x_in_meters(shape.x);
    set_voxel_size_y_in_meters(shape.y);
    set_voxel_size_z_in_meters(shape.z);
}

std::optional<double> Image::time_increment_in_seconds() const {
    return in_coherent_SI<Time>(time_increment_, time_increment_unit_);
}

void Image::set_time_increment_in_seconds(double increment) {
    Quantity<Time>{increment, Time::s}.store(time_increment_, time_increment_unit_);
}

std::optional<double> Image::lifetime_increment_in_seconds() const {
    auto const axis = layout_.axis_of(Image_Modulo_Type::lifetime);
    if (!axis || !modulo()) return std::nullopt;
    Modulo::Along const& along = modulo()->along(*axis);
    auto const step = real_in(along.step);
    auto const factor = seconds_in(along.unit.value_or("").get<std::string>());
    if (!step || !std::isfinite(*step) || !factor) return std::nullopt;
    return *step * *factor;
}

void Image::set_lifetime_increment_in_seconds(double increment) {
    auto const axis = layout_.axis_of(Image_Modulo_Type::lifetime);
    if (!axis || !modulo()) throw Invalid_Argument("No modulo of type lifetime.");
    Modulo::Along const& along = modulo()->along(*axis);
    double const factor = seconds_in(along.unit.value_or("").get<std::string>()).value_or(1);
    Modulo::Range const range{real_in(along.start).value_or(0) * factor, increment, 0, "s"};
    modulo()->set_range(*axis, Image_Modulo_Type::lifetime,
                        range.with_count(layout_.extents[*axis].modulo_size));
}

} // namespace OME
