#pragma once

#include <cstdint>
#include <vector>

#include "output_file.h"

namespace Vexa::tool {

/// A grey picture: 8 or 16 bits, rows from the top.
struct GreyPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int bits = 8;
    std::vector<std::uint16_t> pixels; ///< 0 to 255 with 8 bits

    std::uint16_t white() const { return bits == 8 ? 255 : 65535; }
};

/// The values that become black and white.
struct Contrast {
    double black = 0;
    double white = 1;
};

/// The lowest and the highest finite value; {0, 1} when there is none.
Contrast find_contrast(std::vector<double> const& values);

/// Map values to grey, linearly and cut at both ends; NaN becomes black. Where black and white are the same,
/// all that is not above them is black.
/// \param values width * height of them, row by row
GreyPicture make_picture(std::vector<double> const& values, std::uint32_t width, std::uint32_t height,
                         int bits, Contrast const& contrast);

/// Draw a bar of \p length pixels into the lower right corner, white with a black rim.
void draw_scale_bar(GreyPicture& picture, std::uint32_t length);

/// Write the picture. The file is not yet published.
/// \throws Failure with Exit::output_failed
void write_png(OutputFile const& file, GreyPicture const& picture);

} // namespace Vexa::tool
