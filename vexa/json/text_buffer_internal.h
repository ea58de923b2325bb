#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace JSON::detail {

/// Copy \p text to \p to, quicker than by a call where it is short, as names and numbers are.
/// \return behind the copy
inline char* copy_text(std::string_view text, char* to) {
    char const* const from = text.data();
    std::size_t const size = text.size();
    if (size > 32) {
        std::memcpy(to, from, size);
    } else if (size >= 8) {
        // Whole words, and the last eight bytes, some of them for the second time.
        for (std::size_t i = 0; i + 8 < size; i += 8) std::memcpy(to + i, from + i, 8);
        std::memcpy(to + size - 8, from + size - 8, 8);
    } else {
        for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
    }
    return to + size;
}

/// Collects text in a small piece of memory, from where it goes on to a stream, or to a string if there is
/// none.
class Text_Buffer {
public:
    static constexpr std::size_t longest_number = 32;
    static constexpr std::size_t most_room = 8192;

    explicit Text_Buffer(std::ostream* stream) : stream_(stream) {}

    /// Where the next \p size bytes go, up to most_room; wrote() tells how far they were used.
    char* room(std::size_t size) {
        if (most_room - used_ < size) flush();
        return piece_ + used_;
    }
    void wrote(char const* end) { used_ = static_cast<std::size_t>(end - piece_); }

    void add(char c) {
        *room(1) = c;
        ++used_;
    }
    void add(std::string_view text) {
        if (most_room - used_ < text.size()) {
            flush();
            if (text.size() > most_room) return pass_on(text);
        }
        wrote(copy_text(text, piece_ + used_));
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
    void pass_on(std::string_view text) {
        if (stream_)
            stream_->write(text.data(), static_cast<std::streamsize>(text.size()));
        else
            result_ += text;
    }

    std::ostream* stream_;
    std::string result_;
    std::size_t used_ = 0;
    char piece_[most_room];
};

} // namespace JSON::detail
