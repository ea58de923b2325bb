#include <vexa/ome/Shape.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <ostream>
#include <random>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

constexpr double pi = std::numbers::pi;

struct ShapeTest : testing::Test {
    Root root{""};
    ROI& region = *root.ome.ROIs().emplace_back();
    Line& line = *region.lines().emplace_back();
    std::string text() { return JSON::dump(*line.value(), false); }
    double angle_of(char const* attributes) {
        Root const read(R"(<OME><ROI><Union><Rectangle><Transform )" + std::string(attributes) +
                        "/></Rectangle></Union></ROI></OME>");
        return read.ome.ROIs().front().rotation_angle_in_radians();
    }
};

/// An attribute of a shape or of its transform.
struct Attribute {
    char const* element;
    char const* key;
    bool is_integer;
};

void PrintTo(Attribute const& attribute, std::ostream* os) { *os << attribute.element << attribute.key; }

constexpr Attribute attributes[] = {
    {"Line", "TheZ", true},        {"Line", "TheT", true},         {"Line", "TheC", true},
    {"Line", "X1", false},         {"Line", "X2", false},          {"Line", "Y1", false},
    {"Line", "Y2", false},         {"Rectangle", "TheZ", true},    {"Rectangle", "TheT", true},
    {"Rectangle", "TheC", true},   {"Rectangle", "X", false},      {"Rectangle", "Y", false},
    {"Rectangle", "Width", false}, {"Rectangle", "Height", false}, {"Transform", "A00", false},
    {"Transform", "A10", false},   {"Transform", "A01", false},    {"Transform", "A11", false},
    {"Transform", "A02", false},   {"Transform", "A12", false},
};

struct ShapeAttribute : testing::TestWithParam<Attribute> {
    static std::string document(std::string const& text) {
        std::string const element = GetParam().element;
        std::string const attribute = std::string(GetParam().key) + "=\"" + text + "\"";
        std::string const shape = element == "Transform" ? "<Line><Transform " + attribute + "/></Line>"
                                                         : "<" + element + " " + attribute + "/>";
        return "<OME><ROI><Union>" + shape + "</Union></ROI></OME>";
    }
    static std::string value_in(Root const& root) {
        JSON::Value const& shapes = *root.ome.ROIs().front().content.value()->find("Union", 0, "");
        JSON::Value const* element = shapes.find(GetParam().element, 0);
        if (!element) element = shapes.find("Line", 0, "", "Transform", 0);
        JSON::Value const* value = element->find(GetParam().key);
        return value ? JSON::dump(*value, false) : "none";
    }
};

} // namespace

TEST_F(ShapeTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), R"({"ID":"Shape:1"})");
    EXPECT_FALSE(line.the_z() || line.the_t() || line.the_c() || line.transform());
    EXPECT_FALSE(line.x1() || line.x2() || line.y1() || line.y2());
}

TEST_F(ShapeTest, StoresEachFieldInItsPlace) {
    line.the_z().set(1);
    line.the_t().set(2);
    line.the_c().set(3);
    line.x1().set(1.5);
    line.x2().set(2.5);
    line.y1().set(3.5);
    line.y2().set(-4.5);
    line.transform().A00.set(10);
    line.transform().A10.set(11);
    line.transform().A01.set(12);
    line.transform().A11.set(13);
    line.transform().A02.set(14);
    line.transform().A12.set(15);
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<ROI")),
        R"(<ROI ID="ROI:1"><Union><Line ID="Shape:1" TheC="3" TheT="2" TheZ="1" X1="1.5" X2="2.5" Y1="3.5" )"
        R"(Y2="-4.5"><Transform A00="10" A01="12" A02="14" A10="11" A11="13" A12="15"/></Line></Union>)"
        R"(</ROI></OME>)");
    Root const read(xml);
    EXPECT_EQ(*read.value(), *root.value());
    Line const& again = read.ome.ROIs().front().lines().front();
    EXPECT_EQ(*again.the_z().value(), JSON::Value(1));
    EXPECT_EQ(*again.the_t().value(), JSON::Value(2));
    EXPECT_EQ(*again.the_c().value(), JSON::Value(3));
    EXPECT_EQ(real_in(again.x1()), 1.5);
    EXPECT_EQ(real_in(again.x2()), 2.5);
    EXPECT_EQ(real_in(again.y1()), 3.5);
    EXPECT_EQ(real_in(again.y2()), -4.5);
    EXPECT_EQ(real_in(again.transform().A00), 10.0);
    EXPECT_EQ(real_in(again.transform().A10), 11.0);
    EXPECT_EQ(real_in(again.transform().A01), 12.0);
    EXPECT_EQ(real_in(again.transform().A11), 13.0);
    EXPECT_EQ(real_in(again.transform().A02), 14.0);
    EXPECT_EQ(real_in(again.transform().A12), 15.0);
}

TEST_F(ShapeTest, ResetsItsTransformAsAWhole) {
    line.transform().A00.set(1);
    line.transform().reset();
    EXPECT_EQ(text(), R"({"":{},"ID":"Shape:1"})");
    EXPECT_EQ(line.transform().rotation_angle_in_radians(), 0);
}

TEST_F(ShapeTest, WritesARotationAsItsMatrix) {
    line.transform().set_rotation_angle_in_radians(0);
    EXPECT_EQ(text(),
              R"({"":{"Transform":[{"A00":1,"A01":0,"A02":0,"A10":0,"A11":1,"A12":0}]},"ID":"Shape:1"})");
    line.transform().A02.set(5);
    line.transform().set_rotation_angle_in_radians(std::atan2(0.6, 0.8));
    EXPECT_NEAR(real_in(line.transform().A00).value(), 0.8, 1e-15);
    EXPECT_NEAR(real_in(line.transform().A01).value(), -0.6, 1e-15);
    EXPECT_NEAR(real_in(line.transform().A10).value(), 0.6, 1e-15);
    EXPECT_NEAR(real_in(line.transform().A11).value(), 0.8, 1e-15);
    EXPECT_EQ(real_in(line.transform().A02), 0.0);
    EXPECT_EQ(real_in(line.transform().A12), 0.0);
}

TEST_F(ShapeTest, ReadsTheVeryAngleBack) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> any(-pi, pi), exponent(-300, 0);
    for (int i = 0; i < 20000; ++i) {
        double const angle = i % 4 ? any(random) : std::pow(10, exponent(random));
        line.transform().set_rotation_angle_in_radians(angle);
        ASSERT_EQ(line.transform().rotation_angle_in_radians(), angle) << i;
    }
    double const least = std::numeric_limits<double>::denorm_min();
    for (double angle :
         {0.0, pi, -pi, pi / 2, -pi / 2, pi / 4, 3 * pi / 4, std::nextafter(pi, 0), 1e-308, least}) {
        line.transform().set_rotation_angle_in_radians(angle);
        EXPECT_EQ(line.transform().rotation_angle_in_radians(), angle);
        EXPECT_EQ(Root(root.XML()).ome.ROIs().front().lines().front().transform().rotation_angle_in_radians(),
                  angle);
    }
}

TEST_F(ShapeTest, ReadsAnglesBeyondAHalfTurnBackWithoutTheFullTurns) {
    line.transform().set_rotation_angle_in_radians(2 * pi + 1);
    EXPECT_NEAR(line.transform().rotation_angle_in_radians(), 1, 1e-15);
    line.transform().set_rotation_angle_in_radians(-3 * pi / 2);
    EXPECT_NEAR(line.transform().rotation_angle_in_radians(), pi / 2, 1e-15);
    line.transform().set_rotation_angle_in_radians(1e300);
    EXPECT_LE(std::abs(line.transform().rotation_angle_in_radians()), pi);
}

TEST_F(ShapeTest, RefusesARotationByNoNumberBeforeAnythingChanges) {
    double const infinity = std::numeric_limits<double>::infinity();
    for (double angle : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()})
        VEXA_EXPECT_THROWS(line.transform().set_rotation_angle_in_radians(angle), std::bad_variant_access,
                           "bad variant access");
    EXPECT_EQ(text(), R"({"ID":"Shape:1"})");
}

TEST_F(ShapeTest, SeesNoRotationInATransformThatIsNone) {
    EXPECT_EQ(angle_of("A00='0' A10='1' A01='-1' A11='0' A02='7' A12='8'"), pi / 2);
    EXPECT_EQ(angle_of("A00='0' A10='2' A01='-2' A11='0'"), pi / 2);
    EXPECT_NEAR(angle_of("A00='0.866025' A10='0.5' A01='-0.5' A11='0.866026'"), pi / 6, 1e-5);
    EXPECT_EQ(angle_of("A00='1' A10='1' A01='0' A11='1'"), 0);  // sheared
    EXPECT_EQ(angle_of("A00='-1' A10='0' A01='0' A11='1'"), 0); // mirrored
    EXPECT_EQ(angle_of("A10='1' A01='-1' A11='0'"), 0);         // incomplete
    EXPECT_EQ(angle_of("A00='NaN' A10='1' A01='-1' A11='NaN'"), 0);
    EXPECT_EQ(angle_of("A02='7'"), 0);
}

TEST_P(ShapeAttribute, IsReadByItsType) {
    EXPECT_EQ(value_in(Root(document("-12"))), "-12");
    if (GetParam().is_integer) {
        EXPECT_EQ(value_in(Root(document("9223372036854775807"))), "9223372036854775807");
    } else {
        EXPECT_EQ(value_in(Root(document("1.5e-3"))), "0.0015");
        EXPECT_EQ(value_in(Root(document("INF"))), "\"Infinity\"");
        EXPECT_EQ(value_in(Root(document("NaN"))), "\"NaN\"");
    }
}

TEST_P(ShapeAttribute, KeepsTheDocumentFromOpeningIfItIsMalformed) {
    for (char const* text : {"", "one", "1 m", "0x1"})
        VEXA_EXPECT_THROWS(Root(document(text)), std::bad_variant_access, "bad variant access");
    if (GetParam().is_integer) {
        for (char const* text : {"1.5", "9223372036854775808", "NaN"})
            VEXA_EXPECT_THROWS(Root(document(text)), std::bad_variant_access, "bad variant access");
    }
}

TEST_P(ShapeAttribute, IsCopiedAndWrittenBack) {
    Root const root(document("5"));
    Root copy(document("6"));
    copy = root;
    EXPECT_EQ(*copy.value(), *root.value());
    EXPECT_EQ(value_in(Root(copy.XML())), "5");
}

INSTANTIATE_TEST_SUITE_P(All, ShapeAttribute, testing::ValuesIn(attributes),
                         [](auto const& one) { return std::string(one.param.element) + one.param.key; });
