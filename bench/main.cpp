// tarrow_bench: every operation beside its floor, both in the same run; runs inside the simulated
// device.
//
// Machines are noisy: what counts is the ratio. Repetitions of all benchmarks are interleaved, and
// of each the median counts.

#include "pair.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace {

std::vector<std::pair<std::string, double>> pairs; // names and bounds, in the order of the report

/// Prints a row a pair once all has run.
class ratio_reporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context & /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const double seconds = run.GetAdjustedRealTime();
                times_[run.run_name.function_name].push_back(seconds);
            }
        }
    }
    void Finalize() override {
        std::printf("%-28s %14s %14s %7s  %s\n", "operation", "ns", "floor ns", "ratio", "bound");
        for (const auto &[name, bound] : pairs) {
            const double time = median(times_[name]);
            const double floor = median(times_[name + "/floor"]);
            if (time == 0 || floor == 0) {
                continue; // one of the two was filtered out
            }
            std::printf("%-28s %14.0f %14.0f %7.2f  ", name.c_str(), time, floor, time / floor);
            if (bound > 0) {
                std::printf("%.2f %s", bound, time / floor <= bound ? "kept" : "EXCEEDED");
            }
            std::printf("\n");
        }
    }

private:
    static double median(std::vector<double> &times) {
        std::sort(times.begin(), times.end());
        return times.empty() ? 0 : times[times.size() / 2];
    }

    std::map<std::string, std::vector<double>> times_;
};

} // namespace

void bench::pair(const std::string &name, double bound, const std::function<void()> &operation,
                 const std::function<void()> &floor, int repetitions,
                 const std::function<void()> &prepare) {
    pairs.emplace_back(name, bound);
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
    std::string repetitions = "--benchmark_repetitions=9";
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::string time = "--benchmark_min_time=0.05";
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
    ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
