#include <vexa/ome/Reference.h>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Reference_internal.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

std::string text(JSON::Value const& value) { return JSON::dump(value, false); }

/// A reference to something that it can't create, with an attribute of its own.
class Settings : public Reference<Dye const> {
public:
    using Reference<Dye const>::Reference;

    Document<JSON::Number> level{*this, "level"};
};

std::string const folder_namespace = "urn:vexa/ome/folder/extension";

std::string annotation(std::string const& id, std::string const& space, std::string const& contents) {
    return "<XMLAnnotation ID=\"" + id + "\" Namespace=\"" + space + "\"><Value>" + contents +
           "</Value></XMLAnnotation>";
}

std::string folder(std::string const& id, std::string const& children) {
    return "<Folder ID=\"" + id + "\">" + children + "</Folder>";
}

std::string document(std::string const& folders, std::string const& annotations) {
    return "<OME>" + folders + "<StructuredAnnotations>" + annotations + "</StructuredAnnotations></OME>";
}

/// An own reference of a test, with nothing else around it.
struct OmeReference : testing::Test {
    Root root{""};
    Dye& dye = *root.ome.provide_dyes().emplace_back();
    One_of<Reference<Dye>> reference{root.ome.content, "test"};
    Numbers& numbers = root.registry().numbers<Dye>();
};

/// Folders with annotations of their own.
struct OmeAnnotationReference : testing::Test {
    Root root{""};
    Folder& add() { return *root.ome.folders().emplace_back(); }
    Array_of<Annotation>& annotations = root.ome.annotations();
    Numbers& numbers = root.registry().numbers<Annotation>();
};

} // namespace

static_assert(!std::is_copy_constructible_v<Reference<Dye>>);
static_assert(!Reference<Dye>::is_annotation && Reference<Folder::Extension>::is_annotation);

TEST_F(OmeReference, IsEmptyAtFirst) {
    EXPECT_EQ(reference.referent(), nullptr);
    EXPECT_FALSE(reference);
    reference.resolve_references();
    EXPECT_EQ(reference.referent(), nullptr);
    EXPECT_EQ(numbers.count(1), 1u);
}

TEST_F(OmeReference, CountsAsABearerOfItsNumber) {
    reference.set_referent(dye);
    EXPECT_EQ(reference.referent(), &dye);
    EXPECT_EQ(&*std::as_const(reference), &dye);
    EXPECT_EQ(text(*root.ome.content.value()->find("test")), R"([{"ID":"Dye:1"}])");
    EXPECT_EQ(dye.id.count(), 2u);
    reference.reset();
    EXPECT_EQ(reference.referent(), nullptr);
    EXPECT_EQ(root.ome.content.value()->find("test"), nullptr);
    EXPECT_EQ(dye.id.count(), 1u);
}

TEST_F(OmeReference, CreatesItsReferentWhenItIsWrittenThrough) {
    reference->name().set("new");
    EXPECT_EQ(root.ome.dyes()->size(), 2u);
    EXPECT_EQ(text(*reference.value()), R"({"ID":"Dye:2"})");
    EXPECT_EQ(*root.find_dye("Dye:2").name().value(), JSON::Value("new"));
    reference->name().set("same");
    EXPECT_EQ(root.ome.dyes()->size(), 2u);
}

TEST_F(OmeReference, IsFoundByItsIdentifier) {
    reference.id.set("Dye:1");
    EXPECT_EQ(reference.referent(), nullptr);
    reference.resolve_references();
    EXPECT_EQ(reference.referent(), &dye);
    reference.resolve_references();
    EXPECT_EQ(dye.id.count(), 2u);
}

TEST_F(OmeReference, ToAMissingElementCannotBeResolved) {
    reference.id.set("Dye:5");
    VEXA_EXPECT_THROWS(reference.resolve_references(), Invalid_Argument, "Incomplete data: missing Dye:5.");
    reference.id.set("Foo:5");
    VEXA_EXPECT_THROWS(reference.resolve_references(), Invalid_Argument, "Incomplete data: missing Foo:5.");
}

TEST_F(OmeReference, WithoutAnArrayStaysUnresolved) {
    root.ome.projects().clear();
    reference.id.set("Dye:5");
    reference.resolve_references();
    EXPECT_EQ(reference.referent(), nullptr);
}

TEST_F(OmeReference, ForgetsAReferentThatIsDestroyed) {
    One_of<Reference<Dye>> second(root.ome.content, "second"), third(root.ome.content, "third");
    reference.set_referent(dye);
    second.set_referent(dye);
    third.set_referent(dye);
    second.reset();
    root.ome.dyes()->clear();
    EXPECT_EQ(reference.referent(), nullptr);
    EXPECT_EQ(third.referent(), nullptr);
    EXPECT_EQ(numbers.count(1), 2u);
}

TEST_F(OmeReference, IsCopiedAsAReference) {
    reference.set_referent(dye);
    One_of<Reference<Dye>> copy(root.ome.content, "copy");
    copy = reference;
    EXPECT_EQ(copy.referent(), &dye);
    EXPECT_EQ(dye.id.count(), 3u);
    Root other("");
    One_of<Reference<Dye>> elsewhere(other.ome.content, "copy");
    elsewhere = reference;
    EXPECT_EQ(elsewhere.referent(), nullptr);
    EXPECT_EQ(*elsewhere.id.value(), JSON::Value("Dye:1"));
    reference.reset();
    copy = reference;
    EXPECT_FALSE(copy);
    EXPECT_EQ(dye.id.count(), 1u);
}

TEST_F(OmeReference, ToAnElementWithoutAnIdentifierIsRefused) {
    dye.reset();
    VEXA_EXPECT_THROWS(reference.set_referent(dye), std::bad_variant_access, "bad variant access");
    EXPECT_EQ(reference.referent(), nullptr);
}

TEST_F(OmeReference, ToAConstElementCreatesNothing) {
    One_of<Settings> settings(root.ome.content, "settings");
    EXPECT_EQ(settings.get_referent(), nullptr);
    EXPECT_EQ(root.ome.dyes()->size(), 1u);
    settings.set_referent(dye);
    EXPECT_EQ(settings.get_referent(), &dye);
    EXPECT_EQ(&*settings, &dye);
}

TEST_F(OmeReference, WithFieldsOfItsOwnIsReadCopiedAndReset) {
    Root read(R"(<OME><Project><AnnotationRef ID="Annotation:1"/></Project><settings ID="Dye:4" level="2.5"/>
<StructuredAnnotations><XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/project/extension">
<Value><extension><band ID="Band:1"/><dye ID="Dye:4"/></extension></Value></XMLAnnotation></StructuredAnnotations></OME>)");
    One_of<Settings> settings(read.ome.content, "settings"), copy(read.ome.content, "copy");
    settings.resolve_references();
    EXPECT_EQ(settings.referent(), &read.find_dye("Dye:4"));
    EXPECT_EQ(*settings.level.value(), JSON::Value(2.5));
    copy = settings;
    EXPECT_EQ(copy.referent(), settings.referent());
    EXPECT_EQ(text(*copy.value()), R"({"ID":"Dye:4","level":2.5})");
    EXPECT_EQ(settings.id.count(), 3u);
    settings.reset();
    EXPECT_FALSE(settings.level);
    copy = settings;
    EXPECT_FALSE(copy);
    EXPECT_EQ(read.find_dye("Dye:4").id.count(), 1u);
}

TEST_F(OmeAnnotationReference, CreatesItsAnnotationWithTheFirstWrite) {
    Folder& folder = add();
    EXPECT_FALSE(folder.has_bookmark());
    EXPECT_TRUE(annotations.empty());
    folder.set_has_bookmark(true);
    ASSERT_EQ(annotations.size(), 1u);
    EXPECT_EQ(text(*annotations.front().value()),
              R"({"":{"Value":[{"":{"extension":[{"has_bookmark":true}]}}]},"ID":"Annotation:1",)"
              R"("Namespace":"urn:vexa/ome/folder/extension"})");
    EXPECT_EQ(text(*folder.value()), R"({"":{"AnnotationRef":[{"ID":"Annotation:1"}]},"ID":"Folder:1"})");
    EXPECT_EQ(numbers.count(1), 2u);
    EXPECT_TRUE(folder.has_bookmark());
}

TEST_F(OmeAnnotationReference, RemovesItsAnnotationWithItsOnlyOwner) {
    Folder& folder = add();
    folder.set_has_bookmark(true);
    folder.reset();
    EXPECT_TRUE(annotations.empty());
    EXPECT_TRUE(numbers.all().empty());
    EXPECT_FALSE(folder.has_bookmark());
}

TEST_F(OmeAnnotationReference, LeavesAnAnnotationThatIsUsedByTwo) {
    Root shared(document(folder("Folder:1", R"(<AnnotationRef ID="Annotation:4"/>)") +
                             folder("Folder:2", R"(<AnnotationRef ID="Annotation:4"/>)"),
                         annotation("Annotation:4", folder_namespace, R"(<extension is_overview="true"/>)")));
    Folder &first = shared.ome.folders().front(), &second = *std::next(shared.ome.folders().begin());
    EXPECT_TRUE(first.is_overview() && second.is_overview());
    EXPECT_EQ(shared.registry().numbers<Annotation>().count(4), 3u);
    first.reset();
    ASSERT_EQ(shared.ome.annotations().size(), 1u);
    EXPECT_TRUE(second.is_overview());
    EXPECT_EQ(shared.registry().numbers<Annotation>().count(4), 2u);
    second.reset();
    EXPECT_TRUE(shared.ome.annotations().empty());
    EXPECT_EQ(shared.registry().numbers<Annotation>().all().size(), 0u);
}

TEST_F(OmeAnnotationReference, FindsItsAnnotationByTheNamespace) {
    std::string const references =
        R"(<AnnotationRef ID="Annotation:7"/><AnnotationRef ID="Annotation:x"/><AnnotationRef ID="Annotation:2"/>)"
        R"(<AnnotationRef/><AnnotationRef ID="Annotation:3"/>)";
    Root const read(
        document(folder("Folder:1", references),
                 annotation("Annotation:x", "other", "<extension/>") +
                     annotation("Annotation:3", folder_namespace, R"(<extension is_overview="true"/>)") +
                     annotation("Annotation:2", folder_namespace,
                                "<extension><creation_date>2024-02-29T12:00:00Z</creation_date>"
                                "<Processing><Grid>3x3</Grid></Processing></extension>")));
    Folder const& folder = *read.ome.first_folder();
    EXPECT_EQ(folder.processing_grid(), "3x3"); // the first that fits
    EXPECT_FALSE(folder.is_overview());
    EXPECT_EQ(folder.creation_date(), JSON::Time_Point(std::chrono::seconds(1709208000)));
    // References to annotations of no known class stay in the tree, and so do the annotations.
    EXPECT_EQ(read.ome.annotations().size(), 3u);
    EXPECT_EQ(folder.content.value()->find("AnnotationRef")->get<JSON::List>().size(), 5u);
    EXPECT_EQ(*Root(read.XML()).value(), *read.value());
}

TEST_F(OmeAnnotationReference, CopiesItsAnnotationWithItsOwner) {
    Folder &first = add(), &second = add();
    first.set_has_bookmark(true);
    first.set_processing_grid("2x2");
    second = first;
    ASSERT_EQ(annotations.size(), 2u);
    EXPECT_TRUE(second.has_bookmark());
    EXPECT_EQ(second.processing_grid(), "2x2");
    EXPECT_EQ(numbers.count(1), 2u);
    EXPECT_EQ(numbers.count(2), 2u);
    second.set_processing_grid("4x4");
    EXPECT_EQ(first.processing_grid(), "2x2");
    second = first;
    EXPECT_EQ(second.processing_grid(), "2x2");
    EXPECT_EQ(annotations.size(), 2u);
    first = *&first;
    EXPECT_EQ(first.processing_grid(), "2x2");
    Folder& third = add();
    second = third;
    EXPECT_EQ(annotations.size(), 1u);
    EXPECT_FALSE(second.has_bookmark());
}

TEST_F(OmeAnnotationReference, CopiesItsAnnotationToAnotherDocument) {
    Folder& source = add();
    source.set_processing_grid("2x2");
    Root other("");
    Folder& target = *other.ome.folders().emplace_back();
    target = source;
    EXPECT_EQ(target.processing_grid(), "2x2");
    EXPECT_EQ(other.ome.annotations().size(), 1u);
    EXPECT_EQ(*Root(other.XML()).value(), *other.value());
}

TEST_F(OmeAnnotationReference, IsGoneWithAnAnnotationThatIsErased) {
    Folder& folder = add();
    folder.set_has_bookmark(true);
    annotations.remove("Annotation:1");
    EXPECT_FALSE(folder.has_bookmark());
    EXPECT_EQ(numbers.count(1), 1u);
    folder.set_is_overview(true);
    EXPECT_TRUE(folder.is_overview());
    EXPECT_EQ(folder.content.value()->find("AnnotationRef")->get<JSON::List>().size(), 1u);
    folder.reset();
    EXPECT_TRUE(annotations.empty());
}

TEST_F(OmeAnnotationReference, SurvivesTheEndOfTheListItShares) {
    Folder& folder = add();
    folder.set_has_bookmark(true);
    folder.content.reset();
    EXPECT_TRUE(annotations.empty());
    EXPECT_FALSE(folder.has_bookmark());
    folder.set_has_bookmark(true);
    EXPECT_EQ(text(*folder.value()), R"({"":{"AnnotationRef":[{"ID":"Annotation:1"}]},"ID":"Folder:1"})");
    JSON::Value raw = *folder.value();
    raw.get<JSON::Map>().erase("");
    folder.set(raw);
    EXPECT_FALSE(folder.has_bookmark());
    EXPECT_EQ(annotations.size(), 1u); // nobody refers to it
}

TEST_F(OmeAnnotationReference, KeepsAnAnnotationWithANamedIdentifier) {
    Root read(document(folder("Folder:1", R"(<AnnotationRef ID="Annotation:own"/>)"),
                       annotation("Annotation:own", folder_namespace, R"(<extension is_overview="true"/>)")));
    read.ome.folders().front().reset();
    EXPECT_EQ(read.ome.annotations().size(), 1u);
}
