#pragma once

#include <optional>
#include <string>

#include <boost/uuid/uuid.hpp>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Folder.h>
#include <vexa/ome/Image.h>
#include <vexa/ome/Instrument.h>
#include <vexa/ome/Project.h>
#include <vexa/ome/ROI.h>

namespace OME {

/// The top element of a document.
///
/// What the schema has and this library has no class for stays in the document as it is.
class VEXA_API OME : public Element<Object_of_Documents> {
public:
    /// Declares the release 2016-06 of the schema, whatever the document declared before.
    OME(JSON::Proxy& parent, Position position);
    /// Take over all that \p other holds and that has a class. The UUID stays if \p other has none.
    /// \throws std::runtime_error "Invalid UUID string at position {}" for a malformed UUID, before anything
    /// changes
    OME& operator=(OME const& other);

    Array_of<Project>& projects() { return projects_; }
    Array_of<Project> const& projects() const { return projects_; }
    Array_of<Dataset>& datasets() { return datasets_; }
    Array_of<Dataset> const& datasets() const { return datasets_; }
    Array_of<Folder>& folders() { return folders_; }
    Array_of<Folder> const& folders() const { return folders_; }
    Array_of<Instrument>& instruments() { return instruments_; }
    Array_of<Instrument> const& instruments() const { return instruments_; }
    Array_of<Image>& images() { return images_; }
    Array_of<Image> const& images() const { return images_; }
    Array_of<ROI>& ROIs() { return ROIs_; }
    Array_of<ROI> const& ROIs() const { return ROIs_; }
    Array_of<Annotation>& annotations() { return annotations_.annotations(); }
    Array_of<Annotation> const& annotations() const { return annotations_.annotations(); }

    /// Null if there is none.
    Project* first_project() { return projects_.empty() ? nullptr : &projects_.front(); }
    Project const* first_project() const { return projects_.empty() ? nullptr : &projects_.front(); }
    Folder* first_folder() { return folders_.empty() ? nullptr : &folders_.front(); }
    Folder const* first_folder() const { return folders_.empty() ? nullptr : &folders_.front(); }
    Instrument* first_instrument() { return instruments_.empty() ? nullptr : &instruments_.front(); }
    Instrument const* first_instrument() const {
        return instruments_.empty() ? nullptr : &instruments_.front();
    }
    /// The first one, made if there is none.
    Project& provide_first_project();
    Folder& provide_first_folder();
    Instrument& provide_first_instrument();

    /// The dyes and bands of the first project; null without a project, or without any.
    Array_of<Dye>* dyes();
    Array_of<Dye> const* dyes() const;
    Array_of<Band>* bands();
    Array_of<Band> const* bands() const;
    Array_of<Dye>& provide_dyes() { return provide_first_project().provide_dyes(); }
    Array_of<Band>& provide_bands() { return provide_first_project().provide_bands(); }

    /// The parts of the first instrument; null without an instrument.
    Array_of<Light_Source>* light_sources();
    Array_of<Light_Source> const* light_sources() const;
    Array_of<Detector>* detectors();
    Array_of<Detector> const* detectors() const;
    Array_of<Objective>* objectives();
    Array_of<Objective> const* objectives() const;
    Array_of<Filter>* filters();
    Array_of<Filter> const* filters() const;
    Array_of<Light_Source>& provide_light_sources() { return provide_first_instrument().light_sources(); }
    Array_of<Detector>& provide_detectors() { return provide_first_instrument().detectors(); }
    Array_of<Objective>& provide_objectives() { return provide_first_instrument().objectives(); }
    Array_of<Filter>& provide_filters() { return provide_first_instrument().filters(); }

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
    Document<std::string> namespace_{*this, "xmlns"};
    Document<std::string> instance_namespace_{*this, "xmlns:xsi"};
    Document<std::string> schema_location_{*this, "xsi:schemaLocation"};
    Document<std::string> UUID_{*this, "UUID"};
    Document<std::string> creator_{*this, "Creator"};
    Array_of<Project> projects_{content, "Project"};
    Array_of<Dataset> datasets_{content, "Dataset"};
    Array_of<Folder> folders_{content, "Folder"};
    Array_of<Instrument> instruments_{content, "Instrument"};
    Array_of<Image> images_{content, "Image"};
    One_of<Structured_Annotations> annotations_{content, "StructuredAnnotations"};
    Array_of<ROI> ROIs_{content, "ROI"};
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
VEXA_API Array_of<Instrument>* OME::array<Instrument>();
template <>
VEXA_API Array_of<Light_Source>* OME::array<Light_Source>();
template <>
VEXA_API Array_of<Detector>* OME::array<Detector>();
template <>
VEXA_API Array_of<Objective>* OME::array<Objective>();
template <>
VEXA_API Array_of<Filter>* OME::array<Filter>();
template <>
VEXA_API Array_of<Image>* OME::array<Image>();
template <>
VEXA_API Array_of<ROI>* OME::array<ROI>();
template <>
VEXA_API Array_of<Annotation>* OME::array<Annotation>();
template <>
VEXA_API Array_of<Dye>& OME::provide_array<Dye>();
template <>
VEXA_API Array_of<Band>& OME::provide_array<Band>();

extern template class One_of<OME>;

} // namespace OME
