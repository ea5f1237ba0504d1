#include "bench/program.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>

#include "daemon/platform/kernel_endpoint.h"

namespace webauth {

int run_reporting(const char* program, int (*run)(int, char**), int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", program, error.what());
    return EXIT_FAILURE;
  }
}

bool begin_in_sandbox(const char* program) {
  if (access("/.sandbox", F_OK) != 0) {
    std::fprintf(stderr, "%s: run me through scripts/sandbox\n", program);
    return false;
  }
  signal(SIGPIPE, SIG_IGN);
  setenv("WEBAUTHD_KERNEL_PORT", std::to_string(GATE_PORT).c_str(), 1);
  return true;
}

}  // namespace webauth
