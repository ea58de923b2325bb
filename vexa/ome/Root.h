#pragma once

#include <iosfwd>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/OME.h>
#include <vexa/ome/Registry.h>

namespace OME {

/// One metadata document.
///
/// Owns: the tree, the identifiers, and all elements, which are views on the tree. Invariants: elements live
/// no longer than the root; it keeps its address, and is copied by assignment to another root only.
/// Failures: a document that is not as the schema says doesn't open, see the constructor.
/// Threads: a root and all its elements belong to one thread at a time.
class VEXA_API Root : public Object_of_Documents {
    Registry registry_; // outlives the elements, which enter their identifiers

public:
    /// Read a document; an empty text gives a new one.
    ///
    /// \note Deliberate: a document with another root element than "OME" gives an empty one, which can't be
    /// written as long as the other element stays beside it. A text that ends early gives what was read so
    /// far.
    /// \throws JSON::XML_Reader::Unexpected for a fault in the XML
    /// \throws std::bad_variant_access for an attribute of the wrong form
    /// \throws Invalid_Argument "Incomplete data: missing {}." for a reference to a missing element
    /// \throws Invalid_Data "Invalid step modulo Z." or "Invalid range modulo Z." (C, T) for an image whose
    /// axis is divided into a number of steps that is none
    /// \throws JSON::Bad_Access for text where an image has children; and what update() throws
    explicit Root(std::string const& xml);
    /// Take over all that \p other holds and that has a class, and resolve the references.
    Root& operator=(Root const& other);

    void resolve_references() override;

    /// Bring what earlier releases wrote up to date, in place; reading does it. Documents of this release stay as
    /// they are.
    ///
    /// update_1() moves what stood in annotations without a class into the extensions of the first project, of
    /// images and of their channels. Annotations are known by their contents; others are left alone.
    /// \note Deliberate: an image without such data ends it, unless the project had some.
    /// update_2() makes a band for each dye of a first project that has dyes and no bands, and ties channels to
    /// the band that stands for their dye.
    /// \throws as Project::update_1() and Image::update_1() do
    void update();
    void update_1();
    void update_2();

    /// \throws std::invalid_argument as JSON::write_to_XML() does
    void write_XML(std::ostream& stream) const;
    std::string XML() const;

    /// The element with this identifier, such as "Dye:1".
    /// \throws Invalid_Argument "Unknown dye '{}'."
    Dye& find_dye(JSON::Value const& id);
    Dye const& find_dye(JSON::Value const& id) const;
    /// \throws Invalid_Argument "Unknown band '{}'."
    Band& find_band(JSON::Value const& id);
    Band const& find_band(JSON::Value const& id) const;
    /// \throws Invalid_Argument "Unknown light source '{}'."
    Light_Source& find_light_source(JSON::Value const& id);
    Light_Source const& find_light_source(JSON::Value const& id) const;
    /// \throws Invalid_Argument "Unknown detector '{}'."
    Detector& find_detector(JSON::Value const& id);
    Detector const& find_detector(JSON::Value const& id) const;
    /// \throws Invalid_Argument "Unknown objective '{}'."
    Objective& find_objective(JSON::Value const& id);
    Objective const& find_objective(JSON::Value const& id) const;
    /// \throws Invalid_Argument "Unknown filter '{}'."
    Filter& find_filter(JSON::Value const& id);
    Filter const& find_filter(JSON::Value const& id) const;

    Registry& registry() { return registry_; }
    Registry const& registry() const { return registry_; }

    One_of<OME> ome{*this, "OME"};
};

} // namespace OME
