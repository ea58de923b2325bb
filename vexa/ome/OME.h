#pragma once

#include <optional>
#include <string>

#include <boost/uuid/uuid.hpp>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Folder.h>
#include <vexa/ome/Project.h>

namespace OME {

/// The top element of a document.
///
/// What the schema has and this library has no class for stays in the document as it is.
class VEXA_API OME : public Element<Object_of_Documents> {
public:
    /// Declares the release 2016-06 of the schema, whatever the document declared before.
    OME(JSON::Proxy& parent, Position position);
    /// Take over all that \p other holds. The UUID stays if \p other has none.
    /// \throws std::runtime_error "Invalid UUID string at position {}" for a malformed UUID, before anything
    /// changes
    OME& operator=(OME const& other);

    Array_of<Project>& projects() { return projects_; }
    Array_of<Project> const& projects() const { return projects_; }
    Array_of<Dataset>& datasets() { return datasets_; }
    Array_of<Dataset> const& datasets() const { return datasets_; }
    Array_of<Folder>& folders() { return folders_; }
    Array_of<Folder> const& folders() const { return folders_; }
    Array_of<Annotation>& annotations() { return annotations_.annotations(); }
    Array_of<Annotation> const& annotations() const { return annotations_.annotations(); }

    /// Null if there is none.
    Project* first_project() { return projects_.empty() ? nullptr : &projects_.front(); }
    Project const* first_project() const { return projects_.empty() ? nullptr : &projects_.front(); }
    Folder* first_folder() { return folders_.empty() ? nullptr : &folders_.front(); }
    Folder const* first_folder() const { return folders_.empty() ? nullptr : &folders_.front(); }
    /// The first one, made if there is none.
    Project& provide_first_project();
    Folder& provide_first_folder();

    /// The dyes and bands of the first project; null without a project, or without any.
    Array_of<Dye>* dyes();
    Array_of<Dye> const* dyes() const;
    Array_of<Band>* bands();
    Array_of<Band> const* bands() const;
    Array_of<Dye>& provide_dyes() { return provide_first_project().provide_dyes(); }
    Array_of<Band>& provide_bands() { return provide_first_project().provide_bands(); }

    /// The array in which references to elements of type E find them; null if it is missing. Each class that
    /// can be referred to has a specialisation.
    template <typename E>
    Array_of<E>* array();
    /// The same array, made if it is missing.
    template <typename E>
    Array_of<E>& provide_array() {
        return *array<E>();
    }

    Document<std::string>& creator() { return creator_; }
    Document<std::string> const& creator() const { return creator_; }
    /// Empty without the attribute.
    /// \throws std::bad_variant_access for a malformed one
    std::optional<boost::uuids::uuid> UUID() const;
    /// Take a random UUID.
    void reset_UUID();

    /// Remove all but the declarations of the schema.
    void clear();
    void resolve_references() override;

private:
    void copy_parts_without_class(OME const& other);

    Document<std::string> namespace_{*this, "xmlns"};
    Document<std::string> instance_namespace_{*this, "xmlns:xsi"};
    Document<std::string> schema_location_{*this, "xsi:schemaLocation"};
    Document<std::string> UUID_{*this, "UUID"};
    Document<std::string> creator_{*this, "Creator"};
    Array_of<Project> projects_{content, "Project"};
    Array_of<Dataset> datasets_{content, "Dataset"};
    Array_of<Folder> folders_{content, "Folder"};
    One_of<Structured_Annotations> annotations_{content, "StructuredAnnotations"};
};

template <>
VEXA_API Array_of<Dataset>* OME::array<Dataset>();
template <>
VEXA_API Array_of<Folder>* OME::array<Folder>();
template <>
VEXA_API Array_of<Dye>* OME::array<Dye>();
template <>
VEXA_API Array_of<Band>* OME::array<Band>();
template <>
VEXA_API Array_of<Annotation>* OME::array<Annotation>();
template <>
VEXA_API Array_of<Dye>& OME::provide_array<Dye>();
template <>
VEXA_API Array_of<Band>& OME::provide_array<Band>();

extern template class One_of<OME>;

} // namespace OME
