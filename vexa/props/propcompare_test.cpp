#include <vexa/props/propcompare.h>

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <vexa/props/VexaProps.h>
#include <vexa/testing/expect_throws.h>

namespace {

using Vexa::props::CompareTraits;
using Vexa::props::is_equal;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

bool tolerant(VProp const& a, VProp const& b) { return is_equal(a, b, {true, {}}); }

TEST(IsEqual, NothingAndEmptyAreEqual) {
    EXPECT_EQ(VProp(), VProp());
    EXPECT_EQ(VProp(), VProp(vexa_EMPTY()));
    EXPECT_EQ(VProp(vexa_EMPTY()), VProp());
    EXPECT_EQ(VProp(vexa_EMPTY()), VProp(vexa_EMPTY()));
    EXPECT_FALSE(VProp() == VProp(0));
    EXPECT_FALSE(VProp(0) == VProp());
    EXPECT_FALSE(VProp(0) == VProp(vexa_EMPTY()));
}

TEST(IsEqual, TypesMustAgree) {
    EXPECT_FALSE(VProp(1) == VProp(1l));
    EXPECT_FALSE(VProp(1.0f) == VProp(1.0));
    EXPECT_FALSE(VProp(VProparray<int>{1}) == VProp(1));
    EXPECT_EQ(VProp(1l), VProp(1l));
    EXPECT_FALSE(VProp(1l) == VProp(2l));
}

TEST(IsEqual, RealNumbersExactly) {
    EXPECT_EQ(VProp(0.1), VProp(0.1));
    EXPECT_FALSE(VProp(0.1) == VProp(std::nextafter(0.1, 1.0)));
    EXPECT_FALSE(VProp(0.0) == VProp(-0.0));
    EXPECT_EQ(VProp(nan), VProp(nan));
    EXPECT_EQ(VProp(nan), VProp(-nan));
    EXPECT_FALSE(VProp(nan) == VProp(1.0));
    EXPECT_FALSE(VProp(1.0) == VProp(nan));
}

TEST(IsEqual, AnInfiniteRightSideEqualsAnyNumber) {
    EXPECT_EQ(VProp(1.0), VProp(inf));
    EXPECT_EQ(VProp(-inf), VProp(inf));
    EXPECT_EQ(VProp(nan), VProp(inf));
    EXPECT_FALSE(VProp(inf) == VProp(1.0));
    EXPECT_EQ(VProp(1.0f), VProp(std::numeric_limits<float>::infinity()));
}

TEST(IsEqual, RealNumbersTolerantly) {
    EXPECT_TRUE(tolerant(0.0, -0.0));
    EXPECT_TRUE(tolerant(1.0, 1.0 + 4.4e-16));
    EXPECT_FALSE(tolerant(1.0, 1.0 + 7e-16));
    EXPECT_TRUE(tolerant(1.0f, 1.0f + 2.3e-7f));
    EXPECT_FALSE(tolerant(1.0f, 1.0f + 4e-7f));
    EXPECT_FALSE(tolerant(0.0, 5e-324));
    EXPECT_FALSE(tolerant(1.7e308, -1.7e308)) << "no overflow of the bound";
    EXPECT_FALSE(tolerant(nan, 1.0));
}

TEST(IsEqual, ComplexNumbersByPart) {
    using C = std::complex<double>;
    EXPECT_EQ(VProp(C(1, nan)), VProp(C(1, nan)));
    EXPECT_FALSE(VProp(C(1, 2)) == VProp(C(1, 3)));
    EXPECT_FALSE(VProp(C(1, 2)) == VProp(C(2, 2)));
    EXPECT_TRUE(tolerant(VProparray<C>{C(1, 2)}, VProparray<C>{C(1, 2 + 8e-16)}));
    EXPECT_EQ(VProp(std::complex<float>(1, 2)), VProp(std::complex<float>(1, 2)));
}

TEST(IsEqual, ShapesMustAgree) {
    VProparray<int> row{1, 2, 3, 4};
    VProparray<int> flat = row;
    VProparray<int> explicit_row = row;
    flat.size_vector = {4};
    explicit_row.size_vector = {1, 4};
    EXPECT_FALSE(VProp(explicit_row) == VProp(flat));
    EXPECT_EQ(VProp(explicit_row), VProp(row));
    VProparray<int> broken = row;
    broken.size_vector = {3, 3};
    VEXA_EXPECT_THROWS(VProp(row) == VProp(broken), std::runtime_error,
                       "Invalid size vector in property array.");
}

TEST(IsEqual, ElementsOfEveryKindOfArray) {
    EXPECT_FALSE(VProp(VProparray<short>{1, 2}) == VProp(VProparray<short>{1, 3}));
    EXPECT_FALSE(VProp(VProparray<bool>{true, false}) == VProp(VProparray<bool>{true, true}));
    EXPECT_EQ(VProp(VProparray<bool>{true, false}), VProp(VProparray<bool>{true, false}));
    EXPECT_EQ(VProp(VProparray<double>{nan}), VProp(VProparray<double>{nan}));
    EXPECT_FALSE(VProp(VProparray<float>{1}) == VProp(VProparray<float>{2}));
    EXPECT_EQ(VProp(VProparray<int>()), VProp(VProparray<int>()));
    VProparray<VPropstring> a{L"x", L"y"};
    VProparray<VPropstring> b{L"x", L"z"};
    EXPECT_FALSE(VProp(a) == VProp(b));
    EXPECT_EQ(VProp(a), VProp(a));
    EXPECT_FALSE(VProp(VProparray<VProp>{VProp(1)}) == VProp(VProparray<VProp>{VProp(2)}));
    EXPECT_EQ(VProp(VProparray<VProp>{VProp(1)}), VProp(VProparray<VProp>{VProp(1)}));
    VProp s, t;
    s["(1).x"] = 1;
    t["(1).x"] = 1;
    EXPECT_EQ(s, t);
    t["(1).x"] = 2;
    EXPECT_FALSE(s == t);
}

TEST(IsEqual, UserBitsDoNotCount) {
    VProparray<int> a{1};
    VProparray<int> b{1};
    b.userbits = 7;
    EXPECT_EQ(VProp(a), VProp(b));
}

TEST(IsEqual, MembersInAnyOrder) {
    VProp a, b;
    for (int i = 0; i < 40; ++i) a["m" + std::to_string(i)] = i;
    for (int i = 40; i-- > 0;) b["m" + std::to_string(i)] = i;
    EXPECT_EQ(a, b);
    VProp c, d;
    c["x"] = 1, c["y"] = 2;
    d["y"] = 2, d["x"] = 1;
    EXPECT_EQ(c, d);
    d["z"] = 3;
    EXPECT_FALSE(c == d);
    c["w"] = 3;
    EXPECT_FALSE(c == d);
}

TEST(IsEqual, OfDuplicateMembersTheFirstCounts) {
    VPropstruct a, b;
    a.emplace_back("x", 1);
    a.emplace_back("x", 1);
    b.emplace_back("x", 1);
    b.emplace_back("x", 2);
    EXPECT_EQ(VProp(a), VProp(b));
    EXPECT_FALSE(VProp(b) == VProp(a));
}

TEST(IsEqual, StepsIntoNestedValues) {
    VProp a, b;
    a.set<VProp>() = 1;
    b.set<VProp>() = 1;
    EXPECT_EQ(a, b);
    EXPECT_FALSE(a == VProp(1));
    b.set<VProp>() = 2;
    EXPECT_FALSE(a == b);
    VProp c, d;
    c.set<VProp>();
    d.set<VProp>() = vexa_EMPTY();
    EXPECT_EQ(c, d);
}

TEST(IsEqual, CustomIsAskedFirstAtEachLevel) {
    VProp a, b;
    a["x"] = 1;
    b["x"] = 2l;
    std::vector<int> seen;
    CompareTraits traits;
    traits.custom = [&seen](VProp const& p, VProp const& q) {
        seen.push_back(p.get_id());
        return p.get_id() == 0x20 && q.get_id() == 0x2000;
    };
    EXPECT_TRUE(is_equal(a, b, traits));
    EXPECT_EQ(seen, (std::vector<int>{0x8000, 0x20}));
    EXPECT_FALSE(a == b);
    traits.custom = [](VProp const&, VProp const&) { return true; };
    EXPECT_TRUE(is_equal(VProp(), VProp(1), traits));
}

} // namespace
