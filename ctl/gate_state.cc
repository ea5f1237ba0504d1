#include "ctl/gate_state.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "common/fd_guard.h"
#include "common/file.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/netlink_message.h"

namespace webauth {
namespace {

constexpr char GATE_TABLE[] = "webauth";

// Asks nftables for the gate's table.
nlmsghdr* make_table_request(void* buffer) {
  const nfgenmsg family{.nfgen_family = NFPROTO_INET, .version = NFNETLINK_V0, .res_id = 0};
  nlmsghdr* const request = nlmsg_put_header(buffer, sizeof family);
  request->nlmsg_type = (NFNL_SUBSYS_NFTABLES << 8) | NFT_MSG_GETTABLE;
  request->nlmsg_flags = NLM_F_REQUEST;
  std::memcpy(nlmsg_put_extra_header(request, sizeof family), &family, sizeof family);
  nla_attr_put(request, NFTA_TABLE_NAME, sizeof GATE_TABLE, GATE_TABLE);
  return request;
}

// Whether the table is there; nothing when the kernel does not tell this user.
std::optional<bool> has_gate_table() {
  alignas(nlmsghdr) unsigned char buffer[4096];
  const nlmsghdr* const request = make_table_request(buffer);
  const FdGuard fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER));
  const timeval limit{.tv_sec = 1, .tv_usec = 0};
  (void)setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  if (send(fd.get(), request, request->nlmsg_len, 0) < 0) return {};
  const ssize_t count = recv(fd.get(), buffer, sizeof buffer, 0);
  nlmsghdr header{};
  if (count < static_cast<ssize_t>(sizeof header)) return {};
  std::memcpy(&header, buffer, sizeof header);
  if (header.nlmsg_type != NLMSG_ERROR) return true;
  nlmsgerr error{};
  if (count < static_cast<ssize_t>(NLMSG_HDRLEN + sizeof error)) return {};
  std::memcpy(&error, buffer + NLMSG_HDRLEN, sizeof error);
  if (error.error == -ENOENT) return false;
  return {};
}

}  // namespace

bool has_netlink_socket(int protocol, std::uint32_t port) {
  const File file(std::fopen("/proc/net/netlink", "re"));
  char line[256];
  while (file && read_line(file.get(), line)) {
    int its_protocol = 0;
    unsigned its_port = 0;
    if (std::sscanf(line, "%*s %d %u", &its_protocol, &its_port) != 2) continue;
    if (its_protocol == protocol && its_port == port) return true;
  }
  return false;
}

GateState gate_state() {
  const bool gate = has_netlink_socket(NETLINK_USERSOCK, GATE_PORT);
  const std::optional<bool> table = has_gate_table();
  if (gate && !table) return GateState::GATE;
  if (gate) return *table ? GateState::ENFORCING : GateState::PRINTING;
  if (has_netlink_socket(NETLINK_WEBAUTH, 0)) return GateState::MODULE;
  return table.value_or(false) ? GateState::RULES_ONLY : GateState::NONE;
}

const char* gate_word(GateState state) {
  constexpr const char* WORDS[] = {"none", "module", "printing", "enforcing", "rules-only", "gate"};
  return WORDS[static_cast<int>(state)];
}

const char* gate_words(GateState state) {
  constexpr const char* WORDS[] = {
      "none: neither the kernel module nor webauth-gate is there",
      "the kernel module",
      "webauth-gate, not enforcing: it prints only, and everybody passes",
      "webauth-gate, enforcing",
      "the rules of webauth-gate are in force, but it is not running: nobody new is let in",
      "webauth-gate; only root can see whether it enforces",
  };
  return WORDS[static_cast<int>(state)];
}

}  // namespace webauth
