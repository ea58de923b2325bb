#pragma once

#include <vexa/foundation/export.h>
#include <vexa/json/Schema.h>
#include <vexa/ome/Element.h>

namespace OME {

template <typename E>
class VEXA_API One_of;

namespace detail {

/// The list that holds the one element, which follows it.
template <typename E>
class VEXA_API List_of_One : public JSON::Document<JSON::List, JSON::Item<E>, JSON::Max_Items<1>> {
    using Base = JSON::Document<JSON::List, JSON::Item<E>, JSON::Max_Items<1>>;

public:
    using Base::Base;
    void set(JSON::Value const& value, bool quiet = false) override;

protected:
    void follow(JSON::Value* place) override;
    JSON::Proxy::Position entry_position();
};

} // namespace detail

/// A child element that may be there or not. It is the list under its name in the tree, and an E, which is the
/// first entry. The first write through the E creates both.
///
/// As the parent of fields, name the part that is meant: `.content` for children, `.element()` for attributes.
template <typename E>
class VEXA_API One_of : public detail::List_of_One<E>, public E {
    using The_List = detail::List_of_One<E>;

public:
    One_of(JSON::Proxy& parent, char const* key);
    /// Assign the element, or reset it if \p other isn't there.
    One_of& operator=(One_of const& other);

    /// Whether the key is in the tree.
    using The_List::operator bool;
    using E::get_value;
    using E::root;
    using E::set;
    using E::value;

    E& element() { return *this; }
    E const& element() const { return *this; }
    /// Reset the element with all below it, and remove the key.
    void reset() override;
};

template <typename E>
JSON::Proxy::Position detail::List_of_One<E>::entry_position() {
    if (!this->has_value()) return std::nullopt;
    JSON::List* list = this->get_value().template get_if<JSON::List>();
    return list && !list->empty() ? JSON::Proxy::Position(list->begin()) : std::nullopt;
}

template <typename E>
void detail::List_of_One<E>::set(JSON::Value const& value, bool quiet) {
    Base::check(value);
    JSON::Value const copy(value);
    E& element = static_cast<One_of<E>&>(*this);
    element.set_position(std::nullopt);
    Base::set(copy, quiet);
    element.set_position(entry_position());
}

template <typename E>
void detail::List_of_One<E>::follow(JSON::Value* place) {
    this->point_to(place);
    static_cast<E&>(static_cast<One_of<E>&>(*this)).set_position(entry_position());
}

template <typename E>
One_of<E>::One_of(JSON::Proxy& parent, char const* key)
    : The_List(parent, key),
      E(static_cast<JSON::Proxy&>(static_cast<The_List&>(*this)), The_List::entry_position()) {}

template <typename E>
One_of<E>& One_of<E>::operator=(One_of const& other) {
    if (this == &other) return *this;
    if (other) {
        E::operator=(other);
        E::get_value().template promote_as<JSON::Map>();
    } else {
        reset();
    }
    return *this;
}

template <typename E>
void One_of<E>::reset() {
    E::reset();
    The_List::reset();
}

extern template class One_of<Text>;
extern template class One_of<Element<Object_of_Documents>>;

} // namespace OME
