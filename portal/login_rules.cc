#include "portal/login_rules.h"

#include <algorithm>

#include "portal/html_text.h"

namespace webauth {
namespace {

bool is_control(char32_t code) { return code < 0x20 || (code >= 0x7f && code < 0xa0); }

// Marks, embeddings, overrides and isolates of Unicode's bidirectional algorithm.
bool is_direction_control(char32_t code) {
  return code == 0x61c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
         (code >= 0x2066 && code <= 0x2069);
}

bool is_plain_utf8(std::string_view text) {
  while (!text.empty()) {
    char32_t code = 0;
    const std::size_t length = read_character(text, code);
    if (length == 0 || code == U' ' || is_control(code) || is_direction_control(code)) return false;
    text.remove_prefix(length);
  }
  return true;
}

// What RFC 3501 allows in an astring that is written without quotes.
bool is_atom(std::string_view text) {
  constexpr std::string_view SPECIAL = "(){%*\"\\";
  return std::all_of(text.begin(), text.end(), [&](char c) {
    return c > ' ' && c < '\x7f' && SPECIAL.find(c) == std::string_view::npos;
  });
}

// A password need not be UTF-8: what is none has no control character beyond the first 32 and DEL.
bool has_control(std::string_view text) {
  while (!text.empty()) {
    char32_t code = 0;
    const std::size_t length = read_character(text, code);
    if (length > 0 && is_control(code)) return true;
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return false;
}

}  // namespace

bool may_be_name(LoginRules rules, std::string_view name) {
  if (name.empty() || name.size() > LONGEST_NAME) return false;
  return rules == LoginRules::IMAP ? is_atom(name) : is_plain_utf8(name);
}

bool may_be_password(LoginRules rules, std::string_view password) {
  const std::size_t longest =
      rules == LoginRules::ACCOUNT ? LONGEST_ACCOUNT_PASSWORD : LONGEST_MAIL_PASSWORD;
  if (password.empty() || password.size() > longest) return false;
  switch (rules) {
    case LoginRules::ACCOUNT:
      return password.find_first_of(std::string_view(" \n\0", 3)) == std::string_view::npos;
    case LoginRules::POP3:
      return !has_control(password);
    case LoginRules::IMAP:
      return is_atom(password);
  }
  return false;
}

}  // namespace webauth
