#include "bench/footprint.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "bench/neighbours.h"
#include "bench/operations.h"
#include "common/file.h"
#include "common/text_field.h"
#include "daemon/login/login_record.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

constexpr int USERS = 10'000;
constexpr long MEMORY_GOAL_KB = 12'288;
constexpr int PATIENCE_MS = 10'000;

pid_t start_daemon() {
  unlink(LOGIN_SOCKET_PATH);
  const pid_t child = fork();
  require(child >= 0, "fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setenv("WEBAUTHD_SETTINGS", "/nonexistent", 1);  // no settings: mode LOCAL
    execl(WEBAUTHD_PROGRAM, "webauthd", nullptr);
    require(false, WEBAUTHD_PROGRAM);
  }
  return child;
}

template <typename Condition>
void wait_until(Condition condition, const char* what) {
  for (int waited = 0; !condition(); ++waited) {
    require(waited < PATIENCE_MS, what);
    poll(nullptr, 0, 1);
  }
}

bool log_in(int number) {
  LoginRequest request{};
  request.type = LOGIN_REQUEST;
  char ip[16];
  std::snprintf(ip, sizeof ip, "10.0.%d.%d", number / 256, number % 256);
  require(put_field(request.ip, ip), "ip");
  require(put_field(request.mac, "66:77:88:99:aa:bb"), "mac");
  const int connection = connect_front_end();
  (void)send(connection, &request, sizeof request, MSG_NOSIGNAL);
  LoginReply reply{};
  (void)recv(connection, &reply, sizeof reply, MSG_WAITALL);
  close(connection);
  return reply.result == LOGIN_ACCEPTED;
}

// The daemon answers a little before it publishes.
bool is_listed(int users) {
  const File list = open_for_reading(REGISTRATION_FILE);
  if (!list) return false;
  int lines = 0;
  char line[256];
  while (read_line(list.get(), line)) ++lines;
  return lines == users;
}

// The number behind a name in the process's status.
long status_number(pid_t process, const char* name) {
  const File status = open_for_reading(("/proc/" + std::to_string(process) + "/status").c_str());
  require(status != nullptr, "the daemon's status");
  char line[256];
  while (read_line(status.get(), line)) {
    if (std::strncmp(line, name, std::strlen(name)) == 0) {
      return std::atol(line + std::strlen(name));
    }
  }
  require(false, name);
  return 0;
}

struct Holding {
  long memory_kb;
  std::ptrdiff_t descriptors;
};

Holding holding() {
  return {status_number(getpid(), "VmRSS:"),
          std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {})};
}

void log_in_over_tls(World& world, int count) {
  Traces ignored;
  for (int i = 0; i < count;) {
    for (const Operation& operation : operations()) {
      if (!std::string_view(operation.name).ends_with(" TLS")) continue;
      operation.prepare(world);
      operation.daemon(world);
      require(had_effect(operation, world), operation.name);
      drain(world, ignored);
      operation.restore(world);
      ++i;
    }
  }
}

long count_wakes(pid_t process, int seconds) {
  poll(nullptr, 0, 1500);  // until it is really idle
  const long before = status_number(process, "voluntary_ctxt_switches:");
  poll(nullptr, 0, seconds * 1000);
  return status_number(process, "voluntary_ctxt_switches:") - before;
}

}  // namespace

void print_footprint(int idle_seconds) {
  const Reader log_sink(open_log_sink);
  const Reader kernel_side([] { return open_kernel_side(0); });
  const pid_t daemon = start_daemon();
  wait_until([] { return access(LOGIN_SOCKET_PATH, F_OK) == 0; }, "the daemon does not start");
  poll(nullptr, 0, 200);  // it listens a little after it has bound the path
  for (int i = 0; i < USERS; ++i) require(log_in(i), "a login was not accepted");
  wait_until([] { return is_listed(USERS); }, "not everybody is listed");

  const long memory = status_number(daemon, "VmRSS:");
  const long wakes = count_wakes(daemon, idle_seconds);
  std::printf("\nThe daemon process with %d users online\n\n", USERS);
  std::printf("resident memory            %ld kB, goal <= %ld kB%s\n", memory, MEMORY_GOAL_KB,
              memory <= MEMORY_GOAL_KB ? "" : ", missed");
  std::printf("wakes of the idle daemon   %ld in %d s, goal <= %d%s\n", wakes, idle_seconds,
              idle_seconds, wakes <= idle_seconds ? "" : ", missed");
  kill(daemon, SIGTERM);
  waitpid(daemon, nullptr, 0);
  unlink(REGISTRATION_FILE);
}

void print_tls_logins(int count) {
  World world(AuthMode::EMAIL, 1);
  log_in_over_tls(world, count / 10);
  const Holding before = holding();
  log_in_over_tls(world, count);
  const Holding after = holding();
  std::printf("\n%d TLS logins in one process\n\n", count);
  std::printf("resident memory            %ld kB before, %ld kB after\n", before.memory_kb,
              after.memory_kb);
  std::printf("open descriptors           %td before, %td after\n", before.descriptors,
              after.descriptors);
}

}  // namespace webauth
