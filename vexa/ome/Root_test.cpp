#include <vexa/ome/Root.h>

#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

std::string const header = R"(<?xml version="1.0" encoding="UTF-8"?>)";
std::string const declarations = R"(xmlns="http://www.openmicroscopy.org/Schemas/OME/2016-06" )"
                                 R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
                                 R"(xsi:schemaLocation="http://www.openmicroscopy.org/Schemas/OME/2016-06 )"
                                 R"(http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd")";
std::string const empty = header + "<OME " + declarations + "/>";

std::string with(std::string const& children) {
    return header + "<OME " + declarations + ">" + children + "</OME>";
}

/// A document with two projects, a dye, a band, a dataset and an annotation that no class knows.
char const* const full =
    R"(<OME UUID="urn:uuid:0123abcd-4567-89ef-0123-456789abcdef" Creator="me &amp; you">
<Project ID="Project:3" Name="P"><DatasetRef ID="Dataset:5"/><AnnotationRef ID="Annotation:9"/></Project>
<Project ID="Project:first"/>
<Dataset ID="Dataset:5" Name="D"><ImageRef ID="Image:1"/></Dataset>
<Instrument ID="Instrument:1"/><Instrument ID="Instrument:2"/>
<Image ID="Image:1"><Pixels SizeX="3"/></Image>
<StructuredAnnotations><XMLAnnotation ID="Annotation:2" Namespace="other"><Value><x y="z"/></Value></XMLAnnotation>
<XMLAnnotation ID="Annotation:9" Namespace="urn:vexa/ome/project/extension"><Value><extension>
<dye ID="Dye:1" name="one" emission_wavelength="520" emission_wavelength_unit="nm"/><dye ID="Dye:4"/>
<band ID="Band:1"><dye_reference ID="Dye:4"/></band></extension></Value></XMLAnnotation></StructuredAnnotations>
</OME>)";

} // namespace

static_assert(!std::is_copy_constructible_v<Root> && !std::is_move_constructible_v<Root>);
static_assert(!std::is_copy_constructible_v<::OME::OME> && !std::is_move_constructible_v<::OME::OME>);
static_assert(std::is_copy_assignable_v<Root>);

TEST(OmeRoot, OfNoTextIsAnEmptyDocument) {
    Root const root("");
    EXPECT_EQ(root.XML(), empty);
    std::ostringstream stream;
    root.write_XML(stream);
    EXPECT_EQ(stream.str(), empty);
}

TEST(OmeRoot, ReadsWhatItWrote) { EXPECT_EQ(Root(empty).XML(), empty); }

TEST(OmeRoot, DeclaresTheReleaseWhateverWasRead) {
    EXPECT_EQ(Root(R"(<OME xmlns="http://elsewhere/2012-03"/>)").XML(), empty);
    EXPECT_EQ(Root(R"(<a:OME xmlns:a="b"></a:OME>)").XML(),
              header + "<OME " +
                  std::string(declarations).insert(declarations.find("xmlns:xsi"), R"(xmlns:a="b" )") + "/>");
}

TEST(OmeRoot, KeepsWhatHasNoClass) {
    std::string const children =
        R"(<Image ID="Image:1"><Pixels ID="Pixels:1" SizeX="3"><BinData>AA</BinData></Pixels></Image>)"
        R"(<Instrument ID="Instrument:1"/><Instrument ID="Instrument:2"/><Unknown a="b">text</Unknown>)";
    EXPECT_EQ(Root(with(children)).XML(), with(children));
}

TEST(OmeRoot, ResolvesReferences) {
    Root const root(full);
    ASSERT_EQ(root.ome.projects().size(), 2u);
    EXPECT_EQ(root.find_dye("Dye:1").name().value()->get<std::string>(), "one");
    EXPECT_EQ(root.find_band("Band:1").first_dye(), &root.find_dye("Dye:4"));
    EXPECT_EQ(*root.find_dye("Dye:1").value()->find("emission_wavelength"), JSON::Value(520));
    EXPECT_EQ(*root.ome.creator().value(), JSON::Value("me & you"));
    EXPECT_EQ(root.ome.annotations().size(), 2u);
}

TEST(OmeRoot, WritesWhatReadsBackEqual) {
    Root const root(full), copy(root.XML());
    EXPECT_EQ(*root.value(), *copy.value());
}

TEST(OmeRoot, FailsOnAReferenceToAMissingElement) {
    VEXA_EXPECT_THROWS(Root(with(R"(<Project ID="Project:1"><DatasetRef ID="Dataset:7"/></Project>)")),
                       Invalid_Argument, "Incomplete data: missing Dataset:7.");
}

TEST(OmeRoot, PassesFaultsInTheXmlThrough) {
    VEXA_EXPECT_THROWS(Root("<OME><a></b></OME>"), JSON::XML_Reader::Unexpected, "Unexpected b end tag");
    VEXA_EXPECT_THROWS(Root("text"), JSON::XML_Reader::Unexpected, "Unexpected t at the beginning");
}

TEST(OmeRoot, PassesAttributesOfTheWrongFormThrough) {
    VEXA_EXPECT_THROWS(Root(R"(<OME><Project ID="Dataset:1"/></OME>)"), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(Root(R"(<OME><Project ID="Project:1"><AnnotationRef ID="Annotation:1"/></Project>
<StructuredAnnotations><XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/project/extension">
<Value><extension><dye lifetime="long"/></extension></Value></XMLAnnotation></StructuredAnnotations></OME>)"),
                       std::bad_variant_access, "bad variant access");
}

TEST(OmeRoot, OfAnotherRootElementHasNoContentAndCannotBeWritten) {
    Root const root("<Other/>");
    EXPECT_TRUE(root.ome.projects().empty());
    EXPECT_FALSE(root.ome.content.has_value());
    EXPECT_THROW(root.XML(), std::invalid_argument);
}

TEST(OmeRoot, OfATextThatEndsEarlyHoldsWhatWasRead) {
    Root const root(R"(<OME><Project ID="Project:1"/><Project )");
    EXPECT_EQ(root.ome.projects().size(), 2u);
}

TEST(OmeRoot, OfATextThatEndsInsideAnAttributeIsRefused) {
    VEXA_EXPECT_THROWS(Root(R"(<OME><Folder Name="n)"), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(Root(R"(<OME UUID="urn:uuid:)"), std::bad_variant_access, "bad variant access");
}

TEST(OmeRoot, CopiesChildrenWhereTextBelongs) {
    Root const source(with(R"(<Folder ID="Folder:1"><Description><b c="d"/></Description></Folder>)"));
    Root target("");
    target = source;
    EXPECT_EQ(
        target.ome.folders().front().value()->find("", "Description", 0, "", "b", 0, "c")->get<std::string>(),
        "d");
}

TEST(OmeRoot, TakesAnyDepth) {
    std::string open = "<OME>", close;
    for (int i = 0; i < 100000; ++i) open += "<a>";
    for (int i = 0; i < 100000; ++i) close += "</a>";
    Root const root(open + close + "</OME>");
    Root copy("");
    copy = root;
    EXPECT_EQ(root.XML().size(), Root(root.XML()).XML().size());
}

TEST(OmeRoot, FindsNoDyeWithoutAProject) {
    Root root("");
    VEXA_EXPECT_THROWS(root.find_dye("Dye:1"), Invalid_Argument, "Unknown dye 'Dye:1'.");
    VEXA_EXPECT_THROWS(std::as_const(root).find_dye("Dye:1"), Invalid_Argument, "Unknown dye 'Dye:1'.");
    VEXA_EXPECT_THROWS(root.find_band(5), Invalid_Argument, "Unknown band '5'.");
    VEXA_EXPECT_THROWS(std::as_const(root).find_band(""), Invalid_Argument, "Unknown band ''.");
    EXPECT_EQ(root.ome.dyes(), nullptr);
    EXPECT_EQ(root.ome.bands(), nullptr);
    EXPECT_EQ(root.ome.first_project(), nullptr);
    root.ome.provide_first_project();
    EXPECT_EQ(root.ome.dyes(), nullptr);
    VEXA_EXPECT_THROWS(root.find_dye("Dye:1"), Invalid_Argument, "Unknown dye 'Dye:1'.");
}

TEST(OmeRoot, ProvidesOneProject) {
    Root root("");
    Project& first = root.ome.provide_first_project();
    EXPECT_EQ(&root.ome.provide_first_project(), &first);
    EXPECT_EQ(root.ome.first_project(), &first);
    EXPECT_EQ(root.ome.projects().size(), 1u);
}

TEST(OmeRoot, SeesTheDyesOfTheFirstProjectOnly) {
    Root root("");
    Project& first = *root.ome.projects().emplace_back();
    root.ome.projects().emplace_back()->provide_dyes().emplace_back();
    EXPECT_EQ(root.ome.dyes(), nullptr);
    EXPECT_EQ(&root.ome.provide_dyes(), &first.provide_dyes());
    VEXA_EXPECT_THROWS(root.find_dye("Dye:1"), Invalid_Argument, "Unknown dye 'Dye:1'.");
}

TEST(OmeRoot, ClearKeepsTheDeclarationsOnly) {
    Root root(full);
    root.ome.clear();
    EXPECT_EQ(root.ome.projects().size() + root.ome.datasets().size() + root.ome.annotations().size(), 0u);
    EXPECT_EQ(root.registry().numbers<Dye>().all().size(), 0u);
    EXPECT_EQ(root.registry().numbers<Annotation>().all().size(), 0u);
    EXPECT_FALSE(root.ome.UUID());
    Root const again(root.XML());
    EXPECT_TRUE(again.ome.projects().empty());
    std::string const xml = root.XML();
    EXPECT_EQ(xml.find("Image"), xml.npos);
    EXPECT_EQ(xml.find("Creator"), xml.npos);
    EXPECT_NE(xml.find(declarations), xml.npos);
}

TEST(OmeRoot, HasAUuid) {
    Root root("");
    EXPECT_EQ(root.ome.UUID(), std::nullopt);
    root.ome.reset_UUID();
    auto const uuid = root.ome.UUID();
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->version(), boost::uuids::uuid::version_random_number_based);
    EXPECT_EQ(uuid->variant(), boost::uuids::uuid::variant_rfc_4122);
    std::string const text = root.ome.value()->get<std::string>("UUID");
    EXPECT_EQ(text.size(), 45u);
    EXPECT_EQ(text.substr(0, 9), "urn:uuid:");
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef-", 9), text.npos);
    root.ome.reset_UUID();
    EXPECT_NE(root.ome.UUID(), uuid);
}

TEST(OmeRoot, RefusesAMalformedUuid) {
    for (char const* text : {"", "urn:uuid:", "0123abcd-4567-89ef-0123-456789abcdef", "urn:uuid:0123"}) {
        Root root("");
        static_cast<JSON::Proxy&>(root.ome.element()).get_value().promote_as<JSON::Map>()["UUID"] = text;
        Root const read(root.XML());
        VEXA_EXPECT_THROWS(read.ome.UUID(), std::bad_variant_access, "bad variant access");
    }
}

TEST(OmeRoot, AssignmentCopiesADocument) {
    Root const source(full);
    Root target(with(R"(<Project ID="Project:8"/>)"));
    target = source;
    EXPECT_EQ(target.ome.UUID(), source.ome.UUID());
    EXPECT_EQ(*target.ome.creator().value(), JSON::Value("me & you"));
    ASSERT_EQ(target.ome.projects().size(), 2u);
    EXPECT_EQ(*target.ome.projects().front().id.value(), JSON::Value("Project:3"));
    EXPECT_EQ(target.find_band("Band:1").first_dye(), &target.find_dye("Dye:4"));
    EXPECT_EQ(target.ome.annotations().size(), 2u);
    EXPECT_EQ(*target.ome.value()->find("", "Image"), *source.ome.value()->find("", "Image"));
    // The annotation of the project is a copy with an identifier of its own.
    EXPECT_EQ(*target.ome.projects().front().value()->find("", "AnnotationRef", 0, "ID"),
              JSON::Value("Annotation:3"));
    Root const read(target.XML());
    EXPECT_EQ(*read.value(), *target.value());
    EXPECT_EQ(*Root(source.XML()).value(), *source.value());
    target = source;
    EXPECT_EQ(*read.value(), *target.value());
}

TEST(OmeRoot, AssignmentOfAnEmptyDocumentKeepsTheUuid) {
    Root target(full);
    auto const uuid = target.ome.UUID();
    target = Root("");
    EXPECT_EQ(target.ome.UUID(), uuid);
    EXPECT_TRUE(target.ome.projects().empty());
    EXPECT_TRUE(target.ome.annotations().empty());
    EXPECT_FALSE(target.ome.creator());
    target = *&target;
    EXPECT_EQ(target.ome.UUID(), uuid);
}

TEST(OmeRoot, AssignmentRefusesAMalformedUuidBeforeAnythingChanges) {
    Root target(full);
    JSON::Value const before = *target.value();
    VEXA_EXPECT_THROWS(target = Root(R"(<OME UUID="urn:uuid:0123abcd-45"/>)"), std::runtime_error,
                       "Invalid UUID string at position 11");
    VEXA_EXPECT_THROWS(target = Root(R"(<OME UUID="urn:uuid:0123abcd+4567-89ef-0123-456789abcdef"/>)"),
                       std::runtime_error, "Invalid UUID string at position 8");
    VEXA_EXPECT_THROWS(target = Root(R"(<OME UUID="none"/>)"), std::runtime_error,
                       "Invalid UUID string at position 0");
    EXPECT_EQ(*target.value(), before);
}

TEST(OmeRoot, AssignmentResetsTheElementIfTheSourceHasNone) {
    Root source(""), target(full);
    source.ome.reset();
    EXPECT_FALSE(source.ome);
    target = source;
    EXPECT_FALSE(target.ome);
    EXPECT_TRUE(target.ome.projects().empty());
    EXPECT_EQ(target.registry().numbers<Project>().all().size(), 0u);
}

TEST(OmeInvalid, BuildsItsTextFromTheArgument) {
    EXPECT_STREQ(Invalid_Argument("Plain.").what(), "Plain.");
    EXPECT_STREQ(Invalid_Argument("Type {}.", static_cast<unsigned char>(7)).what(), "Type 7.");
    EXPECT_STREQ(Invalid_Argument("Value {}.", JSON::Value("a b")).what(), "Value a b.");
    EXPECT_STREQ(Invalid_Argument("Value {}.", JSON::parse("[1]")).what(), "Value [1].");
    EXPECT_STREQ(Invalid_Data("Data.").what(), "Data.");
    static_assert(std::is_base_of_v<std::invalid_argument, Invalid_Argument>);
    static_assert(std::is_base_of_v<std::runtime_error, Invalid_Data>);
}
