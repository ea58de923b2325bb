#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Reference.h>

namespace OME {

/// The types up to `other` are those of the schema.
enum class VEXA_API Detector_Type {
    CCD,
    intensified_CCD,
    analog_video,
    PMT,
    photodiode,
    spectroscopy,
    lifetime_imaging,
    correlation_spectroscopy,
    FTIR,
    EMCCD,
    APD,
    CMOS,
    EBCCD,
    other,
    SPAD,
    hybrid_PMT,
    SPAD_array
};

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Detector_Type, 0> : JSON::Enum_Cast<OME::Detector_Type> {
    static Map const& map();
};

namespace OME {

extern template class Element_with_ID<Detector>;
extern template class Manufacturer_Specification_with_ID<Detector>;

/// A detector of light.
class VEXA_API Detector : public Manufacturer_Specification_with_ID<Detector> {
public:
    using Type = Detector_Type;
    class Extension;

    Detector(JSON::Proxy& parent, Position position);

    /// Empty if there is none.
    /// \throws std::bad_variant_access if something that is no name was set behind its back
    std::optional<Type> type() const;
    /// Store the type. The schema sees `other` for one that it doesn't know.
    /// \throws std::bad_variant_access for an enumerator without a name, before anything changes
    void set_type(Type type);

    std::optional<double> gain() const { return real_in(gain_); }
    void set_gain(double gain) { store_real(gain, gain_); }
    /// Number and unit, such as "V".
    Document<JSON::Number>& voltage() { return voltage_; }
    Document<JSON::Number> const& voltage() const { return voltage_; }
    Document<std::string>& voltage_unit() { return voltage_unit_; }
    Document<std::string> const& voltage_unit() const { return voltage_unit_; }
    Document<JSON::Number>& offset() { return offset_; }
    Document<JSON::Number> const& offset() const { return offset_; }
    Document<JSON::Number>& zoom() { return zoom_; }
    Document<JSON::Number> const& zoom() const { return zoom_; }
    Document<JSON::Number>& amplification_gain() { return amplification_gain_; }
    Document<JSON::Number> const& amplification_gain() const { return amplification_gain_; }

    std::optional<double> dead_time_in_seconds() const;
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    void set_dead_time(Quantity<Time> dead_time);

    void resolve_references() override;

private:
    Document<JSON::Number> gain_{*this, "Gain"};
    Document<JSON::Number> voltage_{*this, "Voltage"};
    Document<std::string> voltage_unit_{*this, "VoltageUnit"};
    Document<JSON::Number> offset_{*this, "Offset"};
    Document<JSON::Number> zoom_{*this, "Zoom"};
    Document<JSON::Number> amplification_gain_{*this, "AmplificationGain"};
    Document<std::string, JSON::Enum_Range<Type, Type::CCD, Type::other>> type_{*this, "Type"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
};

/// What a detector adds to the schema.
class VEXA_API Detector::Extension : public Extension_Annotation {
public:
    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    Document<std::string, JSON::Enum_Range<Type, Type::SPAD, Type::SPAD_array>> other_type{
        extension_.element(), "other_type"};
    Document<JSON::Number> dead_time{extension_.element(), "dead_time"};
    Document<std::string, JSON::Enum<Time>> dead_time_unit{extension_.element(), "dead_time_unit"};
};

extern template class Reference<Detector::Extension>;
extern template class Array_of<Detector>;
extern template class Reference<Detector const>;

} // namespace OME
