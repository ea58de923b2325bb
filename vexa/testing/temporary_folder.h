#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Vexa::testing {

/// A fresh folder that goes away, with all in it, when the object does.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "vexa_XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("Cannot make a temporary folder.");
        path_ = name;
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::filesystem::path const& path() const { return path_; }
    std::filesystem::path operator/(std::filesystem::path const& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace Vexa::testing
