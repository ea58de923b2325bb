#include "console.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include <fmt/format.h>

#include "failure.h"

namespace Vexa::tool {
namespace {

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void on_signal(int) { interrupted = true; }

[[noreturn]] void output_failed() {
    throw Failure(Exit::output_failed,
                  fmt::format("Cannot write to standard output: {}", std::strerror(errno)));
}

} // namespace

void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = &on_signal; // without SA_RESTART: a write that blocks ends, too
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    // A file that outgrows a limit is an error of write(), not the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool was_interrupted() { return interrupted; }

void throw_if_interrupted() {
    if (interrupted) throw Failure(Exit::interrupted, "Interrupted.");
}

void complain(std::string_view text) {
    auto const line = fmt::format("vexa: {}\n", text);
    std::fputs(line.c_str(), stderr);
}

void put(std::string_view text) {
    throw_if_interrupted();
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) output_failed();
}

void flush_output() {
    if (std::fflush(stdout) != 0) output_failed();
}

std::string styled(Style style, std::string_view text) {
    static bool const wanted = ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    if (!wanted) return std::string(text);
    char const* const code = style == Style::heading ? "1" : style == Style::good ? "32" : "31";
    return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

Progress::Progress(std::string_view what, std::uint64_t total)
    : what_(what), total_(total), terminal_(::isatty(STDERR_FILENO)),
      begin_(std::chrono::steady_clock::now()), next_(begin_ + std::chrono::seconds(1)) {}

Progress::~Progress() {
    if (shown_) std::fputs("\r\x1b[K", stderr);
}

void Progress::add(std::uint64_t bytes) {
    throw_if_interrupted();
    done_ += bytes;
    if (!terminal_) return;
    if (auto const now = std::chrono::steady_clock::now(); now >= next_) show(now);
}

void Progress::show(std::chrono::steady_clock::time_point now) {
    shown_ = true;
    next_ = now + std::chrono::milliseconds(100);
    auto const seconds = std::chrono::duration<double>(now - begin_).count();
    auto const rate = byte_text(static_cast<std::uint64_t>(static_cast<double>(done_) / seconds));
    auto const line = total_ == 0
                          ? fmt::format("\r\x1b[K{}: {}, {}/s", what_, byte_text(done_), rate)
                          : fmt::format("\r\x1b[K{}: {:3.0f} % of {}, {}/s", what_,
                                        100.0 * static_cast<double>(done_) / static_cast<double>(total_),
                                        byte_text(total_), rate);
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
}

std::string byte_text(std::uint64_t bytes) {
    constexpr std::array<char const*, 6> names{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024) return fmt::format("{} B", bytes);
    double value = static_cast<double>(bytes) / 1024;
    std::size_t name = 0;
    for (; value >= 999.5 && name + 1 < names.size(); ++name) value /= 1024;
    return fmt::format("{:.{}f} {}", value, value < 9.95 ? 2 : value < 99.5 ? 1 : 0, names[name]);
}

} // namespace Vexa::tool
