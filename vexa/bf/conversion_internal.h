#pragma once

namespace Vexa::bf {

/// \throws std::runtime_error "Invalid on-the-fly conversion from '{}' to '{}'." with the short names of the
///     types, or their codes where they have no name
[[noreturn]] void throw_invalid_conversion(int from, int to);

} // namespace Vexa::bf
