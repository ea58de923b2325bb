#include "sidecar.h"

#include <fmt/format.h>
#include <vexa/json/Reader.h>

#include "failure.h"
#include "input_file.h"
#include "text.h"

namespace Vexa::tool {
namespace {

constexpr std::size_t longest = 1 << 24;

/// What was wrong with a sidecar; becomes a Failure with its path.
struct Nonsense {
    std::string text;
};

JSON::Value const& member(JSON::Value const& document, char const* key) {
    auto const* value = document.find(key);
    if (!value) throw Nonsense{fmt::format("\"{}\" is missing", key)};
    return *value;
}

std::string text_of(JSON::Value const& value, char const* key) {
    auto const* text = value.get_if<std::string>();
    if (!text) throw Nonsense{fmt::format("\"{}\" is no text", key)};
    return *text;
}

unsigned long size_of(JSON::Value const& value) {
    if (auto const* number = value.get_if<JSON::Number>()) {
        if (auto const* integer = std::get_if<long long>(&number->variant()); integer && *integer >= 0)
            return static_cast<unsigned long>(*integer);
        if (auto const* integer = std::get_if<unsigned long long>(&number->variant())) return *integer;
    }
    throw Nonsense{"a size in \"shape\" is no whole number"};
}

JSON::List const& list_of(JSON::Value const& value, char const* key) {
    auto const* list = value.get_if<JSON::List>();
    if (!list) throw Nonsense{fmt::format("\"{}\" is no list", key)};
    return *list;
}

ImageInfo parse(JSON::Value const& document) {
    ImageInfo info;
    if (text_of(member(document, "schema"), "schema") != "vexa.raw/1")
        throw Nonsense{"the schema is not vexa.raw/1"};
    if (text_of(member(document, "byte_order"), "byte_order") != "little")
        throw Nonsense{"the byte order is not little"};
    info.type = type_from_text(text_of(member(document, "type"), "type"));
    if (info.element_size() == 0) throw Nonsense{"the type is no type of samples"};
    for (auto const& size : list_of(member(document, "shape"), "shape")) info.shape.push_back(size_of(size));
    if (info.shape.empty() || info.shape.size() > 15) throw Nonsense{"the shape has no axes, or too many"};
    info.labels.resize(info.shape.size());
    if (auto const* labels = document.find("labels")) {
        std::size_t axis = 0;
        for (auto const& label : list_of(*labels, "labels"))
            if (axis < info.labels.size()) info.labels[axis++] = text_of(label, "labels");
    }
    if (auto const* lengths = document.find("pixel_lengths"))
        for (auto const& length : list_of(*lengths, "pixel_lengths")) {
            auto const* number = length.get_if<JSON::Number>();
            if (info.pixel_lengths.size() < info.shape.size())
                info.pixel_lengths.push_back(number ? number->to_double() : 0);
        }
    if (auto const* description = document.find("description"))
        info.description = text_of(*description, "description");
    return info;
}

} // namespace

std::filesystem::path sidecar_path(std::filesystem::path const& raw) {
    auto path = raw;
    path.replace_extension(".json");
    return path;
}

JSON::Value sidecar_json(ImageInfo const& info) {
    JSON::Map map;
    map["schema"] = "vexa.raw/1";
    map["byte_order"] = "little";
    map["type"] = type_text(info.type);
    map["description"] = as_utf8(info.description);
    JSON::List shape, labels, lengths;
    for (auto const size : info.shape) shape.push_back(JSON::Number(size));
    for (auto const& label : info.labels) labels.push_back(as_utf8(label));
    for (auto const length : info.pixel_lengths) lengths.push_back(json_number(length));
    map["shape"] = std::move(shape);
    map["labels"] = std::move(labels);
    if (!lengths.empty()) map["pixel_lengths"] = std::move(lengths);
    return map;
}

ImageInfo read_sidecar(std::filesystem::path const& raw) {
    auto const path = sidecar_path(raw);
    if (!std::filesystem::exists(path))
        throw Failure(Exit::wrong_use, fmt::format("{}: needs --shape and --type, or {} beside it.",
                                                   raw.string(), path.string()));
    InputFile file(path);
    if (file.size() > longest) throw Failure(Exit::damaged, fmt::format("{}: too long.", path.string()));
    std::string text(file.size(), '\0');
    file.read(text.data(), text.size());
    try {
        return parse(JSON::parse(text));
    } catch (Nonsense const& nonsense) {
        throw Failure(Exit::damaged, fmt::format("{}: {}.", path.string(), nonsense.text));
    } catch (std::runtime_error const& error) { // from the parser
        throw Failure(Exit::damaged, fmt::format("{}: {}", path.string(), error.what()));
    }
}

} // namespace Vexa::tool
