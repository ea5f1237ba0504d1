// Runs what is measured and its floor in turns, and prints a table of what they took.
//
// The speed of a machine drifts, so a turn of the one is followed at once by a turn of the other,
// and the ratio is the median of the turns' own ratios. Within a turn the slowest and the fastest
// quarter of the iterations do not count: something else was going on.
#pragma once

#include <cstddef>
#include <functional>

namespace webauth {

struct Table {
  int turns;  ///< of each row
  bool has_heading = false;
};

struct Row {
  const char* operation;
  std::size_t users;
  double goal;                      ///< of the ratio
  const char* processor = nullptr;  ///< names a second line, of the time that this process works
};

struct Seconds {
  double wall;
  double processor;  ///< what this process has worked
};

/// Does it once, with whatever comes before and after it, and returns the seconds that count.
/// Throws when it was not done.
using Iteration = std::function<Seconds()>;

/// Measures a row and prints it. No figure fails anything.
void measure_in_turns(Table& table, const Row& row, int iterations, const Iteration& daemon,
                      const Iteration& floor);

Seconds seconds_now();

/// The seconds that `work` takes.
template <typename Work>
Seconds seconds_of(Work work) {
  const Seconds begin = seconds_now();
  work();
  const Seconds end = seconds_now();
  return {end.wall - begin.wall, end.processor - begin.processor};
}

}  // namespace webauth
