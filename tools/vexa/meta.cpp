#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include <fmt/format.h>
#include <vexa/json/Write_to_XML.h>
#include <vexa/json/Writer.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Root.h>

#include "commands.h"
#include "console.h"
#include "exchange.h"
#include "stacks.h"
#include "text.h"

namespace Vexa::tool {
namespace {

/// The elements of a tree that was read from XML. Under the empty key stands the text of an element, or a map of
/// its children by their names.
constexpr char const* content_key = "";

/// A place in the document: an element, a list of elements of one name, or a text.
struct Place {
    std::string name;
    JSON::Value const* value = nullptr;
};

JSON::Map const* children_of(JSON::Value const& element) {
    auto const* const content = element.find(content_key);
    return content ? content->get_if<JSON::Map>() : nullptr;
}

// Finding an element

[[noreturn]] void refuse(std::string_view path, std::string const& reason) {
    throw Failure(Exit::wrong_use, fmt::format("\"{}\" leads nowhere: {}.", printable(path), reason));
}

Place child_of(Place const& place, std::string const& step, std::string_view path) {
    for (auto const* const map : {children_of(*place.value), place.value->get_if<JSON::Map>()}) {
        if (!map || step.empty()) continue; // the empty key belongs to the content
        if (auto const found = map->find(step); found != map->end()) return {step, &found->second};
    }
    refuse(path, fmt::format("\"{}\" has no child or attribute \"{}\"", place.name, printable(step)));
}

Place element_of(Place const& place, std::size_t index, std::string_view path) {
    auto const& list = place.value->get<JSON::List>();
    if (index >= list.size()) refuse(path, fmt::format("there are {} of \"{}\"", list.size(), place.name));
    return {place.name, &*std::next(list.begin(), static_cast<std::ptrdiff_t>(index))};
}

Place step_into(Place place, std::string const& step, std::string_view path) {
    if (auto const* const list = place.value->get_if<JSON::List>()) {
        std::size_t index = 0;
        auto const* const end = step.data() + step.size();
        auto const [at, error] = std::from_chars(step.data(), end, index);
        if (error == std::errc() && at == end) return element_of(place, index, path);
        if (list->size() != 1)
            refuse(path, fmt::format("there are {} of \"{}\", an index has to say which one", list->size(),
                                     place.name));
        place.value = &list->front();
    }
    if (!place.value->get_if<JSON::Map>()) refuse(path, fmt::format("\"{}\" is a text", place.name));
    return child_of(place, step, path);
}

/// The place below the top element; without a path that element itself.
Place find_place(JSON::Value const& tree, std::string const& path) {
    auto const* const roots = tree.get_if<JSON::Map>();
    if (!roots || roots->empty()) throw std::runtime_error("The document is empty.");
    Place place{roots->begin()->first, &roots->begin()->second.get<JSON::List>().front()};
    for (std::size_t begin = 0; begin < path.size();) {
        auto const end = std::min(path.find('/', begin), path.size());
        place = step_into(place, path.substr(begin, end - begin), path);
        begin = end + 1;
    }
    return place;
}

// Printing it

/// An element that is still to be printed. Documents may be nested deeper than a program can call itself.
struct Pending {
    std::string name;
    JSON::Value const* element = nullptr;
    std::size_t depth = 0;
};

std::string indentation(std::size_t depth) {
    constexpr std::size_t deepest = 40; // that still is further in
    return std::string(2 * std::min(depth, deepest), ' ');
}

void push_elements(std::string const& name, JSON::List const& elements, std::size_t depth,
                   std::vector<Pending>& pending) {
    std::size_t index = 0;
    for (auto const& element : elements)
        pending.push_back({fmt::format("{}/{}", name, index++), &element, depth});
}

void print(Pending const& item, std::vector<Pending>& pending) {
    auto const indent = indentation(item.depth);
    auto const& attributes = item.element->get<JSON::Map>();
    auto const* const content = item.element->find(content_key);
    auto const* const text = content ? content->get_if<std::string>() : nullptr;
    put(indent + styled(Style::heading, item.name) + (text ? ": " + printable(*text) : std::string()) + "\n");
    for (auto const& [key, value] : attributes)
        if (!key.empty()) put(fmt::format("{}  {}: {}\n", indent, key, printable(value.get<std::string>())));
    auto const first = static_cast<std::ptrdiff_t>(pending.size());
    if (auto const* const children = children_of(*item.element))
        for (auto const& [name, elements] : *children)
            push_elements(name, elements.get<JSON::List>(), item.depth + 1, pending);
    std::reverse(pending.begin() + first, pending.end());
}

void print_tree(Place const& place) {
    if (auto const* const text = place.value->get_if<std::string>()) return put(printable(*text) + "\n");
    std::vector<Pending> pending;
    if (auto const* const list = place.value->get_if<JSON::List>()) {
        push_elements(place.name, *list, 0, pending);
        std::reverse(pending.begin(), pending.end());
    } else {
        pending.push_back({place.name, place.value, 0});
    }
    while (!pending.empty()) {
        auto const item = std::move(pending.back());
        pending.pop_back();
        print(item, pending);
    }
}

void print_json(Place const& place, MetaGetOptions const& options) {
    JSON::Map document;
    document["schema"] = "vexa.meta/1";
    document["path"] = as_utf8(options.file.string());
    document["element"] = as_utf8(options.element);
    document["document"] = *place.value;
    // In one line, since documents may be nested without end.
    put(JSON::dump(document, false) + "\n");
}

/// As it is stored, without the checks and updates that the library applies to it.
JSON::Value tree_of(std::string const& stored, std::filesystem::path const& path) {
    auto const xml = as_utf8(stored);
    JSON::Value tree;
    reading(path, [&] {
        JSON::XML_Reader reader(tree);
        char const* begin = xml.data();
        reader.read(begin, begin + xml.size());
        if (tree.is_null()) throw std::runtime_error("The document is empty.");
    });
    return tree;
}

} // namespace

Exit run_meta_get(MetaGetOptions const& options) {
    auto const file = open_vbf(options.file);
    auto const* const stored = stored_document(*file);
    if (!stored)
        throw Failure(Exit::no_input, fmt::format("{}: holds no OME document.", options.file.string()));
    if (options.xml) {
        put(*stored);
    } else if (options.schema_order) {
        std::string text;
        std::vector<std::string> warnings;
        reading(options.file, [&] { text = exchange_XML(*file->metadata().value(), warnings); });
        put(text);
        for (auto const& warning : warnings)
            complain(fmt::format("{}: {}.", printable(options.file.string()), warning));
    } else {
        auto const tree = tree_of(*stored, options.file);
        auto const place = find_place(tree, options.element);
        if (options.json)
            print_json(place, options);
        else
            print_tree(place);
    }
    return Exit::done;
}

} // namespace Vexa::tool
