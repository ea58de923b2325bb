#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "failure.h"
#include "image.h"

namespace Vexa::tool {

/// Expect that the statement throws a Failure with this exit code and this text.
#define VEXA_EXPECT_FAILURE(statement, code, text)                                                           \
    do {                                                                                                     \
        try {                                                                                                \
            (void)(statement);                                                                               \
            ADD_FAILURE() << #statement " throws nothing";                                                   \
        } catch (::Vexa::tool::Failure const& failure) {                                                     \
            EXPECT_EQ(failure.exit(), code);                                                                 \
            EXPECT_EQ(std::string(failure.what()), std::string(text));                                       \
        }                                                                                                    \
    } while (false)

inline void put_file(std::filesystem::path const& path, std::string const& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good());
}

inline std::string get_file(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// All samples of a source as T, read in pieces of \p piece samples.
template <typename T>
std::vector<T> read_all(SampleSource& source, std::uint64_t piece = 7) {
    EXPECT_EQ(sizeof(T), source.info().element_size());
    std::vector<T> values(source.info().elements());
    for (std::uint64_t at = 0; at < values.size(); at += piece)
        source.read(values.data() + at, std::min<std::uint64_t>(piece, values.size() - at));
    return values;
}

inline std::string all_bytes(SampleSource& source) {
    std::string bytes(source.info().elements() * source.info().element_size(), '\0');
    source.read(bytes.data(), source.info().elements());
    return bytes;
}

} // namespace Vexa::tool
