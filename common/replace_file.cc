#include "common/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

#include "common/fd_guard.h"
#include "common/file.h"

namespace webauth {
namespace {

constexpr mode_t TEMP_MODE = 0600;  // until the old file's mode is known

// Gives the temporary file the mode and owner of the file that it will replace.
bool copy_attributes(int fd, const char* path, mode_t new_mode) {
  struct stat old {};
  if (lstat(path, &old) != 0 || !S_ISREG(old.st_mode)) return fchmod(fd, new_mode) == 0;
  struct stat made {};
  if (fstat(fd, &made) != 0) return false;
  const bool same_owner = old.st_uid == made.st_uid && old.st_gid == made.st_gid;
  if (!same_owner && fchown(fd, old.st_uid, old.st_gid) != 0) return false;
  return fchmod(fd, old.st_mode & 07777) == 0;
}

}  // namespace

bool replace_file(const std::string& path, std::string_view text, mode_t new_mode) {
  const std::string temp_path = path + ".tmp";
  unlink(temp_path.c_str());
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const FdGuard file(open(temp_path.c_str(), flags, TEMP_MODE));
  if (file.get() < 0) return false;
  if (write_whole(file.get(), text) && copy_attributes(file.get(), path.c_str(), new_mode) &&
      fsync(file.get()) == 0 && rename(temp_path.c_str(), path.c_str()) == 0) {
    return true;
  }
  const int error = errno;
  unlink(temp_path.c_str());
  errno = error;
  return false;
}

std::string link_target(const char* path) {
  char resolved[PATH_MAX];
  return realpath(path, resolved) != nullptr ? resolved : path;
}

}  // namespace webauth
