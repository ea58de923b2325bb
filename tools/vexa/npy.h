#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "image.h"
#include "output_file.h"

namespace Vexa::tool {

/// What the header of a .npy file says.
struct NpyHeader {
    int type = 0;
    std::size_t element_size = 0; ///< of one number; half of the type's size for complex ones
    bool swapped = false;         ///< big-endian numbers
    bool fortran_order = false;
    std::vector<unsigned long> shape; ///< as it stands there: slowest first in C order
};

/// Read the dictionary of a header.
/// \throws std::runtime_error with a text for the user
NpyHeader parse_npy_header(std::string_view text);

/// The type that a "descr" such as "<u2" names, 0 when there is none.
int npy_type(std::string_view descr);
/// The "descr" of a type, empty when there is none.
std::string npy_descr(int type);

std::unique_ptr<SampleSource> open_npy(std::filesystem::path const& path);

/// \param file must outlive the result
std::unique_ptr<SampleSink> write_npy(OutputFile const& file, ImageInfo const& info);

} // namespace Vexa::tool
