#include "tiff_image.h"

#include <complex>
#include <numeric>
#include <random>

#include <gmock/gmock.h>
#include <tiffio.h>

#include <vexa/foundation/types.h>
#include <vexa/testing/temporary_folder.h>

#include "image_testing.h"
#include "tiff_notes.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;
using Vexa::testing::TemporaryFolder;

/// A file made by libtiff directly, page by page.
class Maker {
public:
    explicit Maker(std::filesystem::path const& path, char const* mode = "w")
        : tiff_(TIFFOpen(path.c_str(), mode)) {}
    ~Maker() { TIFFClose(tiff_); }
    Maker(Maker const&) = delete;
    Maker& operator=(Maker const&) = delete;

    Maker& page(std::uint32_t width, std::uint32_t height, int bits, int format = SAMPLEFORMAT_UINT) {
        width_ = width;
        height_ = height;
        bytes_ = static_cast<std::size_t>(bits) / 8;
        set(TIFFTAG_IMAGEWIDTH, width).set(TIFFTAG_IMAGELENGTH, height).set(TIFFTAG_BITSPERSAMPLE, bits);
        set(TIFFTAG_SAMPLEFORMAT, format).set(TIFFTAG_SAMPLESPERPIXEL, 1).set(TIFFTAG_PHOTOMETRIC, 1);
        return set(TIFFTAG_ROWSPERSTRIP, 2).set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    }
    template <typename T>
    Maker& set(std::uint32_t tag, T value) {
        EXPECT_EQ(TIFFSetField(tiff_, tag, value), 1);
        return *this;
    }
    /// Rows of the page; several samples side by side count in \p samples.
    template <typename T>
    Maker& rows(std::vector<T> values, std::uint32_t samples = 1, std::uint16_t plane = 0) {
        auto const row = values.size() / height_;
        EXPECT_EQ(row, std::size_t{width_} * samples);
        for (std::uint32_t y = 0; y < height_; ++y)
            EXPECT_EQ(TIFFWriteScanline(tiff_, values.data() + row * y, y, plane), 1);
        return *this;
    }
    template <typename T>
    Maker& tiles(std::vector<T> const& values, std::uint32_t side) {
        set(TIFFTAG_TILEWIDTH, side).set(TIFFTAG_TILELENGTH, side);
        for (std::uint32_t y = 0; y < height_; y += side)
            for (std::uint32_t x = 0; x < width_; x += side) {
                std::vector<T> tile(std::size_t{side} * side, T{77});
                for (std::uint32_t v = 0; v < side && y + v < height_; ++v)
                    for (std::uint32_t u = 0; u < side && x + u < width_; ++u)
                        tile[side * v + u] = values[std::size_t{width_} * (y + v) + x + u];
                EXPECT_NE(TIFFWriteTile(tiff_, tile.data(), x, y, 0, 0), -1);
            }
        return *this;
    }
    Maker& next() {
        EXPECT_EQ(TIFFWriteDirectory(tiff_), 1);
        return *this;
    }

private:
    TIFF* tiff_;
    std::uint32_t width_ = 0, height_ = 0;
    std::size_t bytes_ = 1;
};

template <typename Real>
struct Complex : std::complex<Real> {
    Complex(int real = 0) : std::complex<Real>(static_cast<Real>(real), Real{0.5}) {}
};

template <typename T>
std::vector<T> ramp(std::size_t n, int first = 1) {
    std::vector<T> values(n);
    for (std::size_t i = 0; i < n; ++i) values[i] = static_cast<T>(static_cast<int>(i) + first);
    return values;
}

class Tiff : public ::testing::Test {
protected:
    std::filesystem::path path() const { return folder_ / "a.tif"; }
    std::string name() const { return path().string(); }
    TemporaryFolder folder_;
};

TEST_F(Tiff, OnePageHasTwoAxes) {
    Maker(path()).page(3, 2, 8).rows(ramp<std::uint8_t>(6));
    auto const source = open_tiff(path());
    EXPECT_EQ(source->info().type, types::uint8);
    EXPECT_THAT(source->info().shape, ElementsAre(3, 2));
    EXPECT_THAT(source->info().labels, ElementsAre("", "")) << "their lengths are not known";
    EXPECT_THAT(read_all<std::uint8_t>(*source), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(Tiff, PagesAreTheThirdAxis) {
    {
        Maker maker(path());
        for (int page = 0; page < 3; ++page)
            maker.page(3, 5, 16).rows(ramp<std::uint16_t>(15, 100 * page)).next();
    }
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().shape, ElementsAre(3, 5, 3));
    auto const values = read_all<std::uint16_t>(*source);
    EXPECT_EQ(values[15], 100);
    EXPECT_EQ(values[44], 214);
}

template <typename T>
void expect_type(std::filesystem::path const& path, int format, int type, char const* mode) {
    auto const values = ramp<T>(12, -3);
    Maker(path, mode).page(3, 4, 8 * sizeof(T), format).rows(values);
    auto const source = open_tiff(path);
    EXPECT_EQ(source->info().type, type);
    EXPECT_EQ(read_all<T>(*source), values);
}

TEST_F(Tiff, EveryTypeInEveryByteOrderReads) {
    for (char const* mode : {"w", "wb", "w8", "w8b"}) {
        expect_type<std::uint8_t>(path(), SAMPLEFORMAT_UINT, types::uint8, mode);
        expect_type<std::uint16_t>(path(), SAMPLEFORMAT_UINT, types::uint16, mode);
        expect_type<std::uint32_t>(path(), SAMPLEFORMAT_UINT, types::uint32, mode);
        expect_type<std::uint64_t>(path(), SAMPLEFORMAT_UINT, types::uint64, mode);
        expect_type<std::int8_t>(path(), SAMPLEFORMAT_INT, types::int8, mode);
        expect_type<std::int16_t>(path(), SAMPLEFORMAT_INT, types::int16, mode);
        expect_type<std::int32_t>(path(), SAMPLEFORMAT_INT, types::int32, mode);
        expect_type<std::int64_t>(path(), SAMPLEFORMAT_INT, types::int64, mode);
        expect_type<float>(path(), SAMPLEFORMAT_IEEEFP, types::single, mode);
        expect_type<double>(path(), SAMPLEFORMAT_IEEEFP, types::double_, mode);
        expect_type<Complex<float>>(path(), SAMPLEFORMAT_COMPLEXIEEEFP, types::cplx_single, mode);
        expect_type<Complex<double>>(path(), SAMPLEFORMAT_COMPLEXIEEEFP, types::cplx_double, mode);
    }
}

TEST_F(Tiff, ColoursSideBySideAreAxisZero) {
    Maker(path())
        .page(2, 2, 8)
        .set(TIFFTAG_SAMPLESPERPIXEL, 3)
        .set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB)
        .rows(ramp<std::uint8_t>(12), 3);
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().shape, ElementsAre(3, 2, 2));
    EXPECT_THAT(source->info().labels, ElementsAre("S", "", ""));
    EXPECT_EQ(read_all<std::uint8_t>(*source), ramp<std::uint8_t>(12));
}

TEST_F(Tiff, ColoursInPlanesAreTheThirdAxis) {
    {
        Maker maker(path());
        for (int page = 0; page < 2; ++page) {
            maker.page(2, 3, 16)
                .set(TIFFTAG_SAMPLESPERPIXEL, 2)
                .set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
            for (int plane = 0; plane < 2; ++plane)
                maker.rows(ramp<std::uint16_t>(6, 100 * page + 10 * plane), 1,
                           static_cast<std::uint16_t>(plane));
            maker.next();
        }
    }
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().shape, ElementsAre(2, 3, 2, 2));
    auto const values = read_all<std::uint16_t>(*source);
    EXPECT_EQ(values[0], 0);
    EXPECT_EQ(values[6], 10);
    EXPECT_EQ(values[12], 100);
    EXPECT_EQ(values[23], 115);
}

TEST_F(Tiff, TilesAreCutAtTheEdges) {
    auto const values = ramp<std::uint16_t>(37 * 21);
    Maker(path()).page(37, 21, 16).set(TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE).tiles(values, 16);
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().shape, ElementsAre(37, 21));
    EXPECT_EQ(read_all<std::uint16_t>(*source), values);
}

TEST_F(Tiff, CompressedStripsWithPredictorRead) {
    for (int compression : {COMPRESSION_LZW, COMPRESSION_PACKBITS, COMPRESSION_ADOBE_DEFLATE}) {
        auto const values = ramp<std::uint16_t>(200 * 9);
        {
            Maker maker(path());
            maker.page(200, 9, 16).set(TIFFTAG_COMPRESSION, compression);
            if (compression != COMPRESSION_PACKBITS) maker.set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
            maker.rows(values);
        }
        EXPECT_EQ(read_all<std::uint16_t>(*open_tiff(path())), values);
    }
}

TEST_F(Tiff, ReducedImagesAreLeftOut) {
    {
        Maker maker(path());
        maker.page(1, 1, 8).set(TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE).rows<std::uint8_t>({9}).next();
        maker.page(2, 1, 8).rows<std::uint8_t>({1, 2}).next();
        maker.page(1, 1, 8).set(TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE).rows<std::uint8_t>({9}).next();
        maker.page(2, 1, 8).rows<std::uint8_t>({3, 4});
    }
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().shape, ElementsAre(2, 1, 2));
    EXPECT_THAT(read_all<std::uint8_t>(*source), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(source->warnings(),
                ElementsAre(name() + ": 2 pages with reduced images or masks are left out."));
}

TEST_F(Tiff, PagesOfDifferentKindsAreRefused) {
    {
        Maker maker(path());
        maker.page(2, 1, 8).rows<std::uint8_t>({1, 2}).next();
        maker.page(2, 1, 16).rows<std::uint16_t>({3, 4});
    }
    VEXA_EXPECT_FAILURE(open_tiff(path()), Exit::no_input,
                        name() + ": page 1 has another size or type than page 0.");
}

TEST_F(Tiff, KindsThatCannotBeReadAreRefusedWithTheReason) {
    {
        std::uint8_t row = 0x55;
        TIFF* tiff = TIFFOpen(path().c_str(), "w");
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 8);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, 1);
        TIFFWriteScanline(tiff, &row, 0, 0);
        TIFFClose(tiff);
    }
    VEXA_EXPECT_FAILURE(open_tiff(path()), Exit::no_input,
                        name() + ": 1-bit samples of format 1 can't be read.");
    Maker(path()).page(2, 1, 16, SAMPLEFORMAT_IEEEFP).rows<std::uint16_t>({1, 2});
    VEXA_EXPECT_FAILURE(open_tiff(path()), Exit::no_input,
                        name() + ": 16-bit samples of format 3 can't be read.");
}

TEST_F(Tiff, WhatIsNoTiffIsRefusedWithLibtiffsReason) {
    put_file(path(), "this is a text");
    VEXA_EXPECT_FAILURE(open_tiff(path()), Exit::no_input,
                        name() +
                            ": not a TIFF file, or its first page can't be read: Not a TIFF or MDI file, bad "
                            "magic number 26740 (0x6874).");
    VEXA_EXPECT_FAILURE(open_tiff(folder_ / "none.tif"), Exit::no_input,
                        (folder_ / "none.tif").string() + ": cannot be read: No such file or directory");
}

TEST_F(Tiff, ResolutionInCentimetresGivesPixelLengths) {
    Maker(path())
        .page(2, 2, 8)
        .set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER)
        .set(TIFFTAG_XRESOLUTION, 1e5)
        .set(TIFFTAG_YRESOLUTION, 5e4)
        .rows(ramp<std::uint8_t>(4));
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().labels, ElementsAre("X", "Y"));
    ASSERT_EQ(source->info().pixel_lengths.size(), 2u);
    EXPECT_DOUBLE_EQ(source->info().pixel_lengths[0], 1e-7);
    EXPECT_DOUBLE_EQ(source->info().pixel_lengths[1], 2e-7);
}

TEST_F(Tiff, TruncatedAndDamagedFilesAreFailuresAndNeverMore) {
    {
        Maker maker(path());
        for (int page = 0; page < 2; ++page)
            maker.page(20, 20, 16)
                .set(TIFFTAG_COMPRESSION, COMPRESSION_LZW)
                .rows(ramp<std::uint16_t>(400, page))
                .next();
    }
    auto const good = get_file(path());
    auto const attempt = [&](std::string const& bytes) {
        put_file(folder_ / "bad.tif", bytes);
        try {
            auto const source = open_tiff(folder_ / "bad.tif");
            if (source->info().elements() < 1'000'000) all_bytes(*source);
        } catch (Failure const&) {
        }
    };
    for (std::size_t n = 0; n < good.size(); n += 23) attempt(good.substr(0, n));
    std::mt19937 random(11);
    for (int round = 0; round < 400; ++round) {
        auto bad = good;
        for (int k = 0; k < 3; ++k) bad[random() % bad.size()] = static_cast<char>(random());
        attempt(bad);
    }
}

template <typename T>
T number_at(std::string const& bytes, std::size_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

/// Where the directory at \p directory of a small TIFF file has the entry of \p tag: tag, type, count and value,
/// 12 bytes in all.
std::size_t entry_of(std::string const& bytes, std::size_t directory, std::uint16_t tag) {
    auto const count = number_at<std::uint16_t>(bytes, directory);
    for (std::size_t entry = 0; entry < count; ++entry)
        if (number_at<std::uint16_t>(bytes, directory + 2 + 12 * entry) == tag)
            return directory + 2 + 12 * entry;
    throw std::logic_error("The directory has no such entry.");
}

std::uint32_t first_directory(std::string const& bytes) { return number_at<std::uint32_t>(bytes, 4); }

std::uint32_t next_directory(std::string const& bytes, std::size_t directory) {
    return number_at<std::uint32_t>(bytes, directory + 2 + 12 * number_at<std::uint16_t>(bytes, directory));
}

TEST_F(Tiff, ADamagedPageIsNoEndOfTheFileWhereverItStands) {
    {
        Maker maker(path());
        for (int page = 0; page < 3; ++page) maker.page(2, 2, 8).rows(ramp<std::uint8_t>(4, page)).next();
    }
    auto const good = get_file(path());
    auto directory = first_directory(good);
    for (char const* const page : {"1", "2"}) {
        directory = next_directory(good, directory);
        auto bytes = good;
        std::uint16_t const unknown_tag = 65000;
        std::memcpy(bytes.data() + entry_of(good, directory, TIFFTAG_STRIPOFFSETS), &unknown_tag, 2);
        put_file(path(), bytes);
        VEXA_EXPECT_FAILURE(open_tiff(path()), Exit::damaged,
                            name() + ": page " + page +
                                " can't be read: TIFF directory is missing required \"StripOffsets\" field.");
    }
}

TEST_F(Tiff, HugeClaimIsRefusedBeforeAnythingIsAllocated) {
    Maker(path()).page(2, 2, 8).rows(ramp<std::uint8_t>(4));
    auto bytes = get_file(path());
    auto const width = entry_of(bytes, first_directory(bytes), TIFFTAG_IMAGEWIDTH);
    std::uint16_t const long_type = TIFF_LONG;
    std::uint32_t const huge = 0x7FFFFFFF;
    std::memcpy(bytes.data() + width + 2, &long_type, 2);
    std::memcpy(bytes.data() + width + 8, &huge, 4);
    put_file(path(), bytes);
    VEXA_EXPECT_FAILURE(open_tiff(path()), Exit::damaged,
                        name() + ": a page claims more pixels than the file can hold.");
}

ImageInfo info_of(int type, std::vector<unsigned long> shape, std::vector<std::string> labels = {}) {
    ImageInfo info;
    info.type = type;
    info.shape = std::move(shape);
    info.labels = std::move(labels);
    info.labels.resize(info.shape.size());
    return info;
}

std::string round_trip(std::filesystem::path const& path, ImageInfo const& info, std::string const& bytes) {
    OutputFile output(path, true);
    auto const sink = write_shaped_tiff(output, info);
    auto const samples = bytes.size() / info.element_size();
    for (std::size_t at = 0; at < samples; at += 11)
        sink->write(bytes.data() + at * info.element_size(), std::min<std::size_t>(11, samples - at));
    sink->finish();
    output.publish();
    return bytes;
}

TEST_F(Tiff, WrittenStacksOfAnyRankReadBackWithTheirShape) {
    for (auto const& shape : std::vector<std::vector<unsigned long>>{
             {1}, {7}, {3, 4}, {3, 1}, {5, 4, 3}, {5, 4, 1}, {2, 3, 4, 5}, {1, 1, 1, 2, 1}}) {
        auto const info = info_of(types::uint16, shape);
        std::string bytes(info.elements() * 2, '\0');
        std::iota(bytes.begin(), bytes.end(), '\0');
        round_trip(path(), info, bytes);
        auto const source = open_tiff(path());
        EXPECT_EQ(source->info().shape, shape);
        EXPECT_EQ(source->info().description, "");
        EXPECT_EQ(all_bytes(*source), bytes);
    }
}

TEST_F(Tiff, ColourAxisBecomesTheSamplesOfAPixel) {
    for (auto const& shape :
         std::vector<std::vector<unsigned long>>{{3, 4, 5}, {2, 4, 5, 3}, {4, 6}, {9, 2, 2, 2, 2}}) {
        auto const info = info_of(types::uint8, shape, {colour_label});
        std::string bytes(info.elements(), '\0');
        std::iota(bytes.begin(), bytes.end(), '\0');
        round_trip(path(), info, bytes);
        TIFF* tiff = TIFFOpen(path().c_str(), "r");
        std::uint16_t samples = 0;
        TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        TIFFClose(tiff);
        EXPECT_EQ(samples, shape[0]);
        auto const source = open_tiff(path());
        EXPECT_EQ(source->info().shape, shape);
        EXPECT_EQ(source->info().labels[0], colour_label);
        EXPECT_EQ(all_bytes(*source), bytes);
    }
}

TEST_F(Tiff, PixelLengthsReadBack) {
    auto info = info_of(types::single, {4, 4});
    info.pixel_lengths = {2e-8, 4e-8};
    round_trip(path(), info, std::string(64, '\1'));
    auto const source = open_tiff(path());
    ASSERT_EQ(source->info().pixel_lengths.size(), 2u);
    EXPECT_NEAR(source->info().pixel_lengths[0], 2e-8, 1e-14);
    EXPECT_NEAR(source->info().pixel_lengths[1], 4e-8, 1e-14);
}

TEST_F(Tiff, WhatATiffCannotHoldIsRefused) {
    OutputFile output(path(), true);
    VEXA_EXPECT_FAILURE(write_shaped_tiff(output, info_of(types::complex_flag | types::uint8, {2, 2})),
                        Exit::wrong_use, "A TIFF file can't hold samples of type 0x40000001.");
    VEXA_EXPECT_FAILURE(write_shaped_tiff(output, info_of(types::uint8, {2, 0})), Exit::wrong_use,
                        "A TIFF file can't hold a stack without samples.");
}

TEST(ShapeNote, ReadsWhatItWrites) {
    EXPECT_EQ(shape_note({5, 4, 3}), "{\"shape\": [3, 4, 5]}");
    EXPECT_THAT(parse_shape_note("{\"shape\": [3, 4, 5]}"), ElementsAre(5, 4, 3));
    EXPECT_THAT(parse_shape_note("{\"shape\": [3, 4, 5], \"more\": 1}"), ElementsAre());
    for (char const* text :
         {"", "{", "{\"shape\": [", "{\"shape\": []}", "{\"shape\": [0]}", "{\"shape\": [1,2]}",
          "{\"shape\": [99999999999999999999]}", "{\"shape\": [1", "some text"})
        EXPECT_THAT(parse_shape_note(text), ElementsAre()) << text;
}

TEST_F(Tiff, NoteThatDoesNotFitIsIgnored) {
    Maker(path())
        .page(3, 2, 8)
        .set(TIFFTAG_IMAGEDESCRIPTION, "{\"shape\": [7, 2, 3]}")
        .rows(ramp<std::uint8_t>(6));
    EXPECT_THAT(open_tiff(path())->info().shape, ElementsAre(3, 2));
}

TEST(PageNote, ReadsTheLinesItKnows) {
    auto const note = parse_page_note(
        "ImageJ=1.5\nimages=12\nchannels=2\nslices=3\nframes=2\nunit=micron\nspacing=0.5\nx\n");
    EXPECT_EQ(note.channels, 2u);
    EXPECT_EQ(note.slices, 3u);
    EXPECT_EQ(note.frames, 2u);
    EXPECT_EQ(note.unit_metres, 1e-6);
    EXPECT_EQ(note.spacing, 0.5);
    for (char const* text :
         {"", "channels=2\n", "ImageJ=", "ImageJ=1\nchannels=0\nslices=-1\nframes=x\nspacing=inf\nunit=px"}) {
        auto const none = parse_page_note(text);
        EXPECT_EQ(none.channels * none.slices * none.frames, 1u) << text;
        EXPECT_EQ(none.unit_metres + none.spacing, 0.0) << text;
    }
}

TEST_F(Tiff, PageNoteSplitsThePagesAndGivesTheLengths) {
    {
        Maker maker(path());
        for (int page = 0; page < 6; ++page) {
            maker.page(2, 2, 8).set(TIFFTAG_XRESOLUTION, 4.0).set(TIFFTAG_YRESOLUTION, 2.0);
            if (page == 0)
                maker.set(TIFFTAG_IMAGEDESCRIPTION,
                          "ImageJ=1\nchannels=2\nslices=3\nunit=micron\nspacing=0.75\n");
            maker.set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE).rows(ramp<std::uint8_t>(4, 4 * page)).next();
        }
    }
    auto const source = open_tiff(path());
    EXPECT_THAT(source->info().shape, ElementsAre(2, 2, 2, 3));
    EXPECT_THAT(source->info().labels, ElementsAre("X", "Y", "", "Z"));
    ASSERT_EQ(source->info().pixel_lengths.size(), 4u);
    EXPECT_DOUBLE_EQ(source->info().pixel_lengths[0], 0.25e-6);
    EXPECT_DOUBLE_EQ(source->info().pixel_lengths[1], 0.5e-6);
    EXPECT_EQ(source->info().pixel_lengths[2], 0.0);
    EXPECT_DOUBLE_EQ(source->info().pixel_lengths[3], 0.75e-6);
    EXPECT_EQ(read_all<std::uint8_t>(*source), ramp<std::uint8_t>(24, 0));
}

TEST_F(Tiff, PageNoteThatDoesNotFitIsIgnored) {
    {
        Maker maker(path());
        for (int page = 0; page < 3; ++page) {
            maker.page(2, 2, 8).set(TIFFTAG_IMAGEDESCRIPTION,
                                    "ImageJ=1\nchannels=2\nslices=9223372036854775808\n");
            maker.rows(ramp<std::uint8_t>(4)).next();
        }
    }
    EXPECT_THAT(open_tiff(path())->info().shape, ElementsAre(2, 2, 3));
}

TEST_F(Tiff, OtherDescriptionIsKept) {
    Maker(path()).page(3, 2, 8).set(TIFFTAG_IMAGEDESCRIPTION, "a cell").rows(ramp<std::uint8_t>(6));
    EXPECT_EQ(open_tiff(path())->info().description, "a cell");
}

} // namespace
} // namespace Vexa::tool
