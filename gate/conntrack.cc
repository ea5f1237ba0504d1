#include "gate/conntrack.h"

#include <linux/netfilter/nf_conntrack_common.h>
#include <linux/netfilter/nfnetlink_conntrack.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "common/clock.h"

namespace webauth {
namespace {

// The kernel's flag for "compare the source address"; its headers do not show it.
constexpr std::uint32_t FILTER_SOURCE = 1U << 0;

constexpr std::int64_t CUT_PATIENCE_US = 1'000'000;
constexpr std::int64_t PAUSE_FACTOR = 3;  // of what the last look took

constexpr int conntrack_type(int message) { return NFNL_SUBSYS_CTNETLINK << 8 | message; }

struct Connection {
  const nlattr* origin = nullptr;  // the tuple by which it is deleted
  const nlattr* zone = nullptr;
  const nlattr* id = nullptr;
  std::uint32_t source = 0;
  std::uint32_t destination = 0;
  bool is_redirected = false;
};

void read_addresses(const nlattr* tuple, Connection& connection) {
  for_each_attribute(tuple, [&](const nlattr* part) {
    if (mnl_attr_get_type(part) != CTA_TUPLE_IP) return;
    for_each_attribute(part, [&](const nlattr* address) {
      const int type = mnl_attr_get_type(address);
      if (type == CTA_IP_V4_SRC) connection.source = attribute_value<std::uint32_t>(address);
      if (type == CTA_IP_V4_DST) connection.destination = attribute_value<std::uint32_t>(address);
    });
  });
}

Connection read_connection(const nlmsghdr* message) {
  Connection connection;
  for_each_attribute(message, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case CTA_TUPLE_ORIG:
        connection.origin = attribute;
        read_addresses(attribute, connection);
        break;
      case CTA_STATUS:
        connection.is_redirected =
            (ntohl(attribute_value<std::uint32_t>(attribute)) & IPS_DST_NAT) != 0;
        break;
      case CTA_ZONE:
        connection.zone = attribute;
        break;
      case CTA_ID:
        connection.id = attribute;
        break;
      default:
        break;
    }
  });
  return connection;
}

bool is_wanted(const ForgetList& clients, const Connection& connection) {
  if (const auto client = clients.find(connection.source); client != clients.end()) {
    return client->second == Forget::ALL || connection.is_redirected;
  }
  const auto client = clients.find(connection.destination);
  return client != clients.end() && client->second == Forget::ALL;
}

void copy_attribute(nlmsghdr* message, const nlattr* attribute) {
  if (attribute == nullptr) return;
  mnl_attr_put(message, attribute->nla_type, mnl_attr_get_payload_len(attribute),
               mnl_attr_get_payload(attribute));
}

void forget(Nfnetlink& link, const Connection& connection) {
  alignas(nlmsghdr) char buffer[1024];
  if (connection.origin == nullptr || connection.origin->nla_len > sizeof buffer / 2) return;
  nlmsghdr* request =
      put_message(link, buffer, conntrack_type(IPCTNL_MSG_CT_DELETE), NLM_F_ACK, AF_INET);
  copy_attribute(request, connection.origin);
  copy_attribute(request, connection.zone);
  copy_attribute(request, connection.id);
  (void)talk(link, request, request->nlmsg_len);  // it may have ended by itself
}

// Makes the kernel pass over what another client began.
void put_source_filter(nlmsghdr* request, std::uint32_t ip) {
  nlattr* tuple = mnl_attr_nest_start(request, CTA_TUPLE_ORIG);
  nlattr* addresses = mnl_attr_nest_start(request, CTA_TUPLE_IP);
  mnl_attr_put_u32(request, CTA_IP_V4_SRC, ip);
  mnl_attr_nest_end(request, addresses);
  mnl_attr_nest_end(request, tuple);
  nlattr* filter = mnl_attr_nest_start(request, CTA_FILTER);
  mnl_attr_put_u32(request, CTA_FILTER_ORIG_FLAGS, FILTER_SOURCE);
  mnl_attr_put_u32(request, CTA_FILTER_REPLY_FLAGS, 0);
  mnl_attr_nest_end(request, filter);
}

}  // namespace

Conntrack open_conntrack() {
  return {.table = open_nfnetlink(), .changes = open_nfnetlink(), .wanted{}, .looked_for{}};
}

void forget_connections(Conntrack& conntrack, std::uint32_t ip, Forget which) {
  const std::int64_t due = steady_microseconds() + (which == Forget::ALL ? CUT_PATIENCE_US : 0);
  conntrack.due = conntrack.wanted.empty() ? due : std::min(conntrack.due, due);
  conntrack.wanted[ip] = which;
  const auto looked_for = conntrack.looked_for.find(ip);
  if (looked_for != conntrack.looked_for.end()) looked_for->second = which;
}

void begin_to_forget(Conntrack& conntrack) {
  const std::int64_t now = steady_microseconds();
  if (now < next_look(conntrack).value_or(now + 1)) return;
  conntrack.began_at = now;
  conntrack.looked_for = std::exchange(conntrack.wanted, {});
  alignas(nlmsghdr) char buffer[256];
  nlmsghdr* request =
      put_message(conntrack.table, buffer, conntrack_type(IPCTNL_MSG_CT_GET), NLM_F_DUMP, AF_INET);
  if (conntrack.filters && conntrack.looked_for.size() == 1) {
    put_source_filter(request, conntrack.looked_for.begin()->first);
  }
  conntrack.looking =
      mnl_socket_sendto(conntrack.table.socket.get(), request, request->nlmsg_len) > 0;
}

void go_on_to_forget(Conntrack& conntrack) {
  bool over = false;
  const int error = read_notices(
      conntrack.table,
      [&](const nlmsghdr* message) {
        const Connection connection = read_connection(message);
        if (is_wanted(conntrack.looked_for, connection)) forget(conntrack.changes, connection);
      },
      &over);
  if (!over && error == 0) return;
  conntrack.looking = false;
  const std::int64_t now = steady_microseconds();
  conntrack.not_before = now + PAUSE_FACTOR * (now - conntrack.began_at);
  if (conntrack.filters && (error == EINVAL || error == EOPNOTSUPP)) {
    conntrack.filters = false;
    conntrack.due = now;
    conntrack.wanted.merge(conntrack.looked_for);
  }
  conntrack.looked_for.clear();
}

std::optional<std::int64_t> next_look(const Conntrack& conntrack) {
  if (conntrack.looking || conntrack.wanted.empty()) return {};
  return std::max(conntrack.due, conntrack.not_before);
}

}  // namespace webauth
