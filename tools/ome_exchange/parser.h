#pragma once

#include <memory>
#include <string_view>

#include <expat.h>

namespace OME {

using Parser = std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)>;

/// \throws std::bad_alloc for null
Parser owned(XML_Parser parser);

/// Hand a whole document of any size to a parser.
/// \return whether it took all of it; else the parser knows why and where it stopped
bool parse(XML_Parser parser, std::string_view text);

} // namespace OME
