#include "portal/published_list.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "common/fd_guard.h"
#include "common/file.h"
#include "common/file_stamp.h"

namespace webauth {
namespace {

void refresh(PublishedList& list) {
  struct stat now {};
  const bool is_there = stat(list.path.c_str(), &now) == 0;
  if (is_there && is_same_file(now, list.seen)) return;
  const FdGuard file(open(list.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const bool is_absent = file.get() < 0 && errno == ENOENT;
  std::string text;
  list.is_readable = is_absent || (fstat(file.get(), &now) == 0 && S_ISREG(now.st_mode) &&
                                   read_whole(file.get(), text, PUBLISHED_LIMIT));
  list.seen = list.is_readable && !is_absent ? stamp_of(now) : (struct stat){};
  if (!list.is_readable) text.clear();
  list.text = std::move(text);
}

}  // namespace

std::optional<PublishedLine> find_published_line(std::string_view text, const std::string& ip) {
  const std::string item = ' ' + ip + ' ';
  for (std::size_t at = text.find(item); at != std::string_view::npos; at = text.find(item, at)) {
    const std::size_t begin = text.rfind('\n', at) + 1;  // 0 for the first line
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const auto line = read_published_line(text.substr(begin, end - begin));
    if (line && line->ip == ip) return line;
    at = end;
  }
  return {};
}

std::optional<PublishedLine> find_published(PublishedList& list, const std::string& ip) {
  refresh(list);
  return find_published_line(list.text, ip);
}

}  // namespace webauth
