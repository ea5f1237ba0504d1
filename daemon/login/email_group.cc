#include "daemon/login/email_group.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "common/address_text.h"
#include "common/fd_guard.h"
#include "daemon/core/settings.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

constexpr char COUNTER_KEY[] = "GROUPIP_NUM_MAX";
constexpr mode_t FILE_MODE = 0700;
constexpr off_t LARGEST_FILE = 16 << 20;
constexpr int OPEN_FLAGS = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;  // no link, no wait for a pipe

// Where the address list lies in the line: behind the second blank, up to the third.
struct Span {
  std::size_t begin;
  std::size_t end;
};

std::optional<Span> address_list(std::string_view line) {
  std::size_t blank[3];
  std::size_t from = 0;
  for (std::size_t& position : blank) {
    position = line.find(' ', from);
    if (position == std::string_view::npos) return std::nullopt;
    from = position + 1;
  }
  return Span{blank[1] + 1, blank[2]};
}

// The element of the list that is the whole address.
std::optional<Span> find_address(std::string_view line, Span list, std::string_view address) {
  std::size_t begin = list.begin;
  for (;;) {
    const std::size_t end = std::min(line.find(',', begin), list.end);
    if (line.substr(begin, end - begin) == address) return Span{begin, end};
    if (end == list.end) return std::nullopt;
    begin = end + 1;
  }
}

// The file's descriptor, or a negative number. Anybody may plant something in /tmp: what is not a
// file of this daemon's user, or has a second name, is replaced.
int open_group(int flags) {
  const int fd = open(GROUP_FILE, flags | OPEN_FLAGS, FILE_MODE);
  struct stat status {};
  if (fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
      status.st_nlink == 1) {
    return fd;
  }
  if (fd >= 0) close(fd);
  (void)std::remove(GROUP_FILE);
  return open(GROUP_FILE, flags | O_CREAT | O_EXCL | OPEN_FLAGS, FILE_MODE);
}

void write_group(std::string_view text) {
  const FdGuard file(open_group(O_WRONLY));
  if (file.get() < 0 || ftruncate(file.get(), 0) != 0) return;  // nobody is told
  (void)!write(file.get(), text.data(), text.size());
}

void create_group(const std::string& address) {
  const std::string number = std::to_string(std::atoi(setting_text(COUNTER_KEY)) + 1LL);
  (void)nvram_set(COUNTER_KEY, number.c_str());
  (void)nvram_commit();  // the group is published even when its number could not be kept
  write_group("group" + number + " Email_Auth " + address + "  \n");
}

struct Free {
  void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

// The bytes of the file, with GROUP_LINE_ROOM of zeros behind them. Null: it cannot be had whole.
// Theirs is the one memory whose want does not end the daemon.
Text read_group(std::size_t& length) {
  const FdGuard file(open_group(O_RDWR | O_CREAT));
  if (file.get() < 0) return nullptr;
  const off_t size = lseek(file.get(), 0, SEEK_END);
  if (size < 0 || size > LARGEST_FILE) return nullptr;
  length = static_cast<std::size_t>(size);
  Text text(static_cast<char*>(std::calloc(length + GROUP_LINE_ROOM, 1)));
  if (!text || pread(file.get(), text.get(), length, 0) != size) return nullptr;
  return text;
}

}  // namespace

bool add_group_address(char* line, std::string_view address) {
  const auto list = address_list(line);
  if (!list || find_address(line, *list, address)) return false;
  std::snprintf(line + list->end, GROUP_LINE_ROOM, ",%.*s \n", static_cast<int>(address.size()),
                address.data());
  return true;
}

bool remove_group_address(char* line, std::string_view address) {
  const auto list = address_list(line);
  if (!list) return false;
  const auto element = find_address(line, *list, address);
  if (!element) return false;
  if (element->end < list->end) {
    const char* rest = line + element->end + 1;
    std::memmove(line + element->begin, rest, std::strlen(rest) + 1);
    return true;
  }
  if (element->begin == list->begin) return false;  // the only one stays
  constexpr char END[] = " \n";
  std::memcpy(line + element->begin - 1, END, sizeof END);
  return true;
}

int email_group_update(int operation, std::uint32_t address) {
  std::size_t length = 0;
  const Text text = read_group(length);
  if (!text) return -1;
  const std::string dotted = ip_text(address);
  if (length == 0) {
    if (operation == EMAIL_GROUP_ADD) create_group(dotted);
    return 0;
  }
  const auto edit = operation == EMAIL_GROUP_ADD ? add_group_address : remove_group_address;
  if (edit(text.get(), dotted)) write_group(text.get());
  return 0;
}

}  // namespace webauth
