#include <vexa/testing/file_walker.h>

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>
#include <zlib.h>

namespace Vexa::testing {
namespace {

constexpr std::size_t piece_size = 256 * 1024;

/// A z_stream that is always ended.
class Inflater {
public:
    explicit Inflater(int window_bits) {
        if (::inflateInit2(&stream_, window_bits) != Z_OK) throw std::runtime_error("Cannot start zlib.");
    }
    Inflater(Inflater const&) = delete;
    Inflater& operator=(Inflater const&) = delete;
    ~Inflater() { ::inflateEnd(&stream_); }

    void restart() { ::inflateReset(&stream_); }
    void give(std::span<std::uint8_t const> input) {
        stream_.next_in = const_cast<Bytef*>(input.data());
        stream_.avail_in = static_cast<uInt>(input.size());
    }
    /// Inflate into \p output as far as it goes.
    /// \return the filled part
    std::span<std::uint8_t const> run(std::span<std::uint8_t> output) {
        stream_.next_out = output.data();
        stream_.avail_out = static_cast<uInt>(output.size());
        code_ = ::inflate(&stream_, Z_SYNC_FLUSH);
        return output.first(output.size() - stream_.avail_out);
    }
    std::size_t unused() const { return stream_.avail_in; }
    bool ended() const { return code_ == Z_STREAM_END; }
    /// No more input or no more room is no failure.
    bool failed() const { return code_ != Z_OK && code_ != Z_STREAM_END && code_ != Z_BUF_ERROR; }
    char const* reason() const { return stream_.msg ? stream_.msg : "inflation failed"; }

private:
    z_stream stream_{};
    int code_ = Z_OK;
};

/// One pass over a data section.
class SectionReader {
public:
    SectionReader(ByteSource const& source, WalkedStack const& stack, SectionSink const& sink)
        : source_(source), stack_(stack), sink_(sink) {
        for (auto const& piece : stack.data) length_ += piece.end - piece.begin;
        input_.resize(static_cast<std::size_t>(std::min(length_, std::uint64_t{piece_size})));
    }

    WalkedSection read() {
        if (stack_.data_length == 0) return result_;
        if (stack_.data.empty())
            fault(0, "the data section can't be found");
        else if (stack_.element_size == 0)
            fault(0, fmt::format("the type {:#x} has no element size", stack_.type));
        else if (__builtin_mul_overflow(stack_.samples_on_disk, stack_.element_size, &expected_))
            fault(0, "there are more bytes than 64 bits count");
        else if (stack_.compressed())
            read_compressed();
        else
            read_plain();
        return result_;
    }

private:
    void fault(std::uint64_t logical, std::string text) {
        result_.faults.push_back({file_position(logical), std::move(text)});
        stopped_ = true;
    }

    std::uint64_t file_position(std::uint64_t logical) const {
        for (auto const& piece : stack_.data) {
            auto const size = piece.end - piece.begin;
            if (logical < size) return piece.begin + logical;
            logical -= size;
        }
        return stack_.data_start_position;
    }

    /// The next bytes of the section, no more than \p n of them; they stay valid until the next call.
    std::span<std::uint8_t const> fetch(std::uint64_t n) {
        auto const& piece = stack_.data[piece_];
        auto const count = static_cast<std::size_t>(
            std::min({n, std::uint64_t{input_.size()}, piece.end - piece.begin - in_piece_}));
        source_.read(piece.begin + in_piece_, input_.data(), count);
        in_piece_ += count;
        logical_ += count;
        if (in_piece_ == piece.end - piece.begin) {
            ++piece_;
            in_piece_ = 0;
        }
        return std::span(input_).first(count);
    }

    void hand_out(std::span<std::uint8_t const> bytes) {
        result_.sample_bytes += bytes.size();
        if (result_.sample_bytes > expected_)
            return fault(logical_, fmt::format("the section inflates to more than its {} bytes", expected_));
        if (sink_ && !bytes.empty() && !sink_(bytes)) stopped_ = true;
    }

    void read_plain() {
        while (!stopped_ && logical_ < std::min(length_, expected_)) hand_out(fetch(expected_ - logical_));
        result_.stored_bytes = logical_;
        if (!stopped_ && length_ < expected_)
            fault(length_,
                  fmt::format("the section has {} bytes where the samples need {}", length_, expected_));
    }

    void read_compressed() {
        output_.resize(
            static_cast<std::size_t>(std::clamp(expected_, std::uint64_t{4096}, std::uint64_t{piece_size})));
        Inflater whole(15);
        Inflater block(-15);
        std::size_t index = 0;
        result_.stored_bytes = length_;
        while (!stopped_ && logical_ < length_) {
            auto const& marks = stack_.flush_positions;
            auto const limit = index < marks.size() ? marks[index] : length_;
            if (limit <= logical_) return fault(logical_, "the flush positions do not ascend");
            auto const before = logical_;
            auto const input = fetch(limit - logical_);
            inflate_whole(whole, input, before);
            if (!stopped_ && index != 0) inflate_block(block, input, before);
            if (stopped_ || logical_ != limit || index >= marks.size()) continue;
            ++index;
            check_mark(index);
            block.restart();
        }
        if (stopped_) return;
        if (!whole.ended())
            fault(length_, "the compressed data is not finished where the section ends");
        else if (result_.sample_bytes != expected_)
            fault(length_, fmt::format("the section inflates to {} bytes where the samples need {}",
                                       result_.sample_bytes, expected_));
    }

    void inflate_whole(Inflater& whole, std::span<std::uint8_t const> input, std::uint64_t at) {
        if (whole.ended()) return fault(at, "the compressed data ends before the section does");
        whole.give(input);
        std::size_t filled = 0;
        do {
            auto const bytes = whole.run(output_);
            filled = bytes.size();
            hand_out(bytes);
            if (whole.failed())
                return fault(at + input.size() - whole.unused(),
                             fmt::format("zlib says: {}", whole.reason()));
        } while (!stopped_ && !whole.ended() && filled == output_.size());
        if (!stopped_ && whole.unused() != 0)
            fault(at + input.size() - whole.unused(), "the compressed data ends before the section does");
    }

    /// The same input once more, from a fresh start at the last flush position.
    void inflate_block(Inflater& block, std::span<std::uint8_t const> input, std::uint64_t at) {
        if (block.ended()) return; // the Adler-32 behind the last block
        block.give(input);
        std::size_t filled = 0;
        do {
            filled = block.run(output_).size();
            if (block.failed())
                return fault(at,
                             fmt::format("the block does not stand alone, zlib says: {}", block.reason()));
        } while (!block.ended() && filled == output_.size());
    }

    void check_mark(std::size_t blocks) {
        auto const due = blocks * stack_.footer.flush_block_size;
        if (result_.sample_bytes != due)
            fault(logical_, fmt::format("flush position {} comes after {} bytes instead of {}", blocks - 1,
                                        result_.sample_bytes, due));
    }

    ByteSource const& source_;
    WalkedStack const& stack_;
    SectionSink const& sink_;
    std::vector<std::uint8_t> input_;
    std::vector<std::uint8_t> output_;
    WalkedSection result_;
    std::uint64_t length_ = 0;   ///< of the section, without the gaps
    std::uint64_t expected_ = 0; ///< bytes that the samples need
    std::uint64_t logical_ = 0;  ///< behind the last byte fetched
    std::size_t piece_ = 0;
    std::uint64_t in_piece_ = 0;
    bool stopped_ = false;
};

} // namespace

WalkedSection read_section(ByteSource const& source, WalkedStack const& stack, SectionSink const& sink) {
    return SectionReader(source, stack, sink).read();
}

std::vector<std::uint8_t> section_bytes(ByteSource const& source, WalkedStack const& stack) {
    std::vector<std::uint8_t> bytes;
    auto const section = read_section(source, stack, [&](std::span<std::uint8_t const> piece) {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
        return true;
    });
    if (!section.faults.empty()) throw std::runtime_error(section.faults.front().text);
    return bytes;
}

std::vector<std::uint8_t> section_bytes(std::filesystem::path const& path, std::size_t stack) {
    auto const source = open_bytes(path);
    return section_bytes(*source, walk_file(*source).stacks.at(stack));
}

} // namespace Vexa::testing
