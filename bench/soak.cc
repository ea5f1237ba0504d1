// A long mixed load on the real daemon through its real sockets, every effect of which is compared
// with a model of the daemon; then daemons that are killed at random moments. Ends with status 0
// when there was no difference. Run through scripts/sandbox.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <string>

#include "bench/program.h"
#include "bench/soak_run.h"

namespace webauth {
namespace {

constexpr char PROGRAM[] = "webauth-soak";

void print_load(const SoakOptions& options, const Tally& tally) {
  const long events = std::accumulate(tally.events.begin(), tally.events.end(), 0L);
  std::printf("mode %s%s, seed %llu\n\n", options.mode.c_str(),
              options.multi_user ? " with several logins per account" : "",
              static_cast<unsigned long long>(options.seed));
  std::printf("%-28s %12ld\n", "events", events);
  for (std::size_t i = 0; i < KIND_COUNT; ++i) {
    std::printf("  %-26s %12ld\n", name_of(static_cast<Kind>(i)), tally.events[i]);
  }
  std::printf("logins accepted              %12ld\n", tally.accepted);
  std::printf("logins with time used up     %12ld\n", tally.exhausted);
  std::printf("logins without an answer     %12ld\n", tally.unanswered);
  std::printf("kernel messages compared     %12ld\n", tally.messages);
  std::printf("log lines compared           %12ld\n", tally.log_lines);
  std::printf("published lists compared     %12ld\n", tally.lists);
  std::printf("seconds                      %12.1f\n", tally.seconds);
  std::printf("events per second            %12.0f\n", double(events) / tally.seconds);
  std::printf("memory after %8ld events %10ld kB\n", tally.warm_up, tally.memory_before);
  std::printf("memory at the end            %10ld kB, at most %ld kB more\n", tally.memory_after,
              options.memory_bound);
  std::printf("descriptors, then and now    %8ld %3ld\n", tally.descriptors_before,
              tally.descriptors_after);
}

void run_soak(Soak& soak) {
  soak.generator.random.seed(soak.options.seed);
  set_clock_before_midnight();
  write_files(soak.options);
  open_neighbours(soak.daemon);
  run_load(soak);
  print_load(soak.options, soak.tally);
  if (soak.tally.difference.empty() && soak.options.kills > 0) {
    run_kills(soak);
    std::printf("kills and new starts         %12ld\n", soak.tally.kills);
    std::printf("lists polled meanwhile       %12ld\n", soak.tally.polls);
  }
  const std::string& difference = soak.tally.difference;
  std::printf("differences                  %12s\n", difference.empty() ? "none" : "found");
  std::printf("%s", difference.c_str());
}

int run_program(int argc, char** argv) {
  Soak soak;
  SoakOptions& options = soak.options;
  CLI::App app("Compares the daemon under a long mixed load with a model of it.");
  app.add_option("--events", options.events)->check(CLI::Range(10L, 1'000'000'000L));
  app.add_option("--seconds", options.seconds, "the most that the events may take");
  app.add_option("--seed", options.seed, "of everything random");
  app.add_option("--mode", options.mode)->check(CLI::IsMember({"LOCAL", "USERS"}));
  app.add_flag("--multi-user", options.multi_user, "several logins per account");
  app.add_option("--kills", options.kills, "daemons to kill after the events");
  app.add_option("--memory-bound", options.memory_bound, "kilobytes that it may grow by");
  CLI11_PARSE(app, argc, argv);
  if (!begin_in_sandbox(PROGRAM)) return EXIT_FAILURE;
  run_soak(soak);
  return soak.tally.difference.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace webauth

int main(int argc, char** argv) {
  return webauth::run_reporting(webauth::PROGRAM, webauth::run_program, argc, argv);
}
