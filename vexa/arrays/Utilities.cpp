#include <vexa/arrays/Utilities.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/format.h>

#include <vexa/arrays/Array.h>
#include <vexa/foundation/io.h>
#include <vexa/foundation/types.h>

namespace Vexa {

using namespace arrays;

namespace {

/// Copies or converts samples between two blocks.
class Sample_Mover {
public:
    /// \throws std::runtime_error if samples of the one type cannot become samples of the other
    Sample_Mover(int source_type, int destination_type);

    void move(void const* source, Region const& source_region, void* destination,
              Region const& destination_region) const;

private:
    /// An axis that is walked in both blocks; strides in samples.
    struct Axis {
        std::size_t count;
        std::size_t source_stride;
        std::size_t destination_stride;
    };

    static std::vector<Axis> common_axes(Region const& source, Region const& destination);
    void move_row(char const* source, char* destination, Axis const& axis) const;

    int source_code_;
    int destination_code_;
    std::size_t source_size_;
    std::size_t destination_size_;
};

std::string type_name(int type) try { return vexa_dt_get_name(type); } catch (std::runtime_error const&) {
    return fmt::format("{:#x}", static_cast<unsigned int>(type));
}

/// A type of this size whose conversion to itself copies every bit; not all types have a conversion.
int copied_as(std::size_t element_size) {
    switch (element_size) {
    case 1: return types::uint8;
    case 2: return types::uint16;
    case 3: return types::rgb_triple;
    case 4: return types::uint32;
    case 8: return types::uint64;
    case 16: return types::cplx_double;
    default: return types::none;
    }
}

bool leads_back(std::size_t stride) { return static_cast<std::int64_t>(stride) < 0; }

Sample_Mover::Sample_Mover(int source_type, int destination_type)
    : source_code_(source_type), destination_code_(destination_type),
      source_size_(vexa_dt_get_size(source_type)), destination_size_(vexa_dt_get_size(destination_type)) {
    if (source_type == destination_type)
        source_code_ = destination_code_ = copied_as(source_size_);
    else if (vexa_dt_convert(source_type, destination_type, nullptr, nullptr, 0, nullptr, nullptr) != 0)
        throw std::runtime_error(fmt::format("Invalid on-the-fly conversion from '{}' to '{}'.",
                                             type_name(source_type), type_name(destination_type)));
}

/// Axes of one sample are left out, and neighbours that follow each other without a gap in both blocks are
/// one axis, so that whole planes move as one row.
std::vector<Sample_Mover::Axis> Sample_Mover::common_axes(Region const& source, Region const& destination) {
    std::vector<Axis> axes;
    for (std::size_t i = 0; i < source.shape.size(); ++i) {
        if (source.shape[i] == 1) continue;
        Axis const next{source.shape[i], source.strides[i], destination.strides[i]};
        if (!axes.empty() && axes.back().source_stride * axes.back().count == next.source_stride &&
            axes.back().destination_stride * axes.back().count == next.destination_stride)
            axes.back().count *= next.count;
        else
            axes.push_back(next);
    }
    if (axes.empty()) axes.push_back({1, 1, 1});
    return axes;
}

void Sample_Mover::move_row(char const* source, char* destination, Axis const& axis) const {
    if (source_code_ == destination_code_ && axis.source_stride == 1 && axis.destination_stride == 1) {
        std::memcpy(destination, source, axis.count * source_size_);
    } else if (leads_back(axis.source_stride) || leads_back(axis.destination_stride)) {
        for (std::size_t i = 0; i < axis.count; ++i)
            vexa_dt_convert(source_code_, destination_code_,
                            source + static_cast<std::ptrdiff_t>(i * axis.source_stride * source_size_),
                            destination +
                                static_cast<std::ptrdiff_t>(i * axis.destination_stride * destination_size_),
                            1, nullptr, nullptr);
    } else {
        vexa_dt_convert_with_strides(source_code_, destination_code_, source, axis.source_stride, destination,
                                     axis.destination_stride, axis.count, nullptr, nullptr);
    }
}

void Sample_Mover::move(void const* source, Region const& source_region, void* destination,
                        Region const& destination_region) const {
    auto const& shape = source_region.shape;
    if (shape.empty() || std::find(shape.begin(), shape.end(), std::size_t{0}) != shape.end()) return;

    std::vector<Axis> const axes = common_axes(source_region, destination_region);
    std::vector<std::size_t> position(axes.size(), 0);
    std::size_t from = source_region.base_offset;
    std::size_t to = destination_region.base_offset;
    for (std::size_t i = 0; i < axes.size();) {
        move_row(static_cast<char const*>(source) + from * source_size_,
                 static_cast<char*>(destination) + to * destination_size_, axes[0]);
        for (i = 1; i < axes.size(); ++i) {
            from += axes[i].source_stride;
            to += axes[i].destination_stride;
            if (++position[i] < axes[i].count) break;
            from -= axes[i].source_stride * axes[i].count;
            to -= axes[i].destination_stride * axes[i].count;
            position[i] = 0;
        }
    }
}

/// The number of samples that the block holds, which may be made for another shape.
std::size_t samples_in_block(StackInterface const& stack) {
    // data() hands out the block and changes nothing.
    auto const block = const_cast<StackInterface&>(stack).data();
    std::size_t const element_size = vexa_dt_get_size(stack.type());
    return block && element_size != 0 ? block->size() / element_size : 0;
}

void throw_if_outside(StackInterface const& stack, Region const& region, char const* action) {
    if (!region.lies_within(samples_in_block(stack)))
        throw std::runtime_error(fmt::format("Cannot {}: The region lies outside the stack.", action));
}

void copy_samples(Sample_Mover const& mover, StackInterface const& source, Region const& source_region,
                  StackInterface& destination, Region const& destination_region) {
    throw_if_outside(source, source_region, "copy samples");
    throw_if_outside(destination, destination_region, "copy samples");
    mover.move(source.get_data_ptr(), source_region, destination.get_data_ptr(), destination_region);
}

} // namespace

char* Iterator::at(std::vector<std::size_t> const& position) const {
    if (position.size() != strides.size()) throw std::invalid_argument("Wrong number of positions.");
    std::size_t const offset =
        std::inner_product(position.begin(), position.end(), strides.begin(), std::size_t{0});
    return data + static_cast<std::ptrdiff_t>(offset);
}

std::shared_ptr<StackInterface> create_stack(int type, std::vector<std::size_t> const& shape) {
    return std::make_shared<StackImp>(type, shape);
}

std::shared_ptr<StackInterface> create_stack(StackInfoInterface const& info, int type) {
    return std::make_shared<StackImp>(info, type);
}

std::shared_ptr<StackInterface> create_stack(StackInterface const& source, int type, bool copy_data) {
    if (!copy_data) return create_stack(source, type);
    Sample_Mover const mover(source.type(), type != 0 ? type : source.type());
    Region const all(source.shape());
    auto copy = create_stack(source, type);
    copy_samples(mover, source, all, *copy, all);
    return copy;
}

std::shared_ptr<StackInterface> create_stack(StackView const& view, int type, bool copy_data) {
    return create_stack(view, Region(view.shape), type, copy_data);
}

std::shared_ptr<StackInterface> create_stack(StackView const& view, Region const& region, int type,
                                             bool copy_data) {
    StackInterface const& source = *view.stack();
    StackInfoImp info(source, view, region, type);
    if (!copy_data) return std::make_shared<StackImp>(std::move(info));
    Sample_Mover const mover(source.type(), info.type());
    auto copy = std::make_shared<StackImp>(std::move(info));
    copy_samples(mover, source, view, *copy, region);
    return copy;
}

Iterator create_iterator(StackInterface& stack) { return create_iterator(stack, Region(stack.shape())); }

Iterator create_iterator(StackInterface& stack, Region const& region) {
    throw_if_outside(stack, region, "create iterator");
    Iterator iterator;
    iterator.data = static_cast<char*>(stack.get_data_ptr());
    iterator.element_size = vexa_dt_get_size(stack.type());
    iterator.rank = region.shape.size();
    iterator.strides = region.strides;
    for (std::size_t& stride : iterator.strides) stride *= iterator.element_size;
    iterator.shape = region.shape;
    // An empty region may start behind the last sample, where no pointer leads.
    if (detail::get_product(region.shape) != 0) iterator.data += region.base_offset * iterator.element_size;
    return iterator;
}

} // namespace Vexa
