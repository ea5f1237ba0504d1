#include "daemon/platform/setting_line.h"

#include "common/text_line.h"

namespace webauth {
std::optional<Setting> read_setting(std::string_view line) {
  line = line.substr(0, line.find('\0'));
  if (line.ends_with('\r')) line.remove_suffix(1);
  const std::size_t sign = line.find('=');
  if (sign == std::string_view::npos) return {};
  const std::string_view key = trimmed(line.substr(0, sign));
  if (key.empty() || key[0] == '#') return {};
  return Setting{key, trimmed(line.substr(sign + 1))};
}

}  // namespace webauth
