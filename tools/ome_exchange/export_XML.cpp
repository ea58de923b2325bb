#include "export_XML.h"

#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

#include <vexa/json/Write_to_XML.h>

#include "parser.h"
#include "schema_order.h"

namespace OME {

namespace {

/// The end of a text, with "?" for what would not show.
std::string end_of(std::string_view text) {
    constexpr std::size_t longest = 60;
    if (text.size() > longest) text.remove_prefix(text.size() - longest);
    std::string shown;
    for (char const c : text) shown += c >= ' ' && c <= '~' ? c : '?';
    return shown;
}

/// The writer puts out names and texts as they are, and a tree may hold any.
void check_that_it_is_XML(std::string_view text) {
    Parser const parser = owned(XML_ParserCreateNS(nullptr, ' '));
    if (parse(parser.get(), text)) return;
    auto const place = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser.get()));
    throw std::invalid_argument(fmt::format("Cannot export XML: {} behind '{}'",
                                            XML_ErrorString(XML_GetErrorCode(parser.get())),
                                            end_of(text.substr(0, place))));
}

} // namespace

std::string export_XML(Root const& root) {
    std::ostringstream stream;
    JSON::write_to_XML(*root.value(), stream, &schema_order);
    std::string text = std::move(stream).str();
    check_that_it_is_XML(text);
    return text;
}

} // namespace OME
