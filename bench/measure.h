// Runs an operation of the daemon and its floor in turns, and collects what they took.
//
// The speed of a machine drifts, so a repetition of the one is followed at once by a repetition of
// the other, and the ratio is the median of the repetitions' own ratios. Within a repetition the
// slowest and the fastest quarter of the iterations do not count: something else was going on.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace webauth {

struct Row {
  std::string operation;
  std::size_t users = 0;
  double goal = 0;                  ///< of the ratio
  std::vector<double> daemon = {};  ///< microseconds per operation, one element a repetition
  std::vector<double> floor = {};
  std::string failure = {};  ///< why there are no figures; empty when there are
};

struct Effort {
  int repetitions;
  int iterations;  ///< operations in a repetition
};

/// Does the operation once, with whatever comes before and after it, and returns the seconds that
/// count; a negative number when it was not done.
using Iteration = std::function<double()>;

void measure_in_turns(Row& row, Effort effort, const Iteration& daemon, const Iteration& floor);

/// Seconds of a clock: what has passed, and what this process has worked.
double wall_seconds();
double processor_seconds();

/// The seconds that `work` takes.
template <typename Work>
double seconds_of(Work work, double (*clock)() = wall_seconds) {
  const double begin = clock();
  work();
  return clock() - begin;
}

/// Prints a heading and one line per row. No figure fails anything.
void print_rows(const std::vector<Row>& rows, int repetitions);

}  // namespace webauth
