#include "bench/gate_bench.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "bench/reader.h"
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
constexpr int PACKETS = 20'000;
constexpr std::size_t STREAM_BYTES = 64 << 20;
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

void shell(const std::string& text) {
  require(std::system(("exec bash -euc '" + text + "'").c_str()) == 0, text);
}

Millis now_millis() { return steady_microseconds() / 1'000; }

KernelMessage message_of(KernelCommand command, std::uint32_t ip = 0, std::uint32_t kind = 0) {
  KernelMessage message;
  init_kernel_message(message, command);
  message.ip = ip;
  message.kind = kind;
  return message;
}

std::uint32_t address(std::uint32_t number) { return htonl(0x0a400000U + number); }

// Until an element is in the kernel, or no longer.
void await_element(Nfnetlink& link, PolicySet set, std::uint32_t ip, bool there = true) {
  const Millis late = now_millis() + PATIENCE * 1'000;
  while (find_element(link, set, key_of(ip)).has_value() != there) {
    require(now_millis() < late, "element");
    poll(nullptr, 0, 1);
  }
}

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
  void admit() { handle(message_of(ADD_ENTRY, address(users++), ENTRY_USER)); }
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
      gate.handle(message_of(REMOVE_ENTRY, address(--gate.users), ENTRY_USER));
      return seconds;
    };
    const auto floor = [&] { return seconds_of([&] { bare_add(gate.link, ++bare); }); };
    measure_in_turns(table, {"gate: admission", users, 2.0}, 200, admission, floor);
  }
  remove_ruleset();
}

// The real gate, without what an earlier one left, and a daemon's end of the link to it.
void start(Program& gate) {
  remove_ruleset();
  gate.launch("exec webauth-gate --enforce --lan lan0 </dev/null");
  const Millis late = now_millis() + PATIENCE * 1'000;
  for (std::string said; said.find("enforcing") == std::string::npos; said += gate.output()) {
    require(now_millis() < late, "the gate");
  }
}

struct RunningGate {
  Program program;
  Nfnetlink link = open_nfnetlink();
  FdGuard daemon{(start(program), open_netlink_socket())};

  RunningGate() {
    send(message_of(DAEMON_START));
    send(message_of(SET_TIMEOUTS));
  }
  void send(const KernelMessage& message) const { send_whole(daemon.get(), bytes_of(message)); }
  void admit(std::uint32_t first, std::uint32_t count, std::uint32_t allowance = 0) {
    KernelMessage message = message_of(ADD_ENTRY, 0, ENTRY_USER);
    message.time_allowance = allowance;
    for (std::uint32_t i = first; i < first + count; ++i) {
      message.ip = address(i);
      send(message);
    }
    await_element(link, PolicySet::USERS, message.ip);
  }
};

void push(int socket) {
  KernelMessage message = message_of(ADD_ENTRY, 0, ENTRY_IP);
  for (std::uint32_t i = 0; i < PUSHED; ++i) {
    message.ip = address(i);
    send_whole(socket, bytes_of(message));
  }
}

void measure_push(Table& table) {
  const auto to_gate = [] {
    RunningGate gate;
    return seconds_of([&] {
      push(gate.daemon.get());
      await_element(gate.link, PolicySet::IPS, address(PUSHED - 1));
    });
  };
  const auto to_reader = [] {
    const Reader reader(open_kernel_side());
    const FdGuard daemon(open_netlink_socket());
    return seconds_of([&] { push(daemon.get()); });
  };
  measure_in_turns(table, {"gate: 65536 addresses", 0, 3.0}, 1, to_gate, to_reader);
}

// A socket of another namespace, connected to port 9 of an address unless that is nullptr.
int socket_in(const char* place, int type, const char* to) {
  const FdGuard home(open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
  const FdGuard there(open((std::string("/run/netns/") + place).c_str(), O_RDONLY | O_CLOEXEC));
  require(setns(there.get(), CLONE_NEWNET) == 0, place);
  const int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
  require(fd >= 0 && setns(home.get(), CLONE_NEWNET) == 0, place);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(9);
  name.sin_addr.s_addr = to == nullptr ? INADDR_ANY : inet_addr(to);
  const auto* generic = reinterpret_cast<const sockaddr*>(&name);
  require((to == nullptr ? bind(fd, generic, sizeof name) : connect(fd, generic, sizeof name)) == 0,
          place);
  return fd;
}

// Sends small packets, and takes what has arrived; most must.
Seconds send_packets(int from, int to) {
  char bytes[22]{};  // 64 with its headers
  int arrived = 0;
  const Seconds seconds = seconds_of([&] {
    for (int i = 0; i < PACKETS; ++i) {
      (void)send(from, bytes, sizeof bytes, 0);
      if (recv(to, bytes, sizeof bytes, MSG_DONTWAIT) > 0) ++arrived;
    }
  });
  require(arrived > PACKETS * 9 / 10, "packets");
  return seconds;
}

Seconds stream(const char* to, int listening) {
  const FdGuard from(socket_in("visitor", SOCK_STREAM, to));
  const FdGuard end(accept(listening, nullptr, nullptr));
  const pid_t writer = fork();
  std::vector<char> bytes(256 << 10);
  if (writer == 0) {
    for (std::size_t sent = 0; sent < STREAM_BYTES; sent += bytes.size())
      send_whole(from.get(), {bytes.data(), bytes.size()});
    _exit(0);
  }
  std::size_t got = 0;
  const Seconds seconds = seconds_of([&] {
    for (ssize_t count = 1; got < STREAM_BYTES && count > 0;
         got += static_cast<std::size_t>(count)) {
      count = std::max<ssize_t>(recv(end.get(), bytes.data(), bytes.size(), 0), 0);
    }
  });
  waitpid(writer, nullptr, 0);
  require(got >= STREAM_BYTES, "stream");
  return seconds;
}

void measure_forwarding(Table& table) {
  RunningGate gate;
  gate.send(message_of(ADD_ENTRY, inet_addr("10.0.0.21"), ENTRY_USER));
  const FdGuard sink(socket_in("internet", SOCK_DGRAM, nullptr));
  const FdGuard listening(socket_in("internet", SOCK_STREAM, nullptr));
  require(listen(listening.get(), 5) == 0, "listen");
  const FdGuard held(socket_in("visitor", SOCK_DGRAM, "192.0.2.80"));
  const FdGuard open(socket_in("visitor", SOCK_DGRAM, "192.0.2.81"));
  std::uint32_t users = 0;
  for (const std::uint32_t wanted : {10U, MANY}) {
    gate.admit(users, wanted - users);
    users = wanted;
    measure_in_turns(
        table, {"gate: 20000 packets", users, 1.25}, 5,
        [&] { return send_packets(held.get(), sink.get()); },
        [&] { return send_packets(open.get(), sink.get()); });
    measure_in_turns(
        table, {"gate: stream of 64 MB", users, 1 / 0.75}, 3,
        [&] { return stream("192.0.2.80", listening.get()); },
        [&] { return stream("192.0.2.81", listening.get()); });
  }
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
  await_element(gate.link, PolicySet::USERS, address(0), false);
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
