#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Dye>;

/// A fluorophore: how it shines, and how it is shown.
///
/// A colour map is a map with one entry: the name of the colour, with a list of nodes. A node is a list of
/// four numbers: the position from 0 to 1, and red, green and blue from 0 to 255.
class VEXA_API Dye : public Element_with_ID<Dye> {
public:
    Dye(JSON::Proxy& parent, Position position);

    /// "blue", "lime", "cyan", "red", "magenta", "orange", "yellow" or "white", or else "unknown".
    /// \param argb alpha, which counts, red, green and blue, from the highest byte down
    static std::string color_name(unsigned argb);
    static JSON::Value RGB_node(double position, unsigned argb);
    /// A ramp from black to the colour. Unless it is white or an overlay, the colour sits at mid level and the
    /// ramp goes on to white.
    static JSON::Value color_map(unsigned argb, bool overlay);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }

    std::optional<double> lifetime_in_seconds() const;
    void set_lifetime(Quantity<Time> lifetime);
    std::optional<double> emission_wavelength_in_meters() const;
    void set_emission_wavelength(Quantity<Length> wavelength);

    /// The colour maps and the record, any JSON; null if there is none.
    /// \throws as JSON::parse() for a text that is no JSON
    JSON::Value color_map() const { return JSON_in(color_map_.content); }
    void set_color_map(JSON::Value const& map) { store_JSON(map, color_map_.content); }
    void reset_color_map() { color_map_.reset(); }
    JSON::Value overlay_color_map() const { return JSON_in(overlay_color_map_.content); }
    void set_overlay_color_map(JSON::Value const& map) { store_JSON(map, overlay_color_map_.content); }
    void reset_overlay_color_map() { overlay_color_map_.reset(); }
    JSON::Value record() const { return JSON_in(record_.content); }
    void set_record(JSON::Value const& record) { store_JSON(record, record_.content); }

private:
    Document<std::string> name_{*this, "name"};
    One_of<Text> description_{content, "description"};
    Document<JSON::Number> emission_wavelength_{*this, "emission_wavelength"};
    Document<std::string, JSON::Enum<Length>> emission_wavelength_unit_{*this, "emission_wavelength_unit"};
    Document<JSON::Number> lifetime_{*this, "lifetime"};
    Document<std::string, JSON::Enum<Time>> lifetime_unit_{*this, "lifetime_unit"};
    One_of<Text> color_map_{content, "color_map"};
    One_of<Text> overlay_color_map_{content, "overlay_color_map"};
    One_of<Text> record_{content, "record"};
};

extern template class Array_of<Dye>;
extern template class Reference<Dye>;
extern template class Array_of<Reference<Dye>>;

} // namespace OME
