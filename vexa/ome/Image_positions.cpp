// Where the tiles of an image are, and the grid that they form.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>

#include <fmt/format.h>

#include <vexa/ome/Image.h>
#include <vexa/ome/Invalid.h>

namespace OME {

namespace {

using Point = VX::XYZ<double>;

/// The position of a plane, with NaN for what isn't known.
Point position_of(Plane const& plane) {
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    return {plane.position_x_in_meters().value_or(unknown), plane.position_y_in_meters().value_or(unknown),
            plane.position_z_in_meters().value_or(unknown)};
}

Point finite(Point position) {
    for (std::size_t axis = 0; axis < Point::axes; ++axis)
        if (!std::isfinite(position[axis])) position[axis] = 0;
    return position;
}

} // namespace

std::uint64_t Image::number_of_tiles() const {
    auto const axis = layout_.axis_of(Image_Modulo_Type::tile);
    return axis ? layout_.extents[*axis].modulo_size : 1;
}

std::uint64_t Image::planes_between_tiles() const {
    auto const axis = layout_.axis_of(Image_Modulo_Type::tile);
    return axis ? layout_.modulo_plane_stride(*axis) : 1;
}

std::size_t Image::number_of_tiles_in_list() const {
    if (planes_.empty() || layout_.number_of_planes() == 0) return 0;
    std::uint64_t const last = (planes_.size() - 1) / planes_between_tiles();
    return std::min(number_of_tiles(), last + 1);
}

std::uint64_t Image::tile_of(ZCT_Tuple const& tuple) const {
    auto const axis = layout_.axis_of(Image_Modulo_Type::tile);
    if (!axis) return 0;
    return *axis == Image_Layout::Z   ? tuple.modulo_z
           : *axis == Image_Layout::C ? tuple.modulo_c
                                      : tuple.modulo_t;
}

Image::ZCT_Tuple Image::in_tile(ZCT_Tuple tuple, std::uint64_t tile) const {
    auto const axis = layout_.axis_of(Image_Modulo_Type::tile);
    if (axis == Image_Layout::Z) tuple.modulo_z = tile;
    if (axis == Image_Layout::C) tuple.modulo_c = tile;
    if (axis == Image_Layout::T) tuple.modulo_t = tile;
    return tuple;
}

void Image::forget_tiles_from(std::uint64_t tile) {
    if (tile >= positions_.size()) return;
    positions_.resize(tile);
    tile_grid_.reset();
}

std::vector<VX::XYZ<double>> const& Image::positions_in_meters() const {
    std::size_t const count = number_of_tiles_in_list();
    if (positions_.size() >= count) return positions_;
    std::uint64_t const distance = planes_between_tiles();
    auto plane = plane_at(positions_.size() * distance);
    positions_.push_back(position_of(*plane));
    while (positions_.size() < count) {
        std::advance(plane, static_cast<std::ptrdiff_t>(distance));
        positions_.push_back(position_of(*plane));
    }
    return positions_;
}

VX::XYZ<double> Image::position_in_meters(std::size_t tile) const {
    auto const& positions = positions_in_meters();
    if (tile >= positions.size()) throw std::out_of_range(fmt::format("Image has no tile {}.", tile));
    return positions[tile];
}

VX::XYZ<double> Image::position_in_meters() const {
    auto const range = tile_grid_range_in_meters();
    auto const [cosine, sine] = rotation();
    Point const centre{std::midpoint(range.low.x, range.high.x), std::midpoint(range.low.y, range.high.y),
                       std::midpoint(range.low.z, range.high.z)};
    return {centre.x * cosine - centre.y * sine, centre.y * cosine + centre.x * sine, centre.z};
}

Image::Positions Image::positions() const {
    if (planes_.size() != layout_.number_of_planes()) return {Positions::Per::tile, positions_in_meters()};
    Positions result{Positions::Per::plane, {}};
    for (Plane const& plane : planes_) result.in_meters.push_back(position_of(plane));
    return result;
}

void Image::set_position_in_meters(ZCT_Tuple where, std::uint64_t tile, Point const& position) {
    plane(in_tile(where, tile)).set_position_in_meters(position);
}

void Image::set_position_in_meters(Point const& position) {
    for_each_plane([&](Plane& plane) { plane.set_position_in_meters(position); });
}

void Image::set_position_in_meters(Positions const& positions) {
    if (!fits(positions))
        throw Invalid_Argument(positions.per == Positions::Per::tile ? "Need positions per tile."
                                                                     : "Need positions per plane.");
    assign(positions);
}

bool Image::fits(Positions const& positions) const {
    bool const is_per_tile = positions.per == Positions::Per::tile;
    return positions.in_meters.size() == (is_per_tile ? number_of_tiles() : layout_.number_of_planes());
}

void Image::assign(Positions const& positions) {
    auto next = positions.in_meters.begin();
    visit_or_make_planes({}, layout_.sizes(), [&](Steps const& at, Plane& plane) {
        if (positions.per == Positions::Per::tile)
            plane.set_position_in_meters(positions.in_meters[tile_of(layout_.tuple_of(at))]);
        else
            plane.set_position_in_meters(*next++);
    });
}

VX::XYZ<double> Image::tile_shape_in_meters() const {
    auto const voxels = tile_shape_in_voxels();
    auto const voxel = finite_voxel_shape_in_meters();
    return {static_cast<double>(voxels.x) * voxel.x, static_cast<double>(voxels.y) * voxel.y,
            static_cast<double>(voxels.z) * voxel.z};
}

VX::XYZ<double> Image::shape_in_meters() const {
    auto const [low, high] = tile_grid_range_in_meters();
    auto const tile = tile_shape_in_meters();
    return {high.x - low.x + tile.x, high.y - low.y + tile.y, high.z - low.z + tile.z};
}

/// Made anew only if the tiles have changed, or what they are measured by; new tiles are added to it.
Tile_Grid const& Image::identify_tile_grid() const {
    Grid_Key const key{tile_shape_in_meters(), finite_voxel_shape_in_meters(), rotation()};
    if (!tile_grid_ || !(key == grid_key_)) {
        tile_grid_.emplace(key.tile_shape, key.voxel_shape, key.rotation);
        grid_key_ = key;
    }
    auto const& positions = positions_in_meters();
    for (std::size_t tile = tile_grid_->positions_in_tile_grid().size(); tile < positions.size(); ++tile)
        tile_grid_->add(finite(positions[tile]));
    return *tile_grid_;
}

} // namespace OME
