#include <vexa/ome/Instrument.h>

#include <utility>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

std::string text(JSON::Value const& value) { return JSON::dump(value, false); }

std::string annotation(char const* id, char const* kind, std::string const& extension) {
    return std::string("<XMLAnnotation ID=\"") + id + "\" Namespace=\"urn:vexa/ome/" + kind +
           "/extension\"><Value>" + extension + "</Value></XMLAnnotation>";
}

/// An instrument with each kind of part, all extensions, and children that no class knows.
std::string const full_instrument =
    R"(<Instrument ID="Instrument:4"><AnnotationRef ID="Annotation:7"/><Arc ID="LightSource:9" Type="Hg"/>)"
    R"(<Detector ID="Detector:main" Type="Other"><AnnotationRef ID="Annotation:2"/></Detector>)"
    R"(<Detector Gain="1.5" ID="Detector:2"/><Dichroic ID="Dichroic:1"/>)"
    R"(<Filter ID="Filter:1" Type="BandPass"><TransmittanceRange CutIn="500"/></Filter>)"
    R"(<Laser ID="LightSource:1" Wavelength="488"><Pump ID="LightSource:9"/></Laser>)"
    R"(<Microscope Model="M" Type="Inverted"/>)"
    R"(<Objective ID="Objective:6" Immersion="Other"><AnnotationRef ID="Annotation:5"/></Objective></Instrument>)";
std::string const full_annotations =
    "<StructuredAnnotations>" +
    annotation("Annotation:2", "detector",
               R"(<extension dead_time="4" dead_time_unit="ns" other_type="Hybrid_PMT"/>)") +
    annotation("Annotation:5", "objective", R"(<extension other_immersion="Silicone"/>)") +
    annotation(
        "Annotation:7", "instrument",
        R"(<extension><pinhole reference_wavelength="580" reference_wavelength_unit="nm"/></extension>)") +
    "</StructuredAnnotations>";
std::string const full = "<OME>" + full_instrument + full_annotations + "</OME>";

struct InstrumentTest : testing::Test {
    Root root{""};
    Instrument& instrument = root.ome.provide_first_instrument();
};

void expect_full(Root const& root) {
    EXPECT_EQ(root.find_detector("Detector:main").type(), Detector::Type::hybrid_PMT);
    EXPECT_DOUBLE_EQ(root.find_detector("Detector:main").dead_time_in_seconds().value(), 4e-9);
    EXPECT_EQ(root.find_detector("Detector:2").gain(), 1.5);
    EXPECT_EQ(root.find_objective("Objective:6").immersion(), Objective::Immersion::silicone);
    EXPECT_DOUBLE_EQ(root.find_light_source("LightSource:1").wavelength_in_meters().value(), 488e-9);
    EXPECT_DOUBLE_EQ(root.find_filter("Filter:1").cut_in_in_meters().value(), 5e-7);
    Instrument const& instrument = *root.ome.first_instrument();
    EXPECT_EQ(*instrument.microscope().type().value(), JSON::Value("Inverted"));
    EXPECT_DOUBLE_EQ(instrument.pinhole_reference_wavelength_in_meters().value(), 580e-9);
}

} // namespace

TEST_F(InstrumentTest, WithoutPartsIsEmpty) {
    EXPECT_EQ(text(*instrument.value()), R"({"ID":"Instrument:1"})");
    EXPECT_FALSE(instrument.microscope());
    EXPECT_FALSE(instrument.pinhole_reference_wavelength_in_meters());
    EXPECT_TRUE(instrument.light_sources().empty() && instrument.detectors().empty());
    EXPECT_TRUE(instrument.objectives().empty() && instrument.filters().empty());
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_F(InstrumentTest, IsProvidedOnce) {
    EXPECT_EQ(&root.ome.provide_first_instrument(), &instrument);
    EXPECT_EQ(root.ome.first_instrument(), &instrument);
    EXPECT_EQ(std::as_const(root).ome.first_instrument(), &instrument);
    EXPECT_EQ(root.ome.instruments().size(), 1u);
}

TEST_F(InstrumentTest, ProvidesItsParts) {
    EXPECT_EQ(&root.ome.provide_light_sources(), &instrument.light_sources());
    EXPECT_EQ(&root.ome.provide_detectors(), &instrument.detectors());
    EXPECT_EQ(&root.ome.provide_objectives(), &instrument.objectives());
    EXPECT_EQ(&root.ome.provide_filters(), &instrument.filters());
    EXPECT_EQ(root.ome.light_sources(), &instrument.light_sources());
    EXPECT_EQ(root.ome.detectors(), &instrument.detectors());
    EXPECT_EQ(root.ome.objectives(), &instrument.objectives());
    EXPECT_EQ(root.ome.filters(), &instrument.filters());
}

TEST_F(InstrumentTest, HasAMicroscopeWithoutAnIdentifier) {
    Microscope& microscope = instrument.microscope();
    microscope.type().set("Upright");
    microscope.manufacturer().set("maker");
    microscope.model().set("m");
    microscope.serial_number().set("s");
    microscope.lot_number().set("l");
    EXPECT_EQ(text(*microscope.value()),
              R"({"LotNumber":"l","Manufacturer":"maker","Model":"m","SerialNumber":"s","Type":"Upright"})");
    EXPECT_EQ(*Root(root.XML()).value(), *root.value());
    instrument.microscope().reset();
    EXPECT_EQ(text(*instrument.value()), R"({"":{},"ID":"Instrument:1"})");
}

TEST_F(InstrumentTest, HasAPinholeInItsExtension) {
    instrument.set_pinhole_reference_wavelength({0.5, Length::um});
    EXPECT_DOUBLE_EQ(instrument.pinhole_reference_wavelength_in_meters().value(), 5e-7);
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<Instrument")),
        R"(<Instrument ID="Instrument:1"><AnnotationRef ID="Annotation:1"/></Instrument><StructuredAnnotations>)"
        R"(<XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/instrument/extension"><Value>)"
        R"(<extension><pinhole reference_wavelength="0.5" reference_wavelength_unit="µm"/></extension>)"
        R"(</Value></XMLAnnotation></StructuredAnnotations></OME>)");
    Root const read(xml);
    EXPECT_EQ(*read.value(), *root.value());
    EXPECT_DOUBLE_EQ(read.ome.first_instrument()->pinhole_reference_wavelength_in_meters().value(), 5e-7);
}

TEST_F(InstrumentTest, HasNoPinholeWavelengthWithoutAUnit) {
    Root const read(
        R"(<OME><Instrument><AnnotationRef ID="Annotation:1"/></Instrument><StructuredAnnotations>)" +
        annotation("Annotation:1", "instrument",
                   R"(<extension><pinhole reference_wavelength="5"/></extension>)") +
        "</StructuredAnnotations></OME>");
    EXPECT_FALSE(read.ome.first_instrument()->pinhole_reference_wavelength_in_meters());
}

TEST_F(InstrumentTest, MakesNoExtensionForAUnitWithoutAName) {
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(instrument.set_pinhole_reference_wavelength({1, static_cast<Length>(7)}),
                       std::bad_variant_access, "bad variant access");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(InstrumentTest, NumbersItsPartsAcrossInstruments) {
    Instrument& second = *root.ome.instruments().emplace_back();
    instrument.detectors().emplace_back();
    second.detectors().emplace_back();
    instrument.detectors().emplace_back();
    second.light_sources().emplace_back();
    second.objectives().emplace_back();
    second.filters().emplace_back();
    EXPECT_EQ(text(*instrument.value()),
              R"({"":{"Detector":[{"ID":"Detector:1"},{"ID":"Detector:3"}]},"ID":"Instrument:1"})");
    EXPECT_EQ(text(*second.value()),
              R"({"":{"Detector":[{"ID":"Detector:2"}],"Filter":[{"ID":"Filter:1"}],)"
              R"("Laser":[{"ID":"LightSource:1"}],"Objective":[{"ID":"Objective:1"}]},"ID":"Instrument:2"})");
}

TEST(OmeInstrument, IsReadWithAllItsParts) {
    Root const root(full);
    expect_full(root);
    EXPECT_EQ(*root.ome.first_instrument()->id.value(), JSON::Value("Instrument:4"));
    EXPECT_EQ(root.ome.detectors()->size(), 2u);
    EXPECT_EQ(*Root(root.XML()).value(), *root.value());
}

TEST(OmeInstrument, KeepsChildrenThatHaveNoClass) {
    EXPECT_NE(Root(full).XML().find(full_instrument + full_annotations), std::string::npos);
}

TEST(OmeInstrument, IsCopiedToAnotherRootWithExtensionsOfItsOwn) {
    Root const source(full);
    Root target(R"(<OME><Instrument ID="Instrument:1"><Detector ID="Detector:8"/></Instrument></OME>)");
    target = source;
    expect_full(target);
    ASSERT_EQ(target.ome.instruments().size(), 1u);
    EXPECT_EQ(*target.ome.first_instrument()->id.value(), JSON::Value("Instrument:4"));
    EXPECT_EQ(target.ome.annotations().size(), 3u);
    EXPECT_EQ(text(*target.find_detector("Detector:main").value()),
              R"({"":{"AnnotationRef":[{"ID":"Annotation:1"}]},"ID":"Detector:main","Type":"Other"})");
    target.find_detector("Detector:main").set_type(Detector::Type::CCD);
    EXPECT_EQ(source.find_detector("Detector:main").type(), Detector::Type::hybrid_PMT);
    target = source;
    Root const read(target.XML());
    expect_full(read);
    EXPECT_EQ(*read.value(), *target.value());
}

TEST(OmeInstrument, ResetRemovesItsPartsAndTheirExtensions) {
    Root root(full);
    root.ome.first_instrument()->reset();
    EXPECT_TRUE(root.ome.annotations().empty());
    EXPECT_TRUE(root.registry().numbers<Instrument>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Detector>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Light_Source>().all().empty());
}

TEST(OmeInstrument, GoesWhenTheDocumentIsCleared) {
    Root root(full);
    root.ome.clear();
    EXPECT_EQ(root.ome.first_instrument(), nullptr);
    EXPECT_EQ(root.ome.light_sources(), nullptr);
    EXPECT_TRUE(root.registry().numbers<Objective>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Filter>().all().empty());
    EXPECT_EQ(root.XML().find("<Instrument"), std::string::npos);
    EXPECT_EQ(root.XML().find("<XMLAnnotation"), std::string::npos);
}

TEST(OmeInstrument, WithAReferenceToAMissingAnnotationOpens) {
    std::string const xml = R"(<Instrument ID="Instrument:1"><Detector ID="Detector:1">)"
                            R"(<AnnotationRef ID="Annotation:3"/></Detector></Instrument>)";
    Root const root("<OME>" + xml + "</OME>");
    EXPECT_FALSE(root.find_detector("Detector:1").dead_time_in_seconds());
    EXPECT_NE(root.XML().find(xml), std::string::npos);
}

TEST(OmeInstrument, WithAMalformedIdentifierDoesNotOpen) {
    for (char const* xml :
         {"<Instrument ID='Detector:1'/>", "<Instrument><Laser ID='Laser:1'/></Instrument>",
          "<Instrument><Detector ID='1'/></Instrument>", "<Instrument><Objective ID=''/></Instrument>",
          "<Instrument><Filter ID='Filter'/></Instrument>"})
        VEXA_EXPECT_THROWS(Root("<OME>" + std::string(xml) + "</OME>"), std::bad_variant_access,
                           "bad variant access");
}

TEST(OmeInstrument, TheFirstOneIsSeenOnly) {
    Root root(R"(<OME><Instrument ID="Instrument:1"><Detector ID="Detector:1"/></Instrument>)"
              R"(<Instrument ID="Instrument:2"><Detector ID="Detector:2"/><Laser/></Instrument></OME>)");
    EXPECT_EQ(root.ome.instruments().size(), 2u);
    EXPECT_EQ(root.ome.detectors()->size(), 1u);
    EXPECT_TRUE(std::as_const(root).ome.light_sources()->empty());
    VEXA_EXPECT_THROWS(root.find_detector("Detector:2"), Invalid_Argument, "Unknown detector 'Detector:2'.");
    std::string const xml = root.XML();
    EXPECT_NE(xml.find(R"(<Detector ID="Detector:2"/><Laser ID="LightSource:1"/></Instrument></OME>)"),
              xml.npos);
}

TEST(OmeInstrument, PartsAreNotFoundWithoutAnInstrument) {
    Root root("");
    EXPECT_EQ(root.ome.first_instrument(), nullptr);
    EXPECT_EQ(root.ome.light_sources(), nullptr);
    EXPECT_EQ(root.ome.detectors(), nullptr);
    EXPECT_EQ(std::as_const(root).ome.objectives(), nullptr);
    EXPECT_EQ(std::as_const(root).ome.filters(), nullptr);
    for (bool has_instrument : {false, true}) {
        if (has_instrument) root.ome.provide_first_instrument();
        VEXA_EXPECT_THROWS(root.find_light_source("LightSource:1"), Invalid_Argument,
                           "Unknown light source 'LightSource:1'.");
        VEXA_EXPECT_THROWS(std::as_const(root).find_light_source(5), Invalid_Argument,
                           "Unknown light source '5'.");
        VEXA_EXPECT_THROWS(root.find_detector("x"), Invalid_Argument, "Unknown detector 'x'.");
        VEXA_EXPECT_THROWS(std::as_const(root).find_detector(""), Invalid_Argument, "Unknown detector ''.");
        VEXA_EXPECT_THROWS(root.find_objective("Filter:1"), Invalid_Argument,
                           "Unknown objective 'Filter:1'.");
        VEXA_EXPECT_THROWS(std::as_const(root).find_objective("x"), Invalid_Argument,
                           "Unknown objective 'x'.");
        VEXA_EXPECT_THROWS(root.find_filter("x"), Invalid_Argument, "Unknown filter 'x'.");
        VEXA_EXPECT_THROWS(std::as_const(root).find_filter("x"), Invalid_Argument, "Unknown filter 'x'.");
    }
}

TEST(OmeInstrument, PartsAreFoundByReferences) {
    Root root(full);
    One_of<Reference<Detector const>> detector(root.ome.content, "a");
    One_of<Reference<Light_Source const>> source(root.ome.content, "b");
    One_of<Reference<Objective const>> objective(root.ome.content, "c");
    Array_of<Reference<Filter const>> filters(root.ome.content, "d");
    One_of<Reference<Instrument>> instrument(root.ome.content, "e");
    detector.id.set("Detector:main");
    source.id.set("LightSource:1");
    objective.set_referent(root.find_objective("Objective:6"));
    filters.emplace_back(root.find_filter("Filter:1"));
    instrument.id.set("Instrument:4");
    detector.resolve_references();
    source.resolve_references();
    instrument.resolve_references();
    EXPECT_EQ(detector.referent(), &root.find_detector("Detector:main"));
    EXPECT_EQ(source.referent(), &root.find_light_source("LightSource:1"));
    EXPECT_EQ(objective.referent(), &root.find_objective("Objective:6"));
    EXPECT_EQ(filters.front().referent(), &root.find_filter("Filter:1"));
    EXPECT_EQ(instrument.referent(), root.ome.first_instrument());
    EXPECT_EQ(root.find_objective("Objective:6").id.count(), 2u);
    root.ome.instruments().clear();
    EXPECT_EQ(detector.referent(), nullptr);
    EXPECT_EQ(source.referent(), nullptr);
    EXPECT_EQ(objective.referent(), nullptr);
    EXPECT_EQ(filters.front().referent(), nullptr);
    EXPECT_EQ(instrument.referent(), nullptr);
}

TEST(OmeInstrument, IsCreatedThroughAReferenceAndPartsAreNot) {
    Root root("");
    One_of<Reference<Detector const>> detector(root.ome.content, "a");
    EXPECT_EQ(detector.get_referent(), nullptr);
    EXPECT_EQ(root.ome.first_instrument(), nullptr);
    detector.id.set("Detector:1");
    detector.resolve_references(); // there is no instrument to look in
    EXPECT_EQ(detector.referent(), nullptr);
    One_of<Reference<Instrument>> instrument(root.ome.content, "b");
    Instrument* const created = instrument.get_referent();
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(created, root.ome.first_instrument());
    EXPECT_EQ(text(*instrument.value()), R"({"ID":"Instrument:1"})");
    VEXA_EXPECT_THROWS(detector.resolve_references(), Invalid_Argument,
                       "Incomplete data: missing Detector:1.");
}
