// The lines of a text that is in memory whole, and what stands in them.
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

/// Without `blanks` at its begin and end.
inline std::string_view trimmed(std::string_view text, std::string_view blanks = " \t") {
  const std::size_t begin = std::min(text.find_first_not_of(blanks), text.size());
  return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

}  // namespace webauth
