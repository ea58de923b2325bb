#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include <vexa/foundation/export.h>
#include <vexa/json/Schema.h>
#include <vexa/ome/Array.h>
#include <vexa/ome/Document.h>
#include <vexa/ome/ID.h>
#include <vexa/ome/Referable.h>

namespace OME {

/// A map whose fields are views: an element, or the content of one.
class VEXA_API Object_of_Documents : public JSON::Document<JSON::Map> {
public:
    using Position = JSON::Proxy::Position;
    /// What `Document` means in an element class, where the base class of the same name would come first.
    template <typename T, typename... Options>
    using Document = ::OME::Document<T, Options...>;

    explicit Object_of_Documents(JSON::Value&& tree) : JSON::Document<JSON::Map>(std::move(tree)) {}
    Object_of_Documents(JSON::Proxy& parent, char const* key) : JSON::Document<JSON::Map>(parent, key) {}
    Object_of_Documents(JSON::Proxy& parent, Position position)
        : JSON::Document<JSON::Map>(parent, position) {}
    Object_of_Documents& operator=(Object_of_Documents const&) = default;

    /// Bind the references below to their elements; does nothing here. Overrides name the parts that hold
    /// references, see resolve().
    /// \throws Invalid_Argument "Incomplete data: missing {}." with the identifier of a missing element
    virtual void resolve_references();
    /// Reset the fields, then remove this from the tree.
    void reset() override;

protected:
    /// Resolve the references of elements and of arrays of elements, in this order.
    template <typename... Parts>
    static void resolve(Parts&... parts) {
        (resolve_part(parts), ...);
    }

private:
    template <typename Part>
    static void resolve_part(Part& part) {
        if constexpr (requires { part.begin(); })
            for (auto& element : part) element.resolve_references();
        else
            part.resolve_references();
    }
};

/// An XML element: a map of attributes, with its children or its text under the empty key.
///
/// The fields of an element class are members that are views, one line for each, in the order of their
/// construction: `Type name{parent, "key"}`. An attribute takes the element itself as its parent, `*this`; a
/// child takes `content`. The compiler's member-wise assignment then copies an element, reset() walks the
/// fields by itself, and resolve_references() names those that hold references. HACKING.md has an example.
///
/// \tparam Base Object_of_Documents for children, Document<std::string> for text
template <typename Base>
class VEXA_API Element : public Object_of_Documents {
public:
    Element(JSON::Proxy& parent, Position position)
        : Object_of_Documents(parent, position), content(*this, "") {}
    /// Copies text. Children and attributes are copied by the classes that have them as members.
    Element& operator=(Element const& other) {
        if constexpr (!std::is_same_v<Base, Object_of_Documents>) content = other.content;
        return *this;
    }

    /// \throws std::bad_cast outside of a Root
    Root& root() { return root_of(*this); }

    Base content;
};

/// An element that is nothing but text.
using Text = Element<Document<std::string>>;

/// An element with an identifier, which is fresh unless the tree has one already.
///
/// After reset() the element is gone from the tree, and its identifier with it; reset_ID() or an assignment
/// gives it one again.
template <typename E>
class VEXA_API Element_with_ID : public Element<Object_of_Documents>, public Referable {
public:
    Element_with_ID(JSON::Proxy& parent, Position position);
    Element_with_ID& operator=(Element_with_ID const&) = default;

    /// Take a fresh identifier.
    virtual void reset_ID();

    ID_of<E> id{*this, "ID", true};
};

template <typename E>
Element_with_ID<E>::Element_with_ID(JSON::Proxy& parent, Position position)
    : Element<Object_of_Documents>(parent, position) {}

template <typename E>
void Element_with_ID<E>::reset_ID() {
    id.reset();
}

template <>
class VEXA_API Element_with_ID<void> : public Element<Object_of_Documents> {
public:
    using Element<Object_of_Documents>::Element;
};

/// An element that somebody has made and sold.
template <typename E>
class VEXA_API Manufacturer_Specification_with_ID : public Element_with_ID<E> {
public:
    using Element_with_ID<E>::Element_with_ID;

    Document<std::string>& manufacturer() { return manufacturer_; }
    Document<std::string> const& manufacturer() const { return manufacturer_; }
    Document<std::string>& model() { return model_; }
    Document<std::string> const& model() const { return model_; }
    Document<std::string>& serial_number() { return serial_number_; }
    Document<std::string> const& serial_number() const { return serial_number_; }
    Document<std::string>& lot_number() { return lot_number_; }
    Document<std::string> const& lot_number() const { return lot_number_; }

private:
    Document<std::string> manufacturer_{*this, "Manufacturer"};
    Document<std::string> model_{*this, "Model"};
    Document<std::string> serial_number_{*this, "SerialNumber"};
    Document<std::string> lot_number_{*this, "LotNumber"};
};

extern template class Element<Object_of_Documents>;
extern template class Element<Document<std::string>>;

} // namespace OME
