#pragma once

#include <string>

namespace Vexa {

/// A new random UUID (version 4) as 36 characters: lower-case hexadecimal with dashes. Safe from any thread.
std::string random_uuid();

} // namespace Vexa
