#include "bench/measure.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <string_view>
#include <utility>

namespace webauth {
namespace {

constexpr char DAEMON[] = "daemon";
constexpr char FLOOR[] = "floor";

constexpr char USUAL[] = "usual";  // the counter that holds the microseconds of a repetition

// Keeps the figures of the row that is being measured.
class Collector : public benchmark::BenchmarkReporter {
 public:
  explicit Collector(Row& row) : row_(row) {}

  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        row_.failure = run.error_message;
        continue;
      }
      const std::string_view name = run.run_name.function_name;
      (name == DAEMON ? row_.daemon : row_.floor).push_back(run.counters.at(USUAL).value);
    }
  }

 private:
  Row& row_;
};

// The mean without the lowest and the highest quarter.
double mean_of_middle(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const auto quarter = static_cast<std::ptrdiff_t>(values.size() / 4);
  const auto first = values.begin() + quarter;
  const auto last = values.end() - quarter;
  return std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
}

void repeat(benchmark::State& state, const Iteration& iteration) {
  std::vector<double> times;
  while (state.KeepRunning()) {
    const double seconds = iteration();
    if (seconds < 0) {
      state.SkipWithError("not done");
      return;
    }
    state.SetIterationTime(seconds);
    times.push_back(seconds);
  }
  state.counters[USUAL] = mean_of_middle(times) * 1e6;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::vector<double> ratios(const Row& row) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(row.daemon.size(), row.floor.size()); ++i) {
    ratios.push_back(row.daemon[i] / row.floor[i]);
  }
  return ratios;
}

void print_row(std::FILE* to, const Row& row) {
  std::fprintf(to, "%-26s %8zu ", row.operation.c_str(), row.users);
  if (row.daemon.empty() || row.floor.empty() || !row.failure.empty()) {
    std::fprintf(to, " no figures: %s\n", row.failure.c_str());
    return;
  }
  const double ratio = median(ratios(row));
  std::fprintf(to, "%12.1f %12.1f %6.2f  <= %.1f %s\n", median(row.daemon), median(row.floor),
               ratio, row.goal, ratio <= row.goal ? "" : "missed");
}

double read_clock(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

void measure_in_turns(Row& row, Effort effort, const Iteration& daemon, const Iteration& floor) {
  for (const auto& [name, iteration] : {std::pair(DAEMON, &daemon), std::pair(FLOOR, &floor)}) {
    benchmark::RegisterBenchmark(name, repeat, *iteration)
        ->Iterations(effort.iterations)
        ->UseManualTime();
  }
  Collector collector(row);
  for (int i = 0; i < effort.repetitions && row.failure.empty(); ++i) {
    benchmark::RunSpecifiedBenchmarks(&collector, nullptr, "all");
  }
  benchmark::ClearRegisteredBenchmarks();
  if (isatty(STDERR_FILENO) == 1) print_row(stderr, row);
}

double wall_seconds() { return read_clock(CLOCK_MONOTONIC); }

double processor_seconds() { return read_clock(CLOCK_PROCESS_CPUTIME_ID); }

void print_rows(const std::vector<Row>& rows, int repetitions) {
  std::printf(
      "\nMicroseconds of the daemon and of the floor, medians of %d repetitions in turns\n\n",
      repetitions);
  std::printf("%-26s %8s %12s %12s %6s  %s\n", "operation", "users", "daemon", "floor", "ratio",
              "goal");
  for (const Row& row : rows) print_row(stdout, row);
}

}  // namespace webauth
