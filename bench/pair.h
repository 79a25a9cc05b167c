// A measured operation and its floor: the least work that any implementation does for the same
// result.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <string>

namespace bench {

/// Registers "name" and "name/floor". The report shows their ratio, and whether it is within the
/// bound (0: no bound). With a number of repetitions, prepare runs before each, unmeasured.
void pair(const std::string &name, double bound, const std::function<void()> &operation,
          const std::function<void()> &floor, int repetitions = 0,
          const std::function<void()> &prepare = nullptr);

void register_lists();
void register_hosts();
void register_requests();
void register_statistics();
void register_share();

} // namespace bench
