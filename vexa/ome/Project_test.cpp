#include <vexa/ome/Project.h>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>

using namespace OME;

namespace {

struct ProjectTest : testing::Test {
    Root root{""};
    Project& project = root.ome.provide_first_project();

    std::string datasets() {
        JSON::Value const* list = project.value()->find("", "DatasetRef");
        return list ? JSON::dump(*list, false) : "";
    }
};

} // namespace

TEST_F(ProjectTest, HasNoDyesUntilTheyAreProvided) {
    EXPECT_EQ(project.dyes(), nullptr);
    EXPECT_EQ(std::as_const(project).bands(), nullptr);
    EXPECT_TRUE(root.ome.annotations().empty());
    Array_of<Dye>& dyes = project.provide_dyes();
    EXPECT_EQ(&project.provide_dyes(), &dyes);
    EXPECT_EQ(project.dyes(), &dyes);
    EXPECT_EQ(std::as_const(project).dyes(), &dyes);
    EXPECT_EQ(&project.provide_bands(), project.bands());
    EXPECT_EQ(root.ome.annotations().size(), 1u);
    EXPECT_TRUE(root.ome.annotations().front().has_namespace("urn:vexa/ome/project/extension"));
}

TEST_F(ProjectTest, RefersToDatasets) {
    Dataset &first = *root.ome.datasets().emplace_back(), &second = *root.ome.datasets().emplace_back();
    project.add(first);
    project.add(second);
    EXPECT_EQ(datasets(), R"([{"ID":"Dataset:1"},{"ID":"Dataset:2"}])");
    project.remove(first);
    EXPECT_EQ(datasets(), R"([{"ID":"Dataset:2"}])");
    project.remove(first); // not in the list
    EXPECT_EQ(datasets(), R"([{"ID":"Dataset:2"}])");
    EXPECT_EQ(first.id.count(), 1u);
    EXPECT_EQ(second.id.count(), 2u);
}

TEST_F(ProjectTest, FindsReferencesHoweverOftenTheyChange) {
    Dataset* some[4];
    for (Dataset*& dataset : some) dataset = &*root.ome.datasets().emplace_back();
    for (int again = 0; again < 3; ++again) {
        for (Dataset* dataset : some) project.add(*dataset);
        for (Dataset* dataset : some) {
            project.remove(*dataset);
            project.remove(*dataset);
        }
        EXPECT_EQ(datasets(), "[]");
    }
}

TEST_F(ProjectTest, FindsItsFieldsAgainWhenItIsRead) {
    project.name().set("n");
    project.description().set("d");
    project.provide_dyes().emplace_back()->name().set("dye");
    project.update_2(); // as reading does
    Root const read(root.XML());
    EXPECT_EQ(*read.ome.first_project()->name().value(), JSON::Value("n"));
    EXPECT_EQ(*read.ome.first_project()->description().value(), JSON::Value("d"));
    ASSERT_NE(read.ome.first_project()->dyes(), nullptr);
    EXPECT_EQ(*read.ome.first_project()->dyes()->front().name().value(), JSON::Value("dye"));
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_F(ProjectTest, IsCopiedWithItsDyesAndBands) {
    project.provide_dyes().emplace_back();
    project.provide_bands().emplace_back()->add_dye("Dye:1");
    Root other("");
    other.ome.provide_first_project() = project;
    other.resolve_references();
    EXPECT_EQ(other.find_band("Band:1").first_dye(), &other.find_dye("Dye:1"));
    EXPECT_NE(other.find_band("Band:1").first_dye(), &root.find_dye("Dye:1"));
    EXPECT_EQ(*Root(other.XML()).value(), *other.value());
}

TEST_F(ProjectTest, ResetRemovesItsDyes) {
    project.provide_dyes().emplace_back();
    project.provide_bands().emplace_back()->add_dye("Dye:1");
    project.reset();
    EXPECT_TRUE(root.ome.annotations().empty());
    EXPECT_TRUE(root.registry().numbers<Dye>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Band>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Project>().all().empty());
}

TEST_F(ProjectTest, OfADatasetHasANameAndADescription) {
    Dataset& dataset = *root.ome.datasets().emplace_back();
    dataset.name().set("n");
    dataset.description().set("d");
    EXPECT_EQ(JSON::dump(*dataset.value(), false),
              R"({"":{"Description":[{"":"d"}]},"ID":"Dataset:1","Name":"n"})");
}
