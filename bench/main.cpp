// tarrow_bench: measures operations and their floors in the same run, inside the simulated device.
//
// Machines are noisy, so the report compares the best times. The repetitions of all benchmarks are
// interleaved. An operation that exceeds its bound is measured again with its floor, up to four
// times. The exit status is 1 when it still exceeds the bound.

#include "pair.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <vector>

namespace {

constexpr int rounds = 5;

struct measured_pair {
    std::string name;
    double bound;
};
std::vector<measured_pair> pairs; // in the order of the report

/// Records the best time of each benchmark over all rounds.
class best_times : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context & /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const double seconds = run.GetAdjustedRealTime();
                double &best =
                    times_.try_emplace(run.run_name.function_name, seconds).first->second;
                best = std::min(best, seconds);
            }
        }
    }
    /// 0 for a benchmark that did not run.
    [[nodiscard]] double of(const std::string &name) const {
        const auto found = times_.find(name);
        return found != times_.end() ? found->second : 0;
    }
    [[nodiscard]] bool exceeds(const measured_pair &pair) const {
        return pair.bound > 0 && of(pair.name + "/floor") > 0 &&
               of(pair.name) > pair.bound * of(pair.name + "/floor");
    }

private:
    std::map<std::string, double> times_;
};

/// A regular expression for the operations that exceed their bound and their floors; empty when
/// there are none.
std::string exceeding(const best_times &times) {
    std::string names;
    for (const measured_pair &pair : pairs) {
        if (times.exceeds(pair)) {
            names += names.empty() ? "^(" : "|";
            for (const char c : pair.name) {
                names += std::isalnum(static_cast<unsigned char>(c)) != 0
                             ? std::string(1, c)
                             : std::string("[") + c + "]";
            }
        }
    }
    return names.empty() ? "" : names + ")(/|$)";
}

void print(const best_times &times) {
    std::printf("%-28s %14s %14s %7s  %s\n", "operation", "ns", "floor ns", "ratio", "bound");
    for (const measured_pair &pair : pairs) {
        const double time = times.of(pair.name);
        const double floor = times.of(pair.name + "/floor");
        if (time == 0 || floor == 0) {
            continue; // one of the two did not run
        }
        std::printf("%-28s %14.0f %14.0f %7.2f  ", pair.name.c_str(), time, floor, time / floor);
        if (pair.bound > 0) {
            std::printf("%.2f %s", pair.bound, times.exceeds(pair) ? "EXCEEDED" : "kept");
        }
        std::printf("\n");
    }
}

} // namespace

void bench::pair(const std::string &name, double bound, const std::function<void()> &operation,
                 const std::function<void()> &floor, int repetitions,
                 const std::function<void()> &prepare) {
    pairs.push_back({name, bound});
    const auto add = [&](const std::string &full_name, const std::function<void()> &body) {
        auto *added = benchmark::RegisterBenchmark(
            full_name.c_str(), [body, prepare](benchmark::State &state) {
                if (prepare) {
                    prepare();
                }
                for ([[maybe_unused]] const auto iteration : state) {
                    body();
                }
            });
        if (repetitions > 0) {
            added->Iterations(1)->Repetitions(repetitions);
        }
    };
    add(name, operation);
    add(name + "/floor", floor);
}

int main(int argc, char **argv) {
    std::vector<char *> arguments(argv, argv + argc);
    std::string repetitions = "--benchmark_repetitions=40";
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::string time = "--benchmark_min_time=0.01";
    arguments.insert(arguments.begin() + 1, {repetitions.data(), interleaving.data(), time.data()});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    bench::register_lists();
    bench::register_hosts();
    bench::register_requests();
    bench::register_statistics();
    bench::register_share();
    best_times times;
    if (benchmark::RunSpecifiedBenchmarks(&times) == 0) {
        return 2; // the benchmark library reports that the filter matches none
    }
    for (int round = 1; round < rounds && !exceeding(times).empty(); ++round) {
        benchmark::RunSpecifiedBenchmarks(&times, exceeding(times));
    }
    print(times);
    return exceeding(times).empty() ? 0 : 1;
}
