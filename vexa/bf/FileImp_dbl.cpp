// Files of the older array format, seen as files of one stack.

#include <vexa/bf/FileImp.h>

#include <array>
#include <stdexcept>

#include <vexa/bf/StackImp.h>
#include <vexa/bf/dbl.h>
#include <vexa/bf/dbl_layout_internal.h>
#include <vexa/foundation/types.h>

namespace Vexa::bf {

namespace {

constexpr unsigned long header_only = 160;

/// The sizes up to the first that is below 2, which ends the shape.
std::vector<unsigned long> shape_of(std::array<int, 4> const& dims) {
    std::vector<unsigned long> shape;
    for (int const size : dims) {
        if (size < 2) break;
        shape.push_back(static_cast<unsigned long>(size));
    }
    return shape;
}

} // namespace

int FileImp::open_bf_dbl(std::filesystem::path const& path) {
    if (path.extension() != ".dbl") return -1;
    if (is_open()) throw std::runtime_error("File already open or attached.");
    unfinished_.clear();
    stacks_.clear();
    forget_closed_file();

    std::array<int, 4> dims{};
    std::array<float, 4> lengths{};
    unsigned long mode = header_only;
    int const kind = vexa_dbl_read(path.lexically_normal().c_str(), dims.data(), lengths.data(), &mode);
    if (kind < 1) throw std::runtime_error("Error reading .dbl file.");

    auto const shape = shape_of(dims);
    auto const stack = std::make_shared<StackImp>(kind == 1 ? types::double_ : types::single, shape, false,
                                                  shared_from_this());
    stack->set_bare_samples(DblHeaderLayout::size,
                            {lengths.begin(), lengths.begin() + static_cast<std::ptrdiff_t>(shape.size())});
    DiskFile::open(path, Mode::read);
    attached_ = false;
    stacks_.push_back(stack);
    return 0;
}

} // namespace Vexa::bf
