#include <vexa/props/ValueReference.h>

#include <gtest/gtest.h>

#include <vexa/props/type_list_internal.h>

namespace {

using Vexa::props::code_of;
using Vexa::props::ValueReference;
using Vexa::props::with_value_type;

/// Handles whose insides can be seen.
struct OpenReference : ValueReference {
    using ValueReference::ValueReference;
    using VProp::content;
    using VProp::info;
};
struct OpenProp : VProp {
    using VProp::content;
    using VProp::VProp;
};

struct Observer final : VPropInfo {
    void on_detach(void* value) override {
        seen.push_back(value);
        if (number) number_seen = *static_cast<double*>(value);
    }
    std::vector<void*> seen;
    bool number = false; ///< the values are of type double
    double number_seen = 0;
};

TEST(ValueReference, FindsTheContentOfEveryType) {
    constexpr unsigned codes[] = {0x1,     0x2,     0x4,     0x8,        0x10,      0x20,
                                  0x40,    0x80,    0x1000,  0x2000,     0x4000,    0x8000,
                                  0x10000, 0x20000, 0x40000, 0x40000040, 0x40000080};
    int found = 0;
    for (unsigned const scalar : codes) {
        for (unsigned const flag : {0u, 0x80000000u}) {
            int const code = static_cast<int>(scalar | flag);
            with_value_type(code, [&]<typename T>(std::type_identity<T>) {
                OpenProp p;
                T* const value = &p.set<T>();
                EXPECT_EQ(ValueReference::content_ptr(value), p.content);
                OpenReference const reference(value, code, nullptr);
                EXPECT_EQ(reference.content, p.content);
                EXPECT_EQ(reference.get_id(), code);
                EXPECT_EQ(&reference.get<T>(), value);
                EXPECT_EQ(p.content->use_count, 2u);
                ++found;
            });
        }
    }
    EXPECT_EQ(found, 33);
}

TEST(ValueReference, IsEmptyWithoutAValueOrAType) {
    VProp p = 1;
    auto const observer = std::make_shared<Observer>();
    {
        EXPECT_TRUE(ValueReference(nullptr, 0x20, observer).empty());
        for (int const code : {0, 0x400, 0x800, 0x40000001, static_cast<int>(0x80040000),
                               static_cast<int>(0x80000000), 0x30, -1})
            EXPECT_TRUE(ValueReference(&p.set<int>(), code, observer).empty()) << code;
        EXPECT_EQ(OpenReference(nullptr, 0, observer).info, observer);
    }
    EXPECT_EQ(observer->seen, std::vector<void*>());
    EXPECT_EQ(p.get<int>(), 1);
}

TEST(ValueReference, KeepsTheValueAliveAfterTheHandleIsGone) {
    auto p = std::make_unique<VProp>(VPropstring(L"a text that is longer than what fits in line"));
    ValueReference const reference(&p->set<VPropstring>(), 0x20000, nullptr);
    p.reset();
    EXPECT_EQ(reference.get<VPropstring>(), L"a text that is longer than what fits in line");
}

TEST(ValueReference, KeepsAMemberAliveAfterTheTreeIsGone) {
    VProp tree;
    tree["a.b"] = VProparray<double>{1, 2};
    ValueReference const reference(&tree["a.b"].set<VProparray<double>>(), static_cast<int>(0x80000080),
                                   nullptr);
    tree.reset();
    EXPECT_EQ(reference.get<VProparray<double>>(), (std::vector<double>{1, 2}));
}

TEST(ValueReference, WritingSharedContentClonesItAndReportsTheOldValue) {
    VProp p = 2.5;
    void* const old_value = &p.set<double>();
    auto const observer = std::make_shared<Observer>();
    observer->number = true;
    ValueReference reference(old_value, 0x80, observer);
    reference.own();
    EXPECT_EQ(observer->seen, std::vector<void*>{old_value});
    EXPECT_EQ(observer->number_seen, 2.5);
    reference.set<double>() = 3.5;
    EXPECT_EQ(p.get<double>(), 2.5);
    EXPECT_EQ(reference.get<double>(), 3.5);
    EXPECT_EQ(observer->seen.size(), 1u);
}

TEST(ValueReference, TheLastOneOnAValueWritesInPlace) {
    auto const observer = std::make_shared<Observer>();
    auto p = std::make_unique<VProp>(1);
    int* const value = &p->set<int>();
    ValueReference reference(value, 0x20, observer);
    p.reset();
    EXPECT_EQ(&reference.set<int>(), value);
    EXPECT_TRUE(observer->seen.empty());
}

TEST(ValueReference, AWriteThroughTheHandleLeavesTheReferenceOnTheOldValue) {
    VProp p = 1;
    auto const observer = std::make_shared<Observer>();
    ValueReference const reference(&p.set<int>(), 0x20, observer);
    p.set<int>() = 2;
    EXPECT_EQ(reference.get<int>(), 1);
    EXPECT_TRUE(observer->seen.empty());
}

TEST(ValueReference, DestructionTellsAnObserverThatTheHostHolds) {
    VProp p = 1.5;
    void* const value = &p.set<double>();
    auto const observer = std::make_shared<Observer>();
    observer->number = true;
    { ValueReference const reference(value, 0x80, observer); }
    EXPECT_EQ(observer->seen, std::vector<void*>{value});
    EXPECT_EQ(observer->number_seen, 1.5);
}

TEST(ValueReference, DestructionTellsNobodyWhenTheHostHasLetGo) {
    struct Counter final : VPropInfo {
        explicit Counter(int& calls_made) : calls(calls_made) {}
        void on_detach(void*) override { ++calls; }
        int& calls;
    };
    int calls = 0;
    VProp p = 1;
    { ValueReference const reference(&p.set<int>(), 0x20, std::make_shared<Counter>(calls)); }
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(p.get<int>(), 1);
}

TEST(ValueReference, TheValueIsStillThereWhenTheLastOwnerReportsIt) {
    auto const observer = std::make_shared<Observer>();
    observer->number = true;
    {
        auto p = std::make_unique<VProp>(4.5);
        ValueReference const reference(&p->set<double>(), 0x80, observer);
        p.reset();
    }
    EXPECT_EQ(observer->number_seen, 4.5);
}

TEST(ValueReference, CopiesShareTheValueAndHaveNoObserver) {
    VProp p = 1;
    auto const observer = std::make_shared<Observer>();
    OpenReference const reference(&p.set<int>(), 0x20, observer);
    {
        OpenReference const copy = reference;
        EXPECT_EQ(copy.content, reference.content);
        EXPECT_EQ(copy.info, nullptr);
        VProp const plain = reference;
        EXPECT_EQ(&plain.get<int>(), &p.get<int>());
    }
    EXPECT_TRUE(observer->seen.empty());
}

} // namespace
