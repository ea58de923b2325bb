#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Reference.h>
#include <vexa/ome/Transmittance_Range.h>

namespace OME {

enum class VEXA_API Filter_Type {
    dichroic,
    long_pass,
    short_pass,
    band_pass,
    multi_pass,
    neutral_density,
    tuneable,
    other
};

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Filter_Type, 0> : JSON::Enum_Cast<OME::Filter_Type> {
    static Map const& map();
};

namespace OME {

extern template class Element_with_ID<Filter>;
extern template class Manufacturer_Specification_with_ID<Filter>;

/// A filter of wavelengths.
class VEXA_API Filter : public Manufacturer_Specification_with_ID<Filter> {
public:
    using Type = Filter_Type;

    Filter(JSON::Proxy& parent, Position position);

    /// Empty if there is none.
    /// \throws std::bad_variant_access for a text that is no name
    std::optional<Type> type() const { return enumerator_in<Type>(type_); }
    void set_type(Type type) { type_.set(type); }
    /// Free text.
    Document<std::string>& filter_wheel() { return filter_wheel_; }
    Document<std::string> const& filter_wheel() const { return filter_wheel_; }

    One_of<Transmittance_Range>& transmittance_range() { return transmittance_range_; }
    One_of<Transmittance_Range> const& transmittance_range() const { return transmittance_range_; }
    /// The edges of the range.
    std::optional<double> cut_in_in_meters() const { return transmittance_range_.cut_in_in_meters(); }
    void set_cut_in(Quantity<Length> edge) { transmittance_range_.set_cut_in(edge); }
    std::optional<double> cut_out_in_meters() const { return transmittance_range_.cut_out_in_meters(); }
    void set_cut_out(Quantity<Length> edge) { transmittance_range_.set_cut_out(edge); }

private:
    Document<std::string, JSON::Enum<Type>> type_{*this, "Type"};
    Document<std::string> filter_wheel_{*this, "FilterWheel"};
    One_of<Transmittance_Range> transmittance_range_{content, "TransmittanceRange"};
};

extern template class Array_of<Filter>;
extern template class Reference<Filter const>;
extern template class Array_of<Reference<Filter const>>;

} // namespace OME
