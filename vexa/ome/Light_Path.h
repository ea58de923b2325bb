#pragma once

#include <optional>
#include <string>
#include <utility>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Filter.h>
#include <vexa/ome/Reference.h>
#include <vexa/ome/Transmittance_Range.h>

namespace OME {

/// The filters of one channel, and the aberrations on the way.
///
/// Filters are shared by channels; the edges that a tuneable one has in this channel stand in settings beside
/// it, one for each filter and in the same order.
class VEXA_API Light_Path : public Element<Object_of_Documents> {
public:
    class VEXA_API Extension;

    Light_Path(JSON::Proxy& parent, Position position);

    Array_of<Reference<Filter const>> const& excitation_filters() const { return excitation_filters_; }
    Array_of<Reference<Filter const>> const& emission_filters() const { return emission_filters_; }
    /// Append a filter, with settings of its own.
    /// \throws Invalid_Argument "Unknown filter '{}'."
    void add_excitation_filter(JSON::Value const& filter_id);
    void add_emission_filter(JSON::Value const& filter_id);

    /// The edges of the first emission filter: what is set here, or else those of the filter itself. Empty
    /// without an emission filter.
    std::optional<double> emission_cut_in_in_meters() const;
    std::optional<double> emission_cut_out_in_meters() const;
    /// Both edges; empty unless both are there.
    std::optional<std::pair<double, double>> emission_band_in_meters() const;
    /// Set the edges in this path; the filter stays as it is.
    /// \throws std::bad_variant_access for a unit without a name, before anything changes
    /// \throws Invalid_Argument "No emission filter."
    void set_emission_cut_in(Quantity<Length> edge);
    void set_emission_cut_out(Quantity<Length> edge);
    void set_emission_band(Quantity<Length> cut_in, Quantity<Length> cut_out);

    std::optional<double> primary_spherical_aberration() const;
    void set_primary_spherical_aberration(double aberration);
    /// By how much the aberration grows with depth.
    std::optional<double> primary_spherical_aberration_slope_z() const;
    void set_primary_spherical_aberration_slope_z(double slope);

    void resolve_references() override;

private:
    using Edge = std::optional<double> (Transmittance_Range::*)() const;
    std::optional<double> emission_edge(Edge edge) const;
    Transmittance_Range& provide_emission_range();

    Array_of<Reference<Filter const>> excitation_filters_{content, "ExcitationFilterRef"};
    Array_of<Reference<Filter const>> emission_filters_{content, "EmissionFilterRef"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
};

/// What a light path adds to the schema.
class VEXA_API Light_Path::Extension : public Extension_Annotation {
public:
    /// How one filter is set.
    class VEXA_API Filter_Settings : public Element<Object_of_Documents> {
    public:
        Filter_Settings(JSON::Proxy& parent, Position position);

        One_of<Transmittance_Range> transmittance_range{content, "TransmittanceRange"};
    };

    class VEXA_API Aberrations : public Element<Object_of_Documents> {
    public:
        Aberrations(JSON::Proxy& parent, Position position);

        Document<JSON::Number> primary_spherical{*this, "primary_spherical"};
        Document<JSON::Number> primary_spherical_slope_z{*this, "primary_spherical_slope_z"};
    };

    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    Array_of<Filter_Settings> excitation_filter_settings{extension_.content, "excitation_filter_settings"};
    Array_of<Filter_Settings> emission_filter_settings{extension_.content, "emission_filter_settings"};
    One_of<Aberrations> aberrations{extension_.content, "aberrations"};
};

extern template class Array_of<Light_Path::Extension::Filter_Settings>;
extern template class One_of<Light_Path::Extension::Aberrations>;
extern template class Reference<Light_Path::Extension>;
extern template class One_of<Light_Path>;

} // namespace OME
