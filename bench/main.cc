// What the daemon costs, beside the floor under it: what each operation must do whatever the daemon
// is made of. It prints figures and goals; no figure fails it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "bench/footprint.h"
#include "bench/gate_bench.h"
#include "bench/operations.h"
#include "bench/portal_bench.h"
#include "bench/start_up_bench.h"

namespace webauth {
namespace {

struct Options {
  int turns = 9;
  int idle_seconds = 10;
  int tls_logins = 1'000;
  std::vector<std::size_t> users = {1, 100, 1'000, 10'000, 100'000};
  std::string only;  // part of the names of what is measured
};

void run(const Options& options) {
  const auto is_wanted = [&](std::string_view name) {
    return name.find(options.only) != std::string_view::npos;
  };
  Table table{options.turns};
  for (const Operation& operation : operations()) {
    if (!is_wanted(operation.name)) continue;
    for (const std::size_t users : options.users) measure_operation(table, operation, users);
  }
  if (is_wanted("IP range")) measure_ip_range(table);
  if (is_wanted("accounts")) measure_accounts(table);
  if (is_wanted("portal")) measure_portal(table);
  if (is_wanted("TLS logins")) print_tls_logins(options.tls_logins);
  if (is_wanted("gate")) measure_gate(table, options.idle_seconds);
  if (is_wanted("footprint")) print_footprint(options.idle_seconds);
}

int run_program(int argc, char** argv) {
  Options options;
  bool quick = false;
  CLI::App app("Measures the daemon against the floor under each operation.");
  app.add_option("--repetitions", options.turns, "turns of each figure")
      ->check(CLI::Range(1, 1000));
  auto* users = app.add_option("--users", options.users, "numbers of users online")
                    ->check(CLI::Range(1, 1'000'000));
  app.add_option(
      "--only", options.only,
      "part of an operation's name, \"gate\", \"portal\", \"TLS logins\" or \"footprint\"");
  app.add_flag("--quick", quick, "one turn of each with 100 users, to see that all of it runs")
      ->excludes(users);
  CLI11_PARSE(app, argc, argv);
  if (quick) {
    options.turns = 1;
    options.users = {100};
    options.idle_seconds = 2;
    options.tls_logins = 20;
  }
  enter_sandbox();
  run(options);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace webauth

int main(int argc, char** argv) {
  try {
    return webauth::run_program(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "webauth-bench: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
