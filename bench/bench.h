#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

/// The frame of all benchmark programs: a candidate beside its baseline, measured in turns in the same
/// process, and one table on standard output.
///
///     int main(int argc, char** argv) {
///         Vexa::bench::Table table(argc, argv);
///         table.compare({.name = "copy/1MiB", .target = 0.9, .candidate = [&] { ours(); },
///                        .baseline = [&] { std::memcpy(...); }});
///         return table.run();
///     }
///
/// A ratio is a ratio of speeds: the baseline's median time over the candidate's. 2 means that the candidate
/// is twice as fast. Options: --rounds=N, and those of Google Benchmark (--benchmark_filter=REGEX,
/// --benchmark_list_tests, --benchmark_out=FILE).
namespace Vexa::bench {

using Action = std::function<void()>;

/// Keep the compiler from dropping work whose result nobody reads.
template <typename T>
void keep(T const& value) {
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
}

/// What a turn is measured by: the time of day, or the processor time of the calling thread, which other
/// programs on a busy machine disturb less, and which sees neither waiting nor the work of other threads.
enum class Clock { wall, thread };

struct Comparison {
    std::string name;
    double target = 0; ///< the smallest ratio wanted; 0 only reports
    Action candidate;
    Action baseline;
    /// Runs untimed before every single timed call of either side. A side is called once a round then;
    /// without it short calls are repeated until a turn lasts long enough to be measured. May be empty.
    Action before = {};
    double scale = 1; ///< multiplies the ratio: work of one candidate call over work of one baseline call
    Clock clock = Clock::wall;
};

namespace detail {

inline double now(Clock clock) {
    timespec time{};
    clock_gettime(clock == Clock::wall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

inline double seconds_of(Action const& action, Comparison const& comparison, long calls) {
    if (comparison.before) comparison.before();
    double const start = now(comparison.clock);
    for (long i = 0; i < calls; ++i) action();
    return (now(comparison.clock) - start) / static_cast<double>(calls);
}

/// How many calls make a turn of some milliseconds. Also warms caches and page tables up.
inline long calls_per_turn(Action const& action, Comparison const& comparison) {
    constexpr double shortest_turn = 2e-3;
    constexpr long most_calls = 1L << 24;
    if (comparison.before) {
        seconds_of(action, comparison, 1);
        return 1;
    }
    long calls = 1;
    while (calls < most_calls &&
           seconds_of(action, comparison, calls) * static_cast<double>(calls) < shortest_turn)
        calls *= 2;
    return calls;
}

/// The value below which the given part of the values lies.
inline double quantile(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    double const at = part * static_cast<double>(values.size() - 1);
    auto const below = static_cast<std::size_t>(at);
    std::size_t const above = std::min(below + 1, values.size() - 1);
    return values[below] + (values[above] - values[below]) * (at - static_cast<double>(below));
}

inline std::string time_text(double seconds) {
    char const* const units[] = {"s", "ms", "us", "ns"};
    std::size_t unit = 0;
    while (seconds < 1 && unit < 3) {
        seconds *= 1000;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %s", seconds, units[unit]);
    return text;
}

inline void measure(benchmark::State& state, Comparison const& comparison) {
    long const candidate_calls = calls_per_turn(comparison.candidate, comparison);
    long const baseline_calls = calls_per_turn(comparison.baseline, comparison);
    std::vector<double> candidate, baseline, ratio;
    bool candidate_first = false;
    for (auto _ : state) {
        candidate_first = !candidate_first;
        if (candidate_first)
            candidate.push_back(seconds_of(comparison.candidate, comparison, candidate_calls));
        baseline.push_back(seconds_of(comparison.baseline, comparison, baseline_calls));
        if (!candidate_first)
            candidate.push_back(seconds_of(comparison.candidate, comparison, candidate_calls));
        ratio.push_back(comparison.scale * baseline.back() / candidate.back());
        state.SetIterationTime(candidate.back());
    }
    state.counters["candidate"] = quantile(candidate, 0.5);
    state.counters["baseline"] = quantile(baseline, 0.5);
    state.counters["ratio"] = comparison.scale * quantile(baseline, 0.5) / quantile(candidate, 0.5);
    state.counters["target"] = comparison.target;
    state.counters["low"] = quantile(ratio, 0.25);
    state.counters["high"] = quantile(ratio, 0.75);
}

/// Prints a line of the table for each comparison as it ends.
class TableReporter : public benchmark::BenchmarkReporter {
public:
    explicit TableReporter(std::size_t name_width) : width_(static_cast<int>(name_width)) {}

    bool ReportContext(Context const&) override {
        std::printf("%-*s %12s %12s %8s %8s  %s\n", width_, "name", "candidate", "baseline", "ratio",
                    "target", "spread (middle half of the rounds)");
        return true;
    }

    void ReportRuns(std::vector<Run> const& runs) override {
        for (Run const& run : runs) {
            if (run.error_occurred) {
                std::printf("%-*s %s\n", width_, run.run_name.function_name.c_str(),
                            run.error_message.c_str());
                continue;
            }
            auto const value = [&run](char const* name) { return run.counters.at(name).value; };
            char target[32] = "-";
            if (value("target") > 0) std::snprintf(target, sizeof target, "%.2f", value("target"));
            std::printf("%-*s %12s %12s %8.2f %8s  %.2f..%.2f%s\n", width_,
                        run.run_name.function_name.c_str(), time_text(value("candidate")).c_str(),
                        time_text(value("baseline")).c_str(), value("ratio"), target, value("low"),
                        value("high"), value("ratio") < value("target") ? "  BELOW TARGET" : "");
        }
        std::fflush(stdout);
    }

private:
    int width_;
};

} // namespace detail

/// The comparisons of one program.
class Table {
public:
    /// Reads the options; ends the program on an unknown one.
    Table(int argc, char** argv) {
        std::vector<char*> rest;
        for (int i = 0; i < argc; ++i) {
            if (std::strncmp(argv[i], "--rounds=", 9) == 0)
                rounds_ = std::max(1, std::atoi(argv[i] + 9));
            else
                rest.push_back(argv[i]);
        }
        int count = static_cast<int>(rest.size());
        rest.push_back(nullptr);
        benchmark::Initialize(&count, rest.data());
        if (benchmark::ReportUnrecognizedArguments(count, rest.data())) std::exit(2);
    }

    /// Add a line. What the actions refer to must live until run() returns.
    void compare(Comparison comparison) {
        std::string const name = comparison.name;
        name_width_ = std::max(name_width_, name.size());
        benchmark::RegisterBenchmark(name.c_str(),
                                     [comparison = std::move(comparison)](benchmark::State& state) {
                                         detail::measure(state, comparison);
                                     })
            ->Iterations(rounds_)
            ->UseManualTime();
    }

    /// Measure all and print the table.
    /// \return what main should return
    int run() {
        detail::TableReporter reporter(name_width_);
        benchmark::RunSpecifiedBenchmarks(&reporter);
        return 0;
    }

private:
    int rounds_ = 11;
    std::size_t name_width_ = 4;
};

} // namespace Vexa::bench
