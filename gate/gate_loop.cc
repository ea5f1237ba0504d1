#include "gate/gate_loop.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "common/fd_guard.h"
#include "common/standard_descriptors.h"
#include "daemon/platform/kernel_endpoint.h"
#include "gate/daemon_link.h"
#include "gate/gate_command.h"
#include "gate/input_lines.h"
#include "gate/message_text.h"
#include "gate/output_lines.h"
#include "gate/session_table.h"
#include "gate/table_text.h"

namespace webauth {
namespace {

/// Messages served before standard input gets its turn again.
constexpr int MESSAGES_PER_PASS = 1024;

constexpr int SEND_RETRY_MS = 10;

struct Gate {
  DaemonLink daemon;
  SessionTable table;
  std::uint32_t daemon_pid = 0;
  InputLines input;
  OutputLines output{.fd = STDOUT_FILENO};
  std::size_t ignored = 0;  ///< messages of other users
};

// Here nobody's time runs out, and there are no sets.
const Surroundings NOWHERE = {.now = [] { return Millis{0}; },
                              .find_mac = [](auto) { return std::nullopt; },
                              .last_packet = [](auto, auto&) { return std::nullopt; }};

/// Returns false when nothing is waiting.
bool serve_one_message(Gate& gate) {
  Datagram datagram;
  if (!receive_datagram(gate.daemon, datagram)) {
    if (errno == EAGAIN || errno == EINTR) return false;
    print_lines(gate.output, std::string("cannot receive: ") + std::strerror(errno));
    return false;
  }
  if (!datagram.from_us) {
    ++gate.ignored;
    return true;
  }
  print_lines(gate.output, datagram_text(datagram, gate.daemon_pid));
  if (const auto message = known_message(datagram)) {
    if (datagram.sender_port != 0) gate.daemon.port = datagram.sender_port;
    if (message->command == DAEMON_START) gate.daemon_pid = message->header.nlmsg_pid;
    Effects ignored;
    handle_message(gate.table, *message, NOWHERE, ignored);
    gate.table.sweeps.clear();
  }
  return true;
}

void serve_messages(Gate& gate) {
  for (int served = 0; served < MESSAGES_PER_PASS && serve_one_message(gate); ++served) {
  }
}

void report_event(Gate& gate, const GateEvent& event) {
  const std::string text = event_text(event);
  if (gate.daemon.port == 0) {
    print_lines(gate.output, "not sent, no daemon has been heard yet: " + text);
    return;
  }
  // A client that leaves is gone from the table, whether or not the daemon hears of it.
  if (event.code == ENTRY_OFFLINE) gate.table.users.erase(event.ip);
  gate.daemon.queue.push_back(event);
  const int error = send_queue(gate.daemon);
  const std::string port = "port " + std::to_string(gate.daemon.port);
  if (error == 0) {
    print_lines(gate.output, "sent to " + port + ": " + text);
  } else if (error == EAGAIN) {
    print_lines(gate.output, "waits until " + port + " reads: " + text);
  } else {
    print_lines(gate.output, "not sent to " + port + " (" + std::strerror(error) + "): " + text);
  }
}

void obey(Gate& gate, const InputLine& line) {
  if (line.too_long) {
    print_lines(gate.output,
                "ignored: a line of more than " + std::to_string(INPUT_LINE_LIMIT) + " bytes");
    return;
  }
  if (line.text.find_first_not_of(" \t\r") == std::string::npos) return;
  std::string problem;
  const std::optional<GateCommand> command = parse_gate_command(line.text, problem);
  if (!command) {
    print_lines(gate.output, problem);
  } else if (command->event) {
    report_event(gate, *command->event);
  } else {
    if (gate.ignored > 0) {
      print_lines(gate.output,
                  "  ignored messages of other users: " + std::to_string(gate.ignored));
    }
    print_lines(gate.output, tables_text(gate.table));
  }
}

/// Returns false at the end of the input.
bool serve_input(Gate& gate) {
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  const bool more = count > 0;
  const auto lines =
      more ? gate.input.add({bytes, static_cast<std::size_t>(count)}) : gate.input.finish();
  for (const InputLine& line : lines) obey(gate, line);
  return more;
}

}  // namespace

int run_gate(bool exit_on_eof) {
  occupy_standard_descriptors();
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGTTIN, SIG_IGN);  // in the background a terminal's input is at its end
  const FdGuard netlink(open_daemon_link());
  Gate gate;
  gate.daemon.fd = netlink.get();
  print_lines(gate.output, "webauth-gate: listening on port " + std::to_string(GATE_PORT));
  pollfd watched[] = {{.fd = netlink.get(), .events = POLLIN, .revents = 0},
                      {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0}};
  for (;;) {
    if (poll(watched, 2, gate.daemon.queue.empty() ? -1 : SEND_RETRY_MS) < 0) continue;
    (void)send_queue(gate.daemon);
    if (watched[0].revents != 0) serve_messages(gate);
    if (watched[1].revents == 0 || serve_input(gate)) continue;
    if (exit_on_eof) return 0;
    print_lines(gate.output, "end of the input: no more commands are read");
    watched[1].fd = -1;  // poll passes over it from now on
    watched[1].revents = 0;
  }
}

}  // namespace webauth
