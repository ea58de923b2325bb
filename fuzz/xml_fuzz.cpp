// XML for trees of values: it is read or refused, in whatever pieces it arrives with the same outcome, and what
// is read is written and read back as the same tree. Input that is JSON text is a tree to begin with: it is
// written or refused, and comes back if it has the form of a document.

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <vexa/json/Reader.h>
#include <vexa/json/Write_to_XML.h>
#include <vexa/json/XML_Reader.h>

#include "fuzz.h"

namespace {

struct Outcome {
    JSON::Value tree;
    bool closed = false;
    std::string error;
    std::size_t consumed = 0;

    bool operator==(Outcome const&) const = default;
};

/// Feed the text in pieces of \p piece bytes. Single bytes go through read(char).
Outcome read_in_pieces(std::string_view text, std::size_t piece) {
    Outcome outcome;
    JSON::XML_Reader reader(outcome.tree);
    char const* pos = text.data();
    char const* const end = pos + text.size();
    try {
        while (pos != end && !outcome.closed) {
            char const* const stop = pos + std::min(piece, static_cast<std::size_t>(end - pos));
            outcome.closed = piece > 1 ? reader.read(pos, stop) : reader.read(*pos++);
        }
    } catch (JSON::XML_Reader::Unexpected const& error) {
        outcome.error = error.what();
    }
    outcome.consumed = static_cast<std::size_t>(pos - text.data());
    return outcome;
}

void check_stream(std::string const& text, Outcome const& expected) {
    std::istringstream in(text);
    JSON::Value tree;
    try {
        VEXA_FUZZ_CHECK(JSON::XML_Reader(tree).read(in) == expected.closed);
        VEXA_FUZZ_CHECK(in.good() == expected.closed);
        VEXA_FUZZ_CHECK(!expected.closed || in.tellg() == static_cast<std::streamoff>(expected.consumed));
    } catch (JSON::XML_Reader::Unexpected const& error) {
        VEXA_FUZZ_CHECK(error.what() == expected.error);
    }
    VEXA_FUZZ_CHECK(tree == expected.tree);
}

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool is_name(std::string_view name, std::string_view also_first, std::string_view also_later) {
    auto const later = [&](char c) {
        return is_letter(c) || (c >= '0' && c <= '9') || also_later.find(c) != std::string_view::npos;
    };
    return !name.empty() && (is_letter(name[0]) || also_first.find(name[0]) != std::string_view::npos) &&
           std::all_of(name.begin(), name.end(), later);
}

bool is_text(JSON::Value const& value) {
    auto const* text = value.get_if<std::string>();
    return text && *text != "INF" && *text != "-INF";
}

/// Whether a content comes back; the elements in it go to \p todo.
bool comes_back(JSON::Value const& content, std::vector<JSON::Value const*>& todo) {
    if (auto const* text = content.get_if<std::string>())
        return is_text(content) && !text->empty() && !is_blank(text->front());
    auto const* children = content.get_if<JSON::Map>();
    if (!children || children->empty()) return false;
    for (auto const& [name, value] : *children) {
        auto const* list = value.get_if<JSON::List>();
        if (!list || list->empty() || !is_name(name, "_", "_-.")) return false;
        for (JSON::Value const& element : *list) todo.push_back(&element);
    }
    return true;
}

/// Whether a tree has one root element and comes back from XML.
bool comes_back(JSON::Value const& tree) {
    std::vector<JSON::Value const*> todo;
    auto const* root = tree.get_if<JSON::Map>();
    if (!root || root->size() != 1 || !comes_back(tree, todo) || todo.size() != 1) return false;
    while (!todo.empty()) {
        auto const* element = todo.back()->get_if<JSON::Map>();
        todo.pop_back();
        if (!element) return false;
        for (auto const& [name, value] : *element)
            if (name.empty() ? !comes_back(value, todo) : !is_text(value) || !is_name(name, "", "_-.:"))
                return false;
    }
    return true;
}

void check_tree(JSON::Value const& tree) {
    std::ostringstream out;
    try {
        JSON::write_to_XML(tree, out);
    } catch (std::invalid_argument const&) {
        VEXA_FUZZ_CHECK(!comes_back(tree));
        return;
    }
    Outcome const again = read_in_pieces(out.view(), out.view().size() + 2);
    if (!comes_back(tree)) return;
    VEXA_FUZZ_CHECK(again.tree == tree);
    VEXA_FUZZ_CHECK(again.error.empty());
    VEXA_FUZZ_CHECK(again.consumed == out.view().size());
    JSON::Value const copy = tree;
    std::ostringstream second;
    JSON::write_to_XML(copy, second);
    VEXA_FUZZ_CHECK(second.view() == out.view());
}

std::optional<JSON::Value> parse_json(std::string const& text) {
    try {
        return JSON::parse(text);
    } catch (std::runtime_error const&) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    if (text.starts_with('{')) {
        if (auto const tree = parse_json(text)) check_tree(*tree);
        return 0;
    }
    Outcome const whole = read_in_pieces(text, size + 2);
    for (std::size_t const piece : {std::size_t{1}, std::size_t{2}, std::size_t{5}, size / 2 + 2})
        VEXA_FUZZ_CHECK(read_in_pieces(text, piece) == whole);
    check_stream(text, whole);
    check_tree(whole.tree);
    return 0;
}
