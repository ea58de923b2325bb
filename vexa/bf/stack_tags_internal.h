#pragma once

#include <map>
#include <string>

#include <vexa/arrays/StackInfoInterface.h>

namespace Vexa::bf {

/// The tags of a stack as they stand in a file: property trees as XML, JSON values as JSON text. A tag with
/// an empty key is left out, since an empty key ends the list on disk.
/// \throws std::bad_variant_access for a tag that holds neither
std::map<std::string, std::string> tag_texts(std::map<std::string, Vexa::arrays::Tag> const& tags);

/// The way back: text that begins with "<" is XML, all other JSON. Empty texts and those that can't be parsed
/// are left out.
void read_tag_texts(std::map<std::string, std::string> const& texts,
                    std::map<std::string, Vexa::arrays::Tag>& tags);

} // namespace Vexa::bf
