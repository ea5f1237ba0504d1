#include "portal/html_text.h"

#include <algorithm>

namespace webauth {
namespace {

constexpr char REPLACEMENT[] = "\xef\xbf\xbd";

const char* escape_of(char32_t code) {
  switch (code) {
    case U'&':
      return "&amp;";
    case U'<':
      return "&lt;";
    case U'>':
      return "&gt;";
    case U'"':
      return "&quot;";
    case U'\'':
      return "&#39;";
    case U'\t':
    case U'\n':
      return nullptr;
    default:
      return code < U' ' || (code >= 0x7f && code < 0xa0) ? REPLACEMENT : nullptr;
  }
}

}  // namespace

std::size_t read_character(std::string_view text, char32_t& code) {
  constexpr char32_t LEAST[] = {0, 0, 0x80, 0x800, 0x10000};  // by length
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (text.empty()) return 0;
  code = byte(0);
  if (code < 0x80) return 1;
  const std::size_t length = code >= 0xf0 ? 4 : code >= 0xe0 ? 3 : 2;
  if (code < 0xc2 || code > 0xf4 || text.size() < length) return 0;
  code &= 0x7fU >> length;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3fU);
  }
  const bool is_surrogate = code >= 0xd800 && code < 0xe000;
  return code >= LEAST[length] && code <= 0x10ffff && !is_surrogate ? length : 0;
}

void append_html(std::string& page, std::string_view text) {
  const auto is_odd = [](unsigned char c) {
    return c < ' ' || c > '~' || c == '&' || c == '<' || c == '>' || c == '"' || c == '\'';
  };
  for (;;) {
    const auto plain =
        static_cast<std::size_t>(std::find_if(text.begin(), text.end(), is_odd) - text.begin());
    page += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return;
    char32_t code = 0;
    const std::size_t length = read_character(text, code);
    const char* escape = length > 0 ? escape_of(code) : REPLACEMENT;
    if (escape != nullptr) {
      page += escape;
    } else {
      page += text.substr(0, length);
    }
    text.remove_prefix(length > 0 ? length : 1);
  }
}

}  // namespace webauth
