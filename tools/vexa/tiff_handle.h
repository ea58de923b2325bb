#pragma once

#include <cstdarg>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tiffio.h>

namespace Vexa::tool {

/// A TIFF handle of libtiff, which hands its errors and warnings to us instead of printing them.
class TiffHandle {
public:
    /// \param mode as TIFFOpen takes it. The handle is empty when opening fails.
    TiffHandle(std::string const& path, char const* mode);
    TiffHandle(TiffHandle const&) = delete;
    TiffHandle& operator=(TiffHandle const&) = delete;

    TIFF* get() const { return handle_.get(); }
    explicit operator bool() const { return handle_ != nullptr; }
    /// Close now, as the last data go to disk then.
    /// \return whether no error came
    bool close();
    bool has_error() const { return error_.has_value(); }
    /// The last error since the last call, the one that ended the work; or a general text.
    std::string take_error();
    std::vector<std::string> take_warnings();

private:
    static int on_error(TIFF*, void* self, char const* module, char const* format, va_list arguments);
    static int on_warning(TIFF*, void* self, char const* module, char const* format, va_list arguments);

    struct Close {
        void operator()(TIFF* handle) const { ::TIFFClose(handle); }
    };
    std::optional<std::string> error_;
    std::vector<std::string> warnings_;
    std::unique_ptr<TIFF, Close> handle_;
};

} // namespace Vexa::tool
