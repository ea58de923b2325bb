// Every image of the sample folder goes in and comes out again, and reads as the table of the folder says.

#include <algorithm>
#include <locale>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include <vexa/foundation/types.h>

#include "image.h"
#include "run_tool.h"
#include "text.h"

namespace Vexa::tool {
namespace {

/// A line of the table of images.
struct Listed {
    std::string name;
    std::string shape; ///< "YX 512x512", slowest axis first
    std::string type;
    double least = 0, most = 0;
};

/// Files that the tool leaves to other programs, each with the reason.
std::set<std::string> const not_readable{
    "scikit-image/cell.png", // PNG is a form for pictures that go out; samples come in as TIFF, NumPy or raw
};

std::string trimmed(std::string text) {
    text.erase(0, text.find_first_not_of(" `"));
    text.erase(text.find_last_not_of(" `") + 1);
    return text;
}

std::vector<Listed> listed_images(std::filesystem::path const& readme) {
    std::vector<Listed> images;
    std::istringstream lines(get_file(readme));
    bool in_images = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("## ", 0) == 0) in_images = line == "## images/";
        if (!in_images || line.rfind("| `", 0) != 0) continue;
        std::vector<std::string> cells;
        std::istringstream row(line.substr(1));
        for (std::string cell; std::getline(row, cell, '|');) cells.push_back(trimmed(cell));
        if (cells.size() < 8) continue;
        Listed image{cells[0], cells[5], cells[6]};
        std::istringstream values(cells[7]);
        values.imbue(std::locale::classic());
        std::string dots;
        values >> image.least >> dots >> image.most;
        images.push_back(image);
    }
    return images;
}

/// The sizes in "ZCYX 45x2x130x133" (with a cross between them), the fastest first.
std::vector<unsigned long> sizes_of(std::string const& text) {
    std::vector<unsigned long> sizes;
    auto const start = text.rfind(' ') == std::string::npos ? 0 : text.rfind(' ') + 1;
    unsigned long size = 0;
    for (std::size_t at = start; at <= text.size(); ++at) {
        if (at < text.size() && text[at] >= '0' && text[at] <= '9') {
            size = 10 * size + static_cast<unsigned long>(text[at] - '0');
        } else if (size != 0) {
            sizes.insert(sizes.begin(), size);
            size = 0;
        }
    }
    return sizes;
}

class SharedImages : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(sample_folder() / "images"))
            GTEST_SKIP() << "There is no folder of sample images at " << sample_folder();
    }
    void expect_tool(std::vector<std::string> const& arguments) const {
        auto const result = runner_.run(arguments);
        ASSERT_EQ(result.code, 0) << result.err;
    }
    std::string temporary(std::string const& name) const { return (folder_ / name).string(); }

    Vexa::testing::TemporaryFolder folder_;
    ToolRunner runner_;
};

TEST_F(SharedImages, ReadAsTheTableSays) {
    auto const images = listed_images(sample_folder() / "README.md");
    ASSERT_GT(images.size(), 50u);
    for (auto const& image : images) {
        if (not_readable.count(image.name)) continue;
        SCOPED_TRACE(image.name);
        auto const source = open_image(sample_folder() / "images" / image.name);
        auto const& info = source->info();
        EXPECT_EQ(info.type, type_from_text(image.type));
        auto const sizes = sizes_of(image.shape);
        EXPECT_EQ(info.shape, sizes);
        auto const bytes = all_bytes(*source);
        double least = 0, most = 0;
        for (std::size_t at = 0; at < bytes.size(); at += info.element_size()) {
            auto const value = sample_value(bytes.data() + at, info.type);
            least = at == 0 ? value : std::min(least, value);
            most = at == 0 ? value : std::max(most, value);
        }
        EXPECT_NEAR(least, image.least, 1e-5 * std::max(1.0, std::abs(image.least)));
        EXPECT_NEAR(most, image.most, 1e-5 * std::max(1.0, std::abs(image.most)));
    }
}

/// A shape without axes of one sample, of which an OME document may have any number.
std::vector<unsigned long> without_ones(std::vector<unsigned long> shape) {
    std::erase(shape, 1);
    return shape;
}

TEST_F(SharedImages, OmeDocumentsComeAlong) {
    for (char const* const name : {"ome-types/ome.tiff", "viv/avivator_multi-channel.ome.tif"}) {
        auto const vbf = temporary("a.vbf"), tiff = temporary("a.ome.tif");
        auto const original = sample_folder() / "images" / name;
        expect_tool({"import", "-f", original.string(), vbf});
        expect_tool({"export", "-f", vbf, "0", tiff});
        auto const document = open_image(tiff)->info().description;
        EXPECT_NE(document.find(R"(<Channel ID="Channel:0:1" SamplesPerPixel="1"><LightPath/></Channel>)"),
                  std::string::npos);
        EXPECT_TRUE(all_bytes(*open_image(tiff)) == all_bytes(*open_image(original)));
    }
}

TEST_F(SharedImages, ImportExportAndCompareEqual) {
    std::size_t count = 0;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(sample_folder() / "images")) {
        auto const name = std::filesystem::relative(entry.path(), sample_folder() / "images").string();
        if (!entry.is_regular_file() || not_readable.count(name)) continue;
        SCOPED_TRACE(name);
        ++count;
        auto const source = open_image(entry.path());
        auto const bytes = all_bytes(*source);
        auto const vbf = temporary("a.vbf");
        expect_tool({"import", "-f", entry.path().string(), vbf});
        expect_tool({"verify", vbf});
        for (char const* ending : {"npy", "tif", "raw"}) {
            auto const out = temporary(std::string("b.") + ending);
            expect_tool({"export", "-f", vbf, "0", out});
            if (std::string(ending) == "raw") {
                EXPECT_EQ(get_file(out), bytes);
                continue;
            }
            auto const again = open_image(out);
            EXPECT_EQ(without_ones(again->info().shape), without_ones(source->info().shape)) << ending;
            EXPECT_EQ(again->info().type, source->info().type) << ending;
            EXPECT_TRUE(all_bytes(*again) == bytes) << ending;
        }
    }
    EXPECT_GT(count, 50u);
}

} // namespace
} // namespace Vexa::tool
