#pragma once

#include <string>
#include <vector>

#include <vexa/json/Value.h>

namespace Vexa::tool {

/// The XML of an OME document for other programs, which must be well-formed. Its texts may have come from anywhere:
/// what XML doesn't have in them becomes U+FFFD, with a warning.
/// \throws std::invalid_argument as OME::export_XML() does
std::string exchange_XML(JSON::Value document, std::vector<std::string>& warnings);

} // namespace Vexa::tool
