#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace Vexa::tool {

/// A file that is read in order.
class InputFile {
public:
    /// \throws Failure with Exit::no_input
    explicit InputFile(std::filesystem::path const& path);

    std::uint64_t size() const { return size_; }
    std::uint64_t left() const { return size_ - position_; }
    std::uint64_t position() const { return position_; }
    /// \throws Failure with Exit::damaged when there are fewer than \p n bytes left
    void read(void* to, std::size_t n);
    int descriptor() const { return ::fileno(file_.get()); }
    std::filesystem::path const& path() const { return path_; }

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::filesystem::path path_;
    std::unique_ptr<std::FILE, Close> file_;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

} // namespace Vexa::tool
