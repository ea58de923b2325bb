#include "exchange.h"

#include <utility>

#include <export_XML.h>

#include "text.h"

namespace Vexa::tool {
namespace {

/// In the texts of a document of any depth.
/// \return whether there was any
bool replace_what_xml_lacks(JSON::Value& document) {
    bool found = false;
    std::vector<JSON::Value*> pending{&document};
    while (!pending.empty()) {
        JSON::Value& value = *pending.back();
        pending.pop_back();
        if (auto* const text = value.get_if<std::string>()) {
            auto replaced = as_xml(*text);
            if (replaced == *text) continue;
            *text = std::move(replaced);
            found = true;
        } else if (auto* const list = value.get_if<JSON::List>()) {
            for (auto& element : *list) pending.push_back(&element);
        } else if (auto* const map = value.get_if<JSON::Map>()) {
            for (auto& [name, element] : *map) pending.push_back(&element);
        }
    }
    return found;
}

} // namespace

std::string exchange_XML(JSON::Value document, std::vector<std::string>& warnings) {
    bool const replaced = replace_what_xml_lacks(document);
    auto text = OME::export_XML(document);
    if (replaced)
        warnings.emplace_back(
            "texts of the document have characters that XML doesn't have; they became U+FFFD");
    return text;
}

} // namespace Vexa::tool
