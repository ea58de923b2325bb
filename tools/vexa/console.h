#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace Vexa::tool {

/// Make an interrupt from the keyboard, or a request to end, a flag instead of a sudden end.
void catch_interrupts();
bool was_interrupted();
/// \throws Failure with Exit::interrupted after such a request
void throw_if_interrupted();

/// Print a line on standard error, with the name of the program before it.
void complain(std::string_view text);
/// Put text on standard output.
/// \throws Failure with Exit::output_failed
void put(std::string_view text);
/// To be called at the end, since buffered text fails late.
/// \throws Failure with Exit::output_failed
void flush_output();

/// How text stands out on a terminal.
enum class Style { heading, good, bad };
/// The text with colour codes, when standard output is a terminal and NO_COLOR is not set.
std::string styled(Style style, std::string_view text);

/// A line on standard error that says how far the work is. It shows only on a terminal, and only after a
/// second.
class Progress {
public:
    /// \param total bytes in all, 0 when unknown
    Progress(std::string_view what, std::uint64_t total);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    /// Clears the line.
    ~Progress();

    /// Count bytes as done. Also the place where an interrupt takes effect.
    /// \throws Failure with Exit::interrupted
    void add(std::uint64_t bytes);

private:
    void show(std::chrono::steady_clock::time_point now);

    std::string what_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    bool terminal_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point begin_;
    std::chrono::steady_clock::time_point next_;
};

/// "1.5 MiB"
std::string byte_text(std::uint64_t bytes);

} // namespace Vexa::tool
