#include <vexa/ome/Channel_Types.h>

JSON::String_Cast<OME::Channel_Acquisition_Mode, 0>::Map const&
JSON::String_Cast<OME::Channel_Acquisition_Mode, 0>::map() {
    using enum OME::Channel_Acquisition_Mode;
    static Map const names{{wide_field, "WideField"},
                           {laser_scanning_confocal_microscopy, "LaserScanningConfocalMicroscopy"},
                           {spinning_disk_confocal, "SpinningDiskConfocal"},
                           {slit_scan_confocal, "SlitScanConfocal"},
                           {multi_photon_microscopy, "MultiPhotonMicroscopy"},
                           {structured_illumination, "StructuredIllumination"},
                           {single_molecule_imaging, "SingleMoleculeImaging"},
                           {total_internal_reflection, "TotalInternalReflection"},
                           {fluorescence_lifetime, "FluorescenceLifetime"},
                           {spectral_imaging, "SpectralImaging"},
                           {fluorescence_correlation_spectroscopy, "FluorescenceCorrelationSpectroscopy"},
                           {near_field_scanning_optical_microscopy, "NearFieldScanningOpticalMicroscopy"},
                           {second_harmonic_generation_imaging, "SecondHarmonicGenerationImaging"},
                           {PALM, "PALM"},
                           {STORM, "STORM"},
                           {STED, "STED"},
                           {TIRF, "TIRF"},
                           {FSM, "FSM"},
                           {LCM, "LCM"},
                           {other, "Other"},
                           {confocal_RESCUE, "Confocal_RESCUE"},
                           {STED_RESCUE, "STED_RESCUE"},
                           {confocal_probing, "Confocal_Probing"},
                           {STED_probing, "STED_Probing"},
                           {STED_with_confocal_probing, "STED_with_Confocal_Probing"},
                           {STED_with_STED_probing, "STED_with_STED_Probing"},
                           {STED_RESCUE_with_confocal_probing, "STED_RESCUE_with_Confocal_Probing"},
                           {STED_RESCUE_with_STED_probing, "STED_RESCUE_with_STED_Probing"},
                           {STED_probing_with_confocal_probing, "STED_Probing_with_Confocal_Probing"},
                           {STED_probing_with_STED_probing, "STED_Probing_with_STED_Probing"}};
    return names;
}

JSON::String_Cast<OME::Channel_Contrast_Method, 0>::Map const&
JSON::String_Cast<OME::Channel_Contrast_Method, 0>::map() {
    using enum OME::Channel_Contrast_Method;
    static Map const names{{brightfield, "Brightfield"},
                           {phase, "Phase"},
                           {DIC, "DIC"},
                           {Hoffman_modulation, "HoffmanModulation"},
                           {oblique_illumination, "ObliqueIllumination"},
                           {polarized_light, "PolarizedLight"},
                           {darkfield, "Darkfield"},
                           {fluorescence, "Fluorescence"},
                           {other, "Other"}};
    return names;
}

JSON::String_Cast<OME::Channel_Illumination_Type, 0>::Map const&
JSON::String_Cast<OME::Channel_Illumination_Type, 0>::map() {
    using enum OME::Channel_Illumination_Type;
    static Map const names{{transmitted, "Transmitted"},
                           {epifluorescence, "Epifluorescence"},
                           {oblique, "Oblique"},
                           {non_linear, "NonLinear"},
                           {other, "Other"}};
    return names;
}
