#include "gate/table_watch.h"

#include <linux/filter.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "gate/ruleset.h"

namespace webauth {
namespace {

constexpr int MOST_PASSES = 16;  // through what was told, while more comes

// A datagram holds what one owner of a port has done: of the gate's own nothing is to be told, an
// element at a time.
int pass_others_only(int fd, std::uint32_t own_port) {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(nlmsghdr, nlmsg_pid)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htonl(own_port), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, 0),
      BPF_STMT(BPF_RET | BPF_K, 0xffffffff),
  };
  const sock_fprog program{.len = std::size(code), .filter = code};
  return setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

// Of all that is told of tables the first attribute is the table's name.
bool is_of_table(const nlmsghdr* message) {
  const auto* extra = static_cast<const nfgenmsg*>(mnl_nlmsg_get_payload(message));
  bool is_ours = false;
  for_each_attribute(message, [&](const nlattr* attribute) {
    if (mnl_attr_get_type(attribute) != NFTA_TABLE_NAME) return;
    is_ours = std::string_view(static_cast<const char*>(mnl_attr_get_payload(attribute)),
                               mnl_attr_get_payload_len(attribute)) ==
              std::string_view(TABLE_NAME, sizeof TABLE_NAME);
  });
  return is_ours && extra->nfgen_family == NFPROTO_INET;
}

// What a dump says of the table's own, added up: their order is no matter.
int add_up(Nfnetlink& link, int message, std::uint64_t& sum) {
  alignas(nlmsghdr) char buffer[256];
  nlmsghdr* request = put_message(link, buffer, nft_type(message), NLM_F_DUMP, NFPROTO_INET);
  return talk(link, request, request->nlmsg_len, [&](const nlmsghdr* answer) {
    if (!is_of_table(answer)) return;
    const auto* begin =
        static_cast<const char*>(mnl_nlmsg_get_payload_offset(answer, sizeof(nfgenmsg)));
    const auto* end = static_cast<const char*>(mnl_nlmsg_get_payload_tail(answer));
    sum += std::hash<std::string_view>{}({begin, static_cast<std::size_t>(end - begin)});
  });
}

}  // namespace

Nfnetlink open_table_watch(std::uint32_t own_port) {
  Nfnetlink watch = open_nfnetlink();
  const int group = NFNLGRP_NFTABLES;
  if (pass_others_only(watch.fd(), own_port) != 0 ||
      setsockopt(watch.fd(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) != 0) {
    throw std::runtime_error(std::string("cannot watch nftables: ") + std::strerror(errno));
  }
  return watch;
}

std::size_t count_changers(Nfnetlink& watch) {
  std::set<std::uint32_t> changers;
  for (int passes = 0; passes < MOST_PASSES; ++passes) {
    bool was_told = false;
    const int error = read_notices(watch, [&](const nlmsghdr* message) {
      was_told = true;
      if (is_of_table(message)) changers.insert(message->nlmsg_pid);
    });
    if (error != 0) return MANY_CHANGERS;
    if (!was_told) return changers.size();
  }
  return MANY_CHANGERS;
}

int table_stamp(Nfnetlink& link, std::uint64_t& stamp) {
  stamp = 0;
  for (const int message : {NFT_MSG_GETTABLE, NFT_MSG_GETCHAIN, NFT_MSG_GETRULE}) {
    if (const int error = add_up(link, message, stamp)) return error;
  }
  return 0;
}

}  // namespace webauth
