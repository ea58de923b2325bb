#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>
#include <vexa/ome/Box_List.h>

namespace OME {

/// The grid in which the tiles of an image lie, and what each tile adds to the tiles before it.
///
/// Positions and sizes are in meters; a position is the centre of its tile. Everything is in the frame of the
/// scanner, along whose axes the tiles lie. The grid grows by a tile at a time, in the order of acquisition:
/// a tile costs what it has in common with those around it, not the number of all. What has been said about a
/// tile stays. A coordinate that isn't finite takes no part in the grid, and its tile is taken to be
/// everywhere on that axis if it is NaN.
class VEXA_API Tile_Grid {
public:
    /// \param tile_shape the size of all tiles
    /// \param voxel_shape the size of a voxel, whose longest side is the tolerance: what is closer is at the same
    /// place. Where none is positive, only rounding is tolerated.
    /// \param rotation cosine and sine of the angle by which the frame of the scanner is turned
    explicit Tile_Grid(VX::XYZ<double> const& tile_shape, VX::XYZ<double> const& voxel_shape,
                       std::pair<double, double> const& rotation = {1, 0});

    /// Add the next tile, at this position on the stage.
    void add(VX::XYZ<double> const& position);

    /// The number of tiles.
    std::size_t size() const { return positions_in_tile_grid_.size(); }
    double tolerance() const { return tolerance_; }
    /// The distance of tiles on each axis: the least one by which a tile has extended the range, or the size of
    /// a tile. Zero without tiles.
    VX::XYZ<double> const& step() const { return step_; }
    /// The least and the greatest coordinates of all positions. An axis without a number in the first position
    /// stays without.
    VX::Box const& range() const { return range_; }
    /// The position of the first tile.
    VX::XYZ<double> const& origin() const { return origin_; }
    /// For each tile the steps from the origin, to the nearest integer that there is; 0 where the number of
    /// steps isn't finite.
    /// \note Deliberate: they are by the step known when the tile was added, and stay when it shrinks.
    std::vector<VX::XYZ<std::int64_t>> const& positions_in_tile_grid() const {
        return positions_in_tile_grid_;
    }
    /// Boxes that cover all tiles without overlap.
    std::vector<VX::Box> const& paraxial_region() const { return region_.boxes(); }
    /// For each tile the boxes in it that no tile before covers, where the tile is from 0 to 1 on each axis.
    std::vector<std::vector<VX::Box>> const& normalized_stencils() const { return normalized_stencils_; }

private:
    VX::XYZ<double> in_scanner_frame(VX::XYZ<double> const& position) const;
    void extend_range(VX::XYZ<double> const& position);
    VX::XYZ<std::int64_t> index_of(VX::XYZ<double> const& position) const;
    VX::Box tile_at(VX::XYZ<double> const& position) const;
    std::vector<VX::Box> outside_of_region(VX::Box const& tile) const;
    void merge_at_end_of_region();

    VX::XYZ<double> tile_shape_;
    double tolerance_;
    double cosine_, sine_;
    VX::XYZ<double> step_;
    VX::Box range_;
    VX::XYZ<double> origin_;
    std::vector<VX::XYZ<std::int64_t>> positions_in_tile_grid_;
    Box_List region_;
    std::vector<std::vector<VX::Box>> normalized_stencils_;
};

} // namespace OME
