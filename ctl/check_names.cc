#include "ctl/check_names.h"

#include <cstring>
#include <string_view>

#include "common/terminal_text.h"
#include "ctl/piece_file.h"
#include "daemon/login/white_list.h"
#include "daemon/wechat/garden_name.h"

namespace webauth {
namespace {

bool is_sent(const std::string& host) {
  char name[GARDEN_NAME_BUFFER_SIZE];
  return encode_garden_name(host.c_str(), name).has_value();
}

std::string white_list_fault(const Piece<WHITE_LIST_LINE_SIZE>& piece) {
  const std::string_view entry = white_list_entry(piece.text);
  const std::string_view text(piece.text);
  if (!piece.is_first) {
    // What follows the name on a long line is harmless until it is a name.
    return entry.empty() ? ""
                         : "read as a name of its own, since its line is longer than 48 bytes: " +
                               quoted_text(entry);
  }
  if (entry.empty() && text.find_first_not_of(" \r\n") != std::string_view::npos) {
    return "the line begins with a blank, which ends the name";
  }
  if (entry.find('\t') != std::string_view::npos) {
    return "a tab belongs to the name: " + quoted_text(entry);
  }
  return {};
}

// `host` is empty when the line is not read.
std::string garden_fault(const Piece<GARDEN_LINE_SIZE>& piece, const std::string& host) {
  if (!piece.has_newline) {
    return std::strlen(piece.text) + 1 == GARDEN_LINE_SIZE
               ? "longer than 1022 bytes: it and what follows it is not read"
               : "no line feed at its end: the name is not read";
  }
  if (host.empty()) return {};
  if (host[0] == '#') return "no comment, the file has none: " + quoted_text(host);
  if (host.find_first_of(" \t\r") != std::string::npos) {
    return "the blank or CR belongs to the name: " + quoted_text(host);
  }
  if (!is_sent(host)) {
    return "no host name that can be sent (it needs a dot, and labels of 1 to 63 bytes): " +
           quoted_text(host);
  }
  const bool has_empty_label = host[0] == '.' || host.find("..") != std::string::npos;
  return has_empty_label ? "the empty label ends the name: " + quoted_text(host) : "";
}

}  // namespace

Findings check_white_list(std::FILE* file, std::size_t& count) {
  Findings findings;
  count = 0;
  for_each_piece<WHITE_LIST_LINE_SIZE>(file, [&](const Piece<WHITE_LIST_LINE_SIZE>& piece) {
    const std::string fault = white_list_fault(piece);
    if (!fault.empty()) findings.push_back({piece.line, fault});
    count += white_list_entry(piece.text).empty() ? 0 : 1;
  });
  return findings;
}

Findings check_garden_names(std::FILE* file, std::size_t& count) {
  Findings findings;
  count = 0;
  bool is_over = false;
  for_each_piece<GARDEN_LINE_SIZE>(file, [&](const Piece<GARDEN_LINE_SIZE>& piece) {
    if (is_over) return;
    is_over = !piece.has_newline;
    const std::string host = is_over ? "" : std::string(piece.text, std::strlen(piece.text) - 1);
    const std::string fault = garden_fault(piece, host);
    if (!fault.empty()) findings.push_back({piece.line, fault});
    count += is_sent(host) ? 1 : 0;
  });
  return findings;
}

}  // namespace webauth
