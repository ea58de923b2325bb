// Tile grids: the time must grow with the number of tiles, not with its square. Each arrangement of 10,000 tiles is
// set against 2,500 of the same kind and scaled by the ratio of the numbers, so that 1 means linear; then 2,500 tiles
// against a plain loop that holds each tile against all of the region.

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <vexa/ome/Tile_Grid.h>

#include "bench.h"

namespace {

using Point = VX::XYZ<double>;
using Positions = std::vector<Point>;

constexpr Point tile{100e-6, 100e-6, 10e-6};
constexpr Point voxel{100e-9, 100e-9, 500e-9};

/// Tiles in a square, each so many tile widths from the next and off by up to a part of one.
Positions square(int side, double distance, double jitter) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> off(-jitter, jitter);
    Positions positions;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            positions.push_back(
                {(x * distance + off(random)) * tile.x, (y * distance + off(random)) * tile.y, 0});
    return positions;
}

Positions shuffled(Positions positions) {
    std::shuffle(positions.begin(), positions.end(), std::mt19937(2));
    return positions;
}

void identify(Positions const& positions) {
    OME::Tile_Grid grid(tile, voxel);
    for (Point const& position : positions) grid.add(position);
    Vexa::bench::keep(grid.paraxial_region().size());
}

/// The region alone, without an index.
void identify_by_comparing_all(Positions const& positions) {
    double const tolerance = voxel.z;
    std::vector<VX::Box> region;
    for (Point const& p : positions) {
        std::vector<VX::Box> rest{{{p.x - tile.x / 2, p.y - tile.y / 2, p.z - tile.z / 2},
                                   {p.x + tile.x / 2, p.y + tile.y / 2, p.z + tile.z / 2}}};
        for (VX::Box const& covered : region) {
            std::vector<VX::Box> next;
            for (VX::Box const& box : rest)
                for (VX::Box const& piece : VX::complement(box, covered, tolerance)) next.push_back(piece);
            rest.swap(next);
        }
        region.insert(region.end(), rest.begin(), rest.end());
        while (region.size() > 1 && VX::fit_together(region[region.size() - 2], region.back(), tolerance)) {
            VX::Box const last = region.back();
            region.pop_back();
            region.back() = VX::enclosing(region.back(), last);
        }
    }
    Vexa::bench::keep(region.size());
}

struct Arrangement {
    std::string name;
    Positions few, many;
    double
        least_gain; ///< over comparing all with all; 0 where there is little to compare: the region is one box
};

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    std::vector<Arrangement> const arrangements{
        {"side by side", square(50, 1, 0), square(100, 1, 0), 0},
        {"overlapping", square(50, 0.9, 0), square(100, 0.9, 0), 0},
        {"jitter", square(50, 0.9, 0.02), square(100, 0.9, 0.02), 5},
        {"any order", shuffled(square(50, 0.9, 0.02)), shuffled(square(100, 0.9, 0.02)), 5},
        {"apart", square(50, 1.1, 0), square(100, 1.1, 0), 5}};
    for (Arrangement const& arrangement : arrangements)
        table.compare({.name = "10000 over 2500 tiles/" + arrangement.name,
                       .target = 0.7, // each box enters a logarithmic number of trees
                       .candidate = [&] { identify(arrangement.many); },
                       .baseline = [&] { identify(arrangement.few); },
                       .scale = 4,
                       .clock = Vexa::bench::Clock::thread});
    for (Arrangement const& arrangement : arrangements)
        table.compare({.name = "2500 tiles over all with all/" + arrangement.name,
                       .target = arrangement.least_gain,
                       .candidate = [&] { identify(arrangement.few); },
                       .baseline = [&] { identify_by_comparing_all(arrangement.few); },
                       .clock = Vexa::bench::Clock::thread});
    return table.run();
}
