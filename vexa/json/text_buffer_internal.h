#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace JSON::detail {

/// Collects text in a small piece of memory, from where it goes on to a stream, or to a string if there is
/// none.
class Text_Buffer {
public:
    static constexpr std::size_t longest_number = 32;

    explicit Text_Buffer(std::ostream* stream) : stream_(stream) {}

    /// Where the next \p size bytes go, a few at most; wrote() tells how far they were used.
    char* room(std::size_t size) {
        if (capacity - used_ < size) flush();
        return piece_ + used_;
    }
    void wrote(char const* end) { used_ = static_cast<std::size_t>(end - piece_); }

    void add(char c) {
        *room(1) = c;
        ++used_;
    }
    void add(std::string_view text) {
        if (capacity - used_ < text.size()) {
            flush();
            if (text.size() > capacity) return pass_on(text);
        }
        std::copy(text.begin(), text.end(), piece_ + used_);
        used_ += text.size();
    }
    /// The shortest text that reads back to the same value.
    template <typename T>
    void add_number(T value) {
        char* const digits = room(longest_number);
        wrote(std::to_chars(digits, digits + longest_number, value).ptr);
    }
    void add_blanks(std::size_t count) {
        while (count-- > 0) add(' ');
    }

    void flush() {
        pass_on({piece_, used_});
        used_ = 0;
    }
    std::string take() {
        flush();
        return std::move(result_);
    }

private:
    static constexpr std::size_t capacity = 8192;

    void pass_on(std::string_view text) {
        if (stream_)
            stream_->write(text.data(), static_cast<std::streamsize>(text.size()));
        else
            result_ += text;
    }

    std::ostream* stream_;
    std::string result_;
    std::size_t used_ = 0;
    char piece_[capacity];
};

} // namespace JSON::detail
