#include <vexa/ome/Old_Annotation_internal.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <typeinfo>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace OME::detail {

namespace {

/// Read a number as the functions of the C library do: behind blanks and a sign, with any text after it.
template <typename Number>
Number number_at_start_of(std::string_view text, char const* function) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    Number number{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec == std::errc::invalid_argument) throw std::invalid_argument(function);
    if (result.ec == std::errc::result_out_of_range) throw std::out_of_range(function);
    return number;
}

/// The identifiers in a list of references, if it is one.
template <typename Function>
void for_each_reference(JSON::Value const& list, Function function) {
    JSON::List const* entries = list.get_if<JSON::List>();
    if (!entries) return;
    for (JSON::Value const& entry : *entries)
        if (JSON::Value const* id = entry.find("ID"))
            if (std::string const* text = id->get_if<std::string>()) function(*text);
}

} // namespace

bool has_value(JSON::Value const& group, std::string_view key) {
    return group.find(key) || group.find("", key);
}

std::string const* text_if(JSON::Value const& group, std::string_view key) {
    JSON::Value const* value = group.find(key);
    if (!value) value = group.find("", key, 0, "");
    return value ? value->get_if<std::string>() : nullptr;
}

std::string const& text_in(JSON::Value const& group, std::string_view name, std::string_view key) {
    if (std::string const* text = text_if(group, key)) return *text;
    throw JSON::Bad_Access(fmt::format("JSON path '{}/{}' not found.", name, key));
}

double real_in(JSON::Value const& group, std::string_view name, std::string_view key) {
    return number_at_start_of<double>(text_in(group, name, key), "stod");
}

int integer_in(JSON::Value const& group, std::string_view name, std::string_view key) {
    return number_at_start_of<int>(text_in(group, name, key), "stoi");
}

void Annotation_Users::count() {
    std::vector<JSON::Value const*> rest{&tree_}; // documents may be deep
    while (!rest.empty()) {
        JSON::Value const& value = *rest.back();
        rest.pop_back();
        if (JSON::List const* list = value.get_if<JSON::List>())
            for (JSON::Value const& item : *list) rest.push_back(&item);
        if (JSON::Map const* map = value.get_if<JSON::Map>())
            for (auto const& [key, child] : *map) {
                if (key == "AnnotationRef") for_each_reference(child, [&](auto const& id) { ++counts_[id]; });
                rest.push_back(&child);
            }
    }
}

bool Annotation_Users::remove_one(std::string const& id) {
    if (!std::exchange(counted_, true)) count();
    return --counts_[id] == 0;
}

bool take_old_annotations(Abstract_References& references, Array_of<Annotation>& annotations,
                          Annotation_Users& users, std::initializer_list<char const*> groups,
                          std::function<bool(JSON::Value const&)> const& take) {
    bool taken = false;
    for (auto entry = references.begin(); entry != references.end();) {
        auto const here = entry++;
        auto const annotation =
            here->id.has_value() ? annotations.find(*here->id.value()) : annotations.end();
        if (annotation == annotations.end() || !annotation->contents().has_value()) continue;
        if (!take(*annotation->contents().value())) continue;
        taken = true;
        Annotation const& held = *annotation;
        if (typeid(held) != typeid(Annotation)) {
            for (char const* group : groups) JSON::Proxy(annotation->contents(), group).reset();
            continue;
        }
        std::string const id = here->id.value()->get<std::string>();
        bool const was_last = users.remove_one(id);
        references.erase(here);
        if (was_last) annotations.erase(annotation);
    }
    return taken;
}

} // namespace OME::detail
