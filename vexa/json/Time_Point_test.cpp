#include <vexa/json/Time_Point.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

using namespace JSON;

namespace {

/// The time zone of the process while the object lives.
class Zone {
public:
    explicit Zone(char const* name) {
        if (char const* old = std::getenv("TZ")) old_ = old;
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    Zone(Zone const&) = delete;
    Zone& operator=(Zone const&) = delete;
    ~Zone() {
        old_ ? ::setenv("TZ", old_->c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }

private:
    std::optional<std::string> old_;
};

Time_Point at(long long nanoseconds) { return Time_Point(std::chrono::nanoseconds(nanoseconds)); }
std::optional<Time_Point> read(char const* text) { return Value_Cast<Time_Point, 0>::to_if(Value(text)); }
std::string written(long long nanoseconds) { return Value(at(nanoseconds)).get<std::string>(); }

constexpr long long second = 1'000'000'000;
constexpr long long hour = 3600 * second;
/// 2021-03-28T00:00:00Z, the day on which Central Europe moved to summer time
constexpr long long march = 1616889600 * second;

// Rules spelled out, so that the tests need no time zone database.
constexpr char const* europe = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr char const* kathmandu = "<+0545>-5:45";
constexpr char const* with_seconds = "LMT-5:41:16";
constexpr char const* west_with_seconds = "LMT+0:01:15";

} // namespace

TEST(JsonTimePoint, IsWrittenInLocalTimeWithNineDigits) {
    Zone const utc("UTC");
    EXPECT_EQ(written(0), "1970-01-01T00:00:00.000000000+00:00");
    EXPECT_EQ(written(1), "1970-01-01T00:00:00.000000001+00:00");
    EXPECT_EQ(written(-1), "1969-12-31T23:59:59.999999999+00:00");
    EXPECT_EQ(written(1709211909 * second + 250), "2024-02-29T13:05:09.000000250+00:00");
}

TEST(JsonTimePoint, IsWrittenWithTheOffsetOfLocalTime) {
    {
        Zone const zone(europe);
        EXPECT_EQ(written(march), "2021-03-28T01:00:00.000000000+01:00");
        EXPECT_EQ(written(march + hour), "2021-03-28T03:00:00.000000000+02:00");
    }
    {
        Zone const zone(kathmandu);
        EXPECT_EQ(written(0), "1970-01-01T05:45:00.000000000+05:45");
    }
    {
        Zone const zone("EST5");
        EXPECT_EQ(written(0), "1969-12-31T19:00:00.000000000-05:00");
    }
}

TEST(JsonTimePoint, ReadsTheFormsOfTheOffset) {
    Zone const zone(kathmandu);
    EXPECT_EQ(read("2021-03-28T00:00:00Z"), at(march));
    EXPECT_EQ(read("2021-03-28T02:00:00+02:00"), at(march));
    EXPECT_EQ(read("2021-03-28T02:00:00+0200"), at(march));
    EXPECT_EQ(read("2021-03-27T18:30:00-05:30"), at(march));
    EXPECT_EQ(read("2021-03-28T05:45:00"), at(march));
    EXPECT_EQ(read("2021-03-28T00:00:00-00:00"), at(march));
}

TEST(JsonTimePoint, ReadsAnyNumberOfDigitsBehindTheSecond) {
    EXPECT_EQ(read("2021-03-28T00:00:00.5Z"), at(march + second / 2));
    EXPECT_EQ(read("2021-03-28T00:00:00.000000001+00:00"), at(march + 1));
    EXPECT_EQ(read("2021-03-28T00:00:00.0000000019999999999999Z"), at(march + 1));
    EXPECT_EQ(read("2021-03-28T00:00:60Z"), at(march + 60 * second));
}

TEST(JsonTimePoint, IsRightAroundTheChangesOfSummerTime) {
    Zone const zone(europe);
    // These local times don't exist here, or do so twice; the offset says what is meant.
    EXPECT_EQ(read("2021-03-28T02:30:00Z"), at(march + 5 * hour / 2));
    EXPECT_EQ(read("2021-03-28T02:30:00+05:45"), at(march + 5 * hour / 2 - 23 * hour / 4));
    EXPECT_EQ(read("2021-10-31T02:30:00+02:00"), at(1635640200 * second));
    EXPECT_EQ(read("2021-10-31T02:30:00+01:00"), at(1635643800 * second));
}

TEST(JsonTimePoint, RefusesAllElse) {
    for (char const* text : {"",
                             "2021",
                             "2021-03-28",
                             "2021-03-28 00:00:00Z",
                             "2021-03-28T00:00:00.Z",
                             "2021-03-28T00:00:00 Z",
                             "2021-03-28T00:00:00Zx",
                             "2021-03-28T00:00:00+1",
                             "2021-03-28T00:00:00+01",
                             "2021-03-28T00:00:00+01:",
                             "2021-03-28T00:00:00+01:0",
                             "2021-03-28T00:00:00+01:000",
                             "2021-03-28T00:00:00+24:00",
                             "2021-03-28T00:00:00+00:60",
                             "2021-03-28T00:00:00z",
                             "2021-03-28T24:00:00Z",
                             "2021-03-28T00:60:00Z",
                             "2021-03-28T00:00:61Z",
                             "2021-13-28T00:00:00Z",
                             "2021-00-28T00:00:00Z",
                             "2021-02-29T00:00:00Z",
                             "2021-03-00T00:00:00Z",
                             "21-03-28T00:00:00Z",
                             "-021-03-28T00:00:00Z",
                             "02021-03-28T00:00:00Z",
                             "2021-03-28T00:00:00.5.5Z",
                             "2021-03-28T00:00Z"})
        EXPECT_EQ(read(text), std::nullopt) << text;
    EXPECT_EQ((Value_Cast<Time_Point, 0>::to_if(Value(1))), std::nullopt);
    VEXA_EXPECT_THROWS(Value("now").get<Time_Point>(), std::bad_variant_access, "bad variant access");
}

TEST(JsonTimePoint, RefusesInstantsThatNanosecondsCannotHold) {
    EXPECT_EQ(read("1677-09-21T00:12:43.145224192Z"), at(std::numeric_limits<long long>::min()));
    EXPECT_EQ(read("1677-09-21T00:12:43.145224191Z"), std::nullopt);
    EXPECT_EQ(read("2262-04-11T23:47:16.854775807Z"), at(std::numeric_limits<long long>::max()));
    EXPECT_EQ(read("2262-04-11T23:47:16.854775808Z"), std::nullopt);
    EXPECT_EQ(read("0000-01-01T00:00:00Z"), std::nullopt);
    EXPECT_EQ(read("9999-12-31T23:59:59+23:59"), std::nullopt);
}

class JsonTimePointIn : public testing::TestWithParam<char const*> {};

TEST_P(JsonTimePointIn, EveryInstantReadsBackAsItself) {
    Zone const zone(GetParam());
    auto const same = [](long long count) {
        EXPECT_EQ(Value(at(count)).get<Time_Point>(), at(count)) << count;
    };
    for (long long const count :
         {0LL, 1LL, -1LL, second, -second, march, march + hour - 1, march + hour,
          std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()})
        same(count);
    constexpr unsigned seed = 20240229;
    std::mt19937_64 random(seed);
    for (int i = 0; i < 2000; ++i) same(static_cast<long long>(random()));
    // Every half hour around the end of summer time, where local times come twice.
    for (int i = -8; i < 8; ++i) same(1635642000 * second + i * hour / 2);
}

INSTANTIATE_TEST_SUITE_P(Zones, JsonTimePointIn,
                         testing::Values("UTC", europe, kathmandu, "EST5", with_seconds, west_with_seconds,
                                         "Asia/Kathmandu", "Europe/Berlin", "America/New_York"),
                         [](auto const& zone) { return "Zone" + std::to_string(zone.index); });
