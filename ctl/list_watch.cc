#include "ctl/list_watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "common/clock.h"

namespace webauth {
namespace {

constexpr std::uint32_t REPLACING = IN_MOVED_TO | IN_CLOSE_WRITE;
constexpr std::uint32_t REMOVING = IN_MOVED_FROM | IN_DELETE;
constexpr std::uint32_t LOSING = IN_IGNORED | IN_UNMOUNT | IN_MOVE_SELF | IN_DELETE_SELF;

/// Reads of the event queue in one go, so that a busy directory cannot hold the caller for ever.
constexpr int READS_PER_WAIT = 64;

WatchResult judge(const inotify_event& event, std::string_view event_name, std::string_view name) {
  if ((event.mask & LOSING) != 0) return WatchResult::LOST;
  if ((event.mask & IN_Q_OVERFLOW) != 0) return WatchResult::REPLACED;
  if (event_name != name) return WatchResult::TIMED_OUT;
  return (event.mask & REPLACING) != 0 ? WatchResult::REPLACED : WatchResult::REMOVED;
}

/// Milliseconds for poll; -1 waits for ever.
int poll_time(std::int64_t deadline) {
  if (deadline < 0) return -1;
  const std::int64_t left = deadline - steady_microseconds();
  return left <= 0 ? 0 : static_cast<int>(left / 1'000 + 1);
}

}  // namespace

ListWatch::ListWatch(const std::string& path) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  const std::size_t slash = path.rfind('/');
  name_ = path.substr(slash + 1);
  const std::string directory = path.substr(0, slash + 1);
  if (fd_ >= 0 && inotify_add_watch(fd_, directory.c_str(),
                                    REPLACING | REMOVING | IN_MOVE_SELF | IN_DELETE_SELF) < 0) {
    close(fd_);
    fd_ = -1;
  }
}

ListWatch::~ListWatch() {
  if (fd_ >= 0) close(fd_);
}

WatchResult ListWatch::read_changes() {
  alignas(inotify_event) char events[4096];
  WatchResult last = WatchResult::TIMED_OUT;
  for (int i = 0; i < READS_PER_WAIT; ++i) {
    const ssize_t count = read(fd_, events, sizeof events);
    if (count <= 0) break;
    for (const char* at = events; at < events + count;) {
      inotify_event event;
      std::memcpy(&event, at, sizeof event);
      const char* const event_name = at + sizeof event;
      const WatchResult result = judge(event, {event_name, strnlen(event_name, event.len)}, name_);
      if (result == WatchResult::LOST) return result;
      if (result != WatchResult::TIMED_OUT) last = result;
      at = event_name + event.len;
    }
  }
  return last;
}

WatchResult ListWatch::wait(std::int64_t deadline, int output_fd) {
  if (fd_ < 0) return WatchResult::LOST;
  pollfd watched[] = {{.fd = fd_, .events = POLLIN, .revents = 0},
                      {.fd = output_fd, .events = 0, .revents = 0}};
  for (;;) {
    const int ready = poll(watched, 2, poll_time(deadline));
    if (ready < 0 && errno != EINTR) return WatchResult::LOST;
    if (ready == 0) return WatchResult::TIMED_OUT;
    if (ready < 0) continue;
    if (watched[1].revents != 0) return WatchResult::OUTPUT_GONE;
    const WatchResult result = read_changes();
    if (result != WatchResult::TIMED_OUT) return result;
    // Events of other files must not stretch the wait.
    if (deadline >= 0 && steady_microseconds() >= deadline) return WatchResult::TIMED_OUT;
  }
}

void ListWatch::skip_changes() {
  if (fd_ >= 0) (void)read_changes();
}

}  // namespace webauth
