// The lines of a text that is in memory whole.
#pragma once

#include <algorithm>
#include <string_view>

namespace webauth {

/// Cuts the first line off and returns it without its line feed.
inline std::string_view take_line(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

}  // namespace webauth
