#include <vexa/ome/OME_Utilities.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include <fmt/format.h>

#include <vexa/foundation/types.h>
#include <vexa/ome/Invalid.h>

namespace Vexa {

namespace {

using Data_Type = OME::Image::Data_Type;

/// By the index of the data type.
constexpr std::array<int, 11> type_codes = {
    types::int8,   types::int8,   types::int16,   types::int32,       types::uint8,      types::uint16,
    types::uint32, types::single, types::double_, types::cplx_single, types::cplx_double};

Data_Type data_type(int type) {
    switch (type) {
    case types::rgb_word: return Data_Type::uint32;
    case types::rgb_triple:
    case types::uint64:
    case types::int64:
    case types::logical: throw OME::Invalid_Argument("Unsupported OME image type");
    default: break;
    }
    // The first code is that of bits, which no stack has.
    auto const found = std::find(type_codes.begin() + 1, type_codes.end(), type);
    if (found == type_codes.end()) throw std::invalid_argument(fmt::format("Unknown Vexa type '{}'.", type));
    return static_cast<Data_Type>(found - type_codes.begin());
}

/// The sizes of the axes X, Y, Z, T and C.
std::vector<std::size_t> five_sizes(std::vector<std::size_t> shape) {
    constexpr std::size_t rank = 5;
    if (std::find(shape.begin(), shape.end(), 0U) != shape.end())
        throw std::invalid_argument("Unsupported zero dimension");
    if (shape.size() > rank)
        throw std::invalid_argument(fmt::format("Unsupported number of {} dimensions", shape.size()));
    shape.resize(rank, 1);
    return shape;
}

} // namespace

void fill_shape(OME::Image::Dimensions& dimensions, arrays::StackInfoInterface const& info) {
    if (info.number_of_elements() == 0) return;
    dimensions.dimension_order = OME::Image::Dimension_Order::XYZTC;
    std::vector<std::size_t> const shape = five_sizes(info.shape());
    dimensions.x = shape[0];
    dimensions.y = shape[1];
    dimensions.z = shape[2];
    dimensions.t = shape[3];
    dimensions.c = shape[4];
    std::vector<double> const& lengths = info.lengths();
    auto const fill_size = [&](std::size_t axis, double& size) {
        if (axis >= lengths.size() || lengths[axis] == 0.0 || lengths[axis] == 1.0) return;
        size = lengths[axis] / static_cast<double>(shape[axis]);
    };
    fill_size(0, dimensions.voxel_shape_in_meters.x);
    fill_size(1, dimensions.voxel_shape_in_meters.y);
    fill_size(2, dimensions.voxel_shape_in_meters.z);
}

void fill_type(OME::Image::Dimensions& dimensions, arrays::StackInfoInterface const& info) {
    if (info.type() != types::none) dimensions.data_type = data_type(info.type());
}

std::string why_no_image(arrays::StackInfoInterface const& info) {
    try {
        OME::Image::Dimensions dimensions;
        fill_type(dimensions, info);
        fill_shape(dimensions, info);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return {};
}

void fill_name(OME::Image& image, arrays::StackInfoInterface const& info) {
    if (!info.name().empty()) image.name().set(JSON::Value(info.name()));
}

void fill_description(OME::Image& image, arrays::StackInfoInterface const& info) {
    if (!info.description().empty()) image.description().set(JSON::Value(info.description()));
}

void fill_acquisition_date(OME::Image& image, arrays::StackInfoInterface const& info) {
    if (info.timestamp() != arrays::Timestamp()) image.set_acquisition_date(info.timestamp());
}

std::vector<std::size_t> stack_size(OME::Image const& image) { return image.storage_shape(); }

int stack_type(OME::Image::Data_Type type) {
    auto const index = static_cast<std::size_t>(type);
    if (index >= type_codes.size())
        throw OME::Invalid_Argument("Unknown OME image data type '{}'.", static_cast<unsigned char>(index));
    return type_codes[index];
}

int stack_type(OME::Image const& image) {
    auto const type = image.data_type();
    if (!type) throw OME::Invalid_Argument("Unknown OME image data type '{}'.", JSON::Value());
    return stack_type(*type);
}

} // namespace Vexa
