#pragma once

#include <utility>

#include <unistd.h>

namespace Zinflux::detail {

/// An open file descriptor, or none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int value) : value_(value) {}
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return value_; }
    explicit operator bool() const { return value_ >= 0; }
    /// \return whether all that was written has arrived, as far as the system can tell
    bool close() { return value_ < 0 || ::close(std::exchange(value_, -1)) == 0; }

private:
    int value_ = -1;
};

} // namespace Zinflux::detail
