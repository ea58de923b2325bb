#include "metadata.h"

#include <new>
#include <optional>

#include <fmt/format.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Writer.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Root.h>

#include "console.h"
#include "text.h"

namespace Vexa::tool {
namespace {

using Dimensions = OME::Image::Dimensions;

/// Run what reads a document, which may be anything.
/// \return the error, or an empty text
template <typename Part>
std::string error_of(Part part) {
    try {
        part();
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        return error.what();
    }
    return {};
}

// The summary

JSON::Value text_json(JSON::Value const* value) {
    if (auto const* text = value ? value->get_if<std::string>() : nullptr) return as_utf8(*text);
    return nullptr;
}

/// The library writes 0 for a size that it doesn't know.
JSON::Value size_or_null(std::optional<double> const& size) {
    if (size && *size != 0) return json_number(*size);
    return nullptr;
}

JSON::Value number_or_null(std::optional<double> const& number) {
    if (number) return json_number(*number);
    return nullptr;
}

template <typename Enum>
JSON::Value name_or_null(std::optional<Enum> const& enumerator) {
    if (enumerator) return JSON::Value(*enumerator);
    return nullptr;
}

/// Manufacturer and model, as far as they are there.
template <typename Product>
JSON::Value product_json(Product const& product) {
    auto name =
        product.manufacturer().value() ? product.manufacturer().value()->template get<std::string>() : "";
    if (auto const* model = product.model().value()) {
        if (!name.empty()) name += ' ';
        name += model->template get<std::string>();
    }
    if (name.empty()) return nullptr;
    return as_utf8(name);
}

JSON::Value objective_json(OME::Objective const& objective) {
    JSON::Map map;
    map["id"] = text_json(objective.id.value());
    map["product"] = product_json(objective);
    map["magnification"] = number_or_null(objective.magnification());
    map["lens_NA"] = number_or_null(objective.lens_NA());
    map["immersion"] = name_or_null(objective.immersion());
    return map;
}

JSON::Value channel_json(OME::Channel const& channel) {
    JSON::Map map;
    map["name"] = text_json(channel.name().value());
    map["fluor"] = text_json(channel.fluor().value());
    auto const* const dye = channel.dye();
    map["dye"] = text_json(dye ? dye->name().value() : nullptr);
    map["excitation_wavelength"] = number_or_null(channel.excitation_wavelength_in_meters());
    map["emission_wavelength"] = number_or_null(channel.emission_wavelength_in_meters());
    return map;
}

JSON::Value image_json(OME::Image const& image, unsigned long index) {
    JSON::Map map;
    map["index"] = JSON::Number(index);
    map["name"] = text_json(image.name().value());
    JSON::List shape, channels;
    for (auto const size : image.storage_shape()) shape.push_back(JSON::Number(size));
    map["shape"] = std::move(shape);
    map["type"] = name_or_null(image.data_type());
    map["voxel_shape"] =
        JSON::List{size_or_null(image.voxel_size_x_in_meters()), size_or_null(image.voxel_size_y_in_meters()),
                   size_or_null(image.voxel_size_z_in_meters())};
    auto const* const instrument = image.instrument();
    map["instrument"] = text_json(instrument ? instrument->id.value() : nullptr);
    map["objective"] = nullptr;
    if (image.objective_settings())
        if (auto const* objective = image.objective_settings().referent())
            map["objective"] = text_json(objective->id.value());
    for (std::size_t i = 0; i < image.number_of_channels(); ++i)
        channels.push_back(channel_json(image.channel(i)));
    map["channels"] = std::move(channels);
    return map;
}

JSON::Value instrument_json(OME::Instrument const& instrument) {
    JSON::Map map;
    map["id"] = text_json(instrument.id.value());
    map["microscope"] = nullptr;
    if (instrument.microscope()) map["microscope"] = product_json(instrument.microscope().element());
    JSON::List objectives;
    for (auto const& objective : instrument.objectives()) objectives.push_back(objective_json(objective));
    map["objectives"] = std::move(objectives);
    map["light_sources"] = JSON::Number(instrument.light_sources().size());
    map["detectors"] = JSON::Number(instrument.detectors().size());
    map["filters"] = JSON::Number(instrument.filters().size());
    return map;
}

JSON::Map summary(OME::Root const& root, unsigned long const* only) {
    JSON::List images, instruments;
    unsigned long index = 0;
    for (auto const& image : root.ome.images()) {
        if (!only || *only == index) images.push_back(image_json(image, index));
        ++index;
    }
    for (auto const& instrument : root.ome.instruments()) instruments.push_back(instrument_json(instrument));
    JSON::Map map;
    map["images"] = std::move(images);
    map["instruments"] = std::move(instruments);
    return map;
}

// The summary as lines

std::string quoted(JSON::Value const& text) {
    auto const* const held = text.get_if<std::string>();
    return held ? fmt::format(" \"{}\"", printable(*held)) : std::string();
}

std::string part_text(char const* what, JSON::Value const& value) {
    auto const* const text = value.get_if<std::string>();
    return text ? fmt::format(", {} {}", what, printable(*text)) : std::string();
}

std::string number_text(char const* format, JSON::Value const& value, double unit = 1) {
    auto const* const number = value.get_if<JSON::Number>();
    return number ? fmt::format(fmt::runtime(format), number->to_double() / unit) : std::string();
}

std::string channel_line(JSON::Value const& channel, std::size_t index) {
    auto const& dye =
        channel.get<JSON::Value>(channel.get<JSON::Value>("dye").get_if<std::string>() ? "dye" : "fluor");
    return fmt::format(
        "    channel {}{}{}{}{}\n", index, quoted(channel.get<JSON::Value>("name")), part_text("dye", dye),
        number_text(", excitation {:.4g} nm", channel.get<JSON::Value>("excitation_wavelength"), 1e-9),
        number_text(", emission {:.4g} nm", channel.get<JSON::Value>("emission_wavelength"), 1e-9));
}

/// Slowest axis first. Stacks whose size nobody set have voxels of a meter.
std::string voxel_text(JSON::List const& sizes) {
    bool large = false;
    for (auto const& size : sizes)
        if (auto const* const number = size.get_if<JSON::Number>())
            large = large || number->to_double() >= 1e-3;
    std::string text;
    for (auto size = sizes.rbegin(); size != sizes.rend(); ++size) {
        if (!text.empty()) text += " x ";
        auto const number = number_text("{:.4g}", *size, large ? 1 : 1e-6);
        text += number.empty() ? "-" : number;
    }
    return text == "- x - x -" ? std::string() : ", voxels of " + text + (large ? " m" : " um");
}

std::string image_lines(JSON::Value const& image) {
    std::vector<unsigned long> shape;
    for (auto const& size : image.get<JSON::Value>("shape").get<JSON::List>())
        shape.push_back(size.get<unsigned long>());
    auto text = fmt::format("  image {}{}: {}{}{}{}{}\n", JSON::dump(image.get<JSON::Value>("index"), false),
                            quoted(image.get<JSON::Value>("name")), shape_text(shape),
                            part_text("type", image.get<JSON::Value>("type")),
                            voxel_text(image.get<JSON::Value>("voxel_shape").get<JSON::List>()),
                            part_text("instrument", image.get<JSON::Value>("instrument")),
                            part_text("objective", image.get<JSON::Value>("objective")));
    std::size_t index = 0;
    for (auto const& channel : image.get<JSON::Value>("channels").get<JSON::List>())
        text += channel_line(channel, index++);
    return text;
}

std::string instrument_lines(JSON::Value const& instrument) {
    auto const count = [&](char const* key) { return JSON::dump(instrument.get<JSON::Value>(key), false); };
    auto const id = [](JSON::Value const& element) { return printable(element.get<std::string>("id")); };
    auto text = fmt::format("  {}{}: {} light sources, {} detectors, {} filters\n", id(instrument),
                            quoted(instrument.get<JSON::Value>("microscope")), count("light_sources"),
                            count("detectors"), count("filters"));
    for (auto const& objective : instrument.get<JSON::Value>("objectives").get<JSON::List>())
        text += fmt::format("    {}{}{}{}{}\n", id(objective), quoted(objective.get<JSON::Value>("product")),
                            number_text(", magnification {:g}", objective.get<JSON::Value>("magnification")),
                            number_text(", NA {:g}", objective.get<JSON::Value>("lens_NA")),
                            part_text("immersion", objective.get<JSON::Value>("immersion")));
    return text;
}

// Against the stacks

std::string type_name(OME::Image::Data_Type type) { return JSON::Value(type).get<std::string>(); }

/// Whether the library gives the image of this stack samples of this type.
bool has_image_of(OME::Image::Data_Type type, bf::StackInterface const& stack) {
    if (!why_no_image(stack).empty()) return false;
    Dimensions dimensions;
    fill_type(dimensions, stack);
    return dimensions.data_type == type;
}

/// Whether an image has the sizes that the library gives it for a stack whose size isn't known yet.
bool is_without_sizes(OME::Image const& image) {
    Dimensions const none;
    return image.storage_shape() == std::vector<std::size_t>{none.x, none.y, none.z, none.c, none.t};
}

void compare(OME::Image const& image, bf::StackInterface const& stack, unsigned long index,
             std::vector<std::string>& disagreements) {
    auto const shape = image.storage_shape();
    if (!is_without_sizes(image) && without_slow_ones(shape) != without_slow_ones(stack.shape()))
        disagreements.push_back(fmt::format("image {} has {} samples, stack {} has {}", index,
                                            shape_text(shape), index, shape_text(stack.shape())));
    // The type of bits, which no stack has, stands for one that wasn't known yet.
    auto const type = image.data_type();
    if (type && *type != OME::Image::Data_Type::bit && stack_type(image) != stack.type() &&
        !has_image_of(*type, stack))
        disagreements.push_back(fmt::format("image {} has samples of {}, stack {} of {}", index,
                                            type_name(*type), index, type_text(stack.type())));
}

void compare(OME::Root const& root, bf::FileInterface const& file, std::vector<std::string>& disagreements) {
    auto const& images = root.ome.images();
    // Without an image for each stack nobody knows which belong together.
    if (images.size() != file.get_num_stacks()) {
        disagreements.push_back(fmt::format("the document has {} images, the file has {} stacks",
                                            images.size(), file.get_num_stacks()));
        return;
    }
    unsigned long index = 0;
    for (auto const& image : images) {
        auto const stack = file.get_stack(index);
        compare(image, *stack, index++, disagreements);
    }
}

} // namespace

std::vector<unsigned long> without_slow_ones(std::vector<unsigned long> shape) {
    while (!shape.empty() && shape.back() == 1) shape.pop_back();
    return shape;
}

JSON::Value document_json(bf::FileInterface& file, unsigned long const* only) {
    if (!stored_document(file)) return nullptr;
    JSON::Map map;
    auto const error = error_of([&] { map = summary(file.metadata(), only); });
    if (!error.empty()) map = JSON::Map{{"error", as_utf8(error)}};
    return map;
}

std::string document_lines(JSON::Value const& document) {
    if (document.is_null()) return {};
    auto text = styled(Style::heading, "OME document") + "\n";
    if (auto const* error = document.find("error"))
        return text +
               fmt::format("  {}: {}\n", styled(Style::bad, "damaged"), printable(error->get<std::string>()));
    for (auto const& image : document.get<JSON::Value>("images").get<JSON::List>())
        text += image_lines(image);
    for (auto const& instrument : document.get<JSON::Value>("instruments").get<JSON::List>())
        text += instrument_lines(instrument);
    return text;
}

DocumentCheck check_document(bf::FileInterface& file) {
    DocumentCheck check;
    check.exists = stored_document(file) != nullptr;
    if (check.exists) check.error = error_of([&] { compare(file.metadata(), file, check.disagreements); });
    return check;
}

} // namespace Vexa::tool
