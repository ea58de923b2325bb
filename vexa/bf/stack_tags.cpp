#include <vexa/bf/stack_tags_internal.h>

#include <sstream>
#include <variant>

#include <vexa/json/Reader.h>
#include <vexa/json/Value.h>
#include <vexa/props/VPropXmlExport.h>
#include <vexa/props/VPropXmlParser.h>

namespace Vexa::bf {

namespace {

constexpr int native_form = 2;
constexpr int any_form = 0;

struct ToText {
    std::string operator()(VProp const& property) const { return vexa_export_xml(property, native_form); }
    std::string operator()(JSON::Value const& value) const { return JSON::dump(value, false); }
};

Vexa::arrays::Tag parse(std::string const& text) {
    if (text.front() == '<') return vexa_import_xml(text, any_form);
    std::istringstream in(text);
    JSON::Value value;
    in >> value;
    return value;
}

} // namespace

std::map<std::string, std::string> tag_texts(std::map<std::string, Vexa::arrays::Tag> const& tags) {
    std::map<std::string, std::string> texts;
    for (auto const& [key, value] : tags)
        if (!key.empty()) texts.emplace(key, std::visit(ToText{}, value));
    return texts;
}

void read_tag_texts(std::map<std::string, std::string> const& texts,
                    std::map<std::string, Vexa::arrays::Tag>& tags) {
    for (auto const& [key, text] : texts) {
        if (text.empty()) continue;
        try {
            tags[key] = parse(text);
        } catch (std::exception const&) {
            tags.erase(key);
        }
    }
}

} // namespace Vexa::bf
