// Operator's text into the fields of a record. Every function throws OperatorError when the text
// may not go there; `what` names the text in the message.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "common/address_input.h"
#include "common/terminal_text.h"
#include "ctl/operator_error.h"

namespace webauth {

/// A text may fill its field to the last byte: it needs no closing NUL.
template <std::size_t N>
void fill_field(char (&field)[N], const char* what, std::string_view text) {
  if (text.size() > N) {
    throw OperatorError(std::string(what) + " is too long: " + std::to_string(text.size()) +
                        " bytes, at most " + std::to_string(N));
  }
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), text.size());
}

/// Whether a message may show a text.
enum class Shown : int { NO = 0, YES = 1 };

/// A line feed in a name would break the published list, the log and the account file apart.
inline void demand_plain(const char* what, std::string_view text, Shown shown = Shown::YES) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f) continue;
    throw OperatorError(std::string(what) + " holds a control character" +
                        (shown == Shown::YES ? ": " + terminal_text(text) : ""));
  }
}

/// As fill_field, and without control characters.
template <std::size_t N>
void fill_plain_field(char (&field)[N], const char* what, std::string_view text,
                      Shown shown = Shown::YES) {
  demand_plain(what, text, shown);
  fill_field(field, what, text);
}

/// A strict dotted quad.
template <std::size_t N>
void fill_ip(char (&field)[N], std::string_view text) {
  if (!parse_ipv4(text)) {
    throw OperatorError("not a dotted IPv4 address: '" + terminal_text(text) + "'");
  }
  fill_field(field, "IP address", text);
}

template <std::size_t N>
void fill_mac(char (&field)[N], std::string_view text) {
  if (!parse_mac(text)) {
    throw OperatorError("not six hexadecimal bytes with colons: '" + terminal_text(text) + "'");
  }
  fill_field(field, "MAC address", text);
}

}  // namespace webauth
