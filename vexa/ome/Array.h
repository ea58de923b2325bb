#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include <vexa/foundation/export.h>
#include <vexa/json/Schema.h>

namespace OME {

/// An iterator over elements, made from one over the pointers that own them.
template <typename It>
class Iterator_Adapter {
    using Pointer = typename std::iterator_traits<It>::reference;
    static constexpr bool is_const = std::is_const_v<std::remove_reference_t<Pointer>>;
    using Pointed = typename std::pointer_traits<typename std::iterator_traits<It>::value_type>::element_type;

public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = Pointed;
    using difference_type = std::ptrdiff_t;
    using reference = std::conditional_t<is_const, Pointed const&, Pointed&>;
    using pointer = std::remove_reference_t<reference>*;

    Iterator_Adapter() = default;
    explicit Iterator_Adapter(It it) : it_(it) {}
    It base() const { return it_; }

    reference operator*() const { return **it_; }
    pointer operator->() const { return &**it_; }
    Iterator_Adapter& operator++() {
        ++it_;
        return *this;
    }
    Iterator_Adapter& operator--() {
        --it_;
        return *this;
    }
    Iterator_Adapter operator++(int) { return Iterator_Adapter(it_++); }
    Iterator_Adapter operator--(int) { return Iterator_Adapter(it_--); }
    bool operator==(Iterator_Adapter const&) const = default;

private:
    It it_{};
};

/// All child elements of one name.
///
/// Owns: the elements, which are views; the tree owns their data.
/// Invariants: one element for each entry of the list in the tree, in the same order. An element stays where
/// it is until it is erased, or the whole list is set or reset.
template <typename E>
class VEXA_API Array_of : public JSON::Document<JSON::List, JSON::Item<E>> {
    using List_Document = JSON::Document<JSON::List, JSON::Item<E>>;
    using Items = std::list<std::unique_ptr<E>>;

public:
    using iterator = Iterator_Adapter<typename Items::iterator>;
    using const_iterator = Iterator_Adapter<typename Items::const_iterator>;

    /// \throws JSON::Bad_Access if the key holds something else than a list, and whatever an E throws
    Array_of(JSON::Proxy& parent, char const* key);
    ~Array_of() override;
    /// Assign the elements one by one, append what is missing and erase what is too much.
    Array_of& operator=(Array_of const& other);

    iterator begin() { return iterator(items_.begin()); }
    iterator end() { return iterator(items_.end()); }
    const_iterator begin() const { return const_iterator(items_.begin()); }
    const_iterator end() const { return const_iterator(items_.end()); }
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    E& front() { return *items_.front(); }
    E const& front() const { return *items_.front(); }

    /// Append an F, which is E or a class derived from it, made of this array, its position and the arguments.
    /// If it can't be made, nothing changes. An F that writes nothing is an element without attributes.
    template <typename F = E, typename... Arguments>
    iterator emplace_back(Arguments&&... arguments);
    /// Move an element to another place, in front of \p next, which may be itself.
    void move(iterator what, iterator next);
    /// Destroy the element and remove its entry.
    void erase(iterator where);
    void clear();
    /// The first element with this identifier, or the end.
    iterator find(JSON::Value const& id);
    const_iterator find(JSON::Value const& id) const;
    /// Erase the first element with this identifier.
    /// \return whether there was one
    bool remove(JSON::Value const& id);
    /// Replace the element by an F at the same position, where an element turns out to be of a derived class.
    template <typename F>
    F& cast(iterator where);

    /// \throws std::bad_variant_access unless \p value is a list
    void set(JSON::Value const& value, bool quiet = false) override;
    void reset() override;

protected:
    void follow(JSON::Value* place) override;

private:
    using Where = typename Items::iterator;
    /// The elements by their identifiers, made when a search comes again without a change in between.
    struct Index {
        std::uint64_t changes = 0;
        bool made = false;
        std::unordered_map<std::string, Where> elements;
    };

    void make_items();
    // Templates, since not all elements have identifiers.
    template <typename Element = E>
    Where find_by_walking(JSON::Value const& id);
    template <typename Element = E>
    Where find_by_index(std::string const& id);

    Items items_;
    std::unique_ptr<Index> index_;
};

template <typename E>
template <typename F, typename... Arguments>
typename Array_of<E>::iterator Array_of<E>::emplace_back(Arguments&&... arguments) {
    JSON::List& list = this->get_value().template promote_as<JSON::List>();
    list.emplace_back();
    auto const position = std::prev(list.end());
    try {
        items_.push_back(std::make_unique<F>(*this, position, std::forward<Arguments>(arguments)...));
    } catch (...) {
        list.erase(position);
        throw;
    }
    position->template promote_as<JSON::Map>();
    return iterator(std::prev(items_.end()));
}

template <typename E>
template <typename F>
F& Array_of<E>::cast(iterator where) {
    std::unique_ptr<E>& item = *where.base();
    auto const changes = item->id.changes();
    auto made = std::make_unique<F>(*this, item->position());
    F& result = *made;
    item = std::move(made);
    result.id.numbers().set_changes(changes); // the identifiers are the same as before
    return result;
}

} // namespace OME

#include <vexa/ome/Array_inline.h>
