#include "ctl/line_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "common/file.h"
#include "common/replace_file.h"
#include "common/text_line.h"
#include "ctl/operator_error.h"

namespace webauth {
namespace {

constexpr std::int64_t LOCK_PATIENCE_US = 5'000'000;
constexpr int LOCK_RETRY_MS = 10;
constexpr off_t SIZE_LIMIT = off_t{64} << 20U;

[[noreturn]] void fail_to_change(const char* path, const char* problem) {
  throw OperatorError(std::string("cannot change ") + path + ": " + problem);
}

// False when somebody else holds the lock; other failures throw.
bool lock_now(int fd, const char* path) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (fcntl(fd, F_SETLK, &lock) == 0) return true;
  if (errno != EAGAIN && errno != EACCES) fail_to_change(path, std::strerror(errno));
  return false;
}

// Whether the path still leads to the file that is open: who had the lock has replaced it.
bool is_still_there(const struct stat& opened, const char* path) {
  struct stat there {};
  return stat(path, &there) == 0 && there.st_ino == opened.st_ino && there.st_dev == opened.st_dev;
}

std::string read_locked(int fd, const struct stat& status, const char* path) {
  if (status.st_size > SIZE_LIMIT) fail_to_change(path, "it is far too large");
  std::string text;
  if (!read_whole(fd, text)) fail_to_change(path, std::strerror(errno));
  return text;
}

}  // namespace

bool edit_file(const char* path, mode_t new_mode, const std::function<bool(std::string&)>& change) {
  const int flags = O_RDWR | O_CLOEXEC | O_NONBLOCK | (new_mode != 0 ? O_CREAT : 0);
  const std::int64_t deadline = steady_microseconds() + LOCK_PATIENCE_US;
  for (; steady_microseconds() < deadline; (void)poll(nullptr, 0, LOCK_RETRY_MS)) {
    const FdGuard file(open(path, flags, new_mode));
    struct stat status {};
    if (file.get() < 0 && errno == ENOENT && new_mode == 0) return false;
    if (file.get() < 0 || fstat(file.get(), &status) != 0)
      fail_to_change(path, std::strerror(errno));
    if (!S_ISREG(status.st_mode)) fail_to_change(path, "not a regular file");
    if (!lock_now(file.get(), path) || !is_still_there(status, path)) continue;
    std::string text = read_locked(file.get(), status, path);
    if (change(text) && !replace_file(link_target(path), text, new_mode)) {
      fail_to_change(path, std::strerror(errno));
    }
    return true;
  }
  fail_to_change(path, "somebody else holds its lock");
}

std::size_t remove_lines(std::string& text,
                         const std::function<bool(std::string_view)>& is_wanted) {
  std::string kept;
  std::size_t removed = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view before = rest;
    if (is_wanted(take_line(rest))) {
      ++removed;
    } else {
      kept += before.substr(0, before.size() - rest.size());
    }
  }
  if (removed > 0) text = std::move(kept);
  return removed;
}

void append_line(std::string& text, std::string_view line) {
  if (!text.empty() && text.back() != '\n') text += '\n';
  text += line;
  text += '\n';
}

std::size_t find_line(std::string_view text,
                      const std::function<bool(std::string_view)>& is_wanted) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    if (is_wanted(take_line(text))) return number;
  }
  return 0;
}

}  // namespace webauth
