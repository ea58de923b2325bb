#include "parser.h"

#include <cstddef>
#include <new>

namespace OME {

Parser owned(XML_Parser parser) {
    if (!parser) throw std::bad_alloc();
    return {parser, &XML_ParserFree};
}

bool parse(XML_Parser parser, std::string_view text) {
    constexpr std::size_t largest_piece = 1 << 30;
    bool last = false;
    while (!last) {
        std::string_view const piece = text.substr(0, largest_piece);
        text.remove_prefix(piece.size());
        last = text.empty();
        if (XML_Parse(parser, piece.data(), static_cast<int>(piece.size()), last) != XML_STATUS_OK)
            return false;
    }
    return true;
}

} // namespace OME
