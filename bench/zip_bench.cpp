#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>
#include <zlib.h>

#include <bench/bench.h>
#include <vexa/bf/ChunkedSegment.h>
#include <vexa/bf/DiskFile.h>
#include <vexa/bf/ZippedSegment.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/temporary_folder.h>

// Writing and reading of compressed sections beside plain loops of deflate, inflate, fwrite and fread over
// the same blocks; and two threads beside one. Option --mebibytes=N sets the amount of data.

namespace {

using Vexa::bench::Clock;
using Vexa::bench::Table;
using Vexa::bf::ChunkedSegment;
using Vexa::bf::DiskFile;
using Vexa::bf::ZippedSegment;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t mebibyte = 1 << 20;
constexpr std::size_t block_size = 256 * 1024;
constexpr std::size_t piece_size = 4 * mebibyte; // what a stack passes on at a time
constexpr std::size_t plane_size = 1024 * 1024 * sizeof(std::uint16_t);

/// 16-bit samples with photon noise. They repeat, but far beyond the reach of deflate.
Bytes photon_noise(std::size_t n) {
    std::mt19937 engine(1);
    std::vector<std::uint16_t> samples(4 * mebibyte);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        double const mean = 40 + 30 * static_cast<double>(i % 1024) / 1024;
        samples[i] = static_cast<std::uint16_t>(std::poisson_distribution<int>(mean)(engine));
    }
    Bytes bytes(n);
    std::size_t const period = samples.size() * sizeof samples[0];
    for (std::size_t at = 0; at < n; at += period)
        std::memcpy(bytes.data() + at, samples.data(), std::min(period, n - at));
    return bytes;
}

struct File {
    File(std::filesystem::path const& path, char const* mode) : stream(std::fopen(path.c_str(), mode)) {
        if (!stream) throw std::runtime_error("Cannot open " + path.string());
    }
    File(File const&) = delete;
    File& operator=(File const&) = delete;
    ~File() { std::fclose(stream); }
    FILE* stream;
};

void check(bool good) {
    if (!good) throw std::runtime_error("A baseline failed.");
}

// The plain loops

void plain_deflate(std::filesystem::path const& path, std::span<unsigned char const> data, int level) {
    File file(path, "w+");
    Bytes out(2 * block_size);
    z_stream z{};
    check(deflateInit(&z, level) == Z_OK);
    for (std::size_t at = 0; at <= data.size(); at += block_size) {
        bool const last = at + block_size > data.size();
        z.next_in = const_cast<unsigned char*>(data.data() + at);
        z.avail_in = static_cast<uInt>(last ? data.size() - at : block_size);
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(out.size());
        check(deflate(&z, last ? Z_FINISH : Z_FULL_FLUSH) == (last ? Z_STREAM_END : Z_OK));
        std::size_t const size = out.size() - z.avail_out;
        check(std::fwrite(out.data(), 1, size, file.stream) == size);
    }
    deflateEnd(&z);
}

void plain_write(std::filesystem::path const& path, Bytes const& data) {
    File file(path, "w+");
    for (std::size_t at = 0; at < data.size(); at += piece_size) {
        std::size_t const n = std::min(piece_size, data.size() - at);
        check(std::fwrite(data.data() + at, 1, n, file.stream) == n);
        std::fflush(file.stream);
    }
}

/// Inflate \p n bytes that start at \p offset of the file.
/// \param raw without the zlib header.
void plain_inflate(std::filesystem::path const& path, unsigned long offset, unsigned long size, bool raw,
                   unsigned char* out, std::size_t n) {
    File file(path, "r");
    ::fseeko(file.stream, static_cast<off_t>(offset), SEEK_SET);
    Bytes in(std::min<std::size_t>(size, block_size));
    z_stream z{};
    check((raw ? inflateInit2(&z, -15) : inflateInit(&z)) == Z_OK);
    z.next_out = out;
    z.avail_out = static_cast<uInt>(n);
    for (unsigned long left = size; left;) {
        std::size_t const k = std::min<std::size_t>(left, in.size());
        check(std::fread(in.data(), 1, k, file.stream) == k);
        left -= k;
        z.next_in = in.data();
        z.avail_in = static_cast<uInt>(k);
        int const code = inflate(&z, Z_SYNC_FLUSH);
        check(code == Z_OK || code == Z_STREAM_END);
    }
    check(z.avail_out == 0);
    inflateEnd(&z);
}

// Ours

struct Section {
    unsigned long size = 0;
    std::vector<unsigned long> flush_positions;
};

Section write_section(std::filesystem::path const& path, Bytes const& data, int level,
                      Vexa::bf::ThreadingSupport threads, std::size_t piece = piece_size) {
    DiskFile file(path, DiskFile::Mode::create);
    file.set_threading_support(std::move(threads));
    ChunkedSegment chunks;
    chunks.initialize(file, false, false);
    ZippedSegment segment;
    segment.initialize(chunks, level);
    segment.set_flush_block_size(block_size);
    for (std::size_t at = 0; at < data.size(); at += piece)
        segment.write(data.data() + at, std::min(piece, data.size() - at));
    return {segment.write_end(), segment.flush_positions()};
}

/// Open for reading, all layers.
struct Reader {
    Reader(std::filesystem::path const& path, Section const& section, unsigned long size,
           Vexa::bf::ThreadingSupport threads)
        : file(path, DiskFile::Mode::read) {
        file.set_threading_support(std::move(threads));
        chunks.initialize(file, 0ul, {});
        segment.initialize(chunks, 1, 0, section.size, size);
        segment.set_flush_positions(section.flush_positions, block_size);
    }
    DiskFile file;
    ChunkedSegment chunks;
    ZippedSegment segment;
};

void read_section(std::filesystem::path const& path, Section const& section, Bytes& out,
                  Vexa::bf::ThreadingSupport threads) {
    Reader reader(path, section, out.size(), std::move(threads));
    for (std::size_t at = 0; at < out.size(); at += piece_size)
        reader.segment.read(out.data() + at, std::min(piece_size, out.size() - at));
}

// Memory

/// A line of /proc/self/status, in KiB.
long status_value(std::string const& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name, 0) == 0) return std::atol(line.c_str() + name.size());
    return 0;
}

void report_memory(char const* name, std::function<void()> const& action) {
    ::malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts afresh
    long const before = status_value("VmRSS:");
    action();
    long const peak = status_value("VmHWM:");
    std::printf("peak memory beyond the caller's buffers, %s: %.2f MiB\n", name,
                static_cast<double>(peak - before) / 1024);
}

std::size_t take_mebibytes(int& argc, char** argv) {
    std::size_t n = 64;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--mebibytes=", 12) == 0)
            n = static_cast<std::size_t>(std::max(4, std::atoi(argv[i] + 12)));
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    return n;
}

} // namespace

int main(int argc, char** argv) {
    std::size_t const size = take_mebibytes(argc, argv) * mebibyte;
    Table table(argc, argv);
    Vexa::testing::TemporaryFolder const folder;
    auto const ours = folder / "ours";
    auto const plain = folder / "plain";
    auto const stored = folder / "stored";
    Bytes const data = photon_noise(size);
    auto const half = std::span(data).first(size / 2);
    Bytes out(size, 1);
    Bytes out_plain(size, 1);
    Vexa::bf::ThreadingSupport const one;
    boost::asio::thread_pool pool(2);
    auto const two = Vexa::testing::pooled_execution(2, pool);
    auto const four = Vexa::testing::pooled_execution(4, pool);
    Section const section = write_section(stored, data, 1, two);
    read_section(stored, section, out, two);
    check(out == data);
    std::printf("%zu MiB of 16-bit samples with photon noise, compressed to %.1f %%\n", size / mebibyte,
                100.0 * static_cast<double>(section.size) / static_cast<double>(size));

    table.compare({.name = "write/level1/one thread:plain deflate",
                   .target = 0.95,
                   .candidate = [&] { write_section(ours, data, 1, one); },
                   .baseline = [&] { plain_deflate(plain, data, 1); },
                   .clock = Clock::thread});
    table.compare({.name = "write/level1/two threads:one thread",
                   .target = 1.85,
                   .candidate = [&] { write_section(ours, data, 1, two); },
                   .baseline = [&] { write_section(plain, data, 1, one); }});
    table.compare({.name = "write/level1/two threads:one thread, in one call",
                   .target = 1.85,
                   .candidate = [&] { write_section(ours, data, 1, two, size); },
                   .baseline = [&] { write_section(plain, data, 1, one, size); }});
    table.compare({.name = "plain deflate/two threads:one thread", // what the machine has to give
                   .candidate =
                       [&] {
                           std::thread other([&] { plain_deflate(ours, half, 1); });
                           plain_deflate(plain, half, 1);
                           other.join();
                       },
                   .baseline = [&] { plain_deflate(plain, data, 1); }});
    table.compare({.name = "write/level0:fwrite",
                   .target = 0.9,
                   .candidate = [&] { write_section(ours, data, 0, one); },
                   .baseline = [&] { plain_write(plain, data); },
                   .clock = Clock::thread});
    table.compare({.name = "read/whole/one thread:plain inflate",
                   .target = 0.95,
                   .candidate = [&] { read_section(stored, section, out, one); },
                   .baseline = [&] { plain_inflate(stored, 0, section.size, false, out_plain.data(), size); },
                   .clock = Clock::thread});
    table.compare({.name = "read/whole/two threads:one thread",
                   .target = 1.85,
                   .candidate = [&] { read_section(stored, section, out, two); },
                   .baseline = [&] { read_section(stored, section, out_plain, one); }});

    Reader reader(stored, section, size, one);
    std::mt19937 engine(2);
    unsigned long plane = 0;
    auto const next_plane = [&] { plane = 1 + engine() % (size / plane_size - 1); };
    table.compare({.name = "read/random plane:inflate of its blocks",
                   .target = 0.9,
                   .candidate =
                       [&] {
                           reader.segment.seek(plane * plane_size);
                           reader.segment.read(out.data(), plane_size);
                       },
                   .baseline =
                       [&] {
                           std::size_t const first = plane * (plane_size / block_size);
                           unsigned long const from = section.flush_positions[first - 1];
                           unsigned long const to =
                               section.flush_positions[first + plane_size / block_size - 1];
                           plain_inflate(stored, from, to - from, true, out_plain.data(), plane_size);
                       },
                   .before = next_plane,
                   .clock = Clock::thread});
    int const result = table.run();

    report_memory("write with one thread", [&] { write_section(ours, data, 1, one); });
    report_memory("write with two threads", [&] { write_section(ours, data, 1, two); });
    report_memory("write with four streams", [&] { write_section(ours, data, 1, four); });
    report_memory("read with one thread", [&] { read_section(stored, section, out, one); });
    report_memory("read with two threads", [&] { read_section(stored, section, out, two); });
    report_memory("read with four streams", [&] { read_section(stored, section, out, four); });
    pool.join();
    return result;
}
