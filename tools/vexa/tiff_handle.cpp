#include "tiff_handle.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

namespace Vexa::tool {
namespace {

constexpr std::size_t most_messages = 20; ///< a hostile file can cause any number

void note(std::vector<std::string>& messages, char const* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    if (messages.size() < most_messages &&
        std::find(messages.begin(), messages.end(), text) == messages.end())
        messages.emplace_back(text);
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
    return errors_.empty();
}

std::string TiffHandle::take_error() {
    auto const text = errors_.empty() ? std::string("no reason given") : errors_.front();
    errors_.clear();
    return text;
}

std::vector<std::string> TiffHandle::take_warnings() { return std::exchange(warnings_, {}); }

int TiffHandle::on_error(TIFF*, void* self, char const*, char const* format, va_list arguments) {
    note(static_cast<TiffHandle*>(self)->errors_, format, arguments);
    return 1;
}

int TiffHandle::on_warning(TIFF*, void* self, char const*, char const* format, va_list arguments) {
    // Fields that a program made up for itself are usual and mean nothing to others.
    if (std::string_view(format).starts_with("Unknown field")) return 1;
    note(static_cast<TiffHandle*>(self)->warnings_, format, arguments);
    return 1;
}

} // namespace Vexa::tool
