#include "gate/input_lines.h"

#include <algorithm>
#include <utility>

namespace webauth {

std::vector<InputLine> InputLines::add(std::string_view bytes) {
  std::vector<InputLine> lines;
  while (!bytes.empty()) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    const std::size_t room = INPUT_LINE_LIMIT - pending_.text.size();
    pending_.text += bytes.substr(0, std::min(end, room));
    pending_.too_long = pending_.too_long || end > room;
    if (end == bytes.size()) return lines;
    lines.push_back(std::exchange(pending_, InputLine{}));
    bytes.remove_prefix(end + 1);
  }
  return lines;
}

std::vector<InputLine> InputLines::finish() {
  return pending_.text.empty() ? std::vector<InputLine>() : add("\n");
}

}  // namespace webauth
