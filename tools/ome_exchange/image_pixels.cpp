#include "image_pixels.h"

#include <array>
#include <iterator>
#include <set>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "document_tree.h"

namespace OME {

namespace {

/// The children of an element, made if it has none and no text.
JSON::Map& provide_children(JSON::Value& element) {
    return element.get<JSON::Map>()[""].promote_as<JSON::Map>();
}

void forget_samples(JSON::Value& pixels) {
    auto& content = provide_children(pixels);
    for (char const* const name : {"BinData", "MetadataOnly", "TiffData"}) content.erase(name);
    // It speaks of the samples in the document.
    pixels.get<JSON::Map>().erase("BigEndian");
}

std::set<std::string> channel_IDs(JSON::Value const& pixels) {
    std::set<std::string> ids;
    for_each(children(pixels), "Channel", [&](JSON::Value const& channel) {
        if (auto const* const id = attribute(channel, "ID")) ids.insert(*id);
    });
    return ids;
}

/// A number behind an identifier that none of the others has.
std::string fresh_ID(std::string const& id, std::uint64_t number, std::set<std::string>& ids) {
    auto fresh = fmt::format("{}:{}", id, number);
    while (!ids.insert(fresh).second) fresh += "_";
    return fresh;
}

/// Red, green and blue as the schema has them, with the opacity in the lowest byte.
constexpr std::array<char const*, 3> colours = {"-16776961", "16711935", "65535"};

JSON::Value one_sample_of(JSON::Value const& channel, std::uint64_t sample, std::uint64_t samples,
                          std::set<std::string>& ids) {
    JSON::Value part = channel;
    auto& attributes = part.get<JSON::Map>();
    attributes["SamplesPerPixel"] = "1";
    if (samples == colours.size() && !attributes.contains("Color")) attributes["Color"] = colours[sample];
    if (sample == 0) return part;
    attributes.erase("");
    if (auto const* const id = attribute(channel, "ID")) attributes["ID"] = fresh_ID(*id, sample, ids);
    return part;
}

} // namespace

JSON::Value const* pixels_of(JSON::Value const& image) {
    auto const* const pixels = elements_of(children(image), "Pixels");
    return pixels && !pixels->empty() && pixels->front().get_if<JSON::Map>() ? &pixels->front() : nullptr;
}

JSON::Value* pixels_of(JSON::Value& image) {
    return const_cast<JSON::Value*>(pixels_of(std::as_const(image)));
}

JSON::Value* image_at(JSON::Value& document, std::size_t index) {
    auto* const tops = elements_of(&document, "OME");
    auto* const images = tops && !tops->empty() ? elements_of(children(tops->front()), "Image") : nullptr;
    if (!images || index >= images->size()) return nullptr;
    return &*std::next(images->begin(), static_cast<std::ptrdiff_t>(index));
}

void set_metadata_only(JSON::Value& image) {
    auto* const pixels = pixels_of(image);
    if (!pixels) return;
    forget_samples(*pixels);
    provide_children(*pixels)["MetadataOnly"] = JSON::List{JSON::Map()};
}

void set_TIFF_pages(JSON::Value& image, std::uint64_t pages) {
    auto* const pixels = pixels_of(image);
    if (!pixels) return;
    forget_samples(*pixels);
    provide_children(*pixels)["TiffData"] =
        JSON::List{JSON::Map{{"IFD", "0"}, {"PlaneCount", std::to_string(pages)}}};
}

void split_channels(JSON::Value& image, std::uint64_t samples) {
    auto* const pixels = pixels_of(image);
    auto* const channels = pixels ? elements_of(children(*pixels), "Channel") : nullptr;
    if (!channels || samples < 2) return;
    auto ids = channel_IDs(*pixels);
    JSON::List parts;
    for (JSON::Value const& channel : *channels)
        for (std::uint64_t sample = 0; sample < samples; ++sample)
            parts.push_back(one_sample_of(channel, sample, samples, ids));
    *channels = std::move(parts);
}

void provide_channels(JSON::Value& image, std::uint64_t count, std::uint64_t samples) {
    auto* const pixels = pixels_of(image);
    if (!pixels || count == 0) return;
    auto ids = channel_IDs(*pixels);
    JSON::Value& value = provide_children(*pixels)["Channel"];
    auto& channels = value.promote_as<JSON::List>();
    while (channels.size() > count) channels.pop_back();
    while (channels.size() < count)
        channels.push_back(JSON::Map{{"ID", fresh_ID("Channel", channels.size(), ids)}});
    for (JSON::Value& channel : channels)
        channel.get<JSON::Map>()["SamplesPerPixel"] = std::to_string(samples);
}

} // namespace OME
