#pragma once

#include <concepts>

#include <vexa/ome/Array.h>
#include <vexa/ome/Referable.h>

namespace OME {

template <typename E>
Array_of<E>::Array_of(JSON::Proxy& parent, char const* key) : List_Document(parent, key) {
    make_items();
}

template <typename E>
Array_of<E>::~Array_of() = default;

template <typename E>
Array_of<E>& Array_of<E>::operator=(Array_of const& other) {
    if (this == &other) return *this;
    auto target = items_.begin();
    for (E const& source : other) {
        if (target == items_.end()) target = emplace_back().base();
        **target++ = source;
    }
    while (target != items_.end()) erase(iterator(target++));
    return *this;
}

template <typename E>
void Array_of<E>::make_items() {
    if (!this->has_value()) return;
    JSON::List& list = this->get_value().template promote_as<JSON::List>();
    for (auto position = list.begin(); position != list.end(); ++position)
        items_.push_back(std::make_unique<E>(*this, position));
}

template <typename E>
void Array_of<E>::move(iterator what, iterator next) {
    if (what == next) return;
    JSON::List& list = this->get_value().template promote_as<JSON::List>();
    auto const position = next == end() ? list.end() : *(*next).position();
    list.splice(position, list, *(*what).position());
    items_.splice(next.base(), items_, what.base());
    index_.reset(); // which of two with one identifier is the first may have changed
}

template <typename E>
void Array_of<E>::erase(iterator where) {
    auto const position = (*where).position();
    items_.erase(where.base());
    if (position) this->get_value().template promote_as<JSON::List>().erase(*position);
}

template <typename E>
void Array_of<E>::clear() {
    while (!items_.empty()) erase(begin());
}

template <typename E>
void Array_of<E>::set(JSON::Value const& value, bool quiet) {
    List_Document::check(value);
    if (this->has_value() && *this->value() == value) return;
    JSON::Value copy(value);
    items_.clear();
    List_Document::set(copy, quiet);
    make_items();
}

template <typename E>
void Array_of<E>::reset() {
    this->reset_fields();
    for (E& element : *this) element.reset();
    items_.clear();
    List_Document::reset();
}

template <typename E>
void Array_of<E>::follow(JSON::Value* place) {
    items_.clear();
    this->point_to(place);
    make_items();
}

template <typename E>
template <typename Element>
typename Array_of<E>::Where Array_of<E>::find_by_walking(JSON::Value const& id) {
    auto item = items_.begin();
    while (item != items_.end() && !((*item)->id.has_value() && *(*item)->id.value() == id)) ++item;
    return item;
}

template <typename E>
template <typename Element>
typename Array_of<E>::Where Array_of<E>::find_by_index(std::string const& id) {
    auto const changes = items_.front()->id.changes();
    if (!index_) index_ = std::make_unique<Index>();
    if (index_->changes != changes) {
        *index_ = Index{changes, false, {}};
        return find_by_walking(id);
    }
    if (!index_->made) {
        for (auto item = items_.begin(); item != items_.end(); ++item)
            if (JSON::Value const* own = (*item)->id.value())
                if (std::string const* text = own->template get_if<std::string>())
                    index_->elements.emplace(*text, item);
        index_->made = true;
    }
    auto const found = index_->elements.find(id);
    return found == index_->elements.end() ? items_.end() : found->second;
}

template <typename E>
typename Array_of<E>::iterator Array_of<E>::find(JSON::Value const& id) {
    std::string const* text = id.get_if<std::string>();
    // Only changes of the identifiers of elements are counted, not those of references.
    if constexpr (std::derived_from<E, Referable>)
        if (text && !items_.empty()) return iterator(find_by_index(*text));
    if constexpr (requires(E & e) { e.id; }) return iterator(find_by_walking(id));
    return end();
}

template <typename E>
typename Array_of<E>::const_iterator Array_of<E>::find(JSON::Value const& id) const {
    return const_iterator(const_cast<Array_of*>(this)->find(id).base());
}

template <typename E>
bool Array_of<E>::remove(JSON::Value const& id) {
    iterator const found = find(id);
    if (found == end()) return false;
    erase(found);
    return true;
}

} // namespace OME
