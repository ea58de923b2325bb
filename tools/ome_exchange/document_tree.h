#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <vexa/json/Value.h>

/// \file
/// The tree of a document: an element is a map of its attributes, with its text or a map of its children under the
/// empty key. Children are lists of elements by their names.

namespace OME {

/// \tparam Value JSON::Value, const or not
/// \return null if there is no such entry
template <typename Value>
Value* entry(Value& map, std::string_view key) {
    auto* const entries = map.template get_if<JSON::Map>();
    if (!entries) return nullptr;
    auto const found = entries->find(key);
    return found == entries->end() ? nullptr : &found->second;
}

/// The children of an element by their names; null if there are none.
template <typename Value>
Value* children(Value& element) {
    return entry(element, "");
}

/// The elements of a name.
/// \param elements lists by names, or null
/// \return null if there are none
template <typename Value>
auto* elements_of(Value* elements, std::string_view name) {
    Value* const value = elements ? entry(*elements, name) : nullptr;
    return value ? value->template get_if<JSON::List>() : nullptr;
}

/// Call \p action for each element of a name.
/// \param elements lists by names, or null
template <typename Value, typename Action>
void for_each(Value* elements, std::string_view name, Action action) {
    if (auto* const list = elements_of(elements, name))
        for (Value& element : *list) action(element);
}

/// Call \p action for each child of an element.
template <typename Value, typename Action>
void for_each_child(Value& element, Action action) {
    auto* const content = children(element);
    auto* const lists = content ? content->template get_if<JSON::Map>() : nullptr;
    if (!lists) return;
    for (auto& [name, list] : *lists)
        if (auto* const elements = list.template get_if<JSON::List>())
            for (Value& child : *elements) action(child);
}

/// The text of an attribute; null if there is none.
inline std::string const* attribute(JSON::Value const& element, std::string_view name) {
    auto const* const value = entry(element, name);
    return value ? value->get_if<std::string>() : nullptr;
}

/// Call \p action for an element and all below it, each before its children. Takes documents of any depth.
/// \param action may change the children of its element
template <typename Value, typename Action>
void for_each_below(Value& element, Action action) {
    std::vector<Value*> pending{&element};
    while (!pending.empty()) {
        Value& next = *pending.back();
        pending.pop_back();
        action(next);
        for_each_child(next, [&](Value& child) { pending.push_back(&child); });
    }
}

} // namespace OME
