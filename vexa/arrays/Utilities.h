#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include <vexa/arrays/Region.h>
#include <vexa/arrays/StackImp.h>
#include <vexa/arrays/StackView.h>
#include <vexa/foundation/export.h>

namespace Vexa {

namespace arrays {

/// A walker over the samples of a region of a stack, by address.
///
/// Borrows: the stack's block, which must neither move nor go. Axes: those of the region, axis 0 first.
/// Units: strides in bytes; a stride that leads back is the one modulo 2^64.
class VEXA_API Iterator {
public:
    char* data = nullptr; ///< the first sample
    std::size_t element_size = 0;
    std::size_t rank = 0;
    std::vector<std::size_t> strides;
    std::vector<std::size_t> shape;

    /// The address of a sample. Positions outside the shape are not refused.
    /// \throws std::invalid_argument "Wrong number of positions." unless there is one index per axis.
    char* at(std::vector<std::size_t> const& position) const;

    /// Call `function(char*)` with the address of every sample, axis 0 fastest.
    template <typename Function>
    void for_each(Function function) const {
        if (rank == 0 || std::find(shape.begin(), shape.end(), std::size_t{0}) != shape.end()) return;
        std::vector<std::size_t> position(rank, 0);
        std::size_t offset = 0;
        for (std::size_t axis = 0; axis < rank;) {
            function(data + static_cast<std::ptrdiff_t>(offset));
            for (axis = 0; axis < rank; ++axis) {
                offset += strides[axis];
                if (++position[axis] < shape[axis]) break;
                offset -= strides[axis] * shape[axis];
                position[axis] = 0;
            }
        }
    }
};

} // namespace arrays

/// A new memory stack, all zero. Fails as the constructors of arrays::StackImp do.
VEXA_API std::shared_ptr<arrays::StackInterface> create_stack(int type,
                                                              std::vector<std::size_t> const& shape);
/// A new memory stack with a copy of the description.
/// \param type 0 takes the type of \p info
VEXA_API std::shared_ptr<arrays::StackInterface> create_stack(arrays::StackInfoInterface const& info,
                                                              int type);

/// A copy of a stack in another type: the description, and with \p copy_data the samples.
/// \param type 0 takes the type of \p source
/// \param copy_data false leaves the samples zero
/// \throws std::runtime_error "Invalid on-the-fly conversion from '{}' to '{}'." with the names of the
/// types, if samples of one cannot become samples of the other
/// \throws std::runtime_error "Cannot copy samples: The region lies outside the stack." if the block of
/// the source is smaller than its shape says
VEXA_API std::shared_ptr<arrays::StackInterface> create_stack(arrays::StackInterface const& source, int type,
                                                              bool copy_data);
/// A stack of the size of a view, with what it shows in the axis order of the view. Of the description,
/// the timestamp, the data units and the values of the axes come along.
/// \throws as the form for stacks, and what StackInfoImp::initialize() throws
VEXA_API std::shared_ptr<arrays::StackInterface> create_stack(arrays::StackView const& view, int type,
                                                              bool copy_data);
/// A stack of the region's full shape, which has at \p region what the view shows, and zeros elsewhere.
/// \param region has the shape of the view
/// \throws as the form for stacks, and what StackInfoImp::initialize() throws
VEXA_API std::shared_ptr<arrays::StackInterface>
create_stack(arrays::StackView const& view, arrays::Region const& region, int type, bool copy_data);

/// A walker over all samples of a stack.
/// \throws std::runtime_error "Cannot create iterator: The region lies outside the stack."
VEXA_API arrays::Iterator create_iterator(arrays::StackInterface& stack);
/// A walker over a region of a stack.
/// \throws std::runtime_error "Cannot create iterator: The region lies outside the stack."
VEXA_API arrays::Iterator create_iterator(arrays::StackInterface& stack, arrays::Region const& region);

} // namespace Vexa
