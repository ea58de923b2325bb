#include <vexa/ome/Plane.h>

#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using ::OME::Length;
using ::OME::Plane;
using ::OME::Root;
using ::OME::Time;

std::string document(std::string const& attributes) {
    return R"(<OME><Image><Pixels SizeX="1" SizeY="1" SizeZ="1" SizeC="1" SizeT="1"><Plane )" + attributes +
           "/></Pixels></Image></OME>";
}

/// A document with one image of one plane.
struct PlaneTest : testing::Test {
    Root root{document("")};
    Plane& plane = root.ome.images().front().plane({});
    std::string text() { return JSON::dump(*plane.value(), false); }
};

/// What a plane with these attributes says of its position along X, Y and Z.
std::optional<VX::XYZ<double>> position_in(std::string const& attributes) {
    Root const root(document(attributes));
    return root.ome.images().front().planes().front().position_in_meters();
}

} // namespace

TEST_F(PlaneTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), "{}");
    EXPECT_FALSE(plane.z() || plane.c() || plane.t());
    EXPECT_FALSE(plane.delta_t());
    EXPECT_FALSE(plane.exposure_time());
    EXPECT_FALSE(plane.position_x_in_meters());
    EXPECT_FALSE(plane.position_in_meters());
}

TEST_F(PlaneTest, StoresEachFieldInItsPlace) {
    plane.z().set(1);
    plane.c().set(2);
    plane.t().set(3);
    plane.set_delta_t({250, Time::ms});
    plane.set_exposure_time({0.5, Time::min});
    plane.set_position_x_in_meters(0.001);
    plane.set_position_y_in_meters(-2.5);
    plane.set_position_z_in_meters(0);
    std::string const xml = root.XML();
    EXPECT_EQ(xml.substr(xml.find("<Plane")),
              R"(<Plane DeltaT="250" DeltaTUnit="ms" ExposureTime="0.5" ExposureTimeUnit="min" )"
              R"(PositionX="0.001" PositionXUnit="m" PositionY="-2.5" PositionYUnit="m" PositionZ="0" )"
              R"(PositionZUnit="m" TheC="2" TheT="3" TheZ="1"/></Pixels></Image></OME>)");
    Root const again(xml);
    Plane const& read = again.ome.images().front().planes().front();
    EXPECT_EQ(read.z().value_or(0), JSON::Value(1));
    EXPECT_EQ(read.c().value_or(0), JSON::Value(2));
    EXPECT_EQ(read.t().value_or(0), JSON::Value(3));
    EXPECT_EQ(read.delta_t(), 0.25);
    EXPECT_EQ(read.exposure_time(), 30.0);
    EXPECT_EQ(read.position_x_in_meters(), 0.001);
    EXPECT_EQ(read.position_y_in_meters(), -2.5);
    EXPECT_EQ(read.position_z_in_meters(), 0.0);
    EXPECT_EQ(read.position_in_meters(), (VX::XYZ<double>{0.001, -2.5, 0}));
    EXPECT_EQ(*again.value(), *root.value());
}

TEST(PlaneReading, ReadsWhatAnotherProgramWrote) {
    Root const read(
        document(R"(TheZ="0" TheT="4" TheC="1" DeltaT="1.5" ExposureTime="20" ExposureTimeUnit="µs" )"
                 R"(PositionX="12.5" PositionXUnit="mm" PositionY="3" PositionYUnit="µm" )"
                 R"(PositionZ="1e-3" PositionZUnit="m")"));
    Plane const& plane = read.ome.images().front().planes().front();
    EXPECT_EQ(plane.t().value_or(0), JSON::Value(4));
    EXPECT_EQ(plane.delta_t(), 1.5); // without a unit in seconds
    EXPECT_DOUBLE_EQ(plane.exposure_time().value(), 20e-6);
    EXPECT_DOUBLE_EQ(plane.position_x_in_meters().value(), 0.0125);
    EXPECT_DOUBLE_EQ(plane.position_y_in_meters().value(), 3e-6);
    EXPECT_DOUBLE_EQ(plane.position_z_in_meters().value(), 1e-3);
}

TEST(PlaneReading, HasNoPositionInMetersInPixels) {
    EXPECT_FALSE(position_in(R"(PositionX="1" PositionXUnit="pixel" PositionY="2" PositionYUnit="m" )"
                             R"(PositionZ="3" PositionZUnit="m")"));
    Root const read(document(R"(PositionX="1" PositionXUnit="pixel" PositionY="2" PositionYUnit="m")"));
    Plane const& plane = read.ome.images().front().planes().front();
    EXPECT_FALSE(plane.position_x_in_meters());
    EXPECT_EQ(plane.position_y_in_meters(), 2.0);
}

TEST_F(PlaneTest, HasNoPositionInMetersInTheReferenceFrame) {
    EXPECT_FALSE(position_in(R"(PositionX="1" PositionY="2" PositionZ="3")"));
    EXPECT_FALSE(
        position_in(R"(PositionX="1" PositionY="2" PositionZ="3" PositionXUnit="m" PositionYUnit="m" )"
                    R"(PositionZUnit="reference frame")"));
}

TEST_F(PlaneTest, HasNoPositionWithoutOneOfItsComponents) {
    EXPECT_FALSE(position_in(R"(PositionX="1" PositionXUnit="m" PositionY="2" PositionYUnit="m")"));
}

TEST_F(PlaneTest, HasNoPositionThatIsNotFinite) {
    plane.set_position_in_meters({1, 2, std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(text(), R"({"PositionX":1,"PositionXUnit":"m","PositionY":2,"PositionYUnit":"m",)"
                      R"("PositionZ":"NaN","PositionZUnit":"m"})");
    EXPECT_FALSE(plane.position_in_meters());
    EXPECT_EQ(plane.position_y_in_meters(), 2.0);
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_F(PlaneTest, RefusesWrongTypesWhenItIsRead) {
    for (char const* attribute :
         {"TheZ='1.5'", "TheT=''", "TheC='one'", "DeltaT='soon'", "ExposureTime='1s'", "PositionX='left'",
          "PositionY='0x1'", "PositionZ=' 1'", "TheZ='9223372036854775808'"})
        VEXA_EXPECT_THROWS(Root(document(attribute)), std::bad_variant_access, "bad variant access");
}

TEST(PlaneReading, HasNoTimeOrPositionInAnUnknownUnit) {
    Root const read(document("DeltaT='1' DeltaTUnit='parsec' ExposureTime='1' ExposureTimeUnit='' "
                             "PositionX='1' PositionXUnit='s'"));
    Plane const& plane = read.ome.images().front().planes().front();
    EXPECT_FALSE(plane.delta_t());
    EXPECT_FALSE(plane.exposure_time());
    EXPECT_FALSE(plane.position_x_in_meters());
}

TEST_F(PlaneTest, RefusesAUnitWithoutANameBeforeAnythingChanges) {
    VEXA_EXPECT_THROWS(plane.set_delta_t({1, static_cast<Time>(7)}), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(plane.set_exposure_time({1, static_cast<Time>(7)}), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(text(), "{}");
}
