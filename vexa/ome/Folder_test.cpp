#include <vexa/ome/Folder.h>

#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

struct FolderTest : testing::Test {
    Root root{""};
    Folder& folder = root.ome.provide_first_folder();
    std::string extension() { return JSON::dump(*root.ome.annotations().front().contents().value(), false); }
};

} // namespace

TEST_F(FolderTest, IsProvidedOnce) {
    EXPECT_EQ(&root.ome.provide_first_folder(), &folder);
    EXPECT_EQ(root.ome.first_folder(), &folder);
    EXPECT_EQ(std::as_const(root).ome.folders().size(), 1u);
}

TEST_F(FolderTest, ThatContainsItselfResolves) {
    Folder& second = *root.ome.folders().emplace_back();
    folder.add(folder);
    folder.add(second);
    second.add(folder);
    root.resolve_references();
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
    folder.remove(folder);
    folder.remove(folder); // not in the list
    EXPECT_EQ(JSON::dump(*folder.value(), false),
              R"({"":{"FolderRef":[{"ID":"Folder:2"}]},"ID":"Folder:1"})");
}

TEST_F(FolderTest, InALongChainResolves) {
    Folder* last = &folder;
    for (int i = 0; i < 20000; ++i) {
        Folder& next = *root.ome.folders().emplace_back();
        last->add(next);
        last->add(next);
        last = &next;
    }
    Root const read(root.XML());
    EXPECT_EQ(read.registry().numbers<Folder>().all().size(), 60001u);
}

TEST_F(FolderTest, WithoutAnExtensionHasNothing) {
    EXPECT_FALSE(folder.has_bookmark());
    EXPECT_FALSE(folder.is_overview());
    EXPECT_FALSE(folder.creation_date());
    EXPECT_EQ(folder.processing_grid(), "");
    folder.reset_processing_grid();
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_F(FolderTest, StoresEachFieldInItsPlace) {
    folder.name().set("n");
    folder.description().set("d");
    folder.set_has_bookmark(true);
    EXPECT_FALSE(folder.is_overview()); // the extension is there, the attribute isn't
    folder.set_is_overview(true);
    folder.set_processing_grid("3x3");
    EXPECT_EQ(extension(), R"({"extension":[{"":{"Processing":[{"":{"Grid":[{"":"3x3"}]}}]},)"
                           R"("has_bookmark":true,"is_overview":true}]})");
    folder.reset_processing_grid();
    EXPECT_EQ(extension(),
              R"({"extension":[{"":{"Processing":[{"":{}}]},"has_bookmark":true,"is_overview":true}]})");
    JSON::Time_Point const date(std::chrono::seconds(1709208000));
    folder.set_creation_date(date);
    EXPECT_EQ(folder.creation_date(), date);
    EXPECT_TRUE(folder.has_bookmark() && folder.is_overview());
}

TEST_F(FolderTest, ReadsItsFlagsFromText) {
    folder.set_has_bookmark(true);
    folder.set_is_overview(false);
    Root const read(root.XML());
    EXPECT_TRUE(read.ome.first_folder()->has_bookmark());
    EXPECT_FALSE(read.ome.first_folder()->is_overview());
    EXPECT_EQ(*read.value(), *root.value());
    std::string wrong = root.XML();
    wrong.replace(wrong.find("\"true\""), 6, "\"yes\"");
    VEXA_EXPECT_THROWS(Root(wrong), std::bad_variant_access, "bad variant access");
}
