#include "portal/published_list.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/address_text.h"
#include "common/fd_guard.h"
#include "common/file.h"
#include "common/file_stamp.h"

namespace webauth {
namespace {

bool read_list(int fd, struct stat& status, std::string& text) {
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
  text.reserve(std::min(size, PUBLISHED_LIMIT));
  return read_whole(fd, text, PUBLISHED_LIMIT);
}

// Where `item` stands next, from `at` on: several times as fast as std::string_view::find.
std::size_t find_next(std::string_view text, const std::string& item, std::size_t at) {
  const void* found = memmem(text.data() + at, text.size() - at, item.data(), item.size());
  if (found == nullptr) return std::string_view::npos;
  return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

void refresh(PublishedList& list) {
  if (list.is_fresh) return;
  list.is_fresh = true;
  struct stat now {};
  const bool is_trusted = list.seen.st_ino != 0;  // else it is read, whatever its stamp
  if (is_trusted && stat(list.path.c_str(), &now) == 0 && is_same_file(now, list.seen)) return;
  const FdGuard file(open(list.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const bool is_absent = file.get() < 0 && errno == ENOENT;
  std::string text;
  list.is_readable = is_absent || read_list(file.get(), now, text);
  list.seen = list.is_readable && !is_absent ? stamp_of(now) : (struct stat){};
  if (!list.is_readable) text.clear();
  list.text = std::move(text);
}

}  // namespace

std::optional<PublishedLine> find_published_line(std::string_view text, const std::string& ip) {
  const std::string item = ' ' + ip + ' ';
  for (std::size_t at = find_next(text, item, 0); at != std::string_view::npos;
       at = find_next(text, item, at)) {
    const std::size_t begin = text.rfind('\n', at) + 1;  // 0 for the first line
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const auto line = read_published_line(text.substr(begin, end - begin));
    if (line && line->ip == ip) return line;
    at = end;
  }
  return {};
}

std::optional<PublishedLine> find_published(PublishedList& list, std::uint32_t ip) {
  refresh(list);
  if (list.text.empty()) return {};
  return find_published_line(list.text, ip_text(ip));
}

}  // namespace webauth
