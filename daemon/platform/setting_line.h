// A line of the settings file: KEY=VALUE, split at its first '='. Blanks around key and value and a
// CR at the line's end do not belong to them, quotes do. Lines that begin with '#' or hold no '='
// are comments. Nothing here fails.
#pragma once

#include <optional>
#include <string_view>

namespace webauth {

struct Setting {
  std::string_view key;
  std::string_view value;
};

/// What a line says, given without its line feed; nothing when it is a comment. A NUL ends it.
std::optional<Setting> read_setting(std::string_view line);

}  // namespace webauth
