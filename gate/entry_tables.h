// What the gate knows: the entries and time-outs that the daemon's messages describe. A new daemon
// knows nobody, so its DAEMON_START empties everything.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "common/address_text.h"
#include "daemon/kernel/kernel_message.h"

namespace webauth {

struct UserEntry {
  std::uint32_t time_allowance;    ///< seconds, 0 for none
  std::uint32_t recheck_interval;  ///< seconds, 0 for none
};

struct Timeouts {
  std::uint32_t idle;     ///< seconds
  std::uint32_t maximum;  ///< seconds online
};

/// Addresses are keys in host byte order, so that they sort as they read.
struct EntryTables {
  std::set<MacAddress> macs;
  std::set<std::uint32_t> ips;
  std::map<std::uint32_t, UserEntry> users;
  std::optional<Timeouts> timeouts;
};

/// A message for an entry of an unknown kind changes nothing.
void apply_message(EntryTables& tables, const KernelMessage& message);

/// `ip` is in network byte order.
void drop_user(EntryTables& tables, std::uint32_t ip);

/// " time_allowance N s recheck_interval N s", without what is 0.
std::string times_text(const UserEntry& user);

/// One line per entry, runs of IP entries as ranges, and a closing line with the counts.
std::string tables_text(const EntryTables& tables);

}  // namespace webauth
