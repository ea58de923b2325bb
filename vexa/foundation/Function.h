#pragma once

#include <concepts>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <shared_mutex>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/foundation/make_shared.h>
#include <vexa/foundation/utility.h>

namespace Vexa {

/// The result of a callback whose result nobody uses.
struct Ignore_Result {};

/// Thrown by a callable whose target is gone. A listener that throws it is not an error: it ends its own
/// subscription.
class VEXA_API CallableExpired : public std::exception {
public:
    CallableExpired() = default;
    CallableExpired(CallableExpired const&) = default;
    CallableExpired& operator=(CallableExpired const&) = default;
    ~CallableExpired() override;

    /// "The callable has expired."
    char const* what() const noexcept override;
};

/// Base of callable objects with a lifetime of their own. Derive, add operator(), make the object with
/// SharedPtrFactory, and subscribe it as callback::weak_function().
class VEXA_API Abstract_Function : public enable_make_shared {
protected:
    Abstract_Function() = default;
    ~Abstract_Function() override;
};

/// Callback lists. Any number of listeners subscribe to an event of an object, and the lifetime of a listener's
/// token ends its subscription without a disconnecting call.
namespace callback {

/// The object whose lifetime decides a subscription.
class VEXA_API TokenValue : public enable_make_shared {
    friend class SharedPtrFactory<TokenValue>;
    TokenValue() = default;
    ~TokenValue() override;
};

/// What a listener hands in when it subscribes, and keeps for as long as it wants to be called.
///
///     Token token;                        // usually a member of the listener
///     stack->connect_data_changed_cb(function, token);
///     token.release();                    // or the end of its life: no more calls
///
/// Owns: a share of the TokenValue. Copies share it, and one copy is enough to keep every subscription made with
/// any of them. The subscription itself holds it weakly.
class VEXA_API Token {
public:
    /// A token of its own, that shares with no other.
    Token();

    /// Give up this copy's share. A token without a share subscribes nothing.
    void release() { value_.reset(); }
    /// Null after release().
    std::shared_ptr<TokenValue> const& value() const { return value_; }

private:
    std::shared_ptr<TokenValue> value_;
};

/// A function that calls \p target while somebody else keeps it alive.
/// \throws CallableExpired from the function, once the target is gone; also for a null target.
template <std::derived_from<Abstract_Function> Target>
auto weak_function(std::shared_ptr<Target> const& target) {
    return [weak = std::weak_ptr<Target>(target)](auto&&... args) -> decltype(auto) {
        std::shared_ptr<Target> const held = weak.lock();
        if (!held) throw CallableExpired();
        return (*held)(std::forward<decltype(args)>(args)...);
    };
}

/// The dispatch policy of a Generator: every listener in the order of subscription, results ignored.
struct Dispatcher {
    /// Call each record with the same arguments.
    /// \return the records whose listener is gone
    template <typename Record, typename... Args>
    static std::set<std::shared_ptr<Record>> dispatch(std::vector<std::shared_ptr<Record>> const& records,
                                                      Args&... args) {
        std::set<std::shared_ptr<Record>> expired;
        for (auto const& record : records)
            if (!record->second(args...)) expired.insert(record);
        return expired;
    }
};

template <typename Signature, typename Policy = Dispatcher>
class Generator;

/// One source of an event.
///
/// Owns: the listeners' functions, until a dispatch finds their token expired. Borrows nothing.
/// Failures: an exception from a listener leaves the dispatch at that listener; those behind it are not called.
/// CallableExpired does not leave it: that listener alone is dropped. std::system_error if the lock fails.
/// Threads: several may subscribe and fire at once. Listeners run in the firing thread and no lock is held, so
/// they may subscribe and fire themselves; who subscribes during a dispatch takes part from the next one on. A
/// call that has begun when another thread releases its token runs to its end. The generator itself must outlive
/// its dispatches.
template <typename R, typename... Args, typename Policy>
class Generator<R(Args...), Policy> {
    static_assert(!std::is_void_v<R>, "Listeners without a result return Ignore_Result.");
    static_assert((!std::is_rvalue_reference_v<Args> && ...), "All listeners get the same arguments.");

public:
    using Listener = std::function<R(Args...)>;

    /// Subscribe.
    /// \param token what decides how long; only a weak reference to its value is kept.
    /// \throws std::invalid_argument "Cannot subscribe an empty function."
    void connect(Listener listener, Token const& token) {
        if (!listener) throw std::invalid_argument("Cannot subscribe an empty function.");
        auto record = std::make_shared<Record>(std::tuple<>(), wrap(std::move(listener), token));
        std::unique_lock const lock(mutex_);
        records_.push_back(std::move(record));
    }

    /// Fire: call every listener, and forget those whose token is gone.
    void operator()(Args... args) {
        std::vector<std::shared_ptr<Record>> const records = copy_of_records();
        auto const expired = Policy::dispatch(records, args...);
        if (expired.empty()) return;
        // The copy still holds the records, so that no listener is destroyed under the lock.
        std::unique_lock const lock(mutex_);
        vx::utility::erase_if(records_, [&expired](auto const& record) { return expired.contains(record); });
    }

    /// The number of subscriptions, those included whose token expired since the last dispatch.
    std::size_t size() const {
        std::shared_lock const lock(mutex_);
        return records_.size();
    }

private:
    using Record = std::pair<std::tuple<>, std::function<std::optional<R>(Args...)>>;

    static std::function<std::optional<R>(Args...)> wrap(Listener listener, Token const& token) {
        return [listener = std::move(listener),
                weak = std::weak_ptr<TokenValue>(token.value())](Args... args) -> std::optional<R> {
            // Held for the length of the call, so that the listener's side can wait for its token to expire.
            std::shared_ptr<TokenValue> const held = weak.lock();
            if (!held) return std::nullopt;
            try {
                return listener(std::forward<Args>(args)...);
            } catch (CallableExpired const&) {
                return std::nullopt;
            }
        };
    }

    std::vector<std::shared_ptr<Record>> copy_of_records() const {
        std::shared_lock const lock(mutex_);
        return records_;
    }

    std::vector<std::shared_ptr<Record>> records_;
    mutable std::shared_mutex mutex_;
};

} // namespace callback
} // namespace Vexa
