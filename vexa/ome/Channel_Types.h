#pragma once

#include <vexa/foundation/export.h>
#include <vexa/json/String_Cast.h>

namespace OME {

/// The modes up to `other` are those of the schema.
enum class VEXA_API Channel_Acquisition_Mode {
    wide_field,
    laser_scanning_confocal_microscopy,
    spinning_disk_confocal,
    slit_scan_confocal,
    multi_photon_microscopy,
    structured_illumination,
    single_molecule_imaging,
    total_internal_reflection,
    fluorescence_lifetime,
    spectral_imaging,
    fluorescence_correlation_spectroscopy,
    near_field_scanning_optical_microscopy,
    second_harmonic_generation_imaging,
    PALM,
    STORM,
    STED,
    TIRF,
    FSM,
    LCM,
    other,
    confocal_RESCUE,
    STED_RESCUE,
    confocal_probing,
    STED_probing,
    STED_with_confocal_probing,
    STED_with_STED_probing,
    STED_RESCUE_with_confocal_probing,
    STED_RESCUE_with_STED_probing,
    STED_probing_with_confocal_probing,
    STED_probing_with_STED_probing
};

enum class VEXA_API Channel_Contrast_Method {
    brightfield,
    phase,
    DIC,
    Hoffman_modulation,
    oblique_illumination,
    polarized_light,
    darkfield,
    fluorescence,
    other
};

enum class VEXA_API Channel_Illumination_Type { transmitted, epifluorescence, oblique, non_linear, other };

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Channel_Acquisition_Mode, 0>
    : JSON::Enum_Cast<OME::Channel_Acquisition_Mode> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Channel_Contrast_Method, 0>
    : JSON::Enum_Cast<OME::Channel_Contrast_Method> {
    static Map const& map();
};
template <>
struct VEXA_API JSON::String_Cast<OME::Channel_Illumination_Type, 0>
    : JSON::Enum_Cast<OME::Channel_Illumination_Type> {
    static Map const& map();
};
