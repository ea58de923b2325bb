#include "picture.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <png.h>

#include <vexa/testing/temporary_folder.h>

#include "image_testing.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;
using Vexa::testing::TemporaryFolder;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Contrast, IsTheRangeOfTheFiniteValues) {
    auto const range = find_contrast({3, nan, -2, infinity, 7, -infinity});
    EXPECT_EQ(range.black, -2);
    EXPECT_EQ(range.white, 7);
}

TEST(Contrast, WithoutFiniteValuesIsZeroToOne) {
    for (auto const& values : {std::vector<double>{}, std::vector<double>{nan, infinity}}) {
        auto const range = find_contrast(values);
        EXPECT_EQ(range.black, 0);
        EXPECT_EQ(range.white, 1);
    }
}

TEST(Picture, ValuesAreStretchedAndCut) {
    auto const picture = make_picture({0, 1, 2, 3, 4, nan, infinity, -infinity}, 4, 2, 8, {1, 3});
    EXPECT_THAT(picture.pixels, ElementsAre(0, 0, 128, 255, 255, 0, 255, 0));
}

TEST(Picture, SixteenBitsReachFartherThanEight) {
    EXPECT_THAT(make_picture({0, 0.5, 1}, 3, 1, 16, {0, 1}).pixels, ElementsAre(0, 32768, 65535));
}

TEST(Picture, FlatPlaneIsBlack) {
    EXPECT_THAT(make_picture({5, 5, 6}, 3, 1, 8, {5, 5}).pixels, ElementsAre(0, 0, 255));
}

TEST(Picture, WholeRangeOfDoublesDoesNotOverflow) {
    double const most = std::numeric_limits<double>::max();
    EXPECT_THAT(make_picture({-most, 0, most}, 3, 1, 8, {-most, most}).pixels, ElementsAre(0, 128, 255));
}

TEST(ScaleBar, IsAWhiteBarWithABlackRimInTheLowerRightCorner) {
    GreyPicture picture{40, 30, 8, std::vector<std::uint16_t>(40 * 30, 100)};
    draw_scale_bar(picture, 10);
    EXPECT_EQ(std::count(picture.pixels.begin(), picture.pixels.end(), 255), 2 * 10);
    EXPECT_EQ(std::count(picture.pixels.begin(), picture.pixels.end(), 0), 12 * 4 - 20);
    EXPECT_EQ(picture.pixels[40 * 24 + 26], 255);
    EXPECT_EQ(picture.pixels[40 * 25 + 35], 255);
}

TEST(ScaleBar, ThatDoesNotFitIsLeftOut) {
    GreyPicture picture{17, 30, 8, std::vector<std::uint16_t>(17 * 30, 100)};
    auto const before = picture.pixels;
    draw_scale_bar(picture, 10);
    draw_scale_bar(picture, 0);
    EXPECT_EQ(picture.pixels, before);
}

/// Read back by libpng's own simple reader.
std::vector<std::uint8_t> decode(std::filesystem::path const& path, std::uint32_t& width,
                                 std::uint32_t& height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&image, path.c_str())) << image.message;
    image.format = PNG_FORMAT_GRAY;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) << image.message;
    width = image.width;
    height = image.height;
    return pixels;
}

TEST(Png, EightBitsReadBack) {
    TemporaryFolder folder;
    OutputFile output(folder / "a.png", false);
    write_png(output, {3, 2, 8, {0, 1, 2, 253, 254, 255}});
    output.publish();
    std::uint32_t width = 0, height = 0;
    EXPECT_THAT(decode(folder / "a.png", width, height), ElementsAre(0, 1, 2, 253, 254, 255));
    EXPECT_EQ(width, 3u);
    EXPECT_EQ(height, 2u);
}

TEST(Png, SixteenBitsAreInTheHeader) {
    TemporaryFolder folder;
    OutputFile output(folder / "a.png", false);
    write_png(output, {2, 1, 16, {0, 65535}});
    output.publish();
    auto const bytes = get_file(folder / "a.png");
    EXPECT_EQ(bytes.substr(12, 14), std::string("IHDR\0\0\0\2\0\0\0\1\x10\0", 14));
}

TEST(Png, PlaneWithoutPixelsIsRefused) {
    TemporaryFolder folder;
    OutputFile output(folder / "a.png", false);
    VEXA_EXPECT_FAILURE(write_png(output, {0, 2, 8, {}}), Exit::wrong_use,
                        "A PNG file can't hold a plane without pixels.");
}

TEST(Png, WriteErrorIsAFailure) {
    TemporaryFolder folder;
    OutputFile output(folder / "a.png", false);
    std::filesystem::remove(output.path());
    std::filesystem::create_symlink("/dev/full", output.path());
    GreyPicture picture{500, 500, 16, std::vector<std::uint16_t>(500 * 500)};
    for (std::size_t i = 0; i < picture.pixels.size(); ++i)
        picture.pixels[i] = static_cast<std::uint16_t>(i * 40503);
    try {
        write_png(output, picture);
        ADD_FAILURE() << "nothing thrown";
    } catch (Failure const& failure) {
        EXPECT_EQ(failure.exit(), Exit::output_failed);
    }
}

} // namespace
} // namespace Vexa::tool
