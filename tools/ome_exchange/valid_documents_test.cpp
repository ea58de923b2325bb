// Documents that other programs must accept, checked by a validator if it and the published schema are there.

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <vexa/testing/full_document.h>
#include <vexa/testing/ome_schema.h>
#include <vexa/testing/sample_folder.h>

#include "export_XML.h"

namespace {

class ValidDocuments : public testing::Test {
protected:
    void SetUp() override {
        if (!schema.missing().empty()) GTEST_SKIP() << schema.missing();
    }

    Vexa::testing::OmeSchema schema{Vexa::testing::sample_folder(VEXA_SOURCE_DIR) / "ome"};
};

/// All elements of the schema that have an order, with all children that they may have, in the wrong order.
std::string const every_order = R"(<OME>
<ROI ID="ROI:1"><Description>d</Description><AnnotationRef ID="Annotation:1"/><Union>
  <Polyline ID="Shape:1" Points="0,0 1,1"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Polyline>
  <Rectangle ID="Shape:2" X="0" Y="0" Width="1" Height="1"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Rectangle>
  <Mask ID="Shape:3" X="0" Y="0" Width="1" Height="1"><BinData BigEndian="false" Length="0"/>
    <AnnotationRef ID="Annotation:1"/>TRANSFORM</Mask>
  <Point ID="Shape:4" X="0" Y="0"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Point>
  <Ellipse ID="Shape:5" X="0" Y="0" RadiusX="1" RadiusY="1"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Ellipse>
  <Line ID="Shape:6" X1="0" Y1="0" X2="1" Y2="1"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Line>
  <Polygon ID="Shape:7" Points="0,0 1,1"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Polygon>
  <Label ID="Shape:8" X="0" Y="0"><AnnotationRef ID="Annotation:1"/>TRANSFORM</Label></Union></ROI>
<StructuredAnnotations>
  <MapAnnotation ID="Annotation:2"><Value><M K="k">v</M></Value>BASE</MapAnnotation>
  <TermAnnotation ID="Annotation:3"><Value>t</Value>BASE</TermAnnotation>
  <TagAnnotation ID="Annotation:4"><Value>t</Value>BASE</TagAnnotation>
  <TimestampAnnotation ID="Annotation:5"><Value>2001-02-03T04:05:06</Value>BASE</TimestampAnnotation>
  <BooleanAnnotation ID="Annotation:6"><Value>true</Value>BASE</BooleanAnnotation>
  <CommentAnnotation ID="Annotation:7"><Value>c</Value>BASE</CommentAnnotation>
  <DoubleAnnotation ID="Annotation:8"><Value>-INF</Value>BASE</DoubleAnnotation>
  <LongAnnotation ID="Annotation:9"><Value>-1</Value>BASE</LongAnnotation>
  <ListAnnotation ID="Annotation:10">BASE</ListAnnotation>
  <FileAnnotation ID="Annotation:11"><BinaryFile FileName="f" Size="0"><BinData BigEndian="true" Length="0"/></BinaryFile>
    BASE</FileAnnotation>
  <XMLAnnotation ID="Annotation:1"><Value><z/><a b="1"><y/><x/></a></Value><Description>d</Description></XMLAnnotation>
</StructuredAnnotations>
<Image ID="Image:1">
  <AnnotationRef ID="Annotation:1"/><MicrobeamManipulationRef ID="MicrobeamManipulation:1"/><ROIRef ID="ROI:1"/>
  <Pixels ID="Pixels:1" DimensionOrder="XYZTC" Type="uint8" SizeX="1" SizeY="1" SizeZ="1" SizeC="1" SizeT="1">
    <Plane TheZ="0" TheC="0" TheT="0"><AnnotationRef ID="Annotation:1"/>
      <HashSHA1>0123456789012345678901234567890123456789</HashSHA1></Plane>
    <TiffData/><TiffData><UUID>urn:uuid:01234567-89ab-cdef-0123-456789abcdef</UUID></TiffData>
    <Channel ID="Channel:1">
      <LightPath><AnnotationRef ID="Annotation:1"/><EmissionFilterRef ID="Filter:1"/><DichroicRef ID="Dichroic:1"/>
        <ExcitationFilterRef ID="Filter:1"/></LightPath>
      <AnnotationRef ID="Annotation:1"/><FilterSetRef ID="FilterSet:1"/><DetectorSettings ID="Detector:1"/>
      <LightSourceSettings ID="LightSource:1"/></Channel></Pixels>
  <StageLabel Name="s"/><ImagingEnvironment><Map><M K="k">v</M></Map></ImagingEnvironment>
  <ObjectiveSettings ID="Objective:1"/><InstrumentRef ID="Instrument:1"/>
  <ExperimenterGroupRef ID="ExperimenterGroup:1"/><ExperimentRef ID="Experiment:1"/><Description>d</Description>
  <ExperimenterRef ID="Experimenter:1"/><AcquisitionDate>2001-02-03T04:05:06</AcquisitionDate></Image>
<Instrument ID="Instrument:1">
  <AnnotationRef ID="Annotation:1"/><Dichroic ID="Dichroic:1"><AnnotationRef ID="Annotation:1"/></Dichroic>
  <Filter ID="Filter:1"><AnnotationRef ID="Annotation:1"/><TransmittanceRange/></Filter>
  <FilterSet ID="FilterSet:1"><EmissionFilterRef ID="Filter:1"/><DichroicRef ID="Dichroic:1"/>
    <ExcitationFilterRef ID="Filter:1"/></FilterSet>
  <Objective ID="Objective:1"><AnnotationRef ID="Annotation:1"/></Objective>
  <Detector ID="Detector:1"><AnnotationRef ID="Annotation:1"/></Detector>
  <GenericExcitationSource ID="LightSource:2"><Map><M K="k">v</M></Map><AnnotationRef ID="Annotation:1"/>
  </GenericExcitationSource>
  <LightEmittingDiode ID="LightSource:3"><AnnotationRef ID="Annotation:1"/></LightEmittingDiode>
  <Filament ID="LightSource:4"/><Arc ID="LightSource:5"/>
  <Laser ID="LightSource:1"><Pump ID="LightSource:5"/><AnnotationRef ID="Annotation:1"/></Laser><Microscope/></Instrument>
<ExperimenterGroup ID="ExperimenterGroup:1"><AnnotationRef ID="Annotation:1"/><Leader ID="Experimenter:1"/>
  <ExperimenterRef ID="Experimenter:1"/><Description>d</Description></ExperimenterGroup>
<Experimenter ID="Experimenter:1"><AnnotationRef ID="Annotation:1"/></Experimenter>
<Screen ID="Screen:1"><AnnotationRef ID="Annotation:1"/><PlateRef ID="Plate:1"/>
  <Reagent ID="Reagent:1"><AnnotationRef ID="Annotation:1"/><Description>d</Description></Reagent>
  <Description>d</Description></Screen>
<Plate ID="Plate:1">
  <PlateAcquisition ID="PlateAcquisition:1"><AnnotationRef ID="Annotation:1"/><WellSampleRef ID="WellSample:1"/>
    <Description>d</Description></PlateAcquisition>
  <AnnotationRef ID="Annotation:1"/>
  <Well ID="Well:1" Column="0" Row="0"><AnnotationRef ID="Annotation:1"/><ReagentRef ID="Reagent:1"/>
    <WellSample ID="WellSample:1" Index="0"><ImageRef ID="Image:1"/></WellSample></Well>
  <Description>d</Description></Plate>
<Experiment ID="Experiment:1"><MicrobeamManipulation ID="MicrobeamManipulation:1">
    <LightSourceSettings ID="LightSource:1"/><ExperimenterRef ID="Experimenter:1"/><ROIRef ID="ROI:1"/>
    <Description>d</Description></MicrobeamManipulation>
  <ExperimenterRef ID="Experimenter:1"/><Description>d</Description></Experiment>
<Folder ID="Folder:1"><AnnotationRef ID="Annotation:1"/><ROIRef ID="ROI:1"/><ImageRef ID="Image:1"/>
  <FolderRef ID="Folder:1"/><Description>d</Description></Folder>
<Dataset ID="Dataset:1"><AnnotationRef ID="Annotation:1"/><ImageRef ID="Image:1"/>
  <ExperimenterGroupRef ID="ExperimenterGroup:1"/><ExperimenterRef ID="Experimenter:1"/><Description>d</Description></Dataset>
<Project ID="Project:1"><AnnotationRef ID="Annotation:1"/><DatasetRef ID="Dataset:1"/>
  <ExperimenterGroupRef ID="ExperimenterGroup:1"/><ExperimenterRef ID="Experimenter:1"/><Description>d</Description></Project>
<Rights><RightsHeld>a</RightsHeld><RightsHolder>b</RightsHolder></Rights>
</OME>)";

std::string replaced(std::string text, std::string_view word, std::string_view by) {
    for (auto at = text.find(word); at != text.npos; at = text.find(word)) text.replace(at, word.size(), by);
    return text;
}

} // namespace

TEST_F(ValidDocuments, EveryElementHasItsChildrenInOrder) {
    std::string text =
        replaced(every_order, "TRANSFORM", R"(<Transform A00="1" A10="0" A01="0" A11="1" A02="0" A12="0"/>)");
    text = replaced(text, "BASE", R"(<AnnotationRef ID="Annotation:1"/><Description>d</Description>)");
    OME::Root const root(text);
    EXPECT_EQ(schema.faults_of(OME::export_XML(root)), "");
    EXPECT_NE(schema.faults_of(root.XML()), "") << "the order of names is wrong, or the test checks nothing";
}

TEST_F(ValidDocuments, EmptyOnesAndReferencesToOthersAreValid) {
    EXPECT_EQ(schema.faults_of(OME::export_XML(OME::Root(""))), "");
    EXPECT_EQ(
        schema.faults_of(OME::export_XML(OME::Root(
            R"(<OME><BinaryOnly MetadataFile="f" UUID="urn:uuid:01234567-89ab-cdef-0123-456789abcdef"/></OME>)"))),
        "");
}

TEST_F(ValidDocuments, DocumentsThatUseAllClassesAreValid) {
    OME::Root root("");
    Vexa::testing::fill_document(root);
    EXPECT_EQ(schema.faults_of(OME::export_XML(root)), "");
    root.ome.images().front().set_TIFF_data();
    EXPECT_EQ(schema.faults_of(OME::export_XML(root)), "");
}

TEST_F(ValidDocuments, VoxelsOfUnknownSizeAreValid) {
    OME::Root root("");
    OME::Image::Dimensions dimensions;
    dimensions.voxel_shape_in_meters = {0, std::numeric_limits<double>::quiet_NaN(), -1};
    root.ome.images().emplace_back(dimensions, nullptr, nullptr);
    EXPECT_EQ(schema.faults_of(OME::export_XML(root)), "");
    EXPECT_NE(schema.faults_of(root.XML()).find("'PhysicalSizeX'"), std::string::npos);
}

TEST_F(ValidDocuments, WhatADocumentLacksIsNotMadeUp) {
    OME::Root empty_region("");
    empty_region.ome.ROIs().emplace_back();
    EXPECT_NE(schema.faults_of(OME::export_XML(empty_region)).find("Missing child element"),
              std::string::npos);
}

TEST_F(ValidDocuments, WhatTheSchemaKnowsIsCheckedInContentsOfAnnotationsToo) {
    auto const with_contents = [](std::string const& contents) {
        return OME::export_XML(
            OME::Root(R"(<OME><StructuredAnnotations><XMLAnnotation ID="Annotation:1"><Value>)" + contents +
                      "</Value></XMLAnnotation></StructuredAnnotations></OME>"));
    };
    EXPECT_EQ(
        schema.faults_of(with_contents("<a><Description/><LightSourceSettings ID='LightSource:1'/></a>")),
        "");
    EXPECT_NE(schema.faults_of(with_contents("<a><LightSourceSettings/></a>")), "");
    EXPECT_EQ(schema.faults_of(with_contents("<a xmlns=''><LightSourceSettings/></a>")), "");
}
