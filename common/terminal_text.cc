#include "common/terminal_text.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace webauth {
namespace {

bool is_hidden_control(std::uint32_t code) {
  const bool c1 = code < 0xa0;
  const bool direction_or_line = (code >= 0x200b && code <= 0x200f) ||
                                 (code >= 0x2028 && code <= 0x202e) ||
                                 (code >= 0x2060 && code <= 0x206f) || code == 0xfeff;
  return c1 || direction_or_line;
}

/// The length of the printable multi-byte character that the text begins with, or 0.
std::size_t multibyte_length(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc2 ? 2 : 0;
  if (length == 0 || lead > 0xf4 || text.size() < length) return 0;
  std::uint32_t code = lead & (0xffU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xc0U) != 0x80) return 0;
    code = (code << 6U) | (next & 0x3fU);
  }
  const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xd800 && code <= 0xdfff;
  if (overlong || surrogate || code > 0x10ffff || is_hidden_control(code)) return 0;
  return length;
}

}  // namespace

std::string terminal_text(std::string_view text) {
  std::string safe;
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text[0]);
    std::size_t taken = 1;
    if (byte == '\\') {
      safe += "\\\\";
    } else if (byte >= 0x20 && byte < 0x7f) {
      safe += text[0];
    } else if (const std::size_t length = multibyte_length(text); length > 0) {
      safe += text.substr(0, length);
      taken = length;
    } else {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02x", byte);
      safe += escape;
    }
    text.remove_prefix(taken);
  }
  return safe;
}

}  // namespace webauth
