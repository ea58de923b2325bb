#include "schema_order.h"

#include <map>
#include <vector>

namespace OME {

namespace {

using Names = std::vector<std::string_view>;

Names const annotation = {"Description", "AnnotationRef", "Value"};
Names const shape = {"Transform", "AnnotationRef"};

std::map<std::string_view, Names> const children = {
    {"OME",
     {"Rights", "BinaryOnly", "Project", "Dataset", "Folder", "Experiment", "Plate", "Screen", "Experimenter",
      "ExperimenterGroup", "Instrument", "Image", "StructuredAnnotations", "ROI"}},
    {"Rights", {"RightsHolder", "RightsHeld"}},

    {"Project", {"Description", "ExperimenterRef", "ExperimenterGroupRef", "DatasetRef", "AnnotationRef"}},
    {"Dataset", {"Description", "ExperimenterRef", "ExperimenterGroupRef", "ImageRef", "AnnotationRef"}},
    {"Folder", {"Description", "FolderRef", "ImageRef", "ROIRef", "AnnotationRef"}},

    {"Experiment", {"Description", "ExperimenterRef", "MicrobeamManipulation"}},
    {"MicrobeamManipulation", {"Description", "ROIRef", "ExperimenterRef", "LightSourceSettings"}},
    {"ExperimenterGroup", {"Description", "ExperimenterRef", "Leader", "AnnotationRef"}},

    {"Plate", {"Description", "Well", "AnnotationRef", "PlateAcquisition"}},
    {"PlateAcquisition", {"Description", "WellSampleRef", "AnnotationRef"}},
    {"Well", {"WellSample", "ReagentRef", "AnnotationRef"}},
    {"Screen", {"Description", "Reagent", "PlateRef", "AnnotationRef"}},
    {"Reagent", {"Description", "AnnotationRef"}},

    {"Instrument",
     {"Microscope", "Laser", "Arc", "Filament", "LightEmittingDiode", "GenericExcitationSource", "Detector",
      "Objective", "FilterSet", "Filter", "Dichroic", "AnnotationRef"}},
    {"Laser", {"AnnotationRef", "Pump"}},
    {"GenericExcitationSource", {"AnnotationRef", "Map"}},
    {"FilterSet", {"ExcitationFilterRef", "DichroicRef", "EmissionFilterRef"}},
    {"Filter", {"TransmittanceRange", "AnnotationRef"}},

    {"Image",
     {"AcquisitionDate", "ExperimenterRef", "Description", "ExperimentRef", "ExperimenterGroupRef",
      "InstrumentRef", "ObjectiveSettings", "ImagingEnvironment", "StageLabel", "Pixels", "ROIRef",
      "MicrobeamManipulationRef", "AnnotationRef"}},
    {"Pixels", {"Channel", "BinData", "TiffData", "MetadataOnly", "Plane"}},
    {"Channel", {"LightSourceSettings", "DetectorSettings", "FilterSetRef", "AnnotationRef", "LightPath"}},
    {"LightPath", {"ExcitationFilterRef", "DichroicRef", "EmissionFilterRef", "AnnotationRef"}},
    {"Plane", {"HashSHA1", "AnnotationRef"}},

    {"XMLAnnotation", annotation},
    {"FileAnnotation", {"Description", "AnnotationRef", "BinaryFile"}},
    {"ListAnnotation", {"Description", "AnnotationRef"}},
    {"LongAnnotation", annotation},
    {"DoubleAnnotation", annotation},
    {"CommentAnnotation", annotation},
    {"BooleanAnnotation", annotation},
    {"TimestampAnnotation", annotation},
    {"TagAnnotation", annotation},
    {"TermAnnotation", annotation},
    {"MapAnnotation", annotation},

    {"ROI", {"Union", "AnnotationRef", "Description"}},
    {"Rectangle", shape},
    {"Mask", {"Transform", "AnnotationRef", "BinData"}},
    {"Point", shape},
    {"Ellipse", shape},
    {"Line", shape},
    {"Polyline", shape},
    {"Polygon", shape},
    {"Label", shape},
};

} // namespace

std::span<std::string_view const> schema_order(std::string_view element) {
    auto const found = children.find(element);
    if (found == children.end()) return {};
    return found->second;
}

} // namespace OME
