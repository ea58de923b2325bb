#pragma once

#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/One_of.h>

namespace OME {

extern template class Manufacturer_Specification_with_ID<void>;

/// The body of a microscope.
class VEXA_API Microscope : public Manufacturer_Specification_with_ID<void> {
public:
    Microscope(JSON::Proxy& parent, Position position);

    /// Free text, such as "Inverted".
    Document<std::string>& type() { return type_; }
    Document<std::string> const& type() const { return type_; }

private:
    Document<std::string> type_{*this, "Type"};
};

extern template class One_of<Microscope>;

} // namespace OME
