#include <vexa/foundation/make_shared.h>

#include <type_traits>

#include <gtest/gtest.h>

namespace {

class Guarded : public Vexa::enable_make_shared {
public:
    int const value;

private:
    friend class Vexa::SharedPtrFactory<Guarded>;
    Guarded(int initial, int* destroyed) : value(initial), destroyed_(destroyed) {}
    ~Guarded() override { ++*destroyed_; }

    int* destroyed_;
};

} // namespace

TEST(SharedPtrFactory, MakesAndDestroysWhatNobodyElseCan) {
    static_assert(!std::is_constructible_v<Guarded, int, int*>);
    static_assert(!std::is_destructible_v<Guarded>);
    int destroyed = 0;
    auto first = Vexa::SharedPtrFactory<Guarded>::make(42, &destroyed);
    auto second = first;
    EXPECT_EQ(second->value, 42);
    first.reset();
    EXPECT_EQ(destroyed, 0);
    second.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(SharedPtrFactory, FromNullIsEmpty) {
    EXPECT_EQ(Vexa::SharedPtrFactory<Guarded>::from(nullptr).use_count(), 0);
}
