// The lines of the MAC list and of the IP list, and what the daemon makes of each.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace webauth {

/// A line that holds more than blanks and comments. All texts are safe for a terminal.
struct AddressLine {
  std::size_t line = 0;     ///< from 1
  std::string meaning;      ///< whom it lets through; empty: nobody, the line is skipped
  std::uint32_t count = 0;  ///< how many addresses that is
  std::string fault;        ///< what is wrong or surprising about it; empty: nothing
};

using AddressLines = std::vector<AddressLine>;

AddressLines read_mac_lines(std::FILE* file);
AddressLines read_ip_lines(std::FILE* file);

}  // namespace webauth
