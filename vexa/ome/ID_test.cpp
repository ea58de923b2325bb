#include <vexa/ome/ID.h>

#include <limits>
#include <map>
#include <random>
#include <type_traits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

constexpr int greatest = std::numeric_limits<int>::max();
constexpr char const* bad = "bad variant access";

std::string text(Dye const& dye) { return dye.id.value()->get<std::string>(); }

struct OmeID : testing::Test {
    Root root{""};
    Array_of<Dye>& dyes = root.ome.provide_dyes();
    Numbers& numbers = root.registry().numbers<Dye>();

    Dye& add() { return *dyes.emplace_back(); }
    std::vector<int> all() { return {numbers.all().begin(), numbers.all().end()}; }
};

template <typename E>
std::string word_of_a_fresh_identifier() {
    Root root("");
    ID_of<E> const id(root.ome.element(), "test", true);
    EXPECT_EQ(root.registry().numbers<E>().count(1), 1u);
    return id.value()->template get<std::string>();
}

} // namespace

static_assert(Registry::size == 16);
static_assert(std::is_same_v<Identified<Dye const>, Dye> &&
              std::is_same_v<Identified<Project::Extension>, Annotation>);
static_assert(!Registry::contains<Project::Extension> && Registry::contains<Annotation>);

TEST_F(OmeID, HasTheWordOfItsType) {
    EXPECT_EQ(word_of_a_fresh_identifier<Project>(), "Project:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Dye>(), "Dye:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Band>(), "Band:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Dataset>(), "Dataset:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Folder>(), "Folder:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Instrument>(), "Instrument:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Light_Source>(), "LightSource:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Detector>(), "Detector:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Objective>(), "Objective:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Filter>(), "Filter:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Image>(), "Image:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Pixels>(), "Pixels:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Channel>(), "Channel:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Shape>(), "Shape:1");
    EXPECT_EQ(word_of_a_fresh_identifier<ROI>(), "ROI:1");
    EXPECT_EQ(word_of_a_fresh_identifier<Annotation>(), "Annotation:1");
}

TEST_F(OmeID, OfANewElementFollowsTheGreatest) {
    Dye& first = add();
    EXPECT_EQ(text(first), "Dye:1");
    EXPECT_EQ(text(add()), "Dye:2");
    dyes.remove("Dye:2");
    EXPECT_EQ(text(add()), "Dye:2");
    dyes.remove("Dye:1");
    EXPECT_EQ(text(add()), "Dye:3");
    EXPECT_EQ(all(), (std::vector{2, 3}));
}

TEST_F(OmeID, OfTextIsKeptAndDoesNotCount) {
    ID_of<Image> id(root.ome.element(), "test", true);
    id.set("Image:abc");
    EXPECT_EQ(id.string(), "abc");
    EXPECT_EQ(id.actual(), JSON::Value("abc"));
    EXPECT_EQ(id.count(), 0u);
    EXPECT_TRUE(root.registry().numbers<Image>().all().empty());
    EXPECT_EQ(*ID_of<Image>(root.ome.element(), "next", true).value(), JSON::Value("Image:1"));
    Root const read(
        root.XML().insert(root.XML().find("<Project"), R"(<Dataset ID="Dataset:abc"/><Dataset/>)"));
    EXPECT_EQ(*read.ome.datasets().front().id.value(), JSON::Value("Dataset:abc"));
    EXPECT_EQ(*std::next(read.ome.datasets().begin())->id.value(), JSON::Value("Dataset:1"));
}

TEST_F(OmeID, HasANumberOnlyIfTheWholeTextIsOne) {
    Dye& dye = add();
    std::map<std::string, JSON::Value> const cases{{"Dye:7", 7},
                                                   {"Dye:-7", -7},
                                                   {"Dye:007", 7},
                                                   {"Dye:", ""},
                                                   {"Dye:+7", "+7"},
                                                   {"Dye: 7", " 7"},
                                                   {"Dye:7 ", "7 "},
                                                   {"Dye:7.0", "7.0"},
                                                   {"Dye:7:8", "7:8"},
                                                   {"Dye:é", "é"},
                                                   {"Dye:2147483647", greatest},
                                                   {"Dye:2147483648", "2147483648"},
                                                   {"Dye:-2147483648", -greatest - 1}};
    for (auto const& [id, actual] : cases) {
        dye.id.set(id);
        EXPECT_EQ(dye.id.actual(), actual) << id;
        EXPECT_EQ(numbers.all().size(), actual.get_if<JSON::Number>() ? 1u : 0u) << id;
    }
}

TEST_F(OmeID, OfAnotherTypeIsStoredAndCannotBeRead) {
    Dye& dye = add();
    dye.id.set("Foo:1");
    EXPECT_EQ(text(dye), "Foo:1");
    VEXA_EXPECT_THROWS(dye.id.string(), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(dye.id.actual(), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(dye.id.count(), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(dye.id.subscribe(), std::bad_variant_access, bad);
    EXPECT_TRUE(numbers.all().empty());
    for (char const* other : {"Dye", "", "Dyes:1", "dye:1"}) {
        dye.id.set(other);
        VEXA_EXPECT_THROWS(dye.id.string(), std::bad_variant_access, bad);
    }
    dye.id.set("Dye:4");
    EXPECT_EQ(all(), std::vector{4});
}

TEST_F(OmeID, TakesStringsOnly) {
    Dye& dye = add();
    VEXA_EXPECT_THROWS(dye.id.set(1), std::bad_variant_access, bad);
    EXPECT_EQ(text(dye), "Dye:1");
    EXPECT_EQ(all(), std::vector{1});
}

TEST_F(OmeID, SetActualLeavesTheRegistryAlone) {
    Dye& dye = add();
    dye.id.set_actual(9);
    EXPECT_EQ(text(dye), "Dye:9");
    EXPECT_EQ(all(), std::vector{1});
    dye.id.subscribe();
    EXPECT_EQ(all(), std::vector{9});
    dye.id.set_actual("abc");
    EXPECT_EQ(text(dye), "Dye:abc");
}

TEST_F(OmeID, ResetOfAnElementAssignsANewNumber) {
    Dye& dye = add();
    add();
    dye.id.reset();
    EXPECT_EQ(text(dye), "Dye:3");
    dye.reset_ID();
    EXPECT_EQ(text(dye), "Dye:3"); // 3 was free again
    EXPECT_EQ(all(), (std::vector{2, 3}));
}

TEST_F(OmeID, ResetOfAReferenceLeavesItEmpty) {
    Dye& dye = add();
    ID_of<Dye> reference(root.ome.element(), "test", false);
    EXPECT_FALSE(reference.has_value());
    EXPECT_EQ(reference.count(), 0u);
    reference = dye.id;
    EXPECT_EQ(reference.count(), 2u);
    EXPECT_EQ(all(), (std::vector{1, 1}));
    reference.reset();
    EXPECT_FALSE(reference.has_value());
    EXPECT_EQ(dye.id.count(), 1u);
}

TEST_F(OmeID, DuplicatesCountTwice) {
    add().id.set("Dye:5");
    add().id.set("Dye:5");
    EXPECT_EQ(all(), (std::vector{5, 5}));
    dyes.remove("Dye:5");
    EXPECT_EQ(all(), std::vector{5});
}

TEST_F(OmeID, BehindTheGreatestIntIsTheLeastThatIsFree) {
    add().id.set("Dye:2147483647");
    EXPECT_EQ(text(add()), "Dye:1");
    EXPECT_EQ(text(add()), "Dye:2");
    dyes.remove("Dye:1");
    EXPECT_EQ(text(add()), "Dye:1");
    EXPECT_EQ(text(add()), "Dye:3");
    dyes.remove("Dye:2147483647");
    EXPECT_EQ(text(add()), "Dye:4");
}

TEST_F(OmeID, OfNegativeNumbersGoesOnFromThem) {
    add().id.set("Dye:-5");
    EXPECT_EQ(text(add()), "Dye:-4");
}

TEST_F(OmeID, ThatAppearsWithItsParentIsSubscribed) {
    Dye& dye = add();
    JSON::Value raw = *dye.value();
    raw.get<JSON::Map>()["ID"] = "Dye:77";
    dye.set(raw);
    EXPECT_EQ(all(), std::vector{77});
    dye.reset();
    EXPECT_TRUE(all().empty());
    EXPECT_FALSE(dye.id.has_value());
    dye.reset_ID();
    EXPECT_EQ(all(), std::vector{1});
}

TEST_F(OmeID, NeedsADocument) {
    JSON::Value tree;
    JSON::Proxy other(tree);
    EXPECT_THROW(ID_of<Dye>(other, "ID", true), std::bad_cast);
}

namespace {

/// What the registry must hold: the numbers of all identifiers of dyes in a tree, whether of elements or of
/// references, found without the library's classes.
void count_dyes(JSON::Value const& value, std::string const& name, std::multiset<int>& numbers) {
    if (auto const* list = value.get_if<JSON::List>())
        for (JSON::Value const& entry : *list) {
            JSON::Value const* id = name == "dye" || name == "dye_reference" ? entry.find("ID") : nullptr;
            std::string const digits = id ? id->get<std::string>().substr(4) : "x";
            if (digits.find_first_not_of("-0123456789") == digits.npos) numbers.insert(std::stoi(digits));
            count_dyes(entry, "", numbers);
        }
    if (auto const* map = value.get_if<JSON::Map>())
        for (auto const& [key, member] : *map) count_dyes(member, key, numbers);
}

/// Two documents under random operations.
class History {
public:
    explicit History(unsigned seed) : random(seed) {}

    void step() {
        switch (below(11)) {
        case 0:
        case 1: dyes(some()).emplace_back(); break;
        case 2: bands(some()).emplace_back(); break;
        case 3:
            if (Dye* dye = some_dye()) dye->id.set("Dye:" + numbers[below(std::size(numbers))]);
            break;
        case 4:
            if (Dye* dye = some_dye()) dye->id.reset();
            break;
        case 5:
            if (Band* band = some_band(); band && some_dye_of(band->root())) add_dye(*band);
            break;
        case 6:
            if (Dye* dye = some_dye()) dyes(dye->root()).remove(*dye->id.value());
            break;
        case 7:
            if (Band* band = some_band()) bands(band->root()).remove(*band->id.value());
            break;
        case 8: assign_some(); break;
        case 9:
            if (Band* band = some_band()) {
                band->reset();
                band->reset_ID();
            }
            break;
        default:
            if (below(20) == 0) some().ome.clear();
            break;
        }
    }

    void check() {
        for (Root& root : roots) {
            std::multiset<int> expected;
            count_dyes(*root.value(), "", expected);
            ASSERT_EQ(root.registry().numbers<Dye>().all(), expected) << root.XML();
        }
    }

private:
    std::size_t below(std::size_t limit) { return random() % limit; }
    Root& some() { return roots[below(2)]; }
    static Array_of<Dye>& dyes(Root& root) { return root.ome.provide_dyes(); }
    static Array_of<Band>& bands(Root& root) { return root.ome.provide_bands(); }
    template <typename E>
    E* some_of(Array_of<E>& array) {
        return array.empty() ? nullptr : &*std::next(array.begin(), static_cast<long>(below(array.size())));
    }
    Dye* some_dye() { return some_of(dyes(some())); }
    Dye* some_dye_of(Root& root) { return some_of(dyes(root)); }
    Band* some_band() { return some_of(bands(some())); }
    void add_dye(Band& band) {
        Dye* dye = some_dye_of(band.root());
        if (dye->id.has_value()) band.add_dye(*dye->id.value());
    }
    void assign_some() {
        Dye *to = some_dye(), *from = some_dye();
        if (to && from) *to = *from;
        Band *to_band = some_band(), *from_band = some_band();
        if (to_band && from_band) *to_band = *from_band;
        if (below(3) == 0) bands(roots[0]) = bands(roots[1]);
    }

    std::string const numbers[6] = {"1", "2", "2147483647", "-3", "name", "17"};
    std::mt19937 random;
    Root roots[2] = {Root(""), Root("")};
};

} // namespace

TEST(OmeRegistry, EqualsTheTreeThroughoutRandomHistories) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        History history(seed);
        for (int i = 0; i < 150 && !testing::Test::HasFatalFailure(); ++i) {
            history.step();
            history.check();
        }
    }
}

TEST(OmeNumbers, FreshIsWhatAModelFinds) {
    std::mt19937 random(7);
    Numbers numbers;
    std::multiset<int> model{greatest};
    numbers.insert(greatest);
    for (int i = 0; i < 2000; ++i) {
        int expected = 1;
        while (model.contains(expected)) ++expected;
        ASSERT_EQ(numbers.fresh(), expected);
        if (random() % 3 && model.size() > 1) {
            int const gone = *std::next(model.begin(), static_cast<long>(random() % (model.size() - 1)));
            model.erase(model.find(gone));
            numbers.erase_one(gone);
        } else {
            int const added = random() % 2 ? expected : static_cast<int>(random() % 40);
            model.insert(added);
            numbers.insert(added);
        }
        ASSERT_EQ(numbers.all(), model);
    }
    numbers.erase_one(-77); // not there
    EXPECT_EQ(numbers.all(), model);
}
