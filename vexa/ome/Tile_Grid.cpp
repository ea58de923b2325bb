#include <vexa/ome/Tile_Grid.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace OME {

namespace {

using VX::Box;
using Point = VX::XYZ<double>;
constexpr std::size_t axes = Point::axes;

/// How far a coordinate is outside of a range; 0 inside, and where one of them is NaN.
double distance_from(double low, double high, double coordinate) {
    double const distance = std::fmax(coordinate - high, low - coordinate);
    return distance > 0 ? distance : 0;
}

std::int64_t rounded(double quotient) {
    if (!std::isfinite(quotient)) return 0;
    constexpr double limit = 0x1p63;
    double const nearest = std::round(quotient);
    if (nearest >= limit) return std::numeric_limits<std::int64_t>::max();
    if (nearest < -limit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(nearest);
}

/// The box in coordinates in which the tile is from 0 to 1. What has no place there ends with the tile.
Box normalized(Box const& box, Box const& tile) {
    Box result;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        double const start = tile.low[axis], size = tile.high[axis] - start;
        double const low = (box.low[axis] - start) / size, high = (box.high[axis] - start) / size;
        result.low[axis] = std::isfinite(low) ? low : 0;
        result.high[axis] = std::isfinite(high) ? high : 1;
    }
    return result;
}

} // namespace

Tile_Grid::Tile_Grid(Point const& tile_shape, Point const& voxel_shape,
                     std::pair<double, double> const& rotation)
    : tile_shape_(tile_shape), tolerance_(std::fmax(std::fmax(voxel_shape.x, voxel_shape.y), voxel_shape.z)),
      cosine_(rotation.first), sine_(rotation.second), region_(tolerance_) {}

void Tile_Grid::add(Point const& position) {
    Point const place = in_scanner_frame(position);
    if (positions_in_tile_grid_.empty()) {
        step_ = tile_shape_;
        range_ = {place, place};
        origin_ = place;
        positions_in_tile_grid_.emplace_back();
    } else {
        extend_range(place);
        positions_in_tile_grid_.push_back(index_of(place));
    }
    Box const tile = tile_at(place);
    std::vector<Box>& stencil = normalized_stencils_.emplace_back();
    for (Box const& box : outside_of_region(tile)) {
        stencil.push_back(normalized(box, tile));
        region_.push_back(box);
    }
    merge_at_end_of_region();
}

Point Tile_Grid::in_scanner_frame(Point const& position) const {
    if (sine_ == 0) return position;
    return {position.x * cosine_ + position.y * sine_, position.y * cosine_ - position.x * sine_, position.z};
}

void Tile_Grid::extend_range(Point const& position) {
    Point distance;
    bool is_outside = false;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        distance[axis] = distance_from(range_.low[axis], range_.high[axis], position[axis]);
        if (VX::is_equal(distance[axis], 0, tolerance_)) continue;
        is_outside = true;
        if (distance[axis] < step_[axis]) step_[axis] = distance[axis];
    }
    if (!is_outside) return;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        // A comparison with NaN fails, so that an unknown coordinate doesn't extend the range.
        if (position[axis] < range_.low[axis]) range_.low[axis] = position[axis];
        if (position[axis] > range_.high[axis]) range_.high[axis] = position[axis];
    }
}

VX::XYZ<std::int64_t> Tile_Grid::index_of(Point const& position) const {
    VX::XYZ<std::int64_t> index;
    for (std::size_t axis = 0; axis < axes; ++axis)
        index[axis] = rounded((position[axis] - origin_[axis]) / step_[axis]);
    return index;
}

Box Tile_Grid::tile_at(Point const& position) const {
    Box tile;
    for (std::size_t axis = 0; axis < axes; ++axis) {
        double const half = std::abs(tile_shape_[axis]) / 2;
        tile.low[axis] = position[axis] - half;
        tile.high[axis] = position[axis] + half;
    }
    return tile;
}

/// Boxes of the region that don't touch the tile would leave it as it is, so that only the others are asked.
std::vector<Box> Tile_Grid::outside_of_region(Box const& tile) const {
    std::vector<Box> rest{tile}, next;
    for (std::size_t const index : region_.touching(tile)) {
        next.clear();
        for (Box const& box : rest) {
            std::vector<Box> const pieces = VX::complement(box, region_.boxes()[index], tolerance_);
            next.insert(next.end(), pieces.begin(), pieces.end());
        }
        rest.swap(next);
    }
    return rest;
}

void Tile_Grid::merge_at_end_of_region() {
    std::vector<Box> const& boxes = region_.boxes();
    while (boxes.size() > 1) {
        Box const last = boxes.back(), before = boxes[boxes.size() - 2];
        if (!VX::fit_together(before, last, tolerance_)) return;
        region_.pop_back();
        region_.pop_back();
        region_.push_back(VX::enclosing(before, last));
    }
}

} // namespace OME
