#include "gate/table_watch.h"

#include <linux/filter.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "gate/ruleset.h"

namespace webauth {
namespace {

constexpr int nft_type(int message) { return NFNL_SUBSYS_NFTABLES << 8 | message; }

// Each transaction ends with a datagram of its own that names the new generation. The others, one
// an element, are left to the kernel.
int pass_generations_only(int fd) {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_H | BPF_ABS, offsetof(nlmsghdr, nlmsg_type)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(nft_type(NFT_MSG_NEWGEN)), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, 0xffffffff),
      BPF_STMT(BPF_RET | BPF_K, 0),
  };
  const sock_fprog program{.len = std::size(code), .filter = code};
  return setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

// What a dump of chains or rules says of those of the table, added up; their order is no matter.
int add_up(Nfnetlink& link, int message, int table_attribute, int handle_attribute,
           std::uint64_t& sum) {
  alignas(nlmsghdr) char buffer[256];
  nlmsghdr* request = put_message(link, buffer, nft_type(message), NLM_F_DUMP, NFPROTO_INET);
  return talk(link, request, request->nlmsg_len, [&](const nlmsghdr* answer) {
    bool is_ours = false;
    std::uint64_t handle = 0;
    for_each_attribute(answer, [&](const nlattr* attribute) {
      const int type = mnl_attr_get_type(attribute);
      if (type == table_attribute) {
        is_ours = std::string_view(static_cast<const char*>(mnl_attr_get_payload(attribute)),
                                   mnl_attr_get_payload_len(attribute))
                      .starts_with(std::string_view(TABLE_NAME, sizeof TABLE_NAME));
      }
      if (type == handle_attribute) handle = attribute_value<std::uint64_t>(attribute);
    });
    if (is_ours) sum += std::hash<std::uint64_t>{}(handle)*0x9e3779b97f4a7c15 + 1;
  });
}

}  // namespace

Nfnetlink open_table_watch() {
  Nfnetlink watch = open_nfnetlink();
  const int group = NFNLGRP_NFTABLES;
  if (pass_generations_only(watch.fd()) != 0 ||
      setsockopt(watch.fd(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) != 0) {
    throw std::runtime_error(std::string("cannot watch nftables: ") + std::strerror(errno));
  }
  return watch;
}

bool was_changed_by_others(Nfnetlink& watch, std::uint32_t own_port) {
  bool others = false;
  const int error = read_notices(
      watch, [&](const nlmsghdr* message) { others |= message->nlmsg_pid != own_port; });
  return others || error != 0;
}

std::optional<std::uint64_t> table_stamp(Nfnetlink& link) {
  std::uint64_t sum = 0;
  const int error = add_up(link, NFT_MSG_GETCHAIN, NFTA_CHAIN_TABLE, NFTA_CHAIN_HANDLE, sum) +
                    add_up(link, NFT_MSG_GETRULE, NFTA_RULE_TABLE, NFTA_RULE_HANDLE, sum);
  if (error != 0 || sum == 0) return {};
  return sum;
}

}  // namespace webauth
