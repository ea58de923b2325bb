#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Channel.h>

namespace OME {

/// What a channel adds to the schema. The channel's functions say what the fields mean.
class VEXA_API Channel::Extension : public Extension_Annotation {
public:
    /// How a light source is pulsed.
    class VEXA_API Other_Light_Source_Settings : public Element<Object_of_Documents> {
    public:
        Other_Light_Source_Settings(JSON::Proxy& parent, Position position);

        std::optional<double> repetition_rate_in_hertz() const;
        void set_repetition_rate(Quantity<Frequency> rate);
        std::optional<double> delay_in_seconds() const;
        void set_delay(Quantity<Time> delay);

    private:
        Document<JSON::Number> repetition_rate_{*this, "repetition_rate"};
        Document<std::string, JSON::Enum<Frequency>> repetition_rate_unit_{*this, "repetition_rate_unit"};
        Document<JSON::Number> delay_{*this, "delay"};
        Document<std::string, JSON::Enum<Time>> delay_unit_{*this, "delay_unit"};
    };

    class VEXA_API Excitation : public Element<Object_of_Documents> {
    public:
        Excitation(JSON::Proxy& parent, Position position);

        One_of<Other_Light_Source_Settings> other_light_source_settings{content,
                                                                        "other_light_source_settings"};
    };

    class VEXA_API Deactivation : public Element<Object_of_Documents> {
    public:
        Deactivation(JSON::Proxy& parent, Position position);

        /// The wavelength that is set here, or else that of the light source as it is set.
        std::optional<double> wavelength_in_meters() const;
        void set_wavelength(Quantity<Length> wavelength);
        /// Refer to the light source, and take its wavelength.
        void set_light_source(Light_Source const& source);

    private:
        Document<JSON::Number> wavelength_{*this, "wavelength"};
        Document<std::string, JSON::Enum<Length>> wavelength_unit_{*this, "wavelength_unit"};

    public:
        Document<JSON::Number> z_component{*this, "z_component"};
        One_of<Light_Source_Settings> light_source_settings{content, "LightSourceSettings"};
        One_of<Other_Light_Source_Settings> other_light_source_settings{content,
                                                                        "other_light_source_settings"};
    };

    class VEXA_API Gating : public Element<Object_of_Documents> {
    public:
        Gating(JSON::Proxy& parent, Position position);

        std::optional<double> delay_in_seconds() const;
        void set_delay(Quantity<Time> delay);
        std::optional<double> width_in_seconds() const;
        void set_width(Quantity<Time> width);

    private:
        Document<JSON::Number> delay_{*this, "delay"};
        Document<JSON::Number> width_{*this, "width"};
        Document<std::string, JSON::Enum<Time>> delay_unit_{*this, "delay_unit"};
        Document<std::string, JSON::Enum<Time>> width_unit_{*this, "width_unit"};
    };

    class VEXA_API Line : public Element<Object_of_Documents> {
    public:
        Line(JSON::Proxy& parent, Position position);

        Document<long long> accumulation{*this, "accumulation"};
    };

    class VEXA_API RESCUE : public Element<Object_of_Documents> {
    public:
        RESCUE(JSON::Proxy& parent, Position position);

        /// \note Deliberate: the key starts with a blank, which files show in front of the attribute. XML has no
        /// such names, so that readers see the name without it; here it gets its blank again.
        Document<JSON::Number> significance_level{with_blank_in_key(*this), " significance_level"};
        Document<long long> signal_level_threshold{*this, "signal_level_threshold"};
        Document<long long> interpolation_threshold{*this, "interpolation_threshold"};

    private:
        static JSON::Proxy& with_blank_in_key(JSON::Proxy& element);
    };

    class VEXA_API Detector_Element : public Element<Object_of_Documents> {
    public:
        Detector_Element(JSON::Proxy& parent, Position position);

        std::optional<double> offset_x_in_meters() const;
        std::optional<double> offset_y_in_meters() const;
        void set_offset(Quantity<Length> x, Quantity<Length> y);

    private:
        Document<JSON::Number> offset_x_{*this, "offset_x"};
        Document<JSON::Number> offset_y_{*this, "offset_y"};
        Document<std::string, JSON::Enum<Length>> offset_x_unit_{*this, "offset_x_unit"};
        Document<std::string, JSON::Enum<Length>> offset_y_unit_{*this, "offset_y_unit"};
    };

    class VEXA_API Other_Detector_Settings : public Element<Object_of_Documents> {
    public:
        Other_Detector_Settings(JSON::Proxy& parent, Position position);

        Array_of<Detector_Element> detector_elements{content, "detector_elements"};
    };

    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);
    void resolve_references() override;

    Document<std::string, JSON::Enum_Range<Acquisition_Mode, Acquisition_Mode::confocal_RESCUE,
                                           Acquisition_Mode::STED_probing_with_STED_probing>>
        other_acquisition_mode{extension_.element(), "other_acquisition_mode"};
    One_of<Reference<Dye>> dye_reference{extension_.content, "dye_reference"};
    One_of<Reference<Band>> band_reference{extension_.content, "band_reference"};
    One_of<Text> color_map{extension_.content, "color_map"};
    One_of<Text> overlay_color_map{extension_.content, "overlay_color_map"};
    One_of<Excitation> excitation{extension_.content, "excitation"};
    One_of<Deactivation> deactivation{extension_.content, "deactivation"};
    One_of<Gating> gating{extension_.content, "gating"};
    One_of<Line> line{extension_.content, "line"};
    One_of<RESCUE> rescue{extension_.content, "RESCUE"};
    One_of<Other_Detector_Settings> other_detector_settings{extension_.content, "other_detector_settings"};
};

extern template class One_of<Channel::Extension::Other_Light_Source_Settings>;
extern template class One_of<Channel::Extension::Excitation>;
extern template class One_of<Channel::Extension::Deactivation>;
extern template class One_of<Channel::Extension::Gating>;
extern template class One_of<Channel::Extension::Line>;
extern template class One_of<Channel::Extension::RESCUE>;
extern template class Array_of<Channel::Extension::Detector_Element>;
extern template class One_of<Channel::Extension::Other_Detector_Settings>;
extern template class One_of<Reference<Dye>>;
extern template class One_of<Reference<Band>>;

} // namespace OME
