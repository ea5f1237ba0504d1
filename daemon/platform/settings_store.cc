#include "daemon/platform/settings_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/fd_guard.h"

namespace webauth {
namespace {

constexpr mode_t TEMP_MODE = 0600;  // until the old file's mode is known
constexpr mode_t NEW_FILE_MODE = 0644;
constexpr off_t LARGEST_FILE = 1 << 20;

struct Store {
  struct stat seen {};                    // of the file that `lines` were read from
  std::vector<std::string> lines;         // the file, without line ends
  std::vector<std::string> lines_before;  // for texts that a caller still holds, as below
  std::map<std::string, std::string> uncommitted;
  std::map<std::string, std::string> uncommitted_before;
};

Store store;

const char* settings_path() {
  const char* path = std::getenv("WEBAUTHD_SETTINGS");
  return path != nullptr && *path != '\0' ? path : DEFAULT_SETTINGS_FILE;
}

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

std::vector<std::string> split_lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

bool read_whole(int fd, std::string& text) {
  char buffer[4096];
  for (;;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) return count == 0;
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

// Brings `lines` up to the file as it is now. Returns false, and keeps them, when there is a file
// that cannot be read.
bool refresh() {
  struct stat now {};
  if (stat(settings_path(), &now) == 0 && same_file(now, store.seen)) return true;
  std::string text;
  now = {};
  // Not to be held up by a path that turns out to be a pipe.
  const FdGuard file(open(settings_path(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0 && errno != ENOENT) return false;
  if (file.get() >= 0) {
    if (fstat(file.get(), &now) != 0 || !S_ISREG(now.st_mode)) return false;
    if (now.st_size > LARGEST_FILE || !read_whole(file.get(), text)) return false;
  }
  store.seen = now;
  store.lines_before = std::move(store.lines);
  store.lines = split_lines(text);
  return true;
}

bool line_has_key(const std::string& line, std::string_view key) {
  return line.size() > key.size() && line[key.size()] == '=' && line.starts_with(key) &&
         line[0] != '#';
}

// The last line of the key, or the end of `lines`.
std::vector<std::string>::iterator find_key(std::vector<std::string>& lines, std::string_view key) {
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    if (line_has_key(*line, key)) return line.base() - 1;
  }
  return lines.end();
}

bool write_whole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(fd, text.data(), text.size());
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Gives the temporary file the mode and owner of the file that it will replace.
bool copy_attributes(int fd, const char* path) {
  struct stat old {};
  if (stat(path, &old) != 0) return fchmod(fd, NEW_FILE_MODE) == 0;
  struct stat made {};
  if (fstat(fd, &made) != 0) return false;
  const bool same_owner = old.st_uid == made.st_uid && old.st_gid == made.st_gid;
  if (!same_owner && fchown(fd, old.st_uid, old.st_gid) != 0) return false;
  return fchmod(fd, old.st_mode & 07777) == 0;
}

bool replace_file(const std::string& path, std::string_view text) {
  const std::string temp_path = path + ".tmp";
  unlink(temp_path.c_str());
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const FdGuard file(open(temp_path.c_str(), flags, TEMP_MODE));
  if (file.get() < 0) return false;
  if (write_whole(file.get(), text) && copy_attributes(file.get(), path.c_str()) &&
      fsync(file.get()) == 0 && rename(temp_path.c_str(), path.c_str()) == 0) {
    return true;
  }
  unlink(temp_path.c_str());
  return false;
}

}  // namespace

const char* nvram_get(const char* key) {
  (void)refresh();  // a file that cannot be read now leaves what was read before
  const auto changed = store.uncommitted.find(key);
  if (changed != store.uncommitted.end()) return changed->second.c_str();
  const auto line = find_key(store.lines, key);
  return line == store.lines.end() ? nullptr : line->c_str() + std::string_view(key).size() + 1;
}

int nvram_set(const char* key, const char* value) {
  const std::string_view name(key);
  const bool writable = !name.empty() && name[0] != '#' &&
                        name.find_first_of("=\n") == std::string_view::npos &&
                        std::string_view(value).find('\n') == std::string_view::npos;
  if (!writable) return -1;
  std::string copy(value);  // the caller may hand back the very text that it got from here
  // Texts handed out live in the old nodes: those are kept, and a copy is changed.
  store.uncommitted_before = store.uncommitted;
  store.uncommitted_before.swap(store.uncommitted);
  store.uncommitted.insert_or_assign(std::string(name), std::move(copy));
  return 0;
}

int nvram_commit() {
  if (!refresh()) return -1;  // writing now would lose the keys that could not be read
  std::vector<std::string> lines = store.lines;
  for (const auto& [key, value] : store.uncommitted) {
    std::string line = key;
    line.append("=").append(value);
    const auto old = find_key(lines, key);
    if (old == lines.end()) {
      lines.push_back(std::move(line));
    } else {
      *old = std::move(line);
    }
  }
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\n");

  char resolved[PATH_MAX];  // a link to the settings stays a link
  const char* path = realpath(settings_path(), resolved);
  if (!replace_file(path != nullptr ? path : settings_path(), text)) return -1;
  store.uncommitted_before = std::move(store.uncommitted);
  store.uncommitted.clear();
  return 0;
}

}  // namespace webauth
