#include "portal/lan.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "common/neighbour.h"

namespace webauth {
namespace {

struct AddressesFree {
  void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

std::uint32_t address_of(const sockaddr* address) {
  sockaddr_in in{};
  std::memcpy(&in, address, sizeof in);
  return in.sin_addr.s_addr;
}

// An address may have a label of its own, "lan0:1".
bool is_on(const char* label, const std::string& name) {
  return name.compare(0, std::string::npos, label, std::strcspn(label, ":")) == 0;
}

bool is_in(const Network& network, std::uint32_t ip) {
  return ((ip ^ network.address) & network.mask) == 0;
}

// The router's own address, the network's, or its broadcast address.
bool is_no_host(const Network& network, std::uint32_t ip) {
  const std::uint32_t hosts = ~network.mask;
  if (ip == network.address) return true;
  if (!is_in(network, ip) || ntohl(hosts) <= 1) return false;  // of two addresses both are hosts
  return (ip & hosts) == 0 || (ip & hosts) == hosts;
}

}  // namespace

Lan read_lan(const std::string& name) {
  Lan lan{.name = name, .index = static_cast<int>(if_nametoindex(name.c_str())), .networks{}};
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return lan;
  const std::unique_ptr<ifaddrs, AddressesFree> owner(list);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_netmask == nullptr) continue;
    if (entry->ifa_addr->sa_family != AF_INET || !is_on(entry->ifa_name, name)) continue;
    lan.networks.push_back({address_of(entry->ifa_addr), address_of(entry->ifa_netmask)});
  }
  return lan;
}

bool is_visitor(const Lan& lan, std::uint32_t ip) {
  const auto fits = [&](auto rule) {
    return [rule, ip](const Network& network) { return rule(network, ip); };
  };
  const auto& networks = lan.networks;
  return std::any_of(networks.begin(), networks.end(), fits(is_in)) &&
         std::none_of(networks.begin(), networks.end(), fits(is_no_host));
}

MacAddress visitor_mac(const Lan& lan, int neighbour_socket, std::uint32_t ip) {
  const auto found = find_neighbour(neighbour_socket, lan.index, ip);
  return found ? found->mac : MacAddress{};
}

}  // namespace webauth
