#include <vexa/props/propvisitor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexa/props/VexaProps.h>
#include <vexa/testing/expect_throws.h>

namespace {

using testing::ElementsAre;

/// Writes down what it is told. Answers can be set by type code.
class Recorder final : public VPropVisitor {
public:
    using VPropVisitor::visit;
    using VPropVisitor::visit_exit;

    int visit(VProp const& p) override {
        note(fmt_code("+", p));
        auto const found = answers.find(p.get_id());
        return found == answers.end() ? 1 : found->second;
    }
    bool visit_exit(VProp const& p) override {
        note(fmt_code("-", p));
        return !exit_stops || p.get_id() != stop_code;
    }
    int visit(VPropstruct const&) override {
        note("+s");
        return struct_answer;
    }
    bool visit_exit(VPropstruct const&) override {
        note("-s");
        return true;
    }
    bool visit_exit(VPropstring const& text) override {
        note(text.to_utf8() + std::to_string(string_index));
        return text != L"stop";
    }

    std::size_t depth() const { return stack.size(); }

    std::vector<std::string> notes;
    std::vector<std::string> paths;
    std::map<int, int> answers;
    int struct_answer = 1;
    bool exit_stops = false;
    int stop_code = 0;

private:
    static std::string fmt_code(std::string sign, VProp const& p) {
        char text[16];
        std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(p.get_id()));
        return sign + text;
    }
    void note(std::string text) {
        notes.push_back(std::move(text));
        paths.push_back(get_cur_path(100));
    }
};

TEST(VPropVisitor, WalksDepthFirst) {
    VProp p;
    p["a"] = 1;
    p["b.c"] = 2.0;
    p["d{1}"] = true;
    Recorder r;
    EXPECT_TRUE(r.run(p));
    EXPECT_THAT(r.notes, ElementsAre("+8000", "+20", "-20", "+8000", "+80", "-80", "-8000", "+80004000", "+0",
                                     "-0", "+10000", "-10000", "-80004000", "-8000"));
    EXPECT_THAT(r.paths, ElementsAre("", "a", "a", "b", "b.c", "b.c", "b", "d", "d{0,0}", "d{0,0}", "d{0,1}",
                                     "d{0,1}", "d", ""));
    EXPECT_EQ(r.depth(), 0u);
}

TEST(VPropVisitor, VisitsStructureArraysElementByElement) {
    VProp p;
    p["(1).x"] = 1;
    Recorder r;
    EXPECT_TRUE(r.run(p));
    EXPECT_THAT(r.notes, ElementsAre("+80008000", "+s", "-s", "+s", "+20", "-20", "-s", "-80008000"));
    EXPECT_THAT(r.paths, ElementsAre("", "(0,0)", "(0,0)", "(0,1)", "(0,1).x", "(0,1).x", "(0,1).x", ""));
}

TEST(VPropVisitor, TellsTheIndexOfEachString) {
    VProp p;
    p["t"] = VProparray<VPropstring>{L"x", L"y"};
    Recorder r;
    EXPECT_TRUE(r.run(p));
    EXPECT_THAT(r.notes, ElementsAre("+8000", "+80020000", "x0", "y1", "-80020000", "-8000"));
}

TEST(VPropVisitor, AnEmptyHandleIsALeafAndANestedOneIsNot) {
    VProp p;
    p.set<VProp>();
    Recorder r;
    EXPECT_TRUE(r.run(p));
    EXPECT_THAT(r.notes, ElementsAre("+4000", "+0", "-0", "-4000"));
    EXPECT_TRUE(VPropVisitor::is_container(p));
    EXPECT_FALSE(VPropVisitor::is_container(VProp()));
    EXPECT_FALSE(VPropVisitor::is_container(VProparray<int>{1}));
    EXPECT_FALSE(VPropVisitor::is_container(VPropstring()));
}

TEST(VPropVisitor, SkippedChildrenStillHaveTheirExit) {
    VProp p;
    p["a"] = 1;
    Recorder r;
    r.answers[0x8000] = 2;
    EXPECT_TRUE(r.run(p));
    EXPECT_THAT(r.notes, ElementsAre("+8000", "-8000"));
    VProp s;
    s["(0).x"] = 1;
    Recorder t;
    t.struct_answer = 2;
    EXPECT_TRUE(t.run(s));
    EXPECT_THAT(t.notes, ElementsAre("+80008000", "+s", "-s", "-80008000"));
}

TEST(VPropVisitor, StopsWhereItIsTold) {
    VProp p;
    p["a.b"] = 1;
    p["c"] = 2.0;
    Recorder by_visit;
    by_visit.answers[0x20] = 0;
    EXPECT_FALSE(by_visit.run(p));
    EXPECT_THAT(by_visit.notes, ElementsAre("+8000", "+8000", "+20"));
    EXPECT_EQ(by_visit.depth(), 0u);
    Recorder by_exit;
    by_exit.exit_stops = true;
    by_exit.stop_code = 0x20;
    EXPECT_FALSE(by_exit.run(p));
    EXPECT_THAT(by_exit.notes, ElementsAre("+8000", "+8000", "+20", "-20"));
    Recorder by_string;
    EXPECT_FALSE(by_string.run(VProparray<VPropstring>{L"a", L"stop", L"b"}));
    EXPECT_THAT(by_string.notes, ElementsAre("+80020000", "a0", "stop1"));
    VProp s;
    s["(1).x"] = 1;
    Recorder by_struct;
    by_struct.struct_answer = 0;
    EXPECT_FALSE(by_struct.run(s));
    EXPECT_THAT(by_struct.notes, ElementsAre("+80008000", "+s"));
}

TEST(VPropVisitor, RefusesOtherAnswers) {
    Recorder r;
    r.answers[0x8000] = 3;
    VEXA_EXPECT_THROWS(r.run(VPropstruct()), std::runtime_error, "Invalid return value from visit().");
    r.answers[0x8000] = -1;
    VEXA_EXPECT_THROWS(r.run(VPropstruct()), std::runtime_error, "Invalid return value from visit().");
    r.answers.clear();
    EXPECT_TRUE(r.run(VPropstruct())) << "it can be used again";
}

TEST(VPropVisitor, ProcessesPartsOnTheirOwn) {
    VPropstruct s;
    s["a"] = 1;
    Recorder r;
    EXPECT_TRUE(r.process(s));
    EXPECT_THAT(r.notes, ElementsAre("+20", "-20"));
    EXPECT_TRUE(r.process(VProparray<VProp>{VProp(true)}));
    EXPECT_TRUE(r.process(VProparray<VPropstruct>{s}));
    EXPECT_TRUE(r.process(VProparray<VPropstring>{L"t"}));
    EXPECT_THAT(r.notes, ElementsAre("+20", "-20", "+10000", "-10000", "+s", "+20", "-20", "-s", "t0"));
    EXPECT_EQ(r.depth(), 0u);
}

TEST(VPropVisitor, PathsUseTheGrammarOfPaths) {
    VProp cells = VProparray<VProp>(6);
    VProp shaped = cells;
    shaped.set<VProparray<VProp>>().size_vector = {2, 3};
    VProp structs = VProparray<VPropstruct>(2);
    EXPECT_EQ(VPropVisitor::get_path_segment({"n", -1, nullptr}, true), "n");
    EXPECT_EQ(VPropVisitor::get_path_segment({"n", -1, nullptr}, false), ".n");
    EXPECT_EQ(VPropVisitor::get_path_segment({"", 5, &shaped}, false), "{1,2}");
    EXPECT_EQ(VPropVisitor::get_path_segment({"", 5, &cells}, false), "{1,5}") << "no stored shape";
    EXPECT_EQ(VPropVisitor::get_path_segment({"x", 0, &structs}, true), "(0,0).x");
    EXPECT_EQ(VPropVisitor::get_path({{"a", -1, nullptr}, {"", 5, &shaped}, {"b", -1, nullptr}}, 2),
              "a{1,2}");
    EXPECT_EQ(VPropVisitor::get_path({{"", -1, nullptr}, {"b", -1, nullptr}}, 2), "b");
}

TEST(VPropVisitor, WalksDeepTreesWithoutRecursion) {
    VProp p = 1;
    for (int i = 0; i < 300'000; ++i) {
        VPropstruct s;
        s.emplace_back("a", std::move(p));
        p = std::move(s);
    }
    struct Counter final : VPropVisitor {
        using VPropVisitor::visit;
        int visit(VProp const&) override { return ++count, 1; }
        int count = 0;
    } counter;
    EXPECT_TRUE(counter.run(p));
    EXPECT_EQ(counter.count, 300'001);
}

} // namespace
