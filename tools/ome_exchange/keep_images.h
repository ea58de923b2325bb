#pragma once

#include <vector>

#include <vexa/json/Value.h>

namespace OME {

/// Take images out of a document, with all references to them, and with the regions and annotations to which
/// nothing refers once they are gone. What else they share with other images stays, as do regions and annotations
/// that nobody referred to before.
/// \param document a tree as Root holds it
/// \param keep whether to keep each image; those behind its end are kept
void keep_images(JSON::Value& document, std::vector<bool> const& keep);

} // namespace OME
