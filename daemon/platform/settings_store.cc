#include "daemon/platform/settings_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "common/fd_guard.h"
#include "common/file.h"
#include "common/file_stamp.h"
#include "common/replace_file.h"
#include "common/text_line.h"
#include "daemon/platform/setting_line.h"

namespace webauth {
namespace {

constexpr mode_t NEW_FILE_MODE = 0644;
// Bytes with which a string lies on the heap, where its text keeps its place when it is moved.
constexpr std::size_t LEAST_ENTRIES = 64;

// Keys and values in turns, each ended by a NUL, in the order of the file.
using Entries = std::string;

struct Store {
  struct stat seen {};     // of the file that `text` was read from; zeros: read it again
  std::string text;        // what `entries` were made of
  Entries entries;         // the last of a key counts, here and below
  Entries entries_before;  // a caller may still hold a text of it
  Entries uncommitted;
};

Store store;

void append_entry(Entries& entries, std::string_view key, std::string_view value) {
  entries.append(key).push_back('\0');
  entries.append(value).push_back('\0');
}

// Calls `take` with each key and value, both ended by a NUL.
template <typename Take>
void for_each_entry(const Entries& entries, Take take) {
  for (const char* at = entries.data(); at < entries.data() + entries.size();) {
    const char* key = at;
    const char* value = key + std::strlen(key) + 1;
    take(key, value);
    at = value + std::strlen(value) + 1;
  }
}

const char* find_value(const Entries& entries, const char* wanted) {
  const char* found = nullptr;
  for_each_entry(entries, [&](const char* key, const char* value) {
    if (std::strcmp(key, wanted) == 0) found = value;
  });
  return found;
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
  store.seen = stamp_of(status);
  if (text == store.text) return;
  Entries entries;
  entries.reserve(LEAST_ENTRIES);
  for (std::string_view rest = text; !rest.empty();) {
    if (const auto setting = read_setting(take_line(rest))) {
      append_entry(entries, setting->key, setting->value);
    }
  }
  store.text = std::move(text);
  store.entries_before = std::exchange(store.entries, std::move(entries));
}

void refresh() {
  struct stat now {};
  if (stat(settings_path(), &now) == 0 && is_same_file(now, store.seen)) return;
  std::string text;
  now = {};
  if (read_used_file(text, now)) take_over(std::move(text), now);
}

// Puts a key in place of its last line, or at the end.
void replace_key(std::string& text, const char* key, const char* value) {
  if (!text.empty() && text.back() != '\n') text += '\n';
  std::size_t begin = text.size();
  std::size_t size = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = take_line(rest);
    const auto setting = read_setting(line);
    if (!setting || setting->key != key) continue;
    begin = static_cast<std::size_t>(line.data() - text.data());
    size = line.size() + 1;
  }
  text.replace(begin, size, std::string(key) + "=" + value + "\n");
}

}  // namespace

const char* settings_path() {
  const char* path = std::getenv("WEBAUTHD_SETTINGS");
  return path != nullptr && *path != '\0' ? path : DEFAULT_SETTINGS_FILE;
}

bool nvram_open() {
  std::string text;
  struct stat status {};
  if (!read_file(text, status)) return false;
  take_over(std::move(text), status);
  return true;
}

const char* nvram_get(const char* key) {
  refresh();
  const char* changed = find_value(store.uncommitted, key);
  return changed != nullptr ? changed : find_value(store.entries, key);
}

int nvram_set(const char* key, const char* value) {
  const std::string line = std::string(key) + "=" + value;
  const auto read_back = read_setting(line);
  if (!read_back || read_back->key != key || read_back->value != value ||
      line.find('\n') != std::string::npos) {
    return -1;
  }
  Entries uncommitted;
  for_each_entry(store.uncommitted, [&](const char* other, const char* text) {
    if (read_back->key != other) append_entry(uncommitted, other, text);
  });
  append_entry(uncommitted, read_back->key, read_back->value);
  store.uncommitted = std::move(uncommitted);
  return 0;
}

int nvram_commit() {
  std::string text;
  struct stat status {};
  if (!read_used_file(text, status)) return -1;
  for_each_entry(store.uncommitted,
                 [&](const char* key, const char* value) { replace_key(text, key, value); });
  if (!replace_file(link_target(settings_path()), text, NEW_FILE_MODE)) return -1;
  store.uncommitted.clear();
  return 0;
}

}  // namespace webauth
