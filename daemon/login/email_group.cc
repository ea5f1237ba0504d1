#include "daemon/login/email_group.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <optional>

#include "common/address_text.h"
#include "common/fd_guard.h"
#include "daemon/core/settings.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

constexpr char COUNTER_KEY[] = "GROUPIP_NUM_MAX";
constexpr mode_t FILE_MODE = 0700;
constexpr off_t LARGEST_FILE = 16 << 20;
// Anybody may plant a link or a pipe in /tmp: do not follow the one or wait for the other.
constexpr int OPEN_FLAGS = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

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

std::string create_group(const std::string& address) {
  const std::string number = std::to_string(std::atoi(setting_text(COUNTER_KEY)) + 1LL);
  (void)nvram_set(COUNTER_KEY, number.c_str());
  (void)nvram_commit();  // the group is published even when its number could not be kept
  return "group" + number + " Email_Auth " + address + "  \n";
}

// The file as it is. Empty optional: it cannot be had whole.
std::optional<std::string> read_group() {
  const FdGuard file(open(GROUP_FILE, O_RDWR | O_CREAT | OPEN_FLAGS, FILE_MODE));
  if (file.get() < 0) return std::nullopt;
  const off_t size = lseek(file.get(), 0, SEEK_END);
  if (size < 0 || size > LARGEST_FILE) return std::nullopt;
  std::string text(static_cast<std::size_t>(size), '\0');
  if (pread(file.get(), text.data(), text.size(), 0) != size) return std::nullopt;
  return text;
}

void write_group(const std::string& text) {
  const FdGuard file(open(GROUP_FILE, O_WRONLY | O_TRUNC | OPEN_FLAGS));
  const ssize_t written = write(file.get(), text.data(), text.size());
  (void)written;  // nobody is told
}

}  // namespace

bool add_group_address(std::string& line, std::string_view address) {
  const auto list = address_list(line);
  if (!list || find_address(line, *list, address)) return false;
  line.resize(list->end);
  line.append(",").append(address).append(" \n");
  return true;
}

bool remove_group_address(std::string& line, std::string_view address) {
  const auto list = address_list(line);
  if (!list) return false;
  const auto element = find_address(line, *list, address);
  if (!element) return false;
  if (element->end < list->end) {
    line.erase(element->begin, element->end + 1 - element->begin);
    return true;
  }
  if (element->begin == list->begin) return false;  // the only one stays
  line.resize(element->begin - 1);
  line.append(" \n");
  return true;
}

int email_group_update(int operation, std::uint32_t address) try {
  std::optional<std::string> text = read_group();
  if (!text) return -1;
  const std::string dotted = ip_text(address);
  if (operation == EMAIL_GROUP_ADD && text->empty()) {
    write_group(create_group(dotted));
    return 0;
  }
  text->resize(std::min(text->find('\0'), text->size()));  // a text ends at its first NUL
  const bool changed = operation == EMAIL_GROUP_ADD ? add_group_address(*text, dotted)
                                                    : remove_group_address(*text, dotted);
  if (changed) write_group(*text);
  return 0;
} catch (const std::bad_alloc&) {
  return -1;
}

}  // namespace webauth
