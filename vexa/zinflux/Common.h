#pragma once

#include <string>

#include <vexa/foundation/exclusive_access.h>
#include <vexa/foundation/export.h>

namespace Zinflux {

/// A new identifier: a random UUID (version 4) as 36 characters, lower-case hexadecimal with dashes. Safe from
/// any thread.
VEXA_API std::string make_uid();

} // namespace Zinflux
