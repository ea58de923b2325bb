#include <vexa/bf/conversion_internal.h>

#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include <vexa/foundation/types.h>

namespace Vexa::bf {

namespace {

std::string name_of(int type) {
    try {
        return vexa_dt_get_name(type);
    } catch (std::runtime_error const&) {
        return std::to_string(type);
    }
}

} // namespace

void throw_invalid_conversion(int from, int to) {
    throw std::runtime_error(
        fmt::format("Invalid on-the-fly conversion from '{}' to '{}'.", name_of(from), name_of(to)));
}

} // namespace Vexa::bf
