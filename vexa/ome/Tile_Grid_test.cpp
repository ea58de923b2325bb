#include <vexa/ome/Tile_Grid.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

using OME::Tile_Grid;
using VX::Box;
using Point = VX::XYZ<double>;
using Index = VX::XYZ<std::int64_t>;
using Boxes = std::vector<Box>;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
Box const unit{{0, 0, 0}, {1, 1, 1}};

/// The same grid step by step, with each tile held against the whole region.
struct Plain_Grid {
    Point shape;
    double tolerance, cosine, sine;
    Point step, origin;
    Box range;
    std::vector<Index> indices;
    Boxes region;
    std::vector<Boxes> stencils;

    static std::int64_t nearest(double quotient) {
        if (!std::isfinite(quotient)) return 0;
        double const whole = std::round(quotient);
        if (whole >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
        if (whole <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
        return std::llround(quotient);
    }

    void locate(Point const& q) {
        if (indices.empty()) {
            step = shape;
            origin = q;
            range = {q, q};
            indices.push_back({0, 0, 0});
            return;
        }
        Point d;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double const above = q[axis] - range.high[axis], below = range.low[axis] - q[axis];
            d[axis] = above > 0 ? above : 0;
            if (below > d[axis]) d[axis] = below;
        }
        auto const zero = [&](std::size_t axis) { return VX::is_equal(d[axis], 0, tolerance); };
        if (!zero(0) || !zero(1) || !zero(2)) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                if (d[axis] < step[axis] && !zero(axis)) step[axis] = d[axis];
                if (q[axis] < range.low[axis]) range.low[axis] = q[axis];
                if (q[axis] > range.high[axis]) range.high[axis] = q[axis];
            }
        }
        Index index;
        for (std::size_t axis = 0; axis < 3; ++axis)
            index[axis] = nearest((q[axis] - origin[axis]) / step[axis]);
        indices.push_back(index);
    }

    bool can_merge(Box const& a, Box const& b) const {
        int same = 0, touching = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double const a_low = std::isnan(a.low[axis]) ? -infinity : a.low[axis];
            double const a_high = std::isnan(a.high[axis]) ? infinity : a.high[axis];
            double const b_low = std::isnan(b.low[axis]) ? -infinity : b.low[axis];
            double const b_high = std::isnan(b.high[axis]) ? infinity : b.high[axis];
            if (VX::is_equal(a_low, b_low, tolerance) && VX::is_equal(a_high, b_high, tolerance)) {
                ++same;
            } else {
                double const low = std::max(a_low, b_low), high = std::min(a_high, b_high);
                touching += low <= high || VX::is_equal(low, high, tolerance);
            }
        }
        return same == 3 || (same == 2 && touching == 1);
    }

    void cover(Point const& q) {
        Box tile;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            tile.low[axis] = q[axis] - shape[axis] / 2;
            tile.high[axis] = q[axis] + shape[axis] / 2;
        }
        Boxes rest{tile};
        for (Box const& covered : region) {
            Boxes next;
            for (Box const& box : rest)
                for (Box const& piece : VX::complement(box, covered, tolerance)) next.push_back(piece);
            rest = next;
        }
        region.insert(region.end(), rest.begin(), rest.end());
        while (region.size() >= 2 && can_merge(region[region.size() - 2], region.back())) {
            Boxes const united = VX::unite(region[region.size() - 2], region.back(), tolerance);
            region.resize(region.size() - 2);
            region.insert(region.end(), united.begin(), united.end());
        }
        Boxes& stencil = stencils.emplace_back();
        for (Box const& box : rest) {
            Box& part = stencil.emplace_back();
            for (std::size_t axis = 0; axis < 3; ++axis) {
                double const size = tile.low[axis] - tile.high[axis];
                part.low[axis] = (tile.low[axis] - box.low[axis]) / size;
                part.high[axis] = (tile.low[axis] - box.high[axis]) / size;
                if (!std::isfinite(part.low[axis])) part.low[axis] = 0;
                if (!std::isfinite(part.high[axis])) part.high[axis] = 1;
            }
        }
    }

    Plain_Grid(Point const& tile_shape, Point const& voxel, std::pair<double, double> const& rotation)
        : shape(tile_shape), tolerance(std::max({voxel.x, voxel.y, voxel.z})), cosine(rotation.first),
          sine(rotation.second) {}

    void add(Point const& p) {
        Point q = p;
        if (sine != 0) {
            q.x = p.x * cosine + p.y * sine;
            q.y = p.y * cosine - p.x * sine;
        }
        locate(q);
        cover(q);
    }
};

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
bool same(Point const& a, Point const& b) { return same(a.x, b.x) && same(a.y, b.y) && same(a.z, b.z); }
bool same(Box const& a, Box const& b) { return same(a.low, b.low) && same(a.high, b.high); }
bool same(Boxes const& a, Boxes const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](Box const& one, Box const& other) { return same(one, other); });
}

template <typename Grid>
Grid filled(Grid grid, std::vector<Point> const& positions) {
    for (Point const& position : positions) grid.add(position);
    return grid;
}

/// Rows along X from low to high Y.
std::vector<Point> raster(int columns, int rows, double distance, double jitter = 0) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> off(-jitter, jitter);
    std::vector<Point> positions;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            positions.push_back({x * distance + off(random), y * distance + off(random), 0});
    return positions;
}

Tile_Grid grid_of(std::vector<Point> const& positions, Point const& shape = {1, 1, 1},
                  double voxel = 0.015625) {
    return filled(Tile_Grid(shape, {voxel, voxel, voxel}), positions);
}

std::vector<Point> turned(std::vector<Point> positions, double angle) {
    for (Point& p : positions)
        p = {p.x * std::cos(angle) - p.y * std::sin(angle), p.y * std::cos(angle) + p.x * std::sin(angle),
             p.z};
    return positions;
}

void expect_near(Box const& a, Box const& b) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(a.low[axis], b.low[axis], 1e-12);
        EXPECT_NEAR(a.high[axis], b.high[axis], 1e-12);
    }
}

/// Random grids, held against Plain_Grid.
struct RandomTileGrid : testing::TestWithParam<int> {
    std::mt19937 random{static_cast<std::mt19937::result_type>(GetParam())};

    int up_to(int most) { return std::uniform_int_distribution<int>(0, most)(random); }
    double real(double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); }
    template <typename T, std::size_t n>
    T any_of(T const (&values)[n]) {
        return values[up_to(static_cast<int>(n) - 1)];
    }
    Point any_shape() {
        constexpr double sides[] = {1, 1, 1, 0.5, 1.25, 0, 1e-6};
        return {any_of(sides), any_of(sides), any_of(sides)};
    }
    std::vector<Point> any_positions() {
        double const distance = real(0.3, 1.2), jitter = any_of({0.0, 1e-17, 0.001, 0.05, 0.3});
        int const columns = 1 + up_to(8), rows = 1 + up_to(5), layers = 1 + up_to(1);
        bool const is_snake = up_to(1);
        std::vector<Point> positions;
        for (int z = 0; z < layers; ++z)
            for (int y = 0; y < rows; ++y)
                for (int i = 0; i < columns; ++i) {
                    int const x = is_snake && y % 2 ? columns - 1 - i : i;
                    positions.push_back({x * distance + real(-jitter, jitter),
                                         y * distance + real(-jitter, jitter),
                                         z * distance + real(-jitter, jitter)});
                }
        if (up_to(3) == 0) std::shuffle(positions.begin(), positions.end(), random);
        return positions;
    }
    template <std::size_t n>
    void sprinkle(std::vector<Point>& positions, double const (&values)[n]) {
        for (Point& position : positions)
            if (up_to(5) == 0) position[static_cast<std::size_t>(up_to(2))] = any_of(values);
    }
    static void expect_the_same(Tile_Grid const& grid, Plain_Grid const& plain) {
        ASSERT_EQ(grid.size(), plain.indices.size());
        ASSERT_EQ(grid.normalized_stencils().size(), grid.size());
        EXPECT_TRUE(same(grid.step(), plain.step));
        EXPECT_TRUE(same(grid.range(), plain.range));
        EXPECT_TRUE(same(grid.origin(), plain.origin));
        EXPECT_EQ(grid.positions_in_tile_grid(), plain.indices);
        EXPECT_TRUE(same(grid.paraxial_region(), plain.region));
        EXPECT_EQ(grid.normalized_stencils(), plain.stencils);
    }
    void check(std::vector<Point> const& positions) {
        double const voxel = any_of({0.0, 0.0, 1e-9, 0.01, 0.1}), angle = any_of({0.0, 0.0, 0.5, 3.0, -1.0});
        Point const shape = any_shape(), voxel_shape{voxel, voxel / 2, 0};
        std::pair const rotation(std::cos(angle), std::sin(angle));
        expect_the_same(filled(Tile_Grid(shape, voxel_shape, rotation), positions),
                        filled(Plain_Grid(shape, voxel_shape, rotation), positions));
    }
};

} // namespace

TEST(TileGrid, WithoutTilesIsEmpty) {
    Tile_Grid const grid({1, 2, 3}, {0.5, 0.25, 0.125});
    EXPECT_EQ(grid.size(), 0u);
    EXPECT_EQ(grid.tolerance(), 0.5);
    EXPECT_EQ(grid.step(), Point());
    EXPECT_TRUE(grid.paraxial_region().empty() && grid.normalized_stencils().empty());
}

TEST(TileGrid, OfOneTileHasItsShapeForAStep) {
    Tile_Grid const grid = grid_of({{5, 6, 7}}, {1, 2, 4});
    EXPECT_EQ(grid.size(), 1u);
    EXPECT_EQ(grid.step(), (Point{1, 2, 4}));
    EXPECT_EQ(grid.range(), (Box{{5, 6, 7}, {5, 6, 7}}));
    EXPECT_EQ(grid.origin(), (Point{5, 6, 7}));
    EXPECT_EQ(grid.positions_in_tile_grid(), (std::vector<Index>{{0, 0, 0}}));
    EXPECT_EQ(grid.paraxial_region(), (Boxes{{{4.5, 5, 5}, {5.5, 7, 9}}}));
    EXPECT_EQ(grid.normalized_stencils(), std::vector<Boxes>{Boxes{unit}});
}

TEST(TileGrid, OfTwoTilesThatOverlapByHalfHasTheirDistanceForAStep) {
    Tile_Grid const grid = grid_of({{0, 0, 0}, {0.5, 0, 0}});
    EXPECT_EQ(grid.step(), (Point{0.5, 1, 1}));
    EXPECT_EQ(grid.range(), (Box{{0, 0, 0}, {0.5, 0, 0}}));
    EXPECT_EQ(grid.positions_in_tile_grid(), (std::vector<Index>{{0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(grid.normalized_stencils()[1], (Boxes{{{0.5, 0, 0}, {1, 1, 1}}}));
    EXPECT_EQ(grid.paraxial_region(), (Boxes{{{-0.5, -0.5, -0.5}, {1, 0.5, 0.5}}}));
}

TEST(TileGrid, TakesTilesCloserThanAVoxelForTheSame) {
    Tile_Grid const grid = grid_of({{0, 0, 0}, {0.0625, 0, -0.0625}, {1, 0, 0}}, {1, 1, 1}, 0.0625);
    EXPECT_EQ(grid.step(), (Point{1, 1, 1}));
    EXPECT_EQ(grid.positions_in_tile_grid(), (std::vector<Index>{{0, 0, 0}, {0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(grid.range(), (Box{{0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(grid.normalized_stencils()[1], Boxes());
    EXPECT_EQ(grid.normalized_stencils()[2], Boxes{unit});
}

TEST(TileGrid, OfThreeByThreeTilesIsOneBox) {
    Tile_Grid const grid = grid_of(raster(3, 3, 1));
    EXPECT_EQ(grid.step(), (Point{1, 1, 1}));
    EXPECT_EQ(grid.range(), (Box{{0, 0, 0}, {2, 2, 0}}));
    EXPECT_EQ(grid.positions_in_tile_grid(), (std::vector<Index>{{0, 0, 0},
                                                                 {1, 0, 0},
                                                                 {2, 0, 0},
                                                                 {0, 1, 0},
                                                                 {1, 1, 0},
                                                                 {2, 1, 0},
                                                                 {0, 2, 0},
                                                                 {1, 2, 0},
                                                                 {2, 2, 0}}));
    EXPECT_EQ(grid.paraxial_region(), (Boxes{{{-0.5, -0.5, -0.5}, {2.5, 2.5, 0.5}}}));
    EXPECT_EQ(grid.normalized_stencils(), (std::vector<Boxes>(9, Boxes{unit})));
}

TEST(TileGrid, OfOverlappingTilesShowsEachPlaceOnce) {
    Tile_Grid const grid = grid_of(raster(3, 3, 0.75));
    EXPECT_EQ(grid.step(), (Point{0.75, 0.75, 1}));
    EXPECT_EQ(grid.positions_in_tile_grid().back(), (Index{2, 2, 0}));
    EXPECT_EQ(grid.paraxial_region(), (Boxes{{{-0.5, -0.5, -0.5}, {2, 2, 0.5}}}));
    Boxes const right{{{0.25, 0, 0}, {1, 1, 1}}}, above{{{0, 0.25, 0}, {1, 1, 1}}},
        both{{{0.25, 0.25, 0}, {1, 1, 1}}};
    EXPECT_EQ(grid.normalized_stencils(),
              (std::vector<Boxes>{{unit}, right, right, above, both, both, above, both, both}));
}

TEST(TileGrid, GrowsToAllSides) {
    Tile_Grid const grid = grid_of({{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {0, 0, -0.5}, {-2, -1, -0.5}});
    EXPECT_EQ(grid.step(), (Point{1, 1, 0.5}));
    EXPECT_EQ(grid.range(), (Box{{-2, -1, -0.5}, {0, 0, 0}}));
    EXPECT_EQ(grid.positions_in_tile_grid(),
              (std::vector<Index>{{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {0, 0, -1}, {-2, -1, -1}}));
}

TEST(TileGrid, KeepsWhatItSaidBeforeTheStepShrank) {
    Tile_Grid const grid = grid_of({{0, 0, 0}, {3, 0, 0}, {3.5, 0, 0}, {3.75, 0, 0}, {-8, 0, 0}});
    EXPECT_EQ(grid.step(), (Point{0.25, 1, 1}));
    EXPECT_EQ(grid.positions_in_tile_grid(),
              (std::vector<Index>{{0, 0, 0}, {3, 0, 0}, {7, 0, 0}, {15, 0, 0}, {-32, 0, 0}}));
}

TEST(TileGrid, WithoutVoxelsMergesWhatIsEqualButForRounding) {
    std::vector<Point> const positions = raster(20, 1, 0.1);
    EXPECT_EQ(grid_of(positions, {0.1, 0.1, 0.1}, 0).paraxial_region().size(), 1u);
    EXPECT_EQ(grid_of(positions, {0.1 * (1 - 1e-12), 0.1, 0.1}, 0).paraxial_region().size(), 20u);
    auto const two = [](double second) { return grid_of({{3, 0, 0}, {second, 0, 0}}, {2, 2, 2}, 0); };
    EXPECT_EQ(two(5 + 16 * epsilon).paraxial_region().size(), 1u); // at 4, 20 epsilon are 5 of the magnitude
    EXPECT_EQ(two(5 + 24 * epsilon).paraxial_region().size(), 2u);
    EXPECT_EQ(two(3).normalized_stencils()[1], Boxes());
}

TEST(TileGrid, OfARotatedImageIsThatOfTheUnrotatedOne) {
    std::vector<Point> const positions = raster(4, 3, 0.9);
    Tile_Grid const plain = grid_of(positions);
    for (double degrees : {-180.0, -90.0, -1e-9, 1e-3, 30.0, 45.0, 90.0, 123.0, 180.0, 270.0}) {
        double const angle = degrees * std::numbers::pi / 180;
        SCOPED_TRACE(degrees);
        Tile_Grid const grid = filled(
            Tile_Grid({1, 1, 1}, {0.015625, 0.015625, 0.015625}, std::pair(std::cos(angle), std::sin(angle))),
            turned(positions, angle));
        EXPECT_EQ(grid.positions_in_tile_grid(), plain.positions_in_tile_grid());
        expect_near({grid.step(), grid.origin()}, {plain.step(), plain.origin()});
        expect_near(grid.range(), plain.range());
        ASSERT_EQ(grid.paraxial_region().size(), 1u);
        expect_near(grid.paraxial_region()[0], plain.paraxial_region()[0]);
        for (std::size_t i = 0; i < grid.size(); ++i) {
            ASSERT_EQ(grid.normalized_stencils()[i].size(), plain.normalized_stencils()[i].size());
            for (std::size_t j = 0; j < grid.normalized_stencils()[i].size(); ++j)
                expect_near(grid.normalized_stencils()[i][j], plain.normalized_stencils()[i][j]);
        }
    }
}

TEST(TileGrid, TurnsPositionsBack) {
    Tile_Grid const grid =
        filled(Tile_Grid({1, 1, 1}, {0, 0, 0}, std::pair(0.0, 1.0)), {{0, 0, 0}, {0, 1, 0}});
    EXPECT_EQ(grid.range(), (Box{{0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(grid.positions_in_tile_grid()[1], (Index{1, 0, 0}));
}

TEST(TileGrid, WithJitterBelowAVoxelIsThatWithout) {
    Tile_Grid const grid = grid_of(raster(10, 10, 0.75, 0.002));
    Tile_Grid const plain = grid_of(raster(10, 10, 0.75));
    EXPECT_EQ(grid.positions_in_tile_grid(), plain.positions_in_tile_grid());
    EXPECT_EQ(grid.paraxial_region().size(), 1u);
    for (std::size_t i = 0; i < grid.size(); ++i) EXPECT_EQ(grid.normalized_stencils()[i].size(), 1u);
}

TEST(TileGrid, LeavesAnUnknownAxisOut) {
    std::vector<Point> positions = raster(3, 2, 0.75);
    for (Point& position : positions) position.z = unknown;
    Tile_Grid const grid = grid_of(positions), plain = grid_of(raster(3, 2, 0.75));
    EXPECT_EQ(grid.positions_in_tile_grid(), plain.positions_in_tile_grid());
    EXPECT_EQ(grid.normalized_stencils(), plain.normalized_stencils());
    EXPECT_EQ(grid.step(), plain.step());
    EXPECT_TRUE(std::isnan(grid.range().low.z) && std::isnan(grid.range().high.z));
    EXPECT_EQ(grid.paraxial_region().size(), 1u);
}

TEST(TileGrid, DoesNotMoveByAnUnknownPosition) {
    Tile_Grid const grid = grid_of({{0, 0, 0}, {unknown, unknown, unknown}, {1, 0, 0}});
    EXPECT_EQ(grid.range(), (Box{{0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(grid.positions_in_tile_grid(), (std::vector<Index>{{0, 0, 0}, {0, 0, 0}, {1, 0, 0}}));
    EXPECT_EQ(grid.normalized_stencils()[2], Boxes()); // the second may be there
    Tile_Grid const without = grid_of({{unknown, 0, 0}, {1, 2, 0}});
    EXPECT_TRUE(std::isnan(without.range().low.x));
    EXPECT_EQ(without.range().high.y, 2);
    EXPECT_EQ(without.positions_in_tile_grid()[1], (Index{0, 2, 0}));
}

TEST(TileGrid, OfFlatTilesWorksInThePlane) {
    Tile_Grid const grid = grid_of(raster(3, 2, 0.75), {1, 1, 0}), plain = grid_of(raster(3, 2, 0.75));
    EXPECT_EQ(grid.positions_in_tile_grid(), plain.positions_in_tile_grid());
    EXPECT_EQ(grid.normalized_stencils(), plain.normalized_stencils());
    EXPECT_EQ(grid.paraxial_region(), (Boxes{{{-0.5, -0.5, 0}, {2, 1.25, 0}}}));
    EXPECT_EQ(grid.step(), (Point{0.75, 0.75, 0}));
}

TEST(TileGrid, HoldsTheNearestIndexThatThereIs) {
    auto const last = [](Point const& shape, Point const& position) {
        return filled(Tile_Grid(shape, {0, 0, 0}), {{0, 0, 0}, position}).positions_in_tile_grid().back();
    };
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max(), least = -most - 1;
    EXPECT_EQ(last({1, 1, 1}, {1e300, -1e300, 0x1p63}), (Index{most, least, most}));
    EXPECT_EQ(last({1, 1, 1}, {-0x1p63, 0x1p62, -0x1p64}), (Index{least, std::int64_t{1} << 62, least}));
    EXPECT_EQ(last({1e-300, 1, 1}, {1e300, infinity, -infinity}), (Index{0, 0, 0})); // no number
    EXPECT_EQ(last({0, 1, unknown}, {5, unknown, 5}), (Index{0, 0, 0}));
    EXPECT_EQ(last({1, 1, 1}, {2.5, -2.5, 1.49}), (Index{3, -3, 1})); // halves away from zero
}

TEST(TileGrid, TakesAnyNumbers) {
    constexpr double odd[] = {0, -1, 1e300, -1e300, 1e-300, infinity, -infinity, unknown};
    std::vector<Point> positions{{0, 0, 0}};
    for (double x : odd)
        for (double y : odd) positions.push_back({x, y, x + y});
    for (double side : odd)
        for (double voxel : odd) {
            Tile_Grid const grid = filled(Tile_Grid({side, 1, side}, {voxel, voxel, voxel}), positions);
            EXPECT_EQ(grid.size(), positions.size());
            for (Boxes const& stencil : grid.normalized_stencils())
                for (Box const& box : stencil)
                    for (std::size_t axis = 0; axis < 3; ++axis)
                        EXPECT_TRUE(box.low[axis] >= 0 && box.high[axis] <= 1 &&
                                    box.low[axis] <= box.high[axis]);
        }
}

TEST(TileGrid, KeepsWhatWasThereWhenATileIsAdded) {
    std::vector<Point> const positions = raster(6, 5, 0.6, 0.1);
    Tile_Grid growing({1, 1, 1}, {0.01, 0.01, 0.01});
    for (std::size_t n = 1; n <= positions.size(); ++n) {
        growing.add(positions[n - 1]);
        Tile_Grid const fresh =
            filled(Tile_Grid({1, 1, 1}, {0.01, 0.01, 0.01}),
                   {positions.begin(), positions.begin() + static_cast<std::ptrdiff_t>(n)});
        ASSERT_EQ(growing.step(), fresh.step());
        ASSERT_EQ(growing.range(), fresh.range());
        ASSERT_EQ(growing.positions_in_tile_grid(), fresh.positions_in_tile_grid());
        ASSERT_EQ(growing.paraxial_region(), fresh.paraxial_region());
        ASSERT_EQ(growing.normalized_stencils(), fresh.normalized_stencils());
    }
}

TEST(TileGrid, IsAValue) {
    Tile_Grid const grid = grid_of(raster(10, 10, 0.75, 0.1));
    Tile_Grid copy = grid;
    copy.add({0, 0, 5});
    EXPECT_EQ(grid.size(), 100u);
    EXPECT_EQ(copy.size(), 101u);
    EXPECT_EQ(copy.positions_in_tile_grid().back().z, 5);
}

TEST(TileGrid, CoversManyTilesByTheirUnion) {
    auto const area = [](Boxes const& boxes) {
        double sum = 0;
        for (Box const& box : boxes) sum += (box.high.x - box.low.x) * (box.high.y - box.low.y);
        return sum;
    };
    for (double jitter : {0.0, 0.05}) {
        std::vector<Point> const positions = raster(20, 20, 0.9, jitter);
        Tile_Grid const grid = grid_of(positions, {1, 1, 1}, 0);
        double added = 0;
        for (Boxes const& stencil : grid.normalized_stencils()) added += area(stencil);
        EXPECT_NEAR(added, area(grid.paraxial_region()), 1e-9);
        if (jitter == 0) {
            EXPECT_NEAR(added, 18.1 * 18.1, 1e-9);
        }
    }
}

TEST_P(RandomTileGrid, IsWhatComparingAllWithAllGives) {
    for (int i = 0; i < 4; ++i) check(any_positions());
}

TEST_P(RandomTileGrid, IsWhatComparingAllWithAllGivesWithUnknownPositions) {
    std::vector<Point> positions = any_positions();
    sprinkle(positions, {unknown});
    check(positions);
}

TEST_P(RandomTileGrid, IsWhatComparingAllWithAllGivesWithAnyNumbers) {
    std::vector<Point> positions = any_positions();
    sprinkle(positions, {unknown, infinity, -infinity, 1e300, -1e300, 1e-300, 0.0});
    check(positions);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTileGrid, testing::Range(0, 60));
