#include "gate/enforcer.h"

#include <net/if.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "common/neighbour.h"
#include "common/service_ready.h"
#include "common/standard_descriptors.h"
#include "gate/activity.h"
#include "gate/dns_answer.h"
#include "gate/enforcer_state.h"
#include "gate/garden_reader.h"
#include "gate/message_text.h"
#include "gate/policy_store.h"
#include "gate/state_file.h"
#include "gate/table_watch.h"

namespace webauth {
namespace {

constexpr int DAEMON_MESSAGES_PER_PASS = 512;  // one transaction, or a few
constexpr Millis SEND_RETRY = 20;
constexpr Millis RECONCILE_AFTER = 200;
constexpr std::uint32_t LEAST_TTL = 3'600;
constexpr std::uint32_t MOST_TTL = 86'400;

Millis steady_millis() { return steady_microseconds() / 1'000; }

// Whether what the gate's successor must know has changed.
bool serve_message(Enforcer& gate, const Datagram& datagram, Effects& effects) {
  if (gate.options.verbose) print_lines(gate.output, datagram_text(datagram, gate.daemon_pid));
  if (const auto garden = read_garden_message(datagram)) {
    if (!garden->problem.empty()) return false;
    if (garden->address) add_garden_address(gate.table, *garden->address, effects);
    return !garden->is_address && garden->name.size() < LONGEST_DNS_NAME &&
           gate.table.names.insert(lower_case(garden->name)).second;
  }
  const auto message = known_message(datagram);
  if (!message) return false;
  handle_message(gate.table, *message, gate.around, effects);
  if (message->command == DAEMON_START) {
    gate.daemon.port = datagram.sender_port;
    gate.daemon_pid = message->header.nlmsg_pid;
  } else if (gate.daemon.port == 0) {
    gate.daemon.port = datagram.sender_port;  // an earlier gate's daemon, of which no state tells
  }
  return message->command == DAEMON_START || message->command == SET_TIMEOUTS;
}

// The answers of the DNS are looked at only while there are names to look for.
void watch_names(Enforcer& gate) {
  const bool wanted = !gate.table.names.empty();
  if (gate.options.rules.watch_names == wanted) return;
  gate.options.rules.watch_names = wanted;
  try {
    put_rules(gate, gate.options.rules);
  } catch (const std::runtime_error& error) {
    say(gate, error.what());
  }
}

void serve_daemon(Enforcer& gate) {
  Effects effects;
  Datagram datagram;
  bool has_news = false;
  for (int i = 0; i < DAEMON_MESSAGES_PER_PASS && receive_datagram(gate.daemon, datagram); ++i) {
    if (datagram.from_us && serve_message(gate, datagram, effects)) has_news = true;
  }
  carry_out(gate, std::move(effects));
  if (!has_news) return;
  watch_names(gate);
  if (!write_state(gate.options.state_folder, gate.table, gate.daemon.port)) {
    say(gate, "cannot write " + gate.options.state_folder + ": " + std::strerror(errno));
  }
}

void learn_addresses(Enforcer& gate, std::string_view packet, Effects& effects) {
  const DnsAnswer answer = read_dns_answer(udp_payload(packet));
  if (!gate.table.names.contains(answer.name)) return;
  for (const NamedAddress& address : answer.addresses) {
    const Millis seconds = std::clamp(address.ttl, LEAST_TTL, MOST_TTL);
    learn_address(gate.table, address.ip, seconds * 1'000, gate.around, effects);
  }
}

void serve_activity(Enforcer& gate) {
  Effects effects;
  read_activity(gate.activity, [&](const Notice& notice) {
    if (notice.prefix == LOG_USER) bind_user(gate.table, notice.packet, gate.around, effects);
    if (notice.prefix == LOG_MAC) {
      begin_visit(gate.table, ENTRY_MAC, notice.packet, gate.around, effects);
    }
    if (notice.prefix == LOG_IP) {
      begin_visit(gate.table, ENTRY_IP, notice.packet, gate.around, effects);
    }
    if (notice.prefix == LOG_IP6) note_ip6(gate.table, notice.packet, effects);
    if (notice.prefix == LOG_DNS) learn_addresses(gate, notice.payload, effects);
  });
  carry_out(gate, std::move(effects));
  if (gate.reconcile_at == 0 && count_lost(gate.activity) != gate.lost) {
    gate.reconcile_at = gate.around.now() + RECONCILE_AFTER;
  }
}

void serve_watch(Enforcer& gate) {
  if (count_changers(gate.watch) > 0) verify_soon(gate);
}

// Returns whether the daemon has no room for what it is to hear.
bool tell_daemon(Enforcer& gate) {
  Effects told;
  const int error = send_queue(gate.daemon, [&](const GateEvent& event) {
    if (event.code == ENTRY_OFFLINE) note_told(gate.table, event.ip, told);
  });
  carry_out(gate, std::move(told));
  return error == EAGAIN;
}

// What is due by the clock. Returns when to be called again, in milliseconds for epoll.
int serve_clock(Enforcer& gate) {
  const Millis now = gate.around.now();
  Effects effects;
  const bool more = expire(gate.table, gate.around, effects);
  carry_out(gate, std::move(effects));
  if (gate.retry_at != 0 && now >= gate.retry_at) carry_out_pending(gate);
  if (gate.verify_at != 0 && now >= gate.verify_at && gate.pending.empty()) verify(gate);
  if (gate.reconcile_at != 0 && now >= gate.reconcile_at) reconcile(gate);
  const bool is_daemon_busy = tell_daemon(gate);
  begin_to_forget(gate.conntrack);

  Millis next = next_deadline(gate.table).value_or(LLONG_MAX);
  if (more) next = now;
  if (gate.retry_at != 0) next = std::min(next, gate.retry_at);
  if (gate.verify_at != 0 && gate.pending.empty()) next = std::min(next, gate.verify_at);
  if (gate.reconcile_at != 0) next = std::min(next, gate.reconcile_at);
  if (is_daemon_busy) next = std::min(next, now + SEND_RETRY);
  if (const auto look = next_look(gate.conntrack)) next = std::min(next, *look / 1'000 + 1);
  if (next == LLONG_MAX) return -1;
  return static_cast<int>(std::clamp<Millis>(next - gate.around.now(), 0, INT_MAX));
}

struct Watched {
  int fd;
  void (*serve)(Enforcer&);
};

// A descriptor that ends a loop when the process is asked to end.
int open_end_signal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

int serve(Enforcer& gate, int end_signal) {
  const Watched watched[] = {
      {gate.daemon.fd, serve_daemon},
      {gate.activity.fd(), serve_activity},
      {gate.watch.fd(), serve_watch},
      {gate.conntrack.table.fd(), [](Enforcer& e) { go_on_to_forget(e.conntrack); }},
      {end_signal, nullptr}};
  const FdGuard epoll(epoll_create1(EPOLL_CLOEXEC));
  for (std::uint32_t i = 0; i < std::size(watched); ++i) {
    epoll_event event{.events = EPOLLIN, .data{.u32 = i}};
    if (epoll_ctl(epoll.get(), EPOLL_CTL_ADD, watched[i].fd, &event) != 0) {
      throw std::runtime_error(std::string("cannot wait: ") + std::strerror(errno));
    }
  }
  for (;;) {
    epoll_event ready[std::size(watched)];
    const int count = epoll_wait(epoll.get(), ready, std::size(ready), serve_clock(gate));
    std::uint32_t is_ready = 0;
    for (int i = 0; i < count; ++i) is_ready |= 1U << ready[i].data.u32;
    // In the order of the table: the daemon first, since it waits while the gate's buffer is full.
    for (std::uint32_t i = 0; i < std::size(watched); ++i) {
      if ((is_ready & 1U << i) == 0) continue;
      if (watched[i].serve == nullptr) return 0;
      watched[i].serve(gate);
    }
  }
}

void look_around(Enforcer& gate) {
  gate.around.now = steady_millis;
  gate.around.find_mac = [&gate](std::uint32_t ip) -> std::optional<MacAddress> {
    ifreq lan{};  // its index is another one when it was made anew
    gate.options.rules.lan.copy(lan.ifr_name, sizeof lan.ifr_name - 1);
    if (ioctl(gate.neighbours, SIOCGIFINDEX, &lan) != 0) return {};
    const auto found = find_neighbour(gate.neighbours, lan.ifr_ifindex, ip);
    if (!found || !found->is_certain) return {};
    return found->mac;
  };
  gate.around.last_packet = [&gate](PolicySet set, const ElementKey& key) -> std::optional<Millis> {
    const auto element = find_element(gate.policy, set, key);
    if (element) return steady_millis() - (SEEN_MILLISECONDS - element->left);
    serve_watch(gate);
    if (gate.verify_at != 0) return steady_millis();  // it may be missing since somebody took it
    return {};
  };
}

}  // namespace

int run_enforcer(const EnforceOptions& options) {
  occupy_standard_descriptors();
  (void)std::signal(SIGPIPE, SIG_IGN);
  if (if_nametoindex(options.rules.lan.c_str()) == 0) {
    throw std::runtime_error("there is no interface " + options.rules.lan);
  }
  const FdGuard daemon(open_daemon_link());
  const FdGuard neighbours(open_neighbour_socket());
  const FdGuard end_signal(open_end_signal());
  make_state_folder(options.state_folder);
  Enforcer gate;
  gate.options = options;
  gate.daemon.fd = daemon.get();
  gate.neighbours = neighbours.get();
  gate.activity = open_activity();
  gate.policy = open_nfnetlink();
  gate.watch = open_table_watch(gate.policy.port());
  gate.conntrack = open_conntrack();
  look_around(gate);
  take_over(gate);
  say(gate, "enforcing on " + options.rules.lan);
  tell_service_ready();
  return serve(gate, end_signal.get());
}

void remove_enforcement(const std::string& state_folder) {
  remove_ruleset();
  remove_state(state_folder);
}

}  // namespace webauth
