#include <vexa/ome/Image.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include <fmt/format.h>

#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

using Axis = Image_Layout::Axis;

constexpr std::uint64_t greatest_size = std::numeric_limits<long long>::max();

/// The fields of a description for one axis.
struct Axis_Fields {
    Axis axis;
    char letter;
    std::uint64_t Image_Dimensions::*size;
    std::uint64_t Image_Dimensions::*modulo_size;
    Image_Modulo_Type Image_Dimensions::*type;
    double Image_Dimensions::*step;
    JSON::Value Image_Dimensions::*start;
};

using D = Image_Dimensions;
constexpr Axis_Fields axis_fields[] = {
    {Image_Layout::Z, 'Z', &D::z, &D::modulo_z, &D::modulo_type_z, &D::modulo_step_z, &D::modulo_start_z},
    {Image_Layout::C, 'C', &D::c, &D::modulo_c, &D::modulo_type_c, &D::modulo_step_c, &D::modulo_start_c},
    {Image_Layout::T, 'T', &D::t, &D::modulo_t, &D::modulo_type_t, &D::modulo_step_t, &D::modulo_start_t}};

/// The range that a description gives to the sub-dimension of an axis; empty if there is none.
/// \throws Invalid_Argument, Invalid_Data as the constructor says
std::optional<Image::Modulo::Range> modulo_range(Image_Dimensions const& dimensions, Axis_Fields const& of) {
    std::uint64_t const size = dimensions.*of.size, count = dimensions.*of.modulo_size;
    bool const is_divided = dimensions.*of.type != Image_Modulo_Type::none;
    if (count == 0 || (count > 1 && !is_divided) || size > greatest_size / count)
        throw Invalid_Data(fmt::format("Invalid size modulo {}.", of.letter));
    if (!is_divided) return std::nullopt;
    Image::dimension_at(dimensions.*of.type);
    double const step = dimensions.*of.step;
    if (step == 0 || !std::isfinite(step))
        throw Invalid_Data(fmt::format("Invalid step modulo {}.", of.letter));
    JSON::Value const& start = dimensions.*of.start;
    auto const number = start.is_null() ? 0.0 : JSON::Value_Cast<double, 0>::to_if(start);
    if (number) {
        auto const range = Image::Modulo::Range{*number, step, 0, {}}.with_count(count);
        if (range.count() == count) return range;
    }
    throw Invalid_Data(fmt::format("Invalid range modulo {}.", of.letter));
}

/// As it comes back from a document; also demands that it can be stored.
Image_Dimensions as_stored(Image_Dimensions dimensions) {
    JSON::Value(dimensions.data_type); // refused if they have no name
    JSON::Value(dimensions.dimension_order);
    for (Axis_Fields const& of : axis_fields) {
        if (auto const range = modulo_range(dimensions, of)) {
            dimensions.*of.start = range->start;
        } else {
            dimensions.*of.start = JSON::Value();
            dimensions.*of.step = 1;
        }
    }
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (!std::isfinite(dimensions.voxel_shape_in_meters[axis]))
            dimensions.voxel_shape_in_meters[axis] = 0;
    if (!std::isfinite(dimensions.time_increment_in_seconds)) dimensions.time_increment_in_seconds = 0;
    return dimensions;
}

} // namespace

Image::Image(JSON::Proxy& parent, Position position) : Element_with_ID<Image>(parent, position) { adjust(); }

Image::Image(JSON::Proxy& parent, Position position, Dimensions const& dimensions, Positions const* positions,
             Image const* pattern)
    : Element_with_ID<Image>(parent, position) {
    Dimensions const stored = as_stored(dimensions);
    if (pattern && !(as_stored(pattern->dimensions()) == stored))
        throw Invalid_Data("Pattern does not match dimensions.");
    store_dimensions(dimensions);
    if (positions && !fits(*positions)) throw Invalid_Data("Positions do not match dimensions.");
    if (positions) demand_place_for(layout_.number_of_planes());
    for (Axis_Fields const& of : axis_fields)
        if (auto const range = modulo_range(dimensions, of))
            modulo_.get_referent()->set_range(of.axis, dimensions.*of.type, *range);
    if (pattern) take_over(*pattern);
    if (positions) assign(*positions);
}

Image::~Image() = default;

Image& Image::operator=(Image const&) = default;

void Image::store_dimensions(Dimensions const& dimensions) {
    dimension_order_.set(dimensions.dimension_order);
    data_type_.set(dimensions.data_type);
    size_x_.set(dimensions.x);
    size_y_.set(dimensions.y);
    layout_.x = dimensions.x;
    layout_.y = dimensions.y;
    for (Axis_Fields const& of : axis_fields) {
        auto& extent = layout_.extents[of.axis];
        extent = {dimensions.*of.size, dimensions.*of.modulo_size, dimensions.*of.type};
        size_of(of.axis).set(extent.size * extent.modulo_size);
    }
    layout_.set_order(dimensions.dimension_order);
    adjust_stride();
    set_voxel_shape_in_meters(dimensions.voxel_shape_in_meters);
    set_time_increment_in_seconds(dimensions.time_increment_in_seconds);
    set_metadata_only();
}

void Image::take_over(Image const& pattern) {
    if (auto const date = pattern.acquisition_date()) set_acquisition_date(*date);
    if (auto const date = pattern.acquisition_end_date()) set_acquisition_end_date(*date);
    Extension const* extension = pattern.extension();
    if (auto const angle = extension ? extension->rotation_angle() : std::nullopt)
        extension_->set_rotation_angle(*angle);
}

std::optional<JSON::Time_Point> Image::acquisition_date() const {
    JSON::Value const* text = acquisition_date_.content.value();
    return text ? JSON::Value_Cast<JSON::Time_Point, 0>::to_if(*text) : std::nullopt;
}

void Image::set_objective(JSON::Value const& objective_id) {
    objective_settings_.assign(root().find_objective(objective_id));
}

Channel& Image::provide_first_channel() {
    if (channels_.empty()) channels_.emplace_back();
    return channels_.front();
}

Channel& Image::channel(std::size_t number) {
    return const_cast<Channel&>(std::as_const(*this).channel(number));
}

Channel const& Image::channel(std::size_t number) const {
    if (number >= channels_.size()) throw std::out_of_range(fmt::format("Image has no channel {}.", number));
    return *std::next(channels_.begin(), static_cast<std::ptrdiff_t>(number));
}

void Image::add_channels(Image const& other) {
    std::size_t rest = other.channels_.size(); // other may be this image
    for (auto source = other.channels_.begin(); rest > 0; ++source, --rest) {
        Channel& copy = *channels_.emplace_back();
        copy = *source;
        copy.reset_ID();
    }
    resolve_references();
}

void Image::set_TIFF_data() {
    TIFF_data_.element().get_value().promote_as<JSON::Map>();
    metadata_only_.reset();
}

void Image::set_metadata_only() {
    metadata_only_.element().get_value().promote_as<JSON::Map>();
    TIFF_data_.reset();
}

Image::Dimensions Image::dimensions() const {
    Dimensions dimensions;
    dimensions.data_type = data_type().value_or(Data_Type{});
    dimensions.dimension_order =
        enumerator_in<Dimension_Order>(dimension_order_).value_or(Dimension_Order::XYZCT);
    dimensions.x = layout_.x;
    dimensions.y = layout_.y;
    for (Axis_Fields const& of : axis_fields) {
        auto const& extent = layout_.extents[of.axis];
        dimensions.*of.size = extent.size;
        dimensions.*of.modulo_size = extent.modulo_size;
        dimensions.*of.type = extent.modulo_type;
        if (extent.modulo_type == Image_Modulo_Type::none || !modulo()) continue;
        Modulo::Along const& along = modulo()->along(of.axis);
        dimensions.*of.step = real_in(along.step).value_or(1);
        if (auto const start = real_in(along.start)) dimensions.*of.start = *start;
    }
    dimensions.voxel_shape_in_meters = finite_voxel_shape_in_meters();
    dimensions.time_increment_in_seconds = time_increment_in_seconds().value_or(0);
    return dimensions;
}

void Image::reset_ID() {
    Element_with_ID<Image>::reset_ID();
    pixels_id_.reset();
    for (Channel& channel : channels_) channel.reset_ID();
}

void Image::resolve_references() {
    resolve(instrument_, objective_settings_, channels_, rois_, modulo_, extension_);
    adjust();
}

void Image::set(JSON::Value const& value, bool quiet) {
    Element_with_ID<Image>::set(value, quiet);
    adjust();
}

void Image::reset() {
    Element_with_ID<Image>::reset();
    adjust();
}

template class Element_with_ID<Image>;
template class Document<JSON::Map>;
template class One_of<Document<JSON::Map>>;
template class One_of<Reference<Instrument>>;
template class Array_of<Image>;
template class Reference<Image>;
template class Array_of<Reference<Image>>;

} // namespace OME
