#include "bench/gate_bench.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <net/if.h>
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "bench/forwarding_bench.h"
#include "bench/reader.h"
#include "bench/running_gate.h"
#include "common/clock.h"
#include "common/fd_guard.h"
#include "common/neighbour.h"
#include "daemon/kernel/transport.h"
#include "gate/message_text.h"
#include "gate/policy_store.h"
#include "gate/ruleset.h"
#include "gate/session_table.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

constexpr std::uint32_t PUSHED = 65'536;
constexpr std::uint32_t MANY = 10'000;
constexpr std::int64_t MEMORY_GOAL_KB = 10'000;
constexpr char PROBE_SET[] =
    "add table inet probe; add set inet probe s { type ipv4_addr; flags timeout; }";

// A second cable of the visitor, which nobody holds back, leads to another address of the server.
constexpr char NETWORK[] =
    "source " PROJECT_FOLDER
    "/scripts/network.bash; make_network; "
    "ip link add dmz0 type veth peer name eth1 netns visitor; ip address add 10.1.0.1/24 dev dmz0; "
    "ip link set dmz0 up; in_visitor ip address add 10.1.0.2/24 dev eth1; in_visitor ip link set "
    "eth1 up; "
    "in_visitor ip route add 192.0.2.81 via 10.1.0.1; in_internet ip address add 192.0.2.81/24 dev "
    "eth0";

// What the gate does with a message that it has received, in this process.
struct Admitter {
  Nfnetlink link = open_nfnetlink();
  FdGuard neighbours{open_neighbour_socket()};
  int lan = static_cast<int>(if_nametoindex("lan0"));
  SessionTable table;
  std::uint32_t users = 0;
  Surroundings around{.now = now_millis,
                      .find_mac = [this](std::uint32_t ip) -> std::optional<MacAddress> {
                        (void)find_neighbour(neighbours.get(), lan, ip);
                        return MacAddress{2, 0, static_cast<unsigned char>(ip >> 16),
                                          static_cast<unsigned char>(ip >> 24)};
                      },
                      .last_packet = [](auto, const auto&) { return std::nullopt; }};

  void handle(const KernelMessage& message) {
    Effects effects;
    std::size_t done = 0;
    const std::string_view bytes = bytes_of(message);
    const auto known = known_message({.bytes = bytes, .size = bytes.size(), .from_us = true});
    handle_message(table, known.value(), around, effects);
    require(apply_changes(link, effects.changes, done) == 0, "nftables");
  }
  void admit() { handle(message_of(ADD_ENTRY, client_address(users++), ENTRY_USER)); }
};

void bare_add(Nfnetlink& link, std::uint32_t ip) {
  alignas(nlmsghdr) char bytes[512];
  char* at = bytes;
  const auto put = [&](int type, int flags, int family, std::uint16_t resource) {
    return put_message(link, at, type, flags, family, resource);
  };
  const auto end = [&](const nlmsghdr* message) { at += NLMSG_ALIGN(message->nlmsg_len); };
  end(put(NFNL_MSG_BATCH_BEGIN, 0, AF_UNSPEC, NFNL_SUBSYS_NFTABLES));
  nlmsghdr* message = put(NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_NEWSETELEM, NLM_F_CREATE | NLM_F_ACK,
                          NFPROTO_INET, 0);
  mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_TABLE, "probe");
  mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_SET, "s");
  nlattr* list = mnl_attr_nest_start(message, NFTA_SET_ELEM_LIST_ELEMENTS);
  nlattr* element = mnl_attr_nest_start(message, NFTA_LIST_ELEM);
  nlattr* key = mnl_attr_nest_start(message, NFTA_SET_ELEM_KEY);
  mnl_attr_put(message, NFTA_DATA_VALUE, sizeof ip, &ip);
  for (nlattr* nest : {key, element, list}) mnl_attr_nest_end(message, nest);
  end(message);
  end(put(NFNL_MSG_BATCH_END, 0, AF_UNSPEC, NFNL_SUBSYS_NFTABLES));
  require(talk(link, bytes, static_cast<std::size_t>(at - bytes)) == 0, "nftables");
}

void measure_admission(Table& table) {
  load_ruleset({.lan = "lan0"});
  shell(std::string("nft \"") + PROBE_SET + "\"");
  Admitter gate;
  std::uint32_t bare = 0;
  for (const std::uint32_t users : {10U, 1'000U, MANY}) {
    while (gate.users < users) gate.admit();
    const auto admission = [&] {
      const Seconds seconds = seconds_of([&] { gate.admit(); });
      gate.handle(message_of(REMOVE_ENTRY, client_address(--gate.users), ENTRY_USER));
      return seconds;
    };
    const auto floor = [&] { return seconds_of([&] { bare_add(gate.link, ++bare); }); };
    measure_in_turns(table, {"gate: admission", users, 2.0}, 200, admission, floor);
  }
  remove_ruleset();
}

void push(int socket) {
  KernelMessage message = message_of(ADD_ENTRY, 0, ENTRY_IP);
  for (std::uint32_t i = 0; i < PUSHED; ++i) {
    message.ip = client_address(i);
    send_whole(socket, bytes_of(message));
  }
}

void measure_push(Table& table) {
  const auto to_gate = [] {
    RunningGate gate;
    return seconds_of([&] {
      push(gate.daemon.get());
      await_element(gate.link, PolicySet::IPS, client_address(PUSHED - 1));
    });
  };
  const auto to_reader = [] {
    const Reader reader(open_kernel_side());
    const FdGuard daemon(open_netlink_socket());
    return seconds_of([&] { push(daemon.get()); });
  };
  measure_in_turns(table, {"gate: 65536 addresses", 0, 3.0}, 1, to_gate, to_reader);
}

void print_ends(int idle_seconds) {
  RunningGate gate;
  gate.admit(0, MANY);
  poll(nullptr, 0, 3'000);  // looks for connections are over
  const auto wakes = [&] { return status_number(gate.program.pid(), "voluntary_ctxt_switches:"); };
  const auto before = wakes();
  poll(nullptr, 0, idle_seconds * 1'000);
  const auto woken = wakes() - before;
  const auto memory = status_number(gate.program.pid(), "VmRSS:");
  gate.admit(0, MANY, 3);
  await_element(gate.link, PolicySet::USERS, client_address(0), false);
  const Millis from = now_millis();
  Millis longest = 0;
  std::uint32_t other = MANY;
  std::uint32_t told = 0;
  for (std::string bytes; told < MANY && now_millis() < from + 30'000;) {
    const Millis begin = now_millis();
    gate.admit(++other, 1);
    longest = std::max(longest, now_millis() - begin);
    while (receive_now(gate.daemon.get(), bytes)) ++told;
  }
  std::printf("\nThe gate with %u users\n\n", MANY);
  std::printf("resident memory            %jd kB, goal <= %jd kB%s\n", intmax_t{memory},
              intmax_t{MEMORY_GOAL_KB}, memory <= MEMORY_GOAL_KB ? "" : ", missed");
  std::printf("wakes while idle           %jd in %d s, goal 0%s\n", intmax_t{woken}, idle_seconds,
              woken == 0 ? "" : ", missed");
  std::printf(
      "all end at one moment      %u told in %jd ms; another's admission meanwhile at most %jd ms, "
      "goal <= 1000%s\n",
      told, intmax_t{now_millis() - from}, intmax_t{longest},
      longest <= 1'000 && told == MANY ? "" : ", missed");
}

}  // namespace

void measure_gate(Table& table, int idle_seconds) {
  shell(NETWORK);
  measure_admission(table);
  measure_push(table);
  measure_forwarding(table);
  print_ends(idle_seconds);
}

}  // namespace webauth
