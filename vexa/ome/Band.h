#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Dye.h>

namespace OME {

enum class VEXA_API Band_Type { plain, TCSPC };

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Band_Type, 0> : JSON::Enum_Cast<OME::Band_Type> {
    static Map const& map();
};

namespace OME {

extern template class Element_with_ID<Band>;

/// A band of wavelengths or lifetimes, defined by one or more dyes.
class VEXA_API Band : public Element_with_ID<Band> {
public:
    using Type = Band_Type;

    Band(JSON::Proxy& parent, Position position);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }
    std::optional<Type> type() const { return enumerator_in<Type>(type_); }
    void set_type(Type type) { type_.set(type); }

    /// The first dye, or null.
    Dye const* first_dye() const;
    /// \throws Invalid_Argument "Unknown dye '{}'."
    void add_dye(JSON::Value const& dye_id);
    /// The wavelength of the band, or else that of the first dye.
    std::optional<double> emission_wavelength_in_meters() const;
    void set_emission_wavelength(Quantity<Length> wavelength);

    /// As those of a dye.
    JSON::Value color_map() const { return JSON_in(color_map_.content); }
    void set_color_map(JSON::Value const& map) { store_JSON(map, color_map_.content); }
    void reset_color_map() { color_map_.reset(); }
    JSON::Value overlay_color_map() const { return JSON_in(overlay_color_map_.content); }
    void set_overlay_color_map(JSON::Value const& map) { store_JSON(map, overlay_color_map_.content); }
    void reset_overlay_color_map() { overlay_color_map_.reset(); }

    void resolve_references() override;

private:
    Array_of<Reference<Dye>> dyes_{content, "dye_reference"};
    Document<std::string> name_{*this, "name"};
    One_of<Text> description_{content, "description"};
    Document<std::string, JSON::Enum<Type>> type_{*this, "type"};
    Document<JSON::Number> emission_wavelength_{*this, "emission_wavelength"};
    Document<std::string, JSON::Enum<Length>> emission_wavelength_unit_{*this, "emission_wavelength_unit"};
    One_of<Text> color_map_{content, "color_map"};
    One_of<Text> overlay_color_map_{content, "overlay_color_map"};
};

extern template class Array_of<Band>;
extern template class Reference<Band>;

} // namespace OME
