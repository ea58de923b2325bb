#pragma once

#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <vexa/json/XML_Reader.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/sample_folder.h>

/// A collection of OME-XML documents that is kept outside of the project, if it is there.
namespace Vexa::testing {

inline std::filesystem::path shared_documents() { return sample_folder(VEXA_SOURCE_DIR) / "ome"; }

/// The texts of all documents by their paths below the folder.
inline std::map<std::string, std::string> shared_texts() {
    std::map<std::string, std::string> result;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(shared_documents()))
        if (entry.path().filename().string().ends_with(".ome.xml"))
            result.emplace(entry.path().lexically_relative(shared_documents()).generic_string(),
                           read_bytes(entry.path()));
    return result;
}

/// Read a document that must be closed at its end.
inline JSON::Value read_document(std::string const& text, std::string const& name) {
    JSON::Value tree;
    char const* pos = text.data();
    EXPECT_TRUE(JSON::XML_Reader(tree).read(pos, pos + text.size())) << name;
    return tree;
}

/// Tests with that collection, which are skipped without it.
class SharedDocuments : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::is_directory(shared_documents()))
            GTEST_SKIP() << "There is no folder " << shared_documents();
    }
};

} // namespace Vexa::testing
