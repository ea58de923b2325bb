#pragma once

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include <vexa/bf/ZippedSegment.h>
#include <vexa/foundation/error.h>
#include <vexa/testing/memory_device.h>

/// What the tests of zipped segments share: data, sections of them in memory, and plain zlib to compare with.
namespace Vexa::testing::zipped {

using Vexa::bf::ThreadingSupport;
using Vexa::bf::ZippedSegment;

using Bytes = std::vector<unsigned char>;

inline constexpr unsigned long all_ones = ~0ul;
inline constexpr unsigned long start = 7;

/// Bytes that deflate shrinks to about two thirds, the same for each seed.
inline Bytes samples(std::size_t n, unsigned seed = 1) {
    std::mt19937 engine(seed);
    Bytes bytes(n);
    for (auto& byte : bytes) byte = static_cast<unsigned char>((engine() & 7u) * (engine() & 7u));
    return bytes;
}

inline Bytes noise(std::size_t n) {
    std::mt19937 engine(1);
    Bytes bytes(n);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(engine());
    return bytes;
}

/// A written section, at `start` of a device.
struct Section {
    MemoryDevice file{Bytes(start, 0xee)};
    unsigned long segment_size = 0;
    unsigned long uncompressed_size = 0;
    unsigned long block_size = 0;
    std::vector<unsigned long> flush_positions;
    int level = 1;

    Bytes compressed() const {
        return {file.bytes.begin() + start, file.bytes.begin() + static_cast<long>(start + segment_size)};
    }
    void open(ZippedSegment& segment, Vexa::bf::DiskFileAccess& device) const {
        segment.initialize(device, level, start, segment_size, uncompressed_size);
        if (block_size) segment.set_flush_positions(flush_positions, block_size);
    }
};

struct Writing {
    int level = 1;
    unsigned long block_size = 0;
    ThreadingSupport threads{};
    std::vector<std::size_t> cuts{};
};

inline Section write_section(Bytes const& data, Writing const& how) {
    Section section;
    section.level = how.level;
    section.block_size = how.block_size;
    section.uncompressed_size = data.size();
    section.file.threading = how.threads;
    section.file.seek(start);
    ZippedSegment segment;
    segment.initialize(section.file, how.level);
    segment.set_flush_block_size(how.block_size);
    std::size_t from = 0;
    for (std::size_t const cut : how.cuts) {
        segment.write(data.data() + from, cut - from);
        from = cut;
    }
    segment.write(data.data() + from, data.size() - from);
    EXPECT_EQ(segment.tell(), data.size());
    section.segment_size = segment.write_end();
    section.flush_positions = segment.flush_positions();
    EXPECT_EQ(section.file.bytes.size(), start + section.segment_size);
    return section;
}

inline Bytes plain_uncompress(Bytes const& compressed, std::size_t size) {
    Bytes out(size + 1);
    uLongf length = out.size();
    uLong input = compressed.size();
    EXPECT_EQ(::uncompress2(out.data(), &length, compressed.data(), &input), Z_OK);
    EXPECT_EQ(input, compressed.size());
    out.resize(length);
    return out;
}

inline Bytes read(ZippedSegment& segment, unsigned long n) {
    Bytes out(n, 0xcc);
    segment.read(out.data(), n);
    return out;
}

inline Bytes part(Bytes const& bytes, std::size_t from, std::size_t n) {
    return {bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(from + n)};
}

inline Bytes read_whole(Section& section, ThreadingSupport threads) {
    section.file.threading = std::move(threads);
    ZippedSegment segment;
    section.open(segment, section.file);
    return read(segment, section.uncompressed_size);
}

/// Collects warnings while it lives.
struct Warnings {
    Warnings() {
        VexaError::set_global_warning_callback([this](VexaError const& e) { texts.emplace_back(e.what()); });
    }
    ~Warnings() { VexaError::set_global_warning_callback(nullptr); }
    std::vector<std::string> texts;
};

} // namespace Vexa::testing::zipped
