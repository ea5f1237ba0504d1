#include "bench/footprint.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "bench/operations.h"
#include "common/address_text.h"
#include "daemon/users/published_line.h"
#include "tests/support/world.h"

namespace webauth {
namespace {

constexpr std::uint32_t USERS = 10'000;
constexpr std::int64_t MEMORY_GOAL_KB = 8'450;

// Each is answered, and published, before the next.
void log_everybody_in(World& world) {
  for (std::uint32_t i = 0; i < USERS; ++i) {
    (void)world.login(ip_text(htonl(0x0a000000U + i)), "66:77:88:99:aa:bb");
    (void)world.effects();
  }
  const std::string list = read_file(REGISTRATION_FILE);
  require(std::count(list.begin(), list.end(), '\n') == USERS, "not everybody is listed");
}

std::int64_t count_wakes(pid_t process, int seconds) {
  const auto wakes = [=] { return status_number(process, "voluntary_ctxt_switches:"); };
  poll(nullptr, 0, 1'500);  // until it is really idle
  const std::int64_t before = wakes();
  poll(nullptr, 0, seconds * 1'000);
  return wakes() - before;
}

void log_in_over_tls(int count) {
  for (const Operation& operation : operations()) {
    if (!operation.mail.tls) continue;
    Stage stage(operation.mode, operation.mail, 1);
    for (int i = 0; i < count / 2; ++i) {
      (void)perform(operation, stage);
      operation.restore(stage);
    }
  }
}

}  // namespace

void print_footprint(int idle_seconds) {
  World world;
  world.start();  // without settings, in mode LOCAL
  log_everybody_in(world);
  const auto memory = status_number(world.daemon.pid(), "VmRSS:");
  const auto wakes = count_wakes(world.daemon.pid(), idle_seconds);
  std::printf("\nThe daemon process with %u users online\n\n", USERS);
  std::printf("resident memory            %jd kB, goal <= %jd kB%s\n", intmax_t{memory},
              intmax_t{MEMORY_GOAL_KB}, memory <= MEMORY_GOAL_KB ? "" : ", missed");
  std::printf("wakes of the idle daemon   %jd in %d s, goal <= %d%s\n", intmax_t{wakes},
              idle_seconds, idle_seconds, wakes <= idle_seconds ? "" : ", missed");
}

void print_tls_logins(int count) {
  log_in_over_tls(count / 10);
  const auto memory = status_number(getpid(), "VmRSS:");
  const auto descriptors = open_descriptors(getpid());
  log_in_over_tls(count);
  std::printf("\n%d TLS logins in one process\n\n", count);
  std::printf("resident memory            %jd kB before, %jd kB after\n", intmax_t{memory},
              intmax_t{status_number(getpid(), "VmRSS:")});
  std::printf("open descriptors           %td before, %td after\n", descriptors,
              open_descriptors(getpid()));
}

}  // namespace webauth
