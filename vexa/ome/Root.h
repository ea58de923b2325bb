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
    /// \note Deliberate: a document with another root element than "OME" gives an empty one, which can't be written as long as
    /// the other element stays beside it. A text that ends early gives what was read so far.
    /// \throws JSON::XML_Reader::Unexpected for a fault in the XML
    /// \throws std::bad_variant_access for an attribute of the wrong form
    /// \throws Invalid_Argument "Incomplete data: missing {}." for a reference to a missing element
    explicit Root(std::string const& xml);
    /// Take over all that \p other holds, and resolve the references.
    Root& operator=(Root const& other);

    void resolve_references() override;

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

    Registry& registry() { return registry_; }
    Registry const& registry() const { return registry_; }

    One_of<OME> ome{*this, "OME"};
};

} // namespace OME
