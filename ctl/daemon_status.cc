#include "ctl/daemon_status.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/clock.h"
#include "common/file.h"
#include "ctl/operator_error.h"
#include "ctl/setting.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

constexpr std::int64_t ANSWER_PATIENCE_US = 2'000'000;
constexpr int START_TIME_ITEM = 19;  // of /proc/PID/stat, counted behind the program's name

std::int64_t milliseconds(clockid_t clock) {
  timespec now{};
  (void)clock_gettime(clock, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000 + now.tv_nsec / 1'000'000;
}

// When a process began: the kernel counts from the boot, which a clock that is set does not move.
std::optional<std::time_t> start_of(pid_t pid) {
  const File file(std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "re"));
  char line[1024];
  if (!file || !read_line(file.get(), line)) return {};
  const char* at = std::strrchr(line, ')');
  for (int item = 0; at != nullptr && item <= START_TIME_ITEM; ++item)
    at = std::strchr(at + 1, ' ');
  unsigned long long ticks = 0;
  if (at == nullptr || std::sscanf(at, "%llu", &ticks) != 1) return {};
  const std::int64_t age = milliseconds(CLOCK_BOOTTIME) -
                           static_cast<std::int64_t>(ticks) * 1'000 / sysconf(_SC_CLK_TCK);
  return static_cast<std::time_t>((milliseconds(CLOCK_REALTIME) - age) / 1'000);
}

bool settings_changed_since(std::time_t time) {
  struct stat status {};
  return stat(settings_path(), &status) == 0 && status.st_mtime > time;
}

}  // namespace

DaemonStatus daemon_status() {
  DaemonStatus status;
  status.runs = daemon_runs();
  status.mode = configured_mode().mode;
  if (!status.runs) return status;
  try {
    status.list = read_user_list();
  } catch (const OperatorError& error) {
    status.list_problem = error.what();
  }
  if (access(LOGIN_SOCKET_PATH, W_OK) == 0) {
    const Answer answer = ask_for_answer(steady_microseconds() + ANSWER_PATIENCE_US);
    status.answers = answer.in_time;
    status.pid = answer.pid;
  } else if (errno != EACCES) {
    status.answers = false;  // somebody has removed the socket: nobody can log in
  }
  if (status.pid > 0) status.since = start_of(status.pid);
  status.settings_changed = status.since && settings_changed_since(*status.since);
  if (!status.list.users.empty()) status.mode = status.list.users.front().mode;
  return status;
}

}  // namespace webauth
