// A column of a table.
#pragma once

#include <string>

namespace webauth {

/// The text, blanks up to `width`, and two more.
inline std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text + "  ";
}

}  // namespace webauth
