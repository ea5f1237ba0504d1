#include "gate/table_text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace webauth {
namespace {

// In host byte order, so that addresses sort as they read.
std::vector<std::uint32_t> sorted(const IpSet& ips) {
  std::vector<std::uint32_t> numbers;
  numbers.reserve(ips.size());
  for (const std::uint32_t ip : ips) numbers.push_back(ntohl(ip));
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::string ranges_text(const IpSet& ips) {
  const std::vector<std::uint32_t> numbers = sorted(ips);
  std::string text;
  for (auto at = numbers.begin(); at != numbers.end();) {
    const std::uint32_t first = *at;
    std::uint32_t last = first;
    for (++at; at != numbers.end() && *at == last + 1; ++at) last = *at;
    text += "  ip " + ip_text(htonl(first));
    if (last != first) text += '-' + ip_text(htonl(last));
    text += '\n';
  }
  return text;
}

std::string users_text(const SessionTable& table) {
  IpSet ips;
  for (const auto& [ip, user] : table.users) ips.insert(ip);
  std::string text;
  for (const std::uint32_t number : sorted(ips)) {
    const std::uint32_t ip = htonl(number);
    const User& user = table.users.at(ip);
    text += "  user " + ip_text(ip) + times_text(user.time_allowance, user.recheck) + '\n';
  }
  return text;
}

}  // namespace

std::string times_text(std::uint32_t time_allowance, std::uint32_t recheck_interval) {
  std::string text;
  if (time_allowance != 0) text += " time_allowance " + std::to_string(time_allowance) + " s";
  if (recheck_interval != 0) text += " recheck_interval " + std::to_string(recheck_interval) + " s";
  return text;
}

std::string tables_text(const SessionTable& table) {
  std::string text;
  for (const MacAddress& mac : table.macs) text += "  mac " + mac_text(mac) + '\n';
  text += ranges_text(table.ips) + users_text(table);
  text += "list: " + std::to_string(table.macs.size()) + " mac, " +
          std::to_string(table.ips.size()) + " ip, " + std::to_string(table.users.size()) +
          " user; time-outs ";
  if (!table.timeouts) return text + "not set";
  return text + "idle " + std::to_string(table.timeouts->idle) + " s, maximum " +
         std::to_string(table.timeouts->maximum) + " s";
}

}  // namespace webauth
