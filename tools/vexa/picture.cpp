#include "picture.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fmt/format.h>
#include <png.h>

#include "failure.h"

namespace Vexa::tool {
namespace {

/// What libpng is given to report through: it must not unwind through C++ frames, so that it jumps.
struct PngErrors {
    char text[256] = "";
};

void on_error(png_structp png, png_const_charp text) {
    auto* errors = static_cast<PngErrors*>(::png_get_error_ptr(png));
    std::snprintf(errors->text, sizeof errors->text, "%s", text);
    std::longjmp(*::png_set_longjmp_fn(png, std::longjmp, sizeof(jmp_buf)), 1);
}
void on_warning(png_structp, png_const_charp) {}

/// The part that libpng may leave by a jump: no object with a destructor lives in it.
bool encode(png_structp png, png_infop info, std::FILE* file, GreyPicture const& picture,
            unsigned char* row) {
    if (setjmp(*::png_set_longjmp_fn(png, std::longjmp, sizeof(jmp_buf)))) return false;
    ::png_init_io(png, file);
    ::png_set_IHDR(png, info, picture.width, picture.height, picture.bits, PNG_COLOR_TYPE_GRAY,
                   PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    ::png_write_info(png, info);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        std::uint16_t const* const from = picture.pixels.data() + std::size_t{picture.width} * y;
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            if (picture.bits == 8) {
                row[x] = static_cast<unsigned char>(from[x]);
            } else {
                row[2 * std::size_t{x}] = static_cast<unsigned char>(from[x] >> 8);
                row[2 * std::size_t{x} + 1] = static_cast<unsigned char>(from[x] & 0xFF);
            }
        }
        ::png_write_row(png, row);
    }
    ::png_write_end(png, info);
    return true;
}

struct PngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;
    explicit PngWriter(PngErrors& errors)
        : png(::png_create_write_struct(PNG_LIBPNG_VER_STRING, &errors, &on_error, &on_warning)),
          info(png ? ::png_create_info_struct(png) : nullptr) {}
    PngWriter(PngWriter const&) = delete;
    PngWriter& operator=(PngWriter const&) = delete;
    ~PngWriter() { ::png_destroy_write_struct(&png, &info); }
};

} // namespace

Contrast find_contrast(std::vector<double> const& values) {
    Contrast range{HUGE_VAL, -HUGE_VAL};
    for (double const value : values) {
        if (!std::isfinite(value)) continue;
        range.black = std::min(range.black, value);
        range.white = std::max(range.white, value);
    }
    return range.black <= range.white ? range : Contrast{};
}

GreyPicture make_picture(std::vector<double> const& values, std::uint32_t width, std::uint32_t height,
                         int bits, Contrast const& contrast) {
    GreyPicture picture{width, height, bits, std::vector<std::uint16_t>(values.size())};
    // Halves, because the difference of two numbers may exceed the largest one.
    double const span = contrast.white / 2 - contrast.black / 2;
    for (std::size_t i = 0; i < values.size(); ++i) {
        double part = span > 0                     ? (values[i] / 2 - contrast.black / 2) / span
                      : values[i] > contrast.white ? 1.0
                                                   : 0.0;
        if (!(part > 0)) part = 0;
        picture.pixels[i] = static_cast<std::uint16_t>(std::lround(std::min(part, 1.0) * picture.white()));
    }
    return picture;
}

void draw_scale_bar(GreyPicture& picture, std::uint32_t length) {
    auto const thickness = std::max(2u, picture.height / 100);
    auto const margin = std::max(4u, picture.height / 40);
    if (length == 0 || picture.width < length + 2 * margin || picture.height < thickness + 2 * margin) return;
    auto const left = picture.width - margin - length, top = picture.height - margin - thickness;
    for (auto y = top - 1; y <= top + thickness; ++y)
        for (auto x = left - 1; x <= left + length; ++x) {
            bool const rim = y < top || y == top + thickness || x < left || x == left + length;
            picture.pixels[std::size_t{picture.width} * y + x] = rim ? std::uint16_t{0} : picture.white();
        }
}

void write_png(OutputFile const& file, GreyPicture const& picture) {
    auto const failed = [&](char const* reason) {
        return Failure(Exit::output_failed,
                       fmt::format("{}: cannot be written: {}", file.target().string(), reason));
    };
    if (picture.width == 0 || picture.height == 0)
        throw Failure(Exit::wrong_use, "A PNG file can't hold a plane without pixels.");
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.path().c_str(), "wb"),
                                                           &std::fclose);
    if (!stream) throw failed(std::strerror(errno));
    std::vector<unsigned char> row(2 * std::size_t{picture.width});
    PngErrors errors;
    PngWriter writer(errors);
    if (!writer.info) throw failed("libpng does not start");
    if (!encode(writer.png, writer.info, stream.get(), picture, row.data())) throw failed(errors.text);
    if (std::fclose(stream.release()) != 0) throw failed(std::strerror(errno));
}

} // namespace Vexa::tool
