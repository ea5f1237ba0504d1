#include "ctl/address_lines.h"

#include <arpa/inet.h>

#include <string_view>

#include "common/address_text.h"
#include "common/terminal_text.h"
#include "ctl/piece_file.h"
#include "daemon/kernel/access_list.h"

namespace webauth {
namespace {

using ListPiece = Piece<LIST_LINE_SIZE>;

std::string_view without_end(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

std::string shown(std::string_view text) { return quoted_text(without_end(text)); }

// What is left of a line when its beginning says nothing.
bool says_nothing(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  return begin == std::string_view::npos || text[begin] == '#';
}

// What stands directly behind an address and does not belong to it.
std::string rest_fault(std::string_view rest) {
  if (rest.empty() || std::string_view(" \t\r\n#").find(rest[0]) != std::string_view::npos) {
    return {};
  }
  return "what follows the address is ignored: " + shown(rest);
}

std::string piece_fault(const ListPiece& piece) {
  return piece.is_first ? "" : "read as a line of its own, since its line is longer than 98 bytes";
}

AddressLine mac_line(const ListPiece& piece) {
  AddressLine line;
  line.line = piece.line;
  const auto mac = read_mac(piece.text);
  if (!mac) {
    if (piece.is_first) line.fault = "no MAC address, skipped: " + shown(piece.text);
    return line;
  }
  line.meaning = mac_text(*mac);
  line.count = 1;
  int end = 0;
  (void)std::sscanf(piece.text, "%*x:%*x:%*x:%*x:%*x:%*x%n", &end);
  line.fault = piece.is_first ? rest_fault(piece.text + end) : piece_fault(piece);
  return line;
}

std::string range_text(const IpRange& range) {
  const std::string first = ip_text(htonl(range.first));
  return range.first == range.last ? first : first + '-' + ip_text(htonl(range.last));
}

// Where the one address ends, and where the range does; 0: it is none.
struct Ends {
  int one = 0;
  int range = 0;
};

Ends ends_of(const char* text) {
  Ends ends;
  (void)std::sscanf(text, "%*u.%*u.%*u.%*u%n-%*u.%*u.%*u.%*u%n", &ends.one, &ends.range);
  return ends;
}

std::string skipped_ip_fault(const char* text) {
  const Ends ends = ends_of(text);
  const auto first = read_ip_range(std::string(text, static_cast<std::size_t>(ends.one)).c_str());
  if (ends.range == 0 || !first) return "no IPv4 address and no range, skipped: " + shown(text);
  const auto last = read_ip_range(text + ends.one + 1);
  const bool backwards = last && last->first < first->first;
  return std::string(backwards ? "the range runs backwards"
                               : "the range has more than 1048576 addresses") +
         " and is skipped: " + shown(text);
}

std::string ip_fault(const char* text, const IpRange& range) {
  const Ends ends = ends_of(text);
  const bool is_range = ends.range > 0 && read_ip_range(text + ends.one + 1);
  if (!is_range && text[ends.one] == '-') {
    return "no IPv4 address behind the hyphen: only " + ip_text(htonl(range.first)) +
           " is let through";
  }
  const int end = is_range ? ends.range : ends.one;
  if (std::string fault = rest_fault(text + end); !fault.empty()) return fault;
  std::string_view written = std::string_view(text).substr(0, static_cast<std::size_t>(end));
  written.remove_prefix(written.find_first_not_of(" \t"));
  std::string read = ip_text(htonl(range.first));
  if (is_range) read += '-' + ip_text(htonl(range.last));
  return written == read ? "" : shown(written) + " is read in decimal, as " + read;
}

AddressLine ip_line(const ListPiece& piece) {
  AddressLine line;
  line.line = piece.line;
  const auto range = read_ip_range(piece.text);
  if (!range) {
    if (piece.is_first) line.fault = skipped_ip_fault(piece.text);
    return line;
  }
  line.meaning = range_text(*range);
  line.count = range->last - range->first + 1;
  line.fault = piece.is_first ? ip_fault(piece.text, *range) : piece_fault(piece);
  return line;
}

template <typename Read>
AddressLines read_lines(std::FILE* file, Read read) {
  AddressLines lines;
  for_each_piece<LIST_LINE_SIZE>(file, [&](const ListPiece& piece) {
    if (says_nothing(piece.text)) return;
    AddressLine line = read(piece);
    if (!line.meaning.empty() || !line.fault.empty()) lines.push_back(std::move(line));
  });
  return lines;
}

}  // namespace

AddressLines read_mac_lines(std::FILE* file) { return read_lines(file, mac_line); }

AddressLines read_ip_lines(std::FILE* file) { return read_lines(file, ip_line); }

}  // namespace webauth
