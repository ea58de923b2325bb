#include "tiff_handle.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

namespace Vexa::tool {
namespace {

constexpr std::size_t most_warnings = 20; ///< a hostile file can cause any number

std::string text_of(char const* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    return text;
}

} // namespace

TiffHandle::TiffHandle(std::string const& path, char const* mode) {
    auto const options = std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)>(
        ::TIFFOpenOptionsAlloc(), &::TIFFOpenOptionsFree);
    ::TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &on_error, this);
    ::TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &on_warning, this);
    handle_.reset(::TIFFOpenExt(path.c_str(), mode, options.get()));
}

bool TiffHandle::close() {
    handle_.reset();
    return !has_error();
}

std::string TiffHandle::take_error() { return std::exchange(error_, {}).value_or("no reason given"); }

std::vector<std::string> TiffHandle::take_warnings() { return std::exchange(warnings_, {}); }

int TiffHandle::on_error(TIFF*, void* self, char const*, char const* format, va_list arguments) {
    static_cast<TiffHandle*>(self)->error_ = text_of(format, arguments);
    return 1;
}

int TiffHandle::on_warning(TIFF*, void* self, char const*, char const* format, va_list arguments) {
    // Fields that a program made up for itself are usual and mean nothing to others.
    if (std::string_view(format).starts_with("Unknown field")) return 1;
    auto& warnings = static_cast<TiffHandle*>(self)->warnings_;
    auto text = text_of(format, arguments);
    if (warnings.size() < most_warnings &&
        std::find(warnings.begin(), warnings.end(), text) == warnings.end())
        warnings.push_back(std::move(text));
    return 1;
}

} // namespace Vexa::tool
