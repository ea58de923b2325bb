#include "dbl_image.h"

#include <numeric>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <vexa/bf/dbl.h>
#include <vexa/foundation/types.h>

#include "run_tool.h"

namespace Vexa::tool {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Json = nlohmann::json;

class DblImage : public ToolTest {
protected:
    /// Samples 0, 1, 2, ...
    /// \param mode of vexa_dbl_write()
    std::string dbl_file(std::array<int, 4> dims, int mode, char const* name = "a.dbl") const {
        std::array<float, 4> lengths{1.5f, 2.5f, 3.5f, 4.5f};
        std::size_t count = 1;
        for (int const size : dims) count *= static_cast<std::size_t>(size);
        std::vector<double> samples(count);
        std::iota(samples.begin(), samples.end(), 0.0);
        EXPECT_EQ(vexa_dbl_write(path(name).c_str(), dims.data(), lengths.data(), samples.data(), mode), 1);
        return path(name);
    }

    Json stack_of(std::string const& file) const {
        return Json::parse(output({"info", file, "--json"}))["stacks"][0];
    }
};

TEST_F(DblImage, IsListedAndPrintedLikeAnyFile) {
    auto const file = dbl_file({3, 2, 1, 1}, 0);
    EXPECT_THAT(output({"ls", file}), ContainsRegex("0  -     2 x 3  double .* complete\n"));
    EXPECT_EQ(output({"cat", file, "0"}), "0 1 2\n3 4 5\n");
    auto const stack = stack_of(file);
    EXPECT_EQ(stack["type"], "double");
    EXPECT_EQ(stack["shape"], Json({3, 2}));
    EXPECT_EQ(stack["lengths"], Json({1.5, 2.5}));
    EXPECT_EQ(stack["data_start_position"], 128);
    EXPECT_THAT(output({"info", file}), HasSubstr("2 x 3 samples of double"));
    output({"export", file, "0", path("a.raw")});
    EXPECT_EQ(get_file(path("a.raw")), get_file(file).substr(128));
}

TEST_F(DblImage, IsImportedWithItsLengths) {
    output({"import", dbl_file({3, 2, 4, 1}, 1, "old.dbl"), path("a.vbf")});
    auto const stack = stack_of(path("a.vbf"));
    EXPECT_EQ(stack["name"], "old");
    EXPECT_EQ(stack["type"], "single");
    EXPECT_EQ(stack["shape"], Json({3, 2, 4}));
    EXPECT_EQ(stack["lengths"], Json({1.5, 2.5, 3.5}));
    EXPECT_EQ(stack["units"], Json({"", "", ""}));
    EXPECT_EQ(output({"cat", path("a.vbf"), "0", "3"}), "18 19 20\n21 22 23\n");
    EXPECT_EQ(run({"verify", path("a.vbf")}).code, 0);
}

TEST_F(DblImage, ImportKeepsWhatStandsBehindADimensionOf1) {
    output({"import", dbl_file({5, 1, 7, 1}, 0), path("a.vbf")});
    EXPECT_EQ(stack_of(path("a.vbf"))["shape"], Json({5, 1, 7}));
    EXPECT_EQ(output({"cat", path("a.vbf"), "0", "6, 0, 4"}), "34\n");
    output({"import", "-f", dbl_file({1, 1, 1, 1}, 0, "one.dbl"), path("a.vbf")});
    EXPECT_EQ(stack_of(path("a.vbf"))["shape"], Json({1}));
    EXPECT_EQ(output({"cat", path("a.vbf"), "0"}), "0\n");
}

TEST_F(DblImage, TailOfAnOlderFileIsLeftOut) {
    dbl_file({10, 10, 1, 1}, 0);
    output({"import", dbl_file({3, 1, 1, 1}, 0), path("a.vbf")});
    EXPECT_EQ(output({"cat", path("a.vbf"), "0"}), "0 1 2\n");
}

TEST_F(DblImage, FilesThatAreTooShortAreDamaged) {
    auto const file = dbl_file({3, 2, 1, 1}, 0);
    std::filesystem::resize_file(file, 128 + 47);
    auto result = run({"import", file, path("a.vbf")});
    EXPECT_EQ(result.code, 4);
    EXPECT_EQ(result.err, "vexa: " + file + ": the shape needs 48 bytes and the file has 47.\n");
    EXPECT_EQ(run({"cat", file, "0"}).code, 4);
    for (std::uintmax_t size : {127u, 20u, 0u}) {
        std::filesystem::resize_file(file, size);
        for (auto const& arguments :
             {std::vector<std::string>{"ls", file}, {"cat", file, "0"}, {"import", file, path("a.vbf")}}) {
            result = run(arguments);
            EXPECT_EQ(result.code, 4) << arguments[0] << size;
            EXPECT_EQ(result.err, "vexa: " + file + ": Error reading .dbl file.\n");
        }
    }
    EXPECT_EQ(run({"ls", path("missing.dbl")}).code, 3);
    EXPECT_THAT(names_in_folder(), ElementsAre("a.dbl"));
}

} // namespace
} // namespace Vexa::tool
