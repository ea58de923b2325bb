#include <vexa/props/VexaProps.h>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

namespace {

using Position = std::vector<unsigned long>;

/// A structure with one member of each kind of container.
VProp sample() {
    VProp p;
    p["s.x"] = 1;
    p["cells"] = VProparray<VProp>{VProp(10), VProp(11), VProp(12)};
    p["v"] = VProparray<double>{0.5, 1.5, 2.5};
    p["structs(1).x"] = 7;
    p["text"] = VPropstring(L"t");
    return p;
}

std::string error_of(VProp& p, std::string const& path, bool create = false) {
    std::string err;
    EXPECT_EQ(vexa_prop_getp_ex(&p, path, err, create).first, nullptr) << path;
    return err;
}

TEST(PropertyPath, SeparatorsBetweenMembers) {
    VProp p;
    p["a.b"] = 1;
    EXPECT_EQ(p["a/b"].get<int>(), 1);
    p["c(2).b"] = 2;
    EXPECT_EQ(p["c(2)/b"].get<int>(), 2);
    p["d{1}.b"] = 3;
    EXPECT_EQ(p["d{1}"].get<VPropstruct>().front().first, "b");
    EXPECT_EQ(p["d/1/b"].get<int>(), 3);
    EXPECT_EQ(p["d/1"].get_id(), 0x8000);
}

TEST(PropertyPath, NonConstIndexingOfNothingCreatesStructures) {
    VProp p;
    p["a.b"];
    ASSERT_EQ(p.get_id(), 0x8000);
    EXPECT_EQ(p.get<VPropstruct>().front().first, "a");
    EXPECT_EQ(p.get<VPropstruct>().front().second.get<VPropstruct>().front().first, "b");
    EXPECT_TRUE(p["a.b"].empty());
}

TEST(PropertyPath, TheEmptyPathNamesTheRoot) {
    VProp p = 1;
    std::string err;
    EXPECT_EQ(p.getp("", err, false), &p);
    EXPECT_EQ(&p[""], &p);
    EXPECT_EQ(vexa_prop_getp_ex(nullptr, "a", err, true).first, nullptr);
    VPropstruct s;
    VEXA_EXPECT_THROWS(s.getp("", true), std::runtime_error,
                       "Invalid property path '': Path unexpectedly empty.");
}

TEST(PropertyPath, BracketIndexCreatesStructureArraysOnly) {
    VProp p;
    EXPECT_EQ(error_of(p, "a(0)", true), "Path ends in struct array.");
    EXPECT_EQ(p["a"].get_id(), static_cast<int>(0x80008000)) << "what a failure has made stays";
    VProp q;
    q["a(0).x"] = 4;
    auto const& structs = q["a"].get<VProparray<VPropstruct>>();
    ASSERT_EQ(structs.size(), 1u);
    EXPECT_EQ(structs[0].front().first, "x");
    EXPECT_EQ(error_of(q, "a(0){1}"), "Encountered array index '{1}' instead of struct member name.");
    EXPECT_EQ(error_of(q, "a(0)/1"), "Encountered array index '/1' instead of struct member name.");
}

TEST(PropertyPath, SlashIndexCannotCreate) {
    VProp p;
    EXPECT_EQ(error_of(p, "a/1", true),
              "Path leads to empty entry but array type to create is unknown in '/' notation.");
    EXPECT_EQ(error_of(p, "a/1", false), "Expected an array as '/' is followed by a number.");
    p["b"] = 1;
    EXPECT_EQ(error_of(p, "b/1", true), "Expected an array as '/' is followed by a number.");
}

TEST(PropertyPath, IndicesArePositions) {
    VProp p;
    p.set<VProparray<VProp>>().set_size({2, 3, 4}, VProparrayBase::resize_clear);
    auto& cells = p.set<VProparray<VProp>>();
    std::string err;
    EXPECT_EQ(vexa_prop_getp_ex(&p, "{1,2,3}", err, false).first, &cells[1 + 2 * 2 + 3 * 6]);
    EXPECT_EQ(vexa_prop_getp_ex(&p, "/1,2,3", err, false).first, &cells[1 + 2 * 2 + 3 * 6]);
    EXPECT_EQ(error_of(p, "{3}"), "Input rank '3' too low (< '2').");

    VProp row = VProparray<VProp>(4);
    EXPECT_EQ(&row["{3}"], &row.set<VProparray<VProp>>()[3]);
    EXPECT_EQ(&row["{ 1}"], &row.set<VProparray<VProp>>()[1]);
    EXPECT_EQ(&row["{}"], &row.set<VProparray<VProp>>()[0]);
    EXPECT_EQ(&row["{0,2}"], &row.set<VProparray<VProp>>()[2]);
    EXPECT_EQ(&row["{,2}"], &row.set<VProparray<VProp>>()[2]);
    EXPECT_EQ(&row["{2,}"], &row.set<VProparray<VProp>>()[2]) << "a comma before the bracket ends the list";
    EXPECT_EQ(&row["{0, 3}"], &row.set<VProparray<VProp>>()[3]);
    EXPECT_EQ(error_of(row, "{1,2}"), "Index 0 out of bounds. (1 >= 1)");
}

TEST(PropertyPath, BadIndicesCarryTheWholeSegment) {
    VProp p = VProparray<VProp>(4);
    EXPECT_EQ(error_of(p, "{ 1 }"), "Invalid character specified in index segment '{ 1 }'.");
    EXPECT_EQ(error_of(p, "{1 }"), "Invalid character specified in index segment '{1 }'.");
    EXPECT_EQ(error_of(p, "{-1}"), "Invalid character specified in index segment '{-1}'.");
    EXPECT_EQ(error_of(p, "/1x"), "Invalid character specified in index segment '/1x'.");
    EXPECT_EQ(error_of(p, "{\t1}"), "Invalid character specified in index segment '{\t1}'.");
}

TEST(PropertyPath, NumbersKeepTheirLow32Bits) {
    VProp p = VProparray<VProp>(4);
    EXPECT_EQ(error_of(p, "{2147483648}"), "Invalid index '2147483648' specified in segment '{2147483648}'.");
    EXPECT_EQ(error_of(p, "{4294967295}"), "Invalid index '4294967295' specified in segment '{4294967295}'.");
    EXPECT_EQ(&p["{4294967297}"], &p.set<VProparray<VProp>>()[1]);
    EXPECT_EQ(&p["{0000000000000000000000003}"], &p.set<VProparray<VProp>>()[3]);
    EXPECT_EQ(error_of(p, "{9223372036854775808}"),
              "Invalid index '9223372036854775808' specified in segment '{9223372036854775808}'.");
    EXPECT_EQ(error_of(p, "{99999999999999999999}"),
              "Invalid index '99999999999999999999' specified in segment '{99999999999999999999}'.");
    EXPECT_EQ(error_of(p, "{2147483647}"), "Index 1 out of bounds. (2147483647 >= 4)");
}

TEST(PropertyPath, BracketsMustMatch) {
    VProp p = sample();
    for (char const* path : {"cells{1", "cells{", "cells{1)", "v(1}", "v(", "cells{1}foo", "cells{1}}x"})
        EXPECT_EQ(error_of(p, path), "Brackets not matched.") << path;
}

TEST(PropertyPath, EmptySegments) {
    VProp p = sample();
    std::string err;
    EXPECT_EQ(p.getp("s.", err, false), &p["s"]);
    EXPECT_EQ(p.getp("s/", err, false), &p["s"]);
    for (char const* path : {".a", "/a", "/", ".", "s..x", "s//x", "s.{0}.x"}) {
        err.clear();
        EXPECT_EQ(vexa_prop_getp_ex(&p, path, err, false).first, nullptr) << path;
    }
    EXPECT_EQ(error_of(p, ".a"), "Path starts with empty segment.");
    EXPECT_EQ(error_of(p, "/a"), "Path starts with empty segment.");
    EXPECT_EQ(error_of(p, "/"), "Path starts with empty segment.");
    EXPECT_EQ(error_of(p, "s..x"), "Path starts with empty segment.");
}

TEST(PropertyPath, MemberNames) {
    EXPECT_TRUE(vexa_prop_is_valid_name("a-b_1"));
    EXPECT_TRUE(vexa_prop_is_valid_name("_"));
    for (char const* name : {"1a", "-a", "", "a b", "a.b", "a\x7F", "\xC3\xA9", "a{"})
        EXPECT_FALSE(vexa_prop_is_valid_name(name)) << name;
    VProp p;
    EXPECT_EQ(error_of(p, "1a", true), "Path contains invalid struct member name '1a'.");
    EXPECT_EQ(error_of(p, "-a", true), "Path contains invalid struct member name '-a'.");
}

TEST(PropertyPath, ValidPathsCanBeCreatedFromNothing) {
    for (char const* path :
         {"", "a", "a.b", "a.b{1}", "a{1}{2}.b", "{1}", "a(1).b", "(0)/b", "a.", "a{99999999}"})
        EXPECT_TRUE(vexa_prop_is_valid_path(path)) << path;
    for (char const* path :
         {"a/1", "a(1)", "/1", "(1)", "a(1){1}", "a(1)(1).b", ".a", "a..b", "a{1", "1a", "a{1}b"})
        EXPECT_FALSE(vexa_prop_is_valid_path(path)) << path;
}

/// The quick answer of vexa_prop_is_valid_path() is that of a real creation.
TEST(PropertyPath, ValidityAgreesWithCreation) {
    std::vector<std::string> const parts{"a", "{1}", "(1)", "/1", ".", "/", "x", "{", "-"};
    std::vector<std::string> paths{""};
    for (int length = 0; length < 4; ++length) {
        std::vector<std::string> longer;
        for (auto const& path : paths)
            for (auto const& part : parts) longer.push_back(path + part);
        for (auto const& path : longer) {
            VProp scratch;
            std::string err;
            auto const [place, position] = vexa_prop_getp_ex(&scratch, path, err, true);
            EXPECT_EQ(vexa_prop_is_valid_path(path), place && position.empty()) << path;
        }
        paths = std::move(longer);
    }
}

TEST(PropertyPath, AnElementOfAValueArrayIsItsArrayAndAPosition) {
    VProp p = sample();
    std::string err;
    auto const [place, position] = vexa_prop_getp_ex(&p, "v(1)", err, false);
    EXPECT_EQ(place, &p["v"]);
    EXPECT_EQ(position, (Position{0, 1}));
    EXPECT_EQ(vexa_prop_getp_ex(&p, "v/2", err, false).second, (Position{0, 2}));
    VEXA_EXPECT_THROWS(p.getp("v(1)", false), std::runtime_error,
                       "Invalid property path 'v(1)': Path ended at value array element.");
    EXPECT_EQ(p.getp("v/1", err, false), nullptr);
    EXPECT_EQ(err, "Path ended at value array element.");
}

TEST(PropertyPath, FailuresInsideValueArrays) {
    VProp p = sample();
    std::string err;
    auto const outside = vexa_prop_getp_ex(&p, "v(3)", err, false);
    EXPECT_EQ(outside.first, nullptr);
    EXPECT_EQ(outside.second, (Position{0, 3}));
    EXPECT_EQ(err, "Index 1 out of bounds. (3 >= 3)");
    EXPECT_EQ(vexa_prop_getp_ex(&p, "v/3", err, false).second, Position());
    auto const beyond = vexa_prop_getp_ex(&p, "v(1).x", err, false);
    EXPECT_EQ(beyond.first, nullptr);
    EXPECT_EQ(beyond.second, (Position{0, 1}));
    EXPECT_EQ(err, "Additional path elements after ending in value array.");
    EXPECT_EQ(error_of(p, "v/1/x"), "Additional path elements after ending in value array.");
    VEXA_EXPECT_THROWS(p.getp("v(3)", false), std::runtime_error,
                       "Invalid property path 'v(3)': Path ended at value array element.");
}

TEST(PropertyPath, GrowingAValueArrayDoesNotShowInCopies) {
    VProp p = sample();
    VProp const before = p;
    std::string err;
    auto const [place, position] = vexa_prop_getp_ex(&p, "v(5)", err, true);
    EXPECT_EQ(position, (Position{0, 5}));
    EXPECT_EQ(place->get_arr(true)->size(), 6u);
    EXPECT_EQ(before["v"].get_arr(true)->size(), 3u);
}

TEST(PropertyPath, WrongKindsOfPlaces) {
    VProp p = sample();
    EXPECT_EQ(error_of(p, "text.x"), "Expected a struct.");
    EXPECT_EQ(error_of(p, "v.x"), "Expected a struct.");
    EXPECT_EQ(error_of(p, "missing"), "Struct member 'missing' does not exist.");
    EXPECT_EQ(error_of(p, "s{0}"), "Not a cell array but encountered cell array index {...}.");
    EXPECT_EQ(error_of(p, "s(0).x"), "Expected a value or struct array.");
    EXPECT_EQ(error_of(p, "cells(0)"), "Expected a value or struct array.");
    EXPECT_EQ(error_of(p, "structs/0"), "Path ends in struct array.");
    EXPECT_EQ(error_of(p, "structs/5"), "Index 1 out of bounds. (5 >= 2)");
    EXPECT_EQ(p["structs/1/x"].get<int>(), 7);
    VProp empty;
    EXPECT_EQ(error_of(empty, "a"), "Expected a struct.");
    EXPECT_EQ(error_of(empty, "{0}"), "Not a cell array but encountered cell array index {...}.");
    EXPECT_EQ(error_of(empty, "(0).x"), "Expected a value or struct array.");
    EXPECT_TRUE(empty.empty());
}

TEST(PropertyPath, ABadIndexIntoAStructureArrayIsThrown) {
    VProp p = sample();
    std::string err;
    VEXA_EXPECT_THROWS(vexa_prop_getp_ex(&p, "structs(2).x", err, false), std::runtime_error,
                       "Index 1 out of bounds. (2 >= 2)");
    VEXA_EXPECT_THROWS(p.getp("structs(2).x", err, false), std::runtime_error,
                       "Index 1 out of bounds. (2 >= 2)");
    VEXA_EXPECT_THROWS(p.getp("structs(2).x", false), std::runtime_error,
                       "Invalid property path 'structs(2).x': Index 1 out of bounds. (2 >= 2)");
}

TEST(PropertyPath, ConstLookUpsCreateAndUnshareNothing) {
    VProp const p = sample();
    VProp const copy = p;
    EXPECT_EQ(p["s.x"].get<int>(), 1);
    EXPECT_EQ(&p["s.x"], &copy["s.x"]);
    EXPECT_EQ(p["cells{2}"].get<int>(), 12);
    EXPECT_EQ(p["structs(1).x"].get<int>(), 7);
    VEXA_EXPECT_THROWS(p["s.y"], std::runtime_error,
                       "Invalid property path 's.y': Struct member 'y' does not exist.");
    std::string err;
    EXPECT_EQ(p.getp("cells{3}", err), nullptr);
    EXPECT_EQ(err, "Index 1 out of bounds. (3 >= 3)");
}

TEST(PropertyPath, LookUpsThroughHandlesUnshareWhatTheyPass) {
    VProp p = sample();
    VProp const copy = p;
    p.getp("s.x", false).set<int>() = 2;
    EXPECT_EQ(copy["s.x"].get<int>(), 1);
    p["cells{0}"].set<int>() = 20;
    EXPECT_EQ(copy["cells{0}"].get<int>(), 10);
    p["structs(1).x"] = 8;
    EXPECT_EQ(copy["structs(1).x"].get<int>(), 7);
}

TEST(PropertyPath, StartsInAStructureAsWell) {
    VPropstruct s;
    s["a{1}.b"] = 1;
    EXPECT_EQ(std::as_const(s)["a{1}.b"].get<int>(), 1);
    std::string err;
    EXPECT_EQ(s.getp("{1}", err, true), nullptr);
    EXPECT_EQ(err, "Encountered array index '{1}' instead of struct member name.");
    EXPECT_EQ(std::as_const(s).getp("x", err), nullptr);
    EXPECT_EQ(err, "Struct member 'x' does not exist.");
    VEXA_EXPECT_THROWS(std::as_const(s).getp("x"), std::runtime_error,
                       "Invalid property path 'x': Struct member 'x' does not exist.");
}

TEST(PropertyPath, AHugeIndexIsRefusedBeforeAnythingIsMade) {
    VProp p;
    EXPECT_EQ(error_of(p, "{2147483647}", true), "Property array of 2147483648 elements is too large.");
    EXPECT_EQ(error_of(p, "{2147483647,2147483647,2147483647}", true),
              "Property array of 18446744073709551615 elements is too large.");
}

VProp json_sample() {
    VProp p;
    p["cells{1}.name"] = 5;
    p["values"] = VProparray<double>{1, 2, 3, 4};
    p["strings"] = VProparray<VPropstring>{VPropstring(L"a")};
    p["structs(1).deep.x"] = 6;
    p["number"] = 1;
    p["nested"].set<VProp>() = VProp(1);
    p["nothing"];
    return p;
}

TEST(FindProperty, ReachesIntoCellsAndStructures) {
    VProp p = json_sample();
    EXPECT_EQ(JSON::find_property(p, "cells/1/name").first->get<int>(), 5);
    EXPECT_EQ(JSON::find_property(p, "cells/1x/name").first->get<int>(), 5);
    EXPECT_EQ(JSON::find_property(p, "cells/ 1").first, &p["cells{1}"]);
    EXPECT_EQ(JSON::find_property(p, "structs/1/deep/x").first->get<int>(), 6);
    EXPECT_EQ(JSON::find_property(p, "").first, &p);
    EXPECT_EQ(JSON::find_property(p, "number/").first, &p["number"]);
    EXPECT_EQ(JSON::find_property(std::as_const(p), "cells/1/name").first->get<int>(), 5);
}

TEST(FindProperty, LeavesWhatComesBehindArraysToTheCaller) {
    VProp p = json_sample();
    EXPECT_EQ(JSON::find_property(p, "values/3"), std::pair(&p["values"], std::string("3")));
    EXPECT_EQ(JSON::find_property(p, "values/3/x"), std::pair(&p["values"], std::string("3/x")));
    EXPECT_EQ(JSON::find_property(p, "strings/y"), std::pair(&p["strings"], std::string("y")));
    EXPECT_EQ(JSON::find_property(p, "structs/1"), std::pair(&p["structs"], std::string("1")));
    EXPECT_EQ(JSON::find_property(p, "structs/junk"), std::pair(&p["structs"], std::string("junk")));
}

TEST(FindProperty, YieldsNullWhereAPathLeadsNowhere) {
    VProp p = json_sample();
    for (char const* path :
         {"cells/x/name", "cells/9", "cells/9/name", "cells/-1", "cells/99999999999999999999", "missing",
          "missing/x", "structs/2/deep", "structs/x/deep", "structs/1/", "number/x", "nested/x", "nothing/x",
          "/number", "cells/0/x"}) {
        auto const [place, rest] = JSON::find_property(p, path);
        EXPECT_EQ(place, nullptr) << path;
        EXPECT_EQ(rest, "") << path;
    }
    VProp empty;
    EXPECT_EQ(JSON::find_property(empty, "x").first, nullptr);
    EXPECT_EQ(JSON::find_property(empty, "").first, &empty);
}

TEST(FindProperty, UnsharesWhatItPasses) {
    VProp p = json_sample();
    VProp const copy = p;
    JSON::find_property(p, "cells/1/name").first->set<int>() = 9;
    EXPECT_EQ(copy["cells{1}.name"].get<int>(), 5);
}

} // namespace
