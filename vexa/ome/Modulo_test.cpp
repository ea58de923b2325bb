#include <vexa/ome/Modulo.h>

#include <cmath>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using ::OME::Image;
using ::OME::Invalid_Argument;
using ::OME::Invalid_Data;
using ::OME::Root;
using Modulo = Image::Modulo;
using Type = Modulo::Type;
using Range = Modulo::Range;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// A document with one image of 12 x 12 x 12 planes, and these children of "Modulo".
std::string document(std::string const& children) {
    return R"(<OME><Image ID="Image:1"><Pixels ID="Pixels:1" SizeX="1" SizeY="1" SizeZ="12" SizeC="12" SizeT="12"/>)"
           R"(<AnnotationRef ID="Annotation:5"/></Image><StructuredAnnotations><XMLAnnotation ID="Annotation:5" )"
           R"(Namespace="openmicroscopy.org/omero/dimension/modulo"><Value>)"
           R"(<Modulo namespace="http://www.openmicroscopy.org/Schemas/Additions/2011-09">)" +
           children + "</Modulo></Value></XMLAnnotation></StructuredAnnotations></OME>";
}

struct ModuloTest : testing::Test {
    Root root{document("")};
    Image& image = root.ome.images().front();
    Modulo& modulo = *image.modulo();
    std::string text() { return JSON::dump(*modulo.contents().value()->find("Modulo"), false); }
};

void expect_refused(std::string const& children, char const* text) {
    VEXA_EXPECT_THROWS(Root(document(children)), Invalid_Data, text);
}

} // namespace

TEST(ModuloRange, CountsItsValues) {
    EXPECT_EQ((Range{0, 1, 0, {}}.count()), 1u);
    EXPECT_EQ((Range{0, 1, 4, {}}.count()), 5u);
    EXPECT_EQ((Range{480, 25, 580, {}}.count()), 5u);
    EXPECT_EQ((Range{0, 0.1, 0.3, {}}.count()), 4u); // 0.3 / 0.1 is a little less than 3
    EXPECT_EQ((Range{1, -0.5, 0, {}}.count()), 3u);
    EXPECT_EQ((Range{0, 1, 1.4, {}}.count()), 2u);
    EXPECT_EQ((Range{0, 1, 1.5, {}}.count()), 3u);
    EXPECT_EQ((Range{0, 1, -1, {}}.count()), 1u);
}

TEST(ModuloRange, HasNoCountThatIsNoNumberOfValues) {
    for (Range const& range :
         {Range{0, 1, -2, {}}, Range{0, 0, 1, {}}, Range{0, 0, 0, {}}, Range{not_a_number, 1, 2, {}},
          Range{0, 1, infinity, {}}, Range{-infinity, 1, infinity, {}}, Range{0, 1, 9.3e18, {}},
          Range{0, 1e-300, 1, {}}, Range{0, not_a_number, 1, {}}})
        EXPECT_EQ(range.count(), std::nullopt) << range.start << " " << range.step << " " << range.end;
}

TEST_F(ModuloTest, WithoutAxesDividesNothing) {
    EXPECT_FALSE(modulo.has_z() || modulo.has_c() || modulo.has_t());
    EXPECT_FALSE(modulo.type_z() || modulo.type_c() || modulo.type_t());
    EXPECT_FALSE(modulo.range_z() || modulo.range_c() || modulo.range_t());
    EXPECT_FALSE(modulo.range(Type::tile));
    EXPECT_EQ(image.layout().extents[0].size, 12u);
}

TEST_F(ModuloTest, StoresEachFieldInItsPlace) {
    modulo.set_range_z(Type::angle, {0, 30, 60, "degree"});
    modulo.set_range_c(Type::lambda, {500, 5, 515, "nm"});
    modulo.set_range_t(Type::tile, {1, 1, 2, {}});
    modulo.along(::OME::Image_Layout::T).type_description.set("mosaic");
    std::string const xml = root.XML();
    EXPECT_EQ(xml.substr(xml.find("<StructuredAnnotations")),
              R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:5" )"
              R"(Namespace="openmicroscopy.org/omero/dimension/modulo"><Value>)"
              R"(<Modulo namespace="http://www.openmicroscopy.org/Schemas/Additions/2011-09">)"
              R"(<ModuloAlongC End="515" Start="500" Step="5" Type="lambda" Unit="nm"/>)"
              R"(<ModuloAlongT End="2" Start="1" Step="1" Type="tile" TypeDescription="mosaic"/>)"
              R"(<ModuloAlongZ End="60" Start="0" Step="30" Type="angle" Unit="degree"/>)"
              R"(</Modulo></Value></XMLAnnotation></StructuredAnnotations></OME>)");
    Root const again(xml);
    Image const& read = again.ome.images().front();
    EXPECT_TRUE(read.modulo()->has_z() && read.modulo()->has_c() && read.modulo()->has_t());
    EXPECT_EQ(read.modulo()->type_z(), Type::angle);
    EXPECT_EQ(read.modulo()->type_c(), Type::lambda);
    EXPECT_EQ(read.modulo()->type_t(), Type::tile);
    EXPECT_EQ(read.modulo()->range_z(), (Range{0, 30, 60, "degree"}));
    EXPECT_EQ(read.modulo()->range_c(), (Range{500, 5, 515, "nm"}));
    EXPECT_EQ(read.modulo()->range(Type::tile), (Range{1, 1, 2, {}}));
    EXPECT_EQ(*again.value(), *root.value());
    EXPECT_EQ(read.storage_shape(), (std::vector<std::size_t>{1, 1, 12, 12, 12}));
    EXPECT_EQ(read.layout().extents[0].size, 4u);
    EXPECT_EQ(read.layout().extents[1].modulo_size, 4u);
    EXPECT_EQ(read.layout().extents[2].modulo_type, Type::tile);
}

TEST(ModuloReading, ReadsWhatAnotherProgramWrote) {
    Root const read(document(
        R"(<ModuloAlongC Type="lifetime" Unit="ps" Start="1" End="6"/>)"
        R"(<ModuloAlongZ Type="angle" Unit="degree"><Label>0</Label><Label>90</Label></ModuloAlongZ>)"));
    Modulo const& modulo = *read.ome.images().front().modulo();
    EXPECT_EQ(modulo.range(Type::lifetime), (Range{1, 1, 6, "ps"})); // the step is 1 unless it is given
    EXPECT_EQ(modulo.type_z(), Type::angle);
    EXPECT_FALSE(modulo.range_z());
    auto const& extents = read.ome.images().front().layout().extents;
    EXPECT_EQ(extents[1].size, 2u);
    EXPECT_EQ(extents[1].modulo_size, 6u);
    EXPECT_EQ(extents[0].size, 12u); // labels don't count
    EXPECT_EQ(extents[0].modulo_size, 1u);
}

TEST_F(ModuloTest, DividesAnAxisByWholeNumbers) {
    Root const read(document(R"(<ModuloAlongC Type="tile" Start="0" End="4"/>)"
                             R"(<ModuloAlongT Type="phase" Start="0" End="12"/>)"));
    auto const& extents = read.ome.images().front().layout().extents;
    EXPECT_EQ(extents[1].size, 2u);
    EXPECT_EQ(extents[1].modulo_size, 5u);
    EXPECT_EQ(extents[2].size, 0u);
    EXPECT_EQ(extents[2].modulo_size, 13u);
    EXPECT_EQ(read.ome.images().front().size(), 0u);
}

TEST_F(ModuloTest, WithoutATypeDividesNothing) {
    Root const read(document(R"(<ModuloAlongC Start="0" End="4"/>)"));
    EXPECT_TRUE(read.ome.images().front().modulo()->has_c());
    EXPECT_EQ(read.ome.images().front().layout().extents[1].size, 12u);
}

TEST_F(ModuloTest, KeepsADocumentWithAnInvalidStepFromOpening) {
    expect_refused("<ModuloAlongZ Type='tile' Start='0' Step='0' End='1'/>", "Invalid step modulo Z.");
    expect_refused("<ModuloAlongC Type='tile' Start='0' Step='NaN' End='1'/>", "Invalid step modulo C.");
    expect_refused("<ModuloAlongT Type='tile' Start='0' Step='-INF' End='1'/>", "Invalid step modulo T.");
    expect_refused("<ModuloAlongT Type='tile' Step='0'/>", "Invalid step modulo T.");
}

TEST_F(ModuloTest, KeepsADocumentWithAnAbsurdRangeFromOpening) {
    expect_refused("<ModuloAlongZ Type='tile' Start='0' End='-2'/>", "Invalid range modulo Z.");
    expect_refused("<ModuloAlongC Type='tile' Start='0' End='1e300'/>", "Invalid range modulo C.");
    expect_refused("<ModuloAlongT Type='tile' Start='0' Step='1e-300' End='1'/>", "Invalid range modulo T.");
    expect_refused("<ModuloAlongT Type='tile' Start='NaN' End='1'/>", "Invalid range modulo T.");
    expect_refused("<ModuloAlongT Type='tile' Start='0' End='INF'/>", "Invalid range modulo T.");
}

TEST_F(ModuloTest, KeepsADocumentWithAFieldOfTheWrongTypeFromOpening) {
    for (char const* child :
         {"<ModuloAlongZ Type='Tile'/>", "<ModuloAlongZ Type=''/>", "<ModuloAlongZ Type='tile' Start='one'/>",
          "<ModuloAlongC Step='1s'/>", "<ModuloAlongT End=''/>"})
        VEXA_EXPECT_THROWS(Root(document(child)), std::bad_variant_access, "bad variant access");
}

TEST_F(ModuloTest, SetsTheEndToTheLastFullStep) {
    modulo.set_range_c(Type::lambda, {500, 10, 534, {}});
    EXPECT_EQ(modulo.range_c(), (Range{500, 10, 530, {}}));
    modulo.set_end_c(3);
    EXPECT_EQ(modulo.range_c(), (Range{500, 10, 520, {}}));
    modulo.set_range(Type::lambda, {1, -1, 0, "nm"});
    EXPECT_EQ(modulo.range_c(), (Range{1, -1, 0, "nm"}));
    modulo.set_end_t(2);
    modulo.set_end_z(1);
    EXPECT_EQ(modulo.range_t(), (Range{0, 1, 1, {}}));
    EXPECT_EQ(modulo.range_z(), (Range{0, 1, 0, {}}));
    EXPECT_FALSE(modulo.type_t());
}

TEST_F(ModuloTest, RefusesARangeBeforeAnythingChanges) {
    modulo.set_range_t(Type::lifetime, {0, 2, 6, "ns"});
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(modulo.set_range_z(Type::none, {}), Invalid_Argument, "Unsupported modulo type 0.");
    VEXA_EXPECT_THROWS(modulo.set_range(static_cast<Type>(7), {}), Invalid_Argument,
                       "Unsupported modulo type 7.");
    VEXA_EXPECT_THROWS(modulo.set_range(Type::tile, {}), Invalid_Argument, "No modulo of type tile.");
    VEXA_EXPECT_THROWS(modulo.set_range_c(Type::tile, {0, 0, 1, {}}), Invalid_Data, "Invalid step modulo C.");
    VEXA_EXPECT_THROWS(modulo.set_range_t(Type::tile, {0, not_a_number, 1, {}}), Invalid_Data,
                       "Invalid step modulo T.");
    VEXA_EXPECT_THROWS(modulo.set_range_z(Type::tile, {0, 1, infinity, {}}), Invalid_Data,
                       "Invalid range modulo Z.");
    VEXA_EXPECT_THROWS(modulo.set_end_t(0), Invalid_Data, "Invalid range modulo T.");
    VEXA_EXPECT_THROWS(modulo.set_end_t((std::uint64_t{1} << 60) + 1), Invalid_Data,
                       "Invalid range modulo T.");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(ModuloTest, GrowsByOneStep) {
    modulo.add_z(Type::phase);
    EXPECT_EQ(modulo.type_z(), Type::phase);
    EXPECT_EQ(modulo.range_z(), (Range{0, 1, 1, {}}));
    modulo.add_z(Type::phase);
    EXPECT_EQ(modulo.range_z(), (Range{0, 1, 2, {}}));
    modulo.set_range_c(Type::lambda, {500, 5, 510, "nm"});
    modulo.add_c(Type::lambda);
    EXPECT_EQ(modulo.range_c(), (Range{500, 5, 515, "nm"}));
    modulo.add_t(Type::tile);
    EXPECT_EQ(modulo.range_t(), (Range{0, 1, 1, {}}));
}

TEST_F(ModuloTest, RefusesASecondTypeAlongAnAxis) {
    modulo.set_range_z(Type::angle, {0, 1, 1, {}});
    modulo.set_range_c(Type::phase, {0, 1, 1, {}});
    modulo.set_range_t(Type::tile, {0, 1, 1, {}});
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(modulo.add_z(Type::tile), Invalid_Argument, "Modulo along Z already has type angle.");
    VEXA_EXPECT_THROWS(modulo.add_c(Type::tile), Invalid_Argument, "Modulo along C already has type phase.");
    VEXA_EXPECT_THROWS(modulo.add_t(Type::other), Invalid_Argument, "Modulo along T already has type tile.");
    VEXA_EXPECT_THROWS(modulo.add_t(Type::none), Invalid_Argument, "Unsupported modulo type 0.");
    EXPECT_EQ(*root.value(), before);
}

TEST(ModuloType, StandsForADimension) {
    EXPECT_EQ(Image::dimension_at(Type::angle), Image::Dimension::angle);
    EXPECT_EQ(Image::dimension_at(Type::phase), Image::Dimension::phase);
    EXPECT_EQ(Image::dimension_at(Type::tile), Image::Dimension::tile);
    EXPECT_EQ(Image::dimension_at(Type::lifetime), Image::Dimension::lifetime);
    EXPECT_EQ(Image::dimension_at(Type::lambda), Image::Dimension::lambda);
    EXPECT_EQ(Image::dimension_at(Type::other), Image::Dimension::other);
    VEXA_EXPECT_THROWS(Image::dimension_at(Type::none), Invalid_Argument, "Unsupported modulo type 0.");
    VEXA_EXPECT_THROWS(Image::dimension_at(static_cast<Type>(255)), Invalid_Argument,
                       "Unsupported modulo type 255.");
}
