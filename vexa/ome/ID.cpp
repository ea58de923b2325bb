#include <vexa/ome/ID.h>

#include <charconv>
#include <variant>

#include <fmt/format.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>

namespace OME {

namespace {

std::optional<int> number_in(std::string_view text) {
    int number = 0;
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<int>(number) : std::nullopt;
}

std::string text_of(JSON::Value const& value) {
    std::string const* text = value.get_if<std::string>();
    return text ? *text : JSON::dump(value, false);
}

} // namespace

Root& root_of(JSON::Proxy& view) { return dynamic_cast<Root&>(view.root()); }

template <typename E>
ID_of<E>::ID_of(JSON::Proxy& parent, char const* key, bool auto_assign)
    : Document<std::string>(parent, key), numbers_(&root_of(parent).registry().template numbers<E>()),
      auto_assign_(auto_assign) {
    if (auto_assign_ || has_value()) subscribe();
}

template <typename E>
ID_of<E>::~ID_of() {
    unsubscribe();
}

template <typename E>
ID_of<E>& ID_of<E>::operator=(ID_of const& other) {
    if (this == &other) return *this;
    if (other.has_value())
        set(*other.value(), false);
    else
        reset();
    return *this;
}

template <typename E>
std::optional<std::string_view> ID_of<E>::suffix() const {
    std::string const* text = has_value() ? value()->template get_if<std::string>() : nullptr;
    constexpr std::string_view word = ID_word<E>;
    if (!text || !text->starts_with(word) || text->size() == word.size() || (*text)[word.size()] != ':')
        return std::nullopt;
    return std::string_view(*text).substr(word.size() + 1);
}

template <typename E>
std::string_view ID_of<E>::string() const {
    auto const found = suffix();
    if (!found) throw std::bad_variant_access();
    return *found;
}

template <typename E>
JSON::Value ID_of<E>::actual() const {
    std::string_view const text = string();
    if (auto const number = number_in(text)) return *number;
    return text;
}

template <typename E>
void ID_of<E>::set_actual(JSON::Value const& value) {
    note_change();
    Document<std::string>::set(fmt::format("{}:{}", ID_word<E>, text_of(value)));
}

template <typename E>
void ID_of<E>::subscribe() {
    unsubscribe();
    if (!has_value()) set_actual(numbers_->fresh());
    std::optional<int> const number = number_in(string());
    if (number) numbers_->insert(*number);
    subscribed_ = number;
}

template <typename E>
void ID_of<E>::unsubscribe() {
    if (subscribed_) numbers_->erase_one(*subscribed_);
    subscribed_.reset();
    note_change();
}

template <typename E>
std::size_t ID_of<E>::count() const {
    std::optional<int> const number = has_value() ? number_in(string()) : std::nullopt;
    return number ? numbers_->count(*number) : 0;
}

template <typename E>
void ID_of<E>::set(JSON::Value const& value, bool quiet) {
    check(value);
    JSON::Proxy::set(value, quiet);
    subscribe_if_readable();
}

template <typename E>
void ID_of<E>::reset() {
    unsubscribe();
    JSON::Proxy::reset();
    if (auto_assign_) subscribe();
}

template <typename E>
void ID_of<E>::follow(JSON::Value* place) {
    point_to(place);
    subscribe_if_readable();
}

template <typename E>
void ID_of<E>::subscribe_if_readable() {
    if (suffix())
        subscribe();
    else
        unsubscribe();
}

template <typename E>
void ID_of<E>::note_change() {
    if (auto_assign_) numbers_->set_changes(numbers_->changes() + 1);
}

template class ID_of<Project>;
template class ID_of<Dye>;
template class ID_of<Band>;
template class ID_of<Dataset>;
template class ID_of<Folder>;
template class ID_of<Instrument>;
template class ID_of<Light_Source>;
template class ID_of<Detector>;
template class ID_of<Objective>;
template class ID_of<Filter>;
template class ID_of<Image>;
template class ID_of<Pixels>;
template class ID_of<Channel>;
template class ID_of<Shape>;
template class ID_of<ROI>;
template class ID_of<Annotation>;

} // namespace OME
