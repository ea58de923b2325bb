#include <vexa/testing/check_everything.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <random>
#include <stdexcept>

#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/types.h>

namespace Vexa::testing {
namespace {

constexpr std::uint64_t block_bytes = 1 << 20;
constexpr std::uint64_t window_samples = 256;
constexpr std::size_t most_columns = 1 << 20; ///< of an axis whose positions are asked for

using StackPtr = std::shared_ptr<bf::StackInterface>;

/// Samples at a place that is read twice: in order, and at random.
struct Window {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    std::vector<unsigned char> bytes;
    std::uint64_t filled = 0;
};

class StackChecker {
public:
    StackChecker(StackPtr stack, CheckOptions const& options, std::uint64_t& bytes_left, bool& stopped)
        : stack_(std::move(stack)), options_(options), bytes_left_(bytes_left), stopped_(stopped) {}

    CheckedStack check() {
        try {
            result_.name = stack_->name();
            read_description();
            read_tags();
            read_samples();
            read_windows();
            read_past_the_end();
        } catch (std::exception const& error) {
            result_.error = error.what();
            if (result_.error.empty()) result_.error = "An error without a text.";
        }
        return result_;
    }

private:
    void read_description() {
        auto const rank = stack_->shape().size();
        (void)stack_->description();
        (void)stack_->timestamp();
        (void)stack_->data_units();
        (void)stack_->io_status();
        for (std::size_t axis = 0; axis < rank; ++axis) {
            (void)stack_->length(axis);
            (void)stack_->offset(axis);
            (void)stack_->label(axis);
            (void)stack_->units(axis);
            (void)stack_->col_labels(axis);
            (void)stack_->xy_col_positions(axis);
            if (stack_->shape()[axis] <= most_columns) (void)stack_->col_positions(axis);
        }
        if (stack_->lengths().size() != rank || stack_->offsets().size() != rank ||
            stack_->labels().size() != rank)
            throw std::runtime_error("The vectors of the axes have another length than the shape.");
    }

    void read_tags() {
        for (auto const& key : stack_->tag_keys()) (void)std::as_const(*stack_).tag(key);
    }

    /// Places for the random reads, chosen before the samples come by.
    void place_windows(std::uint64_t reachable) {
        std::mt19937_64 random(options_.seed);
        for (unsigned i = 0; i < options_.random_reads && reachable != 0; ++i) {
            Window window;
            window.first = i == 0 ? 0 : random() % reachable;
            window.count = std::min(window_samples, reachable - window.first);
            window.bytes.resize(window.count * size_);
            windows_.push_back(std::move(window));
        }
    }

    void read_samples() {
        size_ = vexa_dt_get_size(stack_->type());
        std::uint64_t const total = stack_->number_of_elements();
        if (total == 0) {
            result_.read_whole = true;
            return;
        }
        // The library has to refuse this; a read of one sample shows that it does.
        if (size_ == 0) return read_one_sample();
        auto const reachable = std::min(total, bytes_left_ / size_);
        place_windows(reachable);
        auto const block = std::max<std::uint64_t>(block_bytes / size_, 1);
        std::vector<unsigned char> buffer(std::min(block, std::max<std::uint64_t>(reachable, 1)) * size_);
        for (std::uint64_t at = 0; at < reachable && !stopped_;) {
            unsigned long position = at;
            auto const wanted = std::min(block, reachable - at);
            auto const n = stack_->read(stack_->type(), buffer.data(), nullptr, wanted, position);
            if (n != wanted)
                throw std::runtime_error("A read in order delivers fewer samples than there are.");
            keep_windows(at, n, buffer);
            at += n;
            result_.bytes_read += n * size_;
            bytes_left_ -= n * size_;
            if (options_.progress && !options_.progress(n * size_)) stopped_ = true;
        }
        result_.read_whole = result_.bytes_read == total * size_;
    }

    void read_one_sample() {
        unsigned char room[16] = {};
        unsigned long position = 0;
        stack_->read(types::uint8, room, nullptr, 1, position);
    }

    void keep_windows(std::uint64_t at, std::uint64_t n, std::vector<unsigned char> const& buffer) {
        for (auto& window : windows_) {
            auto const first = std::max(at, window.first);
            auto const end = std::min(at + n, window.first + window.count);
            if (first >= end) continue;
            std::memcpy(window.bytes.data() + (first - window.first) * size_,
                        buffer.data() + (first - at) * size_, (end - first) * size_);
            window.filled += end - first;
        }
    }

    void read_windows() {
        std::vector<unsigned char> buffer(window_samples * size_);
        for (auto const& window : windows_) {
            if (window.filled != window.count || stopped_) continue;
            unsigned long position = window.first;
            auto const n = stack_->read(stack_->type(), buffer.data(), nullptr, window.count, position);
            if (n != window.count ||
                std::memcmp(buffer.data(), window.bytes.data(), window.count * size_) != 0)
                throw std::runtime_error("A read at sample " + std::to_string(window.first) +
                                         " gives other samples than the reading in order.");
        }
    }

    /// At the end of the stack nothing may come, and nothing may go wrong but an exception.
    void read_past_the_end() {
        unsigned char room[16] = {};
        unsigned long position = stack_->number_of_elements();
        if (size_ == 0 || position == 0) return;
        try {
            stack_->read(stack_->type(), room, nullptr, 1, position);
        } catch (std::exception const&) {
        }
    }

    StackPtr stack_;
    CheckOptions const& options_;
    std::uint64_t& bytes_left_;
    bool& stopped_;
    CheckedStack result_;
    std::size_t size_ = 0;
    std::vector<Window> windows_;
};

void check_file(std::filesystem::path const& path, CheckOptions const& options, CheckReport& report) {
    auto const file = open_file(path, bf::DiskFile::Mode::read);
    report.opened = true;
    file->set_threading_support(options.threading);
    std::string description;
    file->get_file_desc(description);
    auto bytes_left = options.most_bytes;
    for (unsigned long index = 0; index < file->get_num_stacks() && !report.stopped; ++index)
        report.stacks.push_back(
            StackChecker(file->get_stack(index), options, bytes_left, report.stopped).check());
    for (unsigned int index = 0; index < report.stacks.size(); ++index) file->seek_to_end_of_stack(index);
    file->close();
}

} // namespace

bool CheckReport::is_clean() const {
    return opened && error.empty() &&
           std::all_of(stacks.begin(), stacks.end(), [](auto const& stack) { return stack.error.empty(); });
}

CheckReport check_everything(std::filesystem::path const& path, CheckOptions const& options) {
    CheckReport report;
    try {
        check_file(path, options, report);
    } catch (std::exception const& error) {
        report.error = error.what();
        if (report.error.empty()) report.error = "An error without a text.";
    }
    return report;
}

} // namespace Vexa::testing
