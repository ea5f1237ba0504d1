// The lists of clients that pass without login: where they lie, and a line of each. Stands alone;
// nothing here fails or ends the process.
//
// Both are read in pieces of at most 99 characters, each taken for a line; what does not parse is
// skipped. A MAC line holds six hexadecimal numbers separated by colons (read_mac).
#pragma once

#include <cstdint>
#include <optional>

namespace webauth {

inline constexpr char MAC_LIST_FILE[] = "/disk/conf/qvmac.cfg";
inline constexpr char IP_LIST_FILE[] = "/etc/qvip.cfg";

/// A piece of either list, with its closing NUL.
inline constexpr int LIST_LINE_SIZE = 100;

/// The most addresses that one range of the IP list may hold.
inline constexpr std::uint32_t LONGEST_RANGE = 1'048'576;

/// IPv4 addresses as numbers that count upwards, both ends included.
struct IpRange {
  std::uint32_t first;
  std::uint32_t last;
};

/// What a line of the IP list says: "first-last", or one address, also when what follows it does
/// not make it a range. Nothing when it begins with neither, when the range runs backwards, or
/// when it holds more than LONGEST_RANGE addresses.
std::optional<IpRange> read_ip_range(const char* line);

}  // namespace webauth
