#pragma once

#include <stdexcept>
#include <string>

namespace Vexa::tool {

/// What the tool's process returns.
enum class Exit : int {
    done = 0,
    finding = 1,       ///< done, and something was found that isn't right
    wrong_use = 2,     ///< arguments that make no sense, or a target that exists
    no_input = 3,      ///< input missing, unreadable, or of a kind that can't be read
    damaged = 4,       ///< input damaged or not closed
    output_failed = 5, ///< the output could not be written
    interrupted = 130,
};

/// Ends a command: the text for the user and the exit code that goes with it.
class Failure : public std::runtime_error {
public:
    Failure(Exit exit, std::string const& text) : std::runtime_error(text), exit_(exit) {}
    Exit exit() const { return exit_; }

private:
    Exit exit_;
};

} // namespace Vexa::tool
