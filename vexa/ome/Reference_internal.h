#pragma once

#include <algorithm>
#include <typeinfo>

#include <vexa/ome/Invalid.h>
#include <vexa/ome/OME.h>
#include <vexa/ome/Reference.h>
#include <vexa/ome/Root.h>

/// \file
/// What references do. Include it where a Reference<T> is instantiated, which is in the source of T.

namespace OME {

template <typename T>
Reference<T>::Reference(Array_of<Reference>& parent, Position position, T& target)
    : Element<Object_of_Documents>(parent, position) {
    assign(target);
}

template <typename T>
Reference<T>::Reference(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

template <typename T>
Reference<T>::Reference(Abstract_References& parent)
    : Element<Object_of_Documents>(parent, std::nullopt), in_annotation_list_(true) {
    this->join_fields();
}

template <typename T>
Reference<T>::~Reference() = default;

template <typename T>
void Reference<T>::bind(T& target) {
    bond_.bind(const_cast<std::remove_const_t<T>&>(target));
    referent_ = &target;
}

template <typename T>
void Reference<T>::assign(T& target) {
    if (in_annotation_list_ && !this->position()) return set_referent(target);
    id.set(target.id.value_or(JSON::Value()), false);
    bind(target);
}

template <typename T>
void Reference<T>::set_referent(T& target) {
    if (in_annotation_list_ && !this->position()) {
        JSON::Value const target_id = target.id.value_or(JSON::Value());
        Abstract_Reference& entry = *list().emplace_back();
        entry.id.set(target_id);
        this->set_position(entry.position());
    }
    assign(target);
}

template <typename T>
T* Reference<T>::get_referent() {
    if constexpr (!std::is_const_v<T>) {
        if (!referent()) {
            OME& ome = this->root().ome.element();
            set_referent(
                static_cast<T&>(*ome.template provide_array<Identified<T>>().template emplace_back<T>()));
        }
    }
    return referent();
}

template <typename T>
void Reference<T>::resolve_references() {
    if (T* bound = referent()) {
        if constexpr (is_annotation) bound->resolve_references();
        return;
    }
    Target_Array* array = this->root().ome.element().template array<Identified<T>>();
    if (!array) return;
    auto const found = find_in(*array);
    if (found == array->end()) return;
    [[maybe_unused]] bool const is_new = typeid(*found) != typeid(T);
    T& target = as_referent(*array, found);
    id.set(*target.id.value(), false);
    bind(target);
    // Another reference to the same annotation has resolved it already if it was a T.
    if constexpr (is_annotation)
        if (is_new) target.resolve_references();
}

template <typename T>
typename Reference<T>::Target_Array::iterator Reference<T>::find_in(Target_Array& array) {
    if (id.has_value()) {
        auto const found = array.find(*id.value());
        if (found == array.end()) throw Invalid_Argument("Incomplete data: missing {}.", *id.value());
        return found;
    }
    if constexpr (is_annotation) {
        if (!in_annotation_list_) return array.end();
        for (Abstract_Reference& entry : list()) {
            if (!entry.id.has_value()) continue;
            auto const found = array.find(*entry.id.value());
            if (found == array.end() || !found->has_namespace(T::namespace_text())) continue;
            this->set_position(entry.position());
            return found;
        }
    }
    return array.end();
}

template <typename T>
T& Reference<T>::as_referent(Target_Array& array, typename Target_Array::iterator found) {
    if constexpr (is_annotation) {
        if (typeid(*found) == typeid(Identified<T>))
            return array.template cast<std::remove_const_t<T>>(found);
        if (T* target = dynamic_cast<T*>(&*found)) return *target;
        throw Invalid_Argument("Incomplete data: missing {}.", *found->id.value());
    } else {
        (void)array;
        return *found;
    }
}

template <typename T>
void Reference<T>::reset() {
    if (in_annotation_list_) {
        if constexpr (is_annotation && !std::is_const_v<T>) {
            constexpr std::size_t annotation_and_this = 2;
            if (referent() && id.count() == annotation_and_this) {
                JSON::Value const removed(*id.value());
                this->root().ome.element().annotations().remove(removed);
            }
        }
        release_entry();
    } else if (id.has_value()) {
        id.reset();
    }
    bond_.unbind();
    Element<Object_of_Documents>::reset();
}

template <typename T>
void Reference<T>::release_entry() {
    auto const here = this->position();
    if (!here) return;
    id.reset();
    this->set_position(std::nullopt);
    auto const entry = std::find_if(list().begin(), list().end(),
                                    [&](Abstract_Reference& other) { return other.position() == here; });
    if (entry != list().end()) list().erase(entry);
}

template <typename T>
Reference<T>& Reference<T>::operator=(Reference const& other) {
    if (this == &other) return *this;
    reset();
    if (!other.id.has_value()) return *this;
    T* const source = other.referent();
    if (!in_annotation_list_) {
        id.set(*other.id.value(), false);
        if (source && &JSON::Proxy::root() == &other.JSON::Proxy::root()) bind(*source);
    } else if constexpr (is_annotation && !std::is_const_v<T>) {
        if (!source) return *this;
        T& copy = *get_referent();
        JSON::Value const fresh(*copy.id.value());
        copy = *source;
        copy.id.set(fresh);
    }
    return *this;
}

template <typename T>
void Reference<T>::follow(JSON::Value*) {
    // Only references that share a list of entries are its fields. Theirs is gone.
    bond_.unbind();
    this->set_position(std::nullopt);
}

} // namespace OME
