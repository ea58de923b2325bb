#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <vexa/testing/bytes.h>

/// Directory trees and their blobs in tests.
namespace Vexa::testing {

/// What stands for a directory in the content of a tree.
inline std::string const is_a_directory = "<directory>";

/// The names below a folder, each with the content of the file.
inline std::map<std::string, std::string> tree_of(std::filesystem::path const& root) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(root)) {
        auto const name = entry.path().lexically_relative(root).generic_string();
        tree[name] = entry.is_directory() ? is_a_directory : read_bytes(entry.path());
    }
    return tree;
}

/// Make the directories and files that tree_of() would list.
inline void make_tree(std::filesystem::path const& root, std::map<std::string, std::string> const& tree) {
    std::filesystem::create_directories(root);
    for (auto const& [name, content] : tree)
        if (content == is_a_directory)
            std::filesystem::create_directories(root / name);
        else
            write_bytes(root / name, content);
}

/// The 147 bytes that a blob of an archive starts with.
inline std::string blob_header(std::uint32_t version = 3, std::int64_t creation_time = 0) {
    return std::string("ZFXDTA\0", 7) + bytes_of(version) + bytes_of(creation_time) + zero_bytes(128);
}

inline std::string blob_name(std::string const& name) {
    return bytes_of(static_cast<std::int64_t>(name.size())) + name;
}

inline std::string blob_directory(std::string const& name) { return blob_name(name) + '\1'; }

inline std::string blob_file(std::string const& name, std::string const& content) {
    return blob_name(name) + '\0' + bytes_of(static_cast<std::int64_t>(content.size())) + content;
}

inline std::string blob_end() { return zero_bytes(8); }

} // namespace Vexa::testing
