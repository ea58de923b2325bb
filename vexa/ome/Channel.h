#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Band.h>
#include <vexa/ome/Channel_Types.h>
#include <vexa/ome/Detector_Settings.h>
#include <vexa/ome/Dye.h>
#include <vexa/ome/Light_Path.h>
#include <vexa/ome/Light_Source_Settings.h>
#include <vexa/ome/Reference.h>

namespace OME {

namespace detail {
class Annotation_Users;
}

extern template class Element_with_ID<Channel>;

/// One channel of an image: how its light was made, filtered and detected, what it shows and how it is shown.
///
/// What the schema doesn't know stands in an annotation, Channel::Extension, which the first write makes.
/// Without it, and for whatever else is missing, results are empty. Setters of quantities throw
/// std::bad_variant_access for a unit without a name, before anything changes; numbers that are not finite are
/// stored, but are no quantity in meters, seconds or hertz.
class VEXA_API Channel : public Element_with_ID<Channel> {
public:
    using Acquisition_Mode = Channel_Acquisition_Mode;
    using Contrast_Method = Channel_Contrast_Method;
    using Illumination_Type = Channel_Illumination_Type;
    class VEXA_API Extension;

    Channel(JSON::Proxy& parent, Position position);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<long long>& samples_per_pixel() { return samples_per_pixel_; }
    Document<long long> const& samples_per_pixel() const { return samples_per_pixel_; }
    /// The name of the dye.
    Document<std::string>& fluor() { return fluor_; }
    Document<std::string> const& fluor() const { return fluor_; }
    /// The fraction of light that a neutral density filter lets through.
    Document<JSON::Number>& ND_filter() { return ND_filter_; }
    Document<JSON::Number> const& ND_filter() const { return ND_filter_; }
    Document<long long>& pockel_cell_setting() { return pockel_cell_setting_; }
    Document<long long> const& pockel_cell_setting() const { return pockel_cell_setting_; }

    /// Red, green, blue and alpha, from the highest byte down; opaque white by default.
    /// \throws std::bad_variant_access for a number that is no signed integer of 32 bits
    unsigned color_in_RGBA() const;
    void set_color_in_RGBA(unsigned color);
    /// The same colour with alpha in the highest byte.
    unsigned color_in_ARGB() const;
    void set_color_in_ARGB(unsigned color);

    /// Empty if there is none.
    /// \throws std::bad_variant_access for a text that is no name, which an acquisition mode becomes only
    /// behind its back
    std::optional<Acquisition_Mode> acquisition_mode() const;
    std::optional<Contrast_Method> contrast_method() const;
    std::optional<Illumination_Type> illumination_type() const;
    /// Store an enumerator. The schema sees `other` for a mode that it doesn't know.
    /// \throws std::bad_variant_access for an enumerator without a name, before anything changes
    void set_acquisition_mode(Acquisition_Mode mode);
    void set_contrast_method(Contrast_Method method) { contrast_method_.set(method); }
    void set_illumination_type(Illumination_Type type) { illumination_type_.set(type); }

    /// A number without a unit is one in µm.
    std::optional<double> pinhole_size_in_meters() const;
    void set_pinhole_size(Quantity<Length> size);
    /// The wavelength of the channel, or else that of its light source as it is set. A number without a unit
    /// is one in nm, here and below.
    std::optional<double> excitation_wavelength_in_meters() const;
    void set_excitation_wavelength(Quantity<Length> wavelength);
    std::optional<double> emission_wavelength_in_meters() const;
    void set_emission_wavelength(Quantity<Length> wavelength);

    /// Null if there is none.
    Light_Source const* light_source() const { return light_source_settings_.referent(); }
    One_of<Light_Source_Settings>& light_source_settings() { return light_source_settings_; }
    One_of<Light_Source_Settings> const& light_source_settings() const { return light_source_settings_; }
    /// Refer to the light source, and take its wavelength, if it has one, as the excitation wavelength; the
    /// one that is set in the light source settings comes before that.
    /// \throws Invalid_Argument "Unknown light source '{}'."
    void set_light_source(JSON::Value const& light_source_id);
    /// Null if there is none.
    Detector const* detector() const { return detector_settings_.referent(); }
    One_of<Detector_Settings>& detector_settings() { return detector_settings_; }
    One_of<Detector_Settings> const& detector_settings() const { return detector_settings_; }
    /// \throws Invalid_Argument "Unknown detector '{}'."
    void set_detector(JSON::Value const& detector_id);
    One_of<Light_Path>& light_path() { return light_path_; }
    One_of<Light_Path> const& light_path() const { return light_path_; }

    /// What the channel shows; null if there is none.
    Dye* dye();
    Dye const* dye() const;
    Band* band();
    Band const* band() const;
    /// Refer to a dye, or to a band, and name the dye, or the first dye of the band, as the fluor. A band
    /// without dyes leaves the fluor as it is.
    /// \throws Invalid_Argument "Unknown dye '{}'." and "Unknown band '{}'."
    void set_dye(JSON::Value const& dye_id);
    void set_band(JSON::Value const& band_id);
    /// Remove the reference and the fluor.
    void clear_dye();
    void clear_band();

    /// As those of a dye.
    JSON::Value color_map() const;
    void set_color_map(JSON::Value const& map);
    void reset_color_map();
    JSON::Value overlay_color_map() const;
    void set_overlay_color_map(JSON::Value const& map);
    void reset_overlay_color_map();

    /// How the light source is pulsed for this channel.
    std::optional<double> excitation_repetition_rate_in_hertz() const;
    void set_excitation_repetition_rate(Quantity<Frequency> rate);
    std::optional<double> excitation_delay_in_seconds() const;
    void set_excitation_delay(Quantity<Time> delay);

    /// The light that drives molecules back to the ground state. Its light source and wavelength behave as
    /// those of the excitation.
    Light_Source const* deactivation_light_source() const;
    void set_deactivation_light_source(JSON::Value const& light_source_id);
    /// The number has no default unit.
    std::optional<double> deactivation_wavelength_in_meters() const;
    void set_deactivation_wavelength(Quantity<Length> wavelength);
    /// How much of it goes into the shape that acts along z, which may be not finite.
    std::optional<double> deactivation_z_component() const;
    void set_deactivation_z_component(double component);
    std::optional<double> deactivation_repetition_rate_in_hertz() const;
    void set_deactivation_repetition_rate(Quantity<Frequency> rate);
    std::optional<double> deactivation_delay_in_seconds() const;
    void set_deactivation_delay(Quantity<Time> delay);

    /// When, behind a pulse, detection starts, and for how long it lasts.
    std::optional<double> gating_delay_in_seconds() const;
    void set_gating_delay(Quantity<Time> delay);
    std::optional<double> gating_width_in_seconds() const;
    void set_gating_width(Quantity<Time> width);

    /// How often each line is scanned and summed up.
    std::optional<long long> line_accumulation() const;
    void set_line_accumulation(int accumulation);

    /// When the light goes off before its time, since enough or too little was seen. The level may be not
    /// finite.
    std::optional<double> RESCUE_significance_level() const;
    void set_RESCUE_significance_level(double level);
    std::optional<long long> signal_level_threshold() const;
    void set_signal_level_threshold(int threshold);
    std::optional<long long> interpolation_threshold() const;
    void set_interpolation_threshold(int threshold);

    /// Where the elements of the detector stand, along x and y; NaN for what is missing.
    std::vector<std::pair<double, double>> detector_element_offsets_in_meters() const;
    void add_detector_element(Quantity<Length> x, Quantity<Length> y);

    void resolve_references() override;

    /// Bring what earlier releases wrote up to date; see Root::update(). Throws as Image::update_1() does, and
    /// as set_light_source().
    /// \return whether there was something
    bool update_1();
    bool update_1(detail::Annotation_Users& users); ///< with counts that all images of a document share
    void update_2();

private:
    bool take_over_old(JSON::Value const& contents);
    Dye const* shown_dye();
    template <typename Unit>
    Extension& extension_for(Quantity<Unit> quantity);

    Document<std::string> name_{*this, "Name"};
    Document<long long> samples_per_pixel_{*this, "SamplesPerPixel"};
    Document<std::string, JSON::Enum<Illumination_Type>> illumination_type_{*this, "IlluminationType"};
    Document<JSON::Number> pinhole_size_{*this, "PinholeSize"};
    Document<std::string, JSON::Enum<Length>, JSON::Default<Length::um>> pinhole_size_unit_{
        *this, "PinholeSizeUnit"};
    Document<std::string,
             JSON::Enum_Range<Acquisition_Mode, Acquisition_Mode::wide_field, Acquisition_Mode::other>>
        acquisition_mode_{*this, "AcquisitionMode"};
    Document<std::string, JSON::Enum<Contrast_Method>> contrast_method_{*this, "ContrastMethod"};
    Document<JSON::Number> excitation_wavelength_{*this, "ExcitationWavelength"};
    Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>> excitation_wavelength_unit_{
        *this, "ExcitationWavelengthUnit"};
    Document<JSON::Number> emission_wavelength_{*this, "EmissionWavelength"};
    Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>> emission_wavelength_unit_{
        *this, "EmissionWavelengthUnit"};
    Document<std::string> fluor_{*this, "Fluor"};
    Document<JSON::Number> ND_filter_{*this, "NDFilter"};
    Document<long long> pockel_cell_setting_{*this, "PockelCellSetting"};
    Document<long long, JSON::Default<-1>> color_{*this, "Color"};
    One_of<Light_Source_Settings> light_source_settings_{content, "LightSourceSettings"};
    One_of<Detector_Settings> detector_settings_{content, "DetectorSettings"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
    One_of<Light_Path> light_path_{content, "LightPath"};
};

extern template class Reference<Channel::Extension>;
extern template class Array_of<Channel>;

} // namespace OME
