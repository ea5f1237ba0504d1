// What the daemon tells the kernel module on its own account: that it has started, the time-outs,
// and the clients that pass without login.
//
// What was sent lives in the kernel module only. Times on the wire are seconds. Every sender ends
// the process when its message cannot be sent; every push_ function returns 0.
#pragma once

#include <cstdint>
#include <optional>

#include "common/address_text.h"
#include "daemon/kernel/kernel_message.h"

namespace webauth {

inline constexpr char MAC_LIST_FILE[] = "/disk/conf/qvmac.cfg";
inline constexpr char IP_LIST_FILE[] = "/etc/qvip.cfg";

/// The most addresses that one range of the IP list may hold.
inline constexpr std::uint32_t LONGEST_RANGE = 1'048'576;

/// Says that a daemon has started.
int push_daemon_start();

/// Sends the idle time-out and the maximum online time. Both are settings in minutes; which keys
/// hold them depends on the text of WEBAUTH_SECTYPE, and so does the meaning of 0: the keys of
/// "LOCAL", "ADVERT" and "WEIXIN" send 0 s, the generic keys send 600 s idle and 30 days at most.
int push_timeouts();

/// Lets one IPv4 address through; the bytes are the parts of the dotted quad in order. `message` is
/// an ADD_ENTRY of ENTRY_IP, into which only the address is put.
int push_ip_entry(KernelMessage& message, const unsigned char (&ip)[4]);

/// Lets one MAC address through, or withdraws it when `remove` is exactly 1.
int push_mac_entry(const MacAddress& mac, int remove);

/// IPv4 addresses as numbers that count upwards, both ends included.
struct IpRange {
  std::uint32_t first;
  std::uint32_t last;
};

/// What a line of the IP list says: "first-last", or one address, also when what follows it does
/// not make it a range. Nothing when it begins with neither, when the range runs backwards, or
/// when it holds more than LONGEST_RANGE addresses.
std::optional<IpRange> read_ip_range(const char* line);

/// Send one message per address of a list file, in file order, and return how many were sent; 0
/// when the file cannot be opened. Lines are read in pieces of at most 99 characters; what does
/// not parse is skipped. A MAC line holds six hexadecimal numbers separated by colons.
[[nodiscard]] int load_mac_list(const char* path);
[[nodiscard]] int load_ip_list(const char* path);

}  // namespace webauth
