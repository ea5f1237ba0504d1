// The two runs of the soak: a long mixed load on one daemon, and daemons that are killed under it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/soak_daemon.h"
#include "bench/soak_model.h"

namespace webauth {

struct SoakOptions {
  long events = 1'000'000;
  long seconds = 24 * 3600;  ///< the most that the events may take
  std::uint64_t seed = 1;
  std::string mode = "LOCAL";
  bool multi_user = false;
  long kills = 50;
  long memory_bound = 256;  ///< kilobytes that the daemon may grow by after its warm-up
};

struct Tally {
  std::array<long, KIND_COUNT> events{};
  long accepted = 0;
  long exhausted = 0;
  long unanswered = 0;
  long messages = 0;
  long log_lines = 0;
  long lists = 0;  ///< published lists compared
  double seconds = 0;
  long warm_up = 0;  ///< events before the first look at memory and descriptors
  long memory_before = 0, memory_after = 0;
  long descriptors_before = 0, descriptors_after = 0;
  long kills = 0;
  long polls = 0;          ///< lists that the polling reader has seen whole
  std::string difference;  ///< the first one; it ends the run
};

/// A batch on the daemon, compared with the model. Notes the difference in the tally.
struct Soak {
  SoakOptions options;
  Daemon daemon = {};
  Model model = {};
  Generator generator = {};
  Tally tally = {};
};

std::int64_t now_second();

/// Gives this process, and so the daemons that it starts, a time zone in which the next midnight is
/// a few seconds away: accounts expire and daily allowances begin anew.
void set_clock_before_midnight();

/// Lets midnight pass when it is near, so that nothing lasts over it.
void avoid_midnight();

/// Writes the daemon's settings and account file.
void write_files(const SoakOptions& options);

/// Starts a daemon on a fresh model and compares its start. False: there is a difference.
bool start_daemon(Soak& soak);

/// Does a batch and compares everything. False: there is a difference.
bool do_batch(Soak& soak, const std::vector<Event>& batch);

void run_load(Soak& soak);
void run_kills(Soak& soak);

}  // namespace webauth
