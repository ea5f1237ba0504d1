#include "bench/running_gate.h"

#include <arpa/inet.h>
#include <poll.h>

#include <cstdlib>

#include "common/clock.h"
#include "daemon/kernel/transport.h"
#include "gate/policy_store.h"
#include "gate/ruleset.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

void start(Program& gate) {
  remove_ruleset();
  gate.launch("exec webauth-gate --enforce --lan lan0 </dev/null");
  const Millis late = now_millis() + PATIENCE * 1'000;
  for (std::string said; said.find("enforcing") == std::string::npos; said += gate.output()) {
    require(now_millis() < late, "the gate");
  }
}

}  // namespace

void shell(const std::string& text) {
  require(std::system(("exec bash -euc '" + text + "'").c_str()) == 0, text);
}

Millis now_millis() { return steady_microseconds() / 1'000; }

KernelMessage message_of(KernelCommand command, std::uint32_t ip, std::uint32_t kind) {
  KernelMessage message;
  init_kernel_message(message, command);
  message.ip = ip;
  message.kind = kind;
  return message;
}

std::uint32_t client_address(std::uint32_t number) { return htonl(0x0a400000U + number); }

void await_element(Nfnetlink& link, PolicySet set, std::uint32_t ip, bool there) {
  const Millis late = now_millis() + PATIENCE * 1'000;
  while (find_element(link, set, key_of(ip)).has_value() != there) {
    require(now_millis() < late, "element");
    poll(nullptr, 0, 1);
  }
}

RunningGate::RunningGate()
    : link(open_nfnetlink()), daemon((start(program), open_netlink_socket())) {
  send(message_of(DAEMON_START));
  send(message_of(SET_TIMEOUTS));
}

void RunningGate::send(const KernelMessage& message) const {
  send_whole(daemon.get(), bytes_of(message));
}

void RunningGate::admit(std::uint32_t first, std::uint32_t count, std::uint32_t allowance) {
  KernelMessage message = message_of(ADD_ENTRY, 0, ENTRY_USER);
  message.time_allowance = allowance;
  for (std::uint32_t i = first; i < first + count; ++i) {
    message.ip = client_address(i);
    send(message);
  }
  await_element(link, PolicySet::USERS, message.ip);
}

}  // namespace webauth
