#include <vexa/json/Time_Point.h>

#include <array>
#include <cstdlib>
#include <ctime>

#include <fmt/format.h>

namespace JSON::detail {

namespace {

constexpr long long nanoseconds_per_second = 1'000'000'000;

/// Seconds east of Greenwich of local time at the instant.
long long local_offset(long long seconds) {
    std::time_t const instant = seconds;
    std::tm local{};
    return ::localtime_r(&instant, &local) ? local.tm_gmtoff : 0;
}

/// Takes a text apart from the front. Each step leaves the text alone if it fails.
struct Scanner {
    std::string_view text;

    bool skip(char c) {
        if (text.empty() || text.front() != c) return false;
        text.remove_prefix(1);
        return true;
    }
    std::optional<int> digit() {
        if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
        int const value = text.front() - '0';
        text.remove_prefix(1);
        return value;
    }
    /// A number of exactly \p count digits, between 0 and \p limit.
    std::optional<int> number(int count, int limit) {
        int value = 0;
        for (int i = 0; i < count; ++i) {
            auto const next = digit();
            if (!next) return std::nullopt;
            value = 10 * value + *next;
        }
        return value <= limit ? std::optional(value) : std::nullopt;
    }
};

struct Civil_Time {
    std::chrono::year_month_day date;
    int hour, minute, second;

    /// Seconds since the epoch if this were UTC.
    long long as_utc() const {
        auto const days = std::chrono::sys_days(date).time_since_epoch().count();
        return ((days * 24LL + hour) * 60 + minute) * 60 + second;
    }
    long long as_local() const {
        std::tm local{};
        local.tm_year = static_cast<int>(date.year()) - 1900;
        local.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
        local.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
        local.tm_hour = hour;
        local.tm_min = minute;
        local.tm_sec = second;
        local.tm_isdst = -1;
        return std::mktime(&local);
    }
    /// \param offset whole minutes, in seconds. Local time of long ago is off by seconds as well, which the
    /// text doesn't show: if the offset is that of local time, these seconds count.
    long long with_offset(long long offset) const {
        long long const instant = as_utc() - offset;
        for (long long const probe : {instant, instant - 59, instant + 59}) {
            long long const exact = local_offset(probe);
            if (exact / 60 * 60 == offset && local_offset(as_utc() - exact) == exact) return as_utc() - exact;
        }
        return instant;
    }
};

std::optional<Civil_Time> scan_civil_time(Scanner& in) {
    auto const year = in.number(4, 9999);
    if (!year || !in.skip('-')) return std::nullopt;
    auto const month = in.number(2, 12);
    if (!month || !in.skip('-')) return std::nullopt;
    auto const day = in.number(2, 31);
    if (!day || !in.skip('T')) return std::nullopt;
    auto const hour = in.number(2, 23);
    if (!hour || !in.skip(':')) return std::nullopt;
    auto const minute = in.number(2, 59);
    if (!minute || !in.skip(':')) return std::nullopt;
    auto const second = in.number(2, 60); // 60 is a leap second
    std::chrono::year_month_day const date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!second || !date.ok()) return std::nullopt;
    return Civil_Time{date, *hour, *minute, *second};
}

/// Nanoseconds; 0 if there is no fraction.
std::optional<long long> scan_fraction(Scanner& in) {
    if (!in.skip('.')) return 0;
    auto next = in.digit();
    if (!next) return std::nullopt;
    long long nanoseconds = 0;
    for (long long unit = nanoseconds_per_second / 10; next; next = in.digit(), unit /= 10)
        nanoseconds += *next * unit;
    return nanoseconds;
}

/// Seconds since the epoch, by what follows the time.
std::optional<long long> scan_zone(Scanner& in, Civil_Time const& time) {
    if (in.text.empty()) return time.as_local();
    if (in.text == "Z") return time.as_utc();
    bool const west = in.skip('-');
    if (!west && !in.skip('+')) return std::nullopt;
    auto const hours = in.number(2, 23);
    if (!hours) return std::nullopt;
    in.skip(':');
    auto const minutes = in.number(2, 59);
    if (!minutes || !in.text.empty()) return std::nullopt;
    long long const offset = (*hours * 60LL + *minutes) * 60;
    return time.with_offset(west ? -offset : offset);
}

std::optional<Time_Point> instant(long long seconds, long long nanoseconds) {
    // The earliest instants are in range only with their fraction.
    if (seconds < 0 && nanoseconds > 0) {
        ++seconds;
        nanoseconds -= nanoseconds_per_second;
    }
    long long count = 0;
    if (__builtin_mul_overflow(seconds, nanoseconds_per_second, &count) ||
        __builtin_add_overflow(count, nanoseconds, &count))
        return std::nullopt;
    return Time_Point(std::chrono::nanoseconds(count));
}

} // namespace

std::string time_point_text(Time_Point time) {
    auto const seconds = std::chrono::floor<std::chrono::seconds>(time.time_since_epoch());
    // Taken from the count, since the floor of the earliest instants has no nanoseconds of 64 bits.
    long long fraction = time.time_since_epoch().count() % nanoseconds_per_second;
    if (fraction < 0) fraction += nanoseconds_per_second;
    std::time_t const whole = seconds.count();
    std::tm local{};
    ::localtime_r(&whole, &local);
    std::array<char, 64> text;
    std::size_t const size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);
    std::string_view const all(text.data(), size);
    std::string_view const date_and_time = all.substr(0, size - 5), offset = all.substr(size - 5);
    return fmt::format("{}.{:09}{}:{}", date_and_time, fraction, offset.substr(0, 3), offset.substr(3));
}

std::optional<Time_Point> time_point_from(std::string_view text) {
    Scanner in{text};
    auto const time = scan_civil_time(in);
    if (!time) return std::nullopt;
    auto const nanoseconds = scan_fraction(in);
    if (!nanoseconds) return std::nullopt;
    auto const seconds = scan_zone(in, *time);
    return seconds ? instant(*seconds, *nanoseconds) : std::nullopt;
}

} // namespace JSON::detail
