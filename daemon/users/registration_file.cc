#include "daemon/users/registration_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "common/fd_guard.h"

namespace webauth {
namespace {

// Anybody may plant something in /tmp: what lies at the path (a link, a pipe, an empty directory)
// is replaced, never opened.
int open_anew(const char* path) {
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const int fd = open(path, flags, 0666);
  if (fd >= 0 || errno != EEXIST || std::remove(path) != 0) return fd;
  return open(path, flags, 0666);
}

}  // namespace

int write_registration_file(const char* temp_path, OnlineUserTable& table) {
  const std::string& list = published_list(table);
  {
    const FdGuard file(open_anew(temp_path));
    const ssize_t written = write(file.get(), list.data(), list.size());
    (void)written;  // a short list is published all the same
  }
  if (std::rename(REGISTRATION_TEMP_FILE, REGISTRATION_FILE) != 0 && errno == EISDIR) {
    (void)std::remove(REGISTRATION_FILE);  // as at start
    (void)std::rename(REGISTRATION_TEMP_FILE, REGISTRATION_FILE);
  }
  return 0;
}

}  // namespace webauth
