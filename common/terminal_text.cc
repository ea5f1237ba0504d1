#include "common/terminal_text.h"

#include <utf8proc.h>

#include <cstdio>

namespace webauth {
namespace {

// Neither a control or format character, nor one that begins a line, nor one that nobody has
// assigned.
bool is_printable(utf8proc_int32_t code) {
  switch (utf8proc_category(code)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return false;
    default:
      return true;
  }
}

/// The length of the printable character that the text begins with, or 0.
std::size_t printable_length(std::string_view text) {
  utf8proc_int32_t code = 0;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &code);
  return length > 0 && is_printable(code) ? static_cast<std::size_t>(length) : 0;
}

}  // namespace

std::string terminal_text(std::string_view text) {
  std::string safe;
  while (!text.empty()) {
    const std::size_t length = printable_length(text);
    if (text[0] == '\\') {
      safe += "\\\\";
    } else if (length > 0) {
      safe += text.substr(0, length);
    } else {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(text[0]));
      safe += escape;
    }
    text.remove_prefix(length > 0 ? length : 1);
  }
  return safe;
}

}  // namespace webauth
