#include <vexa/ome/Objective.h>

#include <cmath>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

using Immersion = Objective::Immersion;

constexpr char const* names[] = {"Oil",   "Water",    "WaterDipping", "Air",
                                 "Multi", "Glycerol", "Other",        "Silicone"};

std::string document(std::string const& attributes, std::string const& extension) {
    return R"(<OME><Instrument><Objective )" + attributes +
           R"(><AnnotationRef ID="Annotation:3"/></Objective></Instrument><StructuredAnnotations>)"
           R"(<XMLAnnotation ID="Annotation:3" Namespace="urn:vexa/ome/objective/extension">)"
           "<Value><extension " +
           extension + "/></Value></XMLAnnotation></StructuredAnnotations></OME>";
}

struct ObjectiveTest : testing::Test {
    Root root{""};
    Objective& objective = *root.ome.provide_objectives().emplace_back();
    std::string text() { return JSON::dump(*objective.value(), false); }
    std::string extension() { return JSON::dump(*root.ome.annotations().front().contents().value(), false); }
};

struct ObjectiveImmersion : ObjectiveTest, testing::WithParamInterface<int> {};

} // namespace

TEST_F(ObjectiveTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), R"({"ID":"Objective:1"})");
    EXPECT_FALSE(objective.immersion());
    EXPECT_FALSE(objective.lens_NA());
    EXPECT_FALSE(objective.magnification());
    EXPECT_FALSE(objective.correction() || objective.working_distance() || objective.working_distance_unit());
    EXPECT_FALSE(objective.iris());
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_F(ObjectiveTest, StoresEachFieldInItsPlace) {
    objective.correction().set("PlanApo");
    objective.set_immersion(Immersion::oil);
    objective.set_lens_NA(1.4);
    objective.set_nominal_magnification(100);
    objective.set_calibrated_magnification(99.5);
    objective.working_distance().set(130);
    objective.working_distance_unit().set("µm");
    objective.iris().set(false);
    EXPECT_EQ(text(), R"({"CalibratedMagnification":99.5,"Correction":"PlanApo","ID":"Objective:1",)"
                      R"("Immersion":"Oil","Iris":false,"LensNA":1.4,"NominalMagnification":100,)"
                      R"("WorkingDistance":130,"WorkingDistanceUnit":"µm"})");
    EXPECT_EQ(objective.lens_NA(), 1.4);
}

TEST_P(ObjectiveImmersion, IsStoredWhereItBelongs) {
    Immersion const immersion{GetParam()};
    bool const is_in_schema = GetParam() <= 6;
    objective.set_immersion(immersion);
    EXPECT_EQ(objective.immersion(), immersion);
    EXPECT_EQ(*objective.value()->find("Immersion"), JSON::Value(is_in_schema ? names[GetParam()] : "Other"));
    EXPECT_EQ(root.ome.annotations().size(), is_in_schema ? 0u : 1u);
    Root const read(root.XML());
    EXPECT_EQ(read.find_objective("Objective:1").immersion(), immersion);
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_P(ObjectiveImmersion, ReplacesAnyOther) {
    Immersion const immersion{GetParam()};
    for (int before = 0; before <= 7; ++before) {
        objective.set_immersion(static_cast<Immersion>(before));
        objective.set_immersion(immersion);
        EXPECT_EQ(objective.immersion(), immersion) << before;
    }
    EXPECT_EQ(extension(), GetParam() <= 6 ? R"({"extension":[{}]})"
                                           : R"({"extension":[{"other_immersion":"Silicone"}]})");
}

INSTANTIATE_TEST_SUITE_P(All, ObjectiveImmersion, testing::Range(0, 8));

TEST_F(ObjectiveTest, WithAnImmersionBeyondTheSchemaIsWrittenAsOtherWithAnAnnotation) {
    objective.set_immersion(Immersion::silicone);
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<Instrument")),
        R"(<Instrument ID="Instrument:1"><Objective ID="Objective:1" Immersion="Other">)"
        R"(<AnnotationRef ID="Annotation:1"/></Objective></Instrument><StructuredAnnotations>)"
        R"(<XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/objective/extension"><Value>)"
        R"(<extension other_immersion="Silicone"/></Value></XMLAnnotation></StructuredAnnotations></OME>)");
}

TEST_F(ObjectiveTest, RefusesAnImmersionInTheWrongPlaceWhenItIsRead) {
    VEXA_EXPECT_THROWS(Root(R"(<OME><Instrument><Objective Immersion="Silicone"/></Instrument></OME>)"),
                       std::bad_variant_access, "bad variant access");
    for (char const* attribute :
         {"other_immersion='Oil'", "other_immersion='Other'", "other_immersion='Sand'"})
        VEXA_EXPECT_THROWS(Root(document("Immersion='Other'", attribute)), std::bad_variant_access,
                           "bad variant access");
}

TEST_F(ObjectiveTest, HasTheImmersionOfItsExtensionOnlyIfItIsOther) {
    std::string const silicone = "other_immersion='Silicone'";
    EXPECT_EQ(Root(document("Immersion='Other'", silicone)).find_objective("Objective:1").immersion(),
              Immersion::silicone);
    EXPECT_EQ(Root(document("Immersion='Other'", "")).find_objective("Objective:1").immersion(),
              Immersion::other);
    EXPECT_EQ(Root(document("Immersion='Air'", silicone)).find_objective("Objective:1").immersion(),
              Immersion::air);
    EXPECT_EQ(Root(document("", silicone)).find_objective("Objective:1").immersion(), std::nullopt);
}

TEST_F(ObjectiveTest, RefusesAnImmersionWithoutANameBeforeAnythingChanges) {
    objective.set_immersion(Immersion::silicone);
    JSON::Value const before = *root.value();
    for (int invalid : {8, -1})
        VEXA_EXPECT_THROWS(objective.set_immersion(static_cast<Immersion>(invalid)), std::bad_variant_access,
                           "bad variant access");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(ObjectiveTest, HasTheCalibratedMagnificationOrElseTheNominalOne) {
    objective.set_nominal_magnification(60);
    EXPECT_EQ(objective.magnification(), 60.0);
    objective.set_calibrated_magnification(61.5);
    EXPECT_EQ(objective.magnification(), 61.5);
    Root const read(R"(<OME><Instrument><Objective CalibratedMagnification="40"/></Instrument></OME>)");
    EXPECT_EQ(read.find_objective("Objective:1").magnification(), 40.0);
}

TEST_F(ObjectiveTest, StoresNumbersThatAreNotFiniteAsText) {
    double const infinity = std::numeric_limits<double>::infinity();
    objective.set_lens_NA(std::numeric_limits<double>::quiet_NaN());
    objective.set_nominal_magnification(infinity);
    EXPECT_EQ(objective.magnification(), infinity);
    objective.set_calibrated_magnification(-infinity);
    EXPECT_EQ(text(), R"({"CalibratedMagnification":"-Infinity","ID":"Objective:1","LensNA":"NaN",)"
                      R"("NominalMagnification":"Infinity"})");
    EXPECT_TRUE(std::isnan(objective.lens_NA().value()));
    EXPECT_EQ(objective.magnification(), -infinity);
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_F(ObjectiveTest, KnowsTheRefractiveIndexOfSomeMedia) {
    EXPECT_EQ(Objective::refractive_index(Immersion::oil), 1.518);
    EXPECT_EQ(Objective::refractive_index(Immersion::water), 1.333);
    EXPECT_EQ(Objective::refractive_index(Immersion::air), 1.0003);
    EXPECT_EQ(Objective::refractive_index(Immersion::glycerol), 1.518);
    EXPECT_EQ(Objective::refractive_index(Immersion::silicone), 1.405);
    for (Immersion none : {Immersion::water_dipping, Immersion::multi, Immersion::other})
        EXPECT_EQ(Objective::refractive_index(none), std::nullopt);
    for (int invalid : {8, -1, std::numeric_limits<int>::max()})
        EXPECT_EQ(Objective::refractive_index(static_cast<Immersion>(invalid)), std::nullopt);
}

TEST_F(ObjectiveTest, ResetRemovesItsExtension) {
    objective.set_immersion(Immersion::silicone);
    objective.reset();
    EXPECT_TRUE(root.ome.annotations().empty());
}
