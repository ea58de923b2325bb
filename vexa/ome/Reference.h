#pragma once

#include <string>
#include <type_traits>

#include <vexa/foundation/export.h>
#include <vexa/ome/Array.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/Referable.h>
#include <vexa/ome/Registry.h>

namespace OME {

/// A reference to any annotation, known by its identifier only.
class VEXA_API Abstract_Reference : public Object_of_Documents {
public:
    Abstract_Reference(JSON::Proxy& parent, Position position);

    Document<std::string> id{*this, "ID"};
};

extern template class Array_of<Abstract_Reference>;

/// The list "AnnotationRef" of an element. References to annotations whose class is known are members of the
/// element beside the list and share its entries.
class VEXA_API Abstract_References : public Array_of<Abstract_Reference> {
public:
    using Array_of<Abstract_Reference>::Array_of;
    /// Empty the list. The references that share it are members too, and copy what is theirs.
    Abstract_References& operator=(Abstract_References const& other);
};

/// A reference to an element, known by its identifier and, once resolved, by its address.
///
/// References to most elements only name them. An annotation belongs to who refers to it: it is created with
/// the first write through the reference, copied with its owner, and removed with its last owner.
///
/// Owns: nothing. The referent is forgotten when it is destroyed.
/// \tparam T the class of the element; with `const` it can't be created through the reference
template <typename T>
class VEXA_API Reference : public Element<Object_of_Documents> {
public:
    /// T is an annotation class.
    static constexpr bool is_annotation = !Registry::contains<std::remove_const_t<T>>;

    /// A new entry of a list of references, to \p target.
    Reference(Array_of<Reference>& parent, Position position, T& target);
    /// A reference that is read from the tree, or is empty.
    Reference(JSON::Proxy& parent, Position position);
    /// A reference to an annotation. Its entry is found by resolve_references() or made by set_referent().
    explicit Reference(Abstract_References& parent);
    ~Reference() override;
    /// Refer to the same element, by its identifier; resolve_references() finds it in another tree. An
    /// annotation is copied and gets an identifier of its own.
    Reference& operator=(Reference const& other);

    /// The element, or null before the reference is resolved.
    T* referent() const { return bond_ ? referent_ : nullptr; }
    T const& operator*() const { return *referent(); }
    T const* operator->() const { return referent(); }
    T& operator*() { return *get_referent(); }
    T* operator->() { return get_referent(); }
    /// The element, created in the array of its type if there is none. Null only if T is const.
    T* get_referent();
    /// Refer to \p target. A reference to an annotation appends its entry to the list.
    /// \throws std::bad_variant_access if \p target has no identifier, which it lacks after a reset
    void set_referent(T& target);
    /// As set_referent(), without a new entry.
    void assign(T& target);

    /// Find the element. An annotation without an identifier yet is looked for among the entries of the list,
    /// by its namespace, and replaced by a T if it was read generically.
    /// \throws Invalid_Argument "Incomplete data: missing {}." with the identifier
    ///
    /// Elements other than annotations are resolved by the walk over the arrays that own them; nothing walks
    /// from element to element, so that circles and long chains of references do no harm.
    void resolve_references() override;
    /// Refer to nothing. An annotation that no other reference refers to is removed.
    void reset() override;

    ID_of<Identified<T>> id{*this, "ID", false};

protected:
    void follow(JSON::Value* place) override;

private:
    using Target_Array = Array_of<Identified<T>>;

    Abstract_References& list() { return static_cast<Abstract_References&>(*this->parent()); }
    void bind(T& target);
    typename Target_Array::iterator find_in(Target_Array& array);
    T& as_referent(Target_Array& array, typename Target_Array::iterator found);
    void release_entry();

    bool const in_annotation_list_ = false;
    Bond bond_;
    T* referent_ = nullptr;
};

} // namespace OME
