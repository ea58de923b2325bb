#include <stdexcept>

#include <vexa/arrays/Region.h>
#include <vexa/arrays/StackInfoImp.h>

namespace Vexa::arrays {

namespace {

/// The value of an axis. Regions are open to everybody, so that their vectors may be of any size.
std::size_t at(std::vector<std::size_t> const& values, std::size_t axis) {
    if (axis >= values.size()) throw std::invalid_argument("Invalid axis specified.");
    return values[axis];
}

/// Where the columns of an axis come from and where they go.
struct ColumnMove {
    std::size_t source_start;
    std::size_t source_step;
    std::size_t count;
    std::size_t destination_start;
    std::size_t destination_step;
};

/// Copy one value per column.
/// \param destination a value per column of the destination, which takes those of the columns that move
template <typename T>
std::vector<T> move_columns(std::vector<T> const& source, ColumnMove const& columns,
                            std::vector<T> destination, std::size_t destination_size) {
    destination.resize(destination_size);
    for (std::size_t k = 0; k < columns.count; ++k) {
        std::size_t const from = columns.source_start + k * columns.source_step;
        std::size_t const to = columns.destination_start + k * columns.destination_step;
        if (from >= source.size() || to >= destination.size())
            throw std::invalid_argument("Invalid pixel position.");
        destination[to] = source[from];
    }
    return destination;
}

} // namespace

StackInfoImp::StackInfoImp(StackInfoInterface const& source, Region const& region, int type)
    : StackInfoImp(type != 0 ? type : source.type(), region.full_shape) {
    initialize(source, region, nullptr);
}

StackInfoImp::StackInfoImp(StackInfoInterface const& source, Region const& source_region,
                           Region const& destination_region, int type)
    : StackInfoImp(type != 0 ? type : source.type(), destination_region.full_shape) {
    initialize(source, source_region, &destination_region);
}

void StackInfoImp::initialize(StackInfoInterface const& source, Region const& source_region,
                              Region const* destination_region) {
    set_timestamp(source.timestamp());
    if (source_region.shape != (destination_region ? destination_region->shape : shape_))
        throw std::runtime_error(
            "Cannot transform meta-data: Source and destination slice shapes do not match.");
    for (std::size_t axis = 0; axis < shape_.size(); ++axis)
        initialize_axis(axis, source, source_region, destination_region);
    set_data_units(source.data_units());
}

void StackInfoImp::initialize_axis(std::size_t axis, StackInfoInterface const& source,
                                   Region const& source_region, Region const* destination_region) {
    std::size_t const s = at(source_region.axes, axis);
    std::size_t const d = destination_region ? at(destination_region->axes, axis) : axis;
    std::size_t const destination_size = at(shape_, d);
    ColumnMove const columns{.source_start = at(source_region.first, s),
                             .source_step = at(source_region.step, s),
                             .count = at(source_region.shape, axis),
                             .destination_start = destination_region ? at(destination_region->first, d) : 0,
                             .destination_step = destination_region ? at(destination_region->step, d) : 1};

    if (!source.col_labels(s).empty())
        set_col_labels(d, move_columns(source.col_labels(s), columns, columns_[d].labels, destination_size));
    set_units(d, source.units(s));
    if (!source.is_equidistant(s) && !source.col_positions(s).empty())
        set_col_positions(
            d, move_columns(source.col_positions(s), columns, columns_[d].positions, destination_size));
    if (!source.xy_col_positions(s).empty())
        set_xy_col_positions(
            d, move_columns(source.xy_col_positions(s), columns, columns_[d].xy_positions, destination_size));

    double const pixel = source.length(s) / static_cast<double>(source.shape()[s]);
    lengths_[d] = static_cast<double>(destination_size) * pixel * static_cast<double>(columns.source_step);
    offsets_[d] = source.offset(s) + static_cast<double>(columns.source_start) * pixel;
    // Not d: the axis of the source picks the pixel size of this stack, where it has such an axis.
    if (columns.destination_start != 0 && s < shape_.size())
        offsets_[d] -=
            lengths_[s] / static_cast<double>(shape_[s]) * static_cast<double>(columns.destination_start);
    set_label(d, source.label(s));
}

} // namespace Vexa::arrays
