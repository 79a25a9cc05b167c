// A measured operation beside its floor: the least that any implementation has to do for the same
// result.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <string>

namespace bench {

/// Registers "name" and "name/floor"; the report shows their ratio, and whether it keeps to the
/// bound (0: none). What comes before each of a number of repetitions is not measured.
void pair(const std::string &name, double bound, const std::function<void()> &operation,
          const std::function<void()> &floor, int repetitions = 0,
          const std::function<void()> &prepare = nullptr);

void register_lists();
void register_hosts();
void register_requests();
void register_statistics();
void register_share();

} // namespace bench
