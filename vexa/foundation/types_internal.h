#pragma once

#include <vexa/foundation/export.h>

namespace Vexa::types {

/// The words that messages use for a full type code, flags included, such as "32 bit real array";
/// "unsupported" for codes that have none.
char const* message_words(int type);

} // namespace Vexa::types
