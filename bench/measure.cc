#include "bench/measure.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <vector>

namespace webauth {
namespace {

using Clock = double Seconds::*;

struct Turn {
  Seconds daemon;
  Seconds floor;
};

// The mean without the lowest and the highest quarter.
double mean_of_middle(const std::vector<Seconds>& times, Clock clock) {
  std::vector<double> values;
  values.reserve(times.size());
  for (const Seconds& time : times) values.push_back(time.*clock);
  std::sort(values.begin(), values.end());
  const auto quarter = static_cast<std::ptrdiff_t>(values.size() / 4);
  const auto first = values.begin() + quarter;
  const auto last = values.end() - quarter;
  return std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
}

Seconds repeat(int iterations, const Iteration& iteration) {
  std::vector<Seconds> times;
  times.reserve(static_cast<std::size_t>(iterations));
  for (int i = 0; i < iterations; ++i) times.push_back(iteration());
  return {mean_of_middle(times, &Seconds::wall), mean_of_middle(times, &Seconds::processor)};
}

template <typename Value>
double median(const std::vector<Turn>& turns, Value value) {
  std::vector<double> values;
  values.reserve(turns.size());
  for (const Turn& turn : turns) values.push_back(value(turn));
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void print_heading(Table& table) {
  if (table.has_heading) return;
  table.has_heading = true;
  std::printf("\nMicroseconds of the daemon and of the floor, medians of %d turns\n\n",
              table.turns);
  std::printf("%-26s %8s %12s %12s %6s  %s\n", "operation", "users", "daemon", "floor", "ratio",
              "goal");
}

void print_line(const char* name, const Row& row, const std::vector<Turn>& turns, Clock clock) {
  const double daemon = median(turns, [=](const Turn& turn) { return turn.daemon.*clock; });
  const double floor = median(turns, [=](const Turn& turn) { return turn.floor.*clock; });
  const double ratio =
      median(turns, [=](const Turn& turn) { return turn.daemon.*clock / turn.floor.*clock; });
  std::printf("%-26s %8zu %12.1f %12.1f %6.2f  <= %.2f %s\n", name, row.users, daemon * 1e6,
              floor * 1e6, ratio, row.goal, ratio <= row.goal ? "" : "missed");
}

double read_clock(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

void measure_in_turns(Table& table, const Row& row, int iterations, const Iteration& daemon,
                      const Iteration& floor) {
  std::vector<Turn> turns;
  for (int i = 0; i < table.turns; ++i) {
    const Seconds of_daemon = repeat(iterations, daemon);
    turns.push_back({of_daemon, repeat(iterations, floor)});
  }
  print_heading(table);
  print_line(row.operation, row, turns, &Seconds::wall);
  if (row.processor != nullptr) print_line(row.processor, row, turns, &Seconds::processor);
  std::fflush(stdout);
}

Seconds seconds_now() {
  return {read_clock(CLOCK_MONOTONIC), read_clock(CLOCK_PROCESS_CPUTIME_ID)};
}

}  // namespace webauth
