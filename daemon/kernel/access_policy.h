// What the daemon tells the kernel module on its own account: that it has started, the time-outs,
// and the clients that pass without login.
//
// What was sent lives in the kernel module only. Times on the wire are seconds. Every sender ends
// the process when its message cannot be sent; every push_ function returns 0.
#pragma once

#include "common/address_text.h"
#include "daemon/kernel/access_list.h"
#include "daemon/kernel/kernel_message.h"

namespace webauth {

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

/// Send one message per address of a list file, in file order, and return how many were sent; 0
/// when the file cannot be opened. kernel/access_list.h has their form.
[[nodiscard]] int load_mac_list(const char* path);
[[nodiscard]] int load_ip_list(const char* path);

}  // namespace webauth
