#include <vexa/props/props.h>

#include <gtest/gtest.h>

#include <vexa/props/VexaProps.h>
#include <vexa/props/type_list_internal.h>
#include <vexa/testing/expect_throws.h>

namespace {

using Complex = std::complex<double>;

/// A handle whose insides can be seen.
struct OpenProp : VProp {
    using VProp::content;
    using VProp::info;
    using VProp::operator=;
    explicit OpenProp(VProp const& other) : VProp(other) {}
};

struct Observer final : VPropInfo {
    void on_detach(void* value) override { seen.push_back(value); }
    std::vector<void*> seen;
};

TEST(VProp, AnEmptyHandleHasCodeZeroAndIsNoArray) {
    VProp p;
    EXPECT_TRUE(p.empty());
    EXPECT_EQ(p.get_id(), 0);
    EXPECT_EQ(p.get_arr(false), nullptr);
    VEXA_EXPECT_THROWS(p.get_arr(true), std::runtime_error, "Type mismatch: expected 'array' type.");
    VEXA_EXPECT_THROWS(VProp(1.0).get_arr(true), std::runtime_error, "Type mismatch: expected 'array' type.");
}

TEST(VProp, SetCreatesAZeroAndRefusesAnotherType) {
    VProp p;
    EXPECT_EQ(p.set<double>(), 0.0);
    EXPECT_EQ(p.get_id(), 0x80);
    VProp i = 7;
    VEXA_EXPECT_THROWS(i.set<double>(), std::runtime_error, "Type mismatch: found int32, expected double");
    EXPECT_EQ(i.get<int>(), 7);
}

TEST(VProp, TypeMismatchNamesArrays) {
    VProp const array = VProparray<double>{1.0};
    VEXA_EXPECT_THROWS(array.get<double>(), std::runtime_error,
                       "Type mismatch: found double[], expected double");
    VEXA_EXPECT_THROWS(VProp(1.0).get<VProparray<double>>(), std::runtime_error,
                       "Type mismatch: found double, expected double[]");
    VEXA_EXPECT_THROWS(VProp().get<VProp>(), std::runtime_error, "Type mismatch: found none, expected cell");
    EXPECT_EQ(array.get_if<double>(), nullptr);
    EXPECT_EQ(array.get_if<VProparray<double>>()->front(), 1.0);
    EXPECT_NO_THROW(VProp().check_type(typeid(void), 0));
}

/// The code of each holder, written down as numbers.
TEST(VProp, EachTypeReportsItsCode) {
    auto const codes = [](auto value, unsigned scalar) {
        using T = decltype(value);
        VProp p;
        p.set<T>() = value;
        EXPECT_EQ(static_cast<unsigned>(p.get_id()), scalar);
        if constexpr (Vexa::props::Value<VProparray<T>>) {
            VProp a;
            a.set<VProparray<T>>().push_back(value);
            EXPECT_EQ(static_cast<unsigned>(a.get_id()), scalar | 0x80000000u);
            EXPECT_EQ(std::as_const(a).get_arr(true)->size(), 1u);
            EXPECT_EQ(a.get_arr(true), &a.set<VProparray<T>>());
        }
    };
    codes(static_cast<unsigned char>(1), 0x1);
    codes(static_cast<signed char>(1), 0x2);
    codes(static_cast<unsigned short>(1), 0x4);
    codes(static_cast<short>(1), 0x8);
    codes(1u, 0x10);
    codes(1, 0x20);
    codes(1.0f, 0x40);
    codes(1.0, 0x80);
    codes(1ul, 0x1000);
    codes(1l, 0x2000);
    codes(VProp(1), 0x4000);
    codes(VPropstruct(), 0x8000);
    codes(true, 0x10000);
    codes(VPropstring(L"x"), 0x20000);
    codes(vexa_EMPTY(), 0x40000);
    codes(std::complex<float>(1, 2), 0x40000040);
    codes(Complex(1, 2), 0x40000080);
    static_assert(!Vexa::props::Value<VProparray<vexa_EMPTY>> && !Vexa::props::Value<_s_vexa_RGB> &&
                  !Vexa::props::Value<VProparray<_s_vexa_RGB>> && !Vexa::props::Value<char>);
}

TEST(VProp, HolderDescribesItsValue) {
    OpenProp p(VProp(2.5));
    EXPECT_EQ(p.content->type(), typeid(double));
    EXPECT_EQ(p.content->size(), 8u);
    EXPECT_EQ(*static_cast<double*>(p.content->value_ptr()), 2.5);
    EXPECT_EQ(OpenProp(VProp(VProparray<double>(100))).content->size(), sizeof(VProparray<double>));
    p.content->deep_copy = true;
    std::unique_ptr<VProp::placeholder> const copy(p.content->clone());
    EXPECT_EQ(copy->use_count, 1u);
    EXPECT_FALSE(copy->deep_copy);
}

TEST(VProp, CopiesShareUntilOneIsWritten) {
    OpenProp a(VProp(1));
    VProp b = a;
    EXPECT_EQ(a.content->use_count, 2u);
    b.own();
    EXPECT_EQ(a.content->use_count, 1u);
    b.set<int>() = 2;
    EXPECT_EQ(a.get<int>(), 1);
    EXPECT_EQ(b.get<int>(), 2);
    VProp c = b;
    c.set<int>() = 3;
    EXPECT_EQ(b.get<int>(), 2);
}

TEST(VProp, CopyHonoursDeepCopyOnce) {
    OpenProp a(VProp(1));
    a.content->deep_copy = true;
    OpenProp const b(a);
    EXPECT_NE(a.content, b.content);
    EXPECT_EQ(a.content->use_count, 1u);
    EXPECT_FALSE(b.content->deep_copy);
}

TEST(VProp, AFailedSetLeavesTheValue) {
    VProp a = VPropstring(L"text");
    VProp b = a;
    EXPECT_THROW(b.set<int>(), std::runtime_error);
    EXPECT_EQ(b.get<VPropstring>(), L"text");
}

TEST(VProp, AssignmentFromItsOwnChildWorks) {
    VProp p;
    p["inner.deep"] = 5;
    p = p["inner"];
    EXPECT_EQ(p["deep"].get<int>(), 5);
    p = p.get<VPropstruct>().front().second;
    EXPECT_EQ(p.get<int>(), 5);
    p = static_cast<VProp const&>(p);
    EXPECT_EQ(p.get<int>(), 5);
}

TEST(VProp, MovedFromHandleIsEmpty) {
    VProp a = 1;
    VProp const b = std::move(a);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(b.get<int>(), 1);
}

TEST(VPropInfo, ObserverOfTheOtherHandleSeesNothingOfAnUnsharing) {
    auto const observer = std::make_shared<Observer>();
    OpenProp a(VProp(1));
    a.info = observer;
    OpenProp b(a);
    EXPECT_EQ(b.info, nullptr);
    b.own();
    b.set<int>() = 2;
    EXPECT_EQ(a.get<int>(), 1);
    EXPECT_TRUE(observer->seen.empty());
}

TEST(VPropInfo, IsToldTheOldValueWhenItsHandleUnshares) {
    auto const observer = std::make_shared<Observer>();
    OpenProp a(VProp(1));
    VProp const keeps = a;
    a.info = observer;
    void* const old = a.content->value_ptr();
    a.own();
    EXPECT_EQ(observer->seen, std::vector<void*>{old});
    EXPECT_NE(a.content->value_ptr(), old);
    a.own();
    EXPECT_EQ(observer->seen.size(), 1u);
}

TEST(VPropInfo, StaysWithTheHandleThroughAssignmentAndIsTold) {
    auto const observer = std::make_shared<Observer>();
    OpenProp a(VProp(1));
    a.info = observer;
    void* const old = a.content->value_ptr();
    a = VProp(2);
    EXPECT_EQ(a.info, observer);
    EXPECT_EQ(a.get<int>(), 2);
    EXPECT_EQ(observer->seen, std::vector<void*>{old});
    VProp const same = a;
    a = same;
    EXPECT_EQ(observer->seen.size(), 1u);
}

TEST(VPropInfo, IsToldOfTheEndOnlyIfSomebodyElseHoldsIt) {
    static int calls;
    static int ends;
    struct Counter final : VPropInfo {
        ~Counter() override { ++ends; }
        void on_detach(void*) override { ++calls; }
    };
    auto held = std::make_shared<Counter>();
    {
        OpenProp a(VProp(1));
        a.info = held;
    }
    EXPECT_EQ(calls, 1);
    {
        OpenProp a(VProp(1));
        a.info = std::move(held);
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ends, 1);
    OpenProp reset(VProp(1));
    reset.info = std::make_shared<Counter>();
    reset.reset();
    EXPECT_TRUE(reset.empty());
    EXPECT_EQ(reset.info, nullptr);
    EXPECT_EQ(calls, 1);
}

TEST(VPropstring, KeepsAnyBytes) {
    std::string const text = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \xFF\xC3";
    EXPECT_EQ(VPropstring::from_utf8(text).to_utf8(), text);
    EXPECT_EQ(VPropstring::from_utf8("\xC3\xA9"), L"\u00E9");
    EXPECT_EQ(VPropstring(L"\u20AC").to_utf8(), "\xE2\x82\xAC");
    EXPECT_EQ(VPropstring::from_utf8(std::string("a\0b", 3)).size(), 3u);
}

TEST(VPropstring, CountsItsConversions) {
    auto const to = VPropstring::conversions_to.load();
    auto const from = VPropstring::conversions_from.load();
    (void)VPropstring::from_utf8("a").to_utf8();
    (void)VPropstring::from_utf8(std::string());
    EXPECT_EQ(VPropstring::conversions_to, to + 1);
    EXPECT_EQ(VPropstring::conversions_from, from + 2);
}

TEST(VPropstruct, KeepsItsOrderAndFindsTheFirstOfAName) {
    VPropstruct s;
    s.emplace_back("b", 1);
    s.emplace_back("a", 2);
    s.emplace_back("b", 3);
    EXPECT_EQ(s.find("b")->second.get<int>(), 1);
    EXPECT_EQ(std::as_const(s).find("a"), s.begin() + 1);
    EXPECT_EQ(s.find("c"), s.end());
    EXPECT_TRUE(s.has_key("a"));
    EXPECT_FALSE(s.has_key("A"));
}

TEST(VPropstruct, ErasingKeepsTheOrderOfTheRest) {
    VPropstruct s;
    for (char const* name : {"a", "b", "c"}) s.emplace_back(name, VPropstring::from_utf8(name));
    EXPECT_TRUE(s.erase("b"));
    EXPECT_FALSE(s.erase("b"));
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].first, "a");
    EXPECT_EQ(s[1].first, "c");
    EXPECT_EQ(s[1].second.get<VPropstring>(), L"c");
}

constexpr int many_levels = 300'000;

VProp nested_values() {
    VProp p = 1;
    for (int i = 0; i < many_levels; ++i) {
        VProp outer;
        outer.set<VProp>() = std::move(p);
        p = std::move(outer);
    }
    return p;
}

VProp nested_cells() {
    VProp p = 1;
    for (int i = 0; i < many_levels; ++i) {
        VProparray<VProp> cells;
        cells.push_back(std::move(p));
        p = std::move(cells);
    }
    return p;
}

VProp nested_structs() {
    VProp p = 1;
    for (int i = 0; i < many_levels; ++i) {
        VPropstruct s;
        s.emplace_back("a", std::move(p));
        p = std::move(s);
    }
    return p;
}

TEST(DeepTree, IsCopiedComparedUnsharedAndDestroyedWithoutRecursion) {
    for (auto const make : {nested_values, nested_cells, nested_structs}) {
        VProp a = make();
        VProp const b = make();
        VProp c = a;
        EXPECT_EQ(a, b);
        c.own();
        EXPECT_EQ(c, b);
    }
}

TEST(DeepTree, IsWalkedByALongPathWithoutRecursion) {
    std::string path = "a";
    for (int i = 0; i < 50'000; ++i) path += "{0}.a";
    VProp p;
    p[path] = 3;
    EXPECT_EQ(std::as_const(p)[path].get<int>(), 3);
    std::string slashes;
    for (int i = 0; i < 50'000; ++i) slashes += "a/0/";
    EXPECT_EQ(JSON::find_property(p, slashes + "a").first->get<int>(), 3);
    EXPECT_TRUE(vexa_prop_is_valid_path(path));
}

TEST(TypeInfo, NamesTheTypeBehindEachCode) {
    EXPECT_EQ(vexa_dt_get_type(0x80), typeid(double));
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0x80000080)), typeid(VProparray<double>));
    EXPECT_EQ(vexa_dt_get_type(0x4000), typeid(VProp));
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0x80004000)), typeid(VProparray<VProp>));
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0x80008000)), typeid(VProparray<VPropstruct>));
    EXPECT_EQ(vexa_dt_get_type(0x20000), typeid(VPropstring));
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0xC0000080)), typeid(VProparray<Complex>));
    EXPECT_EQ(vexa_dt_get_type(0x400), typeid(_s_vexa_RGB));
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0x80000400)), typeid(VProparray<_s_vexa_RGB>));
    EXPECT_EQ(vexa_dt_get_type(0x800), typeid(unsigned int));
}

TEST(TypeInfo, RgbWordsAndUnsignedIntegersShareAnArrayType) {
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0x80000800)), typeid(VProparray<unsigned int>));
    EXPECT_EQ(vexa_dt_get_type(static_cast<int>(0x80000010)), typeid(VProparray<unsigned int>));
}

TEST(TypeInfo, IsVoidForWhatHasNoValueType) {
    for (unsigned code : {0x0u, 0x40000u, 0x80040000u, 0x40000001u, 0x3u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(vexa_dt_get_type(static_cast<int>(code)), typeid(void)) << std::hex << code;
}

} // namespace
