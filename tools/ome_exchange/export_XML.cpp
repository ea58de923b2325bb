#include "export_XML.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

#include <vexa/json/Write_to_XML.h>

#include "document_tree.h"
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

constexpr char name_separator = '\n'; // which parsers leave in no attribute

/// The tree holds names without their prefixes. One that looks as if it had a prefix would lose it on reading.
/// \param name the namespace, the name behind the prefix, and the prefix if there is one
void stop_at_prefix(void* parser, char const* name, char const**) {
    if (std::ranges::count(std::string_view(name), name_separator) == 2)
        XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
}

/// The writer puts out names and texts as they are, and a tree may hold any.
void check_that_it_is_XML(std::string_view text) {
    Parser const parser = owned(XML_ParserCreateNS(nullptr, name_separator));
    XML_SetReturnNSTriplet(parser.get(), XML_TRUE);
    XML_UseParserAsHandlerArg(parser.get());
    XML_SetStartElementHandler(parser.get(), &stop_at_prefix);
    if (parse(parser.get(), text)) return;
    auto const error = XML_GetErrorCode(parser.get());
    auto const place = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser.get()));
    throw std::invalid_argument(
        fmt::format("Cannot export XML: {} behind '{}'",
                    error == XML_ERROR_ABORTED ? "element name with a prefix" : XML_ErrorString(error),
                    end_of(text.substr(0, place))));
}

/// Call \p action for each physical size that is unknown, with the pixels and the name of the attribute.
template <typename Value, typename Action>
void for_each_unknown_size(Value& tree, Action action) {
    auto const in_pixels = [&action](Value& pixels) {
        for (std::string_view const name : {"PhysicalSizeX", "PhysicalSizeY", "PhysicalSizeZ"}) {
            Value const* const size = entry(pixels, name);
            if (size && !(JSON::Value_Cast<double, 0>::to_if(*size).value_or(0) > 0)) action(pixels, name);
        }
    };
    for_each(&tree, "OME", [&](Value& ome) {
        for_each(children(ome), "Image",
                 [&](Value& image) { for_each(children(image), "Pixels", in_pixels); });
    });
}

/// A copy of the tree without what the schema has no value for.
JSON::Value without_unknown_sizes(JSON::Value tree) {
    for_each_unknown_size(tree, [](JSON::Value& pixels, std::string_view name) {
        auto& attributes = pixels.get<JSON::Map>();
        attributes.erase(std::string(name));
        attributes.erase(std::string(name) + "Unit");
    });
    return tree;
}

std::string written(JSON::Value const& tree) {
    std::ostringstream stream;
    JSON::write_to_XML(tree, stream, &schema_order);
    return std::move(stream).str();
}

} // namespace

std::string export_XML(Root const& root) { return export_XML(*root.value()); }

std::string export_XML(JSON::Value const& tree) {
    bool has_unknown_sizes = false;
    for_each_unknown_size(tree, [&](JSON::Value const&, std::string_view) { has_unknown_sizes = true; });
    std::string text = has_unknown_sizes ? written(without_unknown_sizes(tree)) : written(tree);
    check_that_it_is_XML(text);
    return text;
}

} // namespace OME
