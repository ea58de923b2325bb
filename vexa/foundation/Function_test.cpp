#include <vexa/foundation/Function.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

using namespace Vexa;
using namespace Vexa::callback;

namespace {

using Event = Generator<Ignore_Result(int)>;

/// A listener that notes what it was called with.
Event::Listener note_in(std::vector<int>& calls) {
    return [&calls](int value) {
        calls.push_back(value);
        return Ignore_Result{};
    };
}

class Target : public Abstract_Function {
public:
    int operator()(int value) const { return value * 2; }

private:
    friend class SharedPtrFactory<Target>;
    Target() = default;
    ~Target() override = default;
};

} // namespace

TEST(Token, CopiesShareOneValueAndFreshOnesDoNot) {
    Token const token;
    Token copy = token;
    EXPECT_EQ(copy.value(), token.value());
    EXPECT_NE(Token().value(), token.value());
    copy.release();
    EXPECT_EQ(copy.value(), nullptr);
    EXPECT_NE(token.value(), nullptr);
}

TEST(Generator, WithNoListenersDoesNothing) {
    Event event;
    event(1);
    EXPECT_EQ(event.size(), 0u);
}

TEST(Generator, CallsListenersInOrderWithTheArguments) {
    Event event;
    Token const token;
    std::string order;
    for (char const name : {'a', 'b', 'c'})
        event.connect(
            [&order, name](int value) {
                order += name + std::to_string(value);
                return Ignore_Result{};
            },
            token);
    event(7);
    EXPECT_EQ(order, "a7b7c7");
}

TEST(Generator, PassesReferencesOn) {
    Generator<Ignore_Result(std::string&, std::string const&)> event;
    Token const token;
    event.connect(
        [](std::string& out, std::string const& in) {
            out += in;
            return Ignore_Result{};
        },
        token);
    event.connect(
        [](std::string& out, std::string const& in) {
            out += in;
            return Ignore_Result{};
        },
        token);
    std::string out;
    event(out, "x");
    EXPECT_EQ(out, "xx");
}

TEST(Generator, GivesEveryListenerAnArgumentThatIsPassedByValue) {
    Generator<Ignore_Result(std::string)> event;
    Token const token;
    std::vector<std::string> seen;
    for (int i = 0; i < 2; ++i)
        event.connect(
            [&seen](std::string text) {
                seen.push_back(std::move(text));
                return Ignore_Result{};
            },
            token);
    event("kept");
    EXPECT_EQ(seen, (std::vector<std::string>{"kept", "kept"}));
}

TEST(Generator, ForgetsAListenerWhoseTokenWasReleased) {
    Event event;
    std::vector<int> first, second;
    Token expiring;
    Token const staying;
    event.connect(note_in(first), expiring);
    event.connect(note_in(second), staying);
    event(1);
    expiring.release();
    EXPECT_EQ(event.size(), 2u);
    event(2);
    EXPECT_EQ(event.size(), 1u);
    EXPECT_EQ(first, (std::vector<int>{1}));
    EXPECT_EQ(second, (std::vector<int>{1, 2}));
}

TEST(Generator, KeepsASubscriptionWhileACopyOfItsTokenLives) {
    Event event;
    std::vector<int> calls;
    Token token;
    Token const copy = token;
    event.connect(note_in(calls), token);
    token.release();
    event(1);
    EXPECT_EQ(calls, (std::vector<int>{1}));
}

TEST(Generator, NeverCallsASubscriptionWithAReleasedToken) {
    Event event;
    std::vector<int> calls;
    Token token;
    token.release();
    event.connect(note_in(calls), token);
    event(1);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(event.size(), 0u);
}

TEST(Generator, RefusesAnEmptyFunction) {
    Event event;
    VEXA_EXPECT_THROWS(event.connect(nullptr, Token()), std::invalid_argument,
                       "Cannot subscribe an empty function.");
    EXPECT_EQ(event.size(), 0u);
}

TEST(Generator, LetsAListenerSubscribedDuringADispatchTakePartFromTheNextOn) {
    Event event;
    Token const token;
    std::vector<int> late;
    bool subscribed = false;
    event.connect(
        [&](int) {
            if (!subscribed) event.connect(note_in(late), token);
            subscribed = true;
            return Ignore_Result{};
        },
        token);
    event(1);
    EXPECT_TRUE(late.empty());
    event(2);
    EXPECT_EQ(late, (std::vector<int>{2}));
}

TEST(Generator, DoesNotCallAListenerThatAnEarlierOneUnsubscribed) {
    Event event;
    Token const first;
    Token second;
    std::vector<int> calls;
    event.connect(
        [&second](int) {
            second.release();
            return Ignore_Result{};
        },
        first);
    event.connect(note_in(calls), second);
    event(1);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(event.size(), 1u);
}

TEST(Generator, LetsAListenerUnsubscribeItself) {
    Event event;
    Token token;
    int calls = 0;
    event.connect(
        [&](int) {
            ++calls;
            token.release();
            return Ignore_Result{};
        },
        token);
    event(1);
    event(2);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(event.size(), 0u);
}

TEST(Generator, MayBeFiredByItsListeners) {
    Event event;
    Token const token;
    std::vector<int> calls;
    event.connect(
        [&](int value) {
            calls.push_back(value);
            if (value > 0) event(value - 1);
            return Ignore_Result{};
        },
        token);
    event(2);
    EXPECT_EQ(calls, (std::vector<int>{2, 1, 0}));
}

TEST(Generator, StopsAtAListenerThatThrowsAndKeepsAll) {
    Event event;
    Token const token;
    std::vector<int> before, behind;
    event.connect(note_in(before), token);
    event.connect([](int) -> Ignore_Result { throw std::runtime_error("no"); }, token);
    event.connect(note_in(behind), token);
    VEXA_EXPECT_THROWS(event(1), std::runtime_error, "no");
    EXPECT_EQ(before, (std::vector<int>{1}));
    EXPECT_TRUE(behind.empty());
    EXPECT_EQ(event.size(), 3u);
}

TEST(Generator, DropsAListenerThatThrowsCallableExpiredAndGoesOn) {
    Event event;
    Token const token;
    std::vector<int> behind;
    event.connect([](int) -> Ignore_Result { throw CallableExpired(); }, token);
    event.connect(note_in(behind), token);
    event(1);
    EXPECT_EQ(behind, (std::vector<int>{1}));
    EXPECT_EQ(event.size(), 1u);
}

TEST(Generator, DestroysAnExpiredListenerWithoutHoldingItsLock) {
    Event event;
    Token token;
    std::size_t seen_at_destruction = 99;
    struct AsksAtTheEnd {
        Event& event;
        std::size_t& seen;
        ~AsksAtTheEnd() { seen = event.size(); }
    };
    std::shared_ptr<AsksAtTheEnd> asks(new AsksAtTheEnd{event, seen_at_destruction});
    event.connect([asks](int) { return Ignore_Result{}; }, token);
    asks.reset();
    token.release();
    event(1);
    EXPECT_EQ(seen_at_destruction, 0u);
}

TEST(Generator, KeepsTheTokenAliveForTheLengthOfACall) {
    Event event;
    Token token;
    std::weak_ptr<TokenValue> const value = token.value();
    bool alive = false;
    event.connect(
        [&](int) {
            token.release();
            alive = !value.expired();
            return Ignore_Result{};
        },
        token);
    event(1);
    EXPECT_TRUE(alive);
    EXPECT_TRUE(value.expired());
}

TEST(Generator, LetsThreadsFireAndSubscribeAtTheSameTime) {
    Event event;
    Token const staying;
    std::atomic<int> calls = 0;
    auto const count = [&calls](int) {
        ++calls;
        return Ignore_Result{};
    };
    event.connect(count, staying);
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) event(i);
        });
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) event.connect(count, Token());
        });
    for (auto& thread : threads) thread.join();
    event(0);
    EXPECT_GE(calls, 401);
    EXPECT_EQ(event.size(), 1u);
}

TEST(CallableExpired, SaysSo) { EXPECT_STREQ(CallableExpired().what(), "The callable has expired."); }

TEST(WeakFunction, CallsItsTargetAndThrowsOnceItIsGone) {
    auto target = SharedPtrFactory<Target>::make();
    auto const function = weak_function(target);
    EXPECT_EQ(function(21), 42);
    target.reset();
    VEXA_EXPECT_THROWS(function(21), CallableExpired, "The callable has expired.");
}

TEST(WeakFunction, EndsItsSubscriptionWithItsTarget) {
    Generator<int(int)> event;
    Token const token;
    auto target = SharedPtrFactory<Target>::make();
    event.connect(weak_function(target), token);
    event(1);
    EXPECT_EQ(event.size(), 1u);
    target.reset();
    event(1);
    EXPECT_EQ(event.size(), 0u);
}
