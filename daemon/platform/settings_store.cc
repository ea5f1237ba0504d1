#include "daemon/platform/settings_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/fd_guard.h"
#include "common/file.h"

namespace webauth {
namespace {

constexpr mode_t TEMP_MODE = 0600;  // until the old file's mode is known
constexpr mode_t NEW_FILE_MODE = 0644;
// A file that changed this shortly before it was read may change again within the same stamp.
constexpr std::time_t TRUSTED_AGE = 2;  // seconds

using Values = std::map<std::string, std::string, std::less<>>;

struct Store {
  struct stat seen {};  // of the file that `text` was read from; zeros: read it again
  std::string text;     // what `values` were made of
  Values values;
  Values values_before;  // a caller may still hold a text of it
  Values uncommitted;
};

Store store;

const char* settings_path() {
  const char* path = std::getenv("WEBAUTHD_SETTINGS");
  return path != nullptr && *path != '\0' ? path : DEFAULT_SETTINGS_FILE;
}

bool same_time(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         same_time(a.st_mtim, b.st_mtim) && same_time(a.st_ctim, b.st_ctim);
}

bool is_trusted(const struct stat& file) {
  const std::time_t changed = std::max(file.st_mtim.tv_sec, file.st_ctim.tv_sec);
  return changed + TRUSTED_AGE < std::time(nullptr);
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

struct Setting {
  std::string_view key;
  std::string_view value;
};

// What a line says, unless it is a comment.
std::optional<Setting> read_setting(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  const std::size_t sign = line.find('=');
  if (sign == std::string_view::npos) return {};
  const std::string_view key = trimmed(line.substr(0, sign));
  if (key.empty() || key[0] == '#') return {};
  return Setting{key, trimmed(line.substr(sign + 1))};
}

std::vector<std::string_view> split_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const auto end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

// The file as it is; a missing one is empty, with a status of zeros. False: it cannot be read.
bool read_file(std::string& text, struct stat& status) {
  // Not to be held up by a path that turns out to be a pipe.
  const FdGuard file(open(settings_path(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return errno == ENOENT;
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && read_whole(file.get(), text);
}

// The same, of a file that is being used: one that is suddenly empty is being rewritten.
bool read_used_file(std::string& text, struct stat& status) {
  if (!read_file(text, status)) return false;
  const bool is_missing = status.st_ino == 0;
  return is_missing || !text.empty() || store.text.empty();
}

void take_over(std::string&& text, const struct stat& status) {
  store.seen = is_trusted(status) ? status : (struct stat){};
  if (text == store.text) return;
  Values values;
  for (const std::string_view line : split_lines(text)) {
    if (const auto setting = read_setting(line)) {
      values.insert_or_assign(std::string(setting->key), std::string(setting->value));
    }
  }
  store.text = std::move(text);
  store.values_before = std::exchange(store.values, std::move(values));
}

void refresh() {
  struct stat now {};
  if (stat(settings_path(), &now) == 0 && same_file(now, store.seen)) return;
  std::string text;
  now = {};
  if (read_used_file(text, now)) take_over(std::move(text), now);
}

// The text with the uncommitted keys in it: each in place of its last line, or at the end.
std::string with_changes(std::string_view text) {
  std::vector<std::string> lines;
  std::map<std::string, std::size_t, std::less<>> places;
  for (const std::string_view line : split_lines(text)) {
    if (const auto setting = read_setting(line)) {
      places.insert_or_assign(std::string(setting->key), lines.size());
    }
    lines.emplace_back(line);
  }
  for (const auto& [key, value] : store.uncommitted) {
    const auto place = places.find(key);
    if (place == places.end()) lines.emplace_back();
    std::string& line = place == places.end() ? lines.back() : lines[place->second];
    line = key + "=" + value;
  }
  std::string changed;
  for (const std::string& line : lines) changed.append(line).append("\n");
  return changed;
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

bool nvram_open() {
  std::string text;
  struct stat status {};
  if (!read_file(text, status)) return false;
  take_over(std::move(text), status);
  return true;
}

const char* nvram_get(const char* key) {
  refresh();
  for (const Values* values : {&store.uncommitted, &store.values}) {
    if (const auto found = values->find(key); found != values->end()) return found->second.c_str();
  }
  return nullptr;
}

int nvram_set(const char* key, const char* value) {
  const std::string line = std::string(key) + "=" + value;
  const auto read_back = read_setting(line);
  if (!read_back || read_back->key != key || read_back->value != value ||
      line.find('\n') != std::string::npos) {
    return -1;
  }
  store.uncommitted.insert_or_assign(key, std::string(value));
  return 0;
}

int nvram_commit() {
  std::string text;
  struct stat status {};
  if (!read_used_file(text, status)) return -1;
  char resolved[PATH_MAX];  // a link to the settings stays a link
  const char* path = realpath(settings_path(), resolved);
  if (!replace_file(path != nullptr ? path : settings_path(), with_changes(text))) return -1;
  store.uncommitted.clear();
  return 0;
}

}  // namespace webauth
