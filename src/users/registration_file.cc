#include "users/registration_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/fd_guard.h"
#include "users/published_line.h"

namespace webauth {
namespace {

// Adds the lines of the records that have none yet; those before them are as they should be.
void render_list(UserTable& table) {
  for (std::size_t i = table.listed_lengths.size(); i < table.users.size(); ++i) {
    const std::size_t before = table.listed_text.size();
    append_published_line(table.listed_text, user_at(table, i));
    table.listed_lengths.push_back(static_cast<std::uint32_t>(table.listed_text.size() - before));
  }
}

// Anybody may plant something in /tmp, such as a link, a pipe or a directory: what lies at the path
// is replaced, never opened.
int open_anew(const char* path) {
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const int fd = open(path, flags, 0666);
  if (fd >= 0 || errno != EEXIST || std::remove(path) != 0) return fd;
  return open(path, flags, 0666);
}

}  // namespace

int write_registration_file(const char* temp_path, UserTable& table) {
  render_list(table);
  {
    const FdGuard file(open_anew(temp_path));
    const ssize_t written = write(file.get(), table.listed_text.data(), table.listed_text.size());
    (void)written;  // a short list is published all the same
  }
  (void)std::rename(REGISTRATION_TEMP_FILE, REGISTRATION_FILE);
  return 0;
}

}  // namespace webauth
