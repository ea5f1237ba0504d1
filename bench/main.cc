// What the daemon costs, beside the floor under it: what each operation must do whatever the daemon
// is made of. It prints figures and goals; no figure fails it.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "bench/footprint.h"
#include "bench/measure.h"
#include "bench/neighbours.h"
#include "bench/operations.h"
#include "bench/program.h"
#include "bench/start_up_bench.h"

namespace webauth {
namespace {

constexpr char PROGRAM[] = "webauth-bench";

constexpr double GOAL = 1.5;

struct Options {
  int repetitions = 9;
  int idle_seconds = 10;
  int tls_logins = 1'000;
  std::vector<std::size_t> users = {1, 100, 1'000, 10'000, 100'000};
  std::string only;  // part of the names of what is measured
};

bool is_wanted(const Options& options, std::string_view name) {
  return name.find(options.only) != std::string_view::npos;
}

// A repetition lasts some tenths of a second.
int iterations_for(std::size_t users, AuthMode mode) {
  if (mode == AuthMode::EMAIL) return 60;
  if (users >= 100'000) return 60;
  return users >= 10'000 ? 400 : 2'000;
}

Row measure_operation(const Operation& operation, std::size_t users, int repetitions,
                      double (*clock)() = wall_seconds) {
  Row row{.operation = operation.name, .users = users, .goal = GOAL};
  if (clock == processor_seconds) row.operation = "  processor time";
  World world(operation.mode, users);
  if (!rehearse(operation, world)) {
    row.failure = "not done";
    return row;
  }
  Traces ignored;
  const auto daemon = [&] {
    operation.prepare(world);
    const double seconds = seconds_of([&] { operation.daemon(world); }, clock);
    if (!had_effect(operation, world)) return -1.0;
    drain(world, ignored);
    operation.restore(world);
    return seconds;
  };
  const auto floor = [&] {
    operation.prepare(world);
    const double seconds = seconds_of([&] { operation.floor(world); }, clock);
    drain(world, ignored);
    return seconds;
  };
  measure_in_turns(row, {repetitions, iterations_for(users, operation.mode)}, daemon, floor);
  return row;
}

void run(const Options& options) {
  std::vector<Row> rows;
  for (const Operation& operation : operations()) {
    if (!is_wanted(options, operation.name)) continue;
    for (const std::size_t users : options.users) {
      rows.push_back(measure_operation(operation, users, options.repetitions));
      if (operation.mode != AuthMode::EMAIL) continue;
      // What the daemon works itself, without the wait for the mail server.
      rows.push_back(measure_operation(operation, users, options.repetitions, processor_seconds));
    }
  }
  if (is_wanted(options, "IP range")) measure_ip_range(rows, options.repetitions);
  if (is_wanted(options, "accounts")) measure_accounts(rows, options.repetitions);
  if (!rows.empty()) print_rows(rows, options.repetitions);
  if (is_wanted(options, "TLS logins")) print_tls_logins(options.tls_logins);
  if (is_wanted(options, "footprint")) print_footprint(options.idle_seconds);
}

int run_program(int argc, char** argv) {
  Options options;
  bool quick = false;
  CLI::App app("Measures the daemon against the floor under each operation.");
  app.add_option("--repetitions", options.repetitions, "repetitions of each figure")
      ->check(CLI::Range(1, 1000));
  app.add_option("--users", options.users, "numbers of users online")
      ->check(CLI::Range(1, 1'000'000));
  app.add_option("--only", options.only,
                 "part of an operation's name, \"TLS logins\" or \"footprint\"");
  app.add_flag("--quick", quick, "one repetition of each, to see that all of it runs");
  CLI11_PARSE(app, argc, argv);
  if (quick) {
    options.repetitions = 1;
    options.idle_seconds = 2;
    options.tls_logins = 20;
  }
  if (!begin_in_sandbox(PROGRAM)) return EXIT_FAILURE;
  run(options);
  unlink("/dev/log");
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace webauth

int main(int argc, char** argv) {
  return webauth::run_reporting(webauth::PROGRAM, webauth::run_program, argc, argv);
}
