#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vexa/json/Writer.h>

#include "commands.h"
#include "console.h"
#include "metadata.h"
#include "stacks.h"
#include "text.h"

namespace Vexa::tool {
namespace {

constexpr std::size_t longest_tag_value = 200;

std::string cut(std::string text) {
    if (text.size() <= longest_tag_value) return text;
    auto const size = text.size();
    text.resize(longest_tag_value);
    return fmt::format("{}... ({} bytes)", text, size);
}

std::string axis_line(bf::StackInterface const& stack, std::size_t axis) {
    auto const unit = unit_text(stack.units(axis));
    return fmt::format(
        "  axis {}: {} samples, length {:.10g}, offset {:.10g}{}{}{}\n", axis, stack.shape()[axis],
        stack.length(axis), stack.offset(axis), unit.empty() ? "" : ", unit " + unit,
        stack.label(axis).empty() ? "" : fmt::format(", label \"{}\"", printable(stack.label(axis))),
        stack.is_equidistant(axis) ? "" : ", column positions");
}

std::string storage_text(bf::StackInterface& stack) {
    auto const whole = stack_json(stack, 0);
    auto const number = [&](char const* key) { return JSON::dump(whole.get<JSON::Value>(key), false); };
    auto const chunks = whole.get<JSON::Value>("chunk_records").get<JSON::List>().size();
    std::string text;
    text += fmt::format(
        "  stored: {} at {}, compression {} level {}, {} flush positions of {} bytes, {} pieces\n",
        byte_text(stored_bytes(stack)), number("data_start_position"), number("compression"),
        number("compression_level"), number("flush_positions"), number("flush_block_size"),
        chunks + (stored_bytes(stack) == 0 ? 0 : 1));
    text += fmt::format("  samples: {} in the shape, {} written, {}\n", stack.number_of_elements(),
                        stack.samples_written(), state_text(stack));
    return text;
}

std::string tag_text(bf::StackInterface const& stack, std::string const& key) {
    auto const& tag = stack.tag(key);
    auto const* json = std::get_if<JSON::Value>(&tag);
    return fmt::format("  tag {}: {}\n", printable(key),
                       json ? cut(printable(JSON::dump(*json, false))) : std::string("property tree"));
}

std::string stack_text(bf::StackInterface& stack, unsigned long index) {
    auto text = styled(Style::heading, fmt::format("stack {}: {}", index, printable(stack.name()))) + "\n";
    if (!stack.description().empty())
        text += fmt::format("  description: {}\n", printable(stack.description()));
    auto const unit = unit_text(stack.data_units());
    text += fmt::format("  {} samples of {}{}\n", shape_text(stack.shape()), type_text(stack.type()),
                        unit.empty() ? "" : " in " + unit);
    for (std::size_t axis = 0; axis < stack.shape().size(); ++axis) text += axis_line(stack, axis);
    text += storage_text(stack);
    for (auto const& key : stack.tag_keys()) text += tag_text(stack, key);
    return text;
}

std::string file_text(JSON::Value const& whole, std::filesystem::path const& path) {
    auto const number = [&](char const* key) { return JSON::dump(whole.get<JSON::Value>(key), false); };
    auto text = styled(Style::heading, printable(path.string())) + "\n";
    if (auto const description = whole.get<std::string>("description"); !description.empty())
        text += fmt::format("  description: {}\n", printable(description));
    text += fmt::format("  format version {}, tags at {}\n", number("format_version"),
                        number("metadata_position"));
    for (auto const& [key, length] : whole.get<JSON::Value>("tags").get<JSON::Map>())
        text += fmt::format("  tag {}: {} bytes\n", printable(key), JSON::dump(length, false));
    return text;
}

} // namespace

Exit run_info(InfoOptions const& options) {
    auto const file = open_vbf(options.file);
    std::optional<unsigned long> only;
    if (options.stack) only = find_stack(*file, *options.stack);
    auto whole = file_json(*file, options.file, only ? &*only : nullptr);
    auto const document = document_json(*file, only ? &*only : nullptr);
    auto const exit = document.find("error") ? Exit::damaged : Exit::done;
    if (options.json) {
        whole.get<JSON::Map>()["ome"] = document;
        put(document_text(whole));
        return exit;
    }
    put(file_text(whole, options.file));
    for (unsigned long index = 0; index < file->get_num_stacks(); ++index)
        if (!only || *only == index) put(stack_text(*file->get_stack(index), index));
    put(document_lines(document));
    return exit;
}

} // namespace Vexa::tool
