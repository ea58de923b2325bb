#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Detector.h>
#include <vexa/ome/Filter.h>
#include <vexa/ome/Light_Source.h>
#include <vexa/ome/Microscope.h>
#include <vexa/ome/Objective.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Instrument>;

/// A microscope and its parts. Channels and images refer to the parts.
class VEXA_API Instrument : public Element_with_ID<Instrument> {
public:
    class Extension;

    Instrument(JSON::Proxy& parent, Position position);

    One_of<Microscope>& microscope() { return microscope_; }
    One_of<Microscope> const& microscope() const { return microscope_; }
    Array_of<Light_Source>& light_sources() { return light_sources_; }
    Array_of<Light_Source> const& light_sources() const { return light_sources_; }
    Array_of<Detector>& detectors() { return detectors_; }
    Array_of<Detector> const& detectors() const { return detectors_; }
    Array_of<Objective>& objectives() { return objectives_; }
    Array_of<Objective> const& objectives() const { return objectives_; }
    Array_of<Filter>& filters() { return filters_; }
    Array_of<Filter> const& filters() const { return filters_; }

    /// The wavelength at which the size of the pinhole is one Airy unit.
    std::optional<double> pinhole_reference_wavelength_in_meters() const;
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    void set_pinhole_reference_wavelength(Quantity<Length> wavelength);

    void resolve_references() override;

private:
    One_of<Microscope> microscope_{content, "Microscope"};
    Array_of<Light_Source> light_sources_{content, "Laser"};
    Array_of<Detector> detectors_{content, "Detector"};
    Array_of<Objective> objectives_{content, "Objective"};
    Array_of<Filter> filters_{content, "Filter"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
};

/// What an instrument adds to the schema.
class VEXA_API Instrument::Extension : public Extension_Annotation {
public:
    class VEXA_API Pinhole : public Element<Object_of_Documents> {
    public:
        Pinhole(JSON::Proxy& parent, Position position);

        Document<JSON::Number> reference_wavelength{*this, "reference_wavelength"};
        Document<std::string, JSON::Enum<Length>> reference_wavelength_unit{*this,
                                                                            "reference_wavelength_unit"};
    };

    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    One_of<Pinhole> pinhole{extension_.content, "pinhole"};
};

extern template class One_of<Instrument::Extension::Pinhole>;
extern template class Reference<Instrument::Extension>;
extern template class Array_of<Instrument>;
extern template class Reference<Instrument>;

} // namespace OME
