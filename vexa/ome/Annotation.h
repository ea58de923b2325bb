#pragma once

#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/One_of.h>

namespace OME {

/// What the namespaces of the library's own annotations start with.
inline constexpr std::string_view ANNOTATION_NAMESPACE_ROOT = "urn:vexa";
/// The namespace of annotations that divide the axes Z, C and T into sub-dimensions.
inline constexpr std::string_view STANDARD_MODULO_NAMESPACE = "openmicroscopy.org/omero/dimension/modulo";
/// The namespace of their element "Modulo".
inline constexpr std::string_view MODULO_ELEMENT_NAMESPACE =
    "http://www.openmicroscopy.org/Schemas/Additions/2011-09";

extern template class Element_with_ID<Annotation>;

/// A piece of metadata that the schema doesn't know, tagged by a namespace.
///
/// Annotations are read generically, as objects of this class. The references of their owners replace them by
/// objects of derived classes, known by their namespaces.
class VEXA_API Annotation : public Element_with_ID<Annotation> {
public:
    /// \param namespace_text the namespace of the derived class, stored if there is none in the tree
    Annotation(JSON::Proxy& parent, Position position, std::string_view namespace_text = {});
    /// Copy all that \p other holds in the tree, also what no class knows.
    Annotation& operator=(Annotation const& other);

    bool has_namespace(std::string_view namespace_text) const;
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }
    /// What the annotation says: any children.
    Object_of_Documents& contents() { return value_.content; }
    Object_of_Documents const& contents() const { return value_.content; }

private:
    Document<std::string> namespace_{*this, "Namespace"};
    One_of<Text> description_{content, "Description"};
    One_of<Element<Object_of_Documents>> value_{content, "Value"};
};

/// An annotation with one element "extension", which holds the fields of the derived class.
class VEXA_API Extension_Annotation : public Annotation {
public:
    using Annotation::Annotation;

protected:
    One_of<Element<Object_of_Documents>> extension_{contents(), "extension"};
};

extern template class Array_of<Annotation>;

/// The element that holds all annotations.
class VEXA_API Structured_Annotations : public Element<Object_of_Documents> {
public:
    Structured_Annotations(JSON::Proxy& parent, Position position);

    Array_of<Annotation>& annotations() { return annotations_; }
    Array_of<Annotation> const& annotations() const { return annotations_; }

private:
    Array_of<Annotation> annotations_{content, "XMLAnnotation"};
};

extern template class One_of<Structured_Annotations>;

} // namespace OME
