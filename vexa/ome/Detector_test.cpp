#include <vexa/ome/Detector.h>

#include <cmath>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

using Type = Detector::Type;

constexpr char const* names[] = {"CCD",
                                 "IntensifiedCCD",
                                 "AnalogVideo",
                                 "PMT",
                                 "Photodiode",
                                 "Spectroscopy",
                                 "LifetimeImaging",
                                 "CorrelationSpectroscopy",
                                 "FTIR",
                                 "EMCCD",
                                 "APD",
                                 "CMOS",
                                 "EBCCD",
                                 "Other",
                                 "SPAD",
                                 "Hybrid_PMT",
                                 "SPAD_Array"};

/// A document with one detector and its annotation.
std::string document(std::string const& attributes, std::string const& extension) {
    return R"(<OME><Instrument><Detector )" + attributes +
           R"(><AnnotationRef ID="Annotation:3"/></Detector></Instrument><StructuredAnnotations>)"
           R"(<XMLAnnotation ID="Annotation:3" Namespace="urn:vexa/ome/detector/extension">)"
           "<Value><extension " +
           extension + "/></Value></XMLAnnotation></StructuredAnnotations></OME>";
}

struct DetectorTest : testing::Test {
    Root root{""};
    Detector& detector = *root.ome.provide_detectors().emplace_back();
    std::string text() { return JSON::dump(*detector.value(), false); }
    std::string extension() { return JSON::dump(*root.ome.annotations().front().contents().value(), false); }
};

struct DetectorType : DetectorTest, testing::WithParamInterface<int> {};

} // namespace

TEST_F(DetectorTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), R"({"ID":"Detector:1"})");
    EXPECT_FALSE(detector.type());
    EXPECT_FALSE(detector.gain());
    EXPECT_FALSE(detector.dead_time_in_seconds());
    EXPECT_FALSE(detector.voltage() || detector.voltage_unit() || detector.offset() || detector.zoom());
    EXPECT_FALSE(detector.amplification_gain());
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_F(DetectorTest, StoresEachFieldInItsPlace) {
    detector.set_gain(2.5);
    detector.voltage().set(600);
    detector.voltage_unit().set("V");
    detector.offset().set(-1);
    detector.zoom().set(3);
    detector.amplification_gain().set(4);
    detector.set_type(Type::PMT);
    EXPECT_EQ(text(), R"({"AmplificationGain":4,"Gain":2.5,"ID":"Detector:1","Offset":-1,"Type":"PMT",)"
                      R"("Voltage":600,"VoltageUnit":"V","Zoom":3})");
    EXPECT_EQ(detector.gain(), 2.5);
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_P(DetectorType, IsStoredWhereItBelongs) {
    Type const type{GetParam()};
    bool const is_in_schema = GetParam() <= 13;
    detector.set_type(type);
    EXPECT_EQ(detector.type(), type);
    EXPECT_EQ(*detector.value()->find("Type"), JSON::Value(is_in_schema ? names[GetParam()] : "Other"));
    EXPECT_EQ(root.ome.annotations().size(), is_in_schema ? 0u : 1u);
    if (!is_in_schema) {
        EXPECT_EQ(extension(), std::string(R"({"extension":[{"other_type":")") + names[GetParam()] + "\"}]}");
    }
    Root const read(root.XML());
    EXPECT_EQ(read.find_detector("Detector:1").type(), type);
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_P(DetectorType, ReplacesAnyOther) {
    Type const type{GetParam()};
    for (int before = 0; before <= 16; ++before) {
        detector.set_type(static_cast<Type>(before));
        detector.set_type(type);
        EXPECT_EQ(detector.type(), type) << before;
    }
    EXPECT_EQ(extension(), GetParam() <= 13 ? R"({"extension":[{}]})"
                                            : std::string(R"({"extension":[{"other_type":")") +
                                                  names[GetParam()] + "\"}]}");
}

INSTANTIATE_TEST_SUITE_P(All, DetectorType, testing::Range(0, 17));

TEST_F(DetectorTest, WithATypeBeyondTheSchemaIsWrittenAsOtherWithAnAnnotation) {
    detector.set_type(Type::SPAD);
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<Instrument")),
        R"(<Instrument ID="Instrument:1"><Detector ID="Detector:1" Type="Other"><AnnotationRef ID="Annotation:1"/>)"
        R"(</Detector></Instrument><StructuredAnnotations><XMLAnnotation ID="Annotation:1" )"
        R"(Namespace="urn:vexa/ome/detector/extension"><Value><extension other_type="SPAD"/>)"
        R"(</Value></XMLAnnotation></StructuredAnnotations></OME>)");
}

TEST_F(DetectorTest, RefusesATypeBeyondTheSchemaInItsAttribute) {
    for (char const* name : {"SPAD", "Hybrid_PMT", "SPAD_Array", "ccd", ""})
        VEXA_EXPECT_THROWS(
            Root("<OME><Instrument><Detector Type=\"" + std::string(name) + "\"/></Instrument></OME>"),
            std::bad_variant_access, "bad variant access");
}

TEST_F(DetectorTest, RefusesATypeOfTheSchemaInItsExtension) {
    for (char const* attribute :
         {"other_type='CCD'", "other_type='Other'", "other_type=''", "dead_time='long'"})
        VEXA_EXPECT_THROWS(Root(document("Type='Other'", attribute)), std::bad_variant_access,
                           "bad variant access");
}

TEST_F(DetectorTest, HasTheTypeOfItsExtensionOnlyIfItIsOther) {
    EXPECT_EQ(Root(document("Type='Other'", "other_type='SPAD_Array'")).find_detector("Detector:1").type(),
              Type::SPAD_array);
    EXPECT_EQ(Root(document("Type='Other'", "")).find_detector("Detector:1").type(), Type::other);
    EXPECT_EQ(Root(document("Type='CCD'", "other_type='SPAD'")).find_detector("Detector:1").type(),
              Type::CCD);
    EXPECT_EQ(Root(document("", "other_type='SPAD'")).find_detector("Detector:1").type(), std::nullopt);
}

TEST_F(DetectorTest, RefusesATypeWithoutANameBeforeAnythingChanges) {
    detector.set_type(Type::hybrid_PMT);
    JSON::Value const before = *root.value();
    for (int invalid : {17, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        VEXA_EXPECT_THROWS(detector.set_type(static_cast<Type>(invalid)), std::bad_variant_access,
                           "bad variant access");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(DetectorTest, HasAGainThatMayBeNotFinite) {
    detector.set_gain(std::numeric_limits<double>::infinity());
    EXPECT_EQ(text(), R"({"Gain":"Infinity","ID":"Detector:1"})");
    EXPECT_EQ(detector.gain(), std::numeric_limits<double>::infinity());
    Root const read(root.XML());
    EXPECT_EQ(read.find_detector("Detector:1").gain(), std::numeric_limits<double>::infinity());
    detector.set_gain(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(detector.gain().value()));
    detector.set_gain(0);
    EXPECT_EQ(detector.gain(), 0.0);
}

TEST_F(DetectorTest, HasADeadTimeInItsExtension) {
    detector.set_dead_time({50, Time::ns});
    EXPECT_EQ(text(), R"({"":{"AnnotationRef":[{"ID":"Annotation:1"}]},"ID":"Detector:1"})");
    EXPECT_EQ(extension(), R"({"extension":[{"dead_time":50,"dead_time_unit":"ns"}]})");
    EXPECT_DOUBLE_EQ(detector.dead_time_in_seconds().value(), 50e-9);
    Root const read(root.XML());
    EXPECT_DOUBLE_EQ(read.find_detector("Detector:1").dead_time_in_seconds().value(), 50e-9);
}

TEST_F(DetectorTest, HasNoDeadTimeWithoutAUnit) {
    EXPECT_FALSE(Root(document("", "dead_time='5'")).find_detector("Detector:1").dead_time_in_seconds());
    EXPECT_FALSE(Root(document("", "dead_time_unit='s'")).find_detector("Detector:1").dead_time_in_seconds());
}

TEST_F(DetectorTest, MakesNoExtensionForAUnitWithoutAName) {
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(detector.set_dead_time({1, static_cast<Time>(7)}), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(DetectorTest, IsCopiedWithAnExtensionOfItsOwn) {
    detector.set_type(Type::SPAD);
    detector.set_dead_time({2, Time::s});
    Detector& second = *root.ome.detectors()->emplace_back();
    second = detector;
    second.reset_ID();
    second.set_type(Type::CCD);
    EXPECT_EQ(JSON::dump(*second.value(), false),
              R"({"":{"AnnotationRef":[{"ID":"Annotation:2"}]},"ID":"Detector:2","Type":"CCD"})");
    EXPECT_EQ(detector.type(), Type::SPAD);
    EXPECT_EQ(second.dead_time_in_seconds(), 2.0);
}

TEST_F(DetectorTest, IsCopiedWithNumbersThatAreNotFinite) {
    double const infinity = std::numeric_limits<double>::infinity();
    detector.set_gain(infinity);
    detector.set_dead_time({-infinity, Time::s});
    Root copy("");
    copy = root;
    EXPECT_EQ(copy.find_detector("Detector:1").gain(), infinity);
    EXPECT_EQ(*copy.value(), *root.value());
}

TEST_F(DetectorTest, ResetRemovesItsExtension) {
    detector.set_type(Type::SPAD);
    detector.reset();
    EXPECT_TRUE(root.ome.annotations().empty());
    EXPECT_TRUE(root.registry().numbers<Detector>().all().empty());
}
