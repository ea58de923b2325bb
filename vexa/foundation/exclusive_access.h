#pragma once

#include <mutex>
#include <utility>

namespace Zinflux {

/// A value behind a mutex: code reaches it only while it holds the lock.
///
///     exclusive_access<std::map<std::string, int>> counts;
///     (*counts.lock())["frames"] += 1;   // locked up to the end of the statement
///
/// Owns: the value. Invariants: the mutex is not recursive, so one thread must not lock the same object twice.
/// Threads: lock() from any thread. Destruction waits for a thread that still holds the lock; a thread that
/// asks for it only then comes too late, as with any object.
template <typename T>
class exclusive_access {
public:
    /// The held lock and the way to the value. Ends with the scope; must not outlive the exclusive_access.
    template <typename Value>
    class holder {
    public:
        holder(std::mutex& mutex, Value& value) : lock_(mutex), value_(&value) {}

        Value& operator*() const { return *value_; }
        Value* operator->() const { return value_; }

    private:
        std::unique_lock<std::mutex> lock_;
        Value* value_;
    };

    exclusive_access() = default;
    explicit exclusive_access(T value) : value_(std::move(value)) {}
    /// Move the value out of \p other while holding other's lock.
    exclusive_access(exclusive_access&& other) : value_(std::move(*other.lock())) {}
    exclusive_access& operator=(exclusive_access&&) = delete;
    ~exclusive_access() { std::lock_guard<std::mutex> const wait_for_holder(mutex_); }

    /// Wait for the lock and hold it as long as the result lives.
    holder<T> lock() { return {mutex_, value_}; }
    holder<T const> lock() const { return {mutex_, value_}; }

private:
    T value_{};
    mutable std::mutex mutex_;
};

} // namespace Zinflux
