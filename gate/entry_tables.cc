#include "gate/entry_tables.h"

#include <arpa/inet.h>

namespace webauth {
namespace {

void add_entry(EntryTables& tables, const KernelMessage& message) {
  const std::uint32_t ip = ntohl(message.ip);
  if (message.kind == ENTRY_MAC) tables.macs.insert(message.mac);
  if (message.kind == ENTRY_IP) tables.ips.insert(ip);
  if (message.kind == ENTRY_USER) {
    tables.users[ip] = {message.time_allowance, message.recheck_interval};
  }
}

void remove_entry(EntryTables& tables, const KernelMessage& message) {
  if (message.kind == ENTRY_IP) tables.ips.erase(ntohl(message.ip));
  // The removals of a deleted account carry kind 0, and the address of a user all the same.
  if (message.kind == ENTRY_USER || message.kind == ENTRY_MAC) drop_user(tables, message.ip);
}

std::string ranges_text(const std::set<std::uint32_t>& ips) {
  std::string text;
  for (auto at = ips.begin(); at != ips.end();) {
    const std::uint32_t first = *at;
    std::uint32_t last = first;
    for (++at; at != ips.end() && *at == last + 1; ++at) last = *at;
    text += "  ip " + ip_text(htonl(first));
    if (last != first) text += '-' + ip_text(htonl(last));
    text += '\n';
  }
  return text;
}

}  // namespace

void apply_message(EntryTables& tables, const KernelMessage& message) {
  switch (message.command) {
    case ADD_ENTRY:
      return add_entry(tables, message);
    case REMOVE_ENTRY:
      return remove_entry(tables, message);
    case DAEMON_START:
      tables = {};
      return;
    case SET_TIMEOUTS:
      tables.timeouts = Timeouts{.idle = message.ip, .maximum = message.kind};
      return;
    case REMOVE_MAC:
      tables.macs.erase(message.mac);
      return;
    default:
      return;
  }
}

void drop_user(EntryTables& tables, std::uint32_t ip) { tables.users.erase(ntohl(ip)); }

std::string times_text(const UserEntry& user) {
  std::string text;
  if (user.time_allowance != 0) {
    text += " time_allowance " + std::to_string(user.time_allowance) + " s";
  }
  if (user.recheck_interval != 0) {
    text += " recheck_interval " + std::to_string(user.recheck_interval) + " s";
  }
  return text;
}

std::string tables_text(const EntryTables& tables) {
  std::string text;
  for (const MacAddress& mac : tables.macs) text += "  mac " + mac_text(mac) + '\n';
  text += ranges_text(tables.ips);
  for (const auto& [ip, user] : tables.users) {
    text += "  user " + ip_text(htonl(ip)) + times_text(user) + '\n';
  }
  text += "list: " + std::to_string(tables.macs.size()) + " mac, " +
          std::to_string(tables.ips.size()) + " ip, " + std::to_string(tables.users.size()) +
          " user; time-outs ";
  if (!tables.timeouts) return text + "not set";
  return text + "idle " + std::to_string(tables.timeouts->idle) + " s, maximum " +
         std::to_string(tables.timeouts->maximum) + " s";
}

}  // namespace webauth
